package velnor;

import java.util.Arrays;
import java.util.Objects;

import velnor.nat.NativeSession;

/**
 * A digest, in one part or several. It begins in the token with the first call and goes on there until it is finished,
 * closed or refused; {@link Session} says what that means for others.
 */
public final class Digester extends CollectingOperation {
    /** Enough for SHA-512; a longer digest costs the token two more calls. */
    private static final int USUAL_ROOM = 64;
    /** More than any digest that could be meant: a token that asks for as much is wrong. */
    private static final int MOST_ROOM = 1 << 16;

    Digester(Session session, Mechanism mechanism) {
        super(session, "J_DigestInit", mechanism);
    }

    /**
     * Adds the value of a secret key, which stays in the token.
     *
     * @param key the key
     * @throws CryptokiException when the token refuses ({@code CKR_KEY_INDIGESTIBLE}); the digest is over then
     * @throws IllegalStateException when the digest is over, or another one goes on in the session
     */
    public void digestKey(TokenObject key) {
        long handle = session().handle(key);
        this.<Void>feed((nat, init) -> {
            nat.J_DigestKey(nat.sessionHandle(), init, mechanism, handle);
            return null;
        });
    }

    /**
     * Ends the operation. One that was given nothing makes the digest of no data.
     *
     * @return the digest
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public byte[] digest() {
        return digest(NOTHING);
    }

    /**
     * Ends the operation with the last of the data. When that is all there is, the token is given it in one part.
     *
     * @param data the rest of the data
     * @return the digest
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public byte[] digest(byte[] data) {
        return digest(data, 0, data.length);
    }

    /**
     * Ends the operation with the last of the data. When that is all there is, the token is given it in one part.
     *
     * @param data the array that has the rest of the data
     * @param off where the rest begins
     * @param len how many bytes it has
     * @return the digest
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public byte[] digest(byte[] data, int off, int len) {
        Objects.checkFromIndexSize(off, len, data.length);
        return end((nat, init) -> exactly(data, off, len, all -> whole(nat, init, all)),
                nat -> {
                    parts(nat, data, off, len);
                    return nat.J_DigestFinal();
                });
    }

    /** The native method that makes the array itself has room for 20 bytes only, so it is given one. */
    private byte[] whole(NativeSession nat, boolean init, byte[] data) {
        byte[] room = new byte[USUAL_ROOM];
        int len;
        try {
            len = whole(nat, init, data, room);
        } catch (CryptokiException e) {
            if (e.code() != CKR.BUFFER_TOO_SMALL || isRefusedStart(e)) {
                throw e;
            }
            room = new byte[believable(whole(nat, false, data, null), MOST_ROOM)];
            len = whole(nat, false, data, room);
        }
        return Arrays.copyOf(room, believable(len, room.length));
    }

    private int whole(NativeSession nat, boolean init, byte[] data, byte[] room) {
        return nat.J_Digest(nat.sessionHandle(), init, mechanism, data, 0, data.length, room, 0);
    }

    private static int believable(int len, int room) {
        if (len < 0 || len > room) {
            throw new CryptokiException("J_Digest", CKR.GENERAL_ERROR,
                    "the pkcs#11 library reports a digest of " + Integer.toUnsignedString(len) + " bytes");
        }
        return len;
    }

    @Override
    void part(NativeSession nat, boolean init, byte[] data) {
        nat.J_DigestUpdate(nat.sessionHandle(), init, mechanism, data, 0, data.length);
    }

    @Override
    void endAfterParts(NativeSession nat) {
        nat.J_DigestFinal();
    }

    @Override
    void endInOnePart(NativeSession nat) {
        whole(nat, false, NOTHING);
    }
}
