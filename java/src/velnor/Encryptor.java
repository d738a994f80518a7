package velnor;

/**
 * An encryption, in one part or several. It begins in the token with the first call and goes on there until it is
 * finished, closed or refused; {@link Session} says what that means for others.
 */
public final class Encryptor extends CipherOperation {
    Encryptor(SessionHandle session, Mechanism mechanism, TokenObject key) {
        super(session, OperationKind.ENCRYPTION, mechanism, key);
    }

    /**
     * Begins the encryption in the token before there is anything to encrypt, so that what the token writes into the
     * mechanism's parameter is there.
     *
     * @return this
     * @throws CryptokiException when the token refuses; the encryption is over then
     * @throws IllegalStateException when the encryption has begun or is over, or another one goes on in the session
     */
    public Encryptor start() {
        start(false);
        return this;
    }
}
