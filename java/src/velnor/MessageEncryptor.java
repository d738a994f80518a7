package velnor;

import velnor.nat.Function;
import velnor.params.MessageParams;

/**
 * Encrypts any number of messages under one key; vector and tag are those of the parameter that each message has.
 * It begins in the token with the first call and goes on there until it is closed or a call fails; {@link Session} says
 * what that means for others. Needs a module with the interface of version 3.0.
 */
public final class MessageEncryptor extends MessageCipher {
    MessageEncryptor(SessionHandle session, Mechanism mechanism, TokenObject key) {
        super(session, OperationKind.MESSAGE_ENCRYPTION, Function.ENCRYPT_MESSAGE_BEGIN, mechanism, key);
    }

    /**
     * Encrypts a message.
     *
     * @param params the message's parameter, which has the tag afterwards, and the vector that the token has made
     * @param aad the data that is authenticated and not encrypted, or null
     * @param data the plaintext
     * @return the ciphertext, without the tag
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or a
     *         message was begun
     */
    public byte[] encrypt(MessageParams params, byte[] aad, byte[] data) {
        return whole(params, aad, data);
    }
}
