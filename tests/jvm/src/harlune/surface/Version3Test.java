package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import harlune.support.ScriptedModule;

import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.CKR;
import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Signer;
import velnor.UserType;
import velnor.Verifier;

/** A module with the interface of version 3.0: operations are cancelled, not brought to an end, and users have names. */
class Version3Test extends ScriptedOperations {
    private static String cancelled(int flag) {
        return "C_SessionCancel session=0x5E51 flags=0x" + Integer.toHexString(flag) + " -> CKR_OK";
    }

    @Test
    void whatIsGivenUpIsCancelled() {
        Encryptor encryptor = session.encryptor(AES, secret);
        encryptor.update(bytes("data"));
        Decryptor decryptor = session.decryptor(AES, secret).start();
        Digester digester = session.digester(SHA256);
        digester.update(bytes("data"));
        Signer signer = session.signer(RSA, privateKey).start();
        Verifier verifier = session.verifier(RSA, publicKey);
        verifier.update(bytes("data"));
        ScriptedModule.clearJournal();
        for (AutoCloseable operation : List.of(encryptor, decryptor, digester, signer, verifier)) {
            assertEquals(null, failureOf(operation));
        }
        assertEquals(List.of(cancelled(0x100), cancelled(0x200), cancelled(0x400), cancelled(0x800),
                cancelled(0x2000)), ScriptedModule.journal());
        assertEquals("DATA", text(session.encrypt(AES, secret, bytes("data"))));
    }

    private static Exception failureOf(AutoCloseable operation) {
        try {
            operation.close();
            return null;
        } catch (Exception e) {
            return e;
        }
    }

    @Test
    void whatFailsIsCancelled() {
        ScriptedModule.answer("C_SignUpdate CKR_DEVICE_ERROR");
        Signer signer = session.signer(RSA, privateKey);
        assertRefused("J_SignUpdate", CKR.DEVICE_ERROR, () -> signer.update(bytes("data")));
        assertEquals(List.of("C_SignInit", "C_SignUpdate CKR_DEVICE_ERROR", "C_SessionCancel"), calls());
        ScriptedModule.answer("C_SignRecover CKR_DEVICE_ERROR");
        assertThrows(CryptokiException.class, () -> session.signRecover(RSA, privateKey, bytes("data")));
        assertEquals(List.of("C_SignRecoverInit", "C_SignRecover CKR_DEVICE_ERROR", "C_SessionCancel"), calls());
    }

    @Test
    void whatCameToItsEndIsNotCancelled() {
        session.sign(RSA, privateKey, bytes("data"));
        session.isValid(RSA, publicKey, bytes("data"), bytes("SIG:nada"));
        assertEquals(List.of("C_SignInit", "C_Sign", "C_VerifyInit", "C_Verify CKR_SIGNATURE_INVALID"), calls());
    }

    @ParameterizedTest
    @ValueSource(strings = {"CKR_FUNCTION_NOT_SUPPORTED", "0x202", "CKR_DEVICE_ERROR"})
    void whatTheTokenWillNotCancelIsBroughtToItsEnd(String answer) {
        Signer signer = session.signer(RSA, privateKey).start();
        ScriptedModule.clearJournal();
        ScriptedModule.answer("C_SessionCancel " + answer);
        signer.close();
        assertEquals("C_SignFinal", calls().get(1));
        assertEquals("SIG:atad", text(session.sign(RSA, privateKey, bytes("data"))));
    }

    @Test
    void aUserHasAName() {
        session.loginUser(UserType.USER, "1234".toCharArray(), "n\u00E4me");
        assertEquals(List.of("C_LoginUser session=0x5E51 userType=0x1 pin=\"1234\" name=6EC3A46D65 -> CKR_OK"),
                ScriptedModule.journal());
        session.logout();
        assertRefused("J_LoginUser", CKR.PIN_INCORRECT,
                () -> session.loginUser(UserType.USER, "4321".toCharArray(), "name"));
    }
}
