package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.Signature;

import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;

import velnor.Mechanism;
import velnor.nat.NativeCryptoki;

/** Signatures and their verification, each side checked by the JDK where that has the key. */
final class SigningTrials extends NativeTrials {
    /** As long as a SHA-256 digest, which is what ECDSA signs. */
    private static final byte[] DATA = bytes(32);
    private static final byte[] MAC_KEY = bytes(32);
    private static final Mechanism RSA_PKCS = new Mechanism(CKM_RSA_PKCS);

    /** Keys on the token for one mechanism, and what the JDK can do. */
    private interface Keys {
        long signingKey();

        long verificationKey();

        /** Whether the JDK accepts the signature; true as well when it cannot tell. */
        boolean accepts(byte[] signature) throws GeneralSecurityException;

        /** What the JDK signs, or null when it lacks the key. */
        byte[] signed() throws GeneralSecurityException;
    }

    private interface KeyMaker {
        Keys make() throws GeneralSecurityException;
    }

    private record Signing(String name, Mechanism mechanism, boolean inParts, KeyMaker keys) {
    }

    SigningTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        for (Signing signing : new Signing[] {
            new Signing("SHA_1_HMAC", mechanism(CKM_SHA_1_HMAC), true, () -> mac("HmacSHA1")),
            new Signing("SHA256_HMAC", mechanism(CKM_SHA256_HMAC), true, () -> mac("HmacSHA256")),
            new Signing("RSA_PKCS", RSA_PKCS, false, () -> rsa("RSA")),
            new Signing("SHA256_RSA_PKCS", mechanism(CKM_SHA256_RSA_PKCS), true, () -> rsa("SHA256withRSA")),
            new Signing("ECDSA", mechanism(CKM_ECDSA), false, this::ecdsa),
        }) {
            int type = signing.mechanism.mechanism();
            if (can(type, CKF_SIGN)) {
                trial("signed", signing.name, () -> signed(signing));
                trial("signed into the caller's array", signing.name, () -> signedInto(signing));
            }
            if (can(type, CKF_SIGN) && signing.inParts) {
                trial("signed in parts", signing.name, () -> signedInParts(signing));
                trial("signed in parts into the caller's array", signing.name, () -> signedInPartsInto(signing));
            }
            if (can(type, CKF_VERIFY)) {
                trial("verified", signing.name, () -> verified(signing));
            }
            if (can(type, CKF_VERIFY) && signing.inParts) {
                trial("verified in parts", signing.name, () -> verifiedInParts(signing));
            }
        }
        if (can(CKM_RSA_PKCS, CKF_SIGN_RECOVER)) {
            trial("signed with recovery", "RSA_PKCS", this::signedWithRecovery);
            trial("signed with recovery into the caller's array", "RSA_PKCS", this::signedWithRecoveryInto);
        }
        if (can(CKM_RSA_PKCS, CKF_VERIFY_RECOVER)) {
            trial("recovered", "RSA_PKCS", this::recovered);
            trial("recovered into the caller's array", "RSA_PKCS", this::recoveredInto);
        }
    }

    private Keys mac(String algorithm) {
        long key = secretKey(CKK_GENERIC_SECRET, MAC_KEY);
        return new Keys() {
            @Override
            public long signingKey() {
                return key;
            }

            @Override
            public long verificationKey() {
                return key;
            }

            @Override
            public boolean accepts(byte[] signature) throws GeneralSecurityException {
                return MessageDigest.isEqual(signed(), signature);
            }

            @Override
            public byte[] signed() throws GeneralSecurityException {
                Mac mac = Mac.getInstance(algorithm);
                mac.init(new SecretKeySpec(MAC_KEY, algorithm));
                return mac.doFinal(DATA);
            }
        };
    }

    /** "RSA" is the bare padding of PKCS#1, without a digest. */
    private Keys rsa(String algorithm) throws GeneralSecurityException {
        RsaPair pair = RsaPair.in(session);
        return new PublicKeys(algorithm, pair.publicKey(), pair.privateKey(), pair.jdkPublicKey(),
                pair.jdkPrivateKey());
    }

    private Keys ecdsa() throws GeneralSecurityException {
        EcPair pair = EcPair.in(session);
        return new PublicKeys("NONEwithECDSAinP1363Format", pair.publicKey(), pair.privateKey(), pair.jdkPublicKey(),
                pair.jdkPrivateKey());
    }

    private record PublicKeys(String algorithm, long verificationKey, long signingKey, PublicKey jdkPublicKey,
            PrivateKey jdkPrivateKey) implements Keys {
        @Override
        public boolean accepts(byte[] signature) throws GeneralSecurityException {
            if (jdkPublicKey == null) {
                return true;
            }
            if (algorithm.equals("RSA")) {
                return MessageDigest.isEqual(DATA, recoveredByJdk(jdkPublicKey, signature));
            }
            Signature verification = Signature.getInstance(algorithm);
            verification.initVerify(jdkPublicKey);
            verification.update(DATA);
            return verification.verify(signature);
        }

        @Override
        public byte[] signed() throws GeneralSecurityException {
            if (jdkPrivateKey == null) {
                return null;
            }
            if (algorithm.equals("RSA")) {
                return signedByJdk(jdkPrivateKey);
            }
            Signature signing = Signature.getInstance(algorithm);
            signing.initSign(jdkPrivateKey);
            signing.update(DATA);
            return signing.sign();
        }
    }

    private static byte[] recoveredByJdk(PublicKey key, byte[] signature) throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.DECRYPT_MODE, key);
        return cipher.doFinal(signature);
    }

    private static byte[] signedByJdk(PrivateKey key) throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.ENCRYPT_MODE, key);
        return cipher.doFinal(DATA);
    }

    private void signed(Signing signing) throws GeneralSecurityException {
        Keys keys = signing.keys.make();
        assertAccepts(keys, call("byte[] J_Sign", () -> session.J_Sign(h, true, signing.mechanism, keys.signingKey(),
                around(5, DATA, 3), 5, DATA.length)));
    }

    private static void assertAccepts(Keys keys, byte[] signature) throws GeneralSecurityException {
        assertTrue(signature.length >= 20, "no signature");
        assertTrue(keys.accepts(signature), "the JDK does not accept the signature");
    }

    private void signedInto(Signing signing) throws GeneralSecurityException {
        Keys keys = signing.keys.make();
        run("J_SignInit", () -> session.J_SignInit(h, signing.mechanism, keys.signingKey()));
        int length = call("int J_Sign",
                () -> session.J_Sign(h, false, null, 0, around(5, DATA, 3), 5, DATA.length, null, 0));
        byte[] output = blank(4 + length + 1);
        int written = call("int J_Sign",
                () -> session.J_Sign(h, false, null, 0, around(5, DATA, 3), 5, DATA.length, output, 4));
        assertAccepts(keys, written(output, 4, written));
    }

    private void update(Signing signing, Keys keys) {
        run("J_SignUpdate", () -> session.J_SignUpdate(h, true, signing.mechanism, keys.signingKey(),
                around(3, DATA, 0), 3, 11));
        run("J_SignUpdate", () -> session.J_SignUpdate(h, false, null, 0, DATA, 11, DATA.length - 11));
    }

    private void signedInParts(Signing signing) throws GeneralSecurityException {
        Keys keys = signing.keys.make();
        update(signing, keys);
        assertAccepts(keys, call("byte[] J_SignFinal", () -> session.J_SignFinal()));
    }

    private void signedInPartsInto(Signing signing) throws GeneralSecurityException {
        Keys keys = signing.keys.make();
        update(signing, keys);
        byte[] output = blank(4 + 512);
        int written = call("int J_SignFinal", () -> session.J_SignFinal(output, 4));
        assertAccepts(keys, written(output, 4, written));
    }

    /** What the JDK signs, or, where it lacks the key, the token itself. */
    private byte[] signature(Signing signing, Keys keys) throws GeneralSecurityException {
        byte[] signed = keys.signed();
        return signed != null ? signed
                : session.J_Sign(h, true, signing.mechanism, keys.signingKey(), DATA, 0, DATA.length);
    }

    private void verified(Signing signing) throws GeneralSecurityException {
        Keys keys = signing.keys.make();
        byte[] signature = signature(signing, keys);
        run("J_Verify", () -> session.J_Verify(h, true, signing.mechanism, keys.verificationKey(), around(5, DATA, 3),
                5, DATA.length, around(2, signature, 1), 2, signature.length));
        signature[signature.length - 1] ^= 1;
        mustRefuse("J_Verify", signing.name + ", forged", () -> session.J_Verify(h, true, signing.mechanism,
                keys.verificationKey(), DATA, 0, DATA.length, signature, 0, signature.length));
    }

    private void updateVerification(Signing signing, Keys keys) {
        run("J_VerifyUpdate", () -> session.J_VerifyUpdate(h, true, signing.mechanism, keys.verificationKey(),
                around(3, DATA, 0), 3, 11));
        run("J_VerifyUpdate", () -> session.J_VerifyUpdate(h, false, null, 0, DATA, 11, DATA.length - 11));
    }

    private void verifiedInParts(Signing signing) throws GeneralSecurityException {
        Keys keys = signing.keys.make();
        byte[] signature = signature(signing, keys);
        updateVerification(signing, keys);
        run("J_VerifyFinal", () -> session.J_VerifyFinal(around(2, signature, 1), 2, signature.length));
        updateVerification(signing, keys);
        signature[signature.length - 1] ^= 1;
        mustRefuse("J_VerifyFinal", signing.name + ", forged",
                () -> session.J_VerifyFinal(signature, 0, signature.length));
    }

    private RsaPair startSigning() throws GeneralSecurityException {
        RsaPair pair = RsaPair.in(session);
        run("J_SignRecoverInit", () -> session.J_SignRecoverInit(RSA_PKCS, pair.privateKey()));
        return pair;
    }

    private void signedWithRecovery() throws GeneralSecurityException {
        RsaPair pair = startSigning();
        byte[] signature = call("byte[] J_SignRecover",
                () -> session.J_SignRecover(around(3, DATA, 2), 3, DATA.length));
        assertArrayEquals(DATA, recoveredByJdk(pair.jdkPublicKey(), signature));
    }

    /** A token that does not tell the length is not given an array: its refusal would end the JVM. */
    private void signedWithRecoveryInto() throws GeneralSecurityException {
        RsaPair pair = startSigning();
        int length = call("int J_SignRecover", () -> session.J_SignRecover(DATA, 0, DATA.length, null, 0));
        byte[] output = blank(4 + length + 5);
        int written = call("int J_SignRecover",
                () -> session.J_SignRecover(around(3, DATA, 2), 3, DATA.length, output, 4));
        assertArrayEquals(DATA, recoveredByJdk(pair.jdkPublicKey(), written(output, 4, written)));
    }

    private byte[] startRecovering() throws GeneralSecurityException {
        RsaPair pair = RsaPair.in(session);
        byte[] signature = pair.jdkPrivateKey() != null ? signedByJdk(pair.jdkPrivateKey())
                : session.J_Sign(h, true, RSA_PKCS, pair.privateKey(), DATA, 0, DATA.length);
        run("J_VerifyRecoverInit", () -> session.J_VerifyRecoverInit(RSA_PKCS, pair.publicKey()));
        return signature;
    }

    private void recovered() throws GeneralSecurityException {
        byte[] signature = startRecovering();
        assertArrayEquals(DATA, call("byte[] J_VerifyRecover",
                () -> session.J_VerifyRecover(around(3, signature, 2), 3, signature.length)));
    }

    private void recoveredInto() throws GeneralSecurityException {
        byte[] signature = startRecovering();
        int length = call("int J_VerifyRecover",
                () -> session.J_VerifyRecover(signature, 0, signature.length, null, 0));
        byte[] output = blank(4 + length);
        int written = call("int J_VerifyRecover",
                () -> session.J_VerifyRecover(around(3, signature, 2), 3, signature.length, output, 4));
        assertEquals(DATA.length, written);
        assertArrayEquals(DATA, written(output, 4, written));
    }
}
