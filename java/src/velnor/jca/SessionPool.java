package velnor.jca;

import java.security.ProviderException;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.List;
import java.util.concurrent.TimeUnit;

import velnor.CKR;
import velnor.CryptokiException;
import velnor.Session;
import velnor.TokenInfo;
import velnor.TokenSlot;

/**
 * The sessions with one token: as many as there are operations at the same time, and never more than the token allows.
 * Whoever wants one more waits for another to be given back.
 */
final class SessionPool {
    /** Sessions that stay open although nobody uses them: a login lasts only as long as one is open. */
    private static final int MOST_IDLE = 16;
    private static final int UNLIMITED = Integer.MAX_VALUE;

    private final TokenSlot slot;
    private final long patience;
    private final Object lock = new Object();
    /** The one that was given back last comes first. */
    private final Deque<PooledSession> idle = new ArrayDeque<>();
    private int open;
    private int most;
    private int era;

    /**
     * Makes a pool without a session.
     *
     * @param patience how many milliseconds to wait for a session that somebody else has
     */
    SessionPool(TokenSlot slot, TokenInfo token, long patience) {
        this.slot = slot;
        this.patience = patience;
        most = Math.min(limit(token.maxSessionCount()), limit(token.maxRwSessionCount()));
    }

    /** Zero stands for no limit in PKCS#11, and ~0 for one that is not told. */
    private static int limit(int told) {
        return told <= 0 ? UNLIMITED : told;
    }

    /** How often the sessions were lost, or their login. */
    int era() {
        synchronized (lock) {
            return era;
        }
    }

    /**
     * Takes a session, for the caller alone, who gives it back.
     *
     * @throws ProviderException when the token allows no more, and nobody gives one back for long
     */
    PooledSession take() {
        long end = System.nanoTime() + TimeUnit.MILLISECONDS.toNanos(patience);
        boolean collected = false;
        for (;;) {
            int now;
            synchronized (lock) {
                PooledSession session = takeIdle();
                if (session != null) {
                    return session;
                }
                if (open < most) {
                    open++;
                    now = era;
                } else {
                    long left = TimeUnit.NANOSECONDS.toMillis(end - System.nanoTime());
                    if (left <= 0) {
                        throw new ProviderException("The token allows " + most + " sessions, and all are in use");
                    }
                    if (!collected) {
                        // Operations that were dropped midway have sessions, too.
                        System.gc();
                        collected = true;
                    }
                    await(left);
                    continue;
                }
            }
            PooledSession session = open(now);
            if (session != null) {
                return session;
            }
        }
    }

    private PooledSession takeIdle() {
        for (PooledSession session = idle.pollFirst(); session != null; session = idle.pollFirst()) {
            if (session.isOpen()) {
                return session;
            }
            open--;
        }
        return null;
    }

    private void await(long millis) {
        try {
            lock.wait(millis);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
            throw new ProviderException("Interrupted while waiting for a session with the token", e);
        }
    }

    /** Opens a session that is counted already; null when the token says that there are enough. */
    private PooledSession open(int now) {
        boolean opened = false;
        try {
            PooledSession session = new PooledSession(openSession(), now);
            opened = true;
            return session;
        } catch (CryptokiException e) {
            synchronized (lock) {
                if (e.code() != CKR.SESSION_COUNT || open == 1) {
                    throw e;
                }
                most = open - 1;
            }
            return null;
        } finally {
            if (!opened) {
                synchronized (lock) {
                    open--;
                    lock.notifyAll();
                }
            }
        }
    }

    private Session openSession() {
        try {
            return slot.openSession();
        } catch (CryptokiException e) {
            if (e.code() == CKR.TOKEN_WRITE_PROTECTED) {
                return slot.openReadOnlySession();
            }
            throw e;
        }
    }

    /** Gives a session back in which nothing goes on. */
    void giveBack(PooledSession session) {
        boolean stays;
        synchronized (lock) {
            stays = session.era() == era && session.isOpen() && (idle.size() < MOST_IDLE || session.isKept());
            if (stays) {
                idle.addFirst(session);
            } else {
                open--;
            }
            lock.notifyAll();
        }
        if (!stays) {
            session.close();
        }
    }

    /**
     * Begins anew, after the token was pulled or logged out: sessions that lie here are closed now, those in use when
     * they are given back.
     */
    void beginAnew() {
        List<PooledSession> old;
        synchronized (lock) {
            era++;
            old = new ArrayList<>(idle);
            open -= old.size();
            idle.clear();
            lock.notifyAll();
        }
        old.forEach(PooledSession::close);
    }
}
