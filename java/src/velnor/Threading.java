package velnor;

/** How the calls of several threads reach the module. */
public enum Threading {
    /**
     * As the module can take them: {@link #CONCURRENT} when it agreed, while it was initialised, to lock by itself
     * ({@code CKF_OS_LOCKING_OK}), {@link #SERIALIZED} when it did not.
     */
    AUTOMATIC,

    /**
     * One call at a time, whatever the threads do. This suits every module; a call that does not come back keeps all
     * others waiting.
     */
    SERIALIZED,

    /**
     * Calls reach the module at the same time, but for those with the same session, which take turns. A call that does
     * not come back keeps nobody waiting but those with its session and whoever closes the module. For a module that
     * did not agree to lock only if it promises to bear this all the same: others corrupt their memory.
     */
    CONCURRENT
}
