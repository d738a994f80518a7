package velnor.params;

import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_HASH_ML_DSA} and {@code CKM_HASH_SLH_DSA}, which sign a digest that was computed before.
 */
public final class HashSignContextParams implements MechanismParams {
    private final SignContextParams context;
    private final int digest;

    /**
     * Makes the parameter.
     *
     * @param hedge how randomness is used
     * @param context the context, at most 255 bytes; null or empty for none
     * @param digest the mechanism ({@code CKM_}) of the digest
     */
    public HashSignContextParams(SignContextParams.Hedge hedge, byte[] context, int digest) {
        this.context = new SignContextParams(hedge, context);
        this.digest = digest;
    }

    /**
     * Makes the parameter.
     *
     * @param hedge how randomness is used
     * @param context the context, at most 255 bytes; null or empty for none
     * @param digest the digest's name, such as SHA-512
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 does not have the digest
     */
    public static HashSignContextParams of(SignContextParams.Hedge hedge, byte[] context, String digest) {
        return new HashSignContextParams(hedge, context, Digests.named(digest).mechanism());
    }

    @Override
    public void check() {
        context.check();
        Arrays.require(digest != 0, "A digest was computed before: say which, as \"SHA-512\"");
    }

    @Override
    public Structure structure() {
        return context.structure(SignContextParams.SIZE + Structure.WORD).putNumber(SignContextParams.SIZE, digest);
    }
}
