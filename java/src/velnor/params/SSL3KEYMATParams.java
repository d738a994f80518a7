package velnor.params;

import java.util.Objects;

import quadrel.Pkcs11SSL3KEYMATOUT;
import quadrel.Pkcs11SSL3RANDOMDATA;

/**
 * The parameter of {@code CKM_SSL3_KEY_AND_MAC_DERIVE}.
 *
 * <p><strong>Of the random data only the lengths reach the token</strong>; in place of the bytes it is given zeroes.
 */
public final class SSL3KEYMATParams implements MechanismParams {
    private final Pkcs11SSL3KEYMATOUT returnedKeyMaterial;
    private final Pkcs11SSL3RANDOMDATA randomInfo;
    private final Boolean isExport;
    private final int keySizeInBits;
    private final int macSizeInBits;
    private final int ivSizeInBits;

    /**
     * Makes the parameter.
     *
     * @param returnedKeyMaterial keys and initialisation vectors
     * @param randomInfo the random data of the handshake
     * @param isExport whether the keys are for an export version of the protocol
     * @param keySizeInBits the size of the keys
     * @param macSizeInBits the size of the MAC secrets
     * @param ivSizeInBits the size of the initialisation vectors, 0 for none
     */
    public SSL3KEYMATParams(SSL3KEYMATOUT returnedKeyMaterial, SSL3RANDOMDATA randomInfo, boolean isExport,
            int keySizeInBits, int macSizeInBits, int ivSizeInBits) {
        this.returnedKeyMaterial = returnedKeyMaterial;
        this.randomInfo = randomInfo;
        this.isExport = isExport;
        this.keySizeInBits = keySizeInBits;
        this.macSizeInBits = macSizeInBits;
        this.ivSizeInBits = ivSizeInBits;
    }

    @Override
    public void check() {
        Objects.requireNonNull(returnedKeyMaterial, "returnedKeyMaterial");
        Objects.requireNonNull(randomInfo, "randomInfo");
        ((SSL3KEYMATOUT) returnedKeyMaterial).check();
        ((SSL3RANDOMDATA) randomInfo).check();
    }
}
