package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_CONCATENATE_BASE_AND_KEY}: another key. */
public final class ObjectHandleParams implements MechanismParams {
    private final long handle;

    /**
     * Makes the parameter.
     *
     * @param handle the key's handle, all 64 bits
     */
    public ObjectHandleParams(long handle) {
        this.handle = handle;
    }

    @Override
    public void check() {
        Arrays.require(handle != 0, "0 is no object's handle: TokenObject.handle() gives the key's");
    }

    @Override
    public Structure structure() {
        return new Structure(Structure.WORD).putLong(0, handle);
    }
}
