package velnor.params;

import java.util.Objects;

import velnor.nat.Structure;

/**
 * The parameter of ML-DSA and SLH-DSA signatures: the context, and how they use randomness. Without a parameter the
 * context is empty.
 */
public final class SignContextParams implements MechanismParams {
    /** The size of the C structure. */
    static final int SIZE = 3 * Structure.WORD;

    private static final int MOST_CONTEXT = 255;

    /** How a signature uses randomness; each stands at its number. */
    public enum Hedge {
        /** Random where the token can do that ({@code CKH_HEDGE_PREFERRED}). */
        PREFERRED,
        /** Random, or refused ({@code CKH_HEDGE_REQUIRED}). */
        REQUIRED,
        /** The same message gives the same signature, or is refused ({@code CKH_DETERMINISTIC_REQUIRED}). */
        DETERMINISTIC
    }

    private final Hedge hedge;
    private final byte[] context;

    /**
     * Makes the parameter.
     *
     * @param hedge how randomness is used
     * @param context the context, at most 255 bytes; null or empty for none
     */
    public SignContextParams(Hedge hedge, byte[] context) {
        this.hedge = hedge;
        this.context = Arrays.copy(context);
    }

    @Override
    public void check() {
        Objects.requireNonNull(hedge, "hedge");
        Arrays.require(Arrays.length(context) <= MOST_CONTEXT,
                "A context has at most " + MOST_CONTEXT + " bytes, not " + Arrays.length(context));
    }

    @Override
    public Structure structure() {
        return structure(SIZE);
    }

    Structure structure(int length) {
        return new Structure(length).putNumber(0, hedge.ordinal()).putCounted(8, 16, context);
    }
}
