package velnor;

import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.Objects;

import velnor.nat.NativeFunctions;

/** An operation that gives out nothing before its end. */
abstract class CollectingOperation extends Operation {
    CollectingOperation(SessionHandle session, OperationKind kind, Mechanism mechanism) {
        super(session, kind, mechanism);
    }

    CollectingOperation(SessionHandle session, OperationKind kind, Mechanism mechanism, TokenObject key) {
        super(session, kind, mechanism, key);
    }

    // ---- steps

    private Void part(byte[] data, int off, int len) {
        takePart(data, off, len);
        return null;
    }

    private Void part(ByteBuffer data, int off, int len) {
        Answers.require(kind().part(),
                NativeFunctions.bytesDirect(module(), kind().part().index(), handle(), data, off, len));
        countPart(len);
        return null;
    }

    /** What is left to be taken before the end of an operation that was given parts. */
    final void takeParts(byte[] data, int off, int len) {
        for (int done = 0; done < len; done += PART) {
            takePart(data, off + done, Math.min(PART, len - done));
        }
    }

    /** The room for what comes out in the end. */
    int room() {
        return 0;
    }

    /** What comes out when the rest of the data is given. */
    final byte[] result(byte[] data, int off, int len) {
        if (!isFed()) {
            return output(kind().whole(), data, off, len, room());
        }
        takeParts(data, off, len);
        return output(kind().last(), null, 0, 0, room());
    }

    @Override
    void endAfterParts() {
        Arrays.fill(output(kind().last(), null, 0, 0, room()), (byte) 0);
    }

    @Override
    void endInOnePart() {
        Arrays.fill(output(kind().whole(), NOTHING, 0, 0, room()), (byte) 0);
    }

    // ---- for programs

    /**
     * Adds the next part of the data.
     *
     * @param data the part
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final void update(byte[] data) {
        update(data, 0, data.length);
    }

    /**
     * Adds the next part of the data.
     *
     * @param data the array that has the part
     * @param off where the part begins
     * @param len how many bytes it has
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final void update(byte[] data, int off, int len) {
        Objects.checkFromIndexSize(off, len, data.length);
        if (len == 0) {
            requireUsable();
        }
        for (int done = 0; done < len; done += PART) {
            feed(this, CollectingOperation::part, data, off + done, Math.min(PART, len - done));
        }
    }

    /**
     * Adds the next part of the data. A direct buffer is used where it lies, without a copy.
     *
     * @param data has the part, which is what remains in it; none remains afterwards
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final void update(ByteBuffer data) {
        int len = data.remaining();
        if (data.isDirect() && len > 0) {
            feed(this, CollectingOperation::part, data, data.position(), len);
            data.position(data.limit());
            return;
        }
        byte[] array = array(data, len);
        try {
            update(array, arrayOffset(data), len);
        } finally {
            wipeCopy(data, array);
        }
        data.position(data.limit());
    }

    /**
     * Adds what a stream has, to its end, in constant memory. The token is free for others while the stream blocks. The
     * stream is not closed.
     *
     * @param in the data
     * @return how many bytes there were
     * @throws IOException when the stream fails; the operation is over then
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final long update(InputStream in) throws IOException {
        return update(in, bytes -> {
        });
    }

    /**
     * Adds what a stream has, to its end, in constant memory. The token is free for others while the stream blocks. The
     * stream is not closed.
     *
     * @param in the data
     * @param progress is told of each part
     * @return how many bytes there were
     * @throws IOException when the stream fails; the operation is over then
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final long update(InputStream in, Progress progress) throws IOException {
        return inParts(in, progress, (buffer, len) -> update(buffer, 0, len));
    }
}
