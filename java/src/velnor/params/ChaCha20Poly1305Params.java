package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_CHACHA20_POLY1305}. The tag of 16 bytes is the end of what is encrypted. */
public final class ChaCha20Poly1305Params implements MechanismParams {
    private final byte[] nonce;
    private final byte[] aad;

    /**
     * Makes the parameter.
     *
     * @param nonce the nonce, 12 bytes (or 8, or 24); never the same one twice with one key
     * @param aad the data that is authenticated and not encrypted, or null for none
     */
    public ChaCha20Poly1305Params(byte[] nonce, byte[] aad) {
        this.nonce = Arrays.copy(nonce);
        this.aad = Arrays.copy(aad);
    }

    @Override
    public void check() {
        ChaCha20Params.checkNonce(nonce);
    }

    @Override
    public Structure structure() {
        return new Structure(4 * Structure.WORD).putCounted(0, 8, nonce).putCounted(16, 24, aad);
    }
}
