package velnor.jca;

import java.io.ByteArrayOutputStream;
import java.util.Arrays;

/** Bytes that wait for their operation. They are wiped when they have gone into it. */
final class Collected extends ByteArrayOutputStream {
    private static final int USUAL = 256;
    /** What waits here at most of a message that a token takes in parts; of a longer one a session is held. */
    private static final int MOST = 1 << 13;

    Collected() {
        super(USUAL);
    }

    /** Whether so much more may wait. */
    boolean takes(int more) {
        return more <= MOST - count;
    }

    byte[] array() {
        return buf;
    }

    @Override
    public synchronized void write(int b) {
        makeRoom(1);
        super.write(b);
    }

    @Override
    public synchronized void write(byte[] bytes, int off, int len) {
        makeRoom(len);
        super.write(bytes, off, len);
    }

    /** Grows by itself, since the stream would leave what it has in its old array. */
    private void makeRoom(int more) {
        int wanted = Math.addExact(count, more);
        if (wanted > buf.length) {
            byte[] old = buf;
            buf = Arrays.copyOf(old, Math.max(wanted, (int) Math.min(2L * old.length, Integer.MAX_VALUE - 8)));
            Arrays.fill(old, 0, count, (byte) 0);
        }
    }

    /** Forgets everything. */
    void wipe() {
        Arrays.fill(buf, 0, count, (byte) 0);
        reset();
    }
}
