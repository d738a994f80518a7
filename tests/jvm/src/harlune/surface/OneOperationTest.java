package harlune.surface;

import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.security.GeneralSecurityException;

import org.junit.jupiter.api.Test;

import velnor.CKR;
import velnor.CryptokiException;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Session;
import velnor.TokenObject;

/** SoftHSM allows one operation in a session: a second one is refused, and does not harm the first one. */
class OneOperationTest extends TokenOperations {
    private static final byte[] BLOCKS = bytes(64);

    @Test
    void aSecondOperationIsRefusedAndTheFirstOneGoesOn() throws GeneralSecurityException {
        TokenObject key = aes();
        try (Digester digester = session.digester(SHA256)) {
            digester.update(BLOCKS, 0, 30);
            assertEquals(CKR.OPERATION_ACTIVE, assertThrows(CryptokiException.class,
                    () -> session.encrypt(AES_ECB, key, BLOCKS)).code());
            assertArrayEquals(Jdk.sha256(BLOCKS), digester.digest(BLOCKS, 30, 34));
        }
        assertArrayEquals(Jdk.aesEcb(BLOCKS), session.encrypt(AES_ECB, key, BLOCKS));
    }

    @Test
    void aSecondSessionTakesTheSecondOperation() throws GeneralSecurityException {
        TokenObject key = aes();
        try (Session other = session.slot().openSession(); Digester digester = session.digester(SHA256)) {
            digester.update(BLOCKS);
            assertArrayEquals(Jdk.aesEcb(BLOCKS), other.encrypt(AES_ECB, key, BLOCKS));
            assertArrayEquals(Jdk.sha256(BLOCKS), digester.digest());
        }
    }

    @Test
    void aPairIsRefusedAndBothAreOver() throws GeneralSecurityException {
        TokenObject key = aes();
        Digester digester = session.digester(SHA256);
        Encryptor encryptor = session.encryptor(AES_ECB, key);
        assertEquals(CKR.OPERATION_ACTIVE, assertThrows(CryptokiException.class,
                () -> session.digestEncryptUpdate(digester, encryptor, BLOCKS)).code());
        assertThrows(IllegalStateException.class, digester::digest);
        assertThrows(IllegalStateException.class, encryptor::finish);
        assertArrayEquals(Jdk.aesEcb(BLOCKS), session.encrypt(AES_ECB, key, BLOCKS));
        assertArrayEquals(Jdk.sha256(BLOCKS), session.digest(SHA256, BLOCKS));
    }

    @Test
    void recoveryIsNotSupportedAndLeavesNothing() throws GeneralSecurityException {
        TokenObject key = privateKey();
        assertEquals(CKR.FUNCTION_NOT_SUPPORTED, assertThrows(CryptokiException.class,
                () -> session.signRecover(RSA_PKCS, key, BLOCKS)).code());
        assertEquals(CKR.FUNCTION_NOT_SUPPORTED, assertThrows(CryptokiException.class,
                () -> session.verifyRecover(RSA_PKCS, key, BLOCKS)).code());
        assertArrayEquals(Jdk.sha256(BLOCKS), session.digest(SHA256, BLOCKS));
    }
}
