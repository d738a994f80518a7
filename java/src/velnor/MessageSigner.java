package velnor;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;
import velnor.params.MessageParams;

/**
 * Signs any number of messages with one key. It begins in the token with the first call and goes on there until it is
 * closed or a call fails; {@link Session} says what that means for others. Needs a module with the interface of version
 * 3.0.
 */
public final class MessageSigner extends MessageOperation {
    MessageSigner(SessionHandle session, Mechanism mechanism, TokenObject key) {
        super(session, OperationKind.MESSAGE_SIGNATURE, mechanism, key);
    }

    // ---- steps

    private byte[] whole(Message message, int off, int len) {
        open(message);
        byte[] signature = output(kind().whole(), len, Signer.ROOM,
                (parameter, out, room) -> NativeFunctions.signMessage(module(), kind().whole().index(), handle(),
                        parameter, message.data, off, len, out, 0, room));
        done();
        return signature;
    }

    private Void begin(Message message, int off, int len) {
        open(message);
        Answers.require(Function.SIGN_MESSAGE_BEGIN, NativeFunctions.signedBegin(module(),
                Function.SIGN_MESSAGE_BEGIN.index(), handle(), parameter()));
        inParts(true);
        return null;
    }

    private Void part(Message part, int off, int len) {
        requireParts(true);
        Answers.require(kind().part(), NativeFunctions.signPart(module(), kind().part().index(), handle(), parameter(),
                part.data, off, len, null, 0, 0));
        return null;
    }

    private byte[] last(Message part, int off, int len) {
        requireParts(true);
        byte[] signature = output(kind().part(), len, Signer.ROOM,
                (parameter, out, room) -> NativeFunctions.signPart(module(), kind().part().index(), handle(),
                        parameter, part.data, off, len, out, 0, room));
        done();
        return signature;
    }

    // ---- for programs

    /**
     * Signs a message.
     *
     * @param params the message's parameter; null for a mechanism without one
     * @param data the message
     * @return the signature
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or a
     *         message was begun
     */
    public byte[] sign(MessageParams params, byte[] data) {
        requireInput(data.length);
        return feed(this, MessageSigner::whole, message(params, null, data, null), 0, data.length);
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
        feed(this, MessageSigner::begin, message(params, null, null, null), 0, 0);
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
        feed(this, MessageSigner::part, part(data, null), 0, data.length);
    }

    /**
     * Ends the message that was begun with the last part of it.
     *
     * @param data the rest of the message, perhaps nothing
     * @return the signature
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or no
     *         message was begun
     */
    public byte[] finish(byte[] data) {
        return feed(this, MessageSigner::last, part(data, null), 0, data.length);
    }
}
