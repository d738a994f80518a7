package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

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
        int before = ScriptedModule.blocked();
        ScriptedModule.answer("C_GetInfo block");
        start(cryptoki::info);
        while (ScriptedModule.blocked() == before) {
            Thread.sleep(1);
        }
    }

    /** The thread must come to wait for another one in Java. */
    private static void assertWaits(Thread thread) throws InterruptedException {
        Set<Thread.State> waiting = Set.of(Thread.State.WAITING, Thread.State.BLOCKED);
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

    @ParameterizedTest
    @EnumSource(Threading.class)
    void sessionsAreOpenedAndClosedAlone(Threading threading) throws InterruptedException {
        open(threading);
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        ScriptedModule.clearJournal();
        for (Runnable call : List.<Runnable>of(() -> session.slot().openSession(), session::close,
                session.slot()::closeAllSessions, () -> session.slot().initToken("87654321", "label"))) {
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
