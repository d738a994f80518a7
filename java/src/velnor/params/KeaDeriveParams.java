package velnor.params;

/** The parameter of {@code CKM_KEA_KEY_DERIVE}. */
public final class KeaDeriveParams implements MechanismParams {
    private final Boolean isSender;
    private final byte[] randomA;
    private final byte[] randomB;
    private final byte[] publicData;

    /**
     * Makes the parameter.
     *
     * @param isSender whether this side sends the message
     * @param randomA the random data A
     * @param randomB the random data B, as long as A; fewer bytes end in an exception
     * @param publicData the other party's key exchange public value
     */
    public KeaDeriveParams(boolean isSender, byte[] randomA, byte[] randomB, byte[] publicData) {
        this.isSender = isSender;
        this.randomA = Arrays.copy(randomA);
        this.randomB = Arrays.copy(randomB);
        this.publicData = Arrays.copy(publicData);
    }

    @Override
    public void check() {
        Arrays.check("randomA", randomA, 0);
        Arrays.check("randomB", randomB, randomA.length);
        Arrays.check("publicData", publicData, 0);
    }
}
