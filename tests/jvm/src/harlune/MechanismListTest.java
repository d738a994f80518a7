package harlune;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.BoundToken;

import org.junit.jupiter.api.Test;

import velnor.CryptokiException;

/** The half of a mechanism list that arrives. */
class MechanismListTest extends BoundToken {
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
