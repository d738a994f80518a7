package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_RC2_MAC_GENERAL}. */
public final class RC2MACGENERALParams implements MechanismParams {
    private final int m_effectiveBits;
    private final int m_macLength;

    /**
     * Makes the parameter.
     *
     * @param effectiveBits the effective bits of the search space, 1 to 1024
     * @param macLength the length of the MAC, in bytes
     */
    public RC2MACGENERALParams(int effectiveBits, int macLength) {
        m_effectiveBits = effectiveBits;
        m_macLength = macLength;
    }

    @Override
    public Structure structure() {
        return new Structure(2 * Structure.WORD).putNumber(0, m_effectiveBits).putNumber(8, m_macLength);
    }
}
