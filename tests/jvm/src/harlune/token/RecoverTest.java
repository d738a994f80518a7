package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.GeneralSecurityException;

import javax.crypto.Cipher;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Mechanism;

/** Signatures that carry their data; the JDK makes and opens them as RSA blocks. */
class RecoverTest extends KeyedSession {
    private static final int SIZE = 256;
    private static final byte[] DATA = bytes(100);
    private static final Mechanism RSA_PKCS = new Mechanism(CKM_RSA_PKCS);
    private static RsaKeys keys;
    private static byte[] signature;

    private long publicKey;
    private long privateKey;

    /** PKCS #1 version 1.5 signs without chance, so there is one right signature. */
    @BeforeAll
    static void makeKeysAndSignature() throws GeneralSecurityException {
        keys = new RsaKeys();
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.ENCRYPT_MODE, keys.privateKey);
        signature = cipher.doFinal(DATA);
    }

    @BeforeEach
    void createKeys() {
        publicKey = keys.createPublicKey(session);
        privateKey = keys.createPrivateKey(session);
    }

    @Test
    void aRegionIsSignedIntoANewArray() {
        session.J_SignRecoverInit(RSA_PKCS, privateKey);
        assertArrayEquals(signature, session.J_SignRecover(around(3, DATA, 2), 3, DATA.length));
    }

    @Test
    void aRegionIsSignedIntoTheCallersArray() {
        byte[] output = blank(4 + SIZE + 5);
        session.J_SignRecoverInit(RSA_PKCS, privateKey);
        assertEquals(SIZE, session.J_SignRecover(around(3, DATA, 2), 3, DATA.length, output, 4));
        assertArrayEquals(around(4, signature, 5), output);
    }

    @Test
    void withoutAnArraySigningTellsTheLengthAndStaysActive() {
        session.J_SignRecoverInit(RSA_PKCS, privateKey);
        assertEquals(SIZE, session.J_SignRecover(DATA, 0, DATA.length, null, 99));
        assertArrayEquals(signature, session.J_SignRecover(DATA, 0, DATA.length));
    }

    @Test
    void aRegionIsRecoveredIntoANewArray() {
        session.J_VerifyRecoverInit(RSA_PKCS, publicKey);
        assertArrayEquals(DATA, session.J_VerifyRecover(around(3, signature, 2), 3, SIZE));
    }

    @Test
    void aRegionIsRecoveredIntoTheCallersArray() {
        byte[] output = blank(4 + DATA.length + SIZE);
        session.J_VerifyRecoverInit(RSA_PKCS, publicKey);
        assertEquals(DATA.length, session.J_VerifyRecover(around(3, signature, 2), 3, SIZE, output, 4));
        assertArrayEquals(around(4, DATA, SIZE), output);
    }

    @Test
    void withoutAnArrayRecoveringTellsALengthThatSuffices() {
        session.J_VerifyRecoverInit(RSA_PKCS, publicKey);
        int length = session.J_VerifyRecover(signature, 0, SIZE, null, 99);
        assertTrue(length >= DATA.length && length <= SIZE, () -> "needs " + length);
        byte[] output = new byte[length];
        assertEquals(DATA.length, session.J_VerifyRecover(signature, 0, SIZE, output, 0));
        assertArrayEquals(DATA, Bytes.first(output, DATA.length));
    }

    @Test
    void aForgedSignatureIsRefused() {
        byte[] forged = signature.clone();
        forged[200] ^= 1;
        session.J_VerifyRecoverInit(RSA_PKCS, publicKey);
        assertRefused("J_VerifyRecover", CKR_SIGNATURE_INVALID, "SIGNATURE INVALID",
                () -> session.J_VerifyRecover(forged, 0, SIZE));
    }

    @Test
    void whatTheTokenRefusesBearsTheNameOfTheStep() {
        assertRefused("J_SignRecoverInit", CKR_KEY_HANDLE_INVALID, "KEY HANDLE INVALID",
                () -> session.J_SignRecoverInit(RSA_PKCS, 0x7FFF));
        assertRefused("J_VerifyRecoverInit", CKR_KEY_HANDLE_INVALID, "KEY HANDLE INVALID",
                () -> session.J_VerifyRecoverInit(RSA_PKCS, 0x7FFF));
        assertRefused("J_SignRecoverInit", CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> session.J_SignRecoverInit(new Mechanism(CKM_SHA_1), privateKey));
        assertRefused("J_SignRecover", CKR_OPERATION_NOT_INITIALIZED, "OPERATION NOT INITIALIZED",
                () -> session.J_SignRecover(DATA, 0, DATA.length));
        assertRefused("J_VerifyRecover", CKR_OPERATION_NOT_INITIALIZED, "OPERATION NOT INITIALIZED",
                () -> session.J_VerifyRecover(signature, 0, SIZE));
    }

    @Test
    void missingInputIsReported() {
        assertText("J_SignRecover", "Data is NULL", () -> session.J_SignRecover(null, 0, 1));
        assertText("J_SignRecover", "Data is NULL", () -> session.J_SignRecover(null, 0, 1, blank(SIZE), 0));
        assertText("J_VerifyRecover", "Sign is NULL", () -> session.J_VerifyRecover(null, 0, 1));
        assertText("J_VerifyRecover", "Signature is NULL", () -> session.J_VerifyRecover(null, 0, 1, blank(SIZE), 0));
    }
}
