package velnor.jca;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import velnor.Attribute;
import velnor.CKA;

/** What a new key is good for: everything that the operations of Java do with a key of its kind. */
final class Uses {
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
