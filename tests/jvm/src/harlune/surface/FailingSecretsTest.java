package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.HeapDump;
import harlune.support.ScriptedModule;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.function.Function;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CKP;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.Decryptor;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.Signer;
import velnor.TokenObject;
import velnor.UserType;
import velnor.params.KEYDERIVATIONSTRINGDATA;
import velnor.params.PBEParams;
import velnor.params.PBKD2Params;

/**
 * What the surface leaves in Java's heap of secrets that the program wiped itself, when each call of the module fails
 * in turn, and when none does: nothing.
 */
class FailingSecretsTest {
    private static final int LENGTH = 3000;
    private static final Mechanism AES = new Mechanism(CKM.AES_ECB);
    private static final Mechanism SHA256 = new Mechanism(CKM.SHA256);
    private static final Mechanism RSA = new Mechanism(CKM.RSA_PKCS);

    /** What is done with a secret. */
    private interface Use {
        void with(Session session, TokenObject key, byte[] secret) throws IOException;
    }

    /** What is done with characters that are secret. */
    private interface PinUse {
        void with(Session session, char[] pin);
    }

    private static final Map<String, Use> USES = new TreeMap<>();
    /** The attributes and parameters of the program's own, which keep what they were made of: one for each use. */
    private static final Map<String, Object> KEPT = new HashMap<>();

    static {
        pin("logging in", Session::login);
        pin("logging in as the officer", (session, pin) -> session.login(UserType.SECURITY_OFFICER, pin));
        pin("setting the first PIN", Session::initPIN);
        pin("changing the PIN", (session, pin) -> session.setPIN(pin, pin));
        pin("initialising a token", (session, pin) -> session.slot().initToken(pin, "label"));
        pin("a PIN for each signature",
                (session, pin) -> session.sign(RSA, session.object(0xB03), pin, new byte[8]));
        USES.put("finding", (session, key, secret) -> session.find(value("finding", secret)));
        USES.put("creating", (session, key, secret) -> session.createObject(template("creating", secret)));
        USES.put("copying", (session, key, secret) -> key.copy(value("copying", secret)));
        USES.put("setting", (session, key, secret) -> key.set(value("setting", secret)));
        USES.put("generating", (session, key, secret) -> session.generateKey(new Mechanism(CKM.AES_KEY_GEN),
                value("generating", secret)));
        USES.put("generating a pair", (session, key, secret) -> {
            Attribute[] template = {value("generating a pair", secret)};
            session.generateKeyPair(new Mechanism(CKM.RSA_PKCS_KEY_PAIR_GEN), template, template);
        });
        USES.put("unwrapping", (session, key, secret) -> session.unwrapKey(AES, key, new byte[16],
                value("unwrapping", secret)));
        USES.put("deriving", (session, key, secret) -> session.deriveKey(
                new Mechanism(CKM.XOR_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(new byte[8])), key,
                value("deriving", secret)));
        USES.put("deriving with data", (session, key, secret) -> session.deriveKey(
                (Mechanism) KEPT.computeIfAbsent("deriving with data", any -> new Mechanism(CKM.XOR_BASE_AND_DATA,
                        new KEYDERIVATIONSTRINGDATA(secret))), key));
        USES.put("a password", (session, key, secret) -> session.generateKey(
                withPassword("a password", secret, password -> new Mechanism(CKM.PBE_SHA1_DES3_EDE_CBC,
                        new PBEParams(null, password, new char[8], 1000)))));
        USES.put("another password", (session, key, secret) -> session.generateKey(
                withPassword("another password", secret, password -> new Mechanism(CKM.PKCS5_PBKD2,
                        new PBKD2Params(password, new byte[8], 1000, CKP.PKCS5_PBKD2_HMAC_SHA1)))));
        USES.put("encrypting", (session, key, secret) -> session.encrypt(AES, key, secret));
        USES.put("decrypting", (session, key, secret) -> blank(session.decrypt(AES, key, encrypted(secret))));
        USES.put("decrypting in parts", (session, key, secret) -> {
            try (Decryptor decryptor = session.decryptor(AES, key)) {
                blank(decryptor.update(encrypted(secret)));
                blank(decryptor.finish());
            }
        });
        USES.put("giving up", (session, key, secret) -> {
            try (Decryptor decryptor = session.decryptor(AES, key)) {
                blank(decryptor.update(encrypted(secret), 0, LENGTH - 2));
            }
        });
        USES.put("decrypting into a buffer", (session, key, secret) -> {
            ByteBuffer out = ByteBuffer.allocateDirect(2 * LENGTH);
            try (Decryptor decryptor = session.decryptor(AES, key)) {
                decryptor.update(ByteBuffer.wrap(encrypted(secret)), out);
                decryptor.finish(ByteBuffer.allocate(0), out);
            }
        });
        USES.put("encrypting a buffer", (session, key, secret) -> {
            try (Encryptor encryptor = session.encryptor(AES, key)) {
                encryptor.finish(ByteBuffer.wrap(secret).asReadOnlyBuffer(), ByteBuffer.allocate(2 * LENGTH));
            }
        });
        USES.put("encrypting a stream", (session, key, secret) -> {
            try (Encryptor encryptor = session.encryptor(AES, key)) {
                encryptor.transfer(new ByteArrayInputStream(secret), OutputStream.nullOutputStream());
            }
        });
        USES.put("decrypting a stream", (session, key, secret) -> {
            try (Decryptor decryptor = session.decryptor(AES, key)) {
                decryptor.transfer(new ByteArrayInputStream(encrypted(secret)), OutputStream.nullOutputStream());
            }
        });
        USES.put("signing", (session, key, secret) -> session.sign(RSA, key, secret));
        USES.put("signing a stream", (session, key, secret) -> {
            try (Signer signer = session.signer(RSA, key)) {
                signer.update(new ByteArrayInputStream(secret));
                signer.sign();
            }
        });
        USES.put("digesting a buffer", (session, key, secret) -> {
            try (Digester digester = session.digester(SHA256)) {
                digester.update(ByteBuffer.wrap(secret).asReadOnlyBuffer());
                blank(digester.digest()); // the scripted module's looks like what went in
            }
        });
        USES.put("a saved state", (session, key, secret) -> {
            byte[] state = stateOfDigest(session, secret);
            try {
                session.setOperationState(state);
            } finally {
                blank(state);
            }
        });
        USES.put("seeding", (session, key, secret) -> session.seedRandom(secret));
    }

    private static void pin(String name, PinUse use) {
        USES.put(name, (session, key, secret) -> {
            Arrays.fill(secret, 200, LENGTH, (byte) 0);
            char[] pin = HeapSecretsTest.characters(secret);
            try {
                use.with(session, pin);
            } finally {
                Arrays.fill(pin, '\0');
            }
        });
    }

    private static Mechanism withPassword(String name, byte[] secret, Function<char[], Mechanism> maker) {
        return (Mechanism) KEPT.computeIfAbsent(name, any -> {
            char[] password = HeapSecretsTest.characters(secret);
            Mechanism mechanism = maker.apply(password);
            Arrays.fill(password, '\0');
            return mechanism;
        });
    }

    private static byte[] stateOfDigest(Session session, byte[] secret) {
        try (Digester digester = session.digester(SHA256)) {
            digester.update(secret);
            return session.operationState();
        }
    }

    private static Attribute value(String name, byte[] secret) {
        return (Attribute) KEPT.computeIfAbsent(name, any -> new Attribute(CKA.VALUE, secret));
    }

    private static Attribute[] template(String name, byte[] secret) {
        return new Attribute[] {new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.AES),
            value(name, secret)};
    }

    /** What the scripted module decrypts to the secret. */
    private static byte[] encrypted(byte[] secret) {
        return HeapSecretsTest.swapped(secret);
    }

    private static void blank(byte[] result) {
        Arrays.fill(result, (byte) 0);
    }

    private static byte[] secret(String name) {
        return HeapDump.secret(name.hashCode(), LENGTH);
    }

    /** Does it once, and then as often as it calls the module, the first, the second ... call failing. */
    private static int tryAll(Session session, TokenObject key, String name) throws IOException {
        for (int n = 0;; n++) {
            long before = ScriptedModule.calls();
            ScriptedModule.failCall(n, n == 0 ? 0 : CKR.DEVICE_ERROR);
            byte[] secret = secret(name);
            try {
                USES.get(name).with(session, key, secret);
            } catch (RuntimeException refused) {
                // The way that is to wipe, too.
            } finally {
                HeapSecretsTest.wipe(secret);
                ScriptedModule.failCall(0, 0);
            }
            if (ScriptedModule.calls() - before < n) {
                return n;
            }
        }
    }

    /** Dumps the heap into the file that is named. */
    public static void main(String[] arguments) throws Exception {
        int failures = 0;
        for (String name : USES.keySet()) {
            try (Cryptoki cryptoki = Surface.scripted()) {
                Session session = cryptoki.slotsWithToken().get(0).openSession();
                int tries = tryAll(session, Surface.key(session, 0xB01), name);
                System.out.println(name + ": " + tries);
                failures += tries;
            }
        }
        HeapDump.write(arguments[0]);
        System.exit(failures > 2 * USES.size() ? 0 : 1);
    }

    @Test
    void nothingIsLeftWhateverFails(@TempDir Path directory) throws Exception {
        HeapDump heap = HeapDump.after(FailingSecretsTest.class, directory);
        Map<String, Integer> expected = new TreeMap<>();
        Map<String, byte[]> wanted = new TreeMap<>();
        List<String> kept = List.of("finding", "creating", "copying", "setting", "generating", "generating a pair",
                "unwrapping", "deriving", "deriving with data");
        // An array of characters is found in either order of their bytes.
        List<String> keptAsCharacters = List.of("a password", "another password");
        for (String name : USES.keySet()) {
            expected.put(name, kept.contains(name) ? 1 : keptAsCharacters.contains(name) ? 2 : 0);
            wanted.put(name, Arrays.copyOf(secret(name), 24));
        }
        assertEquals(expected, heap.counts(wanted));
        assertTrue(USES.size() > 25);
    }
}
