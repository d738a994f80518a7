package velnor;

import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.time.DateTimeException;
import java.time.LocalDate;
import java.time.format.DateTimeFormatter;
import java.util.Arrays;
import java.util.Objects;
import java.util.Optional;

import velnor.der.Der;

/**
 * One attribute of an object on a token: a type and a value.
 *
 * <p>In a template that goes to a token the value is
 * <ul>
 * <li>an {@link Integer} (without a sign) or a {@link Long}: a {@code CK_ULONG},</li>
 * <li>a {@link Boolean},</li>
 * <li>a {@code byte[]}, a {@link String} (UTF-8), a {@link BigInteger} (not negative; its bytes, the highest first) or
 * a {@link LocalDate} (a {@code CK_DATE}),</li>
 * <li>a {@code long[]} or {@code int[]}: mechanism types, as {@code CKA_ALLOWED_MECHANISMS} has them,</li>
 * <li>an {@code Attribute[]}: a template, as {@code CKA_WRAP_TEMPLATE} has it, or</li>
 * <li>null: a value of no bytes.</li>
 * </ul>
 * {@link Session} and its objects refuse a value whose class does not belong to the type with an {@link
 * IllegalArgumentException}.
 *
 * <p>An attribute that was read tells by its {@link #availability()} whether the token gave a value, and what else.
 * Numbers arrive as {@link Integer} where 32 bits are enough, else as {@link Long}; flags as {@link Boolean}; mechanism
 * types as {@code long[]}, templates as {@code Attribute[]}; everything else, texts, dates, big numbers and what is not
 * of the standard among them, as {@code byte[]}, which {@link #text()}, {@link #dateValue()} and {@link
 * #bigIntegerValue()} understand. A number or flag whose length is not that of one arrives as {@code byte[]}, too.
 *
 * <p>The methods of {@link velnor.nat.NativeSession} know {@link Integer}, {@link Boolean}, {@code byte[]} and {@link
 * String} (in modified UTF-8, with the number of characters as its length) and look at no type; they see the bytes of a
 * value of another class, no bytes for a template, and the low 32 bits of the type. What they read has a null value
 * where they have no conversion.
 */
public final class Attribute {
    /** What a token has answered for an attribute. */
    public enum Availability {
        /** There is a value. */
        PRESENT,
        /** The object has the attribute, and the value has no bytes. */
        EMPTY,
        /** The object has the attribute, and the token does not give the value away. */
        SENSITIVE,
        /** The object does not have the attribute, or the token does not know it. */
        ABSENT
    }

    private static final DateTimeFormatter DATE = DateTimeFormatter.BASIC_ISO_DATE;
    private static final int NUMBER_BYTES = 8;

    /** The low 32 bits of the type. Native code looks it up by its name, as the value. */
    private final int type;
    /** The value in one of the four classes that native code knows, or null. */
    private final Object value;
    private final long typeCode;
    /** The value: a Long, Boolean, byte[], String, BigInteger, LocalDate, long[], Attribute[], or null. */
    private final Object content;
    private final Availability availability;

    /**
     * Makes an attribute.
     *
     * @param type the attribute type ({@code CKA_}); a negative one is that of the same 32 bits
     * @param value the value, of a class that is named above, or null; an array is copied
     * @throws IllegalArgumentException when the value is of another class, or negative
     */
    public Attribute(int type, Object value) {
        this(Integer.toUnsignedLong(type), value);
    }

    /**
     * Makes an attribute.
     *
     * @param typeCode the attribute type, all 64 bits of it
     * @param value the value, of a class that is named above, or null; an array is copied
     * @throws IllegalArgumentException when the value is of another class, or negative
     */
    public Attribute(long typeCode, Object value) {
        this(typeCode, content(value), null);
    }

    private Attribute(long typeCode, Object content, Availability refused) {
        this.typeCode = typeCode;
        this.content = content;
        type = (int) typeCode;
        value = refused != null ? null : legacy(content);
        availability = refused != null ? refused : isEmpty(content) ? Availability.EMPTY : Availability.PRESENT;
    }

    /** An attribute that the token did not give a value for. */
    static Attribute refused(long typeCode, Availability why) {
        return new Attribute(typeCode, null, why);
    }

    private static Object content(Object value) {
        if (value instanceof Integer) {
            return Integer.toUnsignedLong((Integer) value);
        }
        if (value instanceof int[]) {
            return Arrays.stream((int[]) value).mapToLong(Integer::toUnsignedLong).toArray();
        }
        if (value instanceof BigInteger && ((BigInteger) value).signum() < 0) {
            throw new IllegalArgumentException("An attribute holds no negative number");
        }
        if (value instanceof Attribute[]) {
            for (Attribute attribute : (Attribute[]) value) {
                Objects.requireNonNull(attribute, "an attribute of the template");
            }
        }
        if (value == null || value instanceof Long || value instanceof Boolean || value instanceof String
                || value instanceof byte[] || value instanceof BigInteger || value instanceof LocalDate
                || value instanceof long[] || value instanceof Attribute[]) {
            return copy(value);
        }
        throw new IllegalArgumentException("An attribute holds an Integer, a Long, a Boolean, a String, a byte[],"
                + " a BigInteger, a LocalDate, a long[], an int[] or an Attribute[], not a "
                + value.getClass().getName());
    }

    private static Object legacy(Object content) {
        if (content instanceof Long) {
            Object number = narrowed((Long) content);
            return number instanceof Integer ? number : bytes(number);
        }
        return content == null || content instanceof Boolean || content instanceof String || content instanceof byte[]
                ? content : content instanceof Attribute[] ? null : bytes(content);
    }

    /** A number as it was read ever since: an Integer, where the low 32 bits are the number or -1. */
    private static Object narrowed(long number) {
        return number == Integer.toUnsignedLong((int) number) || number == -1 ? (Object) (int) number
                : (Object) number;
    }

    private static boolean isEmpty(Object content) {
        return content == null || !(content instanceof Attribute[] ? ((Attribute[]) content).length > 0
                : bytes(content).length > 0);
    }

    /** What a token is given for a value, but a template's. */
    private static byte[] bytes(Object content) {
        if (content instanceof byte[]) {
            return (byte[]) content;
        }
        if (content instanceof Long) {
            return numbers((Long) content);
        }
        if (content instanceof Boolean) {
            return new byte[] {(byte) ((Boolean) content ? 1 : 0)};
        }
        if (content instanceof String) {
            return ((String) content).getBytes(StandardCharsets.UTF_8);
        }
        if (content instanceof BigInteger) {
            return Der.unsigned((BigInteger) content);
        }
        if (content instanceof LocalDate) {
            return ((LocalDate) content).format(DATE).getBytes(StandardCharsets.US_ASCII);
        }
        return numbers((long[]) content);
    }

    private static byte[] numbers(long... numbers) {
        ByteBuffer bytes = ByteBuffer.allocate(NUMBER_BYTES * numbers.length).order(ByteOrder.LITTLE_ENDIAN);
        bytes.asLongBuffer().put(numbers);
        return bytes.array();
    }

    private static Object copy(Object value) {
        return value instanceof byte[] ? ((byte[]) value).clone()
                : value instanceof long[] ? ((long[]) value).clone()
                : value instanceof Attribute[] ? ((Attribute[]) value).clone() : value;
    }

    /**
     * Tells the attribute type as far as an {@code int} has room, which is all of it for those of the standard.
     *
     * @return the {@code CKA_} constant, negative for vendor-defined types
     */
    public int type() {
        return type;
    }

    /**
     * Tells the attribute type.
     *
     * @return all 64 bits of it
     */
    public long typeCode() {
        return typeCode;
    }

    /**
     * Tells what the token has answered. An attribute that a program made is present, or empty.
     *
     * @return whether there is a value, and why not
     */
    public Availability availability() {
        return availability;
    }

    /**
     * Gives the value, whatever its class.
     *
     * @return the value, an array as a copy. A number that fits is an {@link Integer}; {@code ~0}, which says that
     *         something is not known, is -1. Null when there is none: for what was read, when it is sensitive or absent
     */
    public Object value() {
        return content instanceof Long ? narrowed((Long) content) : copy(content);
    }

    /** The value itself, for those that do not keep it: another copy of a key is another one to be read from memory. */
    Object uncopiedValue() {
        return content;
    }

    /** What a token is given; null for no bytes, and the array itself where the value is one. */
    byte[] uncopiedBytes() {
        return isEmpty(content) || content instanceof Attribute[] ? null : bytes(content);
    }

    private Object required() {
        return Objects.requireNonNull(content, this::toString);
    }

    /**
     * Gives the value of a number.
     *
     * @return the low 32 bits of the {@code CK_ULONG}
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public int intValue() {
        return (int) longValue();
    }

    /**
     * Gives the value of a number.
     *
     * @return the {@code CK_ULONG}; -1 is {@code ~0}, which says that something is not known
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public long longValue() {
        return (Long) required();
    }

    /**
     * Gives the value of a flag.
     *
     * @return the {@code CK_BBOOL}
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public boolean booleanValue() {
        return (Boolean) required();
    }

    /**
     * Gives the bytes of anything that is neither a number, a flag, a text nor a template.
     *
     * @return a copy of the bytes, or the bytes that a big number, a date or mechanism types are
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public byte[] bytesValue() {
        Object present = required();
        return present instanceof BigInteger || present instanceof LocalDate || present instanceof long[]
                ? bytes(present) : ((byte[]) present).clone();
    }

    /**
     * Gives the value of a text.
     *
     * @return the text; what was read is taken for UTF-8
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public String text() {
        Object present = required();
        return present instanceof byte[] ? new String((byte[]) present, StandardCharsets.UTF_8) : (String) present;
    }

    /**
     * Gives the value of a big number, such as {@code CKA_MODULUS}.
     *
     * @return the number; what was read is taken for bytes of one without a sign, the highest first
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public BigInteger bigIntegerValue() {
        Object present = required();
        return present instanceof byte[] ? new BigInteger(1, (byte[]) present) : (BigInteger) present;
    }

    /**
     * Gives the value of a date, such as {@code CKA_START_DATE}.
     *
     * @return the date; empty when the value has no bytes, or those of no date, such as zeroes
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public Optional<LocalDate> dateValue() {
        Object present = required();
        if (!(present instanceof byte[])) {
            return Optional.of((LocalDate) present);
        }
        try {
            return Optional.of(LocalDate.parse(new String((byte[]) present, StandardCharsets.US_ASCII), DATE));
        } catch (DateTimeException none) {
            return Optional.empty();
        }
    }

    /**
     * Gives the value of mechanism types.
     *
     * @return a copy of the types
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public long[] mechanismsValue() {
        return ((long[]) required()).clone();
    }

    /**
     * Gives the value of a template.
     *
     * @return a copy of the array of its attributes
     * @throws ClassCastException when the value is of another class
     * @throws NullPointerException when there is no value
     */
    public Attribute[] templateValue() {
        return ((Attribute[]) required()).clone();
    }

    /** Whether type and value are the same. */
    @Override
    public boolean equals(Object other) {
        return other instanceof Attribute && typeCode == ((Attribute) other).typeCode
                && Objects.deepEquals(content, ((Attribute) other).content);
    }

    @Override
    public int hashCode() {
        return 31 * Long.hashCode(typeCode) + Arrays.deepHashCode(new Object[] {content});
    }

    /** The type and, unless it may be a key, the value: bytes and texts are told by their length alone. */
    @Override
    public String toString() {
        return "Attribute[" + name(typeCode) + ", " + shown() + "]";
    }

    /** The name of a type; for one beyond 32 bits its number. */
    static String name(long typeCode) {
        return typeCode == Integer.toUnsignedLong((int) typeCode) ? CKA.name((int) typeCode)
                : "CKA " + Texts.hex(typeCode);
    }

    private String shown() {
        if (content instanceof byte[] || content instanceof BigInteger) {
            return bytes(content).length + " bytes";
        }
        if (content instanceof String) {
            return ((String) content).length() + " characters";
        }
        if (content instanceof long[]) {
            return ((long[]) content).length + " mechanisms";
        }
        if (content instanceof Attribute[]) {
            return Arrays.toString((Attribute[]) content);
        }
        return content instanceof Long ? narrowed((Long) content).toString()
                : content == null && availability != Availability.EMPTY ? availability.toString()
                : String.valueOf(content);
    }
}
