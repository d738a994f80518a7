package velnor.jca;

import java.security.SecureRandomSpi;

import velnor.CryptokiException;

/** The token's random numbers. */
final class TokenRandom extends SecureRandomSpi {
    private static final long serialVersionUID = 1L;

    private final transient Token token;

    TokenRandom(Token token) {
        this.token = token;
    }

    @Override
    protected void engineSetSeed(byte[] seed) {
        token.with(session -> {
            try {
                session.seedRandom(seed);
            } catch (CryptokiException refused) {
                // A seed can only add to what the token has; many want none.
            }
            return null;
        });
    }

    @Override
    protected void engineNextBytes(byte[] bytes) {
        token.with(session -> {
            session.random(bytes, 0, bytes.length);
            return null;
        });
    }

    @Override
    protected byte[] engineGenerateSeed(int count) {
        return token.with(session -> session.random(count));
    }
}
