package velnor;

import java.nio.charset.StandardCharsets;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

/** What a module answers, as exceptions. */
final class Answers {
    private static final int TEXT_BYTES = 64;

    private Answers() {
    }

    /** The answer must be {@code CKR_OK}. */
    static void require(Function function, int answer) {
        if (answer != CKR.OK) {
            throw failure(function, answer);
        }
    }

    /** The result must be a length, a count or an id, and no failure. */
    static long require(Function function, long result) {
        if (result < 0) {
            throw failure(function, NativeFunctions.answer(result));
        }
        return result;
    }

    /** The exception for an answer, under the name that the function has had in exceptions from the beginning. */
    static CryptokiException failure(Function function, int answer) {
        return new CryptokiException(name(function), answer, description(answer));
    }

    /** The exception for what a module cannot mean. */
    static CryptokiException nonsense(Function function, String text) {
        return new CryptokiException(name(function), CKR.GENERAL_ERROR, text);
    }

    private static String name(Function function) {
        return "J_" + function.standardName().substring("C_".length());
    }

    /** What an answer means, with its padding. */
    static String description(int answer) {
        byte[] text = new byte[TEXT_BYTES];
        int length = Math.min(NativeFunctions.description(answer, text), text.length);
        return new String(text, 0, length, StandardCharsets.US_ASCII);
    }
}
