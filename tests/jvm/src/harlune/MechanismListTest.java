package harlune;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Bridge;
import harlune.support.Tokens;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

import velnor.CryptokiException;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSlot;

/** The half of a mechanism list that arrives. */
class MechanismListTest {
    private static NativeCryptoki cryptoki;
    private static NativeSlot slot;

    @BeforeAll
    static void bind() {
        cryptoki = Bridge.initialize(Tokens.MODULE);
        slot = Tokens.slot(cryptoki, Tokens.LABEL);
    }

    @AfterAll
    static void release() {
        cryptoki.Finalize(null);
    }

    @Test
    void theMechanismListHoldsEverySecondElement() {
        int[] list = slot.J_GetMechanismList();
        assertTrue(list.length > 50, list.length + " elements");
        for (int i = 0; i < list.length; i++) {
            if (i % 2 == 0) {
                int mechanism = list[i];
                assertTrue(has(mechanism), Integer.toHexString(mechanism));
            } else {
                assertEquals(0, list[i], "the upper half of element " + (i - 1));
            }
        }
    }

    private static boolean has(int mechanism) {
        try {
            slot.J_GetMechanismInfo(mechanism);
            return true;
        } catch (CryptokiException refused) {
            // Some mechanisms take keys of any size: a number that does not fit is told, but is no refusal.
            return refused.functionName().equals("Check64BitLen");
        }
    }
}
