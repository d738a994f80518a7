package velnor;

/** How the calls of several threads reach the module. */
public enum Threading {
    /**
     * One call at a time, whatever the threads do. This suits every module: a module is initialised without locking
     * arguments, and then it need not withstand two threads at once. SoftHSM, for one, corrupts its memory.
     */
    SERIALIZED,

    /**
     * Calls of several threads reach the module at the same time, each thread with a session of its own. Only for
     * modules that promise to bear this although they are initialised without locking arguments, such as
     * {@code p11-kit-proxy.so}. Opening and closing the module and its sessions still happens alone.
     */
    CONCURRENT
}
