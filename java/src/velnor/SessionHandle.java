package velnor;

import java.util.List;
import java.util.Objects;
import java.util.stream.Collectors;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

/**
 * A session of the module: its handle, whether it is open, what operations go on in it, and the way into the module
 * with it. {@link LoadedModule} tells how calls come in and in which order locks are taken. Whoever has a {@link #turn}
 * of its own to hold ({@link Operation}) counts itself in {@link #inside} as {@link #call} does.
 */
final class SessionHandle {
    /** A call with a session. */
    interface Call<T> {
        T with(long module, long session);
    }

    /** A call with a session that gives the module's answer. */
    interface AnsweredCall {
        int with(long module, long session);
    }

    /** CLOSING refuses calls, and becomes OPEN again when the token refuses to close the session. */
    private enum State { OPEN, CLOSING, CLOSED }

    private final TokenSlot slot;
    private final LoadedModule module;
    private final Object turn;
    private final Object stateGate = new Object();
    /** Set once, before anybody else knows the session. */
    private long handle;
    private volatile State state = State.OPEN;
    /** How many calls of the thread that has the turn are inside. Only that thread writes, closing threads read. */
    volatile int inside;
    /**
     * What goes on in the token, of each kind at most one as the standard has it: an operation that was begun in place
     * of another one, by a token that lets it, would go on with that one's data. For whoever has the turn.
     */
    private final Operation[] running = new Operation[OperationKind.COUNT];
    /** Where their parameters lie, whoever has forgotten the operations themselves; for whoever has the turn. */
    private final HeldParameter[] parameters = new HeldParameter[2 * OperationKind.COUNT];

    private SessionHandle(TokenSlot slot, LoadedModule module) {
        this.slot = slot;
        this.module = module;
        turn = module.turnFor(this);
    }

    /** Opens a session. */
    static SessionHandle open(TokenSlot slot, LoadedModule module, long flags) {
        SessionHandle session = new SessionHandle(slot, module);
        return module.callToOpen(id -> {
            long[] handle = new long[1];
            boolean opened = false;
            module.add(session);
            try {
                Answers.require(Function.OPEN_SESSION, NativeFunctions.openSession(id, slot.id(), flags, handle));
                session.handle = handle[0];
                opened = true;
                return session;
            } finally {
                if (!opened) {
                    module.remove(session);
                }
            }
        });
    }

    /** Closes all sessions with the token in a slot, when what goes on in them has come back. */
    static void closeAll(TokenSlot slot, LoadedModule module) {
        module.<Void>callToCloseAll(id -> {
            List<SessionHandle> all = module.sessions().stream().filter(session -> session.slot.equals(slot))
                    .collect(Collectors.toList());
            List<SessionHandle> closing = all.stream().filter(session -> session.become(State.OPEN, State.CLOSING))
                    .collect(Collectors.toList());
            State end = State.OPEN;
            try {
                LoadedModule.waitUntil(() -> all.stream().noneMatch(SessionHandle::isBusy), () -> false);
                Answers.require(Function.CLOSE_ALL_SESSIONS,
                        NativeFunctions.number(id, Function.CLOSE_ALL_SESSIONS.index(), slot.id()));
                end = State.CLOSED;
            } finally {
                for (SessionHandle session : closing) {
                    session.state = end;
                }
                if (end == State.CLOSED) {
                    for (SessionHandle session : all) {
                        session.releaseParameters();
                        module.remove(session);
                    }
                }
            }
            return null;
        });
    }

    private boolean become(State from, State to) {
        synchronized (stateGate) {
            boolean possible = state == from;
            if (possible) {
                state = to;
            }
            return possible;
        }
    }

    /**
     * Closes the session. One that is closed, or whose module is or is about to be, is left alone: its end is the
     * module's.
     */
    void close() {
        synchronized (turn) {
            inside++;
            try {
                if (module.lets() && become(State.OPEN, State.CLOSED)) {
                    int answer = CKR.GENERAL_ERROR;
                    try {
                        answer = NativeFunctions.number(module.id(), Function.CLOSE_SESSION.index(), handle);
                        Answers.require(Function.CLOSE_SESSION, answer);
                    } finally {
                        leave(answer);
                    }
                }
            } finally {
                inside--;
            }
        }
    }

    /**
     * Is forgotten by the module's list, unless the module has refused to close the session: it may have a parameter
     * then that it looks at once more, until it is finalised.
     */
    private void leave(int answer) {
        if (answer == CKR.OK || answer == CKR.SESSION_HANDLE_INVALID || answer == CKR.SESSION_CLOSED) {
            releaseParameters();
        }
        for (HeldParameter parameter : parameters) {
            if (parameter != null && parameter.isHeld()) {
                return;
            }
        }
        module.remove(this);
    }

    /** Calls the module with the session, which must be open. */
    <T> T call(Call<T> call) {
        synchronized (turn) {
            inside++;
            try {
                requireOpen();
                return call.with(module.id(), handle);
            } finally {
                inside--;
            }
        }
    }

    /** Calls a function that only answers, and must answer CKR_OK. */
    void require(Function function, AnsweredCall call) {
        this.<Void>call((id, session) -> {
            Answers.require(function, call.with(id, session));
            return null;
        });
    }

    /** The monitor to hold while the module is called with the session. */
    Object turn() {
        return turn;
    }

    /** For whoever has the turn. */
    Operation running(OperationKind kind) {
        return running[kind.ordinal()];
    }

    /** For whoever has the turn. */
    void run(OperationKind kind, Operation operation) {
        running[kind.ordinal()] = operation;
    }

    /** Where the parameter of this kind of operation lies; for whoever has the turn. */
    HeldParameter parameter(OperationKind kind) {
        return parameter(kind.ordinal());
    }

    /** Where the parameter of the message lies that an operation of this kind is at; for whoever has the turn. */
    HeldParameter message(OperationKind kind) {
        return parameter(OperationKind.COUNT + kind.ordinal());
    }

    private HeldParameter parameter(int place) {
        if (parameters[place] == null) {
            parameters[place] = new HeldParameter();
        }
        return parameters[place];
    }

    /** Wipes the parameters that operations have left when the session ended in the module, and nobody is inside. */
    void releaseParameters() {
        for (HeldParameter parameter : parameters) {
            if (parameter != null) {
                parameter.release();
            }
        }
    }

    TokenSlot slot() {
        return slot;
    }

    LoadedModule module() {
        return module;
    }

    /** The handle itself, for whoever has the turn. */
    long handle() {
        return handle;
    }

    boolean isOpen() {
        return state == State.OPEN && module.isOpen();
    }

    /** Whether calls may enter, without an exception for those that may not. */
    boolean lets() {
        return state == State.OPEN && module.lets();
    }

    /** Whether a call is inside the module with this session. */
    boolean isBusy() {
        return inside > 0;
    }

    /** Fails unless calls may enter. */
    void requireOpen() {
        module.requireOpen();
        State now = state;
        if (now != State.OPEN) {
            throw new IllegalStateException(this + (now == State.CLOSED ? " is closed" : " is being closed"));
        }
    }

    /**
     * The handle of a key that this session can use. The key's own session must be open: a session object ends with it,
     * and a module may give its handle to another object.
     */
    long usable(TokenObject key) {
        Objects.requireNonNull(key, "key");
        if (!key.session().slot().equals(slot)) {
            throw new IllegalArgumentException(key + " is not on the token of " + this);
        }
        key.session().requireOpen();
        return key.handle();
    }

    /** The handle of a key that this session can use with the mechanism. */
    long usable(Mechanism mechanism, TokenObject key) {
        long usable = usable(key);
        KeyTypes.check(mechanism, key);
        return usable;
    }

    @Override
    public String toString() {
        return "Session[" + Long.toUnsignedString(handle) + " on " + slot + "]";
    }
}
