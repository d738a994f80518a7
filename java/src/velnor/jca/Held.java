package velnor.jca;

import velnor.CryptokiException;

/**
 * A session that an operation of several parts holds until it ends. The cleaner ends it for whoever drops the operation
 * midway, so nothing here leads to the object that the program has.
 */
final class Held implements Runnable {
    private final Token token;
    private PooledSession session;
    private AutoCloseable operation;

    Held(Token token) {
        this.token = token;
    }

    /** Begins to hold a session. */
    synchronized PooledSession begin() {
        end();
        session = token.take();
        return session;
    }

    /** What goes on in the session, to be closed with it. */
    synchronized void holds(AutoCloseable begun) {
        operation = begun;
    }

    /** Ends what goes on, and gives the session back. */
    synchronized void end() {
        if (session == null) {
            return;
        }
        try {
            if (operation != null) {
                operation.close();
            }
        } catch (CryptokiException e) {
            token.noted(e);
            session.close();
        } catch (RuntimeException closed) {
            session.close();
        } catch (Exception impossible) {
            throw new AssertionError(impossible);
        } finally {
            operation = null;
            PooledSession given = session;
            session = null;
            token.sessions().giveBack(given);
        }
    }

    @Override
    public void run() {
        end();
    }
}
