package velnor;

/**
 * A decryption, in one part or several. It begins in the token with the first call, or with {@link #start()}, and goes
 * on there until it is finished, closed or refused; {@link Session} says what that means for others.
 */
public final class Decryptor extends CipherOperation {
    Decryptor(SessionHandle session, Mechanism mechanism, TokenObject key) {
        super(session, OperationKind.DECRYPTION, mechanism, key);
    }

    /**
     * Begins the decryption in the token before there is anything to decrypt. A key that asks for a login of its own
     * ({@code CKA_ALWAYS_AUTHENTICATE}) wants the one of {@link UserType#CONTEXT_SPECIFIC} next.
     *
     * @return this
     * @throws CryptokiException when the token refuses; the decryption is over then
     * @throws IllegalStateException when the decryption has begun or is over, or another one goes on in the session
     */
    public Decryptor start() {
        start(false);
        return this;
    }
}
