package velnor;

import java.util.Arrays;

/** A signature from which its data can be recovered, or the recovering: in one part, from its start to its end. */
final class Recovery extends Operation {
    private Recovery(SessionHandle session, OperationKind kind, Mechanism mechanism, TokenObject key) {
        super(session, kind, mechanism, key);
    }

    static Recovery signing(SessionHandle session, Mechanism mechanism, TokenObject key) {
        return new Recovery(session, OperationKind.RECOVERABLE_SIGNATURE, mechanism, key);
    }

    static Recovery verifying(SessionHandle session, Mechanism mechanism, TokenObject key) {
        return new Recovery(session, OperationKind.RECOVERY, mechanism, key);
    }

    byte[] finish(byte[] input, int off, int len) {
        requireInput(input, off, len);
        return end(this, Recovery::whole, input, off, len);
    }

    private byte[] whole(byte[] input, int off, int len) {
        return output(kind().whole(), input, off, len, Math.max(Signer.ROOM, roomFor(len)));
    }

    @Override
    boolean isVerdict(CryptokiException failure) {
        return Verifier.saysNotValid(failure);
    }

    @Override
    void endAfterParts() {
        endInOnePart();
    }

    @Override
    void endInOnePart() {
        Arrays.fill(whole(NOTHING, 0, 0), (byte) 0);
    }
}
