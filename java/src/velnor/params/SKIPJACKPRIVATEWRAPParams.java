package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_SKIPJACK_PRIVATE_WRAP}. */
public final class SKIPJACKPRIVATEWRAPParams implements MechanismParams {
    private final byte[] m_password;
    private final byte[] m_publicData;
    private final byte[] m_randomA;
    private final byte[] m_primeP;
    private final byte[] m_baseG;
    private final byte[] m_subPrimeQ;

    /**
     * Makes the parameter.
     *
     * @param password the user's password
     * @param publicData the other party's key exchange public value
     * @param randomA the random data A
     * @param primeP the prime P, as long as the base G; fewer bytes end in an exception
     * @param baseG the base G
     * @param subPrimeQ the subprime Q
     */
    public SKIPJACKPRIVATEWRAPParams(byte[] password, byte[] publicData, byte[] randomA, byte[] primeP, byte[] baseG,
            byte[] subPrimeQ) {
        m_password = Arrays.copy(password);
        m_publicData = Arrays.copy(publicData);
        m_randomA = Arrays.copy(randomA);
        m_primeP = Arrays.copy(primeP);
        m_baseG = Arrays.copy(baseG);
        m_subPrimeQ = Arrays.copy(subPrimeQ);
    }

    @Override
    public void check() {
        Arrays.check("password", m_password, 0);
        Arrays.check("publicData", m_publicData, 0);
        Arrays.check("randomA", m_randomA, 0);
        Arrays.check("subPrimeQ", m_subPrimeQ, 0);
        Arrays.check("baseG", m_baseG, 0);
        Arrays.check("primeP", m_primeP, m_baseG.length);
    }

    /** Of the prime as many bytes count as the base has: the structure has one length for both. */
    @Override
    public Structure structure() {
        Structure structure = new Structure(11 * Structure.WORD);
        structure.putCounted(8, 0, m_password).putCounted(24, 16, m_publicData).putCounted(56, 48, m_randomA);
        structure.point(64, Arrays.first(m_primeP, m_baseG.length));
        return structure.putCounted(72, 32, m_baseG).putCounted(80, 40, m_subPrimeQ);
    }
}
