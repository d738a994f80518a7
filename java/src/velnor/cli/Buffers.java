package velnor.cli;

import java.nio.ByteBuffer;

/** Memory outside of the heap, where no collector makes copies of what is in it. */
final class Buffers {
    private static final int SIZE = 1 << 16;

    private Buffers() {
    }

    static ByteBuffer make() {
        return ByteBuffer.allocateDirect(SIZE);
    }

    static void wipe(ByteBuffer buffer) {
        buffer.clear();
        buffer.put(new byte[buffer.capacity()]);
        buffer.clear();
    }
}
