package velnor.params;

import velnor.CKD;
import velnor.nat.Structure;

/** The parameter of {@code CKM_ECDH_AES_KEY_WRAP}: a key agreed with one that goes along wraps. */
public final class ECDHAESKeyWrapParams implements MechanismParams {
    private final int aesKeyBits;
    private final int kdf;
    private final byte[] sharedData;

    /**
     * Makes the parameter.
     *
     * @param aesKeyBits the size of the AES key: 128, 192 or 256
     * @param kdf what makes a key of the agreed value ({@link CKD}), such as {@link CKD#SHA256_KDF}
     * @param sharedData data that both parties know, for the derivation function; null for none
     */
    public ECDHAESKeyWrapParams(int aesKeyBits, int kdf, byte[] sharedData) {
        this.aesKeyBits = aesKeyBits;
        this.kdf = kdf;
        this.sharedData = Arrays.copy(sharedData);
    }

    @Override
    public void check() {
        RSAAESKeyWrapParams.checkBits(aesKeyBits);
    }

    @Override
    public Structure structure() {
        return new Structure(4 * Structure.WORD).putNumber(0, aesKeyBits).putNumber(8, kdf)
                .putCounted(24, 16, sharedData);
    }
}
