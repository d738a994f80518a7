package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.HashSet;
import java.util.Set;

import org.junit.jupiter.api.Test;

import velnor.Mechanism;
import velnor.MechanismInfo;

/** What a token has, and how it says that it does not have something. */
class LimitsTest extends KeyedSession {
    private static final String NOT_SUPPORTED = "FUNCTION NOT SUPPORTED";

    @Test
    void theFirstHalfOfTheMechanismsArrives() {
        int[] list = slot.J_GetMechanismList();
        Set<Integer> mechanisms = new HashSet<>();
        for (int i = 0; i < list.length; i += 2) {
            mechanisms.add(list[i]);
        }
        assertEquals((list.length + 1) / 2, mechanisms.size());
        // SoftHSM lists by name, so that SHA-1, which it has, is in the other half.
        assertTrue(mechanisms.containsAll(Set.of(CKM_AES_KEY_GEN, CKM_AES_ECB, CKM_DES3_CBC)), mechanisms::toString);
        assertFalse(mechanisms.contains(CKM_SHA_1), mechanisms::toString);
    }

    @Test
    void aMechanismSaysWhatItCanDo() {
        MechanismInfo digest = slot.J_GetMechanismInfo(CKM_SHA_1);
        assertEquals(CKF_DIGEST, digest.flags());
        MechanismInfo generation = slot.J_GetMechanismInfo(CKM_AES_KEY_GEN);
        assertEquals(16, generation.minKeySize());
        assertEquals(32, generation.maxKeySize());
        assertEquals(CKF_GENERATE, generation.flags());
        assertEquals(CKF_ENCRYPT | CKF_DECRYPT, slot.J_GetMechanismInfo(CKM_AES_ECB).flags());
    }

    @Test
    void aKeySizeBeyondAnIntIsReported() {
        // SoftHSM gives 2^31 as the largest generic secret.
        assertText("Check64BitLen", "Value out of size for 32 bit (jint)",
                () -> slot.J_GetMechanismInfo(CKM_GENERIC_SECRET_KEY_GEN));
    }

    @Test
    void aMechanismThatTheTokenLacksIsRefused() {
        assertRefused("J_GetMechanismInfo", CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> slot.J_GetMechanismInfo(CKM_RC2_ECB));
        assertRefused("J_GetMechanismInfo", CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> slot.J_GetMechanismInfo(Integer.MIN_VALUE));
    }

    @Test
    void operationStatesAreRefused() {
        session.J_DigestUpdate(h, true, new Mechanism(CKM_SHA_1), bytes(10), 0, 10);
        assertRefused("J_GetOperationState", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_GetOperationState());
        assertRefused("J_SetOperationState", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_SetOperationState(bytes(8), 0, 0));
        assertText("J_SetOperationState", "OperationState is NULL", () -> session.J_SetOperationState(null, 0, 0));
        assertEquals(20, session.J_DigestFinal().length);
    }

    @Test
    void nothingRunsInParallel() {
        assertRefused("J_GetFunctionStatus", CKR_FUNCTION_NOT_PARALLEL, "FUNCTION NOT PARALLEL",
                () -> session.J_GetFunctionStatus());
        assertRefused("J_CancelFunction", CKR_FUNCTION_NOT_PARALLEL, "FUNCTION NOT PARALLEL",
                () -> session.J_CancelFunction());
    }

    @Test
    void noSlotEventIsWaiting() {
        assertRefused("J_WaitForSlotEvent", CKR_NO_EVENT, "NO EVENT",
                () -> cryptoki.WaitForSlotEvent(CKF_DONT_BLOCK, null));
        assertRefused("J_WaitForSlotEvent", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> cryptoki.WaitForSlotEvent(0, null));
    }

    /** Into an array these refusals would end the JVM, so they are asked for lengths. */
    @Test
    void recoveringAndDualUpdatesAreRefused() {
        byte[] data = bytes(16);
        assertRefused("J_SignRecoverInit", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_SignRecoverInit(new Mechanism(CKM_RSA_PKCS), 1));
        assertRefused("J_VerifyRecoverInit", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_VerifyRecoverInit(new Mechanism(CKM_RSA_PKCS), 1));
        assertRefused("J_SignRecover", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_SignRecover(data, 0, 16));
        assertRefused("J_SignRecover", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_SignRecover(data, 0, 16, null, 0));
        assertRefused("J_VerifyRecover", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_VerifyRecover(data, 0, 16));
        assertRefused("J_VerifyRecover", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_VerifyRecover(data, 0, 16, null, 0));
        assertRefused("J_DigestEncryptUpdate", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_DigestEncryptUpdate(data, 0, 16, null, 0));
        assertRefused("J_DecryptDigestUpdate", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_DecryptDigestUpdate(data, 0, 16, null, 0));
        assertRefused("J_SignEncryptUpdate", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_SignEncryptUpdate(data, 0, 16, null, 0));
        assertRefused("J_DecryptVerifyUpdate", CKR_FUNCTION_NOT_SUPPORTED, NOT_SUPPORTED,
                () -> session.J_DecryptVerifyUpdate(data, 0, 16, null, 0));
        assertArrayEquals(bytes(16), data);
    }
}
