package velnor;

import velnor.nat.Structure;

/** The parameter of a mechanism during one call: laid out for native code before, wiped in the end. */
final class Parameter implements AutoCloseable {
    private static final Parameter NONE = new Parameter(null, null);

    private final Mechanism mechanism;
    private final Structure structure;

    private Parameter(Mechanism mechanism, Structure structure) {
        this.mechanism = mechanism;
        this.structure = structure;
    }

    static Parameter of(Mechanism mechanism) {
        Structure structure = mechanism.structure();
        return structure == null ? NONE : new Parameter(mechanism, structure);
    }

    /** What native code takes; null for no parameter. */
    byte[] bytes() {
        return structure == null ? null : structure.bytes();
    }

    /** Takes over what the module has written, after a call that went well. */
    void takeBack() {
        if (structure != null) {
            mechanism.takeBack(structure);
        }
    }

    @Override
    public void close() {
        if (structure != null) {
            structure.wipe();
        }
    }
}
