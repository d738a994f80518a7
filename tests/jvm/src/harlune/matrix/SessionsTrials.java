package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import harlune.support.Tokens;

import java.util.Arrays;

import velnor.SessionInfo;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;

/** Sessions, login, random numbers. */
final class SessionsTrials extends NativeTrials {
    private static final int PUBLIC_SESSION = CKF_SERIAL_SESSION | CKF_RW_SESSION;

    SessionsTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        trialWithoutSession("login and logout", this::loginAndLogout);
        trialWithoutSession("login at opening", this::loginAtOpening);
        trialWithoutSession("a session is closed", this::closing);
        trialWithoutSession("all sessions are closed", this::closingAll);
        trialWithoutSession("a wrong PIN", this::wrongPin);
        trial("functions in parallel", "", () -> run("J_GetFunctionStatus", session::J_GetFunctionStatus));
        trial("functions in parallel", "", () -> run("J_CancelFunction", session::J_CancelFunction));
        trial("random numbers", "no seed", () -> randomNumbers(false));
        trial("random numbers", "a seed", () -> randomNumbers(true));
    }

    private void open() {
        use(call("J_OpenSession(int)", () -> slot.J_OpenSession(PUBLIC_SESSION)));
    }

    private void loginAndLogout() {
        open();
        assertEquals(CKS_RW_PUBLIC_SESSION, call("J_GetSessionInfo", session::J_GetSessionInfo).state());
        run("J_Login", () -> session.J_Login(CKU_USER, Tokens.PIN));
        SessionInfo info = session.J_GetSessionInfo();
        assertEquals(CKS_RW_USER_FUNCTIONS, info.state());
        assertEquals(PUBLIC_SESSION, info.flags());
        assertEquals(slot.slotID(), info.slotID());
        mustRefuse("J_Login", "a second login", () -> session.J_Login(CKU_USER, Tokens.PIN));
        run("J_Logout", session::J_Logout);
        assertEquals(CKS_RW_PUBLIC_SESSION, session.J_GetSessionInfo().state());
    }

    private void loginAtOpening() {
        use(call("J_OpenSession(int, byte, String)",
                () -> slot.J_OpenSession(PUBLIC_SESSION, CKU_USER, Tokens.PIN)));
        assertEquals(CKS_RW_USER_FUNCTIONS, session.J_GetSessionInfo().state());
        NativeSession another = slot.J_OpenSession(PUBLIC_SESSION, CKU_USER, Tokens.PIN);
        assertEquals(CKS_RW_USER_FUNCTIONS, another.J_GetSessionInfo().state());
    }

    private void closing() {
        open();
        NativeSession another = slot.J_OpenSession(PUBLIC_SESSION);
        run("J_CloseSession", session::J_CloseSession);
        mustRefuse("J_GetSessionInfo", "a closed session", session::J_GetSessionInfo);
        assertEquals(CKS_RW_PUBLIC_SESSION, another.J_GetSessionInfo().state());
    }

    private void closingAll() {
        open();
        NativeSession another = slot.J_OpenSession(PUBLIC_SESSION);
        run("J_CloseAllSessions", slot::J_CloseAllSessions);
        mustRefuse("J_GetSessionInfo", "a closed session", session::J_GetSessionInfo);
        mustRefuse("J_GetSessionInfo", "a closed session", another::J_GetSessionInfo);
    }

    private void wrongPin() {
        open();
        mustRefuse("J_Login", "a wrong PIN", () -> session.J_Login(CKU_USER, "0" + Tokens.PIN.substring(1)));
        // The right one again, for tokens that count wrong ones in a row.
        session.J_Login(CKU_USER, Tokens.PIN);
    }

    private void randomNumbers(boolean seeded) {
        byte[] seed = seeded ? bytes(20) : null;
        byte[] one = blank(40);
        byte[] other = blank(40);
        run("J_GenerateRandom", () -> session.J_GenerateRandom(h, seeded, seed, one, 4, 32));
        session.J_GenerateRandom(h, seeded, seed, other, 4, 32);
        assertFalse(Arrays.equals(one, other));
        for (byte[] array : new byte[][] {one, other}) {
            Arrays.fill(array, 4, 36, blank(1)[0]);
            assertEquals(Arrays.toString(blank(40)), Arrays.toString(array));
        }
    }
}
