package velnor.params;

import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_TLS12_KEY_AND_MAC_DERIVE} and {@code CKM_TLS12_KEY_SAFE_DERIVE}. The token makes up to
 * four keys and, in the first form, initialisation vectors: {@link SSL3KEYMATOUT} gives the handles and the vectors.
 */
public final class TLS12KeyMatParams implements MechanismParams {
    private static final int DIGEST = SSL3KEYMATParams.SIZE;

    private final SSL3KEYMATParams keys;
    private final int digest;

    /**
     * Makes the parameter.
     *
     * @param returnedKeyMaterial keys and initialisation vectors
     * @param random the random data of the handshake
     * @param keySizeInBits the size of the keys
     * @param macSizeInBits the size of the MAC secrets, 0 for none
     * @param ivSizeInBits the size of the initialisation vectors, 0 for none
     * @param digest the digest mechanism ({@code CKM_}) of the pseudo-random function
     */
    public TLS12KeyMatParams(SSL3KEYMATOUT returnedKeyMaterial, SSL3RANDOMDATA random, int keySizeInBits,
            int macSizeInBits, int ivSizeInBits, int digest) {
        keys = new SSL3KEYMATParams(returnedKeyMaterial, random, false, keySizeInBits, macSizeInBits, ivSizeInBits);
        this.digest = digest;
    }

    /**
     * Makes the parameter.
     *
     * @param digest the name of the cipher suite's digest, such as SHA-256
     * @param returnedKeyMaterial keys and initialisation vectors
     * @param random the random data of the handshake
     * @param keySizeInBits the size of the keys
     * @param macSizeInBits the size of the MAC secrets, 0 for none
     * @param ivSizeInBits the size of the initialisation vectors, 0 for none
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 does not have the digest
     */
    public static TLS12KeyMatParams of(String digest, SSL3KEYMATOUT returnedKeyMaterial, SSL3RANDOMDATA random,
            int keySizeInBits, int macSizeInBits, int ivSizeInBits) {
        return new TLS12KeyMatParams(returnedKeyMaterial, random, keySizeInBits, macSizeInBits, ivSizeInBits,
                Digests.named(digest).mechanism());
    }

    static void checkDigest(int digest) {
        Arrays.require(digest != 0, "TLS 1.2 needs the cipher suite's digest, as of(\"SHA-256\", ...)");
    }

    @Override
    public void check() {
        keys.check();
        checkDigest(digest);
    }

    @Override
    public Structure structure() {
        return keys.structure(DIGEST + Structure.WORD).putNumber(DIGEST, digest);
    }

    @Override
    public void takeBack(Structure structure) {
        keys.takeBack(structure);
    }
}
