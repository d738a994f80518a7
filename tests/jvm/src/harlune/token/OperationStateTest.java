package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Mechanism;
import velnor.nat.NativeSession;

/** A digest is interrupted and goes on from its saved state. */
class OperationStateTest extends KeyedSession {
    private static final byte[] MESSAGE = bytes(200);
    private static final int SAVED_AT = 77;

    private byte[] state;

    @BeforeEach
    void saveADigestMidway() {
        session.J_DigestUpdate(h, true, new Mechanism(CKM_SHA256), MESSAGE, 0, SAVED_AT);
        state = session.J_GetOperationState();
    }

    private static void assertFinishes(NativeSession in) throws NoSuchAlgorithmException {
        in.J_DigestUpdate(in.sessionHandle(), false, null, MESSAGE, SAVED_AT, MESSAGE.length - SAVED_AT);
        assertArrayEquals(MessageDigest.getInstance("SHA-256").digest(MESSAGE), in.J_DigestFinal());
    }

    @Test
    void theStateIsLongerThanAPointer() {
        assertTrue(state.length > 8, () -> state.length + " bytes");
    }

    @Test
    void savingDoesNotDisturbTheDigest() throws NoSuchAlgorithmException {
        assertFinishes(session);
    }

    @Test
    void anotherSessionTakesTheDigestOver() throws NoSuchAlgorithmException {
        NativeSession other = anotherSession();
        other.J_DigestUpdate(other.sessionHandle(), true, new Mechanism(CKM_SHA256), bytes(9), 0, 9);
        other.J_SetOperationState(state, 0, 0);
        assertFinishes(other);
    }

    @Test
    void theSameSessionGoesBack() throws NoSuchAlgorithmException {
        session.J_DigestUpdate(h, false, null, bytes(50), 0, 50);
        session.J_SetOperationState(state, 0, 0);
        assertFinishes(session);
    }

    @Test
    void theSameStateServesTwice() throws NoSuchAlgorithmException {
        assertFinishes(session);
        session.J_DigestUpdate(h, true, new Mechanism(CKM_SHA256), bytes(9), 0, 9);
        session.J_SetOperationState(state, 0, 0);
        assertFinishes(session);
    }

    @Test
    void aStateThatIsNoneIsRefused() {
        assertRefused("J_SetOperationState", CKR_SAVED_STATE_INVALID, "SAVED STATE INVALID",
                () -> session.J_SetOperationState(bytes(state.length), 0, 0));
    }

    @Test
    void withoutAnOperationThereIsNoState() {
        assertRefused("J_GetOperationState", CKR_OPERATION_NOT_INITIALIZED, "OPERATION NOT INITIALIZED",
                () -> anotherSession().J_GetOperationState());
    }
}
