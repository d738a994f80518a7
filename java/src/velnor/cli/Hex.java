package velnor.cli;

import java.math.BigInteger;
import java.util.Locale;

import picocli.CommandLine.TypeConversionException;

/** Bytes that the command line gives as hexadecimal digits, and how bytes are shown as such. */
final class Hex {
    private final byte[] bytes;

    private Hex(byte[] bytes) {
        this.bytes = bytes;
    }

    byte[] bytes() {
        return bytes.clone();
    }

    static String of(byte[] bytes) {
        StringBuilder digits = new StringBuilder(2 * bytes.length);
        for (byte b : bytes) {
            digits.append(Character.forDigit(b >> 4 & 0xF, 16)).append(Character.forDigit(b & 0xF, 16));
        }
        return digits.toString();
    }

    /** Reads digits as people write them: with blanks or colons between the bytes, in either case. */
    static Hex parse(String text) {
        String digits = text.replaceAll("[\\s:]", "").toLowerCase(Locale.ROOT);
        if (!digits.matches("([0-9a-f]{2})*")) {
            throw new TypeConversionException("these are no hexadecimal digits, two for each byte");
        }
        byte[] bytes = new byte[digits.length() / 2];
        for (int i = 0; i < bytes.length; i++) {
            bytes[i] = (byte) Integer.parseInt(digits.substring(2 * i, 2 * i + 2), 16);
        }
        return new Hex(bytes);
    }

    static String of(long number) {
        return "0x" + new BigInteger(Long.toUnsignedString(number)).toString(16);
    }
}
