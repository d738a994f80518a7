package harlune;

import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.BoundToken;
import harlune.support.Ck;
import harlune.support.Tokens;

import org.junit.jupiter.api.Test;

import velnor.CryptokiException;
import velnor.Info;
import velnor.MechanismInfo;
import velnor.SlotInfo;
import velnor.TokenInfo;
import velnor.Version;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSlot;

/** What a real module tells about itself, its slots, its tokens and their mechanisms. */
class InformationTest extends BoundToken {
    @Test
    void theModule() {
        Info info = cryptoki.GetInfo();
        assertEquals(new Version(40, 2), info.cryptokiVersion());
        assertEquals(new Version(2, 1), info.libraryVersion(), "the bridge's own version, not the module's");
        assertEquals("Implementation of PKCS11", info.libraryDescription());
        assertEquals(32, info.rawLibraryDescription().length());
        assertEquals("SoftHSM", info.manufacturerID());
        assertEquals(32, info.rawManufacturerID().length());
        assertEquals(0, info.flags());
        assertEquals(Tokens.MODULE, NativeCryptoki.getLastLoadedLibraryFullPath());
        assertTrue(cryptoki.IsSecondAuthenticationRequired());
    }

    @Test
    void theSlots() {
        assertEquals(cryptoki.GetSlotList(false).length, cryptoki.GetSlotList(true).length);
        NativeSlot other = Tokens.slot(cryptoki, Tokens.OTHER_LABEL);
        assertNotEquals(slot, other);

        SlotInfo info = slot.J_GetSlotInfo();
        assertTrue(info.slotDescription().startsWith("SoftHSM slot ID 0x"), info.slotDescription());
        assertEquals(64, info.rawSlotDescription().length());
        assertEquals("SoftHSM project", info.manufacturerID());
        assertEquals(32, info.rawManufacturerID().length());
        assertEquals(Ck.CKF_TOKEN_PRESENT, info.flags());
        assertEquals(info.hardwareVersion(), info.firmwareVersion());
        assertEquals(2, info.hardwareVersion().majorVersion());
    }

    @Test
    void theToken() {
        TokenInfo info = slot.J_GetTokenInfo();
        assertEquals(String.format("%-32s", Tokens.LABEL), info.rawLabel());
        assertEquals("SoftHSM project", info.manufacturerID());
        assertEquals(String.format("%-16s", "SoftHSM v2"), info.rawModel());
        assertEquals(16, info.rawSerialNumber().length());
        assertEquals(Ck.CKF_LOGIN_REQUIRED | Ck.CKF_USER_PIN_INITIALIZED | Ck.CKF_TOKEN_INITIALIZED,
                info.flags() & (Ck.CKF_LOGIN_REQUIRED | Ck.CKF_USER_PIN_INITIALIZED | Ck.CKF_TOKEN_INITIALIZED));
        assertEquals(4, info.minPinLen());
        assertEquals(255, info.maxPinLen());
        assertEquals(0, info.maxSessionCount());
        assertEquals(-1, info.rwSessionCount());
        assertEquals(-1, info.totalPublicMemory());
        assertEquals(-1, info.freePublicMemory());
        assertEquals(-1, info.totalPrivateMemory());
        assertEquals(-1, info.freePrivateMemory());
        assertEquals(2, info.hardwareVersion().majorVersion());
        assertTrue(info.rawUtcTime().matches("20[0-9]{12}00"), info.rawUtcTime());
    }

    @Test
    void aMechanism() {
        MechanismInfo info = slot.J_GetMechanismInfo(Ck.CKM_RSA_PKCS);
        assertEquals(512, info.minKeySize());
        assertEquals(16384, info.maxKeySize());
        assertEquals(Ck.CKF_SIGN | Ck.CKF_VERIFY, info.flags() & (Ck.CKF_SIGN | Ck.CKF_VERIFY));
        assertRefused("J_GetMechanismInfo", Ck.CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> slot.J_GetMechanismInfo(0x80000000));
    }

    @Test
    void noSlotEventIsAnException() {
        assertRefused("J_WaitForSlotEvent", Ck.CKR_NO_EVENT, "NO EVENT",
                () -> cryptoki.WaitForSlotEvent(Ck.CKF_DONT_BLOCK, null));
    }

    @Test
    void aSlotThatIsNotThere() {
        assertRefused("J_GetSlotInfo", 3, "SLOT ID INVALID", () -> new NativeSlot(-1).J_GetSlotInfo());
        assertRefused("J_GetTokenInfo", 3, "SLOT ID INVALID", () -> new NativeSlot(-1).J_GetTokenInfo());
        assertRefused("J_GetMechanismList", 3, "SLOT ID INVALID", () -> new NativeSlot(-1).J_GetMechanismList());
        CryptokiException refused =
                assertThrows(CryptokiException.class, () -> new NativeSlot(-1).J_OpenSession(Ck.CKF_SERIAL_SESSION));
        assertEquals("J_OpenSession: SLOT ID INVALID (CKR_SLOT_ID_INVALID, 0x3)", refused.getMessage());
    }

    @Test
    void initializingTwiceIsRefusedAndChangesNothing() {
        assertRefused("J_Initialize", Ck.CKR_CRYPTOKI_ALREADY_INITIALIZED, "CRYPTOKI ALREADY INITIALIZED",
                () -> cryptoki.Initialize(null));
        assertEquals("SoftHSM", cryptoki.GetInfo().manufacturerID());
    }

    @Test
    void afterFinalizeTheModuleIsLoadedAgain() {
        cryptoki.Finalize(null);
        assertRefused("J_GetInfo", Ck.CKR_CRYPTOKI_NOT_INITIALIZED, "CRYPTOKI NOT INITIALIZED", cryptoki::GetInfo);
        assertRefused("J_Finalize", Ck.CKR_CRYPTOKI_NOT_INITIALIZED, "CRYPTOKI NOT INITIALIZED",
                () -> cryptoki.Finalize(null));
        cryptoki.Initialize(null);
        assertEquals(Tokens.LABEL, slot.J_GetTokenInfo().label());
    }
}
