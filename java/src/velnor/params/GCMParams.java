package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_AES_GCM} and its like. The tag is the end of what is encrypted. */
public final class GCMParams implements MechanismParams {
    private static final int TAG_BITS = 128;

    private final byte[] iv;
    private final byte[] aad;
    private final int tagBits;
    private volatile byte[] written;

    /**
     * Makes the parameter with a tag of 128 bits and no additional data.
     *
     * @param iv the initialisation vector, 12 bytes for preference; never the same one twice with one key
     */
    public GCMParams(byte[] iv) {
        this(iv, null, TAG_BITS);
    }

    /**
     * Makes the parameter.
     *
     * @param iv the initialisation vector, 12 bytes for preference; never the same one twice with one key. For a token
     *        that makes the vector itself give as many zeroes, and read {@link #iv()} afterwards
     * @param aad the data that is authenticated and not encrypted, or null for none
     * @param tagBits the length of the tag: 96 to 128 in steps of 8, or (weak) 64 or 32
     */
    public GCMParams(byte[] iv, byte[] aad, int tagBits) {
        this.iv = Arrays.copy(iv);
        this.aad = Arrays.copy(aad);
        this.tagBits = tagBits;
    }

    @Override
    public void check() {
        Arrays.check("iv", iv, 0);
        Arrays.require(iv.length > 0, "GCM needs an initialisation vector: 12 bytes, new for each message");
        Arrays.require(tagBits == 32 || tagBits == 64 || tagBits >= 96 && tagBits <= TAG_BITS && tagBits % 8 == 0,
                "A GCM tag has 96 to 128 bits in steps of 8, or 64 or 32, not " + tagBits + ": take 128");
    }

    @Override
    public Structure structure() {
        return new Structure(6 * Structure.WORD).comesBack().putCounted(0, 8, iv).putLong(16, 8L * iv.length)
                .putCounted(24, 32, aad).putNumber(40, tagBits);
    }

    @Override
    public void takeBack(Structure structure) {
        written = structure.getPointed(0, iv.length);
    }

    /**
     * Gives the initialisation vector.
     *
     * @return a copy of the vector as the token has left it in the last call that ended, which is another than the
     *        given one for a token that makes its own
     */
    public byte[] iv() {
        return Arrays.copy(written == null ? iv : written);
    }
}
