package velnor.params;

/** The parameter of {@code CKM_RSA_PKCS_OAEP}. */
public final class OAEPParams implements MechanismParams {
    private final int m_hashAlg;
    private final int m_mgf;
    private final int m_source;
    private final byte[] m_sourceData;

    /**
     * Makes the parameter.
     *
     * @param hashAlg the digest mechanism ({@code CKM_}), such as 0x220 for SHA-1
     * @param mgf the mask generation function ({@code CKG_}), such as 1 for MGF1 with SHA-1
     * @param source where the encoding parameter comes from ({@code CKZ_}): 1, given here
     * @param sourceData the encoding parameter, or null for none
     */
    public OAEPParams(int hashAlg, int mgf, int source, byte[] sourceData) {
        m_hashAlg = hashAlg;
        m_mgf = mgf;
        m_source = source;
        m_sourceData = Arrays.copy(sourceData);
    }
}
