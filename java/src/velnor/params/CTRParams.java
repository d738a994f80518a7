package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_AES_CTR} and {@code CKM_CAMELLIA_CTR}. */
public final class CTRParams implements MechanismParams {
    private static final int BLOCK = 16;

    private final int counterBits;
    private final byte[] counterBlock;

    /**
     * Makes the parameter with the whole block as the counter, as {@code AES/CTR/NoPadding} of the JDK has it.
     *
     * @param counterBlock the first counter block, 16 bytes; never the same one twice with one key
     */
    public CTRParams(byte[] counterBlock) {
        this(8 * BLOCK, counterBlock);
    }

    /**
     * Makes the parameter.
     *
     * @param counterBits how many bits at the end of the block count up, 1 to 128
     * @param counterBlock the first counter block, 16 bytes; never the same one twice with one key
     */
    public CTRParams(int counterBits, byte[] counterBlock) {
        this.counterBits = counterBits;
        this.counterBlock = Arrays.copy(counterBlock);
    }

    @Override
    public void check() {
        Arrays.check("counter block", counterBlock, 0);
        Arrays.require(counterBlock.length == BLOCK, "A counter block has " + BLOCK + " bytes, not "
                + counterBlock.length + ": put zeroes behind a shorter nonce");
        Arrays.require(counterBits >= 1 && counterBits <= 8 * BLOCK,
                "A counter has 1 to 128 bits, not " + counterBits + ": 128 is the usual number");
    }

    @Override
    public Structure structure() {
        return new Structure(Structure.WORD + BLOCK).putNumber(0, counterBits)
                .putBytes(Structure.WORD, Arrays.first(counterBlock, BLOCK));
    }
}
