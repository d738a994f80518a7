package velnor.params;

import java.security.spec.PSSParameterSpec;

import velnor.nat.Structure;

/** The parameter of {@code CKM_RSA_PKCS_PSS} and of {@code CKM_SHA256_RSA_PKCS_PSS} and its like. */
public final class PSSParams implements MechanismParams {
    private final int hashAlg;
    private final int mgf;
    private final int saltLength;

    /**
     * Makes the parameter.
     *
     * @param hashAlg the digest mechanism ({@code CKM_})
     * @param mgf the mask generation function ({@code CKG_})
     * @param saltLength the length of the salt in bytes
     */
    public PSSParams(int hashAlg, int mgf, int saltLength) {
        this.hashAlg = hashAlg;
        this.mgf = mgf;
        this.saltLength = saltLength;
    }

    /**
     * Makes the usual parameter for a digest: MGF1 with the same digest, and a salt as long as a digest.
     *
     * @param digest the digest's name, such as SHA-256
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 does not have it
     */
    public static PSSParams of(String digest) {
        Digests named = Digests.named(digest);
        return new PSSParams(named.mechanism(), named.maskGeneration(), named.length());
    }

    /**
     * Makes the parameter that means the same as one of the JDK.
     *
     * @param parameters the JDK's
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 cannot say that
     */
    public static PSSParams of(PSSParameterSpec parameters) {
        Arrays.require(parameters.getTrailerField() == PSSParameterSpec.TRAILER_FIELD_BC,
                "PKCS#11 has the trailer field 1 only");
        return new PSSParams(Digests.named(parameters.getDigestAlgorithm()).mechanism(),
                Digests.ofMask(parameters.getMGFAlgorithm(), parameters.getMGFParameters()).maskGeneration(),
                parameters.getSaltLength());
    }

    @Override
    public void check() {
        Arrays.require(hashAlg != 0 && mgf != 0, "PSS needs a digest and its mask: of(\"SHA-256\") names both");
        Arrays.require(saltLength >= 0, "A salt cannot have " + saltLength + " bytes: a digest's length is the usual");
    }

    @Override
    public Structure structure() {
        return new Structure(3 * Structure.WORD).putNumber(0, hashAlg).putNumber(8, mgf).putNumber(16, saltLength);
    }
}
