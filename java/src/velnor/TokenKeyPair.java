package velnor;

/** A key pair that was just generated on a token. */
public final class TokenKeyPair {
    private final TokenObject publicKey;
    private final TokenObject privateKey;

    TokenKeyPair(TokenObject publicKey, TokenObject privateKey) {
        this.publicKey = publicKey;
        this.privateKey = privateKey;
    }

    /**
     * Gives the public key.
     *
     * @return the object
     */
    public TokenObject publicKey() {
        return publicKey;
    }

    /**
     * Gives the private key.
     *
     * @return the object
     */
    public TokenObject privateKey() {
        return privateKey;
    }

    @Override
    public String toString() {
        return "TokenKeyPair[" + publicKey + ", " + privateKey + "]";
    }
}
