package velnor;

/**
 * The making of a signature or a MAC, in one part or several. It begins in the token with the first call, or with
 * {@link #start()}, and goes on there until it is finished, closed or refused; {@link Session} says what that means for
 * others.
 *
 * <p>Mechanisms that sign what they are given, without a digest of their own, work in one part only: {@link
 * #sign(byte[])} without an update before.
 */
public final class Signer extends CollectingOperation {
    /** More than an RSA key of 8192 bits gives out: some tokens cannot be asked again (NSS). */
    static final int ROOM = 1 << 10;

    Signer(SessionHandle session, Mechanism mechanism, TokenObject key) {
        super(session, OperationKind.SIGNATURE, mechanism, key);
    }

    @Override
    int room() {
        return ROOM;
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
        start(false);
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
        return end(this, CollectingOperation::result, data, off, len);
    }
}
