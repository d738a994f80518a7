package velnor.params;

import velnor.CKG;

/** Who makes the vector of a message: {@code CKG_NO_GENERATE} and its like. */
public enum VectorGenerator {
    /** The program: the token takes the vector as it is. */
    NONE(CKG.NO_GENERATE),
    /** The token, in whatever way. */
    ANY(CKG.GENERATE),
    /** The token, which counts. */
    COUNTER(CKG.GENERATE_COUNTER),
    /** The token, at random. */
    RANDOM(CKG.GENERATE_RANDOM),
    /** The token, which counts and combines that with a vector by an exclusive or. */
    COUNTER_XOR(CKG.GENERATE_COUNTER_XOR);

    private final int number;

    VectorGenerator(int number) {
        this.number = number;
    }

    /** The number in the C structures. */
    int number() {
        return number;
    }
}
