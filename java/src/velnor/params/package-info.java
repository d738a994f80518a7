/**
 * Parameters of mechanisms, handed to {@link velnor.Mechanism#Mechanism(int, Object)}.
 *
 * <p>Each class serves the mechanisms that it names. The native library reads the fields by name and does not look at
 * the class first: an object of another class than the mechanism's own is undefined behaviour, not an exception (OAEP
 * alone is checked). Constructors copy the arrays they are given; a null array is refused by the native library with a
 * text that names it, unless the class says that it may be null. Numbers are widened with their sign.
 *
 * <p>{@link velnor.Session} looks at all of that before native code does, and throws an {@link
 * IllegalArgumentException} or a {@link NullPointerException}.
 */
package velnor.params;
