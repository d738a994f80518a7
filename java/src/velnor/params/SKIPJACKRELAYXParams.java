package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_SKIPJACK_RELAYX}. */
public final class SKIPJACKRELAYXParams implements MechanismParams {
    private final byte[] m_oldWrappedX;
    private final byte[] m_oldPassword;
    private final byte[] m_oldPublicData;
    private final byte[] m_oldRandomA;
    private final byte[] m_newPassword;
    private final byte[] m_newPublicData;
    private final byte[] m_newRandomA;

    /**
     * Makes the parameter.
     *
     * @param oldWrappedX the old wrapped key
     * @param oldPassword the old password
     * @param oldPublicData the old public key exchange value
     * @param oldRandomA the old random data A
     * @param newPassword the new password
     * @param newPublicData the new public key exchange value
     * @param newRandomA the new random data A
     */
    public SKIPJACKRELAYXParams(byte[] oldWrappedX, byte[] oldPassword, byte[] oldPublicData, byte[] oldRandomA,
            byte[] newPassword, byte[] newPublicData, byte[] newRandomA) {
        m_oldWrappedX = Arrays.copy(oldWrappedX);
        m_oldPassword = Arrays.copy(oldPassword);
        m_oldPublicData = Arrays.copy(oldPublicData);
        m_oldRandomA = Arrays.copy(oldRandomA);
        m_newPassword = Arrays.copy(newPassword);
        m_newPublicData = Arrays.copy(newPublicData);
        m_newRandomA = Arrays.copy(newRandomA);
    }

    @Override
    public void check() {
        Arrays.check("oldWrappedX", m_oldWrappedX, 0);
        Arrays.check("oldPassword", m_oldPassword, 0);
        Arrays.check("oldPublicData", m_oldPublicData, 0);
        Arrays.check("oldRandomA", m_oldRandomA, 0);
        Arrays.check("newPassword", m_newPassword, 0);
        Arrays.check("newPublicData", m_newPublicData, 0);
        Arrays.check("newRandomA", m_newRandomA, 0);
    }

    @Override
    public Structure structure() {
        return new Structure(14 * Structure.WORD).putCounted(8, 0, m_oldWrappedX).putCounted(24, 16, m_oldPassword)
                .putCounted(40, 32, m_oldPublicData).putCounted(56, 48, m_oldRandomA)
                .putCounted(72, 64, m_newPassword).putCounted(88, 80, m_newPublicData)
                .putCounted(104, 96, m_newRandomA);
    }
}
