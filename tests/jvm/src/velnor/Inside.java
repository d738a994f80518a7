package velnor;

import java.lang.reflect.Field;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

/** What the surface keeps to itself about a session, for tests of what the token is given. */
public final class Inside {
    private Inside() {
    }

    /** The handle that the token gave the session. */
    public static long handle(Session session) {
        return handleOf(session).handle();
    }

    /** How many sessions of the session's module are open. */
    public static int openSessions(Session session) {
        return handleOf(session).module().sessions().size();
    }

    /** Whether the session's module has the function. */
    public static boolean has(Session session, Function function) {
        return handleOf(session).module().has(function);
    }

    /** Cancels operations of the session, as far as the token goes. */
    public static void cancel(Session session, int flags) {
        handleOf(session).require(Function.SESSION_CANCEL, (module, handle) -> NativeFunctions.numbers(module,
                Function.SESSION_CANCEL.index(), handle, flags));
    }

    private static SessionHandle handleOf(Session session) {
        try {
            Field handle = Session.class.getDeclaredField("handle");
            handle.setAccessible(true);
            return (SessionHandle) handle.get(session);
        } catch (ReflectiveOperationException e) {
            throw new AssertionError(e);
        }
    }
}
