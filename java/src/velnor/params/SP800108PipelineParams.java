package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_SP800_108_DOUBLE_PIPELINE_KDF}, key derivation in which one pipeline feeds another. */
public final class SP800108PipelineParams implements MechanismParams {
    private final int prf;
    private final PrfInput[] inputs;

    /**
     * Makes the parameter.
     *
     * @param prf the pseudo-random function: an HMAC or CMAC mechanism ({@code CKM_})
     * @param inputs what it is fed with, in this order; {@link PrfInput#iteration} is among them
     */
    public SP800108PipelineParams(int prf, PrfInput... inputs) {
        this.prf = prf;
        this.inputs = inputs.clone();
    }

    @Override
    public void check() {
        PrfInput.check(prf, inputs, false);
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(5 * Structure.WORD);
        PrfInput.layOut(structure, prf, inputs);
        return structure;
    }
}
