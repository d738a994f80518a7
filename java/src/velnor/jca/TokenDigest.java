package velnor.jca;

import java.security.MessageDigest;
import java.security.MessageDigestSpi;
import java.security.NoSuchAlgorithmException;
import java.security.ProviderException;

import velnor.CryptokiException;
import velnor.Digester;
import velnor.Mechanism;

/** Digests by the token, for whoever must have them from there: the JDK's are faster. */
final class TokenDigest extends MessageDigestSpi {
    private final Token token;
    private final Digest digest;
    private final Held held;
    private Digester digester;

    TokenDigest(Token token, Digest digest) {
        this.token = token;
        this.digest = digest;
        held = new Held(token);
        Token.CLEANER.register(this, held);
    }

    @Override
    protected int engineGetDigestLength() {
        try {
            return MessageDigest.getInstance(digest.javaName()).getDigestLength();
        } catch (NoSuchAlgorithmException e) {
            throw new ProviderException(e);
        }
    }

    @Override
    protected void engineUpdate(byte b) {
        engineUpdate(new byte[] {b}, 0, 1);
    }

    @Override
    protected void engineUpdate(byte[] data, int off, int len) {
        try {
            begun().update(data, off, len);
        } catch (CryptokiException | IllegalStateException e) {
            throw ended(e);
        }
    }

    private Digester begun() {
        if (digester == null) {
            digester = held.begin().session().digester(new Mechanism(digest.alone()));
            held.holds(digester);
        }
        return digester;
    }

    private ProviderException ended(RuntimeException e) {
        token.noted(e);
        engineReset();
        return new ProviderException("The token makes no " + digest.javaName() + ": " + e.getMessage(), e);
    }

    @Override
    protected byte[] engineDigest() {
        try {
            return begun().digest();
        } catch (CryptokiException | IllegalStateException e) {
            throw ended(e);
        } finally {
            engineReset();
        }
    }

    @Override
    protected void engineReset() {
        held.end();
        digester = null;
    }
}
