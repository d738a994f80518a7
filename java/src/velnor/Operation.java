package velnor;

import java.io.IOException;
import java.io.InputStream;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.function.Consumer;
import java.util.function.Function;

import velnor.nat.NativeSession;

/**
 * An operation of a session, from its start in the token to its end there. However it ends (finished, refused, closed,
 * interrupted by an exception of a stream), the token is left without it, so that the session can begin another one.
 */
abstract class Operation implements AutoCloseable {
    static final byte[] NOTHING = {};

    /** What is read from a stream before the token is called. */
    private static final int STREAM_PART = 1 << 16;
    /** What the token is given at most of an array: native code needs memory for the part and for what comes out. */
    private static final int ARRAY_PART = 1 << 24;

    /** FAILED is over, but what is left of it in the token has not been taken away yet. */
    private enum Stage { NEW, STARTED, FED, FAILED, ENDED }

    /** A call that goes on with the operation, or starts it with the init flag of the native methods. */
    interface Step<T> {
        T take(NativeSession nat, boolean init);
    }

    /** What is done with the beginning of a buffer that a stream has filled. */
    interface BufferUse {
        void use(byte[] buffer, int length) throws IOException;
    }

    final Mechanism mechanism;
    /** The key's handle, 0 for an operation without one. */
    final long key;
    private final Session session;
    private final String startFunction;
    /** How many bytes of input the key can take at once. */
    private final int mostInput;
    /** Guarded by {@link Session#operate}. */
    private Stage stage = Stage.NEW;

    /** An operation without a key. */
    Operation(Session session, String startFunction, Mechanism mechanism) {
        this(session, startFunction, checked(session, mechanism), CK.INVALID_HANDLE, Integer.MAX_VALUE);
    }

    Operation(Session session, String startFunction, Mechanism mechanism, TokenObject key) {
        this(session, startFunction, checked(session, mechanism), session.handle(mechanism, key),
                KeyTypes.mostInput(mechanism, key));
    }

    private Operation(Session session, String startFunction, Mechanism mechanism, long key, int mostInput) {
        this.session = session;
        this.startFunction = startFunction;
        this.mechanism = mechanism;
        this.key = key;
        this.mostInput = mostInput;
    }

    private static Mechanism checked(Session session, Mechanism mechanism) {
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
        if (len > mostInput) {
            throw new IllegalArgumentException(mechanism + " takes at most " + mostInput + " bytes with this key, not "
                    + len);
        }
    }

    /** The end of an operation that was given parts, whatever comes out. */
    abstract void endAfterParts(NativeSession nat);

    /** The operation in one part, without data, whatever comes out. */
    abstract void endInOnePart(NativeSession nat);

    /** Whether this failure tells the result of an operation that came to its regular end. */
    boolean isVerdict(CryptokiException failure) {
        return false;
    }

    /** Starts the operation in the token and gives it nothing yet. */
    final void start(Step<Void> step) {
        step(Stage.STARTED, step);
    }

    /** Gives the operation a part. */
    final <T> T feed(Step<T> step) {
        return step(Stage.FED, step);
    }

    /** Ends the operation: in one part, unless it was given parts. */
    final <T> T end(Step<T> inOnePart, Function<NativeSession, T> afterParts) {
        return step(Stage.ENDED,
                (nat, init) -> stage == Stage.FED ? afterParts.apply(nat) : inOnePart.take(nat, init));
    }

    private <T> T step(Stage next, Step<T> step) {
        return session.operate(nat -> {
            requireUsable();
            boolean init = stage == Stage.NEW;
            if (init || next == Stage.STARTED) {
                begin(nat);
            }
            try {
                T result = step.take(nat, init);
                stage = next;
                return result;
            } catch (RuntimeException | Error e) {
                stage = Stage.FAILED;
                giveUpAfter(e, nat);
                throw e;
            }
        });
    }

    private void begin(NativeSession nat) {
        requireUsable();
        if (stage != Stage.NEW) {
            throw new IllegalStateException(this + " has begun");
        }
        session.begin(this, nat);
    }

    /** Whether after this failure nothing can be left of the operation, so that looking for it is needless. */
    private boolean isOverInToken(Throwable failure) {
        return failure instanceof CryptokiException
                && (isRefusedStart((CryptokiException) failure) || isVerdict((CryptokiException) failure));
    }

    final boolean isRefusedStart(CryptokiException failure) {
        return failure.functionName().equals(startFunction);
    }

    /**
     * Takes the operation from the token. The standard has no call for that, so it is brought to an end, and the result
     * is dropped; a token that has ended it by itself says so, and then nothing is left to do.
     */
    private void abandon(NativeSession nat) {
        List<Consumer<NativeSession>> ends = List.of(this::endAfterParts, this::endInOnePart);
        for (Consumer<NativeSession> end : ends) {
            try {
                end.accept(nat);
                return;
            } catch (CryptokiException refused) {
                // The token had nothing to end, or not in this way.
            }
        }
    }

    private void giveUpAfter(Throwable failure, NativeSession nat) {
        if (isOverInToken(failure)) {
            stage = Stage.ENDED;
            return;
        }
        try {
            giveUp(nat);
        } catch (Error alsoFailed) {
            failure.addSuppressed(alsoFailed);
        }
    }

    private void giveUp(NativeSession nat) {
        stage = Stage.FAILED;
        abandon(nat);
        stage = Stage.ENDED;
    }

    /**
     * Whether nothing of the operation is left in the token. What could not be taken away when it failed, because the
     * stack or the memory was full, is taken away now.
     */
    final boolean isOver(NativeSession nat) {
        if (stage == Stage.FAILED) {
            giveUp(nat);
        }
        return stage == Stage.ENDED;
    }

    /** Fails unless the operation can go on, in an open session. */
    final void requireUsable() {
        session.operate(nat -> {
            if (stage == Stage.FAILED || stage == Stage.ENDED) {
                throw new IllegalStateException(this + " is over");
            }
            return null;
        });
    }

    /**
     * Goes on with the operation of this kind that {@link Session#setOperationState} has restored, instead of beginning
     * one. The token is not asked.
     *
     * @throws IllegalStateException when this operation has begun or is over, or another of its kind goes on in the
     *         session
     */
    public final void resume() {
        session.operate(nat -> {
            begin(nat);
            stage = Stage.FED;
            return null;
        });
    }

    final Session session() {
        return session;
    }

    /**
     * Gives up the operation, unless it has ended: what was given to it is lost, and the session can begin another one.
     */
    @Override
    public final void close() {
        session.operateIfOpen(nat -> {
            if (stage == Stage.NEW || isOver(nat)) {
                stage = Stage.ENDED;
            } else {
                giveUp(nat);
            }
        });
    }

    /**
     * Uses a region as an array of its own: native code copies an array whole, however small the region is. The array
     * that was made for it is wiped.
     */
    static <T> T exactly(byte[] array, int offset, int length, Function<byte[], T> use) {
        if (length == array.length) {
            return use.apply(array);
        }
        byte[] region = Arrays.copyOfRange(array, offset, offset + length);
        try {
            return use.apply(region);
        } finally {
            Arrays.fill(region, (byte) 0);
        }
    }

    /** Uses a region in parts that native code can hold; an empty region has none. */
    static void inParts(byte[] array, int offset, int length, Consumer<byte[]> use) {
        for (int done = 0; done < length; done += ARRAY_PART) {
            exactly(array, offset + done, Math.min(ARRAY_PART, length - done), part -> {
                use.accept(part);
                return null;
            });
        }
    }

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
        byte[] buffer = new byte[STREAM_PART];
        boolean through = false;
        try {
            long bytes = 0;
            int length;
            do {
                length = in.readNBytes(buffer, 0, STREAM_PART);
                if (length > 0) {
                    use.use(buffer, length);
                    bytes += length;
                    progress.progressed(bytes);
                }
            } while (length == STREAM_PART);
            through = true;
            return bytes;
        } finally {
            Arrays.fill(buffer, (byte) 0);
            if (!through) {
                close();
            }
        }
    }

    @Override
    public final String toString() {
        return getClass().getSimpleName() + "[" + mechanism + " in " + session + "]";
    }
}
