package velnor.nat;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;

/**
 * A C structure as {@link NativeFunctions} takes it: one block of memory that holds the structure, the blocks it points
 * to and what those point to, with the places of all pointers. Native code copies the block and turns the pointers, which
 * are offsets here, into addresses. Numbers are little-endian.
 *
 * <p>The bytes for native code ({@link #bytes()}) are a head of four {@code int}s (the size of the block, the length of
 * the structure at its beginning, the number of pointers, and 1 if the block comes back, else 0), the block, and the place
 * of each pointer, a multiple of 8, as an {@code int}. In a block that comes back, a pointer that leads out of it is -1.
 *
 * <p>The block grows as blocks are added; what it had is wiped when it moves. It may hold a secret, so {@link #wipe()} it
 * after use.
 */
public final class Structure {
    /** The size of a pointer, and of a {@code CK_ULONG}. */
    public static final int WORD = 8;
    /** The size of a {@code CK_ATTRIBUTE}. */
    public static final int ATTRIBUTE = 3 * WORD;

    private static final int HEAD = 16;

    private final int length;
    private ByteBuffer block;
    private int size;
    private int[] pointers = new int[4];
    private int pointerCount;
    private boolean comesBack;
    private byte[] bytes;

    /**
     * Begins a structure of zeroes.
     *
     * @param length the size of the C structure; for a template that of all its attributes
     */
    public Structure(int length) {
        if (length < 0) {
            throw new IllegalArgumentException("A negative length: " + length);
        }
        this.length = length;
        block = ByteBuffer.allocate(Math.max(aligned(length), 64)).order(ByteOrder.LITTLE_ENDIAN);
        size = aligned(length);
    }

    /** The size of blocks that begin where any C type may lie. */
    private static int aligned(int size) {
        return Math.addExact(size, WORD - 1) & -WORD;
    }

    /**
     * Has the block copied back from native code after the call.
     *
     * @return this
     */
    public Structure comesBack() {
        comesBack = true;
        return this;
    }

    /**
     * Writes a {@code CK_ULONG}, or any other 64-bit number.
     *
     * @param at where
     * @param value the number
     * @return this
     */
    public Structure putLong(int at, long value) {
        block.putLong(at, value);
        return this;
    }

    /**
     * Writes a byte.
     *
     * @param at where
     * @param value the byte
     * @return this
     */
    public Structure putByte(int at, byte value) {
        block.put(at, value);
        return this;
    }

    /**
     * Writes bytes where they are to lie.
     *
     * @param at where
     * @param value the bytes
     * @return this
     */
    public Structure putBytes(int at, byte[] value) {
        System.arraycopy(value, 0, block.array(), at, value.length);
        return this;
    }

    /**
     * Adds a block of bytes and points to it. Null leaves a null pointer.
     *
     * @param pointerAt where the pointer is
     * @param value the bytes, or null
     * @return where the block begins, or -1 for a null pointer
     */
    public int point(int pointerAt, byte[] value) {
        if (value == null) {
            return -1;
        }
        int at = point(pointerAt, value.length);
        putBytes(at, value);
        return at;
    }

    /**
     * Adds a block of zeroes and points to it.
     *
     * @param pointerAt where the pointer is
     * @param blockSize the block's size
     * @return where the block begins
     */
    public int point(int pointerAt, int blockSize) {
        int at = size;
        int end = aligned(Math.addExact(size, Math.max(blockSize, 1)));
        if (end > block.capacity()) {
            grow(end);
        }
        size = end;
        pointTo(pointerAt, at);
        return at;
    }

    /**
     * Points to a block that was added before.
     *
     * @param pointerAt where the pointer is
     * @param at where the block begins
     * @return this
     */
    public Structure pointTo(int pointerAt, int at) {
        block.putLong(pointerAt, at);
        if (pointerCount == pointers.length) {
            pointers = Arrays.copyOf(pointers, 2 * pointerCount);
        }
        pointers[pointerCount++] = pointerAt;
        return this;
    }

    private void grow(int needed) {
        ByteBuffer larger = ByteBuffer.allocate((int) Math.min(Integer.MAX_VALUE - 64, Math.max(needed, 2L * block.capacity())))
                .order(ByteOrder.LITTLE_ENDIAN);
        System.arraycopy(block.array(), 0, larger.array(), 0, size);
        Arrays.fill(block.array(), (byte) 0);
        block = larger;
    }

    /**
     * Makes the bytes for native code. What the structure is told afterwards is not in them.
     *
     * @return the bytes; the same array at each call
     */
    public byte[] bytes() {
        if (bytes == null) {
            ByteBuffer made = ByteBuffer.allocate(HEAD + size + Integer.BYTES * pointerCount).order(ByteOrder.LITTLE_ENDIAN);
            made.putInt(size).putInt(length).putInt(pointerCount).putInt(comesBack ? 1 : 0);
            made.put(block.array(), 0, size);
            for (int i = 0; i < pointerCount; i++) {
                made.putInt(pointers[i]);
            }
            bytes = made.array();
        }
        return bytes;
    }

    /**
     * Reads a number of what came back.
     *
     * @param at where
     * @return the number; for a pointer the offset of what it points to, or -1
     */
    public long getLong(int at) {
        return ByteBuffer.wrap(bytes()).order(ByteOrder.LITTLE_ENDIAN).getLong(HEAD + at);
    }

    /**
     * Reads bytes of what came back.
     *
     * @param at where
     * @param count how many
     * @return a copy of the bytes
     */
    public byte[] getBytes(int at, int count) {
        if (at < 0 || count < 0 || count > size - at) {
            throw new IndexOutOfBoundsException(count + " bytes at " + at + " of " + size);
        }
        return Arrays.copyOfRange(bytes(), HEAD + at, HEAD + at + count);
    }

    /** Wipes the block and the bytes that were made of it. */
    public void wipe() {
        Arrays.fill(block.array(), (byte) 0);
        if (bytes != null) {
            Arrays.fill(bytes, (byte) 0);
        }
    }
}
