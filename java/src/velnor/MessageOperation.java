package velnor;

import java.nio.ByteBuffer;
import java.util.Objects;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;
import velnor.params.MechanismParams;
import velnor.params.MessageParams;
import velnor.table.MechanismTable;

/** An operation on any number of messages under one key, each of which has a parameter of its own, perhaps parts. */
abstract class MessageOperation extends Operation {
    /** A call of the module with the message's parameter and room for what comes out. */
    interface Call {
        long with(ByteBuffer parameter, byte[] out, int room);
    }

    /** What a step is given. */
    static final class Message {
        final MessageParams params;
        final byte[] aad;
        final byte[] data;
        final byte[] signature;

        Message(MessageParams params, byte[] aad, byte[] data, byte[] signature) {
            this.params = params;
            this.aad = aad;
            this.data = data;
            this.signature = signature;
        }
    }

    private final SessionHandle session;
    private final Mechanism mechanism;
    // What follows is for whoever has the session's turn.
    private HeldParameter held;
    private boolean inParts;

    MessageOperation(SessionHandle session, OperationKind kind, Mechanism mechanism, TokenObject key) {
        super(ofMessages(session, mechanism), session, kind, key);
        this.session = session;
        this.mechanism = mechanism;
    }

    /** A message to be begun, its parameter looked at. */
    final Message message(MessageParams params, byte[] aad, byte[] data, byte[] signature) {
        if (params != null) {
            params.check();
            Class<? extends MechanismParams> usual = params.usualClass();
            if (MechanismTable.find(mechanism.mechanism()).filter(row -> !row.parameterClasses().contains(usual))
                    .isPresent()) {
                throw new IllegalArgumentException(mechanism + " does not take " + params.getClass().getTypeName());
            }
        }
        return new Message(params, aad == null ? null : aad.clone(), data, signature);
    }

    /** A part of a message, or the end of one. */
    static Message part(byte[] data, byte[] signature) {
        return new Message(null, null, Objects.requireNonNull(data, "data"), signature);
    }

    // ---- for steps

    /** Lays the parameter of a new message out. */
    final void open(Message message) {
        requireParts(false);
        held = session.message(kind());
        Mechanism laid = new Mechanism(mechanism.type(), message.params);
        held.lay(laid, laid.structure());
    }

    final void requireParts(boolean expected) {
        if (inParts != expected) {
            throw misplaced(this + (expected ? " is not at a message: begin one"
                    : " is at a message of several parts: finish it"));
        }
    }

    final void inParts(boolean now) {
        inParts = now;
    }

    /** Where the module finds the message's parameter in this call. */
    final ByteBuffer parameter() {
        return held.again();
    }

    /** Calls a function that gives bytes, again when it asks for more room. */
    final byte[] output(Function function, int len, int firstRoom, Call call) {
        int room = firstRoom;
        for (;;) {
            byte[] out = new byte[room];
            long result = call.with(parameter(), out, room);
            if (result >= 0) {
                return beginning(out, (int) result);
            }
            int answer = NativeFunctions.answer(result);
            int needed = NativeFunctions.needed(result);
            if (answer != CKR.BUFFER_TOO_SMALL || needed <= room || needed - MOST_EXCESS > len) {
                throw Answers.failure(function, answer);
            }
            room = needed;
        }
    }

    /** The message has ended well: what the module has written comes back. */
    final void done() {
        held.takeBack();
        held.release();
        inParts = false;
    }

    /**
     * Begins the operation in the token before there is a message. A key that asks for a login of its own ({@code
     * CKA_ALWAYS_AUTHENTICATE}) wants the one of {@link UserType#CONTEXT_SPECIFIC} next.
     *
     * @throws CryptokiException when the token refuses; the operation is over then
     * @throws IllegalStateException when the operation has begun or is over, or another one of its kind goes on in the
     *         session
     */
    public final void start() {
        start(false);
    }

    // ---- the end

    @Override
    final boolean isAtRest() {
        return !inParts;
    }

    @Override
    final void ended() {
        if (held != null) {
            held.release();
        }
    }

    /** Ends the message that failed; the next one may begin. */
    final boolean ends(boolean verdict) {
        if (verdict) {
            inParts = false;
        }
        return verdict;
    }

    @Override
    final void endAfterParts() {
        Answers.require(kind().last(), NativeFunctions.number(module(), kind().last().index(), handle()));
    }

    @Override
    final void endInOnePart() {
        endAfterParts();
    }
}
