package velnor;

import java.nio.charset.StandardCharsets;
import java.util.Objects;

/** What is looked at before native code sees it. */
final class Checks {
    private static final int LABEL_BYTES = 32;

    private Checks() {
    }

    /**
     * A PIN that the token will be given exactly as it is: not empty, and without the characters of which native code
     * sees another form than UTF-8.
     */
    static void pin(String pin) {
        nativeText(pin, "PIN");
        if (pin.isEmpty()) {
            throw new IllegalArgumentException("The PIN is empty");
        }
    }

    /** A token label that fits its field. */
    static void label(String label) {
        nativeText(label, "label");
        if (label.getBytes(StandardCharsets.UTF_8).length > LABEL_BYTES) {
            throw new IllegalArgumentException("The label has more than " + LABEL_BYTES + " bytes");
        }
    }

    private static void nativeText(String text, String what) {
        Objects.requireNonNull(text, what);
        if (text.chars().anyMatch(c -> c == 0 || Character.isSurrogate((char) c))) {
            throw new IllegalArgumentException("The " + what
                    + " has a zero or a character beyond U+FFFF, which the native library cannot pass on as UTF-8");
        }
    }
}
