package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.fail;

import java.security.GeneralSecurityException;
import java.security.MessageDigest;

import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;

import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.nat.NativeCryptoki;

/**
 * Two operations advance in one call. A token that refuses this with an array at hand ends the JVM, and asking for the
 * length is no way to find out: the softoken reads the null array then, and digests or signs the data a first time. So
 * it is asked while no operation runs, which is refused in any case: as not initialised where the function is there.
 */
final class DualFunctionsTrials extends NativeTrials {
    private static final byte[] DATA = bytes(64);
    private static final int HALF = 32;
    private static final byte[] CIPHER_KEY = bytes(16);
    private static final byte[] MAC_KEY = bytes(20);
    private static final Mechanism CIPHER = new Mechanism(CKM_AES_ECB);
    private static final Mechanism DIGEST = new Mechanism(CKM_SHA_1);
    private static final Mechanism MAC = new Mechanism(CKM_SHA_1_HMAC);
    private static final String CIPHER_AND_DIGEST = "AES_ECB, SHA_1";
    private static final String CIPHER_AND_MAC = "AES_ECB, SHA_1_HMAC";

    private interface DualUpdate {
        int into(byte[] output);
    }

    DualFunctionsTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        trial("digested and encrypted", CIPHER_AND_DIGEST, this::digestedAndEncrypted);
        trial("decrypted and digested", CIPHER_AND_DIGEST, this::decryptedAndDigested);
        trial("signed and encrypted", CIPHER_AND_MAC, this::signedAndEncrypted);
        trial("decrypted and verified", CIPHER_AND_MAC, this::decryptedAndVerified);
    }

    private static byte[] ciphertext() throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("AES/ECB/NoPadding");
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(CIPHER_KEY, "AES"));
        return cipher.doFinal(DATA);
    }

    private static byte[] digest() throws GeneralSecurityException {
        return MessageDigest.getInstance("SHA-1").digest(DATA);
    }

    private static byte[] mac() throws GeneralSecurityException {
        Mac mac = Mac.getInstance("HmacSHA1");
        mac.init(new SecretKeySpec(MAC_KEY, "HmacSHA1"));
        return mac.doFinal(DATA);
    }

    /** Ends the trial when the token lacks the function. */
    private void mustKnow(String method, DualUpdate update) {
        try {
            update.into(null);
            fail(method + " updated what was not started");
        } catch (CryptokiException e) {
            if (!Outcomes.refusal(method, e).equals("OPERATION_NOT_INITIALIZED")) {
                call(method, () -> {
                    throw e;
                });
            }
        }
    }

    private byte[] encryptedFirst() {
        return session.J_EncryptUpdate(h, true, CIPHER, secretKey(CKK_AES, CIPHER_KEY), DATA, 0, HALF);
    }

    private byte[] decryptedFirst(byte[] encrypted) {
        return session.J_DecryptUpdate(h, true, CIPHER, secretKey(CKK_AES, CIPHER_KEY), encrypted, 0, HALF);
    }

    private void digestFirst() {
        session.J_DigestUpdate(h, true, DIGEST, DATA, 0, HALF);
    }

    private long macKey() {
        return secretKey(CKK_GENERIC_SECRET, MAC_KEY);
    }

    /** The second half, dealt with by both operations. */
    private byte[] second(String method, DualUpdate update) {
        byte[] output = blank(5 + HALF);
        int length = call(method, () -> update.into(output));
        return written(output, 5, length);
    }

    private void digestedAndEncrypted() throws GeneralSecurityException {
        DualUpdate update = output -> session.J_DigestEncryptUpdate(DATA, HALF, HALF, output, 5);
        mustKnow("J_DigestEncryptUpdate", update);
        digestFirst();
        byte[] first = encryptedFirst();
        byte[] second = second("J_DigestEncryptUpdate", update);
        assertArrayEquals(ciphertext(), joined(first, second, session.J_EncryptFinal()));
        assertArrayEquals(digest(), session.J_DigestFinal());
    }

    private void decryptedAndDigested() throws GeneralSecurityException {
        byte[] encrypted = ciphertext();
        DualUpdate update = output -> session.J_DecryptDigestUpdate(encrypted, HALF, HALF, output, 5);
        mustKnow("J_DecryptDigestUpdate", update);
        digestFirst();
        byte[] first = decryptedFirst(encrypted);
        byte[] second = second("J_DecryptDigestUpdate", update);
        assertArrayEquals(DATA, joined(first, second, session.J_DecryptFinal()));
        assertArrayEquals(digest(), session.J_DigestFinal());
    }

    private void signedAndEncrypted() throws GeneralSecurityException {
        DualUpdate update = output -> session.J_SignEncryptUpdate(DATA, HALF, HALF, output, 5);
        mustKnow("J_SignEncryptUpdate", update);
        session.J_SignUpdate(h, true, MAC, macKey(), DATA, 0, HALF);
        byte[] first = encryptedFirst();
        byte[] second = second("J_SignEncryptUpdate", update);
        assertArrayEquals(ciphertext(), joined(first, second, session.J_EncryptFinal()));
        assertArrayEquals(mac(), session.J_SignFinal());
    }

    private void decryptedAndVerified() throws GeneralSecurityException {
        byte[] encrypted = ciphertext();
        DualUpdate update = output -> session.J_DecryptVerifyUpdate(encrypted, HALF, HALF, output, 5);
        mustKnow("J_DecryptVerifyUpdate", update);
        session.J_VerifyUpdate(h, true, MAC, macKey(), DATA, 0, HALF);
        byte[] first = decryptedFirst(encrypted);
        byte[] second = second("J_DecryptVerifyUpdate", update);
        assertArrayEquals(DATA, joined(first, second, session.J_DecryptFinal()));
        byte[] signature = mac();
        session.J_VerifyFinal(signature, 0, signature.length);
    }
}
