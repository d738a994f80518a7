package velnor.cli;

import java.util.Locale;

/** Numbers of the command line. */
final class Numbers {
    private Numbers() {
    }

    /** Reads 32 bits, decimal or hexadecimal. */
    static int code(String text, String option) {
        return (int) read(text, option, Integer.SIZE);
    }

    /** Reads 64 bits, decimal or hexadecimal. */
    static long identifier(String text, String option) {
        return read(text, option, Long.SIZE);
    }

    private static long read(String text, String option, int bits) {
        String digits = text.toLowerCase(Locale.ROOT);
        try {
            long number = digits.startsWith("0x") ? Long.parseUnsignedLong(digits.substring(2), 16)
                    : Long.parseUnsignedLong(digits);
            if (Long.SIZE - Long.numberOfLeadingZeros(number) <= bits) {
                return number;
            }
        } catch (NumberFormatException notANumber) {
            // The same as one that is too large.
        }
        throw Failure.usage(option + " takes a number, decimal or 0x..., of at most " + bits + " bits");
    }
}
