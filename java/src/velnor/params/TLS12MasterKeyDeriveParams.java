package velnor.params;

import java.util.Objects;

import velnor.Version;
import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_TLS12_MASTER_KEY_DERIVE} and {@code CKM_TLS12_MASTER_KEY_DERIVE_DH}. The version that the
 * token finds in the pre-master key is {@link #foundVersion()}.
 */
public final class TLS12MasterKeyDeriveParams implements MechanismParams {
    private static final int VERSION = SSL3RANDOMDATA.SIZE;
    private static final int DIGEST = VERSION + Structure.WORD;

    private final SSL3RANDOMDATA random;
    private final Version version;
    private final int digest;
    private volatile Version found;

    /**
     * Makes the parameter.
     *
     * @param random the random data of the handshake
     * @param version the version of the protocol; null for the Diffie-Hellman form, whose secret has none
     * @param digest the digest mechanism ({@code CKM_}) of the pseudo-random function
     */
    public TLS12MasterKeyDeriveParams(SSL3RANDOMDATA random, Version version, int digest) {
        this.random = random;
        this.version = version;
        this.digest = digest;
    }

    /**
     * Makes the parameter.
     *
     * @param digest the name of the cipher suite's digest, such as SHA-256
     * @param random the random data of the handshake
     * @param version the version of the protocol; null for the Diffie-Hellman form, whose secret has none
     * @return the parameter
     * @throws IllegalArgumentException when PKCS#11 does not have the digest
     */
    public static TLS12MasterKeyDeriveParams of(String digest, SSL3RANDOMDATA random, Version version) {
        return new TLS12MasterKeyDeriveParams(random, version, Digests.named(digest).mechanism());
    }

    @Override
    public void check() {
        Objects.requireNonNull(random, "random");
        random.check();
        TLS12KeyMatParams.checkDigest(digest);
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(DIGEST + Structure.WORD).comesBack().putNumber(DIGEST, digest);
        random.layOut(structure, 0);
        if (version != null) {
            structure.point(VERSION, new byte[] {(byte) version.majorVersion(), (byte) version.minorVersion()});
        }
        return structure;
    }

    @Override
    public void takeBack(Structure structure) {
        byte[] told = structure.getPointed(VERSION, 2);
        found = told == null ? null : new Version(told[1] & 0xFF, told[0] & 0xFF);
    }

    /**
     * Gives the version that the token found in the pre-master key.
     *
     * @return what the token wrote in the last call that ended, or null before; a token that writes nothing leaves the
     *         version that the parameter was made with
     */
    public Version foundVersion() {
        return found;
    }
}
