/**
 * Parameters of mechanisms, handed to {@link velnor.Mechanism#Mechanism(int, Object)}.
 *
 * <p>Each class serves the mechanisms that it names. Constructors copy the arrays they are given; null is allowed where
 * the class says so. {@link velnor.Session} checks a parameter before every call and throws an {@link
 * IllegalArgumentException} or a {@link NullPointerException}; then it gives the token the C structure that {@link
 * velnor.params.MechanismParams#structure()} lays out. Numbers of 32 bits are widened without a sign.
 *
 * <p>The methods of {@link velnor.nat.NativeSession} read the fields of the classes that stand in their table by name,
 * and do not look at the class first: an object of another class than the mechanism's own is undefined behaviour, not
 * an exception (OAEP alone is checked). They refuse a null array with a text that names it, unless the class says that
 * it may be null, and widen numbers with their sign.
 */
package velnor.params;
