package velnor;

import java.io.IOException;
import java.io.InputStream;
import java.nio.BufferOverflowException;
import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.Objects;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;
import velnor.nat.Structure;

/**
 * An operation of a session, from its start in the token to its end there. However it ends (finished, refused, closed,
 * interrupted by an exception of a stream), the token is left without it, so that the session can begin another one.
 *
 * <p>{@link #step} and {@link #start} let a thread into the module; what they call stands on that.
 */
abstract class Operation implements AutoCloseable {
    static final byte[] NOTHING = {};

    /** What the token is given at most of an array at once, where it takes parts: native code copies it. */
    static final int PART = 1 << 16;
    /** How much output may exceed the input, at first: a block and a tag. */
    static final int USUAL_EXCESS = 64;
    /** What no output exceeds its input by: a token that asks for more is wrong. */
    static final int MOST_EXCESS = 1 << 16;

    /**
     * FAILED is over, but what is left of it in the token has not been taken away yet; it is set before each call of
     * the module until that has gone well.
     */
    private enum Stage { NEW, STARTED, FAILED, ENDED }

    /** What goes on with an operation that has begun; a method that is named, so that nothing is made at each call. */
    interface Step<O, I, T> {
        T take(O operation, I input, int off, int len);
    }

    /** What is done with the beginning of a buffer that a stream has filled. */
    interface BufferUse {
        void use(byte[] buffer, int length) throws IOException;
    }

    private final SessionHandle session;
    private final OperationKind kind;
    private final Mechanism mechanism;
    /** The key's handle, 0 for an operation without one. */
    private final long key;
    /** How many bytes of input the key can take at once. */
    private final int mostInput;
    // What follows is for whoever has the session's turn.
    private Stage stage = Stage.NEW;
    /** Where the module has the mechanism's parameter; null until it begins, and when it is restored. */
    private HeldParameter parameter;
    /** Whether it was given a part, so that it cannot end in one. */
    private boolean fed;
    /** The bytes that the token was given, and how many of them have not come out yet. */
    private long taken;
    private long held;
    private int excess = USUAL_EXCESS;

    /** An operation without a key. */
    Operation(SessionHandle session, OperationKind kind, Mechanism mechanism) {
        this(session, kind, checked(session, mechanism), CK.INVALID_HANDLE, Integer.MAX_VALUE);
    }

    Operation(SessionHandle session, OperationKind kind, Mechanism mechanism, TokenObject key) {
        this(session, kind, checked(session, mechanism), session.usable(mechanism, key),
                KeyTypes.mostInput(mechanism, key));
    }

    /** An operation on messages: their parameters belong to them, so that the mechanism has one only if it wants to. */
    static Mechanism ofMessages(SessionHandle session, Mechanism mechanism) {
        session.requireOpen();
        Objects.requireNonNull(mechanism, "mechanism");
        return mechanism.parameter() == null ? mechanism : MechanismParameters.check(mechanism);
    }

    /** An operation whose mechanism has been looked at. */
    Operation(Mechanism checked, SessionHandle session, OperationKind kind, TokenObject key) {
        this(session, kind, checked, session.usable(checked, key), KeyTypes.mostInput(checked, key));
    }

    private Operation(SessionHandle session, OperationKind kind, Mechanism mechanism, long key, int mostInput) {
        this.session = session;
        this.kind = kind;
        this.mechanism = mechanism;
        this.key = key;
        this.mostInput = mostInput;
    }

    private static Mechanism checked(SessionHandle session, Mechanism mechanism) {
        session.requireOpen();
        return MechanismParameters.check(mechanism);
    }

    /**
     * Looks whether a range lies within its array, and whether the token can be given it at once.
     *
     * @throws IllegalArgumentException when the key cannot take as much
     */
    final void requireInput(byte[] array, int off, int len) {
        Objects.checkFromIndexSize(off, len, array.length);
        requireInput(len);
    }

    final void requireInput(int len) {
        if (len > mostInput) {
            throw new IllegalArgumentException(mechanism + " takes at most " + mostInput + " bytes with this key, not "
                    + len);
        }
    }

    /** Ends an operation that was given parts, whatever comes out. */
    abstract void endAfterParts();

    /** Does the operation in one part, without data, whatever comes out. */
    abstract void endInOnePart();

    /** Whether this failure tells the result of an operation that came to its regular end. */
    boolean isVerdict(CryptokiException failure) {
        return false;
    }

    /** Whether the operation goes on after this failure of a call. */
    boolean outlives(CryptokiException failure) {
        return false;
    }

    /** Whether nothing is left undone, so that the operation has an end of its own and need not be cancelled. */
    boolean isAtRest() {
        return false;
    }

    /** The operation has ended in the token. */
    void ended() {
    }

    // ---- the way in

    /** Gives the operation a part, having begun it if need be. */
    static <O extends Operation, I, T> T feed(O operation, Step<O, I, T> step, I input, int off, int len) {
        return step(operation, Stage.STARTED, step, input, off, len);
    }

    /** Ends the operation, having begun it if need be. */
    static <O extends Operation, I, T> T end(O operation, Step<O, I, T> step, I input, int off, int len) {
        return step(operation, Stage.ENDED, step, input, off, len);
    }

    private static <O extends Operation, I, T> T step(O operation, Stage next, Step<O, I, T> step, I input, int off,
            int len) {
        Operation self = operation;
        SessionHandle session = self.session;
        synchronized (session.turn()) {
            session.inside++;
            try {
                self.requireNotOver();
                self.beginIfNew();
                self.stage = Stage.FAILED;
                T result = step.take(operation, input, off, len);
                if (next == Stage.ENDED) {
                    self.takeBack();
                    self.end();
                } else {
                    self.stage = next;
                }
                return result;
            } catch (RuntimeException | Error e) {
                self.giveUpAfter(e);
                throw e;
            } finally {
                session.inside--;
            }
        }
    }

    /** Begins the operation and gives it nothing yet. A restored one has begun in the token. */
    final void start(boolean restored) {
        synchronized (session.turn()) {
            session.inside++;
            try {
                requireNotOver();
                if (stage != Stage.NEW) {
                    throw new IllegalStateException(this + " has begun");
                }
                if (restored) {
                    requireAlone();
                    session.run(kind, this);
                    fed = true;
                    stage = Stage.STARTED;
                } else {
                    beginIfNew();
                }
            } catch (RuntimeException | Error e) {
                giveUpAfter(e);
                throw e;
            } finally {
                session.inside--;
            }
        }
    }

    /**
     * Gives two operations the same part, by the token's one function for both where it has that. What fails one of
     * them ends both, since they would be out of step.
     *
     * @throws IllegalArgumentException when an operation belongs to another session
     */
    static byte[] update(Function both, CipherOperation cipher, CollectingOperation collecting, SessionHandle session,
            byte[] data, int off, int len) {
        Objects.checkFromIndexSize(off, len, data.length);
        Operation one = cipher;
        Operation other = collecting;
        one.requireIn(session);
        other.requireIn(session);
        try (Output output = new Output()) {
            synchronized (session.turn()) {
                session.inside++;
                try {
                    one.requireNotOver();
                    other.requireNotOver();
                    for (int done = 0; done < len; done += PART) {
                        output.add(updateBoth(both, cipher, collecting, data, off + done, Math.min(PART, len - done)));
                    }
                } finally {
                    session.inside--;
                }
            }
            return output.all();
        }
    }

    private static byte[] updateBoth(Function both, CipherOperation cipher, CollectingOperation collecting, byte[] data,
            int off, int len) {
        Operation one = cipher;
        Operation other = collecting;
        try {
            other.beginIfNew();
            one.beginIfNew();
            one.stage = Stage.FAILED;
            other.stage = Stage.FAILED;
            byte[] output = cipher.partWith(both, collecting, data, off, len);
            one.stage = Stage.STARTED;
            other.stage = Stage.STARTED;
            return output;
        } catch (RuntimeException | Error e) {
            one.giveUpWith(e);
            other.giveUpWith(e);
            throw e;
        }
    }

    private void giveUpWith(Throwable failure) {
        if (stage == Stage.NEW) {
            stage = Stage.ENDED;
        } else if (stage != Stage.ENDED) {
            stage = Stage.FAILED;
            giveUpAfter(failure);
        }
    }

    /** Fails unless the operation can go on, in an open session. */
    final void requireUsable() {
        synchronized (session.turn()) {
            requireNotOver();
        }
    }

    private void requireNotOver() {
        session.requireOpen();
        if (stage == Stage.FAILED || stage == Stage.ENDED) {
            throw new IllegalStateException(this + " is over");
        }
    }

    private void requireIn(SessionHandle expected) {
        if (session != expected) {
            throw new IllegalArgumentException(this + " does not belong to " + expected);
        }
    }

    /** The place of this kind of operation in the session must be free. */
    private void requireAlone() {
        Operation other = session.running(kind);
        if (other != null && other != this && !other.isGone()) {
            throw new IllegalStateException(other + " is neither finished nor closed");
        }
    }

    /** Whether nothing is left of it in the token. What could not be taken away when it failed is taken away now. */
    private boolean isGone() {
        if (stage == Stage.FAILED) {
            giveUp();
        }
        return stage == Stage.ENDED;
    }

    private void beginIfNew() {
        if (stage != Stage.NEW) {
            return;
        }
        requireAlone();
        Structure structure = mechanism.structure();
        requireAlone(); // what laid the structure out may be the program's own code
        parameter = session.parameter(kind);
        ByteBuffer laid = parameter.lay(mechanism, structure);
        session.run(kind, this);
        stage = Stage.FAILED;
        long module = session.module().id();
        int index = kind.init().index();
        int answer = kind == OperationKind.DIGEST
                ? NativeFunctions.init(module, index, session.handle(), mechanism.type(), laid)
                : NativeFunctions.keyedInit(module, index, session.handle(), mechanism.type(), laid, key);
        if (answer != CKR.OK) {
            end();
            throw Answers.failure(kind.init(), answer);
        }
        takeBack();
        stage = Stage.STARTED;
    }

    private void takeBack() {
        if (parameter != null) {
            parameter.takeBack();
        }
    }

    /** Nothing is left of the operation in the token, which looks at the parameter no more. */
    private void end() {
        if (parameter != null) {
            parameter.release();
        }
        ended();
        stage = Stage.ENDED;
    }

    // ---- giving up

    /** Gives the operation up when a call failed; {@link #FAILED} may stay when the stack or the memory is full. */
    private void giveUpAfter(Throwable failure) {
        if (stage != Stage.FAILED) {
            return;
        }
        try {
            if (failure instanceof CryptokiException && outlives((CryptokiException) failure)) {
                stage = Stage.STARTED;
            } else if (failure instanceof CryptokiException && isVerdict((CryptokiException) failure)) {
                end();
            } else {
                giveUp();
            }
        } catch (Error alsoFailed) {
            failure.addSuppressed(alsoFailed);
        }
    }

    /**
     * Takes the operation from the token. Before version 3.0 the standard had no call for that, so it is brought to an
     * end, and the result is dropped; a token that has ended it by itself says so, and then nothing is left to do.
     */
    private void giveUp() {
        stage = Stage.FAILED;
        boolean atRest = isAtRest();
        if (!(atRest && hasEnded(false)) && !isCancelled() && (atRest || !hasEnded(false))) {
            hasEnded(true);
        }
        end();
    }

    private boolean isCancelled() {
        return session.module().has(Function.SESSION_CANCEL) && NativeFunctions.numbers(session.module().id(),
                Function.SESSION_CANCEL.index(), session.handle(), kind.flag()) == CKR.OK;
    }

    private boolean hasEnded(boolean inOnePart) {
        try {
            if (inOnePart) {
                endInOnePart();
            } else {
                endAfterParts();
            }
            return true;
        } catch (CryptokiException refused) {
            return false; // The token had nothing to end, or not in this way.
        }
    }

    /**
     * Gives up the operation, unless it has ended: what was given to it is lost, and the session can begin another one.
     */
    @Override
    public final void close() {
        synchronized (session.turn()) {
            session.inside++;
            try {
                if (stage == Stage.NEW) {
                    stage = Stage.ENDED;
                } else if (stage != Stage.ENDED) {
                    stage = Stage.FAILED;
                    if (session.lets()) {
                        giveUp();
                    }
                }
            } finally {
                session.inside--;
            }
        }
    }

    /**
     * Goes on with the operation of this kind that {@link Session#setOperationState} has restored, instead of beginning
     * one. The token is not asked.
     *
     * @throws IllegalStateException when this operation has begun or is over, or another of its kind goes on in the
     *         session
     */
    public final void resume() {
        start(true);
    }

    // ---- calls of the module, for steps

    final boolean isFed() {
        return fed;
    }

    /** Takes note of input that the token has taken as a part. */
    final void countPart(int len) {
        fed = true;
        taken += len;
        held += len;
    }

    /** Takes note of output. */
    final void countOutput(long len) {
        held = Math.max(0, held - len);
    }

    /** The room for what comes out when the token is given some more bytes: all that it may hold back, too. */
    final int roomFor(int len) {
        return (int) Math.min(held + len + excess, Integer.MAX_VALUE - MOST_EXCESS);
    }

    final long module() {
        return session.module().id();
    }

    final long handle() {
        return session.handle();
    }

    /** The handle of a key that the operation's session can use. */
    final long usable(TokenObject other) {
        return session.usable(other);
    }

    final OperationKind kind() {
        return kind;
    }

    final boolean has(Function function) {
        return session.module().has(function);
    }

    /**
     * Calls a function that gives bytes, again when it asks for more room.
     *
     * @param in the input; null for a function that takes none
     */
    final byte[] output(Function function, byte[] in, int off, int len, int firstRoom) {
        int room = firstRoom;
        CryptokiException tooSmall = null;
        for (;;) {
            byte[] out = new byte[room];
            long result = in == null ? NativeFunctions.output(module(), function.index(), handle(), out, 0, room)
                    : NativeFunctions.process(module(), function.index(), handle(), in, off, len, out, 0, room);
            if (result >= 0) {
                return beginning(out, (int) result);
            }
            int answer = NativeFunctions.answer(result);
            if (tooSmall != null && answer == CKR.OPERATION_NOT_INITIALIZED) {
                throw tooSmall; // NSS ends an operation with that answer.
            }
            int needed = NativeFunctions.needed(result);
            tooSmall = Answers.failure(function, answer);
            if (answer != CKR.BUFFER_TOO_SMALL || needed <= room) {
                throw tooSmall;
            }
            if (needed > taken + len + MOST_EXCESS) {
                throw Answers.nonsense(function, "the pkcs#11 library asks for room for " + needed + " bytes");
            }
            excess = (int) Math.max(excess, needed - held - len);
            room = needed;
        }
    }

    static byte[] beginning(byte[] out, int len) {
        if (len == out.length) {
            return out;
        }
        byte[] beginning = Arrays.copyOf(out, len);
        Arrays.fill(out, 0, len, (byte) 0);
        return beginning;
    }

    /** Calls a function that takes a part and gives nothing. */
    final void takePart(byte[] in, int off, int len) {
        Answers.require(kind.part(), NativeFunctions.bytes(module(), kind.part().index(), handle(), in, off, len));
        countPart(len);
    }

    /** Tells that a buffer has too little room; the operation goes on, as the standard has it. */
    final BufferOverflowException overflow() {
        stage = Stage.STARTED;
        return new BufferOverflowException();
    }

    /** Tells that a call has no place here; the operation goes on as if it had not come. */
    final IllegalStateException misplaced(String text) {
        stage = Stage.STARTED;
        return new IllegalStateException(text);
    }

    // ---- input in parts

    /**
     * Uses a stream to its end, in parts that do not depend on its length. A failure of any kind gives up the
     * operation.
     *
     * @return the bytes of the stream
     */
    final long inParts(InputStream in, Progress progress, BufferUse use) throws IOException {
        Objects.requireNonNull(in, "in");
        Objects.requireNonNull(progress, "progress");
        requireUsable();
        byte[] buffer = new byte[PART];
        boolean through = false;
        try {
            long bytes = 0;
            int length;
            do {
                length = in.readNBytes(buffer, 0, PART);
                if (length > 0) {
                    use.use(buffer, length);
                    bytes += length;
                    progress.progressed(bytes);
                }
            } while (length == PART);
            through = true;
            return bytes;
        } finally {
            Arrays.fill(buffer, (byte) 0);
            if (!through) {
                close();
            }
        }
    }

    /** The next bytes of a buffer that is not direct, or not alone so, as an array: its own, or a copy to be wiped. */
    static byte[] array(ByteBuffer buffer, int len) {
        if (buffer.hasArray()) {
            return buffer.array();
        }
        byte[] copy = new byte[len];
        buffer.duplicate().get(copy);
        return copy;
    }

    /** Where {@link #array} has the first of them. */
    static int arrayOffset(ByteBuffer buffer) {
        return buffer.hasArray() ? buffer.arrayOffset() + buffer.position() : 0;
    }

    static void wipeCopy(ByteBuffer buffer, byte[] array) {
        if (!buffer.hasArray()) {
            Arrays.fill(array, (byte) 0);
        }
    }

    @Override
    public final String toString() {
        return getClass().getSimpleName() + "[" + mechanism + " in " + session + "]";
    }
}
