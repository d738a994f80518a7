package harlune.jca;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Bridge;
import harlune.support.ScriptedModule;

import java.security.ProviderException;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Session;
import velnor.TokenSlot;
import velnor.jca.Pool;

/** Sessions of a token that does not allow any number of them. */
class SessionPoolTest {
    private static final long PATIENCE = 20_000;

    private Cryptoki cryptoki;
    private TokenSlot slot;

    @BeforeEach
    void open() {
        Bridge.load();
        ScriptedModule.reset();
        cryptoki = Cryptoki.open(ScriptedModule.PATH);
        slot = cryptoki.slots().get(0);
    }

    @AfterEach
    void close() {
        cryptoki.close();
    }

    private static long opened() {
        return ScriptedModule.journal().stream().filter(line -> line.contains("C_OpenSession")).count();
    }

    @Test
    void aSessionIsUsedAgain() {
        Pool pool = new Pool(slot, 0, PATIENCE);
        Pool.Taken first = pool.take();
        Session session = first.session();
        first.giveBack();
        assertSame(session, pool.take().session());
        assertNotSame(session, pool.take().session());
        assertEquals(2, opened());
    }

    @Test
    void whoComesLateWaits() throws Exception {
        Pool pool = new Pool(slot, 1, PATIENCE);
        Pool.Taken first = pool.take();
        CompletableFuture<Pool.Taken> second = CompletableFuture.supplyAsync(pool::take);
        Thread.sleep(200);
        assertFalse(second.isDone());
        first.giveBack();
        assertSame(first.session(), second.get(PATIENCE, TimeUnit.MILLISECONDS).session());
        assertEquals(1, opened());
    }

    @Test
    void nobodyWaitsForEver() {
        Pool pool = new Pool(slot, 1, 300);
        Pool.Taken first = pool.take();
        ProviderException none = assertThrows(ProviderException.class, pool::take);
        assertTrue(none.getMessage().contains("allows 1 session"), none::getMessage);
        first.giveBack();
        pool.take();
        Thread.currentThread().interrupt();
        assertThrows(ProviderException.class, pool::take);
        assertTrue(Thread.interrupted(), "the interrupt is still there");
    }

    @Test
    void aTokenThatSaysSoOnlyThenIsBelieved() throws Exception {
        Pool pool = new Pool(slot, 0, PATIENCE);
        Pool.Taken first = pool.take();
        ScriptedModule.answer("C_OpenSession CKR_SESSION_COUNT");
        CompletableFuture<Pool.Taken> second = CompletableFuture.supplyAsync(pool::take);
        Thread.sleep(200);
        assertFalse(second.isDone());
        first.giveBack();
        assertSame(first.session(), second.get(PATIENCE, TimeUnit.MILLISECONDS).session());
        assertEquals(2, opened(), "the one that was refused among them");

        Pool other = new Pool(slot, 0, PATIENCE);
        ScriptedModule.answer("C_OpenSession CKR_SESSION_COUNT");
        assertEquals(CKR.SESSION_COUNT, assertThrows(CryptokiException.class, other::take).code(),
                "with none of its own there is nothing to wait for");
        assertTrue(other.take().session().isOpen());
    }

    @Test
    void aTokenThatCannotBeWrittenIsRead() {
        ScriptedModule.answer("C_OpenSession CKR_TOKEN_WRITE_PROTECTED");
        assertTrue(new Pool(slot, 0, PATIENCE).take().session().isOpen());
    }

    @Test
    void idleSessionsAreClosedUnlessAKeyNeedsThem() {
        Pool pool = new Pool(slot, 0, PATIENCE);
        List<Pool.Taken> all = new ArrayList<>();
        for (int i = 0; i < 30; i++) {
            all.add(pool.take());
        }
        all.get(29).keepFor();
        all.forEach(Pool.Taken::giveBack);
        assertEquals(17, all.stream().filter(taken -> taken.session().isOpen()).count(), "sixteen, and a kept one");
        assertTrue(all.get(29).session().isOpen());
    }

    @Test
    void afterALossNothingOldIsUsed() {
        Pool pool = new Pool(slot, 2, PATIENCE);
        Pool.Taken idle = pool.take();
        Pool.Taken used = pool.take();
        idle.giveBack();
        pool.beginAnew();
        assertFalse(idle.session().isOpen());
        assertTrue(used.session().isOpen(), "somebody works with it");
        used.giveBack();
        assertFalse(used.session().isOpen());
        Session[] fresh = {pool.take().session(), pool.take().session()};
        assertTrue(fresh[0].isOpen() && fresh[1].isOpen(), "the count is right again");
    }
}
