package velnor;

import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.PublicKey;
import java.security.spec.X509EncodedKeySpec;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

import velnor.Attribute.Availability;
import velnor.der.Der;

/** Public keys of the JDK, made of what a token tells of a key. */
final class PublicKeys {
    /** What is to be read of the key. */
    static final long[] TYPES = {CKA.CLASS, CKA.KEY_TYPE, CKA.MODULUS, CKA.PUBLIC_EXPONENT, CKA.EC_PARAMS, CKA.EC_POINT,
            CKA.PRIME, CKA.SUBPRIME, CKA.BASE, CKA.PUBLIC_KEY_INFO};

    private static final byte[] RSA = Der.objectIdentifier("1.2.840.113549.1.1.1");
    private static final byte[] DSA = Der.objectIdentifier("1.2.840.10040.4.1");
    private static final byte[] DH = Der.objectIdentifier("1.2.840.113549.1.3.1");
    private static final byte[] EC = Der.objectIdentifier("1.2.840.10045.2.1");

    private static final List<Map.Entry<byte[], String>> ALGORITHMS = List.of(Map.entry(RSA, "RSA"),
            Map.entry(DSA, "DSA"), Map.entry(DH, "DH"), Map.entry(EC, "EC"),
            Map.entry(Der.objectIdentifier("1.3.101.112"), "EdDSA"),
            Map.entry(Der.objectIdentifier("1.3.101.113"), "EdDSA"),
            Map.entry(Der.objectIdentifier("1.3.101.110"), "XDH"),
            Map.entry(Der.objectIdentifier("1.3.101.111"), "XDH"));

    private final Map<Integer, Attribute> attributes = new HashMap<>();

    private PublicKeys(List<Attribute> attributes) {
        attributes.forEach(attribute -> this.attributes.put(attribute.type(), attribute));
    }

    /** The key; null when what was read is not enough. */
    static PublicKey of(List<Attribute> attributes) {
        PublicKeys key = new PublicKeys(attributes);
        byte[] encoded = key.encoded();
        if (encoded == null) {
            encoded = key.bytes(CKA.PUBLIC_KEY_INFO);
        }
        return encoded == null ? null : decoded(encoded);
    }

    private static PublicKey decoded(byte[] encoded) {
        try {
            byte[] identifier = Der.element(encoded).sequence().get(0).sequence().get(0).encoded();
            for (Map.Entry<byte[], String> algorithm : ALGORITHMS) {
                if (Arrays.equals(algorithm.getKey(), identifier)) {
                    return KeyFactory.getInstance(algorithm.getValue()).generatePublic(new X509EncodedKeySpec(encoded));
                }
            }
        } catch (GeneralSecurityException | IllegalArgumentException | IndexOutOfBoundsException e) {
            throw new UnsupportedOperationException("The JDK cannot make a key of what the token tells", e);
        }
        throw new UnsupportedOperationException("The JDK has no keys of this kind");
    }

    /** The key as a {@code SubjectPublicKeyInfo}; null when something is missing. */
    private byte[] encoded() {
        Attribute type = attributes.get(CKA.KEY_TYPE);
        if (type == null || !(type.value() instanceof Integer)) {
            return null;
        }
        switch (type.intValue()) {
            case CKK.RSA:
                return has(CKA.MODULUS, CKA.PUBLIC_EXPONENT) ? info(RSA, Der.encode(Der.NULL),
                        Der.sequence(integer(CKA.MODULUS), integer(CKA.PUBLIC_EXPONENT))) : null;
            case CKK.DSA:
                return has(CKA.PRIME, CKA.SUBPRIME, CKA.BASE, CKA.VALUE) ? info(DSA,
                        Der.sequence(integer(CKA.PRIME), integer(CKA.SUBPRIME), integer(CKA.BASE)),
                        integer(CKA.VALUE)) : null;
            case CKK.DH:
            case CKK.X9_42_DH:
                return has(CKA.PRIME, CKA.BASE, CKA.VALUE) ? info(DH,
                        Der.sequence(integer(CKA.PRIME), integer(CKA.BASE)), integer(CKA.VALUE)) : null;
            case CKK.EC:
                return has(CKA.EC_PARAMS, CKA.EC_POINT) ? info(EC, bytes(CKA.EC_PARAMS),
                        Curves.rawPoint(bytes(CKA.EC_POINT), Curves.fieldBytes(bytes(CKA.EC_PARAMS)))) : null;
            case CKK.EC_EDWARDS:
            case CKK.EC_MONTGOMERY:
                byte[] curve = has(CKA.EC_PARAMS, CKA.EC_POINT) ? Curves.ofType(type.intValue(), bytes(CKA.EC_PARAMS))
                        : null;
                return curve == null ? null
                        : info(curve, new byte[0], Curves.rawShortPoint(bytes(CKA.EC_POINT)));
            default:
                return null;
        }
    }

    private static byte[] info(byte[] algorithm, byte[] parameters, byte[] key) {
        return Der.sequence(Der.sequence(algorithm, parameters), Der.bitString(key));
    }

    private boolean has(int... types) {
        return Arrays.stream(types).allMatch(type -> bytes(type) != null);
    }

    /** The value; null when the token gave none, or one of no bytes. */
    private byte[] bytes(int type) {
        Attribute attribute = attributes.get(type);
        return attribute == null || attribute.availability() != Availability.PRESENT ? null : attribute.bytesValue();
    }

    private byte[] integer(int type) {
        return Der.integer(attributes.get(type).bigIntegerValue());
    }
}
