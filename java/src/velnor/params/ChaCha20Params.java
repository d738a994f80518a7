package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_CHACHA20}. */
public final class ChaCha20Params implements MechanismParams {
    private final byte[] blockCounter;
    private final byte[] nonce;

    /**
     * Makes the parameter.
     *
     * @param blockCounter the first block's number, low byte first: 4 bytes, or 8 with a nonce of 8
     * @param nonce the nonce: 12 bytes, or 8 with a counter of 8, or 24; never the same one twice with one key
     */
    public ChaCha20Params(byte[] blockCounter, byte[] nonce) {
        this.blockCounter = Arrays.copy(blockCounter);
        this.nonce = Arrays.copy(nonce);
    }

    @Override
    public void check() {
        Arrays.check("block counter", blockCounter, 0);
        Arrays.require(blockCounter.length == 4 || blockCounter.length == 8,
                "A block counter has 4 or 8 bytes, not " + blockCounter.length);
        checkNonce(nonce);
    }

    static void checkNonce(byte[] nonce) {
        Arrays.check("nonce", nonce, 0);
        Arrays.require(nonce.length == 8 || nonce.length == 12 || nonce.length == 24,
                "A nonce of ChaCha20 has 12 bytes (or 8, or 24), not " + nonce.length);
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(4 * Structure.WORD);
        structure.point(0, blockCounter);
        structure.putLong(8, 8L * blockCounter.length);
        structure.point(16, nonce);
        return structure.putLong(24, 8L * nonce.length);
    }
}
