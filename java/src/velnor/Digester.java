package velnor;

import java.util.Objects;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

/**
 * A digest, in one part or several. It begins in the token with the first call and goes on there until it is finished,
 * closed or refused; {@link Session} says what that means for others.
 */
public final class Digester extends CollectingOperation {
    /** Enough for SHA-512; a longer digest costs the token one more call. */
    private static final int ROOM = 64;

    Digester(SessionHandle session, Mechanism mechanism) {
        super(session, OperationKind.DIGEST, mechanism);
    }

    @Override
    int room() {
        return ROOM;
    }

    private Void part(Long key, int off, int len) {
        Answers.require(Function.DIGEST_KEY,
                NativeFunctions.numbers(module(), Function.DIGEST_KEY.index(), handle(), key));
        countPart(0);
        return null;
    }

    /**
     * Adds the value of a secret key, which stays in the token.
     *
     * @param key the key
     * @throws CryptokiException when the token refuses ({@code CKR_KEY_INDIGESTIBLE}); the digest is over then
     * @throws IllegalStateException when the digest is over, or another one goes on in the session
     */
    public void digestKey(TokenObject key) {
        feed(this, Digester::part, usable(key), 0, 0);
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
        return end(this, CollectingOperation::result, data, off, len);
    }
}
