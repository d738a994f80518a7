package velnor.nat;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;
import java.util.Objects;

/**
 * A C structure as {@link NativeFunctions} takes it: one block of memory that holds the structure, the blocks it points
 * to and what those point to, with the places of all pointers. Native code copies the block, unless it lies in a direct
 * buffer, and turns the pointers, which are offsets here, into addresses. Numbers are little-endian.
 *
 * <p>The bytes for native code ({@link #bytes()}) are a head of four {@code int}s (the size of the block, the length of
 * the structure at its beginning, the number of pointers, and 1 if the block comes back, else 0), the block, and the
 * place of each pointer, a multiple of 8, as an {@code int}. In a block that comes back, a pointer that leads out of it
 * is -1.
 *
 * <p>The block grows as blocks are added; what it had is wiped when it moves. It may hold a secret, so {@link #wipe()}
 * it after use.
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

    /**
     * Takes bytes as they are, such as an initialisation vector or a vendor's parameter.
     *
     * @param value the bytes
     * @return the structure, which has no pointers
     */
    public static Structure of(byte[] value) {
        return new Structure(value.length).putBytes(0, value);
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
        block.putLong(within(at, WORD), value);
        return this;
    }

    /**
     * Writes a {@code CK_ULONG} of at most 32 bits.
     *
     * @param at where
     * @param value the number, without a sign
     * @return this
     */
    public Structure putNumber(int at, int value) {
        return putLong(at, Integer.toUnsignedLong(value));
    }

    /**
     * Writes a {@code CK_BBOOL}.
     *
     * @param at where
     * @param value the truth
     * @return this
     */
    public Structure putBoolean(int at, boolean value) {
        return putByte(at, (byte) (value ? 1 : 0));
    }

    /**
     * Writes a byte.
     *
     * @param at where
     * @param value the byte
     * @return this
     */
    public Structure putByte(int at, byte value) {
        block.put(within(at, 1), value);
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
        System.arraycopy(value, 0, block.array(), within(at, value.length), value.length);
        return this;
    }

    private int within(int at, int count) {
        return Objects.checkFromIndexSize(at, count, size);
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
     * Adds a block of bytes, points to it and writes how many they are. Null and an empty array are a null pointer and
     * 0.
     *
     * @param pointerAt where the pointer is
     * @param lengthAt where the number of bytes is
     * @param value the bytes, or null
     * @return this
     */
    public Structure putCounted(int pointerAt, int lengthAt, byte[] value) {
        if (value != null && value.length > 0) {
            point(pointerAt, value);
            putLong(lengthAt, value.length);
        }
        return this;
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
        putLong(pointerAt, at);
        if (pointerCount == pointers.length) {
            pointers = Arrays.copyOf(pointers, 2 * pointerCount);
        }
        pointers[pointerCount++] = pointerAt;
        return this;
    }

    private void grow(int needed) {
        long capacity = Math.min(Integer.MAX_VALUE - 64, Math.max(needed, 2L * block.capacity()));
        ByteBuffer larger = ByteBuffer.allocate((int) capacity).order(ByteOrder.LITTLE_ENDIAN);
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
            byte[] made = new byte[size()];
            lay(ByteBuffer.wrap(made));
            bytes = made;
        }
        return bytes;
    }

    /**
     * Tells how many bytes native code is given.
     *
     * @return the size of the head, the block and the places
     */
    public int size() {
        return HEAD + size + Integer.BYTES * pointerCount;
    }

    /**
     * Lays the bytes for native code into memory from its first byte on. In a direct buffer native code makes addresses
     * of the pointers, so that the bytes are good for one call.
     *
     * @param memory the memory; its position and its limit do not matter and stay
     * @throws java.nio.BufferOverflowException when the memory is smaller than {@link #size()}
     */
    public void lay(ByteBuffer memory) {
        ByteBuffer to = memory.duplicate().clear().order(ByteOrder.LITTLE_ENDIAN);
        to.putInt(size).putInt(length).putInt(pointerCount).putInt(comesBack ? 1 : 0);
        to.put(block.array(), 0, size);
        for (int i = 0; i < pointerCount; i++) {
            to.putInt(pointers[i]);
        }
    }

    /**
     * Takes over what a module has written into memory where the structure was laid. Pointers are what they were: no
     * address is believed. A structure that does not come back stays as it is.
     *
     * @param memory the memory
     */
    public void takeBack(ByteBuffer memory) {
        if (comesBack) {
            long[] targets = new long[pointerCount];
            for (int i = 0; i < pointerCount; i++) {
                targets[i] = block.getLong(pointers[i]);
            }
            memory.duplicate().clear().position(HEAD).get(block.array(), 0, size);
            for (int i = 0; i < pointerCount; i++) {
                block.putLong(pointers[i], targets[i]);
            }
            if (bytes != null) {
                System.arraycopy(block.array(), 0, bytes, HEAD, size);
            }
        }
    }

    /**
     * Reads a number of what came back.
     *
     * @param at where
     * @return the number; for a pointer the offset of what it points to, or -1
     */
    public long getLong(int at) {
        within(at, WORD);
        return bytes == null ? block.getLong(at)
                : ByteBuffer.wrap(bytes).order(ByteOrder.LITTLE_ENDIAN).getLong(HEAD + at);
    }

    /**
     * Reads bytes of what came back.
     *
     * @param at where
     * @param count how many
     * @return a copy of the bytes
     */
    public byte[] getBytes(int at, int count) {
        within(at, count);
        int from = bytes == null ? at : HEAD + at;
        return Arrays.copyOfRange(bytes == null ? block.array() : bytes, from, from + count);
    }

    /**
     * Reads bytes of what came back, where a pointer points.
     *
     * @param pointerAt where the pointer is
     * @param count how many
     * @return a copy of the bytes; null when the pointer was null, or no longer points where it did
     */
    public byte[] getPointed(int pointerAt, int count) {
        long at = getLong(pointerAt);
        return at <= 0 ? null : getBytes((int) Math.min(at, Integer.MAX_VALUE), count);
    }

    /** Wipes the block and the bytes that were made of it. */
    public void wipe() {
        Arrays.fill(block.array(), (byte) 0);
        if (bytes != null) {
            Arrays.fill(bytes, (byte) 0);
        }
    }
}
