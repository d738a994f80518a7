package velnor.cli;

import java.util.Locale;

/** Numbers of the command line. */
final class Numbers {
    private Numbers() {
    }

    /** Reads 32 bits, decimal or hexadecimal. */
    static int code(String text, String option) {
        String digits = text.toLowerCase(Locale.ROOT);
        try {
            return digits.startsWith("0x") ? Integer.parseUnsignedInt(digits.substring(2), 16)
                    : Integer.parseUnsignedInt(digits);
        } catch (NumberFormatException e) {
            throw Failure.usage(option + " takes a number, decimal or 0x..., of at most 32 bits");
        }
    }

    /** Reads 64 bits, decimal or hexadecimal. */
    static long identifier(String text, String option) {
        String digits = text.toLowerCase(Locale.ROOT);
        try {
            return digits.startsWith("0x") ? Long.parseUnsignedLong(digits.substring(2), 16)
                    : Long.parseUnsignedLong(digits);
        } catch (NumberFormatException e) {
            throw Failure.usage(option + " takes a number, decimal or 0x..., of at most 64 bits");
        }
    }
}
