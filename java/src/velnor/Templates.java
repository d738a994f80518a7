package velnor;

import java.util.Objects;

import velnor.nat.Structure;

/** Templates as native code can take them. */
final class Templates {
    /** Where in a {@code CK_ATTRIBUTE} the pointer to the value is. */
    static final int POINTER = Structure.WORD;
    /** Where in a {@code CK_ATTRIBUTE} the length of the value is. */
    static final int LENGTH = 2 * Structure.WORD;
    /** Templates in templates: the standard has one level, and an endless number would fill the stack. */
    static final int MOST_LEVELS = 4;

    private Templates() {
    }

    private static void check(Attribute attribute, int level) {
        Object value = attribute.uncopiedValue();
        AttributeKind kind = AttributeKind.of(attribute.typeCode());
        String name = Attribute.name(attribute.typeCode());
        if (!kind.takes(value)) {
            throw new IllegalArgumentException(name + " holds " + kind.described() + ", not "
                    + (value == null ? "null" : value.getClass().getTypeName()));
        }
        if (attribute.availability() == Attribute.Availability.SENSITIVE
                || attribute.availability() == Attribute.Availability.ABSENT) {
            throw new IllegalArgumentException(name + " was read without a value: it is "
                    + attribute.availability());
        }
        if (kind == AttributeKind.NUMBERS && attribute.uncopiedBytes() != null
                && attribute.uncopiedBytes().length % Structure.WORD != 0) {
            throw new IllegalArgumentException(name + " holds whole numbers of " + Structure.WORD + " bytes");
        }
        if (value instanceof Attribute[]) {
            if (level == MOST_LEVELS) {
                throw new IllegalArgumentException("Templates are within each other more than " + level + " deep");
            }
            for (Attribute inner : (Attribute[]) value) {
                check(inner, level + 1);
            }
        }
    }

    /**
     * Lays a template out for native code, after a check of each value against its type. A value of no bytes is a null
     * pointer. Wipe it after use: it may hold a key.
     */
    static Structure structure(Attribute... template) {
        Objects.requireNonNull(template, "template");
        for (Attribute attribute : template) {
            check(Objects.requireNonNull(attribute, "an attribute of the template"), 1);
        }
        Structure structure = new Structure(Math.multiplyExact(template.length, Structure.ATTRIBUTE));
        layOut(structure, 0, template);
        return structure;
    }

    private static void layOut(Structure structure, int at, Attribute[] template) {
        int place = at;
        for (Attribute attribute : template) {
            structure.putLong(place, attribute.typeCode());
            Object value = attribute.uncopiedValue();
            if (value instanceof Attribute[]) {
                Attribute[] inner = (Attribute[]) value;
                int length = Math.multiplyExact(inner.length, Structure.ATTRIBUTE);
                if (length > 0) {
                    structure.putLong(place + LENGTH, length);
                    layOut(structure, structure.point(place + POINTER, length), inner);
                }
            } else {
                structure.putCounted(place + POINTER, place + LENGTH, attribute.uncopiedBytes());
            }
            place += Structure.ATTRIBUTE;
        }
    }
}
