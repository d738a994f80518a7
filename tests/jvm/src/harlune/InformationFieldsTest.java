package harlune;

import static harlune.support.Refusal.assertText;
import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.Bridge;
import harlune.support.Ck;
import harlune.support.ScriptedModule;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Info;
import velnor.MechanismInfo;
import velnor.SessionInfo;
import velnor.SlotInfo;
import velnor.TokenInfo;
import velnor.Version;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSlot;

/** Every field of the information that a module gives arrives at its own accessor. */
class InformationFieldsTest {
    private NativeCryptoki cryptoki;
    private NativeSlot slot;

    @BeforeEach
    void bind() {
        ScriptedModule.reset();
        cryptoki = Bridge.initialize(ScriptedModule.PATH);
        slot = cryptoki.GetSlotList(true)[0];
    }

    @AfterEach
    void release() {
        cryptoki.Finalize(null);
    }

    @Test
    void ofTheModule() {
        ScriptedModule.answer("C_GetInfo manufacturerID=\"maker\" flags=3 libraryDescription=\"description\"");
        Info info = cryptoki.GetInfo();
        assertEquals("maker", info.manufacturerID());
        assertEquals(3, info.flags());
        assertEquals("description", info.libraryDescription());
        assertEquals(new Version(2, 1), info.libraryVersion());
    }

    @Test
    void ofASlot() {
        ScriptedModule.answer("C_GetSlotInfo slotDescription=\"description\" manufacturerID=\"maker\" flags=3");
        SlotInfo info = slot.J_GetSlotInfo();
        assertEquals(String.format("%-64s", "description"), info.rawSlotDescription());
        assertEquals("description", info.slotDescription());
        assertEquals(String.format("%-32s", "maker"), info.rawManufacturerID());
        assertEquals("maker", info.manufacturerID());
        assertEquals(3, info.flags());
        assertEquals(new Version(12, 11), info.hardwareVersion());
        assertEquals(new Version(14, 13), info.firmwareVersion());
    }

    @Test
    void ofAToken() {
        ScriptedModule.answer("C_GetTokenInfo label=\"label\" manufacturerID=\"maker\" model=\"model\" "
                + "serialNumber=\"serial\" utcTime=\"2026112110000000\" flags=1 ulMaxSessionCount=2 ulSessionCount=99 "
                + "ulMaxRwSessionCount=3 ulRwSessionCount=4 ulMaxPinLen=5 ulMinPinLen=6 ulTotalPublicMemory=7 "
                + "ulFreePublicMemory=8 ulTotalPrivateMemory=9 ulFreePrivateMemory=10");
        TokenInfo info = slot.J_GetTokenInfo();
        assertEquals("label", info.label());
        assertEquals(String.format("%-32s", "label"), info.rawLabel());
        assertEquals("maker", info.manufacturerID());
        assertEquals(String.format("%-32s", "maker"), info.rawManufacturerID());
        assertEquals("model", info.model());
        assertEquals(String.format("%-16s", "model"), info.rawModel());
        assertEquals("serial", info.serialNumber());
        assertEquals(String.format("%-16s", "serial"), info.rawSerialNumber());
        assertEquals("2026112110000000", info.utcTime());
        assertEquals(1, info.flags());
        assertEquals(2, info.maxSessionCount());
        assertEquals(3, info.maxRwSessionCount());
        assertEquals(4, info.rwSessionCount());
        assertEquals(5, info.maxPinLen());
        assertEquals(6, info.minPinLen());
        assertEquals(7, info.totalPublicMemory());
        assertEquals(8, info.freePublicMemory());
        assertEquals(9, info.totalPrivateMemory());
        assertEquals(10, info.freePrivateMemory());
        assertEquals(new Version(22, 21), info.hardwareVersion());
        assertEquals(new Version(24, 23), info.firmwareVersion());
    }

    @Test
    void aCountThatDoesNotFitIsToldThoughItsFieldIsDropped() {
        ScriptedModule.answer("C_GetTokenInfo ulSessionCount=0x80000000");
        assertText("Check64BitLen", "Value out of size for 32 bit (jint)", slot::J_GetTokenInfo);
    }

    @Test
    void ofAMechanism() {
        ScriptedModule.answer("C_GetMechanismInfo ulMinKeySize=1 ulMaxKeySize=2 flags=3");
        MechanismInfo info = slot.J_GetMechanismInfo(0x220);
        assertEquals(1, info.minKeySize());
        assertEquals(2, info.maxKeySize());
        assertEquals(3, info.flags());
    }

    @Test
    void ofASession() {
        ScriptedModule.answer("C_GetSessionInfo slotID=1 state=2 flags=3 ulDeviceError=4");
        SessionInfo info = slot.J_OpenSession(Ck.CKF_SERIAL_SESSION).J_GetSessionInfo();
        assertEquals(1, info.slotID());
        assertEquals(2, info.state());
        assertEquals(3, info.flags());
        assertEquals(4, info.deviceError());
    }
}
