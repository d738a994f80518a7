package velnor;

import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;

import velnor.Attribute.Availability;

/**
 * What no key of a class and type is without. Tokens are bound to look; some create what is incomplete, or keep what
 * they refused to create, and end the process when it is used (SoftHSM, NSS).
 */
final class CompleteKeys {
    private static final Map<List<Integer>, int[]> REQUIRED = new HashMap<>();

    static {
        require(CKO.PUBLIC_KEY, CKK.RSA, CKA.MODULUS, CKA.PUBLIC_EXPONENT);
        require(CKO.PRIVATE_KEY, CKK.RSA, CKA.MODULUS, CKA.PUBLIC_EXPONENT, CKA.PRIVATE_EXPONENT);
        for (int type : new int[] {CKK.EC, CKK.EC_EDWARDS, CKK.EC_MONTGOMERY}) {
            require(CKO.PUBLIC_KEY, type, CKA.EC_PARAMS, CKA.EC_POINT);
            require(CKO.PRIVATE_KEY, type, CKA.EC_PARAMS, CKA.VALUE);
        }
        for (int keyClass : new int[] {CKO.PUBLIC_KEY, CKO.PRIVATE_KEY}) {
            require(keyClass, CKK.DSA, CKA.PRIME, CKA.SUBPRIME, CKA.BASE, CKA.VALUE);
            require(keyClass, CKK.DH, CKA.PRIME, CKA.BASE, CKA.VALUE);
            require(keyClass, CKK.X9_42_DH, CKA.PRIME, CKA.BASE, CKA.SUBPRIME, CKA.VALUE);
        }
        for (int type : new int[] {CKK.GENERIC_SECRET, CKK.AES, CKK.DES, CKK.DES2, CKK.DES3, CKK.CHACHA20}) {
            require(CKO.SECRET_KEY, type, CKA.VALUE);
        }
    }

    private CompleteKeys() {
    }

    private static void require(int keyClass, int keyType, int... types) {
        REQUIRED.put(List.of(keyClass, keyType), types);
    }

    /**
     * Checks a template that a key is to be created of. One without a class or type is the token's to judge, as is a
     * key of the vendor's.
     *
     * @throws IllegalArgumentException when the key would not be complete
     */
    static void checkTemplate(Attribute... template) {
        check(true, template);
    }

    /**
     * Checks a template that a key is to be unwrapped or derived with, which says a part of what the key is to be.
     *
     * @throws IllegalArgumentException when the key would not be complete
     */
    static void checkParts(Attribute... template) {
        check(false, template);
    }

    private static void check(boolean whole, Attribute... template) {
        Map<Integer, Attribute> given = new HashMap<>();
        for (Attribute attribute : template) {
            given.put(attribute.type(), attribute);
        }
        int[] required = required(number(given, CKA.CLASS), number(given, CKA.KEY_TYPE));
        for (int type : required) {
            Attribute attribute = given.get(type);
            if (attribute == null ? whole : attribute.availability() != Availability.PRESENT) {
                throw new IllegalArgumentException("The key to be created is not complete: " + CKA.name(type) + " is "
                        + (attribute == null ? "missing" : "empty"));
            }
        }
        if (required.length > 0) {
            int keyType = number(given, CKA.KEY_TYPE);
            given.values().removeIf(attribute -> attribute.availability() != Availability.PRESENT);
            checkValues("The key to be created", keyType, given);
        }
    }

    /** What of a key on a token is to be read for {@link #checkRead}: nothing secret. */
    static long[] toBeRead(int keyClass, int keyType) {
        return Arrays.stream(required(keyClass, keyType))
                .filter(type -> type != CKA.PRIVATE_EXPONENT && (type != CKA.VALUE || keyClass == CKO.PUBLIC_KEY))
                .mapToLong(type -> type).toArray();
    }

    /** What is secret of a key on a token: its length alone is asked for. */
    static long[] secrets(int keyClass, int keyType) {
        long[] read = toBeRead(keyClass, keyType);
        return Arrays.stream(required(keyClass, keyType)).mapToLong(type -> type)
                .filter(type -> Arrays.stream(read).noneMatch(other -> other == type)).toArray();
    }

    /**
     * Checks what a token shows of a key; what it does not show may be sound.
     *
     * @throws IllegalArgumentException when the key is not complete
     */
    static void checkRead(Object key, int keyType, List<Attribute> read) {
        Map<Integer, Attribute> shown = new HashMap<>();
        for (Attribute attribute : read) {
            if (attribute.availability() == Availability.EMPTY) {
                throw new IllegalArgumentException(key + " is not complete: it has no " + CKA.name(attribute.type()));
            }
            if (attribute.availability() == Availability.PRESENT) {
                shown.put(attribute.type(), attribute);
            }
        }
        checkValues(key, keyType, shown);
    }

    private static void checkValues(Object key, int keyType, Map<Integer, Attribute> attributes) {
        for (int type : new int[] {CKA.MODULUS, CKA.PUBLIC_EXPONENT, CKA.PRIME, CKA.SUBPRIME, CKA.BASE}) {
            Attribute number = attributes.get(type);
            if (number != null && isZero(number)) {
                throw new IllegalArgumentException(key + " is not complete: its " + CKA.name(type) + " is zero");
            }
        }
        Attribute parameters = attributes.get(CKA.EC_PARAMS);
        if (parameters != null && (keyType == CKK.EC ? !Curves.isWeierstrass(parameters.uncopiedBytes())
                : Curves.ofType(keyType, parameters.uncopiedBytes()) == null)) {
            throw new IllegalArgumentException(key + " has CKA_EC_PARAMS of no curve that is known for "
                    + CKK.name(keyType) + ": a named curve, such as P-256, is");
        }
    }

    private static boolean isZero(Attribute number) {
        for (byte b : Objects.requireNonNull(number.uncopiedBytes())) {
            if (b != 0) {
                return false;
            }
        }
        return true;
    }

    private static int[] required(int keyClass, int keyType) {
        return REQUIRED.getOrDefault(List.of(keyClass, keyType), new int[0]);
    }

    private static int number(Map<Integer, Attribute> attributes, int type) {
        Attribute attribute = attributes.get(type);
        return attribute != null && attribute.uncopiedValue() instanceof Long ? attribute.intValue() : -1;
    }
}
