package velnor.nat;

import quadrel.Pkcs11Session;

/**
 * A key that was just derived. The native library makes one object of this class for each derivation and drops it; the
 * session keeps it for {@link NativeSession#takeDerivedObject()}.
 */
public final class NativeObject {
    private final Pkcs11Session session;
    private final int handle;

    /**
     * Called by the native library.
     *
     * @param session the session in which the key was derived
     * @param handle the low 32 bits of the key's handle
     */
    public NativeObject(Pkcs11Session session, int handle) {
        this.session = session;
        this.handle = handle;
        if (session instanceof NativeSession) {
            ((NativeSession) session).keepDerivedObject(this);
        }
    }

    /**
     * Tells where the key was derived.
     *
     * @return the session
     */
    public Pkcs11Session session() {
        return session;
    }

    /**
     * Tells the key's handle.
     *
     * @return the low 32 bits of the handle, without a sign; the upper ones do not reach Java
     */
    public long handle() {
        return Integer.toUnsignedLong(handle);
    }
}
