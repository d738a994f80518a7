package velnor;

/**
 * What a module tells about a token. The number of open sessions of all kinds is not among it.
 *
 * <p>A number beyond an {@code int} makes its own method throw a {@link CryptokiException} ({@code Check64BitLen}), and
 * no other.
 */
public final class TokenInfo {
    private final String label;
    private final String manufacturerID;
    private final String model;
    private final String serialNumber;
    private final int flags;
    private final long maxSessionCount;
    private final long maxRwSessionCount;
    private final long rwSessionCount;
    private final long maxPinLen;
    private final long minPinLen;
    private final long totalPublicMemory;
    private final long freePublicMemory;
    private final long totalPrivateMemory;
    private final long freePrivateMemory;
    private final Version hardwareVersion;
    private final Version firmwareVersion;
    private final String utcTime;

    /**
     * Takes over what the module told.
     *
     * @param label the label that the token got when it was initialised
     * @param manufacturerID the maker's name
     * @param model the model
     * @param serialNumber the serial number
     * @param flags the token's flags ({@code CKF_})
     * @param maxSessionCount how many sessions one application may open
     * @param maxRwSessionCount how many of them may write
     * @param rwSessionCount how many read/write sessions are open
     * @param maxPinLen the longest PIN, in bytes
     * @param minPinLen the shortest PIN, in bytes
     * @param totalPublicMemory bytes for public objects
     * @param freePublicMemory free bytes for public objects
     * @param totalPrivateMemory bytes for private objects
     * @param freePrivateMemory free bytes for private objects
     * @param hardwareVersion the version of the token's hardware
     * @param firmwareVersion the version of the token's firmware
     * @param utcTime the token's clock, YYYYMMDDhhmmss00
     */
    public TokenInfo(String label, String manufacturerID, String model, String serialNumber, int flags,
            int maxSessionCount, int maxRwSessionCount, int rwSessionCount, int maxPinLen, int minPinLen,
            int totalPublicMemory, int freePublicMemory, int totalPrivateMemory, int freePrivateMemory,
            Version hardwareVersion, Version firmwareVersion, String utcTime) {
        this(label, manufacturerID, model, serialNumber, flags, (long) maxSessionCount, maxRwSessionCount,
                rwSessionCount, maxPinLen, minPinLen, totalPublicMemory, freePublicMemory, totalPrivateMemory,
                freePrivateMemory, hardwareVersion, firmwareVersion, utcTime);
    }

    TokenInfo(String label, String manufacturerID, String model, String serialNumber, int flags,
            long maxSessionCount, long maxRwSessionCount, long rwSessionCount, long maxPinLen, long minPinLen,
            long totalPublicMemory, long freePublicMemory, long totalPrivateMemory, long freePrivateMemory,
            Version hardwareVersion, Version firmwareVersion, String utcTime) {
        this.label = label;
        this.manufacturerID = manufacturerID;
        this.model = model;
        this.serialNumber = serialNumber;
        this.flags = flags;
        this.maxSessionCount = maxSessionCount;
        this.maxRwSessionCount = maxRwSessionCount;
        this.rwSessionCount = rwSessionCount;
        this.maxPinLen = maxPinLen;
        this.minPinLen = minPinLen;
        this.totalPublicMemory = totalPublicMemory;
        this.freePublicMemory = freePublicMemory;
        this.totalPrivateMemory = totalPrivateMemory;
        this.freePrivateMemory = freePrivateMemory;
        this.hardwareVersion = hardwareVersion;
        this.firmwareVersion = firmwareVersion;
        this.utcTime = utcTime;
    }

    /**
     * Tells the label that the token got when it was initialised.
     *
     * @return the label without its padding
     */
    public String label() {
        return Texts.trim(label);
    }

    /**
     * Tells the label that the token got when it was initialised, as the module padded it.
     *
     * @return the whole field, trailing blanks included
     */
    public String rawLabel() {
        return label;
    }

    /**
     * Tells who made the token.
     *
     * @return the name without its padding
     */
    public String manufacturerID() {
        return Texts.trim(manufacturerID);
    }

    /**
     * Tells who made the token, as the module padded it.
     *
     * @return the whole field, trailing blanks included
     */
    public String rawManufacturerID() {
        return manufacturerID;
    }

    /**
     * Tells the token's model.
     *
     * @return the model without its padding
     */
    public String model() {
        return Texts.trim(model);
    }

    /**
     * Tells the token's model, as the module padded it.
     *
     * @return the whole field, trailing blanks included
     */
    public String rawModel() {
        return model;
    }

    /**
     * Tells the token's serial number.
     *
     * @return the serial number without its padding
     */
    public String serialNumber() {
        return Texts.trim(serialNumber);
    }

    /**
     * Tells the token's serial number, as the module padded it.
     *
     * @return the whole field, trailing blanks included
     */
    public String rawSerialNumber() {
        return serialNumber;
    }

    /**
     * Tells what the token has and wants.
     *
     * @return the {@code CKF_} bits, such as 4 login required, 8 user PIN set, 0x400 initialised
     */
    public int flags() {
        return flags;
    }

    /**
     * Tells how many sessions one application may open.
     *
     * @return the number; 0 is no limit, -1 is not told
     */
    public int maxSessionCount() {
        return Numbers.fitting(maxSessionCount);
    }

    /**
     * Tells how many read/write sessions one application may open.
     *
     * @return the number; 0 is no limit, -1 is not told
     */
    public int maxRwSessionCount() {
        return Numbers.fitting(maxRwSessionCount);
    }

    /**
     * Tells how many read/write sessions this application has open.
     *
     * @return the number, -1 when the token does not tell
     */
    public int rwSessionCount() {
        return Numbers.fitting(rwSessionCount);
    }

    /**
     * Tells how long a PIN may be.
     *
     * @return the number of bytes
     */
    public int maxPinLen() {
        return Numbers.fitting(maxPinLen);
    }

    /**
     * Tells how short a PIN may be.
     *
     * @return the number of bytes
     */
    public int minPinLen() {
        return Numbers.fitting(minPinLen);
    }

    /**
     * Tells how much memory there is for public objects.
     *
     * @return the number of bytes, -1 when the token does not tell
     * @throws CryptokiException when the number does not fit ({@code Check64BitLen}); {@link #totalPublicMemoryBytes()}
     *         has it
     */
    public int totalPublicMemory() {
        return Numbers.fitting(totalPublicMemory);
    }

    /**
     * Tells how much memory there is for public objects.
     *
     * @return the number of bytes, -1 when the token does not tell
     */
    public long totalPublicMemoryBytes() {
        return totalPublicMemory;
    }

    /**
     * Tells how much memory is free for public objects.
     *
     * @return the number of bytes, -1 when the token does not tell
     * @throws CryptokiException when the number does not fit ({@code Check64BitLen}); {@link #freePublicMemoryBytes()}
     *         has it
     */
    public int freePublicMemory() {
        return Numbers.fitting(freePublicMemory);
    }

    /**
     * Tells how much memory is free for public objects.
     *
     * @return the number of bytes, -1 when the token does not tell
     */
    public long freePublicMemoryBytes() {
        return freePublicMemory;
    }

    /**
     * Tells how much memory there is for private objects.
     *
     * @return the number of bytes, -1 when the token does not tell
     * @throws CryptokiException when the number does not fit ({@code Check64BitLen}); {@link
     *         #totalPrivateMemoryBytes()} has it
     */
    public int totalPrivateMemory() {
        return Numbers.fitting(totalPrivateMemory);
    }

    /**
     * Tells how much memory there is for private objects.
     *
     * @return the number of bytes, -1 when the token does not tell
     */
    public long totalPrivateMemoryBytes() {
        return totalPrivateMemory;
    }

    /**
     * Tells how much memory is free for private objects.
     *
     * @return the number of bytes, -1 when the token does not tell
     * @throws CryptokiException when the number does not fit ({@code Check64BitLen}); {@link #freePrivateMemoryBytes()}
     *         has it
     */
    public int freePrivateMemory() {
        return Numbers.fitting(freePrivateMemory);
    }

    /**
     * Tells how much memory is free for private objects.
     *
     * @return the number of bytes, -1 when the token does not tell
     */
    public long freePrivateMemoryBytes() {
        return freePrivateMemory;
    }

    /**
     * Tells the version of the token's hardware.
     *
     * @return the version
     */
    public Version hardwareVersion() {
        return hardwareVersion;
    }

    /**
     * Tells the version of the token's firmware.
     *
     * @return the version
     */
    public Version firmwareVersion() {
        return firmwareVersion;
    }

    /**
     * Tells what the token's clock shows.
     *
     * @return the time as YYYYMMDDhhmmss00, meaningless unless flag 0x40 says that there is a clock
     */
    public String utcTime() {
        return Texts.trim(utcTime);
    }

    /**
     * Tells what the token's clock shows, as the module padded it.
     *
     * @return the whole field, trailing blanks included
     */
    public String rawUtcTime() {
        return utcTime;
    }

    @Override
    public String toString() {
        return "TokenInfo[" + label() + ", " + manufacturerID() + ", " + model() + ", serial number "
                + serialNumber() + ", flags " + Texts.hex(flags) + "]";
    }
}
