package velnor;

import java.io.IOException;
import java.io.InputStream;
import java.util.Objects;

import velnor.nat.NativeSession;

/** An operation that gives out nothing before its end. */
abstract class CollectingOperation extends Operation {
    CollectingOperation(Session session, String startFunction, Mechanism mechanism) {
        super(session, startFunction, mechanism);
    }

    CollectingOperation(Session session, String startFunction, Mechanism mechanism, TokenObject key) {
        super(session, startFunction, mechanism, key);
    }

    abstract void part(NativeSession nat, boolean init, byte[] data);

    /** The further parts of an operation that has begun. */
    final void parts(NativeSession nat, byte[] data, int off, int len) {
        inParts(data, off, len, part -> part(nat, false, part));
    }

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
        requireUsable();
        inParts(data, off, len, part -> feed((nat, init) -> {
            part(nat, init, part);
            return null;
        }));
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
