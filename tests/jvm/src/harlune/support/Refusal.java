package harlune.support;

import static org.junit.jupiter.api.Assertions.assertAll;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import org.junit.jupiter.api.function.Executable;

import velnor.CryptokiException;

/** What a failing call must tell. */
public final class Refusal {
    /** Descriptions of return values fill a field of this width. */
    private static final int DESCRIPTION_WIDTH = 34;

    private Refusal() {
    }

    /** The call must fail with this return value, described by this text and padded as Java has always got it. */
    public static void assertRefused(String function, int code, String description, Executable call) {
        assertTells(function, code, String.format("%-" + DESCRIPTION_WIDTH + "s", description), call);
    }

    /** The call must fail with a text of the native library's own. */
    public static void assertText(String function, String text, Executable call) {
        assertTells(function, Ck.CKR_GENERAL_ERROR, text, call);
    }

    private static void assertTells(String function, int code, String rawText, Executable call) {
        CryptokiException exception = assertThrows(CryptokiException.class, call);
        assertAll(
                () -> assertEquals(function, exception.functionName()),
                () -> assertEquals(code, exception.code()),
                () -> assertEquals(rawText, exception.rawText()));
    }
}
