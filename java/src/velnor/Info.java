package velnor;

/** What a module tells about itself. */
public final class Info {
    private final Version cryptokiVersion;
    private final int flags;
    private final String libraryDescription;
    private final Version libraryVersion;
    private final String manufacturerID;
    private final Version moduleVersion;

    /**
     * Takes over what the module told.
     *
     * @param cryptokiVersion the version of PKCS#11 that the module follows
     * @param flags flags; the standard defines none
     * @param libraryDescription the module's description of itself
     * @param libraryVersion the version of the native library
     * @param manufacturerID the maker's name
     */
    public Info(Version cryptokiVersion, int flags, String libraryDescription, Version libraryVersion,
            String manufacturerID) {
        this(cryptokiVersion, flags, libraryDescription, libraryVersion, manufacturerID, null);
    }

    Info(Version cryptokiVersion, int flags, String libraryDescription, Version libraryVersion, String manufacturerID,
            Version moduleVersion) {
        this.cryptokiVersion = cryptokiVersion;
        this.flags = flags;
        this.libraryDescription = libraryDescription;
        this.libraryVersion = libraryVersion;
        this.manufacturerID = manufacturerID;
        this.moduleVersion = moduleVersion;
    }

    /**
     * Tells which version of PKCS#11 the module follows.
     *
     * @return the version
     */
    public Version cryptokiVersion() {
        return cryptokiVersion;
    }

    /**
     * Tells the module's flags.
     *
     * @return the flags; the standard defines none and wants 0
     */
    public int flags() {
        return flags;
    }

    /**
     * Tells what the module calls itself.
     *
     * @return the description without its padding
     */
    public String libraryDescription() {
        return Texts.trim(libraryDescription);
    }

    /**
     * Tells what the module calls itself, as the module padded it.
     *
     * @return the whole field, trailing blanks included
     */
    public String rawLibraryDescription() {
        return libraryDescription;
    }

    /**
     * Tells the version of {@code libharlune.so}, not that of the module.
     *
     * @return the version
     */
    public Version libraryVersion() {
        return libraryVersion;
    }

    /**
     * Tells the version of the module.
     *
     * @return the version; null in what {@link velnor.nat.NativeCryptoki} gives, which does not tell it
     */
    public Version moduleVersion() {
        return moduleVersion;
    }

    /**
     * Tells who made the module.
     *
     * @return the name without its padding
     */
    public String manufacturerID() {
        return Texts.trim(manufacturerID);
    }

    /**
     * Tells who made the module, as the module padded it.
     *
     * @return the whole field, trailing blanks included
     */
    public String rawManufacturerID() {
        return manufacturerID;
    }

    @Override
    public String toString() {
        return "Info[" + libraryDescription() + ", " + manufacturerID() + ", PKCS#11 " + cryptokiVersion + "]";
    }
}
