package velnor;

import velnor.nat.NativeSession;

/**
 * An encryption, in one part or several. It begins in the token with the first call and goes on there until it is
 * finished, closed or refused; {@link Session} says what that means for others.
 */
public final class Encryptor extends CipherOperation {
    Encryptor(Session session, Mechanism mechanism, TokenObject key) {
        super(session, "J_EncryptInit", mechanism, key);
    }

    @Override
    byte[] whole(NativeSession nat, boolean init, byte[] input) {
        return nat.J_Encrypt(nat.sessionHandle(), init, mechanism, key, input, 0, input.length);
    }

    @Override
    byte[] part(NativeSession nat, boolean init, byte[] input) {
        return nat.J_EncryptUpdate(nat.sessionHandle(), init, mechanism, key, input, 0, input.length);
    }

    @Override
    byte[] last(NativeSession nat) {
        return nat.J_EncryptFinal();
    }
}
