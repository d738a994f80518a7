package velnor.params;

/** The parameter of {@code CKM_EXTRACT_KEY_FROM_KEY}. */
public final class EXTRACTParams implements MechanismParams {
    private final int parameter;

    /**
     * Makes the parameter.
     *
     * @param bitIndex the bit of the base key at which the new key begins
     */
    public EXTRACTParams(int bitIndex) {
        parameter = bitIndex;
    }
}
