package harlune.jca;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.PrivateKey;
import java.security.Provider;
import java.security.Security;
import java.security.Signature;
import java.security.SignatureException;
import java.security.interfaces.ECKey;
import java.security.interfaces.RSAKey;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.util.List;

import org.junit.jupiter.api.Test;

/** Signatures by the token, each verified by the JDK, and signatures of the JDK, each verified by the token. */
class SignatureTest extends JcaToken {
    /** Nothing, a little, what waits in one piece, and what does not. */
    private static final List<Integer> LENGTHS = List.of(0, 1, 100, 8192, 8193, 100_000);

    private KeyPair tokenPair(String algorithm, String curve) throws Exception {
        KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm, provider);
        if (curve != null) {
            generator.initialize(new ECGenParameterSpec(curve));
        }
        return generator.generateKeyPair();
    }

    /** In parts of many lengths, a single byte among them. */
    private static void feed(Signature signature, byte[] data) throws SignatureException {
        int at = 0;
        for (int part = 1; at < data.length; part = part * 3 + 1) {
            int length = Math.min(part, data.length - at);
            if (length == 1) {
                signature.update(data[at]);
            } else {
                signature.update(data, at, length);
            }
            at += length;
        }
    }

    private static byte[] sign(Signature signature, byte[] data) throws SignatureException {
        feed(signature, data);
        return signature.sign();
    }

    private void bothWays(String algorithm, KeyPair ofToken, KeyPair ofJdk, PSSParameterSpec parameters)
            throws Exception {
        bothWays(algorithm, ofToken, ofJdk, parameters, LENGTHS);
    }

    private void bothWays(String algorithm, KeyPair ofToken, KeyPair ofJdk, PSSParameterSpec parameters,
            List<Integer> lengths) throws Exception {
        Signature signing = Signature.getInstance(algorithm, provider);
        Signature checking = Signature.getInstance(algorithm);
        assertNotEquals(provider, checking.getProvider());
        if (parameters != null) {
            signing.setParameter(parameters);
            checking.setParameter(parameters);
        }
        signing.initSign(ofToken.getPrivate());
        checking.initVerify(ofToken.getPublic());
        for (int length : lengths) {
            byte[] data = bytes(length);
            byte[] signature = sign(signing, data);
            feed(checking, data);
            assertTrue(checking.verify(signature), algorithm + " of " + length + " bytes, by the JDK");
        }
        Signature made = Signature.getInstance(algorithm);
        Signature verifying = Signature.getInstance(algorithm, provider);
        if (parameters != null) {
            made.setParameter(parameters);
            verifying.setParameter(parameters);
        }
        made.initSign(ofJdk.getPrivate());
        verifying.initVerify(ofJdk.getPublic());
        for (int length : lengths) {
            byte[] data = bytes(length);
            byte[] signature = sign(made, data);
            feed(verifying, data);
            assertTrue(verifying.verify(signature), algorithm + " of " + length + " bytes, by the token");
            feed(verifying, data);
            verifying.update((byte) 1);
            assertFalse(verifying.verify(signature), algorithm + " of other data");
            signature[signature.length - 1] ^= 1;
            feed(verifying, data);
            assertFalse(verifying.verify(signature), algorithm + " forged");
        }
    }

    @Test
    void rsaWithEveryDigest() throws Exception {
        KeyPair pair = tokenPair("RSA", null);
        for (String digest : List.of("SHA1", "SHA224", "SHA256", "SHA384", "SHA512", "SHA512/224", "SHA512/256",
                "SHA3-224", "SHA3-256", "SHA3-384", "SHA3-512", "MD5")) {
            bothWays(digest + "withRSA", pair, RSA, null);
        }
    }

    @Test
    void ecdsaInBothForms() throws Exception {
        for (String curve : List.of("secp256r1", "secp384r1", "secp521r1")) {
            KeyPair ofToken = tokenPair("EC", curve);
            KeyPair ofJdk = pair("EC", curve);
            for (String digest : List.of("SHA1", "SHA256", "SHA384", "SHA512")) {
                bothWays(digest + "withECDSA", ofToken, ofJdk, null);
                bothWays(digest + "withECDSAinP1363Format", ofToken, ofJdk, null);
            }
        }
    }

    @Test
    void pss() throws Exception {
        KeyPair pair = tokenPair("RSA", null);
        for (String digest : List.of("SHA-1", "SHA-256", "SHA-384", "SHA-512")) {
            for (int salt : new int[] {0, 20}) {
                bothWays("RSASSA-PSS", pair, RSA,
                        new PSSParameterSpec(digest, "MGF1", new MGF1ParameterSpec(digest), salt, 1));
            }
        }
        Signature named = Signature.getInstance("SHA256withRSASSA-PSS", provider);
        named.initSign(pair.getPrivate());
        named.update(bytes(10));
        Signature checking = Signature.getInstance("RSASSA-PSS");
        checking.setParameter(named.getParameters().getParameterSpec(PSSParameterSpec.class));
        checking.initVerify(pair.getPublic());
        checking.update(bytes(10));
        assertTrue(checking.verify(named.sign()));
    }

    @Test
    void pssWantsItsParametersBeforeTheData() throws Exception {
        Signature signature = Signature.getInstance("RSASSA-PSS", provider);
        signature.initSign(tokenPair("RSA", null).getPrivate());
        assertNull(signature.getParameters());
        assertThrows(SignatureException.class, () -> signature.update(bytes(1)));
        signature.setParameter(new PSSParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA256, 32, 1));
        signature.update(bytes(1));
        assertThrows(InvalidAlgorithmParameterException.class,
                () -> signature.setParameter(new PSSParameterSpec("SHA-1", "MGF1", MGF1ParameterSpec.SHA1, 20, 1)));
    }

    @Test
    void whatIsSignedWithoutADigest() throws Exception {
        byte[] digest = java.security.MessageDigest.getInstance("SHA-256").digest(bytes(1000));
        KeyPair pair = tokenPair("EC", "secp256r1");
        Signature none = Signature.getInstance("NONEwithECDSA", provider);
        none.initSign(pair.getPrivate());
        none.update(digest);
        Signature whole = Signature.getInstance("SHA256withECDSA");
        whole.initVerify(pair.getPublic());
        whole.update(bytes(1000));
        assertTrue(whole.verify(none.sign()));

        Signature bare = Signature.getInstance("NONEwithRSA", provider);
        bare.initSign(RSA.getPrivate());
        bare.update(digest);
        javax.crypto.Cipher open = javax.crypto.Cipher.getInstance("RSA/ECB/PKCS1Padding");
        open.init(javax.crypto.Cipher.DECRYPT_MODE, RSA.getPublic());
        assertArrayEquals(digest, open.doFinal(bare.sign()));
    }

    @Test
    void edwardsWhereTheTokenHasIt() throws Exception {
        assertEquals(offers("KeyPairGenerator", "EdDSA"), offers("Signature", "Ed25519"));
        if (offers("Signature", "Ed25519")) {
            KeyPair pair = tokenPair("Ed25519", null);
            // SoftHSM signs no data in a way of its own.
            bothWays("Ed25519", pair, pair("Ed25519", null), null, List.of(1, 100, 8192, 8193, 100_000));
        }
    }

    @Test
    void dsa() throws Exception {
        assertTrue(offers("Signature", "SHA1withDSA"));
        KeyPair small = pair("DSA", 1024);
        bothWays("SHA1withDSA", small, small, null);
        bothWays("SHA1withDSAinP1363Format", small, small, null);
        KeyPair pair = pair("DSA", 2048);
        for (String algorithm : List.of("SHA256withDSA", "SHA256withDSAinP1363Format")) {
            bothWays(algorithm, pair, pair, null);
        }
        Signature longer = Signature.getInstance("SHA512withDSA", provider);
        longer.initSign(pair.getPrivate());
        longer.update(bytes(100));
        Signature checking = Signature.getInstance("SHA512withDSA");
        checking.initVerify(pair.getPublic());
        checking.update(bytes(100));
        assertTrue(checking.verify(longer.sign()), "of a digest that is longer than the group's order");
    }

    @Test
    void theTokensKeysFindTheirProviderByThemselves() throws Exception {
        KeyPair pair = tokenPair("RSA", null);
        Security.addProvider(provider);
        try {
            Signature signature = Signature.getInstance("SHA256withRSA");
            signature.initSign(pair.getPrivate());
            assertSame(provider, signature.getProvider());
            signature.update(bytes(10));
            byte[] signed = signature.sign();
            signature.initVerify(pair.getPublic());
            Signature other = Signature.getInstance("SHA256withRSA");
            other.initVerify(pair.getPublic());
            assertNotEquals(provider, other.getProvider());
            other.update(bytes(10));
            assertTrue(other.verify(signed));
        } finally {
            Security.removeProvider(provider.getName());
        }
    }

    @Test
    void theJdkKeepsItsOwnKeysAlthoughTheTokenComesFirst() throws Exception {
        Security.insertProviderAt(provider, 1);
        try {
            Signature signature = Signature.getInstance("SHA256withRSA");
            signature.initSign(RSA.getPrivate());
            assertNotEquals(provider, signature.getProvider());
            signature.update(bytes(10));
            byte[] signed = signature.sign();
            KeyPair pair = KeyPairGenerator.getInstance("RSA").generateKeyPair();
            assertNull(pair.getPrivate().getEncoded(), "made by the token, which comes first");
            signature.initVerify(RSA.getPublic());
            signature.update(bytes(10));
            assertTrue(signature.verify(signed));
        } finally {
            Security.removeProvider(provider.getName());
        }
    }

    @Test
    void keysTellWhatTlsAsks() throws Exception {
        PrivateKey rsa = tokenPair("RSA", null).getPrivate();
        assertEquals(2048, ((RSAKey) rsa).getModulus().bitLength());
        PrivateKey ec = tokenPair("EC", "secp384r1").getPrivate();
        assertEquals(384, ((ECKey) ec).getParams().getOrder().bitLength());
        assertNull(rsa.getEncoded());
        assertNull(rsa.getFormat());
    }

    @Test
    void wrongKeysAreRefusedAtOnce() throws Exception {
        Signature signature = Signature.getInstance("SHA256withRSA", provider);
        assertThrows(InvalidKeyException.class, () -> signature.initSign(EC.getPrivate()));
        assertThrows(InvalidKeyException.class, () -> signature.initVerify(EC.getPublic()));
        assertThrows(InvalidKeyException.class, () -> signature.initSign(null));
        assertThrows(SignatureException.class, () -> signature.update(bytes(1)));
        Signature dsa = Signature.getInstance("SHA256withECDSA", provider);
        dsa.initVerify(EC.getPublic());
        dsa.update(bytes(10));
        assertThrows(SignatureException.class, () -> dsa.verify(bytes(70)));
    }

    @Test
    void aProviderOfTheJdkDoesNotTakeTheKey() throws Exception {
        Provider jdk = Signature.getInstance("SHA256withRSA").getProvider();
        PrivateKey key = tokenPair("RSA", null).getPrivate();
        Signature signature = Signature.getInstance("SHA256withRSA", jdk("SunRsaSign"));
        assertThrows(InvalidKeyException.class, () -> signature.initSign(key));
        assertNotEquals(provider, jdk);
    }
}
