package velnor;

/** What a module tells about a slot. */
public final class SlotInfo {
    private final String slotDescription;
    private final String manufacturerID;
    private final int flags;
    private final Version hardwareVersion;
    private final Version firmwareVersion;

    /**
     * Takes over what the module told.
     *
     * @param slotDescription the slot's description
     * @param manufacturerID the maker's name
     * @param flags the slot's flags ({@code CKF_})
     * @param hardwareVersion the version of the slot's hardware
     * @param firmwareVersion the version of the slot's firmware
     */
    public SlotInfo(String slotDescription, String manufacturerID, int flags, Version hardwareVersion,
            Version firmwareVersion) {
        this.slotDescription = slotDescription;
        this.manufacturerID = manufacturerID;
        this.flags = flags;
        this.hardwareVersion = hardwareVersion;
        this.firmwareVersion = firmwareVersion;
    }

    /**
     * Tells what the slot is called.
     *
     * @return the description without its padding
     */
    public String slotDescription() {
        return Texts.trim(slotDescription);
    }

    /**
     * Tells what the slot is called, as the module padded it.
     *
     * @return the whole field, trailing blanks included
     */
    public String rawSlotDescription() {
        return slotDescription;
    }

    /**
     * Tells who made the slot.
     *
     * @return the name without its padding
     */
    public String manufacturerID() {
        return Texts.trim(manufacturerID);
    }

    /**
     * Tells who made the slot, as the module padded it.
     *
     * @return the whole field, trailing blanks included
     */
    public String rawManufacturerID() {
        return manufacturerID;
    }

    /**
     * Tells what kind of slot it is.
     *
     * @return the {@code CKF_} bits: 1 a token is present, 2 removable, 4 hardware
     */
    public int flags() {
        return flags;
    }

    /**
     * Tells the version of the slot's hardware.
     *
     * @return the version
     */
    public Version hardwareVersion() {
        return hardwareVersion;
    }

    /**
     * Tells the version of the slot's firmware.
     *
     * @return the version
     */
    public Version firmwareVersion() {
        return firmwareVersion;
    }

    @Override
    public String toString() {
        return "SlotInfo[" + slotDescription() + ", " + manufacturerID() + ", flags " + Texts.hex(flags) + "]";
    }
}
