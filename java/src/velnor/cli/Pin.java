package velnor.cli;

import java.util.Arrays;

/** A PIN that never becomes a string here, and is wiped after its use. */
final class Pin implements AutoCloseable {
    private final char[] characters;

    /** Takes the array over. */
    Pin(char[] characters) {
        this.characters = characters;
    }

    char[] characters() {
        return characters;
    }

    boolean isSameAs(Pin other) {
        return Arrays.equals(characters, other.characters);
    }

    @Override
    public void close() {
        Arrays.fill(characters, '\0');
    }
}
