package harlune.matrix;

import static harlune.support.Ck.*;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.util.Arrays;
import java.util.List;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/** PINs are set and changed, and in the end the token is initialised anew: nothing can be tried after these. */
final class AdministrationTrials extends NativeTrials {
    private static final int PUBLIC_SESSION = CKF_SERIAL_SESSION | CKF_RW_SESSION;
    private static final String NEW_PIN = "65432109".substring(0, Tokens.PIN.length());

    private static final String LABEL = "initialised";

    AdministrationTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        trial("the user changes the PIN", "", this::changed);
        trialWithoutSession("the officer sets the user's PIN", this::set);
        trialWithoutSession("a fresh token is initialised", this::firstInitialised);
        trialWithoutSession("the token is initialised", this::initialised);
    }

    private void changed() {
        run("J_SetPIN", () -> session.J_SetPIN(Tokens.PIN, NEW_PIN));
        session.J_Logout();
        mustRefuse("J_Login", "a PIN that was changed", () -> session.J_Login(CKU_USER, Tokens.PIN));
        session.J_Login(CKU_USER, NEW_PIN);
        session.J_SetPIN(NEW_PIN, Tokens.PIN);
    }

    /** Without the officer where there is no such login: the softoken's PIN is empty, and so never reaches it. */
    private NativeSession officer() {
        try {
            return slot.J_OpenSession(PUBLIC_SESSION, CKU_SO, Tokens.SO_PIN);
        } catch (CryptokiException e) {
            return slot.J_OpenSession(PUBLIC_SESSION);
        }
    }

    private void set() {
        NativeSession officer = officer();
        run("J_InitPIN", () -> officer.J_InitPIN(NEW_PIN));
        officer.J_Logout();
        officer.J_Login(CKU_USER, NEW_PIN);
    }

    private List<NativeSlot> slotsOfTheSameMake() {
        String make = slot.J_GetTokenInfo().rawManufacturerID();
        return Arrays.stream(cryptoki.GetSlotList(true))
                .filter(each -> each.J_GetTokenInfo().rawManufacturerID().equals(make)).toList();
    }

    private static boolean isInitialised(NativeSlot each) {
        return (each.J_GetTokenInfo().flags() & CKF_TOKEN_INITIALIZED) != 0;
    }

    /** Some modules always have a slot whose token is still to be initialised. */
    private void firstInitialised() {
        for (NativeSlot fresh : slotsOfTheSameMake()) {
            if (!isInitialised(fresh)) {
                run("J_InitToken", "a fresh token", () -> fresh.J_InitToken("12345678", "fresh"));
                assertTrue(slotsOfTheSameMake().stream()
                        .anyMatch(each -> isInitialised(each) && each.J_GetTokenInfo().label().equals("fresh")));
                return;
            }
        }
    }

    private void initialised() {
        NativeSession before = slot.J_OpenSession(PUBLIC_SESSION);
        try {
            before.J_CreateObject(new Attribute[] {attribute(CKA_CLASS, CKO_DATA), attribute(CKA_TOKEN, true),
                attribute(CKA_PRIVATE, false)});
        } catch (CryptokiException e) {
            // A token that takes no data objects has none to lose.
        }
        before.J_CloseSession();
        // An empty PIN never reaches the token, and the one token that has an empty one takes any other for it.
        String soPin = Tokens.SO_PIN.isEmpty() ? Tokens.PIN : Tokens.SO_PIN;
        run("J_InitToken", "a token in use", () -> slot.J_InitToken(soPin, LABEL));
        slot = initialisedSlot();
        assertNull(slot.J_OpenSession(PUBLIC_SESSION).J_FindObjects(new Attribute[] {attribute(CKA_CLASS, CKO_DATA)}));
    }

    /** The slot may have another ID now; the softoken keeps its label whatever it is told. */
    private NativeSlot initialisedSlot() {
        return Arrays.stream(cryptoki.GetSlotList(true)).filter(each -> each.J_GetTokenInfo().label().equals(LABEL))
                .findFirst().orElse(slot);
    }
}
