package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ChildJvm;
import harlune.support.Memory;
import harlune.support.ScriptedModule;

import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;

import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKM;
import velnor.CKO;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.Threading;
import velnor.TokenObject;

/**
 * The memory of another JVM with a small heap that is resident from the start: what calls leave behind where the caller
 * chooses the size, and what a module makes resident by claiming it.
 */
class ResidentMemoryTest {
    private static final Mechanism AES = new Mechanism(CKM.AES_ECB);
    private static final Mechanism RSA = new Mechanism(CKM.RSA_PKCS);
    private static final int WARM_UP = 5;
    private static final int CALLS = 60;
    /** So many calls that keep theirs are 30 MiB. */
    private static final int SIZE = 1 << 19;
    private static final long LEAK_BOUND_KIB = 15 << 10;
    /** The largest output that is believed has 16 MiB. */
    private static final long CLAIM_BOUND_KIB = 64 << 10;
    private static final List<String> CLAIMS = List.of("0x4000000", "0x7FFFFFFF", "0x80000000", "0x100000000", "-1");


    private static void refused(String answer, Runnable call) {
        ScriptedModule.answer(answer);
        try {
            call.run();
            throw new AssertionError("not refused");
        } catch (CryptokiException expected) {
            // The way on which a copy was kept.
        }
    }

    private static void leaks(Session session, TokenObject key) {
        Map<String, Runnable> calls = new TreeMap<>();
        byte[] large = new byte[SIZE];
        ByteBuffer in = ByteBuffer.allocateDirect(SIZE);
        ByteBuffer out = ByteBuffer.allocateDirect(2 * SIZE);
        Attribute[] template = {new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.VALUE, large)};
        calls.put("refused unwrapping", () -> refused("C_UnwrapKey CKR_WRAPPED_KEY_INVALID",
                () -> session.unwrapKey(AES, key, large)));
        calls.put("forged signatures in parts", () -> refused("C_VerifyFinal CKR_SIGNATURE_INVALID", () -> {
            try (var verifier = session.verifier(RSA, key)) {
                verifier.update(new byte[4]);
                verifier.verify(large);
            }
        }));
        calls.put("forged signatures", () -> refused("C_Verify CKR_SIGNATURE_INVALID",
                () -> session.verify(RSA, key, new byte[4], large)));
        calls.put("refused objects", () -> refused("C_CreateObject CKR_DEVICE_ERROR",
                () -> session.createObject(template)));
        calls.put("refused seeds", () -> refused("C_SeedRandom CKR_RANDOM_SEED_NOT_SUPPORTED",
                () -> session.seedRandom(large)));
        calls.put("failing encryption", () -> refused("C_Encrypt CKR_DEVICE_ERROR",
                () -> session.encrypt(AES, key, large)));
        calls.put("operations given up", () -> {
            try (Encryptor encryptor = session.encryptor(AES, key)) {
                encryptor.update(large);
            }
        });
        calls.put("direct buffers", () -> {
            try (Encryptor encryptor = session.encryptor(AES, key)) {
                encryptor.finish(in.clear(), out.clear());
            }
        });
        calls.put("refused direct buffers", () -> refused("C_EncryptUpdate CKR_DEVICE_ERROR", () -> {
            try (Encryptor encryptor = session.encryptor(AES, key)) {
                encryptor.update(in.clear(), out.clear());
            }
        }));
        calls.forEach((what, call) -> {
            for (int i = 0; i < WARM_UP; i++) {
                call.run();
                ScriptedModule.clearJournal();
            }
            long before = Memory.residentKiB();
            for (int i = 0; i < CALLS; i++) {
                call.run();
                ScriptedModule.clearJournal();
            }
            tell(what, Memory.residentKiB() - before, LEAK_BOUND_KIB);
        });
    }

    private static void claims(Cryptoki cryptoki, Session session, TokenObject key) {
        Map<String, Runnable> calls = new TreeMap<>();
        calls.put("C_Sign", () -> session.sign(RSA, key, new byte[4]));
        calls.put("C_SignRecover", () -> session.signRecover(RSA, key, new byte[4]));
        calls.put("C_Encrypt", () -> session.encrypt(AES, key, new byte[16]));
        calls.put("C_Decrypt", () -> session.decrypt(AES, key, new byte[16]));
        calls.put("C_Digest", () -> session.digest(new Mechanism(CKM.SHA256), new byte[16]));
        calls.put("C_WrapKey", () -> session.wrapKey(AES, key, key));
        calls.put("C_GetAttributeValue", () -> key.attributes(CKA.LABEL, CKA.ID));
        calls.put("C_GetSlotList", cryptoki::slots);
        calls.put("C_GetMechanismList", () -> session.slot().mechanisms());
        calls.put("C_FindObjects", session::find);
        calls.put("C_GetOperationState", () -> {
            try (var digester = session.digester(new Mechanism(CKM.SHA256))) {
                digester.update(new byte[4]);
                session.operationState();
            }
        });
        long before = Memory.residentKiB();
        calls.forEach((function, call) -> {
            for (String claimed : CLAIMS) {
                for (String answer : List.of("CKR_OK", "CKR_BUFFER_TOO_SMALL")) {
                    ScriptedModule.answer(function + " " + answer + " length=" + claimed + " count=" + claimed);
                    try {
                        call.run();
                    } catch (CryptokiException | OutOfMemoryError told) {
                        // Both say that there is no such thing.
                    }
                }
            }
            tell(function, Memory.mostResidentKiB() - before, CLAIM_BOUND_KIB);
        });
    }

    private static void tell(String what, long kiB, long boundKiB) {
        System.out.println((kiB <= boundKiB ? "good: " : "BAD: ") + what + ": " + kiB + " KiB");
    }

    /** Tells a line for each kind of call. */
    public static void main(String[] arguments) {
        Cryptoki cryptoki = Surface.scripted(Threading.CONCURRENT);
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        TokenObject key = Surface.key(session, 0xB01);
        if (arguments[0].equals("leaks")) {
            leaks(session, key);
        } else {
            claims(cryptoki, session, key);
        }
        System.out.println("good: the end");
    }

    @ParameterizedTest
    @ValueSource(strings = {"leaks", "claims"})
    void staysSmall(String what) throws Exception {
        ChildJvm.End end = ChildJvm.run(List.of("-XX:+UseSerialGC", "-Xms64m", "-Xmx64m", "-XX:+AlwaysPreTouch"),
                ResidentMemoryTest.class, what);
        assertTrue(Arrays.stream(end.told().split("\n")).allMatch(line -> line.startsWith("good: ")), end.told());
        assertTrue(end.told().endsWith("good: the end\n"), end.told());
        System.out.println(end.told());
    }
}
