package velnor.table;

import java.util.OptionalInt;

/** What is meant by whoever makes or has a key of some type and names no mechanism. */
public final class UsualMechanisms {
    static final UsualMechanisms NONE = new UsualMechanisms(null, null, null);

    private final Integer generation;
    private final Integer signature;
    private final Integer cipher;

    UsualMechanisms(Integer generation, Integer signature, Integer cipher) {
        this.generation = generation;
        this.signature = signature;
        this.cipher = cipher;
    }

    /**
     * Tells how such a key is made.
     *
     * @return the mechanism, empty when there is not one that is meant
     */
    public OptionalInt generation() {
        return optional(generation);
    }

    /**
     * Tells how such a key signs or makes a MAC.
     *
     * @return the mechanism, empty when there is not one that is meant
     */
    public OptionalInt signature() {
        return optional(signature);
    }

    /**
     * Tells how such a key encrypts.
     *
     * @return the mechanism, empty when there is not one that is meant
     */
    public OptionalInt cipher() {
        return optional(cipher);
    }

    private static OptionalInt optional(Integer mechanism) {
        return mechanism == null ? OptionalInt.empty() : OptionalInt.of(mechanism);
    }
}
