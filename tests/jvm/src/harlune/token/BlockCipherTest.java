package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static harlune.token.Bytes.from;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.GeneralSecurityException;
import java.util.stream.Stream;

import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.Attribute;
import velnor.Mechanism;

/** Every way to encrypt and decrypt with a secret key, held against what the JDK makes of the same key. */
class BlockCipherTest extends KeyedSession {
    private static final byte[] DATA = bytes(48);
    private static final byte[] IV = bytes(8);
    private static final byte[] AES_KEY = bytes(32);
    private static final byte[] DES3_KEY = desKey(24);

    /** A mechanism and its counterpart; the key is one that both sides hold. */
    private record Cipher(String transformation, Mechanism mechanism, int keyType, byte[] key, boolean padded) {
        byte[] encrypt(byte[] data) throws GeneralSecurityException {
            javax.crypto.Cipher cipher = javax.crypto.Cipher.getInstance(transformation);
            SecretKeySpec spec = new SecretKeySpec(key, transformation.substring(0, transformation.indexOf('/')));
            if (transformation.contains("/CBC/")) {
                cipher.init(javax.crypto.Cipher.ENCRYPT_MODE, spec, new IvParameterSpec(IV));
            } else {
                cipher.init(javax.crypto.Cipher.ENCRYPT_MODE, spec);
            }
            return cipher.doFinal(data);
        }

        @Override
        public String toString() {
            return transformation;
        }
    }

    static Stream<Cipher> ciphers() {
        return Stream.of(
                new Cipher("AES/ECB/NoPadding", new Mechanism(CKM_AES_ECB), CKK_AES, AES_KEY, false),
                new Cipher("DESede/ECB/NoPadding", new Mechanism(CKM_DES3_ECB), CKK_DES3, DES3_KEY, false),
                new Cipher("DESede/CBC/NoPadding", new Mechanism(CKM_DES3_CBC, IV), CKK_DES3, DES3_KEY, false),
                new Cipher("DESede/CBC/PKCS5Padding", new Mechanism(CKM_DES3_CBC_PAD, IV), CKK_DES3, DES3_KEY, true));
    }

    /** Tokens want the odd parity that DES keys have. */
    private static byte[] desKey(int length) {
        byte[] key = bytes(length);
        for (int i = 0; i < length; i++) {
            key[i] = (byte) (key[i] & 0xFE | Integer.bitCount(key[i] & 0xFE) + 1 & 1);
        }
        return key;
    }

    private long keyFor(Cipher cipher) {
        return secretKey(cipher.keyType, cipher.key);
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void oneCallEncryptsARegionIntoANewArray(Cipher cipher) throws GeneralSecurityException {
        byte[] encrypted = session.J_Encrypt(h, true, cipher.mechanism, keyFor(cipher), around(5, DATA, 3), 5,
                DATA.length);
        assertArrayEquals(cipher.encrypt(DATA), encrypted);
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void oneCallEncryptsIntoTheCallersArrayBehindTheOffset(Cipher cipher) throws GeneralSecurityException {
        byte[] expected = cipher.encrypt(DATA);
        byte[] output = blank(7 + expected.length + 4);
        int length = session.J_Encrypt(h, true, cipher.mechanism, keyFor(cipher), around(5, DATA, 3), 5, DATA.length,
                output, 7);
        assertEquals(expected.length, length);
        assertArrayEquals(around(7, expected, 4), output);
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void withoutAnArrayEncryptionTellsTheLengthAndStaysActive(Cipher cipher) throws GeneralSecurityException {
        byte[] expected = cipher.encrypt(DATA);
        long key = keyFor(cipher);
        assertEquals(expected.length,
                session.J_Encrypt(h, true, cipher.mechanism, key, DATA, 0, DATA.length, null, 99));
        assertArrayEquals(expected, session.J_Encrypt(h, false, null, 0, DATA, 0, DATA.length));
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void anArrayThatIsTooShortIsRefusedAndTheEncryptionGoesOn(Cipher cipher) throws GeneralSecurityException {
        byte[] expected = cipher.encrypt(DATA);
        byte[] output = blank(expected.length);
        assertRefused("J_Encrypt", CKR_BUFFER_TOO_SMALL, "BUFFER TOO SMALL", () -> session.J_Encrypt(
                h, true, cipher.mechanism, keyFor(cipher), DATA, 0, DATA.length, output, 1));
        assertArrayEquals(blank(expected.length), output);
        assertEquals(expected.length, session.J_Encrypt(h, false, null, 0, DATA, 0, DATA.length, output, 0));
        assertArrayEquals(expected, output);
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void severalPartsEncryptIntoNewArrays(Cipher cipher) throws GeneralSecurityException {
        byte[] encrypted = joined(
                session.J_EncryptUpdate(h, true, cipher.mechanism, keyFor(cipher), around(2, DATA, 0), 2, 16),
                session.J_EncryptUpdate(h, false, null, 0, DATA, 16, 21),
                session.J_EncryptUpdate(h, false, null, 0, DATA, 37, 11),
                session.J_EncryptFinal());
        assertArrayEquals(cipher.encrypt(DATA), encrypted);
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void aPartWithoutAWholeBlockGivesAnEmptyArray(Cipher cipher) {
        byte[] encrypted = session.J_EncryptUpdate(h, true, cipher.mechanism, keyFor(cipher), DATA, 0, 5);
        assertEquals(0, encrypted.length);
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void severalPartsEncryptIntoTheCallersArray(Cipher cipher) throws GeneralSecurityException {
        byte[] expected = cipher.encrypt(DATA);
        byte[] output = blank(3 + expected.length + 2 * 16);
        int at = 3;
        at += session.J_EncryptUpdate(h, true, cipher.mechanism, keyFor(cipher), around(2, DATA, 0), 2, 16, output, at);
        at += session.J_EncryptUpdate(h, false, null, 0, DATA, 16, 32, output, at);
        at += session.J_EncryptFinal(output, at);
        assertEquals(3 + expected.length, at);
        assertArrayEquals(around(3, expected, 2 * 16), output);
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void withoutAnArrayTheStepsOfAnEncryptionTellTheirLengths(Cipher cipher) throws GeneralSecurityException {
        long key = keyFor(cipher);
        int needed = session.J_EncryptUpdate(h, true, cipher.mechanism, key, DATA, 0, DATA.length, null, 99);
        byte[] updated = session.J_EncryptUpdate(h, false, null, 0, DATA, 0, DATA.length);
        assertEquals(DATA.length, needed);
        int last = session.J_EncryptFinal(null, 99);
        byte[] output = blank(last);
        assertEquals(last, session.J_EncryptFinal(output, 0));
        assertArrayEquals(cipher.encrypt(DATA), joined(updated, output));
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void oneCallDecryptsARegion(Cipher cipher) throws GeneralSecurityException {
        byte[] encrypted = cipher.encrypt(DATA);
        assertArrayEquals(DATA, session.J_Decrypt(h, true, cipher.mechanism, keyFor(cipher), around(4, encrypted, 6), 4,
                encrypted.length));
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void decryptionCanBeStartedOnItsOwn(Cipher cipher) throws GeneralSecurityException {
        byte[] encrypted = cipher.encrypt(DATA);
        session.J_DecryptInit(h, cipher.mechanism, keyFor(cipher));
        assertArrayEquals(DATA, session.J_Decrypt(h, false, null, 0, encrypted, 0, encrypted.length));
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void severalPartsDecryptIntoNewArrays(Cipher cipher) throws GeneralSecurityException {
        byte[] encrypted = cipher.encrypt(DATA);
        byte[] decrypted = joined(
                session.J_DecryptUpdate(h, true, cipher.mechanism, keyFor(cipher), around(2, encrypted, 0), 2, 16),
                session.J_DecryptUpdate(h, false, null, 0, encrypted, 16, encrypted.length - 16),
                session.J_DecryptFinal());
        assertArrayEquals(DATA, decrypted);
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void severalPartsDecryptIntoTheCallersArray(Cipher cipher) throws GeneralSecurityException {
        byte[] encrypted = cipher.encrypt(DATA);
        byte[] output = blank(3 + DATA.length + 2 * 16);
        int at = 3;
        at += session.J_DecryptUpdate(h, true, cipher.mechanism, keyFor(cipher), around(2, encrypted, 0), 2, 16, output,
                at);
        at += session.J_DecryptUpdate(h, false, null, 0, encrypted, 16, encrypted.length - 16, output, at);
        at += session.J_DecryptFinal(output, at);
        assertEquals(3 + DATA.length, at);
        // The module may leave the padding behind the data; in front of the offset nobody has written.
        assertArrayEquals(around(3, DATA, 0), first(output, at));
        assertArrayEquals(blank(16), from(output, output.length - 16));
    }

    @ParameterizedTest
    @MethodSource("ciphers")
    void withoutAnArrayTheStepsOfADecryptionTellTheirLengths(Cipher cipher) throws GeneralSecurityException {
        byte[] encrypted = cipher.encrypt(DATA);
        long key = keyFor(cipher);
        int needed = session.J_DecryptUpdate(h, true, cipher.mechanism, key, encrypted, 0, encrypted.length, null, 99);
        byte[] updated = session.J_DecryptUpdate(h, false, null, 0, encrypted, 0, encrypted.length);
        assertTrue(needed >= updated.length && needed <= encrypted.length, () -> "needs " + needed);
        int last = session.J_DecryptFinal(null, 99);
        assertTrue(last >= DATA.length - updated.length, () -> "needs " + last + " at the end");
        assertArrayEquals(DATA, joined(updated, session.J_DecryptFinal()));
    }

    @Test
    void anAesInitialisationVectorDoesNotReachTheToken() {
        long key = secretKey(CKK_AES, AES_KEY);
        assertRefused("J_EncryptInit", CKR_ARGUMENTS_BAD, "ARGUMENTS BAD", () -> session.J_Encrypt(
                h, true, new Mechanism(CKM_AES_CBC, bytes(16)), key, DATA, 0, DATA.length));
        assertArrayEquals(
                session.J_Encrypt(h, true, new Mechanism(CKM_AES_ECB), key, DATA, 0, DATA.length),
                session.J_Encrypt(h, true, new Mechanism(CKM_AES_ECB, bytes(16)), key, DATA, 0, DATA.length));
    }

    @Test
    void aLongerInitialisationVectorCountsWithItsFirstEightBytes() {
        long key = secretKey(CKK_DES3, DES3_KEY);
        assertArrayEquals(
                session.J_Encrypt(h, true, new Mechanism(CKM_DES3_CBC, IV), key, DATA, 0, DATA.length),
                session.J_Encrypt(h, true, new Mechanism(CKM_DES3_CBC, joined(IV, blank(8))), key, DATA, 0,
                        DATA.length));
    }

    @Test
    void aMissingInitialisationVectorIsReportedAsWhatFollowsFromIt() {
        long key = secretKey(CKK_DES3, DES3_KEY);
        assertRefused("J_Encrypt", CKR_OPERATION_NOT_INITIALIZED, "OPERATION NOT INITIALIZED", () -> session.J_Encrypt(
                h, true, new Mechanism(CKM_DES3_CBC), key, DATA, 0, DATA.length));
        assertText("J_DecryptInit", "Mechanism2CKMechanism - parameter value is NULL",
                () -> session.J_DecryptInit(h, new Mechanism(CKM_DES3_CBC), key));
    }

    @Test
    void whatTheTokenRefusesBearsTheNameOfTheStep() {
        Mechanism mechanism = new Mechanism(CKM_AES_ECB);
        long key = secretKey(CKK_AES, AES_KEY);
        assertRefused("J_EncryptInit", CKR_OBJECT_HANDLE_INVALID, "OBJECT HANDLE INVALID",
                () -> session.J_EncryptUpdate(h, true, mechanism, 0x7FFF, DATA, 0, 16));
        assertRefused("J_DecryptInit", CKR_OBJECT_HANDLE_INVALID, "OBJECT HANDLE INVALID",
                () -> session.J_DecryptUpdate(h, true, mechanism, 0x7FFF, DATA, 0, 16));
        assertRefused("J_DecryptInit", CKR_OBJECT_HANDLE_INVALID, "OBJECT HANDLE INVALID",
                () -> session.J_DecryptInit(h, mechanism, 0x7FFF));
        assertRefused("J_Encrypt", CKR_DATA_LEN_RANGE, "DATA LEN RANGE",
                () -> session.J_Encrypt(h, true, mechanism, key, DATA, 0, 17));
        assertRefused("J_Decrypt", CKR_ENCRYPTED_DATA_LEN_RANGE, "ENCRYPTED DATA LEN RANGE",
                () -> session.J_Decrypt(h, true, mechanism, key, DATA, 0, 17));
        session.J_EncryptUpdate(h, true, mechanism, key, DATA, 0, 17);
        assertRefused("J_EncryptFinal", CKR_DATA_LEN_RANGE, "DATA LEN RANGE", () -> session.J_EncryptFinal());
    }

    @Test
    void whatWasNotStartedIsRefused() {
        String text = "OPERATION NOT INITIALIZED";
        byte[] output = blank(64);
        assertRefused("J_Encrypt", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_Encrypt(h, false, null, 0, DATA, 0, 16));
        assertRefused("J_Encrypt", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_Encrypt(h, false, null, 0, DATA, 0, 16, output, 0));
        assertRefused("J_EncryptUpdate", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_EncryptUpdate(h, false, null, 0, DATA, 0, 16));
        assertRefused("J_EncryptUpdate", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_EncryptUpdate(h, false, null, 0, DATA, 0, 16, output, 0));
        assertRefused("J_EncryptFinal", CKR_OPERATION_NOT_INITIALIZED, text, () -> session.J_EncryptFinal());
        assertRefused("J_EncryptFinal", CKR_OPERATION_NOT_INITIALIZED, text, () -> session.J_EncryptFinal(output, 0));
        assertRefused("J_Decrypt", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_Decrypt(h, false, null, 0, DATA, 0, 16));
        assertRefused("J_DecryptUpdate", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_DecryptUpdate(h, false, null, 0, DATA, 0, 16));
        assertRefused("J_DecryptUpdate", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_DecryptUpdate(h, false, null, 0, DATA, 0, 16, output, 0));
        assertRefused("J_DecryptFinal", CKR_OPERATION_NOT_INITIALIZED, text, () -> session.J_DecryptFinal());
        assertRefused("J_DecryptFinal", CKR_OPERATION_NOT_INITIALIZED, text, () -> session.J_DecryptFinal(output, 0));
        assertArrayEquals(blank(64), output);
    }

    @Test
    void missingInputIsReported() {
        assertText("J_Encrypt", "Data is NULL", () -> session.J_Encrypt(h, false, null, 0, null, 0, 16));
        assertText("J_Encrypt", "Data is NULL", () -> session.J_Encrypt(h, false, null, 0, null, 0, 16, blank(16), 0));
        assertText("J_EncryptUpdate", "Data is NULL", () -> session.J_EncryptUpdate(h, false, null, 0, null, 0, 16));
        assertText("J_EncryptUpdate", "Data is NULL",
                () -> session.J_EncryptUpdate(h, false, null, 0, null, 0, 16, blank(16), 0));
        assertText("J_Decrypt", "EncryptedData is NULL", () -> session.J_Decrypt(h, false, null, 0, null, 0, 16));
        assertText("J_DecryptUpdate", "EncryptedData is NULL",
                () -> session.J_DecryptUpdate(h, false, null, 0, null, 0, 16));
        assertText("J_DecryptUpdate", "EncryptedData is NULL",
                () -> session.J_DecryptUpdate(h, false, null, 0, null, 0, 16, blank(16), 0));
    }

    @Test
    void aGeneratedKeyThatMayNotBeReadEncryptsAndDecrypts() {
        long key = session.J_GenerateKey(new Mechanism(CKM_AES_KEY_GEN), new Attribute[] {
            new Attribute(CKA_TOKEN, false),
            new Attribute(CKA_SENSITIVE, true),
            new Attribute(CKA_ENCRYPT, true),
            new Attribute(CKA_DECRYPT, true),
            new Attribute(CKA_VALUE_LEN, 32),
        });
        byte[] encrypted = session.J_Encrypt(h, true, new Mechanism(CKM_AES_ECB), key, DATA, 0, DATA.length);
        assertArrayEquals(DATA,
                session.J_Decrypt(h, true, new Mechanism(CKM_AES_ECB), key, encrypted, 0, encrypted.length));
    }
}
