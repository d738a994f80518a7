package velnor.params;

import velnor.nat.Structure;

/**
 * The length of a MAC: the {@code _MAC_GENERAL} and {@code _HMAC_GENERAL} mechanisms of DES, DES3, CDMF, MD2, MD5,
 * SHA-1, RIPEMD, CAST and IDEA, and the SSL 3 MACs.
 */
public final class MACGENERALParams implements MechanismParams {
    private final int m_parameter;

    /**
     * Makes the parameter.
     *
     * @param macLength the length of the MAC, in bytes
     */
    public MACGENERALParams(int macLength) {
        m_parameter = macLength;
    }

    @Override
    public Structure structure() {
        return new Structure(Structure.WORD).putNumber(0, m_parameter);
    }
}
