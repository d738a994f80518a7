package velnor;

import java.util.Objects;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;
import velnor.params.MessageParams;

/**
 * Verifies the signatures of any number of messages with one key. It begins in the token with the first call and goes
 * on there until it is closed or a call fails; {@link Session} says what that means for others. Needs a module with the
 * interface of version 3.0.
 */
public final class MessageVerifier extends MessageOperation {
    MessageVerifier(SessionHandle session, Mechanism mechanism, TokenObject key) {
        super(session, OperationKind.MESSAGE_VERIFICATION, mechanism, key);
    }

    @Override
    boolean outlives(CryptokiException failure) {
        return ends(Verifier.saysNotValid(failure));
    }

    // ---- steps

    private Void whole(Message message, int off, int len) {
        open(message);
        call(kind().whole(), message, off, len);
        done();
        return null;
    }

    private Void begin(Message message, int off, int len) {
        open(message);
        Answers.require(Function.VERIFY_MESSAGE_BEGIN, NativeFunctions.signedBegin(module(),
                Function.VERIFY_MESSAGE_BEGIN.index(), handle(), parameter()));
        inParts(true);
        return null;
    }

    private Void part(Message part, int off, int len) {
        requireParts(true);
        call(kind().part(), part, off, len);
        return null;
    }

    private Void last(Message part, int off, int len) {
        part(part, off, len);
        done();
        return null;
    }

    private void call(Function function, Message message, int off, int len) {
        Answers.require(function, NativeFunctions.verifyMessage(module(), function.index(), handle(), parameter(),
                message.data, off, len, message.signature));
    }

    // ---- for programs

    /**
     * Verifies a message.
     *
     * @param params the message's parameter; null for a mechanism without one
     * @param data the message
     * @param signature the signature
     * @throws CryptokiException when the signature is not valid ({@code CKR_SIGNATURE_INVALID} or {@code
     *         CKR_SIGNATURE_LEN_RANGE}), or the token refuses; the operation is over in the latter case
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or a
     *         message was begun
     */
    public void verify(MessageParams params, byte[] data, byte[] signature) {
        requireInput(data.length);
        feed(this, MessageVerifier::whole,
                message(params, null, data, Objects.requireNonNull(signature, "signature")), 0, data.length);
    }

    /**
     * Begins a message of several parts.
     *
     * @param params the message's parameter; null for a mechanism without one
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or a
     *         message was begun
     */
    public void begin(MessageParams params) {
        feed(this, MessageVerifier::begin, message(params, null, null, null), 0, 0);
    }

    /**
     * Adds the next part of the message that was begun.
     *
     * @param data the part
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or no
     *         message was begun
     */
    public void update(byte[] data) {
        feed(this, MessageVerifier::part, part(data, null), 0, data.length);
    }

    /**
     * Ends the message that was begun with the last part of it.
     *
     * @param data the rest of the message, perhaps nothing
     * @param signature the signature
     * @throws CryptokiException when the signature is not valid ({@code CKR_SIGNATURE_INVALID} or {@code
     *         CKR_SIGNATURE_LEN_RANGE}), or the token refuses; the operation is over in the latter case
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or no
     *         message was begun
     */
    public void finish(byte[] data, byte[] signature) {
        feed(this, MessageVerifier::last, part(data, Objects.requireNonNull(signature, "signature")), 0, data.length);
    }
}
