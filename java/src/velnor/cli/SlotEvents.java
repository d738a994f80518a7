package velnor.cli;

import java.util.HashMap;
import java.util.LinkedHashSet;
import java.util.Map;
import java.util.Optional;
import java.util.Set;

import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.TokenSlot;

/** Tokens that come and go, for modules that tell and for those that have to be asked slot by slot. */
final class SlotEvents {
    private final Cryptoki cryptoki;
    private Map<TokenSlot, Boolean> presence;

    SlotEvents(Cryptoki cryptoki) {
        this.cryptoki = cryptoki;
        presence = look();
    }

    /** A slot where something has happened since the last time. */
    Optional<TokenSlot> poll() {
        Optional<TokenSlot> told = told();
        if (told.isPresent()) {
            presence = look();
            return told;
        }
        Map<TokenSlot, Boolean> before = presence;
        Map<TokenSlot, Boolean> now = look();
        Set<TokenSlot> slots = new LinkedHashSet<>(before.keySet());
        slots.addAll(now.keySet());
        for (TokenSlot slot : slots) {
            boolean present = now.getOrDefault(slot, false);
            if (present != before.getOrDefault(slot, false)) {
                before.put(slot, present);
                return Optional.of(slot);
            }
        }
        return Optional.empty();
    }

    private Optional<TokenSlot> told() {
        try {
            return cryptoki.pollSlotEvent();
        } catch (CryptokiException e) {
            if (e.code() == CKR.FUNCTION_NOT_SUPPORTED) {
                return Optional.empty();
            }
            throw e;
        }
    }

    private Map<TokenSlot, Boolean> look() {
        Map<TokenSlot, Boolean> seen = new HashMap<>();
        cryptoki.slots().forEach(slot -> seen.put(slot, slot.isTokenPresent()));
        return seen;
    }
}
