package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.BoundToken;
import harlune.support.Tokens;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.Mechanism;
import velnor.nat.NativeSession;

/**
 * A module whose session handles do not fit 32 bits, bound directly: all that works is what needs no session object.
 * {@link ProxiedHandlesTest} has the way out.
 */
class WideHandlesTest extends BoundToken {
    private static final int FLAGS = CKF_SERIAL_SESSION | CKF_RW_SESSION;
    private static final String WRONG_PIN = "654321";

    /** Twice, since OpenSC leaves every second session open; no test here has more than two. */
    @AfterEach
    void closeSessions() {
        slot.J_CloseAllSessions();
        slot.J_CloseAllSessions();
    }

    @Test
    void noMethodOfTheSessionReachesIt() {
        NativeSession session = slot.J_OpenSession(FLAGS);
        // The lower half of the handle, which is all that there is of it.
        long h = session.sessionHandle();
        assertEquals((int) h, h);
        Attribute[] template = {new Attribute(CKA_CLASS, CKO_DATA)};
        assertLost("J_GetSessionInfo", session::J_GetSessionInfo);
        assertLost("J_Login", () -> session.J_Login(CKU_USER, Tokens.PIN));
        assertLost("J_Logout", session::J_Logout);
        assertLost("J_FindObjects", () -> session.J_FindObjects(template));
        assertLost("J_CreateObject", () -> session.J_CreateObject(template));
        assertLost("J_DigestInit", () -> session.J_Digest(h, true, new Mechanism(CKM_SHA256), new byte[1], 0, 1));
        assertLost("J_SignInit", () -> session.J_SignInit(h, new Mechanism(CKM_SHA256_RSA_PKCS), 1));
        assertLost("J_GenerateRandom", () -> session.J_GenerateRandom(h, false, null, new byte[8], 0, 8));
        assertLost("J_CloseSession", session::J_CloseSession);
    }

    private static void assertLost(String function, Runnable call) {
        assertRefused(function, CKR_SESSION_HANDLE_INVALID, "SESSION HANDLE INVALID", call::run);
    }

    /** The session that opens can log in, since its whole handle is still at hand, but nobody can log out again. */
    @Test
    void closingAllSessionsIsTheWayOut() {
        assertWrongPinIsRefused();
        slot.J_OpenSession(FLAGS, CKU_USER, Tokens.PIN);
        // Whoever is logged in already may come with any PIN.
        slot.J_OpenSession(FLAGS, CKU_USER, WRONG_PIN);
        closeSessions();
        assertWrongPinIsRefused();
        // A token counts the wrong ones.
        slot.J_OpenSession(FLAGS, CKU_USER, Tokens.PIN);
    }

    private void assertWrongPinIsRefused() {
        assertRefused("J_OpenSession", CKR_PIN_INCORRECT, "PIN INCORRECT",
                () -> slot.J_OpenSession(FLAGS, CKU_USER, WRONG_PIN));
        // The session that was opened for it has stayed.
        closeSessions();
    }
}
