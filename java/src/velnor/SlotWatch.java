package velnor;

import java.time.Duration;
import java.util.HashMap;
import java.util.LinkedHashSet;
import java.util.Map;
import java.util.Optional;
import java.util.Set;

/**
 * Watches tokens come and go ({@link Cryptoki#watchSlots()}), for modules that tell of events and for those that have
 * to be asked slot by slot. For one thread at a time.
 */
public final class SlotWatch {
    private final Cryptoki cryptoki;
    private Map<TokenSlot, Boolean> presence;

    SlotWatch(Cryptoki cryptoki) {
        this.cryptoki = cryptoki;
        presence = look();
    }

    /**
     * Asks whether a token has come or gone since the last time, without waiting.
     *
     * @return a slot where it happened, or empty when nothing has happened
     * @throws CryptokiException when the module fails
     * @throws IllegalStateException when the module is closed
     */
    public Optional<TokenSlot> poll() {
        Optional<TokenSlot> event = eventOfModule();
        if (event.isPresent()) {
            presence = look();
            return event;
        }
        Map<TokenSlot, Boolean> now = look();
        Set<TokenSlot> slots = new LinkedHashSet<>(presence.keySet());
        slots.addAll(now.keySet());
        for (TokenSlot slot : slots) {
            boolean present = now.getOrDefault(slot, false);
            if (present != presence.getOrDefault(slot, false)) {
                presence.put(slot, present); // the others are left for the next time
                return Optional.of(slot);
            }
        }
        return Optional.empty();
    }

    /**
     * Waits until a token comes or goes, but not longer than a while. The module is asked a few times a second and is
     * free for others in between.
     *
     * @param timeout how long to wait
     * @return a slot where it happened, or empty when nothing has happened
     * @throws InterruptedException when the thread is interrupted
     * @throws CryptokiException when the module fails
     * @throws IllegalStateException when the module is closed, or was meanwhile
     */
    public Optional<TokenSlot> await(Duration timeout) throws InterruptedException {
        return Cryptoki.poll(this::poll, timeout);
    }

    private Optional<TokenSlot> eventOfModule() {
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
