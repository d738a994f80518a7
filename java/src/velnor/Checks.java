package velnor;

import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CoderResult;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.Objects;

/** Texts for a module, which are looked at before they go there. */
final class Checks {
    private static final int LABEL_BYTES = 32;
    private static final int MOST_BYTES_OF_A_CHAR = 3;

    private Checks() {
    }

    /** A token label in UTF-8 that fills its field, with blanks at its end. */
    static byte[] label(String label) {
        byte[] bytes = text(label, "label");
        if (bytes.length > LABEL_BYTES) {
            throw new IllegalArgumentException("The label has more than " + LABEL_BYTES + " bytes");
        }
        byte[] field = Arrays.copyOf(bytes, LABEL_BYTES);
        Arrays.fill(field, bytes.length, LABEL_BYTES, (byte) ' ');
        return field;
    }

    /** A text in UTF-8. */
    static byte[] text(String text, String what) {
        return utf8(Objects.requireNonNull(text, what).toCharArray(), what);
    }

    /**
     * Characters in UTF-8. Nothing of them is left in memory but in what is returned.
     *
     * @throws IllegalArgumentException when there is a zero among them, or half a surrogate pair
     */
    static byte[] utf8(char[] characters, String what) {
        for (char c : characters) {
            if (c == 0) {
                throw new IllegalArgumentException("The " + what + " has a zero in it");
            }
        }
        ByteBuffer room = ByteBuffer.allocate(Math.multiplyExact(characters.length, MOST_BYTES_OF_A_CHAR));
        try {
            CoderResult end = StandardCharsets.UTF_8.newEncoder().encode(CharBuffer.wrap(characters), room, true);
            if (end.isError()) {
                throw new IllegalArgumentException("The " + what + " has half a surrogate pair in it");
            }
            return Arrays.copyOf(room.array(), room.position());
        } finally {
            Arrays.fill(room.array(), (byte) 0);
        }
    }
}
