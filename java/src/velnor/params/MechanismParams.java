package velnor.params;

/**
 * A parameter that the native library can pass on. The classes of this package implement it; there are no others.
 */
public interface MechanismParams {
    /**
     * Looks whether native code can take the parameter whole. {@link velnor.Session} does it before every call; {@link
     * velnor.nat} does not, and starts operations with zeroes in the place of bytes that are not there.
     *
     * @throws NullPointerException when an array that has to be there is null
     * @throws IllegalArgumentException when an array is too short
     */
    default void check() {
    }
}
