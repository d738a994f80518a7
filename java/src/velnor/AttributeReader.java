package velnor;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.IntFunction;

import velnor.Attribute.Availability;
import velnor.nat.Structure;

/**
 * Reads attributes of an object: asks for the lengths of all of them in one call, and for the values in another one,
 * with exactly the room that was told. NSS writes past the room that it is given, so a guess would not do.
 *
 * <p>A token that gives away some and refuses others marks those with the length ~0 and has one answer for all; where
 * that does not say why each was refused, each is asked for alone. A value that has grown meanwhile is asked for again.
 */
final class AttributeReader {
    /** The most bytes that are read of one attribute, or of those of one call; more is taken for a mistake. */
    static final int MOST_BYTES = 64 << 20;
    /** The most calls for a value that always turns out to be another than a moment ago. */
    private static final int ROUNDS = 8;

    private static final long UNKNOWN = -1;
    private static final String FUNCTION = "J_GetAttributeValue";

    /** The module: {@code C_GetAttributeValue} of the object. */
    @FunctionalInterface
    interface Module {
        /**
         * Lets the module fill a template.
         *
         * @return the answer
         */
        int attributes(byte[] template);
    }

    /** An attribute that is asked for. */
    private static final class Wanted {
        private final long type;
        private final AttributeKind kind;
        /** How long the value is by what the module said last. */
        private long length = UNKNOWN;
        /** Where its CK_ATTRIBUTE and its room are in the structure that is filled. */
        private int at;
        private int roomAt;
        /** Those of a template, as soon as they are known. */
        private List<Wanted> inner;
        private Attribute read;

        Wanted(long type) {
            this.type = type;
            kind = AttributeKind.of(type);
        }

        void refused(Availability why) {
            read = Attribute.refused(type, why);
        }

        void forget() {
            length = UNKNOWN;
            inner = null;
        }

        /** What was read goes to nobody, when another attribute has failed. */
        void wipe() {
            if (read != null && read.uncopiedValue() instanceof byte[]) {
                Arrays.fill((byte[]) read.uncopiedValue(), (byte) 0);
            }
            if (inner != null) {
                inner.forEach(Wanted::wipe);
            }
        }

        /** The room that is needed for all that is known. */
        long room() {
            long room = Math.max(length, 0);
            return inner == null ? room : room + inner.stream().mapToLong(Wanted::room).sum();
        }
    }

    private final Module module;
    private final IntFunction<? extends RuntimeException> failure;
    private boolean oneByOne;

    /**
     * @param failure the exception for an answer that is not about single attributes
     */
    AttributeReader(Module module, IntFunction<? extends RuntimeException> failure) {
        this.module = module;
        this.failure = failure;
    }

    /** Reads attributes, in the order of their types. None is null; each tells how it is available. */
    List<Attribute> read(long... types) {
        List<Wanted> all = new ArrayList<>();
        for (long type : types) {
            all.add(new Wanted(type));
        }
        boolean done = false;
        try {
            readAll(all);
            done = true;
        } finally {
            if (!done) {
                all.forEach(Wanted::wipe);
            }
        }
        List<Attribute> read = new ArrayList<>();
        all.forEach(wanted -> read.add(wanted.read));
        return read;
    }

    private void readAll(List<Wanted> all) {
        List<Wanted> open = new ArrayList<>(all);
        for (int round = 0; round < ROUNDS && !open.isEmpty(); round++) {
            if (open.size() > 1 && !oneByOne && open.stream().mapToLong(Wanted::room).sum() <= MOST_BYTES) {
                together(open);
            } else {
                open.forEach(this::alone);
            }
            open.removeIf(wanted -> wanted.read != null);
        }
        if (!open.isEmpty()) {
            throw mistaken(open.get(0), "never has the length that the module told a moment ago");
        }
    }

    private void together(List<Wanted> batch) {
        Structure structure = layOut(batch);
        try {
            int answer = module.attributes(structure.bytes());
            if (!isAboutAttributes(answer)) {
                oneByOne = true;
                return;
            }
            List<Wanted> marked = new ArrayList<>();
            boolean explained = answer == CKR.OK;
            for (Wanted wanted : batch) {
                if (lengthOf(structure, wanted) == UNKNOWN) {
                    marked.add(wanted);
                } else if (answer == CKR.BUFFER_TOO_SMALL && lengthOf(structure, wanted) > wanted.length) {
                    explained = true;
                }
            }
            if (marked.isEmpty() && !explained) {
                // The module does not say which it refuses.
                oneByOne = true;
                return;
            }
            for (Wanted wanted : batch) {
                if (isTooSmallForNothing(answer, structure, wanted)) {
                    alone(wanted);
                } else if (!marked.contains(wanted)) {
                    take(structure, wanted, 1);
                }
            }
            if (marked.size() == 1 && marked.get(0).length == UNKNOWN && isRefusal(answer)) {
                marked.get(0).refused(why(answer));
            } else {
                marked.forEach(Wanted::forget);
                marked.forEach(this::alone);
            }
        } finally {
            structure.wipe();
        }
    }

    private void alone(Wanted wanted) {
        Structure structure = layOut(List.of(wanted));
        try {
            int answer = module.attributes(structure.bytes());
            if (!isAboutAttributes(answer)) {
                throw failure.apply(answer);
            }
            if (isTooSmallForNothing(answer, structure, wanted)) {
                throw failure.apply(answer);
            }
            long length = lengthOf(structure, wanted);
            boolean ofInner = wanted.kind == AttributeKind.TEMPLATE && wanted.length > 0 && length != UNKNOWN;
            if (isRefusal(answer) && !ofInner) {
                wanted.refused(why(answer));
            } else if (length == UNKNOWN && wanted.length == UNKNOWN) {
                wanted.refused(Availability.ABSENT);
            } else if (length == UNKNOWN || answer == CKR.BUFFER_TOO_SMALL && wanted.length != UNKNOWN
                    && length <= wanted.length && !ofInner) {
                wanted.forget();
            } else {
                take(structure, wanted, 1);
            }
        } finally {
            structure.wipe();
        }
    }

    /** No room was given, and none is asked for: a value of no bytes is another answer. */
    private static boolean isTooSmallForNothing(int answer, Structure structure, Wanted wanted) {
        return answer == CKR.BUFFER_TOO_SMALL && wanted.length == UNKNOWN && lengthOf(structure, wanted) == 0;
    }

    private static boolean isAboutAttributes(int answer) {
        return answer == CKR.OK || answer == CKR.BUFFER_TOO_SMALL || isRefusal(answer);
    }

    private static boolean isRefusal(int answer) {
        return answer == CKR.ATTRIBUTE_SENSITIVE || answer == CKR.ATTRIBUTE_TYPE_INVALID;
    }

    private static Availability why(int answer) {
        return answer == CKR.ATTRIBUTE_SENSITIVE ? Availability.SENSITIVE : Availability.ABSENT;
    }

    private static Structure layOut(List<Wanted> batch) {
        Structure structure = new Structure(batch.size() * Structure.ATTRIBUTE).comesBack();
        layOut(structure, 0, batch);
        return structure;
    }

    private static void layOut(Structure structure, int at, List<Wanted> batch) {
        int place = at;
        for (Wanted wanted : batch) {
            wanted.at = place;
            structure.putLong(place, wanted.type);
            if (wanted.length > 0) {
                wanted.roomAt = structure.point(place + Templates.POINTER, (int) wanted.length);
                structure.putLong(place + Templates.LENGTH, wanted.length);
                if (wanted.inner != null) {
                    layOut(structure, wanted.roomAt, wanted.inner);
                }
            }
            place += Structure.ATTRIBUTE;
        }
    }

    private static long lengthOf(Structure structure, Wanted wanted) {
        return structure.getLong(wanted.at + Templates.LENGTH);
    }

    /** Takes what the module has written for one attribute, which it did not refuse. */
    private static void take(Structure structure, Wanted wanted, int level) {
        long length = lengthOf(structure, wanted);
        if (length < 0 || length > MOST_BYTES) {
            throw mistaken(wanted, "has " + Long.toUnsignedString(length) + " bytes by what the module says; at most "
                    + MOST_BYTES + " are read");
        }
        if (wanted.length == UNKNOWN || length > wanted.length) {
            wanted.forget();
            wanted.length = length;
            if (length == 0) {
                wanted.read = empty(wanted);
            }
        } else if (length == 0) {
            wanted.read = empty(wanted);
        } else if (structure.getLong(wanted.at + Templates.POINTER) != wanted.roomAt) {
            throw mistaken(wanted, "is elsewhere than where the module was to put it");
        } else if (wanted.kind == AttributeKind.TEMPLATE) {
            takeTemplate(structure, wanted, (int) length, level);
        } else {
            byte[] bytes = structure.getBytes(wanted.roomAt, (int) length);
            try {
                wanted.read = new Attribute(wanted.type, wanted.kind.value(bytes));
            } finally {
                Arrays.fill(bytes, (byte) 0);
            }
        }
    }

    private static Attribute empty(Wanted wanted) {
        return new Attribute(wanted.type, wanted.kind == AttributeKind.TEMPLATE ? new Attribute[0]
                : wanted.kind == AttributeKind.NUMBERS ? new long[0] : (Object) new byte[0]);
    }

    private static void takeTemplate(Structure structure, Wanted wanted, int length, int level) {
        if (length % Structure.ATTRIBUTE != 0 || level == Templates.MOST_LEVELS) {
            throw mistaken(wanted, "is not a template that can be read");
        }
        int count = length / Structure.ATTRIBUTE;
        boolean same = wanted.inner != null && wanted.inner.size() == count;
        for (int i = 0; same && i < count; i++) {
            same = structure.getLong(wanted.roomAt + i * Structure.ATTRIBUTE) == wanted.inner.get(i).type;
        }
        if (same) {
            wanted.inner.forEach(inner -> takeInner(structure, inner, level + 1));
        } else {
            wanted.length = length;
            wanted.inner = new ArrayList<>();
            for (int i = 0; i < count; i++) {
                Wanted inner = new Wanted(structure.getLong(wanted.roomAt + i * Structure.ATTRIBUTE));
                inner.at = wanted.roomAt + i * Structure.ATTRIBUTE;
                wanted.inner.add(inner);
                takeInner(structure, inner, level + 1);
            }
            if (wanted.room() > MOST_BYTES) {
                throw mistaken(wanted, "has more bytes by what the module says than the " + MOST_BYTES
                        + " that are read");
            }
        }
        if (wanted.inner.stream().allMatch(inner -> inner.read != null)) {
            wanted.read = new Attribute(wanted.type,
                    wanted.inner.stream().map(inner -> inner.read).toArray(Attribute[]::new));
        }
    }

    private static void takeInner(Structure structure, Wanted inner, int level) {
        if (lengthOf(structure, inner) != UNKNOWN) {
            take(structure, inner, level);
        } else if (inner.length == UNKNOWN) {
            inner.refused(Availability.SENSITIVE);
        } else {
            inner.forget();
        }
    }

    private static CryptokiException mistaken(Wanted wanted, String how) {
        return new CryptokiException(FUNCTION, CKR.GENERAL_ERROR, Attribute.name(wanted.type) + " " + how);
    }
}
