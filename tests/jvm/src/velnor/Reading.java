package velnor;

import java.security.PublicKey;
import java.util.List;
import java.util.function.IntFunction;
import java.util.function.ToIntFunction;

import velnor.nat.Structure;

/** What tests want of the surface's inside without a module. */
public final class Reading {
    /** Where in a {@code CK_ATTRIBUTE} the pointer is. */
    public static final int POINTER = Templates.POINTER;
    /** Where in a {@code CK_ATTRIBUTE} the length is. */
    public static final int LENGTH = Templates.LENGTH;
    /** The most bytes of an attribute that are read. */
    public static final int MOST_BYTES = AttributeReader.MOST_BYTES;

    private Reading() {
    }

    /** Reads attributes from what stands for a module. */
    public static List<Attribute> read(ToIntFunction<byte[]> module, IntFunction<RuntimeException> failure,
            long... types) {
        return new AttributeReader(module::applyAsInt, failure).read(types);
    }

    /** Lays a template out. */
    public static Structure structure(Attribute... template) {
        return Templates.structure(template);
    }

    /** Lays a parameter out. */
    public static Structure structure(Mechanism mechanism) {
        return mechanism.structure();
    }

    /** Whether the attribute has a kind in the table. */
    public static boolean isKnown(int type) {
        return AttributeKind.of(Integer.toUnsignedLong(type)) != AttributeKind.UNKNOWN;
    }

    /** Makes a key of what was read. */
    public static PublicKey publicKey(List<Attribute> attributes) {
        return PublicKeys.of(attributes);
    }

    /** Checks a template that a key is to be made of. */
    public static void checkComplete(Attribute... template) {
        CompleteKeys.checkTemplate(template);
    }

    /** Checks what was read of a key. */
    public static void checkRead(int keyType, List<Attribute> read) {
        CompleteKeys.checkRead("the key", keyType, read);
    }
}
