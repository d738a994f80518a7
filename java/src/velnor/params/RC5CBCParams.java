package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_RC5_CBC} and {@code CKM_RC5_CBC_PAD}. */
public final class RC5CBCParams implements MechanismParams {
    private final int m_wordSize;
    private final int m_rounds;
    private final byte[] m_iv;

    /**
     * Makes the parameter.
     *
     * @param wordSize the word size of the cipher, in bytes
     * @param rounds the number of rounds
     * @param iv the initialisation vector, two words long
     */
    public RC5CBCParams(int wordSize, int rounds, byte[] iv) {
        m_wordSize = wordSize;
        m_rounds = rounds;
        m_iv = Arrays.copy(iv);
    }

    @Override
    public void check() {
        Arrays.check("iv", m_iv, 0);
    }

    @Override
    public Structure structure() {
        return new Structure(4 * Structure.WORD).putNumber(0, m_wordSize).putNumber(8, m_rounds)
                .putCounted(16, 24, m_iv);
    }
}
