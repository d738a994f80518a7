package velnor.params;

import velnor.nat.Structure;

/** The strength of an RC2 key: {@code CKM_RC2_ECB} and {@code CKM_RC2_MAC}. */
public final class RC2Params implements MechanismParams {
    private final int parameter;

    /**
     * Makes the parameter.
     *
     * @param effectiveBits the effective bits of the search space, 1 to 1024
     */
    public RC2Params(int effectiveBits) {
        parameter = effectiveBits;
    }

    @Override
    public Structure structure() {
        return new Structure(Structure.WORD).putNumber(0, parameter);
    }
}
