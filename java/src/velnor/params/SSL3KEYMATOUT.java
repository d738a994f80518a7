package velnor.params;

import quadrel.Pkcs11SSL3KEYMATOUT;
import velnor.nat.Structure;

/**
 * Keys and initialisation vectors that go into {@code CKM_SSL3_KEY_AND_MAC_DERIVE}, part of {@link SSL3KEYMATParams}
 * and {@link TLS12KeyMatParams}.
 *
 * <p>What the token makes is to be had here after {@link velnor.Session#deriveKey}: the keys' handles and the vectors,
 * as of the last call that ended, so use an object of its own for each derivation. After the methods of {@link
 * velnor.nat.NativeSession} there is nothing: they do not copy it back.
 */
public final class SSL3KEYMATOUT implements Pkcs11SSL3KEYMATOUT {
    /** The size of the C structure. */
    static final int SIZE = 6 * Structure.WORD;

    private final int hClientKey;
    private final int hClientMacSecret;
    private final int hServerKey;
    private final int hServerMacSecret;
    private final byte[] ivClient;
    private final byte[] ivServer;
    private volatile Written written;

    /** Makes the parameter without keys or vectors: what the token makes comes in their place. */
    public SSL3KEYMATOUT() {
        this(0, 0, 0, 0, null, null);
    }

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

    /**
     * Lays the structure out within a parameter. The token writes initialisation vectors of {@code ivBytes} each.
     */
    void layOut(Structure structure, int at, int ivBytes) {
        structure.putNumber(at, hClientMacSecret).putNumber(at + 8, hServerMacSecret).putNumber(at + 16, hClientKey)
                .putNumber(at + 24, hServerKey);
        layOutIv(structure, at + 32, ivClient, ivBytes);
        layOutIv(structure, at + 40, ivServer, ivBytes);
    }

    private static void layOutIv(Structure structure, int at, byte[] iv, int ivBytes) {
        int length = iv == null ? ivBytes : Math.max(ivBytes, iv.length);
        if (length > 0) {
            structure.point(at, Arrays.first(iv == null ? new byte[0] : iv, length));
        }
    }

    void takeBack(Structure structure, int at, int ivBytes) {
        written = new Written(structure, at, ivBytes);
    }

    /**
     * Gives the handle of the client's MAC secret that the token made.
     *
     * @return the handle, 0 before the token made one
     */
    public long clientMacSecret() {
        return written == null ? 0 : written.handles[0];
    }

    /**
     * Gives the handle of the server's MAC secret that the token made.
     *
     * @return the handle, 0 before the token made one
     */
    public long serverMacSecret() {
        return written == null ? 0 : written.handles[1];
    }

    /**
     * Gives the handle of the client's key that the token made.
     *
     * @return the handle, 0 before the token made one
     */
    public long clientKey() {
        return written == null ? 0 : written.handles[2];
    }

    /**
     * Gives the handle of the server's key that the token made.
     *
     * @return the handle, 0 before the token made one
     */
    public long serverKey() {
        return written == null ? 0 : written.handles[3];
    }

    /**
     * Gives the client's initialisation vector that the token made.
     *
     * @return a copy; null before the token made one, or when none was asked for
     */
    public byte[] clientIv() {
        return written == null ? null : Arrays.copy(written.ivClient);
    }

    /**
     * Gives the server's initialisation vector that the token made.
     *
     * @return a copy; null before the token made one, or when none was asked for
     */
    public byte[] serverIv() {
        return written == null ? null : Arrays.copy(written.ivServer);
    }

    /** What the token made, in one piece for threads that look. */
    private static final class Written {
        private final long[] handles = new long[4];
        private final byte[] ivClient;
        private final byte[] ivServer;

        private Written(Structure structure, int at, int ivBytes) {
            for (int i = 0; i < handles.length; i++) {
                handles[i] = structure.getLong(at + i * Structure.WORD);
            }
            ivClient = ivBytes == 0 ? null : structure.getPointed(at + 32, ivBytes);
            ivServer = ivBytes == 0 ? null : structure.getPointed(at + 40, ivBytes);
        }
    }
}
