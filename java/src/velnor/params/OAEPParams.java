package velnor.params;

import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;

import velnor.CKZ;
import velnor.nat.Structure;

/** The parameter of {@code CKM_RSA_PKCS_OAEP}, and part of {@link RSAAESKeyWrapParams}. */
public final class OAEPParams implements MechanismParams {
    /** The size of the C structure. */
    static final int SIZE = 5 * Structure.WORD;

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

    /**
     * Makes the usual parameter for a digest: MGF1 with the same digest.
     *
     * @param digest the digest's name, such as SHA-256
     * @param label the label, or null for none
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 does not have the digest
     */
    public static OAEPParams of(String digest, byte[] label) {
        Digests named = Digests.named(digest);
        return new OAEPParams(named.mechanism(), named.maskGeneration(), CKZ.DATA_SPECIFIED, label);
    }

    /**
     * Makes the parameter that means the same as one of the JDK.
     *
     * @param parameters the JDK's
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 cannot say that
     */
    public static OAEPParams of(OAEPParameterSpec parameters) {
        PSource source = parameters.getPSource();
        Arrays.require(source instanceof PSource.PSpecified, "PKCS#11 has a label that is given, no other source");
        return new OAEPParams(Digests.named(parameters.getDigestAlgorithm()).mechanism(),
                Digests.ofMask(parameters.getMGFAlgorithm(), parameters.getMGFParameters()).maskGeneration(),
                CKZ.DATA_SPECIFIED, ((PSource.PSpecified) source).getValue());
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(SIZE);
        layOut(structure, 0);
        return structure;
    }

    /** Lays the parameter out within another one. */
    void layOut(Structure structure, int at) {
        structure.putNumber(at, m_hashAlg).putNumber(at + 8, m_mgf).putNumber(at + 16, m_source);
        structure.putCounted(at + 24, at + 32, m_sourceData);
    }
}
