package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ChildJvm;
import harlune.support.HeapDump;
import harlune.support.ScriptedModule;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.TreeMap;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.cli.Running;

/**
 * What the command line leaves in Java's heap, living or dead, of PINs that come from files, and of what it reads and
 * writes: nothing. Another JVM runs the commands and dumps its heap; the secrets are made here.
 */
class CommandSecretsTest {
    private static final int SHORT = 72;
    private static final int DIGEST = 32;
    private static final int LOOKED_FOR = 24;
    private static final int LONG = 200_000;
    private static final List<String> PINS = List.of("pin", "refused-pin", "old-pin", "new-pin", "so-pin", "users-pin",
            "first-so-pin");
    private static final List<String> PLAINTEXTS = List.of("plain", "long-plain", "signed", "digested",
            "long-digested");
    private static final List<String> ENCRYPTED = List.of("decrypted", "long-decrypted");
    private static final String RANDOM = "random";

    @TempDir
    private Path directory;

    private static byte[] secret(String name) {
        if (name.equals(RANDOM)) {
            // What the module makes.
            return name.toUpperCase(Locale.ROOT).repeat(SHORT / name.length()).getBytes(StandardCharsets.US_ASCII);
        }
        return HeapDump.secret(name.hashCode(), name.startsWith("long") ? LONG : SHORT);
    }

    private static void run(int expected, String line, String... more) {
        List<String> words = new ArrayList<>(List.of(line.split(" ")));
        words.addAll(List.of("--module", ScriptedModule.PATH));
        words.addAll(List.of(more));
        int status = Running.run(words.toArray(new String[0]));
        if (status != expected) {
            System.out.println(line + ": " + status);
            System.exit(1);
        }
    }

    /** Works in the directory that is named, and dumps the heap there. */
    public static void main(String[] arguments) throws Exception {
        String in = arguments[0] + "/";
        System.load(System.getProperty("harlune.library"));
        ScriptedModule.answer("C_Login CKR_OK");
        run(0, "objects --slot 17 --login --pin-file " + in + "pin");
        run(3, "objects --slot 17 --login --pin-file " + in + "refused-pin");
        ScriptedModule.answer("C_SetPIN CKR_OK");
        run(0, "set-pin --slot 17 --pin-file " + in + "old-pin --new-pin-file " + in + "new-pin");
        ScriptedModule.answer("C_Login CKR_OK");
        ScriptedModule.answer("C_InitPIN CKR_DEVICE_ERROR");
        run(3, "set-pin --init --slot 17 --so-pin-file " + in + "so-pin --new-pin-file " + in + "users-pin");
        ScriptedModule.answer("C_InitToken CKR_OK");
        run(0, "init-token --slot 17 --force --label l --so-pin-file " + in + "first-so-pin");
        String key = " --slot 17 --label secret --mechanism 0x80000001 --out ";
        for (String name : List.of("plain", "long-plain")) {
            run(0, "encrypt " + in + name + key + in + name + ".out");
        }
        ScriptedModule.answer("C_Encrypt CKR_DEVICE_ERROR");
        run(3, "encrypt " + in + "plain" + key + in + "none");
        run(5, "decrypt " + in + "decrypted" + key + "/dev/full", "--pin-file", in + "login");
        for (String name : ENCRYPTED) {
            run(0, "decrypt " + in + name + key + in + name + ".out", "--pin-file", in + "login");
        }
        run(0, "sign " + in + "signed" + key + in + "signed.out", "--pin-file", in + "login");
        for (String name : List.of("digested", "long-digested")) {
            run(0, "digest --slot 17 " + in + name);
        }
        run(0, "random " + SHORT + " --slot 17 --out " + in + "random.out");
        HeapDump.write(in + "heap.hprof");
        System.exit(0);
    }

    private static byte[] swapped(byte[] secret) {
        byte[] swapped = secret.clone();
        for (int i = 0; i < swapped.length; i++) {
            swapped[i] ^= 0x20;
        }
        return swapped;
    }

    @Test
    void nothingIsLeft() throws Exception {
        List<String> names = new ArrayList<>();
        for (List<String> some : List.of(PINS, PLAINTEXTS, ENCRYPTED)) {
            for (String name : some) {
                byte[] secret = secret(name);
                Files.write(directory.resolve(name), some == ENCRYPTED ? swapped(secret) : secret);
                names.add(name);
            }
        }
        names.add(RANDOM);
        Files.writeString(directory.resolve("login"), "1234\n");
        byte[] control = secret("control");
        List<String> options = new ArrayList<>(HeapDump.OPTIONS);
        options.add("-Dharlune.control=" + new String(control, StandardCharsets.US_ASCII));
        ChildJvm.End end = ChildJvm.run(options, CommandSecretsTest.class, directory.toString());
        assertEquals(0, end.status(), end.told());
        for (String name : ENCRYPTED) {
            assertArrayEquals(secret(name), Files.readAllBytes(directory.resolve(name + ".out")));
        }
        assertArrayEquals(secret(RANDOM), Files.readAllBytes(directory.resolve("random.out")));

        Map<String, byte[]> wanted = new TreeMap<>();
        Map<String, Integer> expected = new TreeMap<>();
        for (String name : names) {
            byte[] secret = secret(name);
            // Wherever a part of a long text begins, one of these is whole. The module's digest is the data's beginning.
            for (int at = DIGEST; at + LOOKED_FOR <= secret.length; at += 19_997) {
                wanted.put(name + " from " + at, Arrays.copyOfRange(secret, at, at + LOOKED_FOR));
                expected.put(name + " from " + at, 0);
            }
        }
        wanted.put("control", control);
        Map<String, Integer> found = HeapDump.read(directory.resolve("heap.hprof")).counts(wanted);
        assertTrue(found.remove("control") > 0);
        assertEquals(expected, found);
    }
}
