package velnor;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.ReadOnlyBufferException;
import java.util.Arrays;
import java.util.Objects;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

/** An operation whose output grows with its input. */
abstract class CipherOperation extends Operation {
    /** More than an RSA key gives out: some tokens cannot be asked again (NSS). */
    private static final int WHOLE_ROOM = 1 << 10;

    /** Where a step takes its input and puts its output. */
    private static final class Buffers {
        private final ByteBuffer in;
        private final ByteBuffer out;

        Buffers(ByteBuffer in, ByteBuffer out) {
            this.in = in;
            this.out = out;
        }

        boolean areDirect() {
            return in.isDirect() && out.isDirect();
        }
    }

    CipherOperation(SessionHandle session, OperationKind kind, Mechanism mechanism, TokenObject key) {
        super(session, kind, mechanism, key);
    }

    // ---- steps

    private byte[] whole(byte[] input, int off, int len) {
        return output(kind().whole(), input, off, len, Math.max(WHOLE_ROOM, roomFor(len)));
    }

    private byte[] part(byte[] input, int off, int len) {
        return part(kind().part(), input, off, len);
    }

    private byte[] part(Function function, byte[] input, int off, int len) {
        byte[] output = output(function, input, off, len, roomFor(len));
        countPart(len);
        countOutput(output.length);
        return output;
    }

    private byte[] last() {
        return output(kind().last(), null, 0, 0, roomFor(0));
    }

    private byte[] rest(byte[] input, int off, int len) {
        if (!isFed()) {
            return whole(input, off, len);
        }
        try (Output output = new Output()) {
            for (int done = 0; done < len; done += PART) {
                output.add(part(input, off + done, Math.min(PART, len - done)));
            }
            output.add(last());
            return output.all();
        }
    }

    /** A part for this operation and another one; what is decrypted is collected, what is encrypted was collected. */
    final byte[] partWith(Function both, CollectingOperation collecting, byte[] data, int off, int len) {
        if (has(both)) {
            try {
                byte[] output = part(both, data, off, len);
                collecting.countPart(len);
                return output;
            } catch (CryptokiException e) {
                if (e.code() != CKR.FUNCTION_NOT_SUPPORTED) {
                    throw e;
                }
            }
        }
        if (kind() == OperationKind.ENCRYPTION) {
            collecting.takePart(data, off, len);
            return part(data, off, len);
        }
        byte[] output = part(data, off, len);
        if (output.length > 0) {
            collecting.takePart(output, 0, output.length);
        }
        return output;
    }

    /** Gives out as many bytes as it returns; off and len are not used. */
    private Integer part(Buffers buffers, int off, int len) {
        return through(kind().part(), buffers, Math.min(buffers.in.remaining(), buffers.areDirect() ? len : PART));
    }

    private Integer rest(Buffers buffers, int off, int len) {
        if (!isFed()) {
            return through(kind().whole(), buffers, buffers.in.remaining());
        }
        int given = 0;
        while (buffers.in.hasRemaining()) {
            given += part(buffers, 0, buffers.in.remaining());
        }
        return given + last(buffers.out);
    }

    /** Takes input out of one buffer and puts the output into the other one. */
    private int through(Function function, Buffers buffers, int len) {
        ByteBuffer in = buffers.in;
        ByteBuffer out = buffers.out;
        long result;
        if (buffers.areDirect()) {
            result = NativeFunctions.processDirect(module(), function.index(), handle(), in, in.position(), len, out,
                    out.position(), out.remaining());
            out.position(out.position() + produced(function, result));
        } else {
            byte[] input = array(in, len);
            try {
                result = intoBuffer(function, input, arrayOffset(in), len, out);
            } finally {
                wipeCopy(in, input);
            }
        }
        in.position(in.position() + len);
        if (function == kind().part()) {
            countPart(len);
            countOutput(result);
        }
        return (int) result;
    }

    private int last(ByteBuffer out) {
        Function function = kind().last();
        if (!out.isDirect()) {
            return intoBuffer(function, null, 0, 0, out);
        }
        long result = NativeFunctions.outputDirect(module(), function.index(), handle(), out, out.position(),
                out.remaining());
        out.position(out.position() + produced(function, result));
        return (int) result;
    }

    private int intoBuffer(Function function, byte[] input, int off, int len, ByteBuffer out) {
        byte[] output = out.hasArray() ? out.array() : new byte[Math.min(out.remaining(), roomFor(len))];
        int outOff = out.hasArray() ? out.arrayOffset() + out.position() : 0;
        int room = out.hasArray() ? out.remaining() : output.length;
        try {
            long result = input == null
                    ? NativeFunctions.output(module(), function.index(), handle(), output, outOff, room)
                    : NativeFunctions.process(module(), function.index(), handle(), input, off, len, output, outOff,
                            room);
            int produced = produced(function, result);
            if (out.hasArray()) {
                out.position(out.position() + produced);
            } else {
                out.put(output, 0, produced);
            }
            return produced;
        } finally {
            if (!out.hasArray()) {
                wipe(output);
            }
        }
    }

    private int produced(Function function, long result) {
        if (result < 0 && NativeFunctions.answer(result) == CKR.BUFFER_TOO_SMALL) {
            throw overflow();
        }
        return (int) Answers.require(function, result);
    }

    @Override
    final void endAfterParts() {
        wipe(last());
    }

    @Override
    final void endInOnePart() {
        wipe(whole(NOTHING, 0, 0));
    }

    private static void wipe(byte[] output) {
        Arrays.fill(output, (byte) 0);
    }

    // ---- for programs

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
        if (len == 0) {
            requireUsable();
            return new byte[0];
        }
        if (len <= PART) {
            return feed(this, CipherOperation::part, input, off, len);
        }
        try (Output output = new Output()) {
            for (int done = 0; done < len; done += PART) {
                output.add(feed(this, CipherOperation::part, input, off + done, Math.min(PART, len - done)));
            }
            return output.all();
        }
    }

    /**
     * Goes on with the next part of the input, from one buffer into another one. Direct buffers are used where they
     * lie, without a copy, if both are.
     *
     * @param in has the part, which is what remains in it; none remains afterwards
     * @param out receives what the token gives out by now
     * @return how many bytes that are
     * @throws java.nio.BufferOverflowException when there is too little room; the operation goes on with what remains
     *         in the input then, unless the token has ended it
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final int update(ByteBuffer in, ByteBuffer out) {
        Buffers buffers = buffers(in, out);
        requireUsable();
        int given = 0;
        while (in.hasRemaining()) {
            given += feed(this, CipherOperation::part, buffers, 0, in.remaining());
        }
        return given;
    }

    private static Buffers buffers(ByteBuffer in, ByteBuffer out) {
        Objects.requireNonNull(in, "in");
        if (out.isReadOnly()) {
            throw new ReadOnlyBufferException();
        }
        return new Buffers(in, out);
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
        return end(this, CipherOperation::rest, input, off, len);
    }

    /**
     * Ends the operation with the last of the input, from one buffer into another one. When that is all there is, the
     * token is given it in one part, as some mechanisms demand. Direct buffers are used where they lie, without a copy,
     * if both are.
     *
     * @param in has the rest of the input; none remains afterwards
     * @param out receives the rest of the output
     * @return how many bytes that are
     * @throws java.nio.BufferOverflowException when there is too little room; the operation goes on with what remains
     *         in the input then, unless the token has ended it
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public final int finish(ByteBuffer in, ByteBuffer out) {
        Buffers buffers = buffers(in, out);
        requireInput(in.remaining());
        return end(this, CipherOperation::rest, buffers, 0, in.remaining());
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
