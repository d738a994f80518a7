package velnor.jca;

import java.security.InvalidKeyException;
import java.security.PublicKey;

/** A public key of a program that was given to the token for an operation. */
final class TokenPublicKey extends TokenKey implements PublicKey {
    private static final long serialVersionUID = 1L;

    TokenPublicKey(Token token, KeyReference reference, String algorithm) throws InvalidKeyException {
        super(token, reference, algorithm, false);
    }
}
