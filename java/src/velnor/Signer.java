package velnor;

import velnor.nat.NativeSession;

/**
 * The making of a signature or a MAC, in one part or several. It begins in the token with the first call, or with
 * {@link #start()}, and goes on there until it is finished, closed or refused; {@link Session} says what that means for
 * others.
 *
 * <p>Mechanisms that sign what they are given, without a digest of their own, work in one part only: {@link
 * #sign(byte[])} without an update before.
 */
public final class Signer extends CollectingOperation {
    Signer(Session session, Mechanism mechanism, TokenObject key) {
        super(session, "J_SignInit", mechanism, key);
    }

    /**
     * Begins the signature in the token before there is anything to sign. A key that asks for a login of its own
     * ({@code CKA_ALWAYS_AUTHENTICATE}) wants the one of {@link UserType#CONTEXT_SPECIFIC} next.
     *
     * @return this
     * @throws CryptokiException when the token refuses; the signature is over then
     * @throws IllegalStateException when the signature has begun or is over, or another one goes on in the session
     */
    public Signer start() {
        start((nat, init) -> {
            nat.J_SignInit(nat.sessionHandle(), mechanism, key);
            return null;
        });
        return this;
    }

    /**
     * Ends the operation. One that was given nothing signs no data.
     *
     * @return the signature
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public byte[] sign() {
        return sign(NOTHING);
    }

    /**
     * Ends the operation with the last of the data. When that is all there is, the token is given it in one part, as
     * some mechanisms demand.
     *
     * @param data the rest of the data
     * @return the signature
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public byte[] sign(byte[] data) {
        return sign(data, 0, data.length);
    }

    /**
     * Ends the operation with the last of the data. When that is all there is, the token is given it in one part, as
     * some mechanisms demand.
     *
     * @param data the array that has the rest of the data
     * @param off where the rest begins
     * @param len how many bytes it has
     * @return the signature
     * @throws CryptokiException when the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public byte[] sign(byte[] data, int off, int len) {
        requireInput(data, off, len);
        return end((nat, init) -> exactly(data, off, len, all -> whole(nat, init, all)),
                nat -> {
                    parts(nat, data, off, len);
                    return nat.J_SignFinal();
                });
    }

    private byte[] whole(NativeSession nat, boolean init, byte[] data) {
        return nat.J_Sign(nat.sessionHandle(), init, mechanism, key, data, 0, data.length);
    }

    @Override
    void part(NativeSession nat, boolean init, byte[] data) {
        nat.J_SignUpdate(nat.sessionHandle(), init, mechanism, key, data, 0, data.length);
    }

    @Override
    void endAfterParts(NativeSession nat) {
        nat.J_SignFinal();
    }

    @Override
    void endInOnePart(NativeSession nat) {
        whole(nat, false, NOTHING);
    }
}
