package harlune.matrix;

import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.GeneralSecurityException;
import java.security.KeyPair;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.Signature;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.util.ArrayList;
import java.util.List;

import javax.crypto.Cipher;
import javax.crypto.KeyAgreement;
import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.Mechanism;
import velnor.Session;
import velnor.Signer;
import velnor.TokenObject;
import velnor.params.ECDH1DeriveParams;
import velnor.params.PSSParams;

/** Signatures, and keys that are agreed on and wrapped, each checked by the JDK. */
final class SurfaceKeyTrials extends SurfaceTrials {
    private static final byte[] MESSAGE = bytes(200);
    private static final byte[] KEY = bytes(32);
    private static final byte[] WRAPPED_KEY = bytes(16);
    private static final Attribute ED25519 = new Attribute(CKA.EC_PARAMS, new byte[] {6, 3, 0x2B, 0x65, 0x70});
    private static final PSSParameterSpec PSS_SHA256 = new PSSParameterSpec("SHA-256", "MGF1",
            MGF1ParameterSpec.SHA256, 32, PSSParameterSpec.TRAILER_FIELD_BC);

    SurfaceKeyTrials(OpenToken token, Outcomes outcomes) {
        super(token, outcomes);
    }

    @Override
    void plan() {
        trial(HMAC, "SHA256_HMAC signs", this::macMade);
        trial(HMAC, "SHA256_HMAC verifies", this::macVerified);
        trial(PSS, "SHA256_RSA_PKCS_PSS signs", () -> pssSigned(CKM.SHA256_RSA_PKCS_PSS, MESSAGE));
        trial(PSS, "SHA256_RSA_PKCS_PSS verifies", () -> pssVerified(CKM.SHA256_RSA_PKCS_PSS, MESSAGE));
        trial(PSS, "RSA_PKCS_PSS signs", () -> pssSigned(CKM.RSA_PKCS_PSS, digest()));
        trial(PSS, "RSA_PKCS_PSS signs again and beside another", this::pssSignedAgain);
        trial(PSS, "RSA_PKCS_PSS verifies", () -> pssVerified(CKM.RSA_PKCS_PSS, digest()));
        trial(EDDSA, "Ed25519", this::edwards);
        trial(ECDH, "P-256", this::agreed);
        trial(AES_KEY_WRAP, "AES_KEY_WRAP wraps", this::wrappedByAes);
        trial(AES_KEY_WRAP, "AES_KEY_WRAP unwraps", this::unwrappedByAes);
        trial(RSA_WRAPPING, "RSA_PKCS wraps", this::wrappedByRsa);
        trial(RSA_WRAPPING, "RSA_PKCS unwraps", this::unwrappedByRsa);
    }

    private static byte[] digest() throws GeneralSecurityException {
        return java.security.MessageDigest.getInstance("SHA-256").digest(MESSAGE);
    }

    private static byte[] mac() throws GeneralSecurityException {
        Mac mac = Mac.getInstance("HmacSHA256");
        mac.init(new SecretKeySpec(KEY, "HmacSHA256"));
        return mac.doFinal(MESSAGE);
    }

    private void macMade() throws GeneralSecurityException {
        TokenObject key = secretKey("HmacSHA256", KEY);
        assertArrayEquals(mac(), call(() -> session.sign(new Mechanism(CKM.SHA256_HMAC), key, MESSAGE)));
    }

    private void macVerified() throws GeneralSecurityException {
        Mechanism mechanism = new Mechanism(CKM.SHA256_HMAC);
        TokenObject key = secretKey("HmacSHA256", KEY);
        byte[] mac = mac();
        run(() -> session.verify(mechanism, key, MESSAGE, mac));
    }

    private static boolean accepts(String algorithm, AlgorithmParameterSpec parameter, PublicKey key,
            byte[] signature) throws GeneralSecurityException {
        Signature judge = Signature.getInstance(algorithm);
        if (parameter != null) {
            judge.setParameter(parameter);
        }
        judge.initVerify(key);
        judge.update(MESSAGE);
        return judge.verify(signature);
    }

    private static byte[] signedByJdk(PrivateKey key) throws GeneralSecurityException {
        Signature signature = Signature.getInstance("RSASSA-PSS");
        signature.setParameter(PSS_SHA256);
        signature.initSign(key);
        signature.update(MESSAGE);
        return signature.sign();
    }

    private static Mechanism pss(int type) {
        return new Mechanism(type, PSSParams.of("SHA-256"));
    }

    /** A module that keeps the address of the parameter (tpm2-pkcs11 does) must not find another one's there. */
    private void pssSignedAgain() throws GeneralSecurityException {
        SurfacePair pair = SurfacePair.rsa(session);
        Mechanism mechanism = pss(CKM.RSA_PKCS_PSS);
        byte[] digest = digest();
        List<byte[]> signatures = new ArrayList<>();
        for (int i = 0; i < 3; i++) {
            signatures.add(call(() -> session.sign(mechanism, pair.privateKey(), digest)));
        }
        try (Session second = session.slot().openSession(); Signer signer = second.signer(mechanism, pair.privateKey())) {
            call(signer::start);
            signatures.add(call(() -> session.sign(pss(CKM.RSA_PKCS_PSS), pair.privateKey(), digest)));
            signatures.add(call(() -> signer.sign(digest)));
        }
        for (byte[] signature : signatures) {
            assertTrue(accepts("RSASSA-PSS", PSS_SHA256, pair.jdkPublicKey(), signature), "the JDK refuses it");
        }
    }

    private byte[] pssSigned(int type, byte[] input) throws GeneralSecurityException {
        SurfacePair pair = SurfacePair.rsa(session);
        byte[] signature = call(() -> session.sign(pss(type), pair.privateKey(), input));
        assertTrue(accepts("RSASSA-PSS", PSS_SHA256, pair.jdkPublicKey(), signature), "the JDK refuses it");
        return signature;
    }

    /** Where the private key is the token's alone, what it verifies is a signature of its own that the JDK accepts. */
    private void pssVerified(int type, byte[] input) throws GeneralSecurityException {
        SurfacePair pair = SurfacePair.rsa(session);
        byte[] signature = pair.isTheJdks() ? signedByJdk(pair.jdkPrivateKey())
                : session.sign(pss(type), pair.privateKey(), input);
        assertTrue(accepts("RSASSA-PSS", PSS_SHA256, pair.jdkPublicKey(), signature), "the JDK refuses it");
        beginAnew();
        TokenObject publicKey = SurfacePair.rsa(session).publicKey();
        run(() -> session.verify(pss(type), publicKey, input, signature));
        byte[] other = input.clone();
        other[0] ^= 1;
        assertFalse(session.isValid(pss(type), publicKey, other, signature), "what was not signed");
    }

    private void edwards() throws GeneralSecurityException {
        Attribute inSession = new Attribute(CKA.TOKEN, false);
        SurfacePair pair = SurfacePair.of(call(EDDSA, "EC_EDWARDS_KEY_PAIR_GEN",
                () -> session.generateKeyPair(new Mechanism(CKM.EC_EDWARDS_KEY_PAIR_GEN),
                        new Attribute[] {inSession, ED25519, new Attribute(CKA.VERIFY, true)},
                        new Attribute[] {inSession, new Attribute(CKA.SIGN, true)})));
        Mechanism mechanism = new Mechanism(CKM.EDDSA);
        byte[] signature = call(EDDSA, "EDDSA signs", () -> session.sign(mechanism, pair.privateKey(), MESSAGE));
        assertTrue(accepts("Ed25519", null, pair.jdkPublicKey(), signature), "the JDK refuses it");
        call(EDDSA, "EDDSA verifies", () -> {
            session.verify(mechanism, pair.publicKey(), MESSAGE, signature);
            return null;
        });
        signature[0] ^= 1;
        assertFalse(session.isValid(mechanism, pair.publicKey(), MESSAGE, signature), "forged");
    }

    private void agreed() throws GeneralSecurityException {
        SurfacePair pair = SurfacePair.ec(session);
        KeyPair other = SurfacePair.jdkEc();
        KeyAgreement agreement = KeyAgreement.getInstance("ECDH");
        agreement.init(other.getPrivate());
        agreement.doPhase(pair.jdkPublicKey(), true);
        TokenObject secret = call(() -> session.deriveKey(
                new Mechanism(CKM.ECDH1_DERIVE, ECDH1DeriveParams.of(other.getPublic())), pair.privateKey(),
                new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.GENERIC_SECRET),
                new Attribute(CKA.TOKEN, false), new Attribute(CKA.VALUE_LEN, 32),
                new Attribute(CKA.SENSITIVE, false), new Attribute(CKA.EXTRACTABLE, true)));
        assertArrayEquals(agreement.generateSecret(), secret.attribute(CKA.VALUE).bytesValue());
    }

    private void wrappedByAes() throws GeneralSecurityException {
        TokenObject wrapping = secretKey("AES", KEY);
        TokenObject key = secretKey("AES", WRAPPED_KEY);
        byte[] wrapped = call(() -> session.wrapKey(new Mechanism(CKM.AES_KEY_WRAP), wrapping, key));
        Cipher cipher = Cipher.getInstance("AESWrap");
        cipher.init(Cipher.UNWRAP_MODE, new SecretKeySpec(KEY, "AES"));
        assertArrayEquals(WRAPPED_KEY, cipher.unwrap(wrapped, "AES", Cipher.SECRET_KEY).getEncoded());
    }

    private void unwrappedByAes() throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("AESWrap");
        cipher.init(Cipher.WRAP_MODE, new SecretKeySpec(KEY, "AES"));
        unwrapped(CKM.AES_KEY_WRAP, secretKey("AES", KEY), cipher.wrap(new SecretKeySpec(WRAPPED_KEY, "AES")));
    }

    private void wrappedByRsa() throws GeneralSecurityException {
        SurfacePair pair = SurfacePair.rsa(session);
        TokenObject key = secretKey("AES", WRAPPED_KEY);
        byte[] wrapped = call(() -> session.wrapKey(new Mechanism(CKM.RSA_PKCS), pair.publicKey(), key));
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.DECRYPT_MODE, pair.jdkPrivateKey());
        assertArrayEquals(WRAPPED_KEY, cipher.doFinal(wrapped));
    }

    private void unwrappedByRsa() throws GeneralSecurityException {
        SurfacePair pair = SurfacePair.rsa(session);
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.ENCRYPT_MODE, pair.jdkPublicKey());
        unwrapped(CKM.RSA_PKCS, pair.privateKey(), cipher.doFinal(WRAPPED_KEY));
    }

    /** The key that comes out encrypts as the JDK does with it; whether its value can be read is up to the token. */
    private void unwrapped(int mechanism, TokenObject unwrapping, byte[] wrapped) throws GeneralSecurityException {
        TokenObject key = call(() -> session.unwrapKey(new Mechanism(mechanism), unwrapping, wrapped,
                new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.AES),
                new Attribute(CKA.TOKEN, false), new Attribute(CKA.ENCRYPT, true)));
        Cipher cipher = Cipher.getInstance("AES/ECB/NoPadding");
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(WRAPPED_KEY, "AES"));
        assertArrayEquals(cipher.doFinal(KEY), session.encrypt(new Mechanism(CKM.AES_ECB), key, KEY));
    }
}
