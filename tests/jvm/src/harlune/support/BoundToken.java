package harlune.support;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;

import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSlot;

/** For tests that work with the module of a real token through the native methods. */
public abstract class BoundToken {
    protected static NativeCryptoki cryptoki;
    protected static NativeSlot slot;

    @BeforeAll
    static void bind() {
        cryptoki = Bridge.initialize(Tokens.MODULE);
        slot = Tokens.slot(cryptoki, Tokens.LABEL);
    }

    @AfterAll
    static void release() {
        cryptoki.Finalize(null);
    }
}
