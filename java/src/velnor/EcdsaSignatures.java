package velnor;

import java.math.BigInteger;
import java.util.List;
import java.util.Objects;

import velnor.der.Der;

/**
 * The two forms of an ECDSA or DSA signature: r and s side by side, each as long as the order of the group, which is
 * how tokens make and take them, and the DER that X.509, TLS, CMS and {@link java.security.Signature} use.
 */
public final class EcdsaSignatures {
    private EcdsaSignatures() {
    }

    /**
     * Makes DER of what a token gives.
     *
     * @param signature r and s, of the same length
     * @return the {@code SEQUENCE} of the two
     * @throws IllegalArgumentException when the two cannot have the same length
     */
    public static byte[] toDer(byte[] signature) {
        Objects.requireNonNull(signature, "signature");
        if (signature.length == 0 || signature.length % 2 != 0) {
            throw new IllegalArgumentException("r and s are of the same length, so " + signature.length
                    + " bytes are not a signature as a token makes it");
        }
        int length = signature.length / 2;
        return Der.sequence(Der.integer(new BigInteger(1, signature, 0, length)),
                Der.integer(new BigInteger(1, signature, length, length)));
    }

    /**
     * Makes what a token takes of DER.
     *
     * @param der the {@code SEQUENCE} of r and s
     * @param length the length of the order of the group in bytes: 32 for P-256, 48 for P-384, 66 for P-521
     * @return r and s, each of that length
     * @throws IllegalArgumentException when it is no such DER, or a number is negative or longer
     */
    public static byte[] fromDer(byte[] der, int length) {
        Objects.requireNonNull(der, "der");
        if (length < 1) {
            throw new IllegalArgumentException("The order of a group has at least one byte, not " + length);
        }
        List<Der.Element> numbers = Der.element(der).sequence();
        if (numbers.size() != 2) {
            throw new IllegalArgumentException("A signature has two numbers, not " + numbers.size());
        }
        byte[] signature = new byte[Math.multiplyExact(2, length)];
        for (int i = 0; i < 2; i++) {
            byte[] number = Der.unsigned(numbers.get(i).integer());
            if (number.length > length) {
                throw new IllegalArgumentException("A number of the signature has " + number.length
                        + " bytes, more than the order of the group");
            }
            System.arraycopy(number, 0, signature, (i + 1) * length - number.length, number.length);
        }
        return signature;
    }
}
