package harlune.token;

import static harlune.support.Ck.*;

import harlune.support.TokenSession;

import velnor.Attribute;
import velnor.nat.NativeSession;

/** A session in which keys of known value can be had, so that the JDK can check what the token does. */
abstract class KeyedSession extends TokenSession {
    /** A session key that may be read and used for everything. */
    final long secretKey(int keyType, byte[] value) {
        return session.J_CreateObject(new Attribute[] {
            new Attribute(CKA_CLASS, CKO_SECRET_KEY),
            new Attribute(CKA_KEY_TYPE, keyType),
            new Attribute(CKA_TOKEN, false),
            new Attribute(CKA_SENSITIVE, false),
            new Attribute(CKA_EXTRACTABLE, true),
            new Attribute(CKA_ENCRYPT, true),
            new Attribute(CKA_DECRYPT, true),
            new Attribute(CKA_SIGN, true),
            new Attribute(CKA_VERIFY, true),
            new Attribute(CKA_WRAP, true),
            new Attribute(CKA_UNWRAP, true),
            new Attribute(CKA_DERIVE, true),
            new Attribute(CKA_VALUE, value),
        });
    }

    final byte[] valueOf(long key) {
        return session.J_GetAttributeValue(key, CKA_VALUE).bytesValue();
    }

    /** Another session with the same token; it ends with the test like the first one. */
    static NativeSession anotherSession() {
        return slot.J_OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION);
    }
}
