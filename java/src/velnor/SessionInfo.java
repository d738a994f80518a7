package velnor;

/** What a module tells about a session. */
public final class SessionInfo {
    private final long slotID;
    private final int state;
    private final int flags;
    private final long deviceError;

    /**
     * Takes over what the module told.
     *
     * @param slotID the slot on whose token the session is open
     * @param state the session's state ({@code CKS_})
     * @param flags the session's flags ({@code CKF_})
     * @param deviceError an error code of the device
     */
    public SessionInfo(int slotID, int state, int flags, int deviceError) {
        this(Integer.toUnsignedLong(slotID), state, flags, deviceError);
    }

    SessionInfo(long slotID, int state, int flags, long deviceError) {
        this.slotID = slotID;
        this.state = state;
        this.flags = flags;
        this.deviceError = deviceError;
    }

    /**
     * Tells on which slot's token the session is open.
     *
     * @return the low 32 bits of the slot ID
     */
    public int slotID() {
        return (int) slotID;
    }

    /**
     * Tells on which slot's token the session is open.
     *
     * @return all 64 bits of the slot ID, as far as they are known
     */
    public long slot() {
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
     * @throws CryptokiException when the code does not fit ({@code Check64BitLen}); {@link #deviceErrorCode()} has it
     */
    public int deviceError() {
        return Numbers.fitting(deviceError);
    }

    /**
     * Tells the device's own error code.
     *
     * @return all 64 bits of the code; its meaning is the vendor's, 0 is none
     */
    public long deviceErrorCode() {
        return deviceError;
    }

    @Override
    public String toString() {
        return "SessionInfo[slot " + Long.toUnsignedString(slotID) + ", state " + state + ", flags " + Texts.hex(flags)
                + ", device error 0x" + Long.toHexString(deviceError) + "]";
    }
}
