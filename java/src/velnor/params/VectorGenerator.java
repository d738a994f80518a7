package velnor.params;

/** Who makes the vector of a message: {@code CKG_NO_GENERATE} and its like. */
public enum VectorGenerator {
    /** The program: the token takes the vector as it is. */
    NONE,
    /** The token, in whatever way. */
    ANY,
    /** The token, which counts. */
    COUNTER,
    /** The token, at random. */
    RANDOM,
    /** The token, which counts and combines that with a vector by an exclusive or. */
    COUNTER_XOR;

    /** The number in the C structures. */
    int number() {
        return ordinal();
    }
}
