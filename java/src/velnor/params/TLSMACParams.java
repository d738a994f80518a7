package velnor.params;

import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_TLS_MAC}, the MAC of a {@code Finished} message: what is signed is the digest of the
 * messages before.
 */
public final class TLSMACParams implements MechanismParams {
    private static final int SERVER = 1;
    private static final int CLIENT = 2;

    private final int prf;
    private final int length;
    private final boolean server;

    /**
     * Makes the parameter.
     *
     * @param prf the digest mechanism ({@code CKM_}) of the pseudo-random function of TLS 1.2, or {@code CKM_TLS_PRF}
     *        for that of the older versions
     * @param length how many bytes are wanted: 12 in all versions up to 1.2
     * @param server true for the server's message, false for the client's
     */
    public TLSMACParams(int prf, int length, boolean server) {
        this.prf = prf;
        this.length = length;
        this.server = server;
    }

    /**
     * Makes the parameter for TLS 1.2.
     *
     * @param digest the name of the cipher suite's digest, such as SHA-256
     * @param server true for the server's message, false for the client's
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 does not have the digest
     */
    public static TLSMACParams of(String digest, boolean server) {
        return new TLSMACParams(Digests.named(digest).mechanism(), 12, server);
    }

    @Override
    public void check() {
        TLS12KeyMatParams.checkDigest(prf);
        Arrays.require(length > 0, "A MAC has bytes, 12 in TLS 1.2, not " + length);
    }

    @Override
    public Structure structure() {
        return new Structure(3 * Structure.WORD).putNumber(0, prf).putNumber(8, length)
                .putNumber(16, server ? SERVER : CLIENT);
    }
}
