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

import velnor.CKM;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.MechanismInfo;
import velnor.Session;
import velnor.TokenInfo;
import velnor.TokenSlot;

/** Handles, ids and sizes have 64 bits, whatever the width of a Java int. */
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

    private static List<String> calls() {
        return ScriptedModule.journal().stream().map(line -> line.replaceAll(" .*-> (\\w+).*", " $1"))
                .collect(Collectors.toList());
    }

    @ParameterizedTest
    @ValueSource(strings = {"1", "0x7FFFFFFF", "0x80000007", "0x100000000", "0x7F0012345678", "0xFFFFFFFF80000007",
        "0x7FFFFFFFFFFFFFFF", "-1", "0"})
    void aSessionOfAnyHandleWorks(String handle) {
        ScriptedModule.answer("C_OpenSession CKR_OK handle=" + handle);
        long number = handle.startsWith("0x") ? Long.parseUnsignedLong(handle.substring(2), 16)
                : Long.parseLong(handle);
        try (Session session = slot.openSession()) {
            assertEquals("Session[" + Long.toUnsignedString(number) + " on " + slot + "]", session.toString());
            session.login("1234");
            assertEquals(8, session.random(8).length);
            assertEquals("DATA", new String(session.encrypt(new Mechanism(CKM.AES_ECB),
                    Surface.key(session, 0xB01), "data".getBytes())));
        }
        String session = "session=0x" + Long.toHexString(number).toUpperCase();
        assertTrue(ScriptedModule.journal().stream().skip(1).allMatch(line -> line.contains(session)),
                ScriptedModule.journal()::toString);
        assertEquals("C_CloseSession CKR_OK", calls().get(calls().size() - 1));
    }

    /** They share their low halves. */
    @Test
    void twoSessionsAreTwo() {
        ScriptedModule.answer("C_OpenSession CKR_OK handle=0x100005E51");
        Session wide = slot.openSession();
        Session narrow = slot.openSession();
        wide.close();
        assertEquals(8, narrow.random(8).length);
        assertFalse(wide.isOpen());
        assertTrue(ScriptedModule.journal().contains("C_CloseSession session=0x100005E51 -> CKR_OK"),
                ScriptedModule.journal()::toString);
    }

    @ParameterizedTest
    @ValueSource(strings = {"CKR_SESSION_COUNT", "CKR_TOKEN_NOT_PRESENT", "CKR_DEVICE_REMOVED", "CKR_GENERAL_ERROR"})
    void aRefusalToOpenIsPassedOn(String code) {
        ScriptedModule.answer("C_OpenSession " + code);
        assertThrows(CryptokiException.class, slot::openSession);
        assertEquals(List.of("C_OpenSession " + code), calls());
    }

    @Test
    void slotsArriveWhole() {
        ScriptedModule.answer("C_GetSlotList list=0x100000011,0x11");
        ScriptedModule.answer("C_GetSlotList list=0x100000011,0x11");
        TokenSlot wide = cryptoki.slots().get(0);
        assertEquals(0x100000011L, wide.id());
        assertEquals(0x11, wide.slotID());
        assertFalse(wide.equals(slot));
        assertEquals("TokenSlot[4294967313]", wide.toString());
        assertThrows(CryptokiException.class, wide::slotInfo);
        assertTrue(ScriptedModule.journal().get(2).startsWith("C_GetSlotInfo slot=0x100000011"),
                ScriptedModule.journal()::toString);
    }

    @Test
    void mechanismsArriveWhole() {
        for (int i = 0; i < 4; i++) {
            ScriptedModule.answer("C_GetMechanismList list=0x80000001,0x100000001,0x1,0x220");
        }
        assertEquals(List.of(1, 0x220, 0x80000001), slot.mechanisms());
        assertEquals(List.of(1L, 0x220L, 0x80000001L, 0x100000001L), slot.mechanismTypes());
        assertEquals(4, ScriptedModule.journal().size());
        assertThrows(CryptokiException.class, () -> slot.mechanismInfo(0x100000001L));
        assertTrue(ScriptedModule.journal().get(4).contains("type=0x100000001"), ScriptedModule.journal()::toString);
    }

    @Test
    void aNumberThatDoesNotFitHidesNoOther() {
        ScriptedModule.answer("C_GetTokenInfo ulTotalPublicMemory=0x100000000 ulFreePublicMemory=-1 ulMaxPinLen=8");
        TokenInfo info = slot.tokenInfo();
        assertEquals("Check64BitLen",
                assertThrows(CryptokiException.class, info::totalPublicMemory).functionName());
        assertEquals(0x100000000L, info.totalPublicMemoryBytes());
        assertEquals(-1, info.freePublicMemory());
        assertEquals(-1, info.freePublicMemoryBytes());
        assertEquals(8, info.maxPinLen());
        ScriptedModule.answer("C_GetMechanismInfo ulMinKeySize=0x80000000 ulMaxKeySize=0x7FFFFFFFFFFFFFFF");
        MechanismInfo mechanism = slot.mechanismInfo(CKM.SHA_1);
        assertThrows(CryptokiException.class, mechanism::minKeySize);
        assertEquals(List.of(0x80000000L, Long.MAX_VALUE),
                List.of(mechanism.minKeyLength(), mechanism.maxKeyLength()));
        ScriptedModule.answer("C_GetSessionInfo ulDeviceError=0x100000000 slotID=0x100000011");
        try (Session session = slot.openSession()) {
            var sessionInfo = session.info();
            assertEquals(0x100000000L, sessionInfo.deviceErrorCode());
            assertEquals(0x100000011L, sessionInfo.slot());
            assertThrows(CryptokiException.class, sessionInfo::deviceError);
        }
    }
}
