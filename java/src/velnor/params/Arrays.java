package velnor.params;

/** Copies of arrays, which the caller may change or wipe afterwards. */
final class Arrays {
    private Arrays() {
    }

    static byte[] copy(byte[] array) {
        return array == null ? null : array.clone();
    }

    static char[] copy(char[] array) {
        return array == null ? null : array.clone();
    }
}
