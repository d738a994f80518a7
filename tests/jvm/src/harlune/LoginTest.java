package harlune;

import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;

import harlune.support.BoundToken;
import harlune.support.Ck;
import harlune.support.Tokens;

import java.util.Arrays;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.SessionInfo;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/** Sessions and PINs of a real token. Each test begins with an open session and nobody logged in. */
class LoginTest extends BoundToken {
    private static final int RW = Ck.CKF_SERIAL_SESSION | Ck.CKF_RW_SESSION;
    private NativeSession session;

    @BeforeEach
    void open() {
        session = slot.J_OpenSession(RW);
    }

    @AfterEach
    void close() {
        slot.J_CloseAllSessions();
    }

    private void assertState(int state) {
        SessionInfo info = session.J_GetSessionInfo();
        assertEquals(state, info.state());
        assertEquals(slot.slotID(), info.slotID());
        assertEquals(RW, info.flags());
        assertEquals(0, info.deviceError());
    }

    @Test
    void inAndOut() {
        assertEquals(slot, session.slot());
        assertState(Ck.CKS_RW_PUBLIC_SESSION);
        session.J_Login(Ck.CKU_USER, Tokens.PIN);
        assertState(Ck.CKS_RW_USER_FUNCTIONS);
        session.J_Logout();
        assertState(Ck.CKS_RW_PUBLIC_SESSION);
    }

    @Test
    void loggingInTwiceIsRefused() {
        session.J_Login(Ck.CKU_USER, Tokens.PIN);
        assertRefused("J_Login", Ck.CKR_USER_ALREADY_LOGGED_IN, "USER ALREADY LOGGED IN",
                () -> session.J_Login(Ck.CKU_USER, Tokens.PIN));
        assertState(Ck.CKS_RW_USER_FUNCTIONS);
    }

    @Test
    void aWrongPinIsRefused() {
        assertRefused("J_Login", Ck.CKR_PIN_INCORRECT, "PIN INCORRECT", () -> session.J_Login(Ck.CKU_USER, "4321"));
        assertState(Ck.CKS_RW_PUBLIC_SESSION);
    }

    @Test
    void noPinIsRefusedWithoutAskingTheToken() {
        assertText("J_Login", "Pin is NULL", () -> session.J_Login(Ck.CKU_USER, null));
        assertText("J_Login", "invalid pPinLen (0)", () -> session.J_Login(Ck.CKU_USER, ""));
    }

    @Test
    void openingWithALogin() {
        NativeSession loggedIn = slot.J_OpenSession(RW, Ck.CKU_USER, Tokens.PIN);
        assertEquals(Ck.CKS_RW_USER_FUNCTIONS, loggedIn.J_GetSessionInfo().state());
        // A login that exists is good enough here, unlike for J_Login.
        NativeSession another = slot.J_OpenSession(RW, Ck.CKU_USER, Tokens.PIN);
        assertNotEquals(loggedIn.sessionHandle(), another.sessionHandle());
    }

    @Test
    void openingWithoutAPinDoesNotLogIn() {
        assertEquals(Ck.CKS_RW_PUBLIC_SESSION, slot.J_OpenSession(RW, (byte) 99, null).J_GetSessionInfo().state());
        assertEquals(Ck.CKS_RW_PUBLIC_SESSION, slot.J_OpenSession(RW, (byte) 99, "").J_GetSessionInfo().state());
    }

    @Test
    void openingWithAWrongPinLeavesASessionBehind() {
        session.J_CloseSession();
        // The token looks for open sessions before it looks at the PIN, so asking this way does no harm.
        assertRefused("J_InitToken", Ck.CKR_PIN_INCORRECT, "PIN INCORRECT", () -> slot.J_InitToken("87654321", "x"));
        assertRefused("J_OpenSession", Ck.CKR_PIN_INCORRECT, "PIN INCORRECT",
                () -> slot.J_OpenSession(RW, Ck.CKU_USER, "4321"));
        assertRefused("J_InitToken", Ck.CKR_SESSION_EXISTS, "SESSION EXISTS", () -> slot.J_InitToken("87654321", "x"));
        slot.J_CloseAllSessions();
        assertRefused("J_InitToken", Ck.CKR_PIN_INCORRECT, "PIN INCORRECT", () -> slot.J_InitToken("87654321", "x"));
    }

    @Test
    void flagsArePassedOnAsTheyAre() {
        assertRefused("J_OpenSession", Ck.CKR_SESSION_PARALLEL_NOT_SUPPORTED, "SESSION PARALLEL NOT SUPPORTED",
                () -> slot.J_OpenSession(0));
    }

    @Test
    void aClosedSessionIsGone() {
        session.J_CloseSession();
        assertRefused("J_CloseSession", Ck.CKR_SESSION_HANDLE_INVALID, "SESSION HANDLE INVALID",
                session::J_CloseSession);
        assertRefused("J_GetSessionInfo", Ck.CKR_SESSION_HANDLE_INVALID, "SESSION HANDLE INVALID",
                session::J_GetSessionInfo);
        assertRefused("J_Logout", Ck.CKR_SESSION_HANDLE_INVALID, "SESSION HANDLE INVALID", session::J_Logout);
    }

    @Test
    void changingThePin() {
        session.J_Login(Ck.CKU_USER, Tokens.PIN);
        // Two bytes each in the form that the token gets: a count of characters would cut the PIN in half.
        String umlauts = "äöüß";
        session.J_SetPIN(Tokens.PIN, umlauts);
        session.J_Logout();
        assertRefused("J_Login", Ck.CKR_PIN_INCORRECT, "PIN INCORRECT",
                () -> session.J_Login(Ck.CKU_USER, Tokens.PIN));
        session.J_Login(Ck.CKU_USER, umlauts);
        session.J_SetPIN(umlauts, Tokens.PIN);
        assertText("J_SetPIN", "pOldPinLen = 0", () -> session.J_SetPIN("", Tokens.PIN));
        assertText("J_SetPIN", "pNewPinLen = 0", () -> session.J_SetPIN(Tokens.PIN, ""));
        assertText("J_SetPIN", "pNewPin is NULL", () -> session.J_SetPIN(Tokens.PIN, null));
    }

    @Test
    void initializingATokenAndItsPin() {
        NativeSlot other = Tokens.slot(cryptoki, Tokens.OTHER_LABEL);
        assertText("J_InitToken", "SOPinLen = 0", () -> other.J_InitToken("", "x"));
        assertRefused("J_InitToken", Ck.CKR_PIN_INCORRECT, "PIN INCORRECT", () -> other.J_InitToken("87654321", "x"));
        other.J_InitToken(Tokens.SO_PIN, "renamed");
        assertEquals(String.format("%-32s", "renamed"), other.J_GetTokenInfo().rawLabel());

        NativeSession officer = other.J_OpenSession(RW);
        officer.J_Login(Ck.CKU_SO, Tokens.SO_PIN);
        assertText("J_InitPIN", "pPinLen = 0", () -> officer.J_InitPIN(""));
        officer.J_InitPIN("5678");
        officer.J_Logout();
        officer.J_Login(Ck.CKU_USER, "5678");
        officer.J_Logout();
        other.J_CloseAllSessions();
        other.J_InitToken(Tokens.SO_PIN, Tokens.OTHER_LABEL);
    }

    @Test
    void randomBytesFillTheirRegionAlone() {
        byte[] bytes = new byte[64];
        session.J_GenerateRandom(session.sessionHandle(), true, new byte[] {1, 2, 3}, bytes, 8, 48);
        assertArrayEquals(new byte[8], Arrays.copyOfRange(bytes, 0, 8));
        assertArrayEquals(new byte[8], Arrays.copyOfRange(bytes, 56, 64));
        assertFalse(Arrays.equals(new byte[16], Arrays.copyOfRange(bytes, 8, 24)));
        assertFalse(Arrays.equals(new byte[16], Arrays.copyOfRange(bytes, 40, 56)));
        assertText("J_GenerateRandom", "Random is NULL",
                () -> session.J_GenerateRandom(session.sessionHandle(), false, null, null, 0, 1));
    }

    @Test
    void aMissingSeedIsToldButTheBytesAreMade() {
        byte[] bytes = new byte[16];
        assertText("J_SeedRandom", "Seed is NULL",
                () -> session.J_GenerateRandom(session.sessionHandle(), true, null, bytes, 0, 16));
        assertFalse(Arrays.equals(new byte[16], bytes));
    }

    @Test
    void functionsInParallelAreHistory() {
        assertRefused("J_GetFunctionStatus", 0x51, "FUNCTION NOT PARALLEL", session::J_GetFunctionStatus);
        assertRefused("J_CancelFunction", 0x51, "FUNCTION NOT PARALLEL", session::J_CancelFunction);
        assertRefused("J_GetOperationState", 0x54, "FUNCTION NOT SUPPORTED", session::J_GetOperationState);
        assertText("J_SetOperationState", "OperationState is NULL", () -> session.J_SetOperationState(null, 0, 0));
        assertRefused("J_SetOperationState", 0x54, "FUNCTION NOT SUPPORTED",
                () -> session.J_SetOperationState(new byte[4], 0, 0));
    }
}
