package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import org.junit.jupiter.api.Test;

import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.TokenSlot;

/** A real module whose session handles do not fit 32 bits; {@link ProxiedTokenTest} does what its refusal advises. */
class WideTokenTest {
    @Test
    void sessionsAreRefusedWithAdvice() {
        try (Cryptoki cryptoki = Surface.token()) {
            TokenSlot slot = cryptoki.tokenByLabel(Tokens.LABEL);
            for (int time = 0; time < 3; time++) {
                assertAdvises(assertThrows(CryptokiException.class, slot::openSession));
                assertAdvises(assertThrows(CryptokiException.class, slot::openReadOnlySession));
            }
            assertTrue(slot.mechanisms().size() > 1, "what needs no session works");
            slot.closeAllSessions();
        }
    }

    private static void assertAdvises(CryptokiException e) {
        assertEquals(CKR.SESSION_HANDLE_INVALID, e.code());
        assertEquals("J_OpenSession", e.functionName());
        assertTrue(e.getMessage().contains("p11-kit-proxy.so"), e.getMessage());
        assertEquals(0, e.getSuppressed().length, "the session that was opened could not be closed");
    }
}
