package velnor.params;

import java.util.Objects;

import quadrel.Pkcs11SSL3RANDOMDATA;
import velnor.Version;

/** The parameter of {@code CKM_SSL3_MASTER_KEY_DERIVE}. The version that the token finds is not copied back. */
public final class SSL3MASTERKEYDERIVEParams implements MechanismParams {
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

    @Override
    public void check() {
        Objects.requireNonNull(m_version, "version");
        Objects.requireNonNull(m_randomInfo, "randomInfo");
        ((SSL3RANDOMDATA) m_randomInfo).check();
    }
}
