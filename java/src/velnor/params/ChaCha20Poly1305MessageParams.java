package velnor.params;

import velnor.nat.Structure;

/** The parameter of a message for {@code CKM_CHACHA20_POLY1305}. */
public final class ChaCha20Poly1305MessageParams implements MessageParams {
    private static final int TAG = 16;

    private final byte[] nonce;
    private final byte[] tag;
    private volatile byte[] writtenTag;

    /**
     * Makes the parameter of a message to be encrypted.
     *
     * @param nonce the nonce, 12 bytes (or 8, or 24); never the same one twice with one key
     */
    public ChaCha20Poly1305MessageParams(byte[] nonce) {
        this(nonce, new byte[TAG]);
    }

    /**
     * Makes the parameter of a message to be decrypted.
     *
     * @param nonce the nonce
     * @param tag the tag, 16 bytes
     */
    public ChaCha20Poly1305MessageParams(byte[] nonce, byte[] tag) {
        this.nonce = Arrays.copy(nonce);
        this.tag = Arrays.copy(tag);
    }

    @Override
    public void check() {
        ChaCha20Params.checkNonce(nonce);
        Arrays.check("tag", tag, 0);
        Arrays.require(tag.length == TAG, "A tag of Poly1305 has 16 bytes, not " + tag.length);
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(3 * Structure.WORD).comesBack().putCounted(0, 8, nonce);
        structure.point(16, tag);
        return structure;
    }

    @Override
    public void takeBack(Structure structure) {
        writtenTag = structure.getPointed(16, TAG);
    }

    @Override
    public Class<? extends MechanismParams> usualClass() {
        return ChaCha20Poly1305Params.class;
    }

    /**
     * Gives the tag.
     *
     * @return a copy of the tag: the one of the message that was encrypted last, or the given one
     */
    public byte[] tag() {
        return Arrays.copy(writtenTag == null ? tag : writtenTag);
    }
}
