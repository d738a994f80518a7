package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.util.List;
import java.util.stream.Collectors;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Session;
import velnor.TokenSlot;

/** Modules that hand out session handles of more than 32 bits, of which Java would have a part only. */
class WideHandlesTest {
    private Cryptoki cryptoki;
    private TokenSlot slot;

    @BeforeEach
    void open() {
        cryptoki = Surface.scripted();
        slot = cryptoki.slotsWithToken().get(0);
        ScriptedModule.clearJournal();
    }

    @AfterEach
    void close() {
        cryptoki.close();
        assertEquals(List.of(), ScriptedModule.unused());
    }

    /** The journal's functions and return values. */
    private static List<String> calls() {
        return ScriptedModule.journal().stream().map(line -> line.replaceAll(" .*-> ([^ ]*).*", " $1"))
                .collect(Collectors.toList());
    }

    private void assertRefused() {
        CryptokiException e = assertThrows(CryptokiException.class, slot::openSession);
        assertEquals("J_OpenSession", e.functionName());
        assertEquals(CKR.SESSION_HANDLE_INVALID, e.code());
        assertTrue(e.text().contains("p11-kit-proxy.so"), e.text());
        assertEquals(0, e.getSuppressed().length);
    }

    @ParameterizedTest
    @ValueSource(strings = {"0x7F0012345678", "0x100000000", "0x80000007", "0x7FFFFFFF80000007"})
    void aSessionThatCannotBeReachedIsRefusedAndClosed(String handle) {
        ScriptedModule.answer("C_OpenSession CKR_OK handle=" + handle);
        assertRefused();
        assertEquals(List.of("C_OpenSession CKR_OK", "C_GetSessionInfo CKR_SESSION_HANDLE_INVALID",
                "C_CloseAllSessions CKR_OK"), calls());
        assertTrue(slot.openSession().isOpen());
    }

    @ParameterizedTest
    @ValueSource(strings = {"0x7FFFFFFF", "1", "0xFFFFFFFF80000007", "-1"})
    void aHandleThatArrivesWholeIsFine(String handle) {
        ScriptedModule.answer("C_OpenSession CKR_OK handle=" + handle);
        try (Session session = slot.openSession()) {
            session.login("1234");
            assertEquals(8, session.random(8).length);
        }
        assertEquals(List.of("C_OpenSession CKR_OK", "C_GetSessionInfo CKR_OK", "C_Login CKR_OK",
                "C_GenerateRandom CKR_OK", "C_CloseSession CKR_OK"), calls());
    }

    @Test
    void noHandleIsNoSession() {
        ScriptedModule.answer("C_OpenSession CKR_OK handle=0");
        ScriptedModule.answer("C_GetSessionInfo CKR_SESSION_HANDLE_INVALID");
        assertRefused();
    }

    /** Everything of the refused session would happen in the other one. */
    @Test
    void aPartThatIsAnotherSessionsHandleIsRefused() {
        Session first = slot.openSession();
        ScriptedModule.clearJournal();
        ScriptedModule.answer("C_OpenSession CKR_OK handle=0x100005E51");
        assertRefused();
        assertEquals(List.of("C_OpenSession CKR_OK"), calls());
        assertTrue(first.isOpen());
        assertEquals(8, first.random(8).length);
    }

    @Test
    void otherSessionsOutliveTheRefusedOne() {
        Session first = slot.openSession();
        ScriptedModule.clearJournal();
        ScriptedModule.answer("C_OpenSession CKR_OK handle=0x7F0012345678");
        assertRefused();
        assertEquals(List.of("C_OpenSession CKR_OK", "C_GetSessionInfo CKR_SESSION_HANDLE_INVALID"), calls());
        assertEquals(8, first.random(8).length);
        slot.closeAllSessions();
        assertFalse(first.isOpen());
    }

    @Test
    void aFailureToCloseItIsNotTheOneThatIsTold() {
        ScriptedModule.answer("C_OpenSession CKR_OK handle=0x7F0012345678");
        ScriptedModule.answer("C_CloseAllSessions CKR_DEVICE_ERROR");
        CryptokiException e = assertThrows(CryptokiException.class, slot::openSession);
        assertEquals(CKR.SESSION_HANDLE_INVALID, e.code());
        assertEquals(CKR.DEVICE_ERROR, ((CryptokiException) e.getSuppressed()[0]).code());
    }

    /** A module without an answer to C_GetSessionInfo may have narrow handles as well as not. */
    @ParameterizedTest
    @ValueSource(strings = {"CKR_FUNCTION_NOT_SUPPORTED", "CKR_DEVICE_ERROR"})
    void whatTellsNothingOfTheHandleRefusesNothing(String code) {
        ScriptedModule.answer("C_GetSessionInfo " + code);
        assertEquals(8, slot.openSession().random(8).length);
    }

    @Test
    void aNumberThatDoesNotFitRefusesNothing() {
        ScriptedModule.answer("C_GetSessionInfo ulDeviceError=0x100000000");
        assertEquals(8, slot.openSession().random(8).length);
    }

    @ParameterizedTest
    @ValueSource(strings = {"CKR_SESSION_COUNT", "CKR_TOKEN_NOT_PRESENT", "CKR_DEVICE_REMOVED"})
    void aRefusalToOpenIsPassedOn(String code) {
        ScriptedModule.answer("C_OpenSession " + code);
        assertThrows(CryptokiException.class, slot::openSession);
        assertEquals(List.of("C_OpenSession " + code), calls());
    }

    /** The native library gives up under this code when it cannot make the Java object of a session that is open. */
    @Test
    void aSessionThatMayHaveBeenOpenedIsClosed() {
        ScriptedModule.answer("C_OpenSession CKR_GENERAL_ERROR");
        assertThrows(CryptokiException.class, slot::openSession);
        assertEquals(List.of("C_OpenSession CKR_GENERAL_ERROR", "C_CloseAllSessions CKR_OK"), calls());
    }
}
