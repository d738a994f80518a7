package harlune.jca;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.security.InvalidKeyException;
import java.security.KeyFactory;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.SecureRandom;
import java.security.Signature;
import java.security.SignatureException;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.InvalidKeySpecException;
import java.security.spec.PKCS8EncodedKeySpec;
import java.security.spec.X509EncodedKeySpec;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;

import javax.crypto.Cipher;
import javax.crypto.KeyAgreement;
import javax.crypto.KeyGenerator;
import javax.crypto.Mac;
import javax.crypto.SecretKey;
import javax.crypto.spec.SecretKeySpec;
import javax.security.auth.callback.PasswordCallback;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKO;
import velnor.Inside;
import velnor.ObjectTemplates;
import velnor.Session;

/** MACs, agreements, key factories and random numbers; and what becomes of keys and sessions that programs drop. */
class KeyedServicesTest extends JcaToken {
    @Test
    void macs() throws Exception {
        SecretKey key = new SecretKeySpec(bytes(64), "HmacSHA256");
        for (String algorithm : List.of("HmacSHA1", "HmacSHA224", "HmacSHA256", "HmacSHA384", "HmacSHA512")) {
            assertTrue(offers("Mac", algorithm), algorithm);
            Mac mac = Mac.getInstance(algorithm, provider);
            Mac expected = Mac.getInstance(algorithm, "SunJCE");
            mac.init(key);
            expected.init(key);
            assertEquals(expected.getMacLength(), mac.getMacLength());
            for (int length : new int[] {0, 1, 8192, 8193, 50_000}) {
                byte[] value = expected.doFinal(bytes(length));
                assertArrayEquals(value, mac.doFinal(bytes(length)), algorithm + " of " + length);
                for (int at = 0; at < length; at += 5000) {
                    mac.update(bytes(length), at, Math.min(5000, length - at));
                }
                assertArrayEquals(value, mac.doFinal(), algorithm + " of " + length + " in parts");
            }
            mac.update(bytes(20_000));
            mac.reset();
            assertArrayEquals(expected.doFinal(bytes(3)), mac.doFinal(bytes(3)));
        }
        Mac mac = Mac.getInstance("HmacSHA256", provider);
        assertThrows(InvalidKeyException.class, () -> mac.init(RSA.getPrivate()));
        SecretKey made = KeyGenerator.getInstance("HmacSHA256", provider).generateKey();
        mac.init(made);
        byte[] one = mac.doFinal(bytes(5));
        assertArrayEquals(one, mac.doFinal(bytes(5)));
        assertEquals(32, one.length);
    }

    @Test
    void agreements() throws Exception {
        for (String curve : List.of("secp256r1", "secp384r1", "secp521r1")) {
            KeyPairGenerator generator = KeyPairGenerator.getInstance("EC", provider);
            generator.initialize(new ECGenParameterSpec(curve));
            agree("ECDH", generator.generateKeyPair(), pair("EC", curve));
        }
        if (offers("KeyAgreement", "XDH")) {
            agree("XDH", KeyPairGenerator.getInstance("XDH", provider).generateKeyPair(), pair("X25519", null));
        }
        KeyAgreement wrong = KeyAgreement.getInstance("ECDH", provider);
        assertThrows(InvalidKeyException.class, () -> wrong.init(RSA.getPrivate()));
        wrong.init(EC.getPrivate());
        PublicKey other = pair("EC", "secp384r1").getPublic();
        assertThrows(InvalidKeyException.class, () -> wrong.doPhase(other, true));
    }

    private void agree(String algorithm, KeyPair ofToken, KeyPair ofJdk) throws Exception {
        KeyAgreement mine = KeyAgreement.getInstance(algorithm, provider);
        mine.init(ofToken.getPrivate());
        mine.doPhase(ofJdk.getPublic(), true);
        KeyAgreement theirs = KeyAgreement.getInstance(algorithm);
        theirs.init(ofJdk.getPrivate());
        theirs.doPhase(ofToken.getPublic(), true);
        byte[] expected = theirs.generateSecret();
        assertArrayEquals(expected, mine.generateSecret(), algorithm);
        assertThrows(IllegalStateException.class, mine::generateSecret, "one agreement, one secret");
        mine.doPhase(ofJdk.getPublic(), true);
        assertArrayEquals(expected, mine.generateSecret("TlsPremasterSecret").getEncoded());
    }

    @Test
    void keyFactories() throws Exception {
        KeyFactory factory = KeyFactory.getInstance("RSA", provider);
        assertEquals(RSA.getPublic(), factory.generatePublic(new X509EncodedKeySpec(RSA.getPublic().getEncoded())));
        PrivateKey inside = factory.generatePrivate(new PKCS8EncodedKeySpec(RSA.getPrivate().getEncoded()));
        Signature signature = Signature.getInstance("SHA256withRSA", provider);
        signature.initSign(inside);
        Signature checking = Signature.getInstance("SHA256withRSA");
        checking.initVerify(RSA.getPublic());
        assertTrue(checking.verify(signature.sign()));
        assertThrows(InvalidKeySpecException.class, () -> factory.getKeySpec(inside, PKCS8EncodedKeySpec.class));
    }

    @Test
    void randomNumbers() throws Exception {
        SecureRandom random = SecureRandom.getInstance("PKCS11", provider);
        byte[] first = new byte[32];
        byte[] second = new byte[32];
        random.nextBytes(first);
        random.setSeed(bytes(8));
        random.nextBytes(second);
        assertNotEquals(Arrays.toString(first), Arrays.toString(second));
        assertNotEquals(Arrays.toString(new byte[32]), Arrays.toString(first));
        assertEquals(7, random.generateSeed(7).length);
    }

    private int sessionObjects(Session session) {
        return session.find(new Attribute(CKA.TOKEN, false), new Attribute(CKA.CLASS, CKO.PRIVATE_KEY)).size();
    }

    /** Collects garbage until something holds, or time is over. */
    private static void await(Callable<Boolean> condition, String what) throws Exception {
        for (int patience = 100; !condition.call(); patience--) {
            assertTrue(patience > 0, what);
            System.gc();
            Thread.sleep(100);
        }
    }

    @Test
    void keysThatAreDroppedGoFromTheToken() throws Exception {
        try (Session session = slot.openSession()) {
            KeyPair kept = KeyPairGenerator.getInstance("EC", provider).generateKeyPair();
            for (int i = 0; i < 20; i++) {
                KeyPairGenerator.getInstance("EC", provider).generateKeyPair();
            }
            await(() -> sessionObjects(session) == 1, "twenty keys that nobody has");
            Signature signature = Signature.getInstance("SHA256withECDSA", provider);
            signature.initSign(kept.getPrivate());
            assertTrue(signature.sign().length > 0);
        }
    }

    @Test
    void sessionsOfDroppedOperationsAreUsedAgain() throws Exception {
        PrivateKey key = KeyPairGenerator.getInstance("RSA", provider).generateKeyPair().getPrivate();
        try (Session session = slot.openSession()) {
            List<Signature> begun = new ArrayList<>();
            for (int i = 0; i < 50; i++) {
                Signature signature = Signature.getInstance("SHA256withRSA", provider);
                signature.initSign(key);
                signature.update(bytes(10_000));
                begun.add(signature);
            }
            assertTrue(Inside.openSessions(session) > 50);
            begun.clear();
            await(() -> Inside.openSessions(session) < 25, "sessions of operations that nobody has");
        }
    }

    @Test
    void aKeyThatWantsItsPinEachTimeAsksForIt() throws Exception {
        try (Session session = slot.openSession()) {
            List<Attribute> template = new ArrayList<>(List.of(ObjectTemplates.of(RSA.getPrivate(),
                    new Attribute(CKA.TOKEN, true), new Attribute(CKA.LABEL, "careful"), new Attribute(CKA.SIGN, true),
                    new Attribute(CKA.DECRYPT, true), new Attribute(CKA.PRIVATE, true),
                    new Attribute(CKA.ALWAYS_AUTHENTICATE, true))));
            session.createObject(template.toArray(new Attribute[0]));
        }
        PrivateKey key = (PrivateKey) keyStore().getKey("careful", null);
        assertTrue(provider.objectOf(key).asksForPinEachTime());
        Signature signature = Signature.getInstance("SHA256withRSA", provider);
        signature.initSign(key);
        signature.update(bytes(20_000));
        assertThrows(SignatureException.class, signature::sign, "there is nobody to ask");
        int[] asked = new int[1];
        provider.setCallbackHandler(callbacks -> {
            asked[0]++;
            ((PasswordCallback) callbacks[0]).setPassword(Tokens.PIN.toCharArray());
        });
        Signature checking = Signature.getInstance("SHA256withRSA");
        checking.initVerify(RSA.getPublic());
        for (int i = 1; i <= 2; i++) {
            signature.update(bytes(20_000));
            checking.update(bytes(20_000));
            assertTrue(checking.verify(signature.sign()));
            assertEquals(i, asked[0]);
        }
        Cipher encrypting = Cipher.getInstance("RSA/ECB/PKCS1Padding", "SunJCE");
        encrypting.init(Cipher.ENCRYPT_MODE, RSA.getPublic());
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding", provider);
        cipher.init(Cipher.DECRYPT_MODE, key);
        assertArrayEquals(bytes(9), cipher.doFinal(encrypting.doFinal(bytes(9))));
        assertEquals(3, asked[0]);
    }

    @Test
    void manyThreadsShareAKeyAndAProvider() throws Exception {
        KeyPair pair = KeyPairGenerator.getInstance("EC", provider).generateKeyPair();
        ExecutorService executor = Executors.newFixedThreadPool(8);
        try {
            List<Future<Boolean>> all = new ArrayList<>();
            for (int thread = 0; thread < 8; thread++) {
                int own = thread;
                all.add(executor.submit(() -> {
                    Signature signing = Signature.getInstance("SHA256withECDSA", provider);
                    Signature checking = Signature.getInstance("SHA256withECDSA");
                    checking.initVerify(pair.getPublic());
                    for (int i = 0; i < 20; i++) {
                        byte[] data = bytes(own * 3000 + i);
                        signing.initSign(pair.getPrivate());
                        signing.update(data);
                        checking.update(data);
                        if (!checking.verify(signing.sign())) {
                            return false;
                        }
                    }
                    return true;
                }));
            }
            for (Future<Boolean> one : all) {
                assertTrue(one.get());
            }
        } finally {
            executor.shutdownNow();
        }
    }
}
