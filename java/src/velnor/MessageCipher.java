package velnor;

import java.util.Objects;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;
import velnor.params.MessageParams;

/** Encryption or decryption of messages. */
abstract class MessageCipher extends MessageOperation {
    private final Function begin;

    MessageCipher(SessionHandle session, OperationKind kind, Function begin, Mechanism mechanism, TokenObject key) {
        super(session, kind, mechanism, key);
        this.begin = begin;
    }

    // ---- steps

    private byte[] whole(Message message, int off, int len) {
        open(message);
        byte[] output = output(kind().whole(), len, len + USUAL_EXCESS,
                (parameter, out, room) -> NativeFunctions.message(module(), kind().whole().index(), handle(), parameter,
                        message.aad, message.data, off, len, out, 0, room));
        done();
        return output;
    }

    private Void begin(Message message, int off, int len) {
        open(message);
        Answers.require(begin,
                NativeFunctions.messageBegin(module(), begin.index(), handle(), parameter(), message.aad));
        inParts(true);
        return null;
    }

    private byte[] part(Message part, int off, int len) {
        return next(part, off, len, 0);
    }

    private byte[] last(Message part, int off, int len) {
        byte[] output = next(part, off, len, CKF.END_OF_MESSAGE);
        done();
        return output;
    }

    private byte[] next(Message part, int off, int len, int flags) {
        requireParts(true);
        return output(kind().part(), len, len + USUAL_EXCESS,
                (parameter, out, room) -> NativeFunctions.messagePart(module(), kind().part().index(), handle(),
                        parameter, part.data, off, len, out, 0, room, flags));
    }

    final byte[] whole(MessageParams params, byte[] aad, byte[] data) {
        requireInput(data.length);
        return feed(this, MessageCipher::whole, message(Objects.requireNonNull(params, "params"), aad, data, null), 0,
                data.length);
    }

    // ---- for programs

    /**
     * Begins a message of several parts.
     *
     * @param params the message's parameter
     * @param aad the data that is authenticated and not encrypted, or null
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or a
     *         message was begun
     */
    public final void begin(MessageParams params, byte[] aad) {
        feed(this, MessageCipher::begin, message(Objects.requireNonNull(params, "params"), aad, null, null), 0, 0);
    }

    /**
     * Goes on with the next part of the message that was begun.
     *
     * @param data the part
     * @return what the token gives out by now, perhaps nothing
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or no
     *         message was begun
     */
    public final byte[] update(byte[] data) {
        return feed(this, MessageCipher::part, part(data, null), 0, data.length);
    }

    /**
     * Ends the message that was begun with the last part of it. Not all that was given out before can be trusted until
     * this has gone well.
     *
     * @param data the rest of the message, perhaps nothing
     * @return the rest of the output, perhaps nothing
     * @throws CryptokiException when the token refuses, or the message is not authentic; the next message may follow in
     *         the latter case
     * @throws IllegalStateException when the operation is over, another of its kind goes on in the session, or no
     *         message was begun
     */
    public final byte[] finish(byte[] data) {
        return feed(this, MessageCipher::last, part(data, null), 0, data.length);
    }
}
