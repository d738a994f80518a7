package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ChildJvm;
import harlune.support.Tokens;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKF;
import velnor.CKK;
import velnor.CKO;
import velnor.CKR;
import velnor.Reading;
import velnor.cli.Running;
import velnor.nat.NativeFunctions;

/**
 * Keys that no token should have made, with the commands that use keys: the process survives each, as it does not with
 * what tokens do by themselves. Another JVM runs all of them, one after the other.
 */
class HostileKeysTest extends TokenCommands {
    private static final byte[] ED25519 = {6, 3, 0x2B, 0x65, 0x70};
    private static final List<byte[]> CURVES = Arrays.asList(null, new byte[0], new byte[] {1, 2, 3},
            new byte[] {6, 5, 0x2B, (byte) 0x81, 4, 0, 99}, ED25519);
    private static final byte[] NUMBER = new byte[128];
    private static final List<byte[]> NUMBERS = Arrays.asList(null, new byte[0], new byte[1], NUMBER);
    private static final List<String> MECHANISMS = List.of("", "RSA_PKCS", "DSA", "ECDSA", "EDDSA", "AES_ECB");
    private static final List<String> PUBLIC = List.of("verify --signature DATA", "encrypt --out /dev/null");
    private static final List<String> PRIVATE = List.of("sign --out /dev/null", "decrypt --out /dev/null");

    private final List<Attribute[]> templates = new ArrayList<>();
    private final List<String> labels = new ArrayList<>();

    private void add(int keyClass, int type, Object... parts) {
        labels.add((keyClass == CKO.PUBLIC_KEY ? "public" : "private") + templates.size());
        List<Attribute> template = new ArrayList<>(List.of(new Attribute(CKA.CLASS, keyClass),
                new Attribute(CKA.KEY_TYPE, type), new Attribute(CKA.TOKEN, true), new Attribute(CKA.PRIVATE, false),
                new Attribute(CKA.LABEL, labels.get(labels.size() - 1))));
        for (int use : keyClass == CKO.PUBLIC_KEY ? new int[] {CKA.VERIFY, CKA.ENCRYPT}
                : new int[] {CKA.SIGN, CKA.DECRYPT}) {
            template.add(new Attribute(use, true));
        }
        for (int i = 0; i < parts.length; i += 2) {
            if (parts[i + 1] != null) {
                template.add(new Attribute((Integer) parts[i], parts[i + 1]));
            }
        }
        templates.add(template.toArray(new Attribute[0]));
    }

    private void addAll() {
        Arrays.fill(NUMBER, (byte) 0xC5);
        byte[] point = new byte[32];
        for (byte[] curve : CURVES) {
            for (int type : new int[] {CKK.EC, CKK.EC_EDWARDS}) {
                add(CKO.PUBLIC_KEY, type, CKA.EC_PARAMS, curve, CKA.EC_POINT, point);
                add(CKO.PRIVATE_KEY, type, CKA.EC_PARAMS, curve, CKA.VALUE, point);
            }
        }
        for (byte[] number : NUMBERS) {
            add(CKO.PUBLIC_KEY, CKK.RSA, CKA.MODULUS, NUMBER, CKA.PUBLIC_EXPONENT, number);
            add(CKO.PRIVATE_KEY, CKK.RSA, CKA.MODULUS, NUMBER, CKA.PUBLIC_EXPONENT, number, CKA.PRIVATE_EXPONENT,
                    NUMBER);
            for (int keyClass : new int[] {CKO.PUBLIC_KEY, CKO.PRIVATE_KEY}) {
                add(keyClass, CKK.DSA, CKA.PRIME, NUMBER, CKA.SUBPRIME, NUMBER, CKA.BASE, number, CKA.VALUE, NUMBER);
            }
        }
        for (int type : new int[] {CKK.SHA256_HMAC, CKK.GENERIC_SECRET, CKK.AES}) {
            add(CKO.SECRET_KEY, type, CKA.VALUE, new byte[32]);
        }
    }

    private void make() {
        onToken(session -> {
            long module = NativeFunctions.load(Tokens.MODULE.getBytes(StandardCharsets.UTF_8), new byte[0]);
            long[] other = new long[1];
            assertEquals(CKR.OK, NativeFunctions.openSession(module, session.slot().id(),
                    CKF.SERIAL_SESSION | CKF.RW_SESSION, other));
            for (Attribute[] template : templates) {
                NativeFunctions.create(module, other[0], Reading.structure(template).bytes(), new long[1]);
            }
            assertTrue(session.find().size() > 30, () -> session.find().size() + " keys");
        });
    }

    /** Runs the commands that suit the class of each key: with the file to work on. */
    public static void main(String[] arguments) {
        System.load(System.getProperty("harlune.library"));
        Set<Integer> ends = new TreeSet<>();
        String data = arguments[0];
        String[] common = {"--token", Tokens.LABEL, "--module", Tokens.MODULE, "--pin-file", data + ".pin"};
        ends.add(run(common, "objects"));
        for (String label : System.getProperty("harlune.labels").split(",")) {
            for (String mechanism : MECHANISMS) {
                for (String command : label.startsWith("public") ? PUBLIC : PRIVATE) {
                    ends.add(run(common, command.replace("DATA", data) + " " + data + " --label " + label
                            + (mechanism.isEmpty() ? "" : " --mechanism " + mechanism)));
                }
            }
        }
        System.out.println("ends: " + ends);
        System.exit(0);
    }

    private static int run(String[] common, String line) {
        List<String> words = new ArrayList<>(List.of(line.split(" ")));
        words.addAll(List.of(common));
        int status = Running.run(words.toArray(new String[0]));
        if (status == 70) {
            System.out.println("a defect: " + line);
        }
        return status;
    }

    @Test
    void theCommandsOutliveThem() throws Exception {
        addAll();
        make();
        Path data = file("data", new byte[32]);
        Files.writeString(path("data.pin"), Tokens.PIN);
        ChildJvm.End end = ChildJvm.run(List.of("-Dharlune.labels=" + String.join(",", labels)), HostileKeysTest.class,
                data.toString());
        assertEquals(0, end.status(), () -> end.told().substring(Math.max(0, end.told().length() - 3000)));
        // Used, refused by us or by the token, or not kept by it; a secret key of a good type signs.
        List<String> told = end.told().lines().filter(line -> line.contains("defect: ") || line.contains("ends: "))
                .map(line -> line.replaceFirst("^.*(a defect|ends)", "$1")).toList();
        assertEquals(List.of("ends: [0, 1, 2, 3, 4]"), told);
    }
}
