package velnor;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.security.AlgorithmParameters;
import java.security.NoSuchAlgorithmException;
import java.security.spec.ECParameterSpec;
import java.security.spec.InvalidParameterSpecException;
import java.util.Arrays;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.OptionalInt;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import java.util.stream.Stream;

import velnor.der.Der;

/** What {@code CKA_EC_PARAMS} and {@code CKA_EC_POINT} say. */
final class Curves {
    /** The object identifiers of the curves that have keys of a type of their own, and the names for them in use. */
    private static final Map<String, String> EDWARDS = Map.of("edwards25519", "1.3.101.112", "edwards448",
            "1.3.101.113");
    private static final Map<String, String> MONTGOMERY = Map.of("curve25519", "1.3.101.110", "curve448",
            "1.3.101.111");

    /** The named curves of Weierstrass form: SEC, ANSI X9.62, Brainpool, and those of China and France. */
    private static final Set<String> KNOWN = Stream.of(
            in("1.3.132.0.", 1, 10), in("1.3.132.0.", 15, 17), in("1.3.132.0.", 22, 39),
            in("1.2.840.10045.3.0.", 1, 20), in("1.2.840.10045.3.1.", 1, 7), in("1.3.36.3.3.2.8.1.1.", 1, 14),
            Stream.of("1.2.156.10197.1.301", "1.2.250.1.223.101.256.1"))
            .flatMap(curves -> curves).map(Curves::key).collect(Collectors.toCollection(HashSet::new));

    private Curves() {
    }

    private static Stream<String> in(String arc, int from, int to) {
        return IntStream.rangeClosed(from, to).mapToObj(last -> arc + last);
    }

    private static String key(String dotted) {
        return Arrays.toString(Der.objectIdentifier(dotted));
    }

    /** Whether the parameters are those of a curve of Weierstrass form: one with a name that is known, or explicit. */
    static boolean isWeierstrass(byte[] parameters) {
        try {
            Der.Element element = Der.element(parameters);
            return element.tag() == Der.OBJECT_IDENTIFIER ? KNOWN.contains(Arrays.toString(parameters))
                    : element.tag() == Der.SEQUENCE && isExplicit(element);
        } catch (IllegalArgumentException broken) {
            return false;
        }
    }

    /** A version, a field, the curve's coefficients, a base and an order, none without content; then perhaps more. */
    private static boolean isExplicit(Der.Element parameters) {
        int[] tags = {Der.INTEGER, Der.SEQUENCE, Der.SEQUENCE, Der.OCTET_STRING, Der.INTEGER};
        List<Der.Element> elements = parameters.sequence();
        boolean sound = elements.size() >= tags.length;
        for (int i = 0; sound && i < tags.length; i++) {
            sound = elements.get(i).tag() == tags[i] && elements.get(i).content(tags[i]).length > 0;
        }
        return sound && elements.get(1).sequence().size() == 2 && elements.get(2).sequence().size() >= 2
                && elements.get(4).integer().signum() > 0;
    }

    /** The DER of the object identifier of a key type's curve; null for parameters that are none of it. */
    static byte[] ofType(int keyType, byte[] parameters) {
        Map<String, String> curves = keyType == CKK.EC_EDWARDS ? EDWARDS : MONTGOMERY;
        for (Map.Entry<String, String> curve : curves.entrySet()) {
            byte[] identifier = Der.objectIdentifier(curve.getValue());
            byte[] name = Der.encode(Der.PRINTABLE_STRING,
                    curve.getKey().getBytes(StandardCharsets.US_ASCII));
            if (Arrays.equals(parameters, identifier) || Arrays.equals(parameters, name)) {
                return identifier;
            }
        }
        return null;
    }

    /** The type of keys on the curve that an object identifier names. */
    static int keyType(byte[] identifier) {
        return ofType(CKK.EC_EDWARDS, identifier) != null ? CKK.EC_EDWARDS
                : ofType(CKK.EC_MONTGOMERY, identifier) != null ? CKK.EC_MONTGOMERY : CKK.EC;
    }

    /**
     * The point itself. Tokens give it raw, or in an {@code OCTET STRING} as the standard has it for curves of
     * Weierstrass form, or, rarely, in a {@code BIT STRING}.
     */
    static byte[] rawPoint(byte[] point, OptionalInt fieldBytes) {
        if (fieldBytes.isPresent() && point.length == 1 + 2 * fieldBytes.getAsInt() && point[0] == 4) {
            return point;
        }
        try {
            Der.Element element = Der.element(point);
            return element.tag() == Der.BIT_STRING ? element.bitString() : element.content(Der.OCTET_STRING);
        } catch (IllegalArgumentException raw) {
            return point;
        }
    }

    /** The raw point of a curve with points of 32, 56 or 57 bytes. */
    static byte[] rawShortPoint(byte[] point) {
        return point.length == 32 || point.length == 56 || point.length == 57 ? point
                : rawPoint(point, OptionalInt.empty());
    }

    /** How many bytes a coordinate has, if the JDK knows the curve. */
    static OptionalInt fieldBytes(byte[] parameters) {
        try {
            AlgorithmParameters curve = AlgorithmParameters.getInstance("EC");
            curve.init(parameters);
            int bits = curve.getParameterSpec(ECParameterSpec.class).getCurve().getField().getFieldSize();
            return OptionalInt.of((bits + 7) / 8);
        } catch (NoSuchAlgorithmException | IOException | InvalidParameterSpecException unknown) {
            return OptionalInt.empty();
        }
    }
}
