package velnor;

import java.util.Arrays;

import velnor.nat.NativeObject;
import velnor.nat.NativeSession;

/** Finds the key that was just derived, of whose handle the native library tells the low 32 bits. */
final class DerivedKeys {
    private static final long LOW_BITS = 0xFFFFFFFFL;

    private DerivedKeys() {
    }

    /** The whole handle. A module whose base key fits 32 bits is taken to have narrow handles, if it knows this one. */
    static long handle(NativeSession nat, long base) {
        NativeObject derived = nat.takeDerivedObject();
        if (derived == null) {
            throw lost("the native library does not tell its handle", null);
        }
        long low = derived.handle();
        return base == (base & LOW_BITS) && isKnown(nat, low) ? low : find(nat, low);
    }

    private static boolean isKnown(NativeSession nat, long handle) {
        try {
            nat.J_GetAttributeValue(handle, CKA.CLASS);
            return true;
        } catch (CryptokiException e) {
            return e.code() != CKR.OBJECT_HANDLE_INVALID;
        }
    }

    private static long find(NativeSession nat, long low) {
        long[] all;
        try {
            all = nat.J_FindObjects(new Attribute[0]);
        } catch (CryptokiException e) {
            throw lost("the token does not list its objects", e);
        }
        long[] found = all == null ? new long[0]
                : Arrays.stream(all).filter(handle -> (handle & LOW_BITS) == low).toArray();
        if (found.length != 1) {
            throw lost(found.length + " objects have a handle that ends in the 32 bits that are known of its", null);
        }
        return found[0];
    }

    private static CryptokiException lost(String reason, CryptokiException cause) {
        CryptokiException lost = new CryptokiException("J_DeriveKey", CKR.GENERAL_ERROR,
                "the key was derived but cannot be told from others: " + reason);
        lost.initCause(cause);
        return lost;
    }
}
