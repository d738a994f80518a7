package velnor.cli;

import java.util.Locale;
import java.util.Set;

import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.TokenObject;

/** What is done with a key. */
enum Operation {
    SIGN(CKO.PRIVATE_KEY, CKA.SIGN),
    VERIFY(CKO.PUBLIC_KEY, CKA.VERIFY),
    ENCRYPT(CKO.PUBLIC_KEY, CKA.ENCRYPT),
    DECRYPT(CKO.PRIVATE_KEY, CKA.DECRYPT);

    private static final Set<Integer> NO_CIPHER = Set.of(CKK.EC, CKK.DSA, CKK.DH, CKK.X9_42_DH, CKK.GENERIC_SECRET,
            CKK.MD5_HMAC, CKK.SHA_1_HMAC, CKK.RIPEMD128_HMAC, CKK.RIPEMD160_HMAC, CKK.SHA224_HMAC, CKK.SHA256_HMAC,
            CKK.SHA384_HMAC, CKK.SHA512_HMAC);

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
        if (!signature && NO_CIPHER.contains(keyType)) {
            throw Failure.usage("a key of type " + CKK.name(keyType) + " does not " + name().toLowerCase(Locale.ROOT));
        }
        Integer usual = signature ? usualSignature(keyType) : usualCipher(keyType);
        if (usual == null) {
            throw Failure.usage("with a key of type " + CKK.name(keyType) + " say how, with --mechanism");
        }
        return usual;
    }

    private static Integer usualSignature(int keyType) {
        switch (keyType) {
        case CKK.RSA:
            return CKM.SHA256_RSA_PKCS;
        case CKK.EC:
            return CKM.ECDSA_SHA256;
        case CKK.GENERIC_SECRET:
        case CKK.SHA256_HMAC:
            return CKM.SHA256_HMAC;
        case CKK.AES:
            return CKM.AES_CMAC;
        case CKK.DES3:
            return CKM.DES3_CMAC;
        default:
            return null;
        }
    }

    /** Not AES: without its chaining modes there is none that nobody could be sorry for. */
    private static Integer usualCipher(int keyType) {
        switch (keyType) {
        case CKK.RSA:
            return CKM.RSA_PKCS_OAEP;
        case CKK.DES3:
            return CKM.DES3_CBC_PAD;
        default:
            return null;
        }
    }
}
