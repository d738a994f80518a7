package velnor;

import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Objects;
import java.util.OptionalInt;

import velnor.nat.Function;
import velnor.nat.Structure;

/**
 * An object on a token: a key, a certificate, data. It knows the session that found or made it and works through it;
 * other sessions with the same token may use it as a key as long as that session is open.
 *
 * <p>Some modules give a private object another handle after each login: search anew then.
 */
public final class TokenObject {
    private final Session session;
    private final long handle;
    /** What the object has told of its key type, which never changes; null until it is asked. */
    private volatile OptionalInt keyType;
    /** How long what no key of its type is without has turned out to be; null until it is asked. */
    private volatile OptionalInt essentialLength;

    TokenObject(Session session, long handle) {
        this.session = session;
        this.handle = handle;
    }

    /**
     * Tells the session through which the object is reached.
     *
     * @return the session
     */
    public Session session() {
        return session;
    }

    /**
     * Tells the object's handle.
     *
     * @return all 64 bits of the module's handle
     */
    public long handle() {
        return handle;
    }

    /**
     * Reads one attribute. Numbers, booleans and bytes come with their value; the native library has no conversion for
     * some types (see {@link Attribute}), whose value is then null, and reads at most 2048 bytes.
     *
     * @param type the attribute type ({@code CKA_})
     * @return the attribute
     * @throws CryptokiException when the object does not have it or does not give it away
     */
    public Attribute attribute(int type) {
        Structure room = attribute(type, 0);
        byte[] value = attribute(type, (int) room.getLong(16)).getPointed(8, (int) room.getLong(16));
        if (value == null) {
            return new Attribute(type, new byte[0]);
        }
        for (Object sample : new Object[] {1, true}) {
            try {
                Templates.checked(new Attribute(type, sample));
                return new Attribute(type, value.length == 8 && sample instanceof Integer
                        ? (Object) (int) room(value) : value.length == 1 && sample instanceof Boolean ? (Object) (value[0] != 0) : value);
            } catch (IllegalArgumentException e) {
                continue;
            }
        }
        return new Attribute(type, value);
    }

    private static long room(byte[] value) {
        return java.nio.ByteBuffer.wrap(value).order(java.nio.ByteOrder.LITTLE_ENDIAN).getLong();
    }

    private Structure attribute(int type, int length) {
        Structure structure = new Structure(Structure.ATTRIBUTE).comesBack().putNumber(0, type).putLong(16, length);
        if (length > 0) {
            structure.point(8, length);
        }
        Answers.require(Function.GET_ATTRIBUTE_VALUE,
                session.attributes(Function.GET_ATTRIBUTE_VALUE, handle, structure.bytes()));
        return structure;
    }

    /**
     * Reads what can be read of some attributes.
     *
     * @param types the attribute types ({@code CKA_})
     * @return an attribute for each type, in this order; its value is null where the object does not have the
     *         attribute or does not give it away
     * @throws CryptokiException when the token refuses for another reason
     */
    public List<Attribute> attributes(int... types) {
        List<Attribute> attributes = new ArrayList<>(types.length);
        for (int type : types) {
            attributes.add(attributeIfReadable(type));
        }
        return Collections.unmodifiableList(attributes);
    }

    private Attribute attributeIfReadable(int type) {
        try {
            return attribute(type);
        } catch (CryptokiException e) {
            if (e.code() == CKR.ATTRIBUTE_TYPE_INVALID || e.code() == CKR.ATTRIBUTE_SENSITIVE) {
                return new Attribute(type, null);
            }
            throw e;
        }
    }

    /**
     * Tells what kind of object this is.
     *
     * @return the object class ({@code CKO_})
     */
    public int objectClass() {
        return attribute(CKA.CLASS).intValue();
    }

    /**
     * Tells the object's label.
     *
     * @return the label, empty when there is none
     */
    public String label() {
        return new String(bytes(CKA.LABEL), StandardCharsets.UTF_8);
    }

    /**
     * Tells the ID that a key pair and its certificate have in common.
     *
     * @return the ID, empty when there is none
     */
    public byte[] id() {
        return bytes(CKA.ID);
    }

    /**
     * Tells whether the key asks for its PIN each time it is used ({@code CKA_ALWAYS_AUTHENTICATE}).
     *
     * @return whether it does; false for one that does not tell
     */
    public boolean asksForPinEachTime() {
        return Boolean.TRUE.equals(attributeIfReadable(CKA.ALWAYS_AUTHENTICATE).value());
    }

    /** The key type ({@code CKK_}), or empty when the object does not tell. */
    OptionalInt keyType() {
        if (keyType == null) {
            keyType = readKeyType();
        }
        return keyType;
    }

    private OptionalInt readKeyType() {
        try {
            Object type = attribute(CKA.KEY_TYPE).value();
            return type == null ? OptionalInt.empty() : OptionalInt.of((Integer) type);
        } catch (CryptokiException untold) {
            return OptionalInt.empty();
        }
    }

    /**
     * The bytes of a number, without leading zeroes, or empty when the object does not tell.
     *
     * @param type the attribute that no key of this key's type is without
     */
    OptionalInt essentialLength(int type) {
        if (essentialLength == null) {
            essentialLength = readLength(type);
        }
        return essentialLength;
    }

    private OptionalInt readLength(int type) {
        try {
            Object number = attributeIfReadable(type).value();
            return number == null ? OptionalInt.empty()
                    : OptionalInt.of((new BigInteger(1, (byte[]) number).bitLength() + 7) / 8);
        } catch (CryptokiException untold) {
            return OptionalInt.empty();
        }
    }

    private byte[] bytes(int type) {
        Object value = attributeIfReadable(type).value();
        return value == null ? new byte[0] : (byte[]) value;
    }

    /**
     * Changes attributes.
     *
     * @param attributes what is to be different
     * @throws CryptokiException when the token refuses, then perhaps after some were changed
     */
    public void set(Attribute... attributes) {
        Structure template = Templates.structure(attributes);
        Answers.require(Function.SET_ATTRIBUTE_VALUE,
                session.attributes(Function.SET_ATTRIBUTE_VALUE, handle, template.bytes()));
    }

    /**
     * Makes a copy.
     *
     * @param attributes what is to be different in the copy
     * @return the copy
     */
    public TokenObject copy(Attribute... attributes) {
        return new TokenObject(session, session.copyObject(handle, Templates.structure(attributes).bytes()));
    }

    /** Destroys the object on the token. */
    public void destroy() {
        session.destroyObject(handle);
    }

    /**
     * Tells how much memory the object takes on the token.
     *
     * @return the number of bytes, or empty when the token does not tell
     */
    public OptionalInt size() {
        int size = Numbers.fitting(session.objectSize(handle));
        return size == -1 ? OptionalInt.empty() : OptionalInt.of(size);
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof TokenObject && handle == ((TokenObject) other).handle
                && session.slot().equals(((TokenObject) other).session.slot());
    }

    @Override
    public int hashCode() {
        return Objects.hash(session.slot(), handle);
    }

    @Override
    public String toString() {
        return "TokenObject[" + Long.toUnsignedString(handle) + " in " + session + "]";
    }
}
