package velnor.params;

import velnor.CKF;
import velnor.nat.Structure;

/** The parameter of {@code CKM_HKDF_DERIVE} and {@code CKM_HKDF_DATA}. */
public final class HKDFParams implements MechanismParams {
    private final boolean extract;
    private final boolean expand;
    private final int prf;
    private final int saltType;
    private final byte[] salt;
    private final long saltKey;
    private final byte[] info;

    /**
     * Makes the parameter.
     *
     * @param extract whether the first step is done
     * @param expand whether the second step is done
     * @param prf the digest mechanism ({@code CKM_}) of the HMAC
     * @param saltType {@link CKF#HKDF_SALT_NULL}, {@link CKF#HKDF_SALT_DATA} or {@link CKF#HKDF_SALT_KEY}
     * @param salt the salt, or null
     * @param saltKey the handle of the key that is the salt, or 0
     * @param info what the second step binds the key to, or null for nothing
     */
    public HKDFParams(boolean extract, boolean expand, int prf, int saltType, byte[] salt, long saltKey, byte[] info) {
        this.extract = extract;
        this.expand = expand;
        this.prf = prf;
        this.saltType = saltType;
        this.salt = Arrays.copy(salt);
        this.saltKey = saltKey;
        this.info = Arrays.copy(info);
    }

    /**
     * Makes the parameter of both steps.
     *
     * @param digest the digest's name, such as SHA-256
     * @param salt the salt; null or empty for none
     * @param info what the key is bound to, or null for nothing
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 does not have the digest
     */
    public static HKDFParams of(String digest, byte[] salt, byte[] info) {
        return new HKDFParams(true, true, Digests.named(digest).mechanism(),
                Arrays.length(salt) == 0 ? CKF.HKDF_SALT_NULL : CKF.HKDF_SALT_DATA, salt, 0, info);
    }

    @Override
    public void check() {
        Arrays.require(extract || expand, "HKDF without either of its steps does nothing: extract, expand or both");
        Arrays.require(prf != 0, "HKDF needs a digest, as of(\"SHA-256\", salt, info)");
        boolean data = saltType == CKF.HKDF_SALT_DATA;
        boolean key = saltType == CKF.HKDF_SALT_KEY;
        Arrays.require(data || key || saltType == CKF.HKDF_SALT_NULL,
                "The type of a salt is CKF.HKDF_SALT_NULL, HKDF_SALT_DATA or HKDF_SALT_KEY, not " + saltType);
        Arrays.require(data == Arrays.length(salt) > 0, "A salt that has bytes goes with the type CKF.HKDF_SALT_DATA");
        Arrays.require(key == (saltKey != 0), "The handle of a key goes with the type CKF.HKDF_SALT_KEY");
    }

    @Override
    public Structure structure() {
        return new Structure(8 * Structure.WORD).putBoolean(0, extract).putBoolean(1, expand).putNumber(8, prf)
                .putNumber(16, saltType).putCounted(24, 32, salt).putLong(40, saltKey).putCounted(48, 56, info);
    }
}
