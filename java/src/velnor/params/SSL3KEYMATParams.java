package velnor.params;

import java.util.Objects;

import quadrel.Pkcs11SSL3KEYMATOUT;
import quadrel.Pkcs11SSL3RANDOMDATA;
import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_SSL3_KEY_AND_MAC_DERIVE}.
 *
 * <p>The token makes four keys, whose handles {@link SSL3KEYMATOUT} gives. In a call of {@link
 * velnor.nat.NativeSession} <strong>only the lengths of the random data reach the token</strong>; in place of the bytes
 * it is given zeroes.
 */
public final class SSL3KEYMATParams implements MechanismParams {
    /** Where the pointer to what is given back lies. */
    private static final int RETURNED = 32 + SSL3RANDOMDATA.SIZE;

    /** The size of the C structure. */
    static final int SIZE = RETURNED + Structure.WORD;

    private static final int MOST_IV_BITS = 1024;

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
        ivBytes();
    }

    @Override
    public Structure structure() {
        return structure(SIZE);
    }

    /** Lays out a structure that begins with this one. */
    Structure structure(int length) {
        Structure structure = new Structure(length).comesBack();
        structure.putNumber(0, macSizeInBits).putNumber(8, keySizeInBits).putNumber(16, ivSizeInBits)
                .putBoolean(24, isExport);
        ((SSL3RANDOMDATA) randomInfo).layOut(structure, 32);
        int at = structure.point(RETURNED, SSL3KEYMATOUT.SIZE);
        ((SSL3KEYMATOUT) returnedKeyMaterial).layOut(structure, at, ivBytes());
        return structure;
    }

    @Override
    public void takeBack(Structure structure) {
        long at = structure.getLong(RETURNED);
        if (at >= 0) {
            ((SSL3KEYMATOUT) returnedKeyMaterial).takeBack(structure, (int) Math.min(at, Integer.MAX_VALUE),
                    ivBytes());
        }
    }

    private int ivBytes() {
        Arrays.require(ivSizeInBits >= 0 && ivSizeInBits <= MOST_IV_BITS,
                "An initialisation vector has a block of the cipher, 64 bits say, not " + ivSizeInBits);
        return (ivSizeInBits + 7) / 8;
    }
}
