package velnor.params;

import java.security.PublicKey;

import velnor.CKD;
import velnor.der.Der;
import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_ECDH1_DERIVE} and {@code CKM_ECDH1_COFACTOR_DERIVE}.
 *
 * <p>The other party's point goes to the token raw, as the standard demands of every token since version 2.40: {@code
 * 04}, x and y for a curve of Weierstrass form, the little-endian u for Curve25519 and Curve448. Some tokens, older
 * ones among them, take it as a DER {@code OCTET STRING} as well, or only so: {@link #inOctetString()}. SoftHSM and NSS
 * take both.
 */
public final class ECDH1DeriveParams implements MechanismParams {
    private final int kdf;
    private final byte[] sharedData;
    private final byte[] publicData;

    /**
     * Makes the parameter.
     *
     * @param kdf what becomes of the agreed value ({@link CKD}), such as {@link CKD#NULL}
     * @param sharedData data that both parties know, for the derivation function; null for none
     * @param publicData the other party's point
     */
    public ECDH1DeriveParams(int kdf, byte[] sharedData, byte[] publicData) {
        this.kdf = kdf;
        this.sharedData = Arrays.copy(sharedData);
        this.publicData = Arrays.copy(publicData);
    }

    /**
     * Makes the parameter for the agreed value itself.
     *
     * @param publicKey the other party's key: EC, X25519 or X448
     * @return the parameter
     * @throws IllegalArgumentException when the key does not tell its encoding
     */
    public static ECDH1DeriveParams of(PublicKey publicKey) {
        return new ECDH1DeriveParams(CKD.NULL, null, point(publicKey));
    }

    /**
     * Makes the parameter for a value derived by ANSI X9.63.
     *
     * @param publicKey the other party's key: EC, X25519 or X448
     * @param digest the digest's name, such as SHA-256
     * @param sharedData data that both parties know, or null for none
     * @return the parameter
     * @throws IllegalArgumentException when the key does not tell its encoding, or PKCS#11 does not have the digest
     */
    public static ECDH1DeriveParams of(PublicKey publicKey, String digest, byte[] sharedData) {
        return new ECDH1DeriveParams(Digests.named(digest).keyDerivation(), sharedData, point(publicKey));
    }

    private static byte[] point(PublicKey publicKey) {
        Arrays.require("X.509".equals(publicKey.getFormat()), "The public key does not tell its encoding");
        return Der.element(publicKey.getEncoded()).sequence().get(1).bitString();
    }

    /**
     * Makes the same parameter with the point in a DER {@code OCTET STRING}.
     *
     * @return the other parameter
     */
    public ECDH1DeriveParams inOctetString() {
        return new ECDH1DeriveParams(kdf, sharedData, Der.encode(Der.OCTET_STRING, publicData));
    }

    @Override
    public void check() {
        Arrays.check("public data", publicData, 0);
        Arrays.require(publicData.length > 0, "An agreement needs the other party's point");
        Arrays.require(kdf != CKD.NULL || Arrays.length(sharedData) == 0,
                "Shared data is for a derivation function, and CKD_NULL is none: name one, or leave the data out");
    }

    @Override
    public Structure structure() {
        return new Structure(5 * Structure.WORD).putNumber(0, kdf).putCounted(16, 8, sharedData)
                .putCounted(32, 24, publicData);
    }
}
