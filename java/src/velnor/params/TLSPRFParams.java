package velnor.params;

import velnor.nat.Structure;

/**
 * The parameter of {@code CKM_TLS_PRF}, the pseudo-random function of TLS 1.0 and 1.1. What comes out is {@link
 * #output()}; the key that the derivation gives is none.
 */
public final class TLSPRFParams implements MechanismParams {
    private static final int OUTPUT = 4 * Structure.WORD;
    private static final int OUTPUT_LENGTH = 5 * Structure.WORD;
    private static final int MOST = 1 << 20;

    private final byte[] seed;
    private final byte[] label;
    private final int length;
    private volatile byte[] output;

    /**
     * Makes the parameter.
     *
     * @param seed the seed
     * @param label the label
     * @param length how many bytes are wanted
     */
    public TLSPRFParams(byte[] seed, byte[] label, int length) {
        this.seed = Arrays.copy(seed);
        this.label = Arrays.copy(label);
        this.length = length;
    }

    @Override
    public void check() {
        Arrays.check("seed", seed, 1);
        Arrays.check("label", label, 1);
        Arrays.require(length > 0 && length <= MOST, "The function gives 1 to " + MOST + " bytes, not " + length);
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(OUTPUT_LENGTH + Structure.WORD).comesBack().putCounted(0, 8, seed)
                .putCounted(16, 24, label);
        int room = Arrays.room(length, MOST);
        structure.point(OUTPUT, room);
        structure.putLong(structure.point(OUTPUT_LENGTH, Structure.WORD), room);
        return structure;
    }

    @Override
    public void takeBack(Structure structure) {
        output = structure.getPointed(OUTPUT, length);
    }

    /**
     * Gives what the function gave in the last call that ended.
     *
     * @return a copy of the bytes, which may be secret; null before
     */
    public byte[] output() {
        return Arrays.copy(output);
    }
}
