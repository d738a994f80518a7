package velnor.cli;

import java.io.ByteArrayOutputStream;
import java.math.BigInteger;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.Map;

/** Elliptic curves by the names that people know them by; PKCS#11 wants the object identifier. */
final class Curve {
    private static final Map<String, String> OIDS = new LinkedHashMap<>();

    static {
        OIDS.put("P-256", "1.2.840.10045.3.1.7");
        OIDS.put("P-384", "1.3.132.0.34");
        OIDS.put("P-521", "1.3.132.0.35");
        OIDS.put("P-224", "1.3.132.0.33");
        OIDS.put("P-192", "1.2.840.10045.3.1.1");
        OIDS.put("secp256k1", "1.3.132.0.10");
        OIDS.put("brainpoolP256r1", "1.3.36.3.3.2.8.1.1.7");
        OIDS.put("brainpoolP384r1", "1.3.36.3.3.2.8.1.1.11");
        OIDS.put("brainpoolP512r1", "1.3.36.3.3.2.8.1.1.13");
    }

    private static final Map<String, String> OTHER_NAMES = Map.of("secp256r1", "P-256", "prime256v1", "P-256",
            "secp384r1", "P-384", "secp521r1", "P-521", "secp224r1", "P-224", "secp192r1", "P-192");

    private static final int TAG_OBJECT_IDENTIFIER = 6;

    private Curve() {
    }

    /** The value of CKA_EC_PARAMS for a curve, given by a name or an object identifier. */
    static byte[] parameters(String curve) {
        String wanted = name(curve);
        for (Map.Entry<String, String> known : OIDS.entrySet()) {
            if (known.getKey().equalsIgnoreCase(wanted)) {
                return der(known.getValue());
            }
        }
        if (curve.matches("[012](\\.(0|[1-9]\\d{0,8})){2,12}")) {
            return der(curve);
        }
        throw Failure.usage("there is no curve " + curve + " here; there are " + String.join(", ", OIDS.keySet())
                + ", and all others by their object identifier");
    }

    private static String name(String curve) {
        return OTHER_NAMES.entrySet().stream().filter(other -> other.getKey().equalsIgnoreCase(curve))
                .map(Map.Entry::getValue).findFirst().orElse(curve);
    }

    private static byte[] der(String oid) {
        long[] arcs = Arrays.stream(oid.split("\\.")).mapToLong(Long::parseLong).toArray();
        ByteArrayOutputStream content = new ByteArrayOutputStream();
        base128(content, arcs[0] * 40 + arcs[1]);
        for (int i = 2; i < arcs.length; i++) {
            base128(content, arcs[i]);
        }
        ByteArrayOutputStream der = new ByteArrayOutputStream();
        der.write(TAG_OBJECT_IDENTIFIER);
        der.write(content.size());
        der.writeBytes(content.toByteArray());
        return der.toByteArray();
    }

    private static void base128(ByteArrayOutputStream out, long number) {
        int digits = Math.max(1, (BigInteger.valueOf(number).bitLength() + 6) / 7);
        for (int i = digits - 1; i >= 0; i--) {
            out.write((int) (number >> 7 * i & 0x7F) | (i > 0 ? 0x80 : 0));
        }
    }
}
