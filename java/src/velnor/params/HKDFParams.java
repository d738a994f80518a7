package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_HKDF_DERIVE} and {@code CKM_HKDF_DATA}. */
public final class HKDFParams implements MechanismParams {
    /** {@code CKF_HKDF_SALT_NULL}: as many zeroes as the digest is long. */
    public static final int SALT_NULL = 1;
    /** {@code CKF_HKDF_SALT_DATA}: the salt is given here. */
    public static final int SALT_DATA = 2;
    /** {@code CKF_HKDF_SALT_KEY}: the salt is the value of a key. */
    public static final int SALT_KEY = 4;

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
     * @param saltType {@link #SALT_NULL}, {@link #SALT_DATA} or {@link #SALT_KEY}
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
                Arrays.length(salt) == 0 ? SALT_NULL : SALT_DATA, salt, 0, info);
    }

    @Override
    public void check() {
        Arrays.require(extract || expand, "HKDF without either of its steps does nothing: extract, expand or both");
        Arrays.require(prf != 0, "HKDF needs a digest, as of(\"SHA-256\", salt, info)");
        Arrays.require(saltType == SALT_NULL || saltType == SALT_DATA || saltType == SALT_KEY,
                "A salt is of type SALT_NULL, SALT_DATA or SALT_KEY, not " + saltType);
        Arrays.require(saltType == SALT_DATA || Arrays.length(salt) == 0, "There is a salt; its type is SALT_DATA");
        Arrays.require(saltType != SALT_DATA || Arrays.length(salt) > 0, "There is no salt; its type is SALT_NULL");
        Arrays.require(saltType == SALT_KEY == (saltKey != 0), "The handle of a key goes with the type SALT_KEY");
    }

    @Override
    public Structure structure() {
        return new Structure(8 * Structure.WORD).putBoolean(0, extract).putBoolean(1, expand).putNumber(8, prf)
                .putNumber(16, saltType).putCounted(24, 32, salt).putLong(40, saltKey).putCounted(48, 56, info);
    }
}
