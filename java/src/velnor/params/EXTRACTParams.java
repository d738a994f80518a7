package velnor.params;

import velnor.nat.Structure;

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

    @Override
    public Structure structure() {
        return new Structure(Structure.WORD).putNumber(0, parameter);
    }
}
