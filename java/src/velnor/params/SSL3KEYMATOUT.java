package velnor.params;

import quadrel.Pkcs11SSL3KEYMATOUT;

/**
 * Keys and initialisation vectors that go into {@code CKM_SSL3_KEY_AND_MAC_DERIVE}, part of {@link SSL3KEYMATParams}.
 *
 * <p>What the token makes is not copied back: the object keeps what it was built with.
 */
public final class SSL3KEYMATOUT implements Pkcs11SSL3KEYMATOUT {
    private final int hClientKey;
    private final int hClientMacSecret;
    private final int hServerKey;
    private final int hServerMacSecret;
    private final byte[] ivClient;
    private final byte[] ivServer;

    /**
     * Makes the parameter.
     *
     * @param hClientKey the handle of the client's key
     * @param hClientMacSecret the handle of the client's MAC secret
     * @param hServerKey the handle of the server's key
     * @param hServerMacSecret the handle of the server's MAC secret
     * @param ivClient the client's initialisation vector, of which 8 bytes count, or null
     * @param ivServer the server's initialisation vector, of which 8 bytes count, or null
     */
    public SSL3KEYMATOUT(int hClientKey, int hClientMacSecret, int hServerKey, int hServerMacSecret, byte[] ivClient,
            byte[] ivServer) {
        this.hClientKey = hClientKey;
        this.hClientMacSecret = hClientMacSecret;
        this.hServerKey = hServerKey;
        this.hServerMacSecret = hServerMacSecret;
        this.ivClient = Arrays.copy(ivClient);
        this.ivServer = Arrays.copy(ivServer);
    }

    void check() {
        if (ivClient != null) {
            Arrays.check("ivClient", ivClient, 8);
        }
        if (ivServer != null) {
            Arrays.check("ivServer", ivServer, 8);
        }
    }
}
