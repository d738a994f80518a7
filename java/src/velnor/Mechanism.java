package velnor;

import velnor.nat.Structure;
import velnor.params.MechanismParams;

/**
 * A way to encrypt, sign, digest, generate, wrap or derive, with its parameter.
 *
 * <p>The native library passes a parameter on for the mechanisms that the classes of {@link velnor.params} name, and an
 * initialisation vector of 8 bytes for the block ciphers of that block size in CBC mode. <strong>For every other
 * mechanism, all of AES among them, it has no way to pass a parameter on.</strong> {@link Session} refuses a mechanism
 * whose parameter would be dropped or misread; the methods of {@link velnor.nat} do not look.
 */
public final class Mechanism {
    private final int mechanism;
    private final Object parameter;

    /**
     * Makes a mechanism without a parameter.
     *
     * @param mechanism the mechanism type ({@code CKM_})
     */
    public Mechanism(int mechanism) {
        this(mechanism, null);
    }

    /**
     * Makes a mechanism.
     *
     * @param mechanism the mechanism type ({@code CKM_})
     * @param parameter a {@code byte[]} of 8 bytes for the initialisation vector (copied), an object of the class that
     *        belongs to the mechanism, or null. In {@link velnor.nat} a longer vector is cut, and an object of another
     *        class is undefined behaviour.
     */
    public Mechanism(int mechanism, Object parameter) {
        this.mechanism = mechanism;
        this.parameter = parameter instanceof byte[] ? ((byte[]) parameter).clone() : parameter;
    }

    /**
     * Tells the mechanism type.
     *
     * @return the {@code CKM_} constant, negative for vendor-defined mechanisms
     */
    public int mechanism() {
        return mechanism;
    }

    /**
     * Gives the parameter.
     *
     * @return the parameter (an array is a copy), or null
     */
    public Object parameter() {
        return parameter instanceof byte[] ? ((byte[]) parameter).clone() : parameter;
    }

    /** All 64 bits of the mechanism type. */
    long type() {
        return Integer.toUnsignedLong(mechanism);
    }

    /** The parameter for native code; null when there is none. */
    Structure structure() {
        if (parameter == null) {
            return null;
        }
        return parameter instanceof byte[] ? Structure.of((byte[]) parameter)
                : ((MechanismParams) parameter).structure();
    }

    /** Hands the parameter what a module has written into the structure. */
    void takeBack(Structure structure) {
        if (parameter instanceof MechanismParams) {
            ((MechanismParams) parameter).takeBack(structure);
        }
    }

    /** The mechanism and the kind of its parameter, whose content may be secret. */
    @Override
    public String toString() {
        return "Mechanism[" + CKM.name(mechanism)
                + (parameter == null ? "]" : ", " + parameter.getClass().getSimpleName() + "]");
    }
}
