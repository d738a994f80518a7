package velnor;

import java.lang.reflect.Field;
import java.util.Collection;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.stream.Collectors;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

/** What the surface keeps to itself about modules and sessions, for tests of what the token is given. */
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

    /** The monitor of whose turn it is to call the session's module. */
    public static Object turn(Session session) {
        return handleOf(session).turn();
    }

    /** The monitor of whose turn it is to call the module without a session, where calls are one at a time. */
    public static Object turn(Cryptoki cryptoki) {
        return value(cryptoki.module(), "turn");
    }

    /**
     * Tells what the calling thread, which is inside a module, holds too little or too much of: for a module that is
     * the only one. Empty when all is as it should be.
     *
     * @param handle of the session that the call is with; null for a call without one
     */
    public static String faultsOfCall(Long handle) {
        Map<?, ?> initialized = (Map<?, ?>) staticValue(LoadedModule.class, "initialized");
        List<LoadedModule> modules = initialized.values().stream().filter(Objects::nonNull)
                .map(LoadedModule.class::cast).collect(Collectors.toList());
        if (modules.isEmpty()) {
            return "no module is open";
        }
        LoadedModule module = modules.get(0);
        StringBuilder faults = new StringBuilder();
        if (!module.isConcurrent() && !Thread.holdsLock(value(module, "turn"))) {
            faults.append("without the module's turn;");
        }
        if (handle == null && (Integer) value(module, "inside") == 0) {
            faults.append("nobody is counted inside the module;");
        }
        if (handle != null) {
            List<SessionHandle> all = ((Collection<?>) value(module, "sessions")).stream()
                    .map(SessionHandle.class::cast).filter(session -> session.handle() == handle)
                    .collect(Collectors.toList());
            if (all.stream().noneMatch(session -> Thread.holdsLock(session.turn()) && session.isBusy())) {
                faults.append("without the session's turn, or not counted inside;");
            }
            all.stream().filter(session -> Thread.holdsLock(value(session, "stateGate")))
                    .forEach(session -> faults.append("holds the gate of the session's state;"));
        }
        for (Object quick : List.of(value(module, "gate"), value(module, "sessions"), initialized)) {
            if (Thread.holdsLock(quick)) {
                faults.append("holds what is held for some instructions only;");
            }
        }
        return faults.toString();
    }

    private static Object value(Object owner, String field) {
        return value(owner.getClass(), owner, field);
    }

    private static Object staticValue(Class<?> owner, String field) {
        return value(owner, null, field);
    }

    private static Object value(Class<?> type, Object owner, String name) {
        try {
            Field field = type.getDeclaredField(name);
            field.setAccessible(true);
            return field.get(owner);
        } catch (ReflectiveOperationException e) {
            throw new AssertionError(e);
        }
    }

    private static SessionHandle handleOf(Session session) {
        return (SessionHandle) value(session, "handle");
    }
}
