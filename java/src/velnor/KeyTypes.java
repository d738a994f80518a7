package velnor;

import java.util.Optional;
import java.util.OptionalInt;

import velnor.table.MechanismRow;
import velnor.table.MechanismTable;

/**
 * Whether a key is of a type that the mechanism takes. Tokens are bound to refuse any other key; some do not look, take
 * the bytes of one kind of key for those of another, and end the process (SoftHSM, NSS).
 */
final class KeyTypes {
    private KeyTypes() {
    }

    /**
     * Checks a key against a mechanism. A key that does not tell its type passes, and so does one of a vendor's type; a
     * mechanism of a vendor's takes every key.
     *
     * @throws IllegalArgumentException when the mechanism is not for keys of this type, or the key is not complete
     */
    static void check(Mechanism mechanism, TokenObject key) {
        Optional<MechanismRow> row = MechanismTable.find(mechanism.mechanism());
        if (row.isEmpty()) {
            return;
        }
        OptionalInt type = key.keyType();
        if (type.isPresent() && !isVendors(type.getAsInt()) && !row.get().takesKey(type.getAsInt())) {
            throw new IllegalArgumentException(CKM.name(mechanism.mechanism()) + " is not for a key of type "
                    + CKK.name(type.getAsInt()));
        }
        key.requireComplete();
    }

    /**
     * How many bytes the token may be given at once. Tokens are bound to refuse more, and SoftHSM ends the process.
     */
    static int mostInput(Mechanism mechanism, TokenObject key) {
        return mechanism.mechanism() == CKM.RSA_X_509
                ? key.modulusLength().orElse(Integer.MAX_VALUE) : Integer.MAX_VALUE;
    }

    private static boolean isVendors(int type) {
        return (type & CKK.VENDOR_DEFINED) != 0;
    }
}
