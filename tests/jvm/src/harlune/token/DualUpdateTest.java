package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.util.Arrays;

import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Mechanism;

/**
 * Two operations advance in one call: the message goes through a first step in each operation, a dual update for the
 * two together, and a last step in each.
 */
class DualUpdateTest extends KeyedSession {
    private static final int FIRST = 16;
    private static final int MIDDLE = 32;
    private static final byte[] MESSAGE = bytes(FIRST + MIDDLE + 8);
    private static final byte[] IV = bytes(8);
    private static final byte[] CIPHER_KEY = {
        1, 2, 4, 7, 8, 11, 13, 14, 16, 19, 21, 22, 25, 26, 28, 31, 32, 35, 37, 38, 41, 42, 44, 47};
    private static final byte[] MAC_KEY = bytes(20);
    private static final Mechanism CIPHER = new Mechanism(CKM_DES3_CBC, IV);
    private static final Mechanism DIGEST = new Mechanism(CKM_SHA256);
    private static final Mechanism MAC = new Mechanism(CKM_SHA_1_HMAC);

    private long cipherKey;
    private long macKey;

    @BeforeEach
    void createKeys() {
        cipherKey = secretKey(CKK_DES3, CIPHER_KEY);
        macKey = secretKey(CKK_GENERIC_SECRET, MAC_KEY);
    }

    private static byte[] ciphertext() throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("DESede/CBC/NoPadding");
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(CIPHER_KEY, "DESede"), new IvParameterSpec(IV));
        return cipher.doFinal(MESSAGE);
    }

    private static byte[] digest() throws GeneralSecurityException {
        return MessageDigest.getInstance("SHA-256").digest(MESSAGE);
    }

    private static byte[] mac() throws GeneralSecurityException {
        Mac mac = Mac.getInstance("HmacSHA1");
        mac.init(new SecretKeySpec(MAC_KEY, "HmacSHA1"));
        return mac.doFinal(MESSAGE);
    }

    private byte[] encryptFirst() {
        return session.J_EncryptUpdate(h, true, CIPHER, cipherKey, MESSAGE, 0, FIRST);
    }

    private byte[] encryptLast() {
        return joined(session.J_EncryptUpdate(h, false, null, 0, MESSAGE, FIRST + MIDDLE, 8), session.J_EncryptFinal());
    }

    private byte[] decryptFirst(byte[] encrypted) {
        return session.J_DecryptUpdate(h, true, CIPHER, cipherKey, encrypted, 0, FIRST);
    }

    private byte[] decryptLast(byte[] encrypted) {
        return joined(session.J_DecryptUpdate(h, false, null, 0, encrypted, FIRST + MIDDLE, 8),
                session.J_DecryptFinal());
    }

    /** The middle of the output array; what is around it must be as it was. */
    private static byte[] written(byte[] output, int offset, int length) {
        byte[] written = Arrays.copyOfRange(output, offset, offset + length);
        assertArrayEquals(around(offset, written, output.length - offset - length), output);
        return written;
    }

    @Test
    void digestAndEncrypt() throws GeneralSecurityException {
        session.J_DigestUpdate(h, true, DIGEST, MESSAGE, 0, FIRST);
        byte[] begin = encryptFirst();
        byte[] output = blank(3 + MIDDLE + 4);
        assertEquals(MIDDLE, session.J_DigestEncryptUpdate(around(5, MESSAGE, 0), 5 + FIRST, MIDDLE, output, 3));
        byte[] middle = written(output, 3, MIDDLE);
        session.J_DigestUpdate(h, false, null, MESSAGE, FIRST + MIDDLE, 8);
        assertArrayEquals(ciphertext(), joined(begin, middle, encryptLast()));
        assertArrayEquals(digest(), session.J_DigestFinal());
    }

    @Test
    void decryptAndDigest() throws GeneralSecurityException {
        byte[] encrypted = ciphertext();
        session.J_DigestUpdate(h, true, DIGEST, MESSAGE, 0, FIRST);
        byte[] begin = decryptFirst(encrypted);
        byte[] output = blank(3 + MIDDLE + 4);
        assertEquals(MIDDLE, session.J_DecryptDigestUpdate(around(5, encrypted, 0), 5 + FIRST, MIDDLE, output, 3));
        byte[] middle = written(output, 3, MIDDLE);
        session.J_DigestUpdate(h, false, null, MESSAGE, FIRST + MIDDLE, 8);
        assertArrayEquals(MESSAGE, joined(begin, middle, decryptLast(encrypted)));
        assertArrayEquals(digest(), session.J_DigestFinal());
    }

    @Test
    void signAndEncrypt() throws GeneralSecurityException {
        session.J_SignInit(h, MAC, macKey);
        session.J_SignUpdate(h, false, null, 0, MESSAGE, 0, FIRST);
        byte[] begin = encryptFirst();
        byte[] output = blank(3 + MIDDLE + 4);
        assertEquals(MIDDLE, session.J_SignEncryptUpdate(around(5, MESSAGE, 0), 5 + FIRST, MIDDLE, output, 3));
        byte[] middle = written(output, 3, MIDDLE);
        session.J_SignUpdate(h, false, null, 0, MESSAGE, FIRST + MIDDLE, 8);
        assertArrayEquals(ciphertext(), joined(begin, middle, encryptLast()));
        assertArrayEquals(mac(), session.J_SignFinal());
    }

    @Test
    void decryptAndVerify() throws GeneralSecurityException {
        byte[] encrypted = ciphertext();
        session.J_VerifyUpdate(h, true, MAC, macKey, MESSAGE, 0, FIRST);
        byte[] begin = decryptFirst(encrypted);
        byte[] output = blank(3 + MIDDLE + 4);
        assertEquals(MIDDLE, session.J_DecryptVerifyUpdate(around(5, encrypted, 0), 5 + FIRST, MIDDLE, output, 3));
        byte[] middle = written(output, 3, MIDDLE);
        session.J_VerifyUpdate(h, false, null, 0, MESSAGE, FIRST + MIDDLE, 8);
        assertArrayEquals(MESSAGE, joined(begin, middle, decryptLast(encrypted)));
        byte[] signature = mac();
        session.J_VerifyFinal(around(2, signature, 1), 2, signature.length);
    }

    @Test
    void decryptAndVerifyNoticesAForgery() throws GeneralSecurityException {
        byte[] encrypted = ciphertext();
        encrypted[FIRST + 1] ^= 1;
        session.J_VerifyUpdate(h, true, MAC, macKey, MESSAGE, 0, FIRST);
        decryptFirst(encrypted);
        session.J_DecryptVerifyUpdate(encrypted, FIRST, MIDDLE, new byte[MIDDLE], 0);
        session.J_VerifyUpdate(h, false, null, 0, MESSAGE, FIRST + MIDDLE, 8);
        byte[] signature = mac();
        // What the softoken says of a MAC that does not match.
        assertRefused("J_VerifyFinal", CKR_DEVICE_ERROR, "DEVICE ERROR",
                () -> session.J_VerifyFinal(signature, 0, signature.length));
    }

    @Test
    void withoutAnArrayTheLengthIsTold() {
        session.J_DigestUpdate(h, true, DIGEST, MESSAGE, 0, FIRST);
        encryptFirst();
        assertEquals(MIDDLE, session.J_DigestEncryptUpdate(MESSAGE, FIRST, MIDDLE, null, 99));
    }

    @Test
    void withoutBothOperationsTheUpdateIsRefused() {
        String text = "OPERATION NOT INITIALIZED";
        assertRefused("J_DigestEncryptUpdate", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_DigestEncryptUpdate(MESSAGE, 0, MIDDLE, null, 0));
        assertRefused("J_DecryptDigestUpdate", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_DecryptDigestUpdate(MESSAGE, 0, MIDDLE, null, 0));
        assertRefused("J_SignEncryptUpdate", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_SignEncryptUpdate(MESSAGE, 0, MIDDLE, null, 0));
        assertRefused("J_DecryptVerifyUpdate", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_DecryptVerifyUpdate(MESSAGE, 0, MIDDLE, null, 0));
    }

    @Test
    void missingInputIsReported() {
        byte[] output = blank(MIDDLE);
        assertText("J_DigestEncryptUpdate", "DataPart is NULL",
                () -> session.J_DigestEncryptUpdate(null, 0, MIDDLE, output, 0));
        assertText("J_DecryptDigestUpdate", "EncryptedPart is NULL",
                () -> session.J_DecryptDigestUpdate(null, 0, MIDDLE, output, 0));
        assertText("J_SignEncryptUpdate", "DataPart is NULL",
                () -> session.J_SignEncryptUpdate(null, 0, MIDDLE, output, 0));
        assertText("J_DecryptVerifyUpdate", "pEncryptedPart is NULL",
                () -> session.J_DecryptVerifyUpdate(null, 0, MIDDLE, output, 0));
        assertArrayEquals(output, blank(MIDDLE));
    }
}
