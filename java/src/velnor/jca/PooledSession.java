package velnor.jca;

import java.util.concurrent.atomic.AtomicInteger;

import velnor.CryptokiException;
import velnor.Session;

/** A session of a {@link SessionPool}, with what would be lost if it were closed. */
final class PooledSession {
    private final Session session;
    /** Which of the pool's sessions this is among: those from before a loss are not used again. */
    private final int era;
    private final AtomicInteger keys = new AtomicInteger();

    PooledSession(Session session, int era) {
        this.session = session;
        this.era = era;
    }

    Session session() {
        return session;
    }

    int era() {
        return era;
    }

    /** A key is reached through the session, which has to stay open for it. */
    void keepFor() {
        keys.incrementAndGet();
    }

    /** The key is no longer used. */
    void keepNoLonger() {
        keys.decrementAndGet();
    }

    boolean isKept() {
        return keys.get() > 0;
    }

    boolean isOpen() {
        return session.isOpen();
    }

    /** Closes the session; one that the token knows no longer is none the worse for that. */
    void close() {
        try {
            session.close();
        } catch (CryptokiException gone) {
            // It counts as closed all the same.
        }
    }
}
