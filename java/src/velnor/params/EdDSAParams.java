package velnor.params;

import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_EDDSA} for Ed25519ctx, Ed25519ph, Ed448 with a context and Ed448ph. Plain Ed25519 takes
 * no parameter.
 */
public final class EdDSAParams implements MechanismParams {
    private final boolean prehash;
    private final byte[] context;

    /**
     * Makes the parameter.
     *
     * @param prehash whether the message is digested first
     * @param context the context, at most 255 bytes; null for none
     */
    public EdDSAParams(boolean prehash, byte[] context) {
        this.prehash = prehash;
        this.context = Arrays.copy(context);
    }

    @Override
    public void check() {
        Arrays.require(Arrays.length(context) <= 255,
                "A context has at most 255 bytes, not " + Arrays.length(context) + ": a digest of it fits");
    }

    @Override
    public Structure structure() {
        return new Structure(3 * Structure.WORD).putBoolean(0, prehash).putCounted(16, 8, context);
    }
}
