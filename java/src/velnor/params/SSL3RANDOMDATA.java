package velnor.params;

import quadrel.Pkcs11SSL3RANDOMDATA;
import velnor.nat.Structure;

/**
 * The random data of an SSL 3 or TLS handshake, part of {@link SSL3MASTERKEYDERIVEParams}, {@link SSL3KEYMATParams} and
 * those of TLS 1.2.
 *
 * <p>The two mechanisms of SSL 3 read the same data under different field names.
 */
public final class SSL3RANDOMDATA implements Pkcs11SSL3RANDOMDATA {
    /** The size of the C structure. */
    static final int SIZE = 4 * Structure.WORD;

    private final byte[] m_clientRandom;
    private final byte[] m_serverRandom;
    private final byte[] clientRandom;
    private final byte[] serverRandom;

    /**
     * Makes the parameter.
     *
     * @param clientRandom the client's random data
     * @param serverRandom the server's random data
     */
    public SSL3RANDOMDATA(byte[] clientRandom, byte[] serverRandom) {
        m_clientRandom = Arrays.copy(clientRandom);
        m_serverRandom = Arrays.copy(serverRandom);
        this.clientRandom = Arrays.copy(clientRandom);
        this.serverRandom = Arrays.copy(serverRandom);
    }

    void check() {
        Arrays.check("clientRandom", clientRandom, 0);
        Arrays.check("serverRandom", serverRandom, 0);
    }

    /** Lays the data out within a parameter. */
    void layOut(Structure structure, int at) {
        structure.putCounted(at, at + 8, clientRandom).putCounted(at + 16, at + 24, serverRandom);
    }
}
