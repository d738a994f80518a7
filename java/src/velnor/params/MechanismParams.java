package velnor.params;

import velnor.nat.Structure;

/**
 * A parameter of a mechanism. The classes of this package implement it; there are no others: what they do not know is
 * laid out by a {@link StructureParams}, and a vendor's parameter without pointers can be a {@code byte[]}.
 *
 * <p>What a parameter is made with never changes, so that any number of threads can use one. What a token writes into
 * it, such as an initialisation vector that it made, is to be had from the same object after the call, and replaced by
 * the next call; whoever wants that uses an object of its own for each call.
 */
public interface MechanismParams {
    /**
     * Looks whether a token can make sense of the parameter. {@link velnor.Session} does it before every call; {@link
     * velnor.nat} does not, and starts operations with zeroes in the place of bytes that are not there.
     *
     * @throws NullPointerException when an array that has to be there is null
     * @throws IllegalArgumentException when an array is too short, or a number impossible
     */
    default void check() {
    }

    /**
     * Lays the parameter out as the C structure of PKCS#11, in its standard meaning. Wipe it after use: it may hold a
     * password.
     *
     * @return a structure of its own at each call
     */
    Structure structure();

    /**
     * Takes over what a module has written into the structure. {@link velnor.Session} does it after every call that
     * went well, and for an operation when it has begun and when it has come to its end.
     *
     * @param structure what {@link #structure()} gave, after native code has copied it back
     * @throws IndexOutOfBoundsException when it is the structure of another parameter
     */
    default void takeBack(Structure structure) {
    }
}
