/**
 * PKCS#11 tokens (smart cards, USB tokens, hardware security modules) for Java programs, through the native library
 * {@code libharlune.so}.
 */
module velnor {
    // Only the command line needs these.
    requires static info.picocli;
    requires static com.google.gson;

    exports velnor;
    exports velnor.jca;
    exports velnor.nat;
    exports velnor.params;
    exports quadrel;

    opens velnor.cli to info.picocli;

    provides java.security.Provider with velnor.jca.HarluneProvider;
}
