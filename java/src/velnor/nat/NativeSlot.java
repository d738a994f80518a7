package velnor.nat;

import velnor.MechanismInfo;
import velnor.Slot;
import velnor.SlotInfo;
import velnor.TokenInfo;

/** A slot, and the native methods that concern it and its token. */
public final class NativeSlot implements Slot {
    private final int m_slotID;

    /**
     * Makes the object for a slot; {@link NativeCryptoki#GetSlotList(boolean)} gives those that there are.
     *
     * @param slotID the low 32 bits of the slot ID; widened with its sign whenever the module is asked
     */
    public NativeSlot(int slotID) {
        m_slotID = slotID;
    }

    @Override
    public int slotID() {
        return m_slotID;
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof NativeSlot && m_slotID == ((NativeSlot) other).m_slotID;
    }

    @Override
    public int hashCode() {
        return m_slotID;
    }

    @Override
    public String toString() {
        return "NativeSlot[" + Integer.toUnsignedString(m_slotID) + "]";
    }

    // --- Slots: slots.cpp

    /**
     * Tells about the slot.
     *
     * @return the information
     */
    public native SlotInfo J_GetSlotInfo();

    /**
     * Tells about the token in the slot.
     *
     * <p>A number above 2147483647 (other than "not told", which is -1) is an exception of {@code Check64BitLen}.
     *
     * @return the information
     */
    public native TokenInfo J_GetTokenInfo();

    // --- Slots: mechanism_queries.cpp

    /**
     * Tells what mechanisms the token has, <strong>half of them</strong>: the array has as many elements as the
     * token has mechanisms, but its elements 0, 2, 4 and so on are mechanisms and those between are the upper
     * halves of their 64-bit codes, so the second half of the list does not arrive. Ask for a single mechanism with
     * {@link #J_GetMechanismInfo(int)}.
     *
     * @return the codes and upper halves in turn
     */
    public native int[] J_GetMechanismList();

    /**
     * Tells what the token can do with a mechanism.
     *
     * @param mechanismType the mechanism type ({@code CKM_})
     * @return the information
     */
    public native MechanismInfo J_GetMechanismInfo(int mechanismType);

    // --- Slots: administration.cpp

    /**
     * Initialises the token: everything on it is destroyed.
     *
     * @param soPin the security officer's PIN
     * @param tokenLabel the label; 32 bytes of it are used, and a shorter one is padded with blanks
     */
    public native void J_InitToken(String soPin, String tokenLabel);

    // --- Sessions: sessions.cpp

    /**
     * Opens a session.
     *
     * <p>Every opening empties the signer PIN of the process.
     *
     * @param sessionFlag the {@code CKF_} bits, passed on as they are: 4 is required, 2 makes it read/write
     * @return the session
     */
    public native NativeSession J_OpenSession(int sessionFlag);

    /**
     * Opens a session and logs in. A login that exists already is accepted. <strong>When the login is refused, the
     * session stays open</strong> and nobody has its handle: {@link #J_CloseAllSessions()} closes it.
     *
     * @param sessionFlag the {@code CKF_} bits, passed on as they are: 4 is required, 2 makes it read/write
     * @param userType 0 the security officer, 1 the user, 2 the user once more for one operation ({@code CKU_})
     * @param pin the PIN; null or empty opens the session without a login
     * @return the session
     */
    public native NativeSession J_OpenSession(int sessionFlag, byte userType, String pin);

    /** Closes all sessions with the token in this slot, those of {@link NativeSession} objects too. */
    public native void J_CloseAllSessions();
}
