package velnor.params;

import java.util.Objects;

import quadrel.Pkcs11SSL3RANDOMDATA;
import velnor.Version;
import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_SSL3_MASTER_KEY_DERIVE}. The version that the token finds is {@link #foundVersion()}; the
 * methods of {@link velnor.nat.NativeSession} do not copy it back.
 */
public final class SSL3MASTERKEYDERIVEParams implements MechanismParams {
    private final Version m_version;
    private final Pkcs11SSL3RANDOMDATA m_randomInfo;
    private volatile Version found;

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

    @Override
    public Structure structure() {
        Structure structure = new Structure(SSL3RANDOMDATA.SIZE + Structure.WORD).comesBack();
        ((SSL3RANDOMDATA) m_randomInfo).layOut(structure, 0);
        structure.point(SSL3RANDOMDATA.SIZE,
                new byte[] {(byte) m_version.majorVersion(), (byte) m_version.minorVersion()});
        return structure;
    }

    @Override
    public void takeBack(Structure structure) {
        byte[] version = structure.getPointed(SSL3RANDOMDATA.SIZE, 2);
        found = version == null ? null : new Version(version[1] & 0xFF, version[0] & 0xFF);
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
