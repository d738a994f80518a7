package velnor;

import java.util.Arrays;

/** An object that a search found on a token, with the attributes that the search was told to read. */
public final class CryptokiObject {
    private final int handle;
    private final Attribute[] attributes;

    /**
     * Takes over what a search found.
     *
     * @param handle the low 32 bits of the object's handle
     * @param attributes the attributes that were read, or null when none were asked for
     */
    public CryptokiObject(int handle, Attribute[] attributes) {
        this.handle = handle;
        this.attributes = attributes == null ? new Attribute[0] : attributes.clone();
    }

    /**
     * Tells the object's handle, as the methods of {@link velnor.nat.NativeSession} want it.
     *
     * @return the low 32 bits of the handle, without a sign. A module whose object handles are wider needs the search
     *         that returns handles alone.
     */
    public long handle() {
        return Integer.toUnsignedLong(handle);
    }

    /**
     * Gives what was read.
     *
     * @return one attribute for each type asked for, in that order (a copy of the array); the value is null where the
     *         token did not give it
     */
    public Attribute[] attributes() {
        return attributes.clone();
    }

    /**
     * Finds what was read for one type.
     *
     * @param type the attribute type ({@code CKA_})
     * @return the attribute, or null when the search was not told to read it
     */
    public Attribute attribute(int type) {
        for (Attribute attribute : attributes) {
            if (attribute != null && attribute.type() == type) {
                return attribute;
            }
        }
        return null;
    }

    @Override
    public String toString() {
        return "CryptokiObject[" + Texts.hex(handle) + ", " + Arrays.toString(attributes) + "]";
    }
}
