package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_SP800_108_FEEDBACK_KDF}, key derivation that feeds each result into the next one. */
public final class SP800108FeedbackParams implements MechanismParams {
    private final int prf;
    private final byte[] iv;
    private final PrfInput[] inputs;

    /**
     * Makes the parameter.
     *
     * @param prf the pseudo-random function: an HMAC or CMAC mechanism ({@code CKM_})
     * @param iv what stands for the result before the first one, or null for nothing
     * @param inputs what the function is fed with, in this order; {@link PrfInput#iteration} is among them
     */
    public SP800108FeedbackParams(int prf, byte[] iv, PrfInput... inputs) {
        this.prf = prf;
        this.iv = Arrays.copy(iv);
        this.inputs = inputs.clone();
    }

    @Override
    public void check() {
        PrfInput.check(prf, inputs, false);
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(7 * Structure.WORD);
        PrfInput.layOut(structure, prf, inputs);
        return structure.putCounted(32, 24, iv);
    }
}
