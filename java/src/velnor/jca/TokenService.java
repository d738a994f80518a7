package velnor.jca;

import java.security.InvalidParameterException;
import java.security.Key;
import java.security.NoSuchAlgorithmException;
import java.security.Provider;
import java.util.Set;

/** A service of the provider. It makes its objects with the token, which a service of the JDK's own kind cannot. */
final class TokenService extends Provider.Service {
    private static final Set<String> WITH_KEYS = Set.of("Signature", "Cipher", "Mac", "KeyAgreement");

    private final Algorithm algorithm;
    private final Token token;

    TokenService(Provider provider, Algorithm algorithm, Token token) {
        super(provider, algorithm.type(), algorithm.name(), algorithm.implementation().getName(), algorithm.aliases(),
                null);
        this.algorithm = algorithm;
        this.token = token;
    }

    @Override
    public Object newInstance(Object parameter) throws NoSuchAlgorithmException {
        return algorithm.make(token);
    }

    /**
     * Tells whether it is for this service to work with a key, when the program has named no provider: only with the
     * token's own, since the JDK is faster with all others. A program that names this provider can use any key.
     */
    @Override
    public boolean supportsParameter(Object parameter) {
        if (!WITH_KEYS.contains(getType()) || parameter != null && !(parameter instanceof Key)) {
            throw new InvalidParameterException("No parameter of this kind belongs to " + getType());
        }
        return parameter instanceof TokenKey && ((TokenKey) parameter).token() == token
                && algorithm.takesKeysOf(((TokenKey) parameter).getAlgorithm());
    }
}
