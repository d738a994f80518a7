package velnor;

/** What a module tells about a session. */
public final class SessionInfo {
    private final int slotID;
    private final int state;
    private final int flags;
    private final int deviceError;

    /**
     * Takes over what the module told.
     *
     * @param slotID the slot on whose token the session is open
     * @param state the session's state ({@code CKS_})
     * @param flags the session's flags ({@code CKF_})
     * @param deviceError an error code of the device
     */
    public SessionInfo(int slotID, int state, int flags, int deviceError) {
        this.slotID = slotID;
        this.state = state;
        this.flags = flags;
        this.deviceError = deviceError;
    }

    /**
     * Tells on which slot's token the session is open.
     *
     * @return the slot ID
     */
    public int slotID() {
        return slotID;
    }

    /**
     * Tells who is logged in, and whether the session may write.
     *
     * @return 0 read-only public, 1 read-only user, 2 read/write public, 3 read/write user, 4 read/write security
     *         officer
     */
    public int state() {
        return state;
    }

    /**
     * Tells how the session was opened.
     *
     * @return the {@code CKF_} bits: 2 read/write, 4 serial
     */
    public int flags() {
        return flags;
    }

    /**
     * Tells the device's own error code.
     *
     * @return the code; its meaning is the vendor's, 0 is none
     */
    public int deviceError() {
        return deviceError;
    }

    @Override
    public String toString() {
        return "SessionInfo[slot " + slotID + ", state " + state + ", flags " + Texts.hex(flags) + ", device error "
                + Texts.hex(deviceError) + "]";
    }
}
