package harlune.token;

import java.util.Arrays;
import java.util.Random;

/** Byte arrays to work on. */
public final class Bytes {
    /** What {@link #around} and {@link #blank} fill arrays with, so that a stray write shows. */
    private static final byte FILL = 0x5A;

    private Bytes() {
    }

    /** Bytes without a pattern, the same in each run. */
    public static byte[] bytes(int length) {
        byte[] bytes = new byte[length];
        new Random(length).nextBytes(bytes);
        return bytes;
    }

    public static byte[] blank(int length) {
        byte[] bytes = new byte[length];
        Arrays.fill(bytes, FILL);
        return bytes;
    }

    /** The bytes with others in front of them and behind. */
    public static byte[] around(int before, byte[] bytes, int after) {
        return joined(blank(before), bytes, blank(after));
    }

    public static byte[] joined(byte[]... parts) {
        byte[] all = new byte[Arrays.stream(parts).mapToInt(part -> part.length).sum()];
        int at = 0;
        for (byte[] part : parts) {
            System.arraycopy(part, 0, all, at, part.length);
            at += part.length;
        }
        return all;
    }

    public static byte[] first(byte[] bytes, int length) {
        return Arrays.copyOf(bytes, length);
    }

    public static byte[] from(byte[] bytes, int begin) {
        return Arrays.copyOfRange(bytes, begin, bytes.length);
    }
}
