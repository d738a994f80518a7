package harlune.surface;

import static harlune.token.Bytes.around;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static harlune.token.Bytes.from;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.util.Arrays;
import java.util.List;

import javax.crypto.Cipher;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.CKA;
import velnor.CKM;
import velnor.CKR;
import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Signer;
import velnor.TokenObject;
import velnor.Verifier;

/** Every operation on a real token, held against what the JDK makes of the same key and data. */
class CryptographyTest extends TokenOperations {
    private static final byte[] DATA = bytes(200);
    private static final byte[] BLOCKS = bytes(208);
    /** More than native code is given at a time. */
    private static final byte[] LARGE = bytes((1 << 24) + 16);

    @Test
    void secretKeysInOnePart() throws GeneralSecurityException {
        byte[] aes = Jdk.aesEcb(BLOCKS);
        assertArrayEquals(aes, session.encrypt(AES_ECB, aes(), BLOCKS));
        assertArrayEquals(aes, session.encrypt(AES_ECB, aes(), around(3, BLOCKS, 2), 3, BLOCKS.length));
        assertArrayEquals(BLOCKS, session.decrypt(AES_ECB, aes(), aes));
        assertArrayEquals(BLOCKS, session.decrypt(AES_ECB, aes(), around(1, aes, 4), 1, aes.length));
        byte[] padded = Jdk.des3Cbc(Cipher.ENCRYPT_MODE, "PKCS5Padding").doFinal(DATA);
        assertArrayEquals(padded, session.encrypt(DES3_CBC_PAD, des3(), DATA));
        assertArrayEquals(DATA, session.decrypt(DES3_CBC_PAD, des3(), padded));
    }

    @Test
    void secretKeysInSeveralParts() throws GeneralSecurityException {
        byte[] padded = Jdk.des3Cbc(Cipher.ENCRYPT_MODE, "PKCS5Padding").doFinal(DATA);
        try (Encryptor encryptor = session.encryptor(DES3_CBC_PAD, des3())) {
            assertArrayEquals(padded, joined(encryptor.update(DATA, 0, 3), encryptor.update(DATA, 3, 77),
                    encryptor.update(new byte[0]), encryptor.update(from(DATA, 80)), encryptor.finish()));
        }
        try (Decryptor decryptor = session.decryptor(DES3_CBC_PAD, des3())) {
            assertArrayEquals(DATA, joined(decryptor.update(padded, 0, 48), decryptor.update(padded, 48, 16),
                    decryptor.finish(padded, 64, padded.length - 64)));
        }
        try (Encryptor encryptor = session.encryptor(DES3_CBC, des3())) {
            byte[] begin = encryptor.update(BLOCKS, 0, 64);
            assertArrayEquals(Jdk.des3Cbc(Cipher.ENCRYPT_MODE, "NoPadding").doFinal(BLOCKS),
                    joined(begin, encryptor.finish(from(BLOCKS, 64))));
        }
    }

    @Test
    void noDataIsEncryptedToAPadding() throws GeneralSecurityException {
        byte[] padding = Jdk.des3Cbc(Cipher.ENCRYPT_MODE, "PKCS5Padding").doFinal();
        try (Encryptor encryptor = session.encryptor(DES3_CBC_PAD, des3())) {
            assertArrayEquals(padding, encryptor.finish());
        }
        assertEquals(0, session.decrypt(DES3_CBC_PAD, des3(), padding).length);
    }

    @Test
    void rsaEncryption() throws GeneralSecurityException {
        byte[] encrypted = session.encrypt(RSA_PKCS, publicKey(), first(DATA, 100));
        assertArrayEquals(first(DATA, 100), Jdk.rsa(Cipher.DECRYPT_MODE, rsa.privateKey, encrypted));
        byte[] ofTheJdk = Jdk.rsa(Cipher.ENCRYPT_MODE, rsa.publicKey, first(DATA, 90));
        assertArrayEquals(first(DATA, 90), session.decrypt(RSA_PKCS, privateKey(), ofTheJdk));
        try (Decryptor decryptor = session.decryptor(RSA_PKCS, privateKey()).start()) {
            assertArrayEquals(first(DATA, 90), decryptor.finish(around(2, ofTheJdk, 1), 2, ofTheJdk.length));
        }
    }

    @Test
    void signaturesThatTheJdkVerifies() throws GeneralSecurityException {
        TokenObject key = privateKey();
        byte[] signature = session.sign(SHA256_RSA_PKCS, key, around(7, DATA, 5), 7, DATA.length);
        assertTrue(Jdk.verifies("SHA256withRSA", rsa.publicKey, DATA, signature));
        assertArrayEquals(signature, session.sign(SHA256_RSA_PKCS, key, DATA));
        try (Signer signer = session.signer(SHA256_RSA_PKCS, key)) {
            signer.update(DATA, 0, 50);
            signer.update(from(DATA, 50));
            assertArrayEquals(signature, signer.sign());
        }
        try (Signer signer = session.signer(SHA256_RSA_PKCS, key).start()) {
            signer.update(first(DATA, 199));
            assertArrayEquals(signature, signer.sign(DATA, 199, 1));
        }
        try (Signer signer = session.signer(SHA256_RSA_PKCS, key)) {
            assertTrue(Jdk.verifies("SHA256withRSA", rsa.publicKey, new byte[0], signer.sign()));
        }
        try (Signer signer = session.signer(RSA_PKCS, key).start()) {
            assertTrue(Jdk.verifies("NONEwithRSA", rsa.publicKey, first(DATA, 32), signer.sign(first(DATA, 32))));
        }
    }

    @Test
    void signaturesOfTheJdk() throws GeneralSecurityException {
        TokenObject key = publicKey();
        byte[] signature = Jdk.sign("SHA256withRSA", rsa.privateKey, DATA);
        session.verify(SHA256_RSA_PKCS, key, DATA, signature);
        session.verify(SHA256_RSA_PKCS, key, around(1, DATA, 1), 1, DATA.length, signature);
        assertTrue(session.isValid(SHA256_RSA_PKCS, key, DATA, signature));
        assertTrue(session.isValid(SHA256_RSA_PKCS, key, around(2, DATA, 0), 2, DATA.length, signature));
        try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, key)) {
            verifier.update(DATA, 0, 120);
            verifier.update(DATA, 120, 80);
            verifier.verify(signature);
        }
        try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, key)) {
            verifier.update(DATA);
            assertTrue(verifier.isValid(signature));
        }
        try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, key)) {
            verifier.update(first(DATA, 2));
            verifier.verify(DATA, 2, 198, signature);
        }
        try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, key)) {
            verifier.update(first(DATA, 2));
            assertFalse(verifier.isValid(DATA, 2, 197, signature));
        }
        try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, key)) {
            verifier.verify(Jdk.sign("SHA256withRSA", rsa.privateKey, new byte[0]));
        }
    }

    @Test
    void whatWasNotSigned() throws GeneralSecurityException {
        TokenObject key = publicKey();
        byte[] signature = Jdk.sign("SHA256withRSA", rsa.privateKey, DATA);
        byte[] forged = DATA.clone();
        forged[10] ^= 1;
        byte[] broken = signature.clone();
        broken[100] ^= 1;
        assertFalse(session.isValid(SHA256_RSA_PKCS, key, forged, signature));
        assertFalse(session.isValid(SHA256_RSA_PKCS, key, DATA, broken));
        assertFalse(session.isValid(SHA256_RSA_PKCS, key, DATA, first(signature, 255)));
        assertFalse(session.isValid(SHA256_RSA_PKCS, key, DATA, joined(signature, new byte[1])));
        assertFalse(session.isValid(SHA256_RSA_PKCS, key, DATA, new byte[0]));
        assertFalse(session.isValid(SHA256_RSA_PKCS, key, DATA, 0, 199, signature));
        try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, key)) {
            verifier.update(forged);
            assertFalse(verifier.isValid(signature));
        }
        CryptokiException refusal = assertThrows(CryptokiException.class,
                () -> session.verify(SHA256_RSA_PKCS, key, forged, signature));
        assertEquals(CKR.SIGNATURE_INVALID, refusal.code());
        assertTrue(session.isValid(SHA256_RSA_PKCS, key, DATA, signature));
    }

    @Test
    void macs() throws GeneralSecurityException {
        TokenObject key = macKey();
        byte[] mac = Jdk.hmac(DATA);
        assertArrayEquals(mac, session.sign(SHA256_HMAC, key, DATA));
        try (Signer signer = session.signer(SHA256_HMAC, key)) {
            signer.update(DATA, 0, 1);
            assertArrayEquals(mac, signer.sign(from(DATA, 1)));
        }
        session.verify(SHA256_HMAC, key, DATA, mac);
        try (Verifier verifier = session.verifier(SHA256_HMAC, key)) {
            verifier.update(DATA);
            verifier.verify(mac);
        }
        for (int i = 0; i < mac.length; i++) {
            mac[i] ^= 1;
            assertNotVerified(key, mac);
            mac[i] ^= 1;
        }
        assertNotVerified(key, first(mac, 31));
        assertNotVerified(key, new byte[0]);
        assertTrue(session.isValid(SHA256_HMAC, key, DATA, mac));
    }

    /** The softoken answers such a MAC with whatever it met as the last error. */
    private void assertNotVerified(TokenObject key, byte[] mac) {
        assertThrows(CryptokiException.class, () -> session.verify(SHA256_HMAC, key, DATA, mac));
        boolean valid = false;
        try {
            valid = session.isValid(SHA256_HMAC, key, DATA, mac);
        } catch (CryptokiException e) {
            assertEquals("J_Verify", e.functionName());
        }
        assertFalse(valid);
    }

    @ParameterizedTest
    @CsvSource({"0x210, MD5", "0x220, SHA-1", "0x255, SHA-224", "0x250, SHA-256", "0x260, SHA-384", "0x270, SHA-512"})
    void digests(int code, String algorithm) throws GeneralSecurityException {
        Mechanism mechanism = new Mechanism(code);
        for (byte[] data : List.of(DATA, new byte[0], BLOCKS)) {
            byte[] digest = MessageDigest.getInstance(algorithm).digest(data);
            assertArrayEquals(digest, session.digest(mechanism, data));
            assertArrayEquals(digest, session.digest(mechanism, around(1, data, 2), 1, data.length));
            try (Digester digester = session.digester(mechanism)) {
                digester.update(data);
                assertArrayEquals(digest, digester.digest());
            }
        }
        try (Digester digester = session.digester(mechanism)) {
            assertArrayEquals(MessageDigest.getInstance(algorithm).digest(), digester.digest());
        }
        try (Digester digester = session.digester(mechanism)) {
            digester.update(DATA, 0, 9);
            assertArrayEquals(MessageDigest.getInstance(algorithm).digest(DATA), digester.digest(DATA, 9, 191));
        }
    }

    @Test
    void digestsOfAKey() throws GeneralSecurityException {
        TokenObject key = macKey();
        assertArrayEquals(Jdk.sha256(MAC_KEY), session.digestKey(SHA256, key));
        try (Digester digester = session.digester(SHA256)) {
            digester.update(DATA);
            digester.digestKey(key);
            assertArrayEquals(Jdk.sha256(joined(DATA, MAC_KEY, BLOCKS)), digester.digest(BLOCKS));
        }
    }

    @Test
    void arraysLargerThanNativeCodeIsGivenAtATime() throws GeneralSecurityException {
        byte[] expected = Jdk.aesEcb(LARGE);
        try (Encryptor encryptor = session.encryptor(AES_ECB, aes())) {
            assertArrayEquals(expected, joined(encryptor.update(LARGE), encryptor.finish()));
        }
        try (Decryptor decryptor = session.decryptor(AES_ECB, aes())) {
            byte[] begin = decryptor.update(expected, 0, 16);
            assertArrayEquals(LARGE, joined(begin, decryptor.finish(expected, 16, expected.length - 16)));
        }
        try (Digester digester = session.digester(SHA256)) {
            digester.update(LARGE);
            assertArrayEquals(Jdk.sha256(LARGE), digester.digest());
        }
        assertArrayEquals(Jdk.sha256(LARGE), session.digest(SHA256, LARGE));
    }

    /** Whatever is given up in whatever state, the same can be begun at once. */
    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void operationsThatAreGivenUp(boolean fed) throws GeneralSecurityException {
        TokenObject aes = aes();
        TokenObject rsaPrivate = privateKey();
        TokenObject rsaPublic = publicKey();
        byte[] part = fed ? first(DATA, 16) : new byte[0];
        byte[] signature = Jdk.sign("SHA256withRSA", rsa.privateKey, DATA);
        for (int i = 0; i < 3; i++) {
            try (Encryptor encryptor = session.encryptor(AES_ECB, aes)) {
                encryptor.update(part);
            }
            try (Decryptor decryptor = session.decryptor(AES_ECB, aes).start()) {
                decryptor.update(part);
            }
            try (Signer signer = session.signer(SHA256_RSA_PKCS, rsaPrivate).start()) {
                signer.update(part);
            }
            try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, rsaPublic)) {
                verifier.update(part);
            }
            try (Digester digester = session.digester(SHA256)) {
                digester.update(part);
            }
            session.signer(RSA_PKCS, rsaPrivate).start().close();
            session.decryptor(RSA_PKCS, rsaPrivate).start().close();
            assertArrayEquals(Jdk.aesEcb(BLOCKS), session.encrypt(AES_ECB, aes, BLOCKS));
            assertArrayEquals(BLOCKS, session.decrypt(AES_ECB, aes, Jdk.aesEcb(BLOCKS)));
            assertArrayEquals(signature, session.sign(SHA256_RSA_PKCS, rsaPrivate, DATA));
            assertTrue(session.isValid(SHA256_RSA_PKCS, rsaPublic, DATA, signature));
            assertArrayEquals(Jdk.sha256(DATA), session.digest(SHA256, DATA));
        }
    }

    @Test
    void operationsThatTheTokenRefuses() throws GeneralSecurityException {
        TokenObject aes = aes();
        TokenObject rsaPrivate = privateKey();
        for (int i = 0; i < 3; i++) {
            assertThrows(CryptokiException.class, () -> session.encrypt(AES_ECB, aes, DATA));
            assertThrows(CryptokiException.class, () -> session.decrypt(AES_ECB, aes, DATA));
            assertThrows(CryptokiException.class, () -> session.decrypt(DES3_CBC_PAD, des3(), BLOCKS));
            assertThrows(CryptokiException.class, () -> session.sign(RSA_PKCS, rsaPrivate, bytes(1000)));
            assertThrows(CryptokiException.class, () -> session.sign(RSA_PKCS, publicKey(), first(DATA, 32)));
            Encryptor encryptor = session.encryptor(AES_ECB, aes);
            encryptor.update(BLOCKS);
            assertThrows(CryptokiException.class, () -> encryptor.finish(DATA));
            assertThrows(IllegalStateException.class, encryptor::finish);
            assertArrayEquals(Jdk.aesEcb(BLOCKS), session.encrypt(AES_ECB, aes, BLOCKS));
            assertArrayEquals(BLOCKS, session.decrypt(AES_ECB, aes, Jdk.aesEcb(BLOCKS)));
            assertTrue(Jdk.verifies("NONEwithRSA", rsa.publicKey, first(DATA, 32),
                    session.sign(RSA_PKCS, rsaPrivate, first(DATA, 32))));
        }
    }

    /** SoftHSM and NSS do not always look at the key's type, and what they do with the wrong one ends the process. */
    @Test
    void keysOfAnotherTypeNeverReachTheToken() throws GeneralSecurityException {
        TokenObject aes = aes();
        TokenObject rsaPrivate = privateKey();
        for (int type : new int[] {CKM.DSA, CKM.DSA_SHA1, CKM.RSA_X_509, CKM.SHA256_RSA_PKCS, CKM.ECDSA,
            CKM.DES3_ECB}) {
            Mechanism mechanism = new Mechanism(type);
            assertRefusesType(mechanism, "CKK_AES", () -> session.sign(mechanism, aes, BLOCKS));
            assertRefusesType(mechanism, "CKK_AES", () -> session.verify(mechanism, aes, BLOCKS, BLOCKS));
            assertRefusesType(mechanism, "CKK_AES", () -> session.encrypt(mechanism, aes, BLOCKS));
            assertRefusesType(mechanism, "CKK_AES", () -> session.decrypt(mechanism, aes, BLOCKS));
            assertRefusesType(mechanism, "CKK_AES", () -> session.signRecover(mechanism, aes, BLOCKS));
            assertRefusesType(mechanism, "CKK_AES", () -> session.verifyRecover(mechanism, aes, BLOCKS));
            assertRefusesType(mechanism, "CKK_AES", () -> session.wrapKey(mechanism, aes, rsaPrivate));
            assertRefusesType(mechanism, "CKK_AES", () -> session.unwrapKey(mechanism, aes, BLOCKS));
            assertRefusesType(mechanism, "CKK_AES", () -> session.deriveKey(mechanism, aes));
        }
        for (int type : new int[] {CKM.DSA, CKM.AES_ECB, CKM.ECDSA_SHA1, CKM.DES_ECB, CKM.DES3_ECB, CKM.SHA384_HMAC,
            CKM.SHA1_KEY_DERIVATION}) {
            Mechanism mechanism = new Mechanism(type);
            assertRefusesType(mechanism, "CKK_RSA", () -> session.sign(mechanism, rsaPrivate, BLOCKS));
        }
        assertArrayEquals(Jdk.aesEcb(BLOCKS), session.encrypt(AES_ECB, aes, BLOCKS));
    }

    /** SoftHSM does not come back from more. */
    @Test
    void rawRsaTakesNoMoreThanTheModulus() throws GeneralSecurityException {
        Mechanism raw = new Mechanism(CKM.RSA_X_509);
        TokenObject rsaPublic = publicKey();
        TokenObject rsaPrivate = privateKey();
        byte[] number = new byte[((byte[]) rsaPublic.attribute(CKA.MODULUS).value()).length];
        number[number.length - 1] = 3;
        byte[] tooMuch = new byte[number.length + 1];
        for (Executable use : List.<Executable>of(() -> session.encrypt(raw, rsaPublic, tooMuch),
                () -> session.decrypt(raw, rsaPrivate, tooMuch), () -> session.sign(raw, rsaPrivate, tooMuch),
                () -> session.verify(raw, rsaPublic, tooMuch, number),
                () -> session.signRecover(raw, rsaPrivate, tooMuch),
                () -> session.verifyRecover(raw, rsaPublic, tooMuch))) {
            assertEquals("Mechanism[CKM_RSA_X_509] takes at most " + number.length + " bytes with this key, not "
                    + tooMuch.length, assertThrows(IllegalArgumentException.class, use).getMessage());
        }
        try (Encryptor encryptor = session.encryptor(raw, rsaPublic)) {
            assertThrows(IllegalArgumentException.class, () -> encryptor.finish(tooMuch));
            assertArrayEquals(number, session.decrypt(raw, rsaPrivate, encryptor.finish(number)));
        }
    }

    private static void assertRefusesType(Mechanism mechanism, String type, Executable use) {
        assertEquals(CKM.name(mechanism.mechanism()) + " is not for a key of type " + type,
                assertThrows(IllegalArgumentException.class, use).getMessage());
    }

    @Test
    void noInputIsChanged() {
        byte[] data = BLOCKS.clone();
        byte[] encrypted = session.encrypt(AES_ECB, aes(), data);
        session.decrypt(AES_ECB, aes(), encrypted.clone());
        session.digest(SHA256, data, 1, 100);
        byte[] signature = session.sign(SHA256_RSA_PKCS, privateKey(), data, 5, 50);
        byte[] copy = signature.clone();
        session.verify(SHA256_RSA_PKCS, publicKey(), data, 5, 50, signature);
        assertTrue(Arrays.equals(BLOCKS, data) && Arrays.equals(copy, signature));
    }
}
