package velnor;

import java.util.Objects;
import java.util.Set;

import velnor.nat.NativeFunctions;

/**
 * The check of a signature or a MAC, in one part or several. It begins in the token with the first call and goes on
 * there until it is finished, closed or refused; {@link Session} says what that means for others.
 */
public final class Verifier extends CollectingOperation {
    private static final Set<Integer> NOT_VALID = Set.of(CKR.SIGNATURE_INVALID, CKR.SIGNATURE_LEN_RANGE);
    private static final Set<String> LAST_FUNCTIONS = Set.of("J_Verify", "J_VerifyFinal", "J_VerifyRecover",
            "J_VerifyMessage", "J_VerifyMessageNext");

    /** The rest of the data, and the signature that is to be valid for all of it. */
    private static final class Signed {
        private final byte[] data;
        private final byte[] signature;

        Signed(byte[] data, byte[] signature) {
            this.data = data;
            this.signature = signature;
        }
    }

    Verifier(SessionHandle session, Mechanism mechanism, TokenObject key) {
        super(session, OperationKind.VERIFICATION, mechanism, key);
    }

    private Void check(Signed signed, int off, int len) {
        if (isFed()) {
            takeParts(signed.data, off, len);
            last(signed.signature);
        } else {
            whole(signed.data, off, len, signed.signature);
        }
        return null;
    }

    private void whole(byte[] data, int off, int len, byte[] signature) {
        Answers.require(kind().whole(), NativeFunctions.twoBytes(module(), kind().whole().index(), handle(), data, off,
                len, signature, 0, signature.length));
    }

    private void last(byte[] signature) {
        Answers.require(kind().last(),
                NativeFunctions.bytes(module(), kind().last().index(), handle(), signature, 0, signature.length));
    }

    @Override
    void endAfterParts() {
        last(NOTHING);
    }

    @Override
    void endInOnePart() {
        whole(NOTHING, 0, 0, NOTHING);
    }

    /**
     * Ends the operation: the signature must be valid for the data.
     *
     * @param signature the signature
     * @throws CryptokiException when the signature is not valid ({@code CKR_SIGNATURE_INVALID} or
     *         {@code CKR_SIGNATURE_LEN_RANGE}), or the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public void verify(byte[] signature) {
        verify(NOTHING, 0, 0, signature);
    }

    /**
     * Ends the operation: tells whether the signature is valid for the data. Every other answer of the token is an
     * exception, and never means that the signature is valid.
     *
     * @param signature the signature
     * @return whether it is valid; false for {@code CKR_SIGNATURE_INVALID} and {@code CKR_SIGNATURE_LEN_RANGE} only
     * @throws CryptokiException when the token answers anything else; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public boolean isValid(byte[] signature) {
        return isValid(NOTHING, 0, 0, signature);
    }

    /**
     * Ends the operation with the last of the data: the signature must be valid. When that is all the data there is,
     * the token is given it in one part, as some mechanisms demand.
     *
     * @param data the array that has the rest of the data
     * @param off where the rest begins
     * @param len how many bytes it has
     * @param signature the signature
     * @throws CryptokiException when the signature is not valid ({@code CKR_SIGNATURE_INVALID} or
     *         {@code CKR_SIGNATURE_LEN_RANGE}), or the token refuses; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public void verify(byte[] data, int off, int len, byte[] signature) {
        requireInput(data, off, len);
        Objects.requireNonNull(signature, "signature");
        end(this, Verifier::check, new Signed(data, signature), off, len);
    }

    /**
     * Ends the operation with the last of the data: tells whether the signature is valid. When that is all the data
     * there is, the token is given it in one part, as some mechanisms demand. Every other answer of the token is an
     * exception, and never means that the signature is valid.
     *
     * @param data the array that has the rest of the data
     * @param off where the rest begins
     * @param len how many bytes it has
     * @param signature the signature
     * @return whether it is valid; false for {@code CKR_SIGNATURE_INVALID} and {@code CKR_SIGNATURE_LEN_RANGE} only
     * @throws CryptokiException when the token answers anything else; the operation is over all the same
     * @throws IllegalStateException when the operation is over, or another of its kind goes on in the session
     */
    public boolean isValid(byte[] data, int off, int len, byte[] signature) {
        try {
            verify(data, off, len, signature);
            return true;
        } catch (CryptokiException e) {
            if (saysNotValid(e)) {
                return false;
            }
            throw e;
        }
    }

    @Override
    boolean isVerdict(CryptokiException failure) {
        return saysNotValid(failure);
    }

    /** Whether it says that a signature is not valid, and nothing else. */
    static boolean saysNotValid(CryptokiException failure) {
        return NOT_VALID.contains(failure.code()) && LAST_FUNCTIONS.contains(failure.functionName());
    }
}
