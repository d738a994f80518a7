package velnor;

/** Texts of fixed width, as PKCS#11 pads them. */
final class Texts {
    private Texts() {
    }

    /** The text without what pads it at its end: blanks by the standard, zeroes by some modules. */
    static String trim(String padded) {
        if (padded == null) {
            return "";
        }
        int end = padded.length();
        while (end > 0 && padded.charAt(end - 1) <= ' ') {
            end--;
        }
        return padded.substring(0, end);
    }

    static String hex(int value) {
        return "0x" + Integer.toHexString(value).toUpperCase(java.util.Locale.ROOT);
    }

    static String hex(long value) {
        return "0x" + Long.toHexString(value).toUpperCase(java.util.Locale.ROOT);
    }
}
