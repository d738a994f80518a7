package velnor.params;

import java.lang.reflect.Array;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.StandardCharsets;
import java.util.Objects;

/** Copies of arrays, which the caller may change or wipe afterwards, and what native code needs of them. */
final class Arrays {
    private Arrays() {
    }

    static byte[] copy(byte[] array) {
        return array == null ? null : array.clone();
    }

    static char[] copy(char[] array) {
        return array == null ? null : array.clone();
    }

    /** The first bytes of an array, with zeroes behind those of a shorter one. */
    static byte[] first(byte[] array, int count) {
        return java.util.Arrays.copyOf(array, count);
    }

    /** The characters in UTF-8; nothing else is left of them. */
    static byte[] utf8(char[] characters) {
        ByteBuffer encoded = StandardCharsets.UTF_8.encode(CharBuffer.wrap(characters));
        byte[] bytes = new byte[encoded.remaining()];
        encoded.get(bytes);
        wipe(encoded.array());
        return bytes;
    }

    static void wipe(byte[] array) {
        java.util.Arrays.fill(array, (byte) 0);
    }

    static int length(byte[] array) {
        return array == null ? 0 : array.length;
    }

    /** A length that was not checked, as far as there can be room for it. */
    static int room(int length, int most) {
        return Math.max(0, Math.min(length, most));
    }

    static void check(String name, Object array, int atLeast) {
        if (Array.getLength(Objects.requireNonNull(array, name)) < atLeast) {
            throw new IllegalArgumentException("The " + name + " has fewer than " + atLeast + " elements");
        }
    }

    /** The parameter must be what the advice says. */
    static void require(boolean sound, String advice) {
        if (!sound) {
            throw new IllegalArgumentException(advice);
        }
    }
}
