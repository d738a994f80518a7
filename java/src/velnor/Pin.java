package velnor;

import java.util.Arrays;
import java.util.Objects;

/** A PIN in UTF-8 during one call, wiped in the end; or none, for a reader with a PIN pad. */
final class Pin implements AutoCloseable {
    private final byte[] bytes;

    private Pin(byte[] bytes) {
        this.bytes = bytes;
    }

    /** A PIN that a string holds; there must be one. */
    static Pin of(String pin) {
        char[] characters = Objects.requireNonNull(pin, "PIN").toCharArray();
        try {
            return of(characters);
        } finally {
            Arrays.fill(characters, '\0');
        }
    }

    /**
     * A PIN; null for none.
     *
     * @throws IllegalArgumentException when it is empty, has a zero in it or half a surrogate pair
     */
    static Pin of(char[] pin) {
        return new Pin(pin == null ? null : encoded(pin));
    }

    private static byte[] encoded(char[] pin) {
        if (pin.length == 0) {
            throw new IllegalArgumentException("The PIN is empty");
        }
        return Checks.utf8(pin, "PIN");
    }

    /** The bytes; null for a PIN pad. */
    byte[] bytes() {
        return bytes;
    }

    int length() {
        return bytes == null ? 0 : bytes.length;
    }

    @Override
    public void close() {
        if (bytes != null) {
            Arrays.fill(bytes, (byte) 0);
        }
    }
}
