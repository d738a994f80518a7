package velnor;

/** Numbers of a module, which have 64 bits. */
final class Numbers {
    private Numbers() {
    }

    /** A number that must fit an {@code int}. */
    static int fitting(long number) {
        if (number != (int) number) {
            throw new CryptokiException("Check64BitLen", CKR.GENERAL_ERROR, "Value out of size for 32 bit (jint)");
        }
        return (int) number;
    }
}
