package velnor.jca;

import java.security.InvalidKeyException;

import javax.crypto.SecretKey;

/** A secret key of a token. */
final class TokenSecretKey extends TokenKey implements SecretKey {
    private static final long serialVersionUID = 1L;

    TokenSecretKey(Token token, KeyReference reference, String algorithm, boolean asksEachTime)
            throws InvalidKeyException {
        super(token, reference, algorithm, asksEachTime);
    }
}
