package velnor.params;

import java.lang.reflect.Array;
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

    static void check(String name, Object array, int atLeast) {
        if (Array.getLength(Objects.requireNonNull(array, name)) < atLeast) {
            throw new IllegalArgumentException("The " + name + " has fewer than " + atLeast + " elements");
        }
    }
}
