package velnor.params;

import velnor.nat.Structure;

/** The parameter of a message for {@code CKM_AES_GCM} and its like. */
public final class GCMMessageParams implements MessageParams {
    private static final int MOST_TAG = 16;

    private static final int TAG_BITS = 128;

    private final byte[] iv;
    private final int fixedBits;
    private final VectorGenerator generator;
    private final byte[] tag;
    private final int tagBits;
    private volatile byte[] writtenIv;
    private volatile byte[] writtenTag;

    private GCMMessageParams(byte[] iv, int fixedBits, VectorGenerator generator, byte[] tag, int tagBits) {
        this.iv = Arrays.copy(iv);
        this.fixedBits = fixedBits;
        this.generator = generator;
        this.tag = Arrays.copy(tag);
        this.tagBits = tagBits;
    }

    /**
     * Makes the parameter of a message to be encrypted, with a tag of 128 bits.
     *
     * @param iv the initialisation vector, 12 bytes for preference; never the same one twice with one key
     */
    public GCMMessageParams(byte[] iv) {
        this(iv, 0, VectorGenerator.NONE, TAG_BITS);
    }

    /**
     * Makes the parameter of a message to be decrypted.
     *
     * @param iv the initialisation vector
     * @param tag the tag
     */
    public GCMMessageParams(byte[] iv, byte[] tag) {
        this(iv, 0, VectorGenerator.NONE, tag, 8 * Arrays.length(tag));
    }

    /**
     * Makes the parameter of a message to be encrypted.
     *
     * @param iv the initialisation vector; of one that the token makes the beginning and zeroes
     * @param fixedBits how many bits of the vector, from its beginning, the token leaves as they are
     * @param generator who makes the vector
     * @param tagBits the length of the tag: 96 to 128 in steps of 8, or (weak) 64 or 32
     */
    public GCMMessageParams(byte[] iv, int fixedBits, VectorGenerator generator, int tagBits) {
        this(iv, fixedBits, generator, null, tagBits);
    }

    @Override
    public void check() {
        new GCMParams(iv, null, tagBits).check();
        Arrays.require(generator != null && fixedBits >= 0 && fixedBits <= 8L * iv.length,
                "Of a vector of " + iv.length + " bytes " + fixedBits + " bits cannot be fixed");
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(6 * Structure.WORD).comesBack().putCounted(0, 8, iv)
                .putNumber(16, fixedBits).putNumber(24, generator.number()).putNumber(40, tagBits);
        int at = structure.point(32, Math.max(Arrays.length(tag), Arrays.room((tagBits + 7) / 8, MOST_TAG)));
        return tag == null ? structure : structure.putBytes(at, tag);
    }

    @Override
    public void takeBack(Structure structure) {
        writtenIv = structure.getPointed(0, iv.length);
        writtenTag = structure.getPointed(32, (tagBits + 7) / 8);
    }

    @Override
    public Class<? extends MechanismParams> usualClass() {
        return GCMParams.class;
    }

    /**
     * Gives the initialisation vector.
     *
     * @return a copy of the vector as the token has left it, which is another than the given one for a token that makes
     *         its own
     */
    public byte[] iv() {
        return Arrays.copy(writtenIv == null ? iv : writtenIv);
    }

    /**
     * Gives the tag.
     *
     * @return a copy of the tag: the one of the message that was encrypted last, or the given one; null before
     */
    public byte[] tag() {
        return Arrays.copy(writtenTag == null ? tag : writtenTag);
    }
}
