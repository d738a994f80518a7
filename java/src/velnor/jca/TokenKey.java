package velnor.jca;

import java.io.NotSerializableException;
import java.io.ObjectOutputStream;
import java.security.InvalidKeyException;
import java.security.Key;

import velnor.TokenObject;

/** A key that stays in its token: it has no encoding, and is good for operations of its provider alone. */
abstract class TokenKey implements Key {
    private static final long serialVersionUID = 1L;

    private final transient Token token;
    private final transient KeyReference reference;
    private final transient TokenObject identity;
    private final String algorithm;
    private final boolean asksEachTime;

    TokenKey(Token token, KeyReference reference, String algorithm, boolean asksEachTime) throws InvalidKeyException {
        this.token = token;
        this.reference = reference;
        this.algorithm = algorithm;
        this.asksEachTime = asksEachTime;
        identity = reference.object();
        Token.CLEANER.register(this, reference);
    }

    Token token() {
        return token;
    }

    /**
     * Gives the object. The caller keeps the key reachable while it uses this.
     *
     * @throws InvalidKeyException when it is gone
     */
    TokenObject object() throws InvalidKeyException {
        return reference.object();
    }

    /** Whether the key wants its PIN for each operation. */
    boolean asksEachTime() {
        return asksEachTime;
    }

    @Override
    public String getAlgorithm() {
        return algorithm;
    }

    @Override
    public String getFormat() {
        return null;
    }

    @Override
    public byte[] getEncoded() {
        return null;
    }

    private void writeObject(ObjectOutputStream out) throws NotSerializableException {
        throw new NotSerializableException("A key that stays in its token");
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof TokenKey && token == ((TokenKey) other).token
                && identity.equals(((TokenKey) other).identity);
    }

    @Override
    public int hashCode() {
        return identity.hashCode();
    }

    @Override
    public String toString() {
        return algorithm + " key on token " + token;
    }
}
