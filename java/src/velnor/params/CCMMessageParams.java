package velnor.params;

import velnor.nat.Structure;

/** The parameter of a message for {@code CKM_AES_CCM} and its like. */
public final class CCMMessageParams implements MessageParams {
    private static final int MOST_MAC = 16;

    private final long dataLength;
    private final byte[] nonce;
    private final int fixedBits;
    private final VectorGenerator generator;
    private final byte[] mac;
    private final int macLength;
    private volatile byte[] writtenNonce;
    private volatile byte[] writtenMac;

    private CCMMessageParams(long dataLength, byte[] nonce, int fixedBits, VectorGenerator generator, byte[] mac,
            int macLength) {
        this.dataLength = dataLength;
        this.nonce = Arrays.copy(nonce);
        this.fixedBits = fixedBits;
        this.generator = generator;
        this.mac = Arrays.copy(mac);
        this.macLength = macLength;
    }

    /**
     * Makes the parameter of a message to be encrypted.
     *
     * @param dataLength how many bytes are to be encrypted
     * @param nonce the nonce, 7 to 13 bytes, never the same one twice with one key; of one that the token makes the
     *        beginning and zeroes
     * @param fixedBits how many bits of the nonce, from its beginning, the token leaves as they are
     * @param generator who makes the nonce
     * @param macLength the length of the MAC in bytes: 4, 6, 8, 10, 12, 14 or 16
     */
    public CCMMessageParams(long dataLength, byte[] nonce, int fixedBits, VectorGenerator generator, int macLength) {
        this(dataLength, nonce, fixedBits, generator, null, macLength);
    }

    /**
     * Makes the parameter of a message to be decrypted.
     *
     * @param dataLength how many bytes come out
     * @param nonce the nonce
     * @param mac the MAC
     */
    public CCMMessageParams(long dataLength, byte[] nonce, byte[] mac) {
        this(dataLength, nonce, 0, VectorGenerator.NONE, mac, Arrays.length(mac));
    }

    @Override
    public void check() {
        new CCMParams(dataLength, nonce, null, macLength).check();
        Arrays.require(generator != null && fixedBits >= 0 && fixedBits <= 8L * nonce.length,
                "Of a nonce of " + nonce.length + " bytes " + fixedBits + " bits cannot be fixed");
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(7 * Structure.WORD).comesBack().putLong(0, dataLength)
                .putCounted(8, 16, nonce).putNumber(24, fixedBits).putNumber(32, generator.number())
                .putNumber(48, macLength);
        int at = structure.point(40, Math.max(Arrays.length(mac), Arrays.room(macLength, MOST_MAC)));
        return mac == null ? structure : structure.putBytes(at, mac);
    }

    @Override
    public void takeBack(Structure structure) {
        writtenNonce = structure.getPointed(8, nonce.length);
        writtenMac = structure.getPointed(40, macLength);
    }

    @Override
    public Class<? extends MechanismParams> usualClass() {
        return CCMParams.class;
    }

    /**
     * Gives the nonce.
     *
     * @return a copy of the nonce as the token has left it
     */
    public byte[] nonce() {
        return Arrays.copy(writtenNonce == null ? nonce : writtenNonce);
    }

    /**
     * Gives the MAC.
     *
     * @return a copy of the MAC: the one of the message that was encrypted last, or the given one; null before
     */
    public byte[] mac() {
        return Arrays.copy(writtenMac == null ? mac : writtenMac);
    }
}
