package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import harlune.support.Bridge;
import harlune.support.Tokens;

import java.util.Arrays;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.TokenInfo;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/** A token is initialised and its PINs are set and changed. Each test begins with a token that was just initialised. */
class AdministrationTest {
    private static final int PUBLIC_SESSION = CKF_SERIAL_SESSION | CKF_RW_SESSION;
    private static final String SO_PIN = "87654321";
    private static final String LABEL = "administered";
    private static NativeCryptoki cryptoki;

    private NativeSlot slot;

    @BeforeAll
    static void bind() {
        cryptoki = Bridge.initialize(Tokens.MODULE);
    }

    @AfterAll
    static void release() {
        cryptoki.Finalize(null);
    }

    /** SoftHSM always offers one slot whose token is still to be initialised. */
    private static NativeSlot freshSlot() {
        return Arrays.stream(cryptoki.GetSlotList(true))
                .filter(each -> (each.J_GetTokenInfo().flags() & CKF_TOKEN_INITIALIZED) == 0).findFirst().orElseThrow();
    }

    @BeforeEach
    void initialiseToken() {
        slot = freshSlot();
        slot.J_InitToken(SO_PIN, LABEL);
    }

    @AfterEach
    void closeSessions() {
        slot.J_CloseAllSessions();
    }

    private void setUserPin(String pin) {
        NativeSession officer = slot.J_OpenSession(PUBLIC_SESSION, CKU_SO, SO_PIN);
        officer.J_InitPIN(pin);
        officer.J_CloseSession();
    }

    private static int pinFlags(TokenInfo info) {
        return info.flags() & (CKF_TOKEN_INITIALIZED | CKF_USER_PIN_INITIALIZED);
    }

    @Test
    void anInitialisedTokenHasItsLabelAndNoUserPin() {
        TokenInfo info = slot.J_GetTokenInfo();
        assertEquals(String.format("%-32s", LABEL), info.rawLabel());
        assertEquals(CKF_TOKEN_INITIALIZED, pinFlags(info));
        assertRefused("J_OpenSession", CKR_USER_PIN_NOT_INITIALIZED, "USER PIN NOT INITIALIZED",
                () -> slot.J_OpenSession(PUBLIC_SESSION, CKU_USER, "1234"));
    }

    @Test
    void aLongLabelIsCutToTheTokensWidth() {
        String label = "0123456789abcdefghijklmnopqrstuv";
        slot.J_InitToken(SO_PIN, label + "wxyz");
        assertEquals(label, slot.J_GetTokenInfo().rawLabel());
    }

    @Test
    void initialisingAgainNeedsTheRightPinAndDestroysTheObjects() {
        NativeSession session = slot.J_OpenSession(PUBLIC_SESSION);
        Attribute[] template = {new Attribute(CKA_CLASS, CKO_DATA), new Attribute(CKA_TOKEN, true),
            new Attribute(CKA_PRIVATE, false)};
        session.J_CreateObject(template);
        assertRefused("J_InitToken", CKR_SESSION_EXISTS, "SESSION EXISTS", () -> slot.J_InitToken(SO_PIN, "again"));
        session.J_CloseSession();
        assertRefused("J_InitToken", CKR_PIN_INCORRECT, "PIN INCORRECT", () -> slot.J_InitToken("11111111", "again"));
        slot.J_InitToken(SO_PIN, "again");
        assertEquals("again", slot.J_GetTokenInfo().label());
        assertNull(slot.J_OpenSession(PUBLIC_SESSION).J_FindObjects(null));
    }

    @Test
    void theOfficerSetsTheUsersPin() {
        setUserPin("secret-1");
        assertEquals(CKF_TOKEN_INITIALIZED | CKF_USER_PIN_INITIALIZED, pinFlags(slot.J_GetTokenInfo()));
        slot.J_OpenSession(PUBLIC_SESSION, CKU_USER, "secret-1");
    }

    @Test
    void onlyTheOfficerSetsIt() {
        NativeSession session = slot.J_OpenSession(PUBLIC_SESSION);
        assertRefused("J_InitPIN", CKR_USER_NOT_LOGGED_IN, "USER NOT LOGGED IN", () -> session.J_InitPIN("secret-1"));
    }

    @Test
    void theUserChangesThePin() {
        setUserPin("secret-1");
        NativeSession session = slot.J_OpenSession(PUBLIC_SESSION, CKU_USER, "secret-1");
        assertRefused("J_SetPIN", CKR_PIN_INCORRECT, "PIN INCORRECT", () -> session.J_SetPIN("secret-0", "secret-2"));
        session.J_SetPIN("secret-1", "sécret-2");
        session.J_Logout();
        assertRefused("J_Login", CKR_PIN_INCORRECT, "PIN INCORRECT", () -> session.J_Login(CKU_USER, "secret-1"));
        session.J_Login(CKU_USER, "sécret-2");
    }

    @Test
    void theOfficerChangesTheOwnPin() {
        NativeSession session = slot.J_OpenSession(PUBLIC_SESSION, CKU_SO, SO_PIN);
        session.J_SetPIN(SO_PIN, "11223344");
        session.J_Logout();
        session.J_Login(CKU_SO, "11223344");
    }

    @Test
    void aPinOfTheWrongLengthIsRefused() {
        NativeSession session = slot.J_OpenSession(PUBLIC_SESSION, CKU_SO, SO_PIN);
        assertRefused("J_InitPIN", CKR_PIN_LEN_RANGE, "PIN LEN RANGE", () -> session.J_InitPIN("123"));
        assertRefused("J_SetPIN", CKR_PIN_LEN_RANGE, "PIN LEN RANGE", () -> session.J_SetPIN(SO_PIN, "123"));
    }

    @Test
    void anEmptyPinNeverReachesTheToken() {
        NativeSession session = slot.J_OpenSession(PUBLIC_SESSION, CKU_SO, SO_PIN);
        assertText("J_InitPIN", "pPinLen = 0", () -> session.J_InitPIN(""));
        assertText("J_SetPIN", "pOldPinLen = 0", () -> session.J_SetPIN("", "11223344"));
        assertText("J_SetPIN", "pNewPinLen = 0", () -> session.J_SetPIN(SO_PIN, ""));
        assertText("J_InitToken", "SOPinLen = 0", () -> slot.J_InitToken("", LABEL));
    }

    @Test
    void aMissingStringIsReported() {
        NativeSession session = slot.J_OpenSession(PUBLIC_SESSION, CKU_SO, SO_PIN);
        assertText("J_InitPIN", "pPin is NULL", () -> session.J_InitPIN(null));
        assertText("J_SetPIN", "pOldPin is NULL", () -> session.J_SetPIN(null, "11223344"));
        assertText("J_SetPIN", "pNewPin is NULL", () -> session.J_SetPIN(SO_PIN, null));
        assertText("J_InitToken", "pSOPin is NULL", () -> slot.J_InitToken(null, LABEL));
        assertText("J_InitToken", "pTokenLabel is NULL", () -> slot.J_InitToken(SO_PIN, null));
    }
}
