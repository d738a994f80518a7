package velnor;

import java.util.Arrays;
import java.util.Objects;

/**
 * One attribute of an object on a token: a type and a value. The value is an {@link Integer} (a {@code CK_ULONG}), a
 * {@link Boolean}, a {@code byte[]}, a {@link String}, or null.
 *
 * <p>In a template that goes to a token, null is a value of no bytes. {@link Session} and its objects write a {@code
 * String} in UTF-8, and refuse a value whose class does not belong to the type with an {@link
 * IllegalArgumentException}. The methods of {@link velnor.nat} write modified UTF-8 with the number of characters as
 * its length, and look at no type.
 *
 * <p>In an attribute that was read, null means that the token did not give the value, or that the native library has no
 * conversion for the type: it converts the common types of keys, certificates and data, but not, among others, the
 * elliptic-curve attributes, the issuer and vendor-defined ones. A text arrives as {@code byte[]}.
 */
public final class Attribute {
    private final int type;
    private final Object value;

    /**
     * Makes an attribute.
     *
     * @param type the attribute type ({@code CKA_})
     * @param value an {@link Integer}, {@link Boolean}, {@link String} or {@code byte[]}, or null; an array is copied
     * @throws IllegalArgumentException when the value is of another class, which the native library would take for an
     *         array
     */
    public Attribute(int type, Object value) {
        if (value != null && !(value instanceof Integer) && !(value instanceof Boolean) && !(value instanceof String)
                && !(value instanceof byte[])) {
            throw new IllegalArgumentException("An attribute holds an Integer, a Boolean, a String or a byte[], not a "
                    + value.getClass().getName());
        }
        this.type = type;
        this.value = copy(value);
    }

    private static Object copy(Object value) {
        return value instanceof byte[] ? ((byte[]) value).clone() : value;
    }

    /**
     * Tells the attribute type.
     *
     * @return the {@code CKA_} constant, negative for vendor-defined types
     */
    public int type() {
        return type;
    }

    /**
     * Gives the value, whatever its class.
     *
     * @return an {@link Integer}, {@link Boolean}, {@link String}, {@code byte[]} (a copy) or null
     */
    public Object value() {
        return copy(value);
    }

    /** The value itself, for those that do not keep it: another copy of a key is another one to be read from memory. */
    Object uncopiedValue() {
        return value;
    }

    /**
     * Gives the value of a number.
     *
     * @return the low 32 bits of the {@code CK_ULONG}
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public int intValue() {
        return (Integer) Objects.requireNonNull(value, this::toString);
    }

    /**
     * Gives the value of a flag.
     *
     * @return the {@code CK_BBOOL}
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public boolean booleanValue() {
        return (Boolean) Objects.requireNonNull(value, this::toString);
    }

    /**
     * Gives the value of anything else.
     *
     * @return a copy of the bytes
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public byte[] bytesValue() {
        return ((byte[]) Objects.requireNonNull(value, this::toString)).clone();
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof Attribute && type == ((Attribute) other).type
                && Objects.deepEquals(value, ((Attribute) other).value);
    }

    @Override
    public int hashCode() {
        return 31 * type + (value instanceof byte[] ? Arrays.hashCode((byte[]) value) : Objects.hashCode(value));
    }

    /** The type and, unless it may be a key, the value: bytes and texts are told by their length alone. */
    @Override
    public String toString() {
        String shown = value instanceof byte[] ? ((byte[]) value).length + " bytes"
                : value instanceof String ? ((String) value).length() + " characters" : String.valueOf(value);
        return "Attribute[" + CKA.name(type) + ", " + shown + "]";
    }
}
