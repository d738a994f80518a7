package velnor;

import velnor.nat.Structure;
import velnor.params.MechanismParams;

/**
 * A way to encrypt, sign, digest, generate, wrap or derive, with its parameter.
 *
 * <p>The parameter is an object of the class of {@link velnor.params} that belongs to the mechanism, or a {@code
 * byte[]}: an initialisation vector, or whatever a vendor's mechanism takes. {@link Session} refuses a mechanism whose
 * parameter is of the wrong class. The methods of {@link velnor.nat.NativeSession} do not look, see the low 32 bits of
 * the type alone, and pass on only the parameters that {@link velnor.params} had from the beginning, and vectors of 8
 * bytes.
 */
public final class Mechanism {
    /** The low 32 bits of the type. Native code looks it up by its name, as the parameter. */
    private final int mechanism;
    private final Object parameter;
    private final long type;

    /**
     * Makes a mechanism without a parameter.
     *
     * @param mechanism the mechanism type ({@code CKM_}); a negative one is that of the same 32 bits
     */
    public Mechanism(int mechanism) {
        this(mechanism, null);
    }

    /**
     * Makes a mechanism.
     *
     * @param mechanism the mechanism type ({@code CKM_}); a negative one is that of the same 32 bits
     * @param parameter a {@code byte[]} (copied), an object of the class that belongs to the mechanism, or null. In
     *        {@link velnor.nat.NativeSession} a vector longer than 8 bytes is cut, and an object of another class is
     *        undefined behaviour.
     */
    public Mechanism(int mechanism, Object parameter) {
        this(Integer.toUnsignedLong(mechanism), parameter);
    }

    /**
     * Makes a mechanism without a parameter.
     *
     * @param type the mechanism type, all 64 bits of it
     */
    public Mechanism(long type) {
        this(type, null);
    }

    /**
     * Makes a mechanism.
     *
     * @param type the mechanism type, all 64 bits of it
     * @param parameter as {@link #Mechanism(int, Object)}
     */
    public Mechanism(long type, Object parameter) {
        this.type = type;
        mechanism = (int) type;
        this.parameter = parameter instanceof byte[] ? ((byte[]) parameter).clone() : parameter;
    }

    /**
     * Tells the mechanism type as far as an {@code int} has room, which is all of it for those of the standard.
     *
     * @return the {@code CKM_} constant, negative for vendor-defined mechanisms
     */
    public int mechanism() {
        return mechanism;
    }

    /**
     * Tells the mechanism type.
     *
     * @return all 64 bits of it
     */
    public long type() {
        return type;
    }

    /**
     * Gives the parameter.
     *
     * @return the parameter (an array is a copy), or null
     */
    public Object parameter() {
        return parameter instanceof byte[] ? ((byte[]) parameter).clone() : parameter;
    }

    /** The parameter for native code, a structure of its own at each call; null when there is none. */
    Structure structure() {
        if (parameter == null) {
            return null;
        }
        if (parameter instanceof byte[]) {
            return Structure.of((byte[]) parameter);
        }
        if (parameter instanceof MechanismParams) {
            return ((MechanismParams) parameter).structure();
        }
        throw new IllegalArgumentException("A parameter is a byte[] or of a class of velnor.params, not a "
                + parameter.getClass().getTypeName());
    }

    /** Hands the parameter what a module has written into the {@link #structure()}. */
    void takeBack(Structure structure) {
        if (parameter instanceof MechanismParams) {
            ((MechanismParams) parameter).takeBack(structure);
        }
    }

    /** The mechanism and the kind of its parameter, whose content may be secret. */
    @Override
    public String toString() {
        String name = type == Integer.toUnsignedLong(mechanism) ? CKM.name(mechanism) : "CKM " + Texts.hex(type);
        return "Mechanism[" + name + (parameter == null ? "]" : ", " + parameter.getClass().getSimpleName() + "]");
    }
}
