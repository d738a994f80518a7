package velnor;

/** A place where a token may be: a card reader, a USB port, a partition of a hardware security module. */
public interface Slot {
    /**
     * Tells which slot this is.
     *
     * @return the low 32 bits of the module's slot ID; some modules change it when a token is initialised
     */
    int slotID();

    /**
     * Tells which slot this is, whatever the width of the module's slot IDs.
     *
     * @return all 64 bits of the module's slot ID, as far as they are known
     */
    default long id() {
        return Integer.toUnsignedLong(slotID());
    }
}
