package velnor.params;

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
}
