package velnor;

/** A version number of two parts. */
public final class Version implements Comparable<Version> {
    private final int m_majorVersion;
    private final int m_minorVersion;

    /**
     * Makes a version; note the order of the arguments.
     *
     * @param minorVersion the part after the point
     * @param majorVersion the part before the point
     */
    public Version(int minorVersion, int majorVersion) {
        m_minorVersion = minorVersion;
        m_majorVersion = majorVersion;
    }

    /**
     * Tells the part before the point.
     *
     * @return the major version
     */
    public int majorVersion() {
        return m_majorVersion;
    }

    /**
     * Tells the part after the point.
     *
     * @return the minor version
     */
    public int minorVersion() {
        return m_minorVersion;
    }

    @Override
    public int compareTo(Version other) {
        int major = Integer.compare(m_majorVersion, other.m_majorVersion);
        return major != 0 ? major : Integer.compare(m_minorVersion, other.m_minorVersion);
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof Version && compareTo((Version) other) == 0;
    }

    @Override
    public int hashCode() {
        return 31 * m_majorVersion + m_minorVersion;
    }

    /** The version as it is written: major, point, minor. */
    @Override
    public String toString() {
        return m_majorVersion + "." + m_minorVersion;
    }
}
