package harlune.token;

import static harlune.support.Ck.*;

import velnor.Attribute;

/** Secret keys of known value. */
public final class SecretKeys {
    private SecretKeys() {
    }

    /** A session key that may be read and used for everything. */
    public static Attribute[] template(int keyType, byte[] value) {
        return new Attribute[] {
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
        };
    }
}
