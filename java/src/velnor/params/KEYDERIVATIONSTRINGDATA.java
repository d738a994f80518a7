package velnor.params;

import velnor.nat.Structure;

/**
 * The data of {@code CKM_CONCATENATE_BASE_AND_DATA}, {@code CKM_CONCATENATE_DATA_AND_BASE} and
 * {@code CKM_XOR_BASE_AND_DATA}.
 */
public final class KEYDERIVATIONSTRINGDATA implements MechanismParams {
    private final byte[] data;

    /**
     * Makes the parameter.
     *
     * @param data the data
     */
    public KEYDERIVATIONSTRINGDATA(byte[] data) {
        this.data = Arrays.copy(data);
    }

    @Override
    public void check() {
        Arrays.check("data", data, 0);
    }

    @Override
    public Structure structure() {
        return new Structure(2 * Structure.WORD).putCounted(0, 8, data);
    }
}
