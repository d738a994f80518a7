package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;

import velnor.CKM;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Digester;
import velnor.Mechanism;
import velnor.Session;
import velnor.Threading;
import velnor.TokenSlot;

/** Which calls meet inside the module, and which wait for each other. */
@Timeout(60)
class CallsTest {
    private final List<Thread> threads = new ArrayList<>();
    private Cryptoki cryptoki;

    private void open(Threading threading) {
        cryptoki = Surface.scripted(threading);
    }

    @AfterEach
    void close() throws InterruptedException {
        for (Thread thread : threads) {
            while (thread.isAlive()) {
                ScriptedModule.release();
                thread.join(1);
            }
        }
        cryptoki.close();
        assertEquals(List.of(), ScriptedModule.unused());
    }

    /** Starts a call in a thread of its own. */
    private Thread start(Runnable call) {
        Thread thread = new Thread(call);
        threads.add(thread);
        thread.start();
        return thread;
    }

    /** Starts a call that stays inside the module. */
    private void startBlocked() throws InterruptedException {
        startBlocked("C_GetInfo", cryptoki::info);
    }

    private void startBlocked(String function, Runnable call) throws InterruptedException {
        int before = ScriptedModule.blocked();
        ScriptedModule.answer(function + " block");
        start(call);
        while (ScriptedModule.blocked() == before) {
            Thread.sleep(1);
        }
    }

    /** The thread must come to wait for another one in Java. */
    private static void assertWaits(Thread thread) throws InterruptedException {
        Set<Thread.State> waiting = Set.of(Thread.State.WAITING, Thread.State.TIMED_WAITING, Thread.State.BLOCKED);
        while (!waiting.contains(thread.getState())) {
            assertTrue(thread.isAlive(), "the call did not wait");
            Thread.sleep(1);
        }
    }

    @Test
    void serializedCallsAreOneAtATime() throws InterruptedException {
        open(Threading.SERIALIZED);
        startBlocked();
        Thread second = start(cryptoki::info);
        assertWaits(second);
        assertEquals(1, ScriptedModule.blocked());
        assertEquals(List.of(), ScriptedModule.journal());
        ScriptedModule.release();
        second.join();
        assertEquals(2, ScriptedModule.journal().size());
    }

    @Test
    void concurrentCallsMeet() throws InterruptedException {
        open(Threading.CONCURRENT);
        startBlocked();
        startBlocked();
        assertEquals(2, ScriptedModule.blocked());
        cryptoki.info();
    }

    private static List<Runnable> sessionCalls(Session session) {
        return List.of(() -> session.slot().openSession(), session::close, session.slot()::closeAllSessions,
                () -> session.slot().initToken("87654321", "label"));
    }

    @Test
    void sessionsAreOpenedAndClosedOneAtATimeWhereCallsAre() throws InterruptedException {
        open(Threading.SERIALIZED);
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        ScriptedModule.clearJournal();
        for (Runnable call : sessionCalls(session)) {
            startBlocked();
            ScriptedModule.clearJournal();
            Thread waiting = start(call);
            assertWaits(waiting);
            assertEquals(List.of(), ScriptedModule.journal());
            ScriptedModule.release();
            waiting.join();
            assertTrue(ScriptedModule.journal().get(0).startsWith("C_GetInfo"), ScriptedModule.journal()::toString);
            assertTrue(ScriptedModule.journal().size() > 1, ScriptedModule.journal()::toString);
        }
    }

    /** A call that does not come back: of the module, and of a session with another token and of one with the same. */
    @Test
    void aStuckCallStopsNoOther() throws InterruptedException {
        open(Threading.CONCURRENT);
        TokenSlot slot = cryptoki.slotsWithToken().get(0);
        Session stuck = slot.openSession();
        Session session = slot.openSession();
        startBlocked();
        startBlocked("C_GenerateRandom", () -> stuck.random(8));
        for (Runnable call : sessionCalls(session).subList(0, 2)) {
            call.run();
        }
        try (Session another = slot.openSession(); Digester digester = another.digester(new Mechanism(CKM.MD5))) {
            digester.update(new byte[3]);
            assertEquals(8, another.random(8).length);
        }
        assertEquals(2, ScriptedModule.blocked());
    }

    @Test
    void callsWithOneSessionTakeTurns() throws InterruptedException {
        open(Threading.CONCURRENT);
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        startBlocked("C_GenerateRandom", () -> session.random(8));
        Thread second = start(() -> session.random(8));
        assertWaits(second);
        Thread closing = start(session::close);
        assertWaits(closing);
        assertEquals(1, ScriptedModule.blocked());
        ScriptedModule.release();
        closing.join();
        assertFalse(session.isOpen());
    }

    @ParameterizedTest
    @EnumSource(Threading.class)
    void closingAllSessionsWaitsForThemAlone(Threading threading) throws InterruptedException {
        open(threading);
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        startBlocked("C_GenerateRandom", () -> session.random(8));
        ScriptedModule.clearJournal();
        Thread closing = start(session.slot()::closeAllSessions);
        assertWaits(closing);
        assertEquals(List.of(), ScriptedModule.journal());
        ScriptedModule.release();
        closing.join();
        assertFalse(session.isOpen());
    }

    /** A session that comes or goes while the token closes all would be one that it has no more: SoftHSM crashes then. */
    @Test
    void closingAllSessionsKeepsOffThoseThatComeAndGo() throws InterruptedException {
        open(Threading.CONCURRENT);
        TokenSlot slot = cryptoki.slotsWithToken().get(0);
        Session session = slot.openSession();
        assertWaitsFor("C_CloseSession", session::close, slot::closeAllSessions);
        assertWaitsFor("C_OpenSession", slot::openSession, slot::closeAllSessions);
        assertWaitsFor("C_CloseAllSessions", slot::closeAllSessions, slot::openSession);
        assertWaitsFor("C_CloseAllSessions", slot::closeAllSessions, slot::closeAllSessions);
    }

    private void assertWaitsFor(String function, Runnable call, Runnable other) throws InterruptedException {
        startBlocked(function, call);
        ScriptedModule.clearJournal();
        Thread waiting = start(other);
        assertWaits(waiting);
        assertEquals(List.of(), ScriptedModule.journal());
        ScriptedModule.release();
        waiting.join();
    }

    @ParameterizedTest
    @EnumSource(Threading.class)
    void closingGivesUpAfterItsTime(Threading threading) throws InterruptedException {
        open(threading);
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        startBlocked("C_GenerateRandom", () -> session.random(8));
        for (Duration limit : List.of(Duration.ZERO, Duration.ofMillis(20), Duration.ofSeconds(Long.MIN_VALUE))) {
            IllegalStateException e = assertThrows(IllegalStateException.class, () -> cryptoki.close(limit));
            assertTrue(e.getMessage().contains("open as before") && e.getMessage().contains("1 call"), e.getMessage());
            assertTrue(cryptoki.isOpen() && session.isOpen());
        }
        ScriptedModule.release();
        assertEquals("Scripted module", cryptoki.info().libraryDescription());
        cryptoki.close(Duration.ofSeconds(Long.MAX_VALUE));
        assertFalse(cryptoki.isOpen());
        cryptoki.close(Duration.ZERO);
    }

    /** What was given up while nothing entered is taken from the token by the next operation. */
    @Test
    void anOperationThatIsClosedMeanwhileIsInNobodysWay() throws InterruptedException {
        open(Threading.CONCURRENT);
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        Digester digester = session.digester(new Mechanism(CKM.MD5));
        digester.update(new byte[3]);
        startBlocked();
        Thread closing = start(() -> assertThrows(IllegalStateException.class,
                () -> cryptoki.close(Duration.ofMillis(500))));
        assertWaits(closing);
        digester.close();
        closing.join();
        assertEquals(16, session.digest(new Mechanism(CKM.MD5), new byte[3]).length);
    }

    /** Between the begin of closing and C_Finalize nothing enters. */
    @Test
    void whatComesWhileTheModuleIsBeingClosedIsRefused() throws InterruptedException {
        open(Threading.CONCURRENT);
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        startBlocked();
        Thread closing = start(cryptoki::close);
        assertWaits(closing);
        ScriptedModule.clearJournal();
        for (Runnable call : List.<Runnable>of(cryptoki::info, () -> session.random(1), session.slot()::openSession)) {
            IllegalStateException e = assertThrows(IllegalStateException.class, call::run);
            assertTrue(e.getMessage().endsWith("is being closed"), e.getMessage());
        }
        session.close();
        assertEquals(List.of(), ScriptedModule.journal());
        ScriptedModule.release();
        closing.join();
        assertTrue(ScriptedModule.journal().get(1).startsWith("C_Finalize"), ScriptedModule.journal()::toString);
    }

    @ParameterizedTest
    @EnumSource(Threading.class)
    void closingWaitsForWhatIsUnderWay(Threading threading) throws InterruptedException {
        open(threading);
        startBlocked();
        Thread closing = start(cryptoki::close);
        assertWaits(closing);
        assertTrue(cryptoki.isOpen());
        ScriptedModule.release();
        closing.join();
        assertFalse(cryptoki.isOpen());
    }

    @Test
    void aCallThatFailsLetsTheNextOneIn() {
        open(Threading.SERIALIZED);
        ScriptedModule.answer("C_GetInfo CKR_DEVICE_ERROR");
        start(() -> {
            try {
                cryptoki.info();
            } catch (CryptokiException expected) {
                Thread.yield();
            }
        });
        while (ScriptedModule.journal().isEmpty()) {
            Thread.onSpinWait();
        }
        assertEquals("Scripted module", cryptoki.info().libraryDescription());
    }

    @Test
    void whetherASessionIsOpenIsToldWhileTheModuleIsBusy() throws InterruptedException {
        open(Threading.SERIALIZED);
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        startBlocked();
        assertTrue(session.isOpen() && cryptoki.isOpen());
    }

    @ParameterizedTest
    @EnumSource(Threading.class)
    void aFullStackLeavesNothingLocked(Threading threading) throws InterruptedException {
        open(threading);
        TokenSlot slot = cryptoki.slotsWithToken().get(0);
        Thread deep = new Thread(null, () -> {
            for (int i = 0; i < 8; i++) {
                try (Session session = slot.openSession()) {
                    digestAtEveryDepth(session);
                } catch (StackOverflowError expected) {
                    ScriptedModule.clearJournal();
                }
            }
        }, "deep", 1 << 18);
        deep.start();
        deep.join();
        Thread other = start(() -> slot.openSession().close());
        other.join(10_000);
        assertFalse(other.isAlive(), "another thread does not get in");
    }

    private static void digestAtEveryDepth(Session session) {
        try (Digester digester = session.digester(new Mechanism(CKM.MD5))) {
            digester.update(new byte[3]);
            digester.digest();
        }
        digestAtEveryDepth(session);
    }
}
