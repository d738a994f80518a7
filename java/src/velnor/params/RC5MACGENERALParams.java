package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_RC5_MAC_GENERAL}. */
public final class RC5MACGENERALParams implements MechanismParams {
    private final int m_wordSize;
    private final int m_rounds;
    private final int m_macLength;

    /**
     * Makes the parameter.
     *
     * @param wordSize the word size of the cipher, in bytes
     * @param rounds the number of rounds
     * @param macLength the length of the MAC, in bytes
     */
    public RC5MACGENERALParams(int wordSize, int rounds, int macLength) {
        m_wordSize = wordSize;
        m_rounds = rounds;
        m_macLength = macLength;
    }

    @Override
    public Structure structure() {
        return new Structure(3 * Structure.WORD).putNumber(0, m_wordSize).putNumber(8, m_rounds)
                .putNumber(16, m_macLength);
    }
}
