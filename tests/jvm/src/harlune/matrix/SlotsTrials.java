package harlune.matrix;

import static harlune.support.Ck.*;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import harlune.support.Tokens;

import java.util.Arrays;
import java.util.List;

import velnor.CryptokiException;
import velnor.MechanismInfo;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSlot;

/** Slots, their tokens, and what those can do. */
final class SlotsTrials extends NativeTrials {
    SlotsTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        trialWithoutSession("slots", this::slots);
        trialWithoutSession("information", this::information);
        trialWithoutSession("mechanism list", this::mechanismList);
        trialWithoutSession("mechanism that nobody has",
                () -> mustRefuse("J_GetMechanismInfo", "a mechanism that nobody has",
                        () -> slot.J_GetMechanismInfo(0x7FFFFFF0)));
        trialWithoutSession("events", this::events);
    }

    private void slots() {
        List<NativeSlot> all = Arrays.asList(call("GetSlotList", () -> cryptoki.GetSlotList(false)));
        List<NativeSlot> withToken = Arrays.asList(cryptoki.GetSlotList(true));
        assertTrue(withToken.contains(slot), () -> slot + " is not among " + withToken);
        assertTrue(all.containsAll(withToken), () -> all + " lacks some of " + withToken);
    }

    private void information() {
        assertEquals(CKF_TOKEN_PRESENT, call("J_GetSlotInfo", slot::J_GetSlotInfo).flags() & CKF_TOKEN_PRESENT);
        assertFalse(slot.J_GetSlotInfo().slotDescription().isEmpty());
        var info = call("J_GetTokenInfo", slot::J_GetTokenInfo);
        assertEquals(Tokens.LABEL, info.label());
        assertTrue(info.maxPinLen() >= Tokens.PIN.length(), info::toString);
    }

    /** The list arrives as halves of 64-bit codes, the lower ones at the even places. */
    private void mechanismList() {
        int[] list = call("J_GetMechanismList", slot::J_GetMechanismList);
        for (int i = 0; i + 1 < list.length; i += 2) {
            int mechanism = list[i];
            assertEquals(0, list[i + 1], () -> "behind " + mechanism);
        }
        MechanismInfo info = call("J_GetMechanismInfo", () -> slot.J_GetMechanismInfo(describable(list)));
        assertNotEquals(0, info.flags());
    }

    /** The first mechanism of the list whose key sizes a Java int holds. */
    private int describable(int[] list) {
        for (int i = 0; i < list.length; i += 2) {
            try {
                slot.J_GetMechanismInfo(list[i]);
                return list[i];
            } catch (CryptokiException e) {
                assertEquals("Check64BitLen", e.functionName(), e::getMessage);
            }
        }
        return fail("no mechanism can be described");
    }

    private void events() {
        assertEquals(slot, call("WaitForSlotEvent", () -> cryptoki.WaitForSlotEvent(CKF_DONT_BLOCK, null)));
    }
}
