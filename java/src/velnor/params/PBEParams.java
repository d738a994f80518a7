package velnor.params;

/**
 * The parameter of the password-based mechanisms, {@code CKM_PBE_MD2_DES_CBC} to {@code CKM_PBE_SHA1_RC2_40_CBC}.
 *
 * <p>The token is given characters as 16-bit units, low byte first, but within a length that counts characters: of a
 * password of n characters it sees the first n bytes of that form.
 */
public final class PBEParams implements MechanismParams {
    private final char[] m_initVector;
    private final char[] m_password;
    private final char[] m_salt;
    private final int m_iteration;

    /**
     * Makes the parameter.
     *
     * @param initVector 8 characters, or null when the token is to choose the initialisation vector; not given back
     * @param password the password
     * @param salt the salt
     * @param iteration the number of iterations
     */
    public PBEParams(char[] initVector, char[] password, char[] salt, int iteration) {
        m_initVector = Arrays.copy(initVector);
        m_password = Arrays.copy(password);
        m_salt = Arrays.copy(salt);
        m_iteration = iteration;
    }

    @Override
    public void check() {
        if (m_initVector != null) {
            Arrays.check("initVector", m_initVector, 8);
        }
        Arrays.check("password", m_password, 0);
        Arrays.check("salt", m_salt, 0);
    }
}
