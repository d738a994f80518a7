package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_SP800_108_COUNTER_KDF}, key derivation that counts its iterations. */
public final class SP800108CounterParams implements MechanismParams {
    private final int prf;
    private final PrfInput[] inputs;

    /**
     * Makes the parameter.
     *
     * @param prf the pseudo-random function: an HMAC or CMAC mechanism ({@code CKM_})
     * @param inputs what it is fed with, in this order; {@link PrfInput#counter} is among them
     */
    public SP800108CounterParams(int prf, PrfInput... inputs) {
        this.prf = prf;
        this.inputs = inputs.clone();
    }

    @Override
    public void check() {
        PrfInput.check(prf, inputs, true);
    }

    @Override
    public Structure structure() {
        Structure structure = new Structure(5 * Structure.WORD);
        PrfInput.layOut(structure, prf, inputs);
        return structure;
    }
}
