package velnor;

import velnor.nat.NativeSession;

/** A signature from which its data can be recovered, or the recovering: in one part, from its start to its end. */
final class Recovery extends Operation {
    /** How the native methods begin it. */
    interface Start {
        void begin(NativeSession nat, Mechanism mechanism, long key);
    }

    /** How the native methods do it, into an array of their own; the other form ends the JVM when the token refuses. */
    interface Whole {
        byte[] take(NativeSession nat, byte[] input, int off, int len);
    }

    private final Start start;
    private final Whole whole;

    private Recovery(Session session, String startFunction, Mechanism mechanism, TokenObject key, Start start,
            Whole whole) {
        super(session, startFunction, mechanism, key);
        this.start = start;
        this.whole = whole;
    }

    static Recovery signing(Session session, Mechanism mechanism, TokenObject key) {
        return new Recovery(session, "J_SignRecoverInit", mechanism, key, NativeSession::J_SignRecoverInit,
                NativeSession::J_SignRecover);
    }

    static Recovery verifying(Session session, Mechanism mechanism, TokenObject key) {
        return new Recovery(session, "J_VerifyRecoverInit", mechanism, key, NativeSession::J_VerifyRecoverInit,
                NativeSession::J_VerifyRecover);
    }

    byte[] finish(byte[] input, int off, int len) {
        requireInput(input, off, len);
        return end((nat, init) -> {
            start.begin(nat, mechanism, key);
            return exactly(input, off, len, all -> whole.take(nat, all, 0, all.length));
        }, nat -> NOTHING);
    }

    @Override
    boolean isVerdict(CryptokiException failure) {
        return Verifier.saysNotValid(failure);
    }

    @Override
    void endAfterParts(NativeSession nat) {
        endInOnePart(nat);
    }

    @Override
    void endInOnePart(NativeSession nat) {
        whole.take(nat, NOTHING, 0, 0);
    }
}
