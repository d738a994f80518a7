package velnor.cli;

import java.util.List;
import java.util.Locale;
import java.util.stream.Collectors;

import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.TokenObject;
import velnor.table.MechanismRow;
import velnor.table.MechanismTable;
import velnor.table.UsualMechanisms;

/** What is done with a key. */
enum Operation {
    SIGN(CKO.PRIVATE_KEY, CKA.SIGN),
    VERIFY(CKO.PUBLIC_KEY, CKA.VERIFY),
    ENCRYPT(CKO.PUBLIC_KEY, CKA.ENCRYPT),
    DECRYPT(CKO.PRIVATE_KEY, CKA.DECRYPT);

    private final int half;
    private final int permission;

    Operation(int half, int permission) {
        this.half = half;
        this.permission = permission;
    }

    /** The classes of the keys that can do it: one half of a pair, or a secret key. */
    int[] keyClasses() {
        return new int[] {half, CKO.SECRET_KEY};
    }

    /** Whether the key itself says that it is not meant for this. */
    boolean isForbidden(TokenObject key) {
        return Boolean.FALSE.equals(key.attributes(permission).get(0).value());
    }

    /** What most people mean who have such a key. */
    int usualMechanism(int keyType) {
        boolean signature = this == SIGN || this == VERIFY;
        if (!signature && doesNotEncrypt(keyType)) {
            throw Failure.usage("a key of type " + CKK.name(keyType) + " does not " + name().toLowerCase(Locale.ROOT));
        }
        UsualMechanisms usual = MechanismTable.usual(keyType);
        return (signature ? usual.signature() : usual.cipher()).orElseThrow(() -> Failure
                .usage("with a key of type " + CKK.name(keyType) + " say how, with --mechanism"));
    }

    /** CKM_NULL, which leaves everything as it is, is no cipher. */
    private static boolean doesNotEncrypt(int keyType) {
        List<MechanismRow> itsOwn = MechanismTable.rows().stream()
                .filter(row -> row.keyTypes().contains(keyType) && row.mechanism() != CKM.NULL)
                .collect(Collectors.toList());
        return !itsOwn.isEmpty() && itsOwn.stream().noneMatch(row -> row.uses().contains(MechanismRow.Use.ENCRYPT));
    }
}
