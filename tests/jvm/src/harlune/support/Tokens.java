package harlune.support;

import static org.junit.jupiter.api.Assertions.fail;

import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSlot;

/** The tokens that a script of tests/tokens has made for this JVM. */
public final class Tokens {
    public static final String MODULE = environment("P11_MODULE");
    public static final String LABEL = environment("TOKEN_LABEL");
    /** Null where there is but one token. */
    public static final String OTHER_LABEL = System.getenv("OTHER_TOKEN_LABEL");
    public static final String PIN = environment("TOKEN_PIN");
    public static final String SO_PIN = environment("TOKEN_SO_PIN");
    /** What the module wants to be told when it is initialised; null for most. */
    public static final String RESERVED = System.getenv("TOKEN_RESERVED_TEXT");

    private Tokens() {
    }

    private static String environment(String name) {
        String value = System.getenv(name);
        return value != null ? value : fail(name + " is not set; a script of tests/tokens sets it");
    }

    /** The slot of the token that has the label. */
    public static NativeSlot slot(NativeCryptoki cryptoki, String label) {
        for (NativeSlot slot : cryptoki.GetSlotList(true)) {
            if (slot.J_GetTokenInfo().label().equals(label)) {
                return slot;
            }
        }
        return fail("No token has the label " + label);
    }
}
