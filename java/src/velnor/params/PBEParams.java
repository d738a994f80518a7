package velnor.params;

import velnor.nat.Structure;

/**
 * The parameter of the password-based mechanisms, {@code CKM_PBE_MD2_DES_CBC} to {@code CKM_PBE_SHA1_RC2_40_CBC}.
 *
 * <p>{@link velnor.Session} gives the token the password in UTF-8, and of vector and salt a byte for each character,
 * which must not be beyond U+00FF. The methods of {@link velnor.nat.NativeSession} give it characters as 16-bit units,
 * low byte first, but within a length that counts characters: of a password of n characters it sees the first n bytes
 * of that form.
 */
public final class PBEParams implements MechanismParams {
    private static final int IV_BYTES = 8;

    private final char[] m_initVector;
    private final char[] m_password;
    private final char[] m_salt;
    private final int m_iteration;
    private volatile byte[] iv;

    /**
     * Makes the parameter.
     *
     * @param initVector 8 characters, or null for zeroes; the token writes the vector that it makes in their place,
     *        see {@link #iv()}
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
            Arrays.check("initVector", m_initVector, IV_BYTES);
            bytes("initVector", m_initVector);
        }
        Arrays.check("password", m_password, 0);
        Arrays.check("salt", m_salt, 0);
        bytes("salt", m_salt);
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(6 * Structure.WORD).comesBack();
        structure.point(0, Arrays.first(m_initVector == null ? new byte[0] : bytes("initVector", m_initVector),
                IV_BYTES));
        byte[] password = Arrays.utf8(m_password);
        structure.putCounted(8, 16, password);
        Arrays.wipe(password);
        return structure.putCounted(24, 32, bytes("salt", m_salt)).putNumber(40, m_iteration);
    }

    @Override
    public void takeBack(Structure structure) {
        iv = structure.getPointed(0, IV_BYTES);
    }

    /**
     * Gives the initialisation vector that the token made of the password.
     *
     * @return a copy of what the token wrote in the last call that ended, or null before; a token that needs none
     *         leaves what the parameter was made with, or zeroes
     */
    public byte[] iv() {
        return Arrays.copy(iv);
    }

    private static byte[] bytes(String name, char[] characters) {
        byte[] bytes = new byte[characters.length];
        for (int i = 0; i < bytes.length; i++) {
            if (characters[i] > 0xFF) {
                throw new IllegalArgumentException("The " + name + " has a character beyond U+00FF, which is no byte");
            }
            bytes[i] = (byte) characters[i];
        }
        return bytes;
    }
}
