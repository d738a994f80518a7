package velnor;

/** What a token can do with a mechanism. */
public final class MechanismInfo {
    private final long minKeySize;
    private final long maxKeySize;
    private final int flags;

    /**
     * Takes over what the module told.
     *
     * @param minKeySize the smallest key
     * @param maxKeySize the largest key
     * @param flags the operations ({@code CKF_})
     */
    public MechanismInfo(int minKeySize, int maxKeySize, int flags) {
        this((long) minKeySize, maxKeySize, flags);
    }

    MechanismInfo(long minKeySize, long maxKeySize, int flags) {
        this.minKeySize = minKeySize;
        this.maxKeySize = maxKeySize;
        this.flags = flags;
    }

    /**
     * Tells the smallest key of the mechanism.
     *
     * @return the size, in bits or bytes as the standard says for the mechanism; some mechanisms leave it undefined
     * @throws CryptokiException when the number does not fit ({@code Check64BitLen}); {@link #minKeyLength()} has it
     */
    public int minKeySize() {
        return Numbers.fitting(minKeySize);
    }

    /**
     * Tells the smallest key of the mechanism.
     *
     * @return the size of {@link #minKeySize()}, all 64 bits of it
     */
    public long minKeyLength() {
        return minKeySize;
    }

    /**
     * Tells the largest key of the mechanism.
     *
     * @return the size, in the unit of {@link #minKeySize()}
     * @throws CryptokiException when the number does not fit ({@code Check64BitLen}); {@link #maxKeyLength()} has it
     */
    public int maxKeySize() {
        return Numbers.fitting(maxKeySize);
    }

    /**
     * Tells the largest key of the mechanism.
     *
     * @return the size of {@link #maxKeySize()}, all 64 bits of it
     */
    public long maxKeyLength() {
        return maxKeySize;
    }

    /**
     * Tells which operations the token performs with the mechanism.
     *
     * @return the {@code CKF_} bits, such as 0x100 encrypt and 0x800 sign
     */
    public int flags() {
        return flags;
    }

    @Override
    public String toString() {
        return "MechanismInfo[keys " + minKeySize + " to " + maxKeySize + ", flags " + Texts.hex(flags) + "]";
    }
}
