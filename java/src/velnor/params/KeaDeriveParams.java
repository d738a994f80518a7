package velnor.params;

import velnor.nat.Structure;

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

    /** Of the random data B as many bytes count as A has: the structure has one length for both. */
    @Override
    public Structure structure() {
        Structure structure = new Structure(6 * Structure.WORD).putBoolean(0, isSender);
        structure.putCounted(16, 8, randomA);
        structure.point(24, Arrays.first(randomB, randomA.length));
        return structure.putCounted(40, 32, publicData);
    }
}
