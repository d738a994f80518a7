package velnor.params;

import quadrel.Pkcs11SSL3RANDOMDATA;
import velnor.Version;

/** The parameter of {@code CKM_SSL3_MASTER_KEY_DERIVE}. The version that the token finds is not copied back. */
public final class SSL3MASTERKEYDERIVEParams {
    private final Version m_version;
    private final Pkcs11SSL3RANDOMDATA m_randomInfo;

    /**
     * Makes the parameter.
     *
     * @param version the version of the protocol; the low byte of each part counts
     * @param randomInfo the random data of the handshake
     */
    public SSL3MASTERKEYDERIVEParams(Version version, SSL3RANDOMDATA randomInfo) {
        m_version = version;
        m_randomInfo = randomInfo;
    }
}
