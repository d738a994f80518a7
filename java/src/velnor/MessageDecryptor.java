package velnor;

import java.util.Set;

import velnor.nat.Function;
import velnor.params.MessageParams;

/**
 * Decrypts any number of messages under one key; vector and tag are those of the parameter that each message has.
 * It begins in the token with the first call and goes on there until it is closed or a call fails; {@link Session} says
 * what that means for others. Needs a module with the interface of version 3.0.
 */
public final class MessageDecryptor extends MessageCipher {
    private static final Set<Integer> NOT_AUTHENTIC = Set.of(CKR.AEAD_DECRYPT_FAILED, CKR.ENCRYPTED_DATA_INVALID);
    private static final Set<String> FUNCTIONS = Set.of("J_DecryptMessage", "J_DecryptMessageNext");

    MessageDecryptor(SessionHandle session, Mechanism mechanism, TokenObject key) {
        super(session, OperationKind.MESSAGE_DECRYPTION, Function.DECRYPT_MESSAGE_BEGIN, mechanism, key);
    }

    /**
     * Decrypts a message.
     *
     * @param params the message's parameter, with its vector and its tag
     * @param aad the data that is authenticated and not encrypted, or null
     * @param data the ciphertext, without the tag
     * @return the plaintext
     * @throws CryptokiException when the token refuses; the operation is over then, unless the message is not authentic
     *         ({@code CKR_AEAD_DECRYPT_FAILED} or {@code CKR_ENCRYPTED_DATA_INVALID})
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or a
     *         message was begun
     */
    public byte[] decrypt(MessageParams params, byte[] aad, byte[] data) {
        return whole(params, aad, data);
    }

    @Override
    boolean outlives(CryptokiException failure) {
        return ends(NOT_AUTHENTIC.contains(failure.code()) && FUNCTIONS.contains(failure.functionName()));
    }
}
