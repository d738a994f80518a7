package velnor;

import java.nio.charset.StandardCharsets;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HashMap;
import java.util.IdentityHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.LockSupport;
import java.util.function.BooleanSupplier;
import java.util.function.LongFunction;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;
import velnor.nat.Structure;

/**
 * A module between {@code C_Initialize} and {@code C_Finalize}: its id, how calls enter it, whether it is open, and its
 * open sessions.
 *
 * <p>A call passes three things, always in this order, and holds the first one alone while it is inside the module:
 * <ol>
 * <li>the <em>turn</em>, a monitor: the module's where calls are one at a time, else that of the session ({@link
 * SessionHandle#turn}), so that calls with one session do not mix and others meet;
 * <li>the <em>count</em> of those inside, the session's own or, for calls without a session, the module's (guarded by
 * {@code gate});
 * <li>the <em>state</em>, which is looked at after the call was counted and changed before the counts are looked at: of
 * a call and a closing thread that come at the same time, one sees the other.
 * </ol>
 * {@code gate}, {@code sessions} and {@code initialized} are monitors that are held for some instructions, never while
 * a module works, and taken in this order. Closing takes no turn: it refuses new calls and looks at the counts until
 * nobody is inside, so it can also give up.
 *
 * <p>All of them are monitors, and the counts are given back by assignments, because the stack may be full at any
 * place: a monitor is given back then, a lock of {@code java.util.concurrent} may stay held for ever.
 */
final class LoadedModule {
    /** CLOSING refuses calls and becomes OPEN again if the closing thread gives up. */
    private enum State { OPEN, CLOSING, CLOSED }

    private static final int CALLER_FLAGS = 4 * Structure.WORD;
    private static final int CALLER_RESERVED = 5 * Structure.WORD;
    private static final int INITIALIZE_ARGS = 6 * Structure.WORD;
    private static final int TEXT_BYTES = 4096;
    private static final long BETWEEN_LOOKS = TimeUnit.MICROSECONDS.toNanos(500);

    /** The modules from before C_Initialize until after C_Finalize, by id; null while one is being initialised. */
    private static final Map<Long, LoadedModule> initialized = new HashMap<>();
    /**
     * The modules that refused to be finalised last, with the sessions that were open then: what lies in their memory
     * may still be looked at. Guarded by {@code initialized}.
     */
    private static final Map<Long, List<SessionHandle>> unfinished = new HashMap<>();

    private final long id;
    private final String path;
    private final boolean concurrent;
    private final Object turn = new Object();
    private final Object gate = new Object();
    /** Calls without a session that are inside. */
    private int inside;
    /** Calls that open a session, and whether one closes all sessions of a token; these keep off each other. */
    private int opening;
    private volatile boolean closingAll;
    private volatile State state = State.OPEN;
    private final Set<SessionHandle> sessions = Collections.newSetFromMap(new IdentityHashMap<>());
    private final StateSeal stateSeal = new StateSeal();

    private LoadedModule(long id, boolean concurrent) {
        this.id = id;
        this.concurrent = concurrent;
        byte[] text = new byte[TEXT_BYTES];
        path = new String(text, 0, Math.min(NativeFunctions.path(id, text), text.length), ModuleName.encoding());
    }

    /**
     * Loads a module and initialises it.
     *
     * @throws IllegalStateException when it is open already
     */
    static LoadedModule open(ModuleName name, OpenOptions options) {
        long id = load(name);
        boolean refusedToFinish;
        synchronized (initialized) {
            if (initialized.containsKey(id)) {
                LoadedModule other = initialized.get(id);
                throw new IllegalStateException((other == null ? name : other) + " is open already");
            }
            initialized.put(id, null);
            refusedToFinish = unfinished.containsKey(id);
        }
        LoadedModule module = null;
        try {
            if (refusedToFinish) {
                NativeFunctions.finish(id); // this time perhaps it may
            }
            boolean agreed = initialize(id, options.reserved());
            Threading threading = options.threading();
            module = new LoadedModule(id,
                    threading == Threading.AUTOMATIC ? agreed : threading == Threading.CONCURRENT);
            return module;
        } finally {
            synchronized (initialized) {
                if (module == null) {
                    initialized.remove(id);
                } else {
                    initialized.put(id, module);
                    release(unfinished.remove(id));
                }
            }
        }
    }

    private static long load(ModuleName name) {
        byte[] text = new byte[TEXT_BYTES];
        long result = NativeFunctions.load(name.bytes(), text);
        if (result >= 0) {
            return result;
        }
        int length = Math.min(NativeFunctions.needed(result), text.length);
        int answer = NativeFunctions.answer(result);
        throw new CryptokiException("loadCryptokiLibrary", answer,
                length > 0 ? new String(text, 0, length, StandardCharsets.UTF_8) : Answers.description(answer));
    }

    /** Whether the module agreed to lock by itself. */
    private static boolean initialize(long id, String reserved) {
        Structure arguments = new Structure(INITIALIZE_ARGS + (reserved == null ? 0 : Structure.WORD))
                .putLong(CALLER_FLAGS, CKF.OS_LOCKING_OK);
        if (reserved != null) {
            byte[] text = reserved.getBytes(StandardCharsets.UTF_8);
            arguments.putBytes(arguments.point(CALLER_RESERVED, text.length + 1), text);
        }
        int answer = NativeFunctions.initialize(id, arguments.bytes());
        boolean willNotLock = answer == CKR.CANT_LOCK || answer == CKR.NEED_TO_CREATE_THREADS
                || answer == CKR.ARGUMENTS_BAD;
        if (reserved == null && willNotLock) {
            Answers.require(Function.INITIALIZE, NativeFunctions.initialize(id, null));
            return false;
        }
        Answers.require(Function.INITIALIZE, answer);
        return true;
    }

    long id() {
        return id;
    }

    /** Where the module lies; empty when that could not be found out. */
    String path() {
        return path;
    }

    /** What tells the operation states of this module from others. */
    StateSeal stateSeal() {
        return stateSeal;
    }

    boolean isConcurrent() {
        return concurrent;
    }

    /** Whether the module has a function. */
    boolean has(Function function) {
        return NativeFunctions.has(id, function.ordinal());
    }

    boolean isOpen() {
        return state != State.CLOSED;
    }

    /** Fails unless calls may enter. */
    void requireOpen() {
        State now = state;
        if (now != State.OPEN) {
            throw new IllegalStateException(this + (now == State.CLOSED ? " is closed" : " is being closed"));
        }
    }

    /** Whether calls may enter, without an exception for those that may not. */
    boolean lets() {
        return state == State.OPEN;
    }

    /** The turn of a session's calls. */
    Object turnFor(SessionHandle session) {
        return concurrent ? session : turn;
    }

    /** Calls the module without a session. */
    <T> T call(LongFunction<T> call) {
        if (concurrent) {
            return counted(call);
        }
        synchronized (turn) {
            return counted(call);
        }
    }

    private <T> T counted(LongFunction<T> call) {
        synchronized (gate) {
            requireOpen();
            inside++;
        }
        try {
            return call.apply(id);
        } finally {
            synchronized (gate) {
                inside--;
            }
        }
    }

    /** Calls the module to open a session, while nobody closes all: that would not know of one that comes meanwhile. */
    <T> T callToOpen(LongFunction<T> call) {
        return call(module -> {
            beginToOpen();
            try {
                return call.apply(module);
            } finally {
                synchronized (gate) {
                    opening--;
                }
            }
        });
    }

    private void beginToOpen() {
        for (;;) {
            synchronized (gate) {
                if (!closingAll) {
                    opening++;
                    return;
                }
            }
            waitUntil(() -> !closingAll, () -> false);
        }
    }

    /** Calls the module to close all sessions of a token, when no session is being opened and while none can be. */
    <T> T callToCloseAll(LongFunction<T> call) {
        return call(module -> {
            beginToCloseAll();
            try {
                waitUntil(this::opensNothing, () -> false);
                return call.apply(module);
            } finally {
                closingAll = false;
            }
        });
    }

    private void beginToCloseAll() {
        for (;;) {
            synchronized (gate) {
                if (!closingAll) {
                    closingAll = true;
                    return;
                }
            }
            waitUntil(() -> !closingAll, () -> false);
        }
    }

    private boolean opensNothing() {
        synchronized (gate) {
            return opening == 0;
        }
    }

    /** Takes note of a session before it is opened, so that none is open unknown. */
    void add(SessionHandle session) {
        synchronized (sessions) {
            sessions.add(session);
        }
    }

    void remove(SessionHandle session) {
        synchronized (sessions) {
            sessions.remove(session);
        }
    }

    List<SessionHandle> sessions() {
        synchronized (sessions) {
            return new ArrayList<>(sessions);
        }
    }

    /**
     * Finalises the module when nobody is inside any more.
     *
     * @param limit how long to wait for that; null is for ever
     * @return the answer of C_Finalize; OK when the module was closed before
     * @throws IllegalStateException when calls are inside still; the module is open as before then
     */
    int close(Duration limit) {
        long end = limit == null ? 0 : System.nanoTime() + nanos(limit);
        BooleanSupplier late = () -> limit != null && System.nanoTime() - end >= 0;
        if (!beginToClose(late)) {
            return CKR.OK;
        }
        boolean closed = false;
        try {
            if (!waitUntil(this::isEmpty, late)) {
                throw stuck(limit);
            }
            state = State.CLOSED;
            closed = true;
        } finally {
            if (!closed) {
                state = State.OPEN;
            }
        }
        return finish();
    }

    private static long nanos(Duration limit) {
        try {
            return Math.max(0, limit.toNanos());
        } catch (ArithmeticException e) {
            return limit.isNegative() ? 0 : Long.MAX_VALUE / 2;
        }
    }

    /** Whether this thread has to close, and not another one that is about it or has done it. */
    private boolean beginToClose(BooleanSupplier late) {
        for (;;) {
            synchronized (gate) {
                if (state == State.CLOSED) {
                    return false;
                }
                if (state == State.OPEN) {
                    state = State.CLOSING;
                    return true;
                }
            }
            if (!waitUntil(() -> state != State.CLOSING, late)) {
                throw new IllegalStateException(this + " is being closed by another thread");
            }
        }
    }

    private int finish() {
        int answer = CKR.GENERAL_ERROR;
        List<SessionHandle> left = sessions();
        try {
            answer = NativeFunctions.finish(id);
        } finally {
            synchronized (sessions) {
                sessions.clear();
            }
            if (answer == CKR.OK) {
                release(left);
            }
            synchronized (initialized) {
                initialized.remove(id);
                if (answer != CKR.OK) {
                    unfinished.put(id, left);
                }
            }
        }
        return answer;
    }

    /** Wipes what sessions had for a module that has no session any more. */
    private static void release(List<SessionHandle> ended) {
        if (ended != null) {
            ended.forEach(SessionHandle::releaseParameters);
        }
    }

    private boolean isEmpty() {
        synchronized (gate) {
            if (inside > 0) {
                return false;
            }
        }
        return sessions().stream().noneMatch(SessionHandle::isBusy);
    }

    private IllegalStateException stuck(Duration limit) {
        int stuck;
        synchronized (gate) {
            stuck = inside;
        }
        stuck += (int) sessions().stream().filter(SessionHandle::isBusy).count();
        return new IllegalStateException(this + " was not closed and is open as before: within " + limit + " "
                + stuck + " calls have not come back from the module");
    }

    /** Waits, also when the thread is interrupted, which it is afterwards as before. */
    static boolean waitUntil(BooleanSupplier condition, BooleanSupplier late) {
        boolean interrupted = false;
        try {
            while (!condition.getAsBoolean()) {
                if (late.getAsBoolean()) {
                    return false;
                }
                LockSupport.parkNanos(condition, BETWEEN_LOOKS);
                interrupted |= Thread.interrupted();
            }
            return true;
        } finally {
            if (interrupted) {
                Thread.currentThread().interrupt();
            }
        }
    }

    @Override
    public String toString() {
        return "Cryptoki[" + path + "]";
    }
}
