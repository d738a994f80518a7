package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_RC5_ECB} and {@code CKM_RC5_MAC}. */
public final class RC5Params implements MechanismParams {
    private final int m_wordSize;
    private final int m_rounds;

    /**
     * Makes the parameter.
     *
     * @param wordSize the word size of the cipher, in bytes
     * @param rounds the number of rounds
     */
    public RC5Params(int wordSize, int rounds) {
        m_wordSize = wordSize;
        m_rounds = rounds;
    }

    @Override
    public Structure structure() {
        return new Structure(2 * Structure.WORD).putNumber(0, m_wordSize).putNumber(8, m_rounds);
    }
}
