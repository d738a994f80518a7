package velnor;

/** What a token can do with a mechanism. */
public final class MechanismInfo {
    private final int minKeySize;
    private final int maxKeySize;
    private final int flags;

    /**
     * Takes over what the module told.
     *
     * @param minKeySize the smallest key
     * @param maxKeySize the largest key
     * @param flags the operations ({@code CKF_})
     */
    public MechanismInfo(int minKeySize, int maxKeySize, int flags) {
        this.minKeySize = minKeySize;
        this.maxKeySize = maxKeySize;
        this.flags = flags;
    }

    /**
     * Tells the smallest key of the mechanism.
     *
     * @return the size, in bits or bytes as the standard says for the mechanism; some mechanisms leave it undefined
     */
    public int minKeySize() {
        return minKeySize;
    }

    /**
     * Tells the largest key of the mechanism.
     *
     * @return the size, in the unit of {@link #minKeySize()}
     */
    public int maxKeySize() {
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
