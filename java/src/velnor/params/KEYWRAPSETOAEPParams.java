package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_KEY_WRAP_SET_OAEP}. */
public final class KEYWRAPSETOAEPParams implements MechanismParams {
    private final byte m_bBC;
    private final byte[] m_xData;

    /**
     * Makes the parameter.
     *
     * @param blockContents the block contents byte
     * @param xData the concatenation of the hash of plaintext data and the extra data
     */
    public KEYWRAPSETOAEPParams(byte blockContents, byte[] xData) {
        m_bBC = blockContents;
        m_xData = Arrays.copy(xData);
    }

    @Override
    public void check() {
        Arrays.check("xData", m_xData, 0);
    }

    @Override
    public Structure structure() {
        return new Structure(3 * Structure.WORD).putByte(0, m_bBC).putCounted(8, 16, m_xData);
    }
}
