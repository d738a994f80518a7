package harlune.support;

import velnor.nat.NativeCryptoki;

/** The native library under test, loaded once into this JVM. */
public final class Bridge {
    static {
        System.load(System.getProperty("harlune.library"));
    }

    private Bridge() {
    }

    /** Loads the library and no module. */
    public static NativeCryptoki load() {
        return new NativeCryptoki();
    }

    /** Loads the library, binds the module and initialises it. */
    public static NativeCryptoki initialize(String module) {
        NativeCryptoki cryptoki = load();
        NativeCryptoki.loadCryptokiLibrary(module);
        cryptoki.Initialize(null);
        return cryptoki;
    }
}
