package velnor.nat;

import velnor.Info;

/**
 * The native methods that concern the PKCS#11 module as a whole. Objects of this class have no state: the library's
 * state is the process's.
 */
public final class NativeCryptoki {
    /** Gives access to the methods of the module that is bound to the process. */
    public NativeCryptoki() {
    }

    // --- Module and lifecycle: module.cpp

    /**
     * Binds a PKCS#11 module, in place of the one bound so far, which is finalised and closed.
     *
     * <p>A failed load leaves no module bound.
     *
     * @param cryptokiLibrary the module's file name, as the dynamic loader wants it
     */
    public static native void loadCryptokiLibrary(String cryptokiLibrary);

    /**
     * Binds a PKCS#11 module in place of the one bound so far, which is finalised.
     *
     * @param cryptokiLibrary the module's file name, as the dynamic loader wants it
     * @param freeLib whether the module bound so far is closed; otherwise it stays mapped until the process ends
     */
    public static native void loadCryptokiLibrary2(String cryptokiLibrary, boolean freeLib);

    /**
     * Binds a PKCS#11 module in place of the one bound so far, which is finalised.
     *
     * @param cryptokiLibrary the module's file name, as the dynamic loader wants it
     * @param freeLib whether the module bound so far is closed; otherwise it stays mapped until the process ends
     * @param changedir ignored
     */
    public static native void loadCryptokiLibrary3(String cryptokiLibrary, boolean freeLib, boolean changedir);

    /**
     * Tells where the module that was loaded last lies. May be called at any time.
     *
     * @return its full path; empty when there is none or it could not be found
     */
    public static native String getLastLoadedLibraryFullPath();

    /**
     * Tells whether signing needs a second authentication. May be called at any time.
     *
     * @return false when the file beside the loaded module, named as the module with {@code .conf} appended,
     *         contains {@code DsPinIsCNSPin=true}, else true
     */
    public native boolean IsSecondAuthenticationRequired();

    // --- Module and lifecycle: lifecycle.cpp

    /**
     * Initialises the module, and binds the module loaded last first when none is bound. The module is given no
     * arguments, so it must not be called from several threads at once unless its vendor allows it.
     *
     * @param initializeArgs ignored, may be null
     */
    public native void Initialize(Object initializeArgs);

    /**
     * Finalises the module and closes it; all sessions end. {@link #Initialize(Object)} begins anew.
     *
     * <p>Called before {@code Initialize} it throws code 0x190, and {@code Initialize} then loads the module again.
     *
     * @param reserved ignored, may be null
     */
    public native void Finalize(Object reserved);

    /**
     * Tells about the module.
     *
     * @return the information; its library version is that of {@code libharlune.so}
     */
    public native Info GetInfo();

    // --- Slots: slots.cpp

    /**
     * Lists the module's slots.
     *
     * @param tokenPresent whether to list only slots that have a token
     * @return the slots, perhaps none
     */
    public native NativeSlot[] GetSlotList(boolean tokenPresent);

    /**
     * Waits until a token comes or goes.
     *
     * @param flags 0 blocks the thread inside the module; 1 ({@code CKF_DONT_BLOCK}) throws {@code CKR_NO_EVENT}
     *        (8) when nothing has happened
     * @param reserved ignored, may be null
     * @return the slot where it happened
     */
    public native NativeSlot WaitForSlotEvent(int flags, Object reserved);
}
