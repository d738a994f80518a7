package velnor.jca;

import velnor.Session;
import velnor.TokenInfo;
import velnor.TokenSlot;
import velnor.Version;

/** The pool of sessions, for tests to look at from outside of its package. */
public final class Pool {
    private final SessionPool pool;

    /** One taken from it. */
    public final class Taken {
        private final PooledSession session = pool.take();

        public Session session() {
            return session.session();
        }

        public void keepFor() {
            session.keepFor();
        }

        public void giveBack() {
            pool.giveBack(session);
        }
    }

    /** Makes the pool of a token that tells how many sessions it allows. */
    public Pool(TokenSlot slot, int most, long patience) {
        Version none = new Version(0, 0);
        pool = new SessionPool(slot, new TokenInfo("", "", "", "", 0, most, 0, 0, 0, 0, 0, 0, 0, 0, none, none, ""),
                patience);
    }

    public Taken take() {
        return new Taken();
    }

    public void beginAnew() {
        pool.beginAnew();
    }
}
