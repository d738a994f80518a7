package velnor.jca;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import velnor.Attribute;
import velnor.CKA;

/** What a new key is good for: everything that the operations of Java do with a key of its kind. */
final class Uses {
    /** A key that lives in the token's memory and never leaves it. */
    static final List<Attribute> KEPT_INSIDE = List.of(new Attribute(CKA.TOKEN, false),
            new Attribute(CKA.PRIVATE, true),
            new Attribute(CKA.SENSITIVE, true), new Attribute(CKA.EXTRACTABLE, false));

    private Uses() {
    }

    private static List<Attribute> all(int... types) {
        List<Attribute> uses = new ArrayList<>();
        Arrays.stream(types).forEach(type -> uses.add(new Attribute(type, true)));
        return uses;
    }

    static List<Attribute> ofPrivateKey(String algorithm) {
        switch (algorithm) {
            case "RSA":
                return all(CKA.SIGN, CKA.DECRYPT, CKA.UNWRAP);
            case "EC":
                return all(CKA.SIGN, CKA.DERIVE);
            case "DH":
            case "XDH":
            case "X25519":
            case "X448":
                return all(CKA.DERIVE);
            default:
                return all(CKA.SIGN);
        }
    }

    static List<Attribute> ofSecretKey(String algorithm) {
        return algorithm.equals("AES") ? all(CKA.ENCRYPT, CKA.DECRYPT, CKA.WRAP, CKA.UNWRAP)
                : all(CKA.SIGN, CKA.VERIFY);
    }

    static List<Attribute> ofPublicKey(String algorithm) {
        switch (algorithm) {
            case "RSA":
                return all(CKA.VERIFY, CKA.ENCRYPT, CKA.WRAP);
            case "DH":
            case "XDH":
            case "X25519":
            case "X448":
                return all();
            default:
                return all(CKA.VERIFY);
        }
    }
}
