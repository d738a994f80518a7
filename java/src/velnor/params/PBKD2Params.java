package velnor.params;

import velnor.CKP;
import velnor.CKZ;
import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_PKCS5_PBKD2}.
 *
 * <p>It is laid out as {@code CK_PKCS5_PBKD2_PARAMS2}, which every version since 2.40 has. Before, the length of the
 * password was behind a pointer; modules that still want that get it by {@link #withLengthPointer()}. The two cannot be
 * told apart by their size.
 */
public final class PBKD2Params implements MechanismParams {
    private final char[] password;
    private final byte[] salt;
    private final long iterations;
    private final int prf;
    private final boolean lengthPointer;

    /**
     * Makes the parameter.
     *
     * @param password the password, which the token is given in UTF-8
     * @param salt the salt
     * @param iterations the number of iterations
     * @param prf the pseudo-random function ({@link CKP}), such as
     *        {@link CKP#PKCS5_PBKD2_HMAC_SHA256}
     */
    public PBKD2Params(char[] password, byte[] salt, long iterations, int prf) {
        this(Arrays.copy(password), Arrays.copy(salt), iterations, prf, false);
    }

    private PBKD2Params(char[] password, byte[] salt, long iterations, int prf, boolean lengthPointer) {
        this.password = password;
        this.salt = salt;
        this.iterations = iterations;
        this.prf = prf;
        this.lengthPointer = lengthPointer;
    }

    /**
     * Makes the parameter.
     *
     * @param password the password, which the token is given in UTF-8
     * @param salt the salt
     * @param iterations the number of iterations
     * @param digest the name of the digest of the HMAC, such as SHA-256
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 does not have the digest
     */
    public static PBKD2Params of(char[] password, byte[] salt, long iterations, String digest) {
        return new PBKD2Params(password, salt, iterations, Digests.named(digest).pseudoRandom());
    }

    /**
     * Makes the same parameter in the older form, {@code CK_PKCS5_PBKD2_PARAMS}.
     *
     * @return the other parameter
     */
    public PBKD2Params withLengthPointer() {
        return new PBKD2Params(password, salt, iterations, prf, true);
    }

    @Override
    public void check() {
        Arrays.check("password", password, 0);
        Arrays.check("salt", salt, 0);
        Arrays.require(salt.length > 0, "PBKDF2 needs a salt: 16 random bytes, say");
        Arrays.require(iterations > 0, "PBKDF2 needs a number of iterations: hundreds of thousands for a password");
        Arrays.require(prf != 0, "PBKDF2 needs a pseudo-random function: of(..., \"SHA-256\") names one");
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(9 * Structure.WORD).putNumber(0, CKZ.SALT_SPECIFIED).putCounted(8, 16, salt)
                .putLong(24, iterations).putNumber(32, prf);
        byte[] encoded = Arrays.utf8(password);
        structure.point(56, encoded);
        structure.putLong(lengthPointer ? structure.point(64, Structure.WORD) : 64, encoded.length);
        Arrays.wipe(encoded);
        return structure;
    }
}
