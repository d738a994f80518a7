package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import harlune.support.ScriptedModule;

import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKM;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.Threading;
import velnor.TokenObject;

/**
 * Modules that lie about lengths and counts, never come to an end, or throw. Each call ends, in a result or in a {@link
 * CryptokiException}, and the session does its work afterwards. The heap is small: what is only claimed costs nothing.
 */
@Timeout(60)
class LyingModuleTest {
    private static final Mechanism SHA256 = new Mechanism(CKM.SHA256);
    private static final Mechanism AES = new Mechanism(CKM.AES_ECB);
    private static final Mechanism RSA = new Mechanism(CKM.RSA_PKCS);

    private final Map<String, Runnable> calls = new TreeMap<>();
    private Cryptoki cryptoki;
    private Session session;

    @BeforeEach
    void open() {
        cryptoki = Surface.scripted(Threading.CONCURRENT);
        session = cryptoki.slotsWithToken().get(0).openSession();
        TokenObject key = Surface.key(session, 0xB01);
        calls.put("C_Sign", () -> session.sign(RSA, key, new byte[4]));
        calls.put("C_SignFinal", () -> {
            try (var signer = session.signer(RSA, key)) {
                signer.update(new byte[4]);
                signer.sign();
            }
        });
        calls.put("C_SignRecover", () -> session.signRecover(RSA, key, new byte[4]));
        calls.put("C_VerifyRecover", () -> session.verifyRecover(RSA, key, "REC:data".getBytes()));
        calls.put("C_Encrypt", () -> session.encrypt(AES, key, new byte[16]));
        calls.put("C_Decrypt", () -> session.decrypt(AES, key, new byte[16]));
        calls.put("C_EncryptUpdate", () -> encryptInParts(key));
        calls.put("C_EncryptFinal", () -> encryptInParts(key));
        calls.put("C_DigestEncryptUpdate", () -> {
            try (Digester digester = session.digester(SHA256); Encryptor encryptor = session.encryptor(AES, key)) {
                session.digestEncryptUpdate(digester, encryptor, new byte[16]);
            }
        });
        calls.put("C_Digest", () -> session.digest(SHA256, new byte[16]));
        calls.put("C_GetOperationState", () -> {
            try (Digester digester = session.digester(SHA256)) {
                digester.update(new byte[4]);
                session.operationState();
            }
        });
        calls.put("C_WrapKey", () -> session.wrapKey(AES, key, key));
        calls.put("C_GetAttributeValue", () -> key.attributes(CKA.LABEL, CKA.ID, CKA.MODULUS));
        calls.put("C_GetSlotList", cryptoki::slots);
        calls.put("C_GetMechanismList", () -> session.slot().mechanisms());
        calls.put("C_FindObjects", () -> session.find());
        ScriptedModule.clearJournal();
    }

    @AfterEach
    void close() {
        ScriptedModule.reset();
        try {
            cryptoki.close();
        } catch (CryptokiException forgotten) {
            // The module has been reset.
        }
    }

    private void encryptInParts(TokenObject key) {
        try (Encryptor encryptor = session.encryptor(AES, key)) {
            encryptor.update(new byte[16]);
            encryptor.finish();
        }
    }

    /** Has every function tell the same lie, and gives what is wrong. */
    private List<String> wrong(String lie) {
        List<String> wrong = new ArrayList<>();
        calls.forEach((function, call) -> {
            ScriptedModule.answer(function + " " + lie);
            try {
                call.run();
            } catch (CryptokiException told) {
                // A refusal, or what is wrong with the answer.
            } catch (RuntimeException | Error e) {
                StackTraceElement at = e.getStackTrace()[0];
                wrong.add(function + " " + lie + ": " + e + " at " + at);
            }
            if (!lie.endsWith("always")) {
                try {
                    session.digest(SHA256, new byte[4]);
                    session.sign(RSA, Surface.key(session, 0xB02), new byte[4]);
                } catch (RuntimeException | Error e) {
                    wrong.add(function + " " + lie + ": afterwards " + e);
                }
            }
        });
        return wrong;
    }

    @ParameterizedTest
    @ValueSource(strings = {"0x7FFFFFFF", "0x80000000", "0xFFFFFFFF", "0x100000000", "0x100000008", "0x10000000000",
        "0x7FFFFFFFFFFFFFFF", "0x8000000000000000", "-1", "-8"})
    void claims(String claimed) {
        List<String> wrong = new ArrayList<>();
        for (String answer : List.of("CKR_OK", "CKR_BUFFER_TOO_SMALL")) {
            wrong.addAll(wrong(answer + " length=" + claimed + " count=" + claimed));
        }
        assertEquals(List.of(), wrong);
    }

    @ParameterizedTest
    @ValueSource(strings = {"CKR_BUFFER_TOO_SMALL", "CKR_BUFFER_TOO_SMALL length=0 count=0",
        "CKR_BUFFER_TOO_SMALL length=3000 count=3000", "CKR_BUFFER_TOO_SMALL length=-1 count=-1",
        "CKR_OK length=0x7FFFFFFF count=0x7FFFFFFF", "CKR_OK length=-1 count=-1"})
    void theSameForEver(String answer) {
        assertEquals(List.of(), wrong(answer + " always"));
    }

    @ParameterizedTest
    @ValueSource(strings = {"int", "code", "text", "an exception of the standard library"})
    void thrown(String kind) {
        calls.put("C_GetInfo", cryptoki::info);
        calls.put("C_SignInit", calls.get("C_Sign"));
        calls.put("C_OpenSession", () -> session.slot().openSession());
        calls.put("C_GenerateRandom", () -> session.random(3));
        calls.put("C_Login", () -> session.login("1234"));
        calls.put("C_CreateObject", () -> session.createObject(new Attribute(CKA.LABEL, "one")));
        assertEquals(List.of(), wrong("throws=\"" + kind + "\""));
        ScriptedModule.answer("C_GetInfo throws=\"" + kind + "\"");
        CryptokiException e = assertThrows(CryptokiException.class, cryptoki::info);
        assertEquals(CKR.GENERAL_ERROR, e.code());
        ScriptedModule.answer("C_CloseSession throws=\"" + kind + "\"");
        assertThrows(CryptokiException.class, session::close);
        ScriptedModule.answer("C_Finalize throws=\"" + kind + "\"");
        assertThrows(CryptokiException.class, cryptoki::close);
        ScriptedModule.answer("C_Initialize throws=\"" + kind + "\"");
        assertThrows(CryptokiException.class, () -> Cryptoki.open(ScriptedModule.PATH));
        Cryptoki.open(ScriptedModule.PATH).close();
        cryptoki = Cryptoki.open(ScriptedModule.PATH);
    }

    /** Too small a room where none was given is a refusal, and no value of no bytes. */
    @Test
    void roomThatIsTooSmallForNothingIsToldAsThat() {
        TokenObject object = session.object(0xB04);
        for (Runnable call : List.<Runnable>of(object::label, () -> object.attributes(CKA.LABEL, CKA.ID))) {
            ScriptedModule.answer("C_GetAttributeValue CKR_BUFFER_TOO_SMALL length=0");
            ScriptedModule.answer("C_GetAttributeValue CKR_BUFFER_TOO_SMALL length=0");
            CryptokiException e = assertThrows(CryptokiException.class, call::run);
            assertEquals(CKR.BUFFER_TOO_SMALL, e.code());
            while (!ScriptedModule.unused().isEmpty()) {
                assertThrows(CryptokiException.class, object::label);
            }
        }
    }

    /** Objects without end, as from a module that forgets where its search was. */
    @Test
    void aSearchWithoutEndIsTold() {
        ScriptedModule.answer("C_FindObjects list=1..256 always");
        CryptokiException e = assertThrows(CryptokiException.class, () -> session.find());
        assertEquals("J_FindObjects", e.functionName());
        assertTrue(e.getMessage().contains("objects"), e.getMessage());
    }

    @Test
    void aListThatGrowsIsAskedForAFewTimes() {
        for (int i = 1; i <= 40; i++) {
            ScriptedModule.answer("C_GetSlotList list=1.." + i);
        }
        try {
            cryptoki.slots();
            fail("a list that always grows was read");
        } catch (CryptokiException e) {
            assertEquals(CKR.BUFFER_TOO_SMALL, e.code());
        }
    }
}
