package velnor;

import velnor.nat.NativeSession;

/**
 * A decryption, in one part or several. It begins in the token with the first call, or with {@link #start()}, and goes
 * on there until it is finished, closed or refused; {@link Session} says what that means for others.
 */
public final class Decryptor extends CipherOperation {
    Decryptor(Session session, Mechanism mechanism, TokenObject key) {
        super(session, "J_DecryptInit", mechanism, key);
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
        start((nat, init) -> {
            nat.J_DecryptInit(nat.sessionHandle(), mechanism, key);
            return null;
        });
        return this;
    }

    @Override
    byte[] whole(NativeSession nat, boolean init, byte[] input) {
        return nat.J_Decrypt(nat.sessionHandle(), init, mechanism, key, input, 0, input.length);
    }

    @Override
    byte[] part(NativeSession nat, boolean init, byte[] input) {
        return nat.J_DecryptUpdate(nat.sessionHandle(), init, mechanism, key, input, 0, input.length);
    }

    @Override
    byte[] last(NativeSession nat) {
        return nat.J_DecryptFinal();
    }
}
