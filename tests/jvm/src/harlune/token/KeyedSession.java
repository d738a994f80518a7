package harlune.token;

import static harlune.support.Ck.*;

import harlune.support.TokenSession;

import velnor.nat.NativeSession;

/** A session in which keys of known value can be had, so that the JDK can check what the token does. */
abstract class KeyedSession extends TokenSession {
    /** A session key that may be read and used for everything. */
    final long secretKey(int keyType, byte[] value) {
        return session.J_CreateObject(SecretKeys.template(keyType, value));
    }

    final byte[] valueOf(long key) {
        return session.J_GetAttributeValue(key, CKA_VALUE).bytesValue();
    }

    /** Another session with the same token; it ends with the test like the first one. */
    static NativeSession anotherSession() {
        return slot.J_OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION);
    }
}
