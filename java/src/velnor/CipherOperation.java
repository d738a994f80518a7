package velnor;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.util.Arrays;
import java.util.Objects;

import velnor.nat.NativeSession;

/** An operation whose output grows with its input. */
abstract class CipherOperation extends Operation {
    CipherOperation(Session session, String startFunction, Mechanism mechanism, TokenObject key) {
        super(session, startFunction, mechanism, key);
    }

    abstract byte[] whole(NativeSession nat, boolean init, byte[] input);

    abstract byte[] part(NativeSession nat, boolean init, byte[] input);

    abstract byte[] last(NativeSession nat);

    @Override
    final void endAfterParts(NativeSession nat) {
        wipe(last(nat));
    }

    @Override
    final void endInOnePart(NativeSession nat) {
        wipe(whole(nat, false, NOTHING));
    }

    private static void wipe(byte[] output) {
        Arrays.fill(output, (byte) 0);
    }

    /**
     * Goes on with the next part of the input.
     *
     * @param input the part
     * @return what the token gives out by now, perhaps nothing
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final byte[] update(byte[] input) {
        return update(input, 0, input.length);
    }

    /**
     * Goes on with the next part of the input.
     *
     * @param input the array that has the part
     * @param off where the part begins
     * @param len how many bytes it has
     * @return what the token gives out by now, perhaps nothing
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final byte[] update(byte[] input, int off, int len) {
        Objects.checkFromIndexSize(off, len, input.length);
        requireUsable();
        try (Output output = new Output()) {
            inParts(input, off, len, part -> output.add(feed((nat, init) -> part(nat, init, part))));
            return output.all();
        }
    }

    /**
     * Ends the operation. One that was given nothing works on no data.
     *
     * @return the rest of the output, perhaps nothing
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final byte[] finish() {
        return finish(NOTHING);
    }

    /**
     * Ends the operation with the last of the input. When that is all there is, the token is given it in one part, as
     * some mechanisms demand.
     *
     * @param input the rest of the input
     * @return the rest of the output, perhaps nothing
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final byte[] finish(byte[] input) {
        return finish(input, 0, input.length);
    }

    /**
     * Ends the operation with the last of the input. When that is all there is, the token is given it in one part, as
     * some mechanisms demand.
     *
     * @param input the array that has the rest of the input
     * @param off where the rest begins
     * @param len how many bytes it has
     * @return the rest of the output, perhaps nothing
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final byte[] finish(byte[] input, int off, int len) {
        requireInput(input, off, len);
        return end((nat, init) -> exactly(input, off, len, all -> whole(nat, init, all)),
                nat -> {
                    try (Output output = new Output()) {
                        inParts(input, off, len, part -> output.add(part(nat, false, part)));
                        output.add(last(nat));
                        return output.all();
                    }
                });
    }

    /**
     * Takes the input from a stream to its end, writes the output to another one and ends the operation, in constant
     * memory. The token is free for others while a stream blocks. Neither stream is closed.
     *
     * @param in the input
     * @param out where the output goes
     * @return how many bytes of input there were
     * @throws IOException when a stream fails; the operation is over then
     * @throws CryptokiException when the token refuses; the operation is over then, and some output may be written
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final long transfer(InputStream in, OutputStream out) throws IOException {
        return transfer(in, out, bytes -> {
        });
    }

    /**
     * Takes the input from a stream to its end, writes the output to another one and ends the operation, in constant
     * memory. The token is free for others while a stream blocks. Neither stream is closed.
     *
     * @param in the input
     * @param out where the output goes
     * @param progress is told of each part
     * @return how many bytes of input there were
     * @throws IOException when a stream fails; the operation is over then
     * @throws CryptokiException when the token refuses; the operation is over then, and some output may be written
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final long transfer(InputStream in, OutputStream out, Progress progress) throws IOException {
        Objects.requireNonNull(out, "out");
        long bytes = inParts(in, progress, (buffer, len) -> write(update(buffer, 0, len), out));
        write(finish(), out);
        return bytes;
    }

    private static void write(byte[] output, OutputStream out) throws IOException {
        try {
            out.write(output);
        } finally {
            wipe(output);
        }
    }
}
