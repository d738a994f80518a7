package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_RC2_CBC} and {@code CKM_RC2_CBC_PAD}. */
public final class RC2CBCParams implements MechanismParams {
    private final int m_effectiveBits;
    private final byte[] m_iv;

    /**
     * Makes the parameter.
     *
     * @param effectiveBits the effective bits of the search space, 1 to 1024
     * @param iv the initialisation vector; its first 8 bytes count, fewer end in an exception
     */
    public RC2CBCParams(int effectiveBits, byte[] iv) {
        m_effectiveBits = effectiveBits;
        m_iv = Arrays.copy(iv);
    }

    @Override
    public void check() {
        Arrays.check("iv", m_iv, 8);
    }

    @Override
    public Structure structure() {
        return new Structure(2 * Structure.WORD).putNumber(0, m_effectiveBits).putBytes(8, Arrays.first(m_iv, 8));
    }
}
