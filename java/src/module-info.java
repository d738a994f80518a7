/**
 * PKCS#11 tokens (smart cards, USB tokens, hardware security modules) for Java programs, through the native library
 * {@code libharlune.so}.
 */
module velnor {
    exports velnor;
    exports velnor.nat;
    exports velnor.params;
    exports quadrel;
}
