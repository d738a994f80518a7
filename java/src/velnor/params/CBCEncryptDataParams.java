package velnor.params;

import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_AES_CBC_ENCRYPT_DATA} and of its like for ARIA, Camellia and SEED (blocks of 16 bytes),
 * DES and triple DES (blocks of 8). The {@code _ECB_ENCRYPT_DATA} mechanisms take {@link KEYDERIVATIONSTRINGDATA}.
 */
public final class CBCEncryptDataParams implements MechanismParams {
    private final byte[] iv;
    private final byte[] data;

    /**
     * Makes the parameter.
     *
     * @param iv the initialisation vector, a block of the cipher: 16 or 8 bytes
     * @param data the data to encrypt, a multiple of the block
     */
    public CBCEncryptDataParams(byte[] iv, byte[] data) {
        this.iv = Arrays.copy(iv);
        this.data = Arrays.copy(data);
    }

    /**
     * Tells how long the vector is.
     *
     * @return the number of bytes, which is the cipher's block
     */
    public int ivLength() {
        return Arrays.length(iv);
    }

    @Override
    public void check() {
        Arrays.check("iv", iv, 0);
        Arrays.check("data", data, 0);
        Arrays.require(iv.length == 8 || iv.length == 16,
                "An initialisation vector has a block of the cipher, 16 bytes (DES: 8), not " + iv.length);
        Arrays.require(data.length > 0 && data.length % iv.length == 0,
                "The data must fill blocks of " + iv.length + " bytes: " + data.length + " do not");
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(iv.length + 2 * Structure.WORD).putBytes(0, iv);
        return structure.putCounted(iv.length, iv.length + Structure.WORD, data);
    }
}
