package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import com.sun.jna.NativeLibrary;

import harlune.support.Bridge;
import harlune.support.Tokens;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import java.util.function.BooleanSupplier;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.CryptokiException;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSlot;

/** A smart card is pulled out of its reader and put back while an application watches. */
class SlotEventsTest {
    private static final int BLOCK = 0;
    private static final Path CARD = Path.of(System.getenv("CARD_CONTROL"));
    private static final Duration PATIENCE = Duration.ofSeconds(30);
    private static final String WAITING_THREAD = "event waiter";

    private NativeCryptoki cryptoki;
    private NativeSlot slot;
    private boolean finalized;

    @BeforeEach
    void watchTheCard() throws IOException, InterruptedException {
        cryptoki = Bridge.initialize(Tokens.MODULE);
        slot = Tokens.slot(cryptoki, Tokens.LABEL);
        // The module begins with the news that there is a card.
        assertEquals(slot, nextEvent());
        assertNoEvent();
    }

    @AfterEach
    void putTheCardBack() throws IOException, InterruptedException {
        card("insert");
        if (!finalized) {
            await(this::isCardPresent);
            cryptoki.Finalize(null);
        }
    }

    private static void card(String command) throws IOException {
        Files.writeString(CARD, command + "\n");
    }

    private static void await(BooleanSupplier condition) throws InterruptedException {
        long end = System.nanoTime() + PATIENCE.toNanos();
        while (!condition.getAsBoolean()) {
            assertTrue(System.nanoTime() < end, "It did not happen in time");
            Thread.sleep(20);
        }
    }

    private void assertNoEvent() {
        assertRefused("J_WaitForSlotEvent", CKR_NO_EVENT, "NO EVENT",
                () -> cryptoki.WaitForSlotEvent(CKF_DONT_BLOCK, null));
    }

    /** Asks for an event, without being blocked, until there is one. */
    private NativeSlot nextEvent() throws InterruptedException {
        NativeSlot[] found = {null};
        await(() -> {
            try {
                found[0] = cryptoki.WaitForSlotEvent(CKF_DONT_BLOCK, null);
            } catch (CryptokiException e) {
                assertEquals(CKR_NO_EVENT, e.code(), e::getMessage);
            }
            return found[0] != null;
        });
        return found[0];
    }

    private boolean isCardPresent() {
        return (slot.J_GetSlotInfo().flags() & CKF_TOKEN_PRESENT) != 0;
    }

    private void assertThereIsNoCard() {
        assertEquals(0, cryptoki.GetSlotList(true).length);
        assertFalse(isCardPresent());
        assertRefused("J_GetTokenInfo", CKR_TOKEN_NOT_PRESENT, "TOKEN NOT PRESENT", slot::J_GetTokenInfo);
        assertRefused("J_OpenSession", CKR_TOKEN_NOT_PRESENT, "TOKEN NOT PRESENT",
                () -> slot.J_OpenSession(CKF_SERIAL_SESSION));
    }

    private void assertThereIsTheCard() {
        assertArrayEquals(new NativeSlot[] {slot}, cryptoki.GetSlotList(true));
        assertTrue(isCardPresent());
        assertEquals(Tokens.LABEL, slot.J_GetTokenInfo().label());
    }

    @Test
    void theReaderIsASlotWithOrWithoutACard() throws IOException, InterruptedException {
        NativeSlot[] readers = cryptoki.GetSlotList(false);
        assertTrue(Arrays.asList(readers).contains(slot));
        assertThereIsTheCard();
        card("pull");
        await(() -> !isCardPresent());
        assertThereIsNoCard();
        assertArrayEquals(readers, cryptoki.GetSlotList(false));
    }

    @Test
    void pullingAndInsertingAreAnEventEach() throws IOException, InterruptedException {
        for (int i = 0; i < 2; i++) {
            card("pull");
            assertEquals(slot, nextEvent());
            assertNoEvent();
            assertThereIsNoCard();

            card("insert");
            assertEquals(slot, nextEvent());
            assertNoEvent();
            assertThereIsTheCard();
        }
    }

    // Waiting

    /** Lets a thread wait for an event; returns when it sleeps in the module. */
    private FutureTask<NativeSlot> waiter() throws InterruptedException {
        FutureTask<NativeSlot> event = new FutureTask<>(() -> cryptoki.WaitForSlotEvent(BLOCK, null));
        Thread thread = new Thread(event, WAITING_THREAD);
        thread.setDaemon(true);
        thread.start();
        awaitSleep(thread);
        assertFalse(event.isDone());
        return event;
    }

    /** A thread that the system has not run for half a second is not just on its way into the module. */
    private static void awaitSleep(Thread thread) throws InterruptedException {
        List<String> before;
        List<String> now = List.of();
        do {
            Thread.sleep(500);
            assertTrue(thread.isAlive(), "The wait is over before it was ended");
            before = now;
            now = switches(thread);
        } while (!now.equals(before));
    }

    /** How often the thread has gone to sleep, and what it does now. */
    private static List<String> switches(Thread thread) {
        for (File task : new File("/proc/self/task").listFiles()) {
            try {
                if (Files.readString(task.toPath().resolve("comm")).strip().equals(thread.getName())) {
                    return Files.readAllLines(task.toPath().resolve("status")).stream()
                            .filter(line -> line.matches("(State|.*ctxt_switches):.*")).toList();
                }
            } catch (IOException e) {
                // Another thread that has just ended.
            }
        }
        return fail("The system has no thread " + thread.getName());
    }

    private static NativeSlot result(FutureTask<NativeSlot> event)
            throws InterruptedException, ExecutionException, TimeoutException {
        return event.get(PATIENCE.toSeconds(), TimeUnit.SECONDS);
    }

    @Test
    void pullingEndsTheWait() throws Exception {
        FutureTask<NativeSlot> event = waiter();
        card("pull");
        assertEquals(slot, result(event));
        assertThereIsNoCard();
    }

    @Test
    void insertingEndsTheWait() throws Exception {
        card("pull");
        assertEquals(slot, nextEvent());
        FutureTask<NativeSlot> event = waiter();
        card("insert");
        assertEquals(slot, result(event));
        assertThereIsTheCard();
    }

    @Test
    void aWaitHoldsNobodyUp() throws Exception {
        FutureTask<NativeSlot> event = waiter();
        System.gc();
        assertThereIsTheCard();
        slot.J_OpenSession(CKF_SERIAL_SESSION, CKU_USER, Tokens.PIN);
        slot.J_CloseAllSessions();
        assertFalse(event.isDone());
        card("pull");
        assertEquals(slot, result(event));
    }

    /**
     * The module must stay mapped for that: {@code Finalize} would close it while the waiting thread is still on its
     * way out. And the thread must sleep: finalised while a thread is on its way into the wait, OpenSC crashes.
     */
    @Test
    void finalizeEndsTheWait() throws Exception {
        NativeLibrary mapped = NativeLibrary.getInstance(Tokens.MODULE);
        FutureTask<NativeSlot> event = waiter();
        cryptoki.Finalize(null);
        finalized = true;
        assertRefused("J_WaitForSlotEvent", CKR_CRYPTOKI_NOT_INITIALIZED, "CRYPTOKI NOT INITIALIZED", () -> {
            try {
                result(event);
            } catch (ExecutionException e) {
                throw e.getCause();
            }
        });
        mapped.close();
    }
}
