package velnor.params;

import java.util.Objects;

import velnor.nat.Structure;

/** The parameter of {@code CKM_RSA_AES_KEY_WRAP}: an AES key of the token's wraps, and goes along under RSA. */
public final class RSAAESKeyWrapParams implements MechanismParams {
    private final int aesKeyBits;
    private final OAEPParams oaep;

    /**
     * Makes the parameter.
     *
     * @param aesKeyBits the size of the AES key: 128, 192 or 256
     * @param oaep how RSA encrypts it
     */
    public RSAAESKeyWrapParams(int aesKeyBits, OAEPParams oaep) {
        this.aesKeyBits = aesKeyBits;
        this.oaep = oaep;
    }

    static void checkBits(int aesKeyBits) {
        Arrays.require(aesKeyBits == 128 || aesKeyBits == 192 || aesKeyBits == 256,
                "An AES key has 128, 192 or 256 bits, not " + aesKeyBits);
    }

    @Override
    public void check() {
        checkBits(aesKeyBits);
        Objects.requireNonNull(oaep, "oaep");
        oaep.check();
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(2 * Structure.WORD).putNumber(0, aesKeyBits);
        oaep.layOut(structure, structure.point(8, OAEPParams.SIZE));
        return structure;
    }
}
