package velnor.params;

import java.util.Objects;

import velnor.nat.Structure;

/** The parameter of {@code CKM_TLS_KDF}, which exports key material as RFC 5705 has it. */
public final class TLSKDFParams implements MechanismParams {
    private static final int RANDOM = 3 * Structure.WORD;
    private static final int CONTEXT = RANDOM + SSL3RANDOMDATA.SIZE;

    private final int prf;
    private final byte[] label;
    private final SSL3RANDOMDATA random;
    private final byte[] context;

    /**
     * Makes the parameter.
     *
     * @param prf the digest mechanism ({@code CKM_}) of the pseudo-random function of TLS 1.2, or {@code CKM_TLS_PRF}
     *        for that of the older versions
     * @param label the label
     * @param random the random data of the handshake
     * @param context the context, or null for none
     */
    public TLSKDFParams(int prf, byte[] label, SSL3RANDOMDATA random, byte[] context) {
        this.prf = prf;
        this.label = Arrays.copy(label);
        this.random = random;
        this.context = Arrays.copy(context);
    }

    /**
     * Makes the parameter for TLS 1.2.
     *
     * @param digest the name of the cipher suite's digest, such as SHA-256
     * @param label the label
     * @param random the random data of the handshake
     * @param context the context, or null for none
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 does not have the digest
     */
    public static TLSKDFParams of(String digest, byte[] label, SSL3RANDOMDATA random, byte[] context) {
        return new TLSKDFParams(Digests.named(digest).mechanism(), label, random, context);
    }

    @Override
    public void check() {
        TLS12KeyMatParams.checkDigest(prf);
        Arrays.check("label", label, 1);
        Objects.requireNonNull(random, "random");
        random.check();
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(CONTEXT + 2 * Structure.WORD).putNumber(0, prf).putCounted(8, 16, label)
                .putCounted(CONTEXT, CONTEXT + Structure.WORD, context);
        random.layOut(structure, RANDOM);
        return structure;
    }
}
