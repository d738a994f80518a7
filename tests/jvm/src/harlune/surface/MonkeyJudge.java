package harlune.surface;

import java.nio.BufferOverflowException;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.function.Predicate;

import velnor.CKR;
import velnor.CryptokiException;

/** Says what is wrong with the outcome of a call. */
final class MonkeyJudge {
    /** An answer that need not be told as an exception, in calls of these methods. */
    record Tolerated(String methods, String functions, String codes, Predicate<Object> result, String reason) {
        boolean covers(MonkeyCall call, MonkeyCall.Answer answer) {
            return call.entry.name().matches(methods) && answer.function().matches(functions)
                    && answer.code().matches(codes) && result.test(call.result);
        }
    }

    /** Another exception that a method may throw. */
    record Documented(String methods, Class<? extends Throwable> exception, String reason) {
    }

    private static final Predicate<Object> ANY = result -> true;
    private static final String KEY_METHODS = "Session\\.(\\w*[eE]ncrypt\\w*|decrypt\\w*|sign\\w*|verif\\w*|isValid"
            + "|wrapKey|unwrapKey|deriveKey|message\\w+)\\(.*";

    static final List<Tolerated> TOLERATED = List.of(
            new Tolerated("Cryptoki\\.open\\(.*", "C_Finalize", "\\w+", ANY,
                    "whether the module was as it should be, its initialisation tells"),
            new Tolerated("Cryptoki\\.open\\(.*", "C_Initialize",
                    "CKR_(CANT_LOCK|NEED_TO_CREATE_THREADS|ARGUMENTS_BAD)", ANY, "it is initialised without arguments"),
            new Tolerated("SlotWatch\\.\\w+\\(.*", "C_WaitForSlotEvent", "CKR_(NO_EVENT|FUNCTION_NOT_SUPPORTED)", ANY,
                    "the slots are looked at"),
            new Tolerated("Session\\.\\w+Update\\(.*", "C_(Digest|Decrypt|Sign)\\w+Update",
                    "CKR_FUNCTION_NOT_SUPPORTED", ANY, "each operation is given its own update"),
            new Tolerated("Cryptoki\\.(poll|waitFor)SlotEvent\\(.*", "C_WaitForSlotEvent", "CKR_NO_EVENT", ANY,
                    "nothing has happened"),
            new Tolerated("(Session|Verifier)\\.isValid\\(.*", "C_Verify(Final)?", "CKR_SIGNATURE_(INVALID|LEN_RANGE)",
                    Boolean.FALSE::equals, "the answer is false"),
            new Tolerated("Session\\.loginIfNeeded\\(.*", "C_Login", "CKR_USER_ALREADY_LOGGED_IN",
                    Boolean.FALSE::equals, "the answer is false"),
            new Tolerated("TokenSlot\\.supports\\(.*", "C_GetMechanismInfo", "CKR_MECHANISM_INVALID",
                    Boolean.FALSE::equals, "the answer is false"),
            new Tolerated("Cryptoki\\.tokenByLabel\\(.*", "C_GetTokenInfo", "\\w+", ANY, "another token has the label"),
            new Tolerated("TokenObject\\.(attributes|label|id|publicKey|asksForPinEachTime)\\(.*",
                    "C_GetAttributeValue",
                    "CKR_ATTRIBUTE_(TYPE_INVALID|SENSITIVE)", ANY, "the value is null or empty"),
            new Tolerated(KEY_METHODS, "C_GetAttributeValue", "\\w+", ANY,
                    "a key that does not tell its type is the token's to judge"),
            new Tolerated("((Message)?(Encryptor|Decryptor|Signer|Verifier)|Digester)\\.close\\(.*", "C_\\w+", "\\w+", ANY,
                    "what is given up may be over already"));

    static final List<Documented> DOCUMENTED = List.of(
            new Documented("TokenObject\\.(publicKey|certificate)\\(\\)", UnsupportedOperationException.class,
                    "the object has none that the JDK knows"),
            new Documented("Attribute\\.text\\(\\)", ClassCastException.class, "the value is of another class"),
            new Documented("Attribute\\.text\\(\\)", NullPointerException.class, "there is no value"),
            new Documented("\\w+\\.takeBack\\(Structure\\)", IndexOutOfBoundsException.class,
                    "the structure is that of another parameter"),
            new Documented("\\w+\\.(structure\\(|takeBack\\(Structure|inOctetString\\()\\)", NullPointerException.class,
                    "the parameter was made with a null"),
            new Documented("Attribute\\.\\w+Value\\(\\)", ClassCastException.class, "the value is of another class"),
            new Documented("Attribute\\.\\w+Value\\(\\)", NullPointerException.class, "there is no value"),
            new Documented("\\w+\\.check\\(\\)", NullPointerException.class, "the parameter was made with a null"),
            new Documented("(En|De)cryptor\\.(update|finish)\\(ByteBuffer,ByteBuffer\\)",
                    BufferOverflowException.class, "the output does not fit"),
            new Documented("Session\\.random\\(int\\)", OutOfMemoryError.class, "two gigabytes were asked for"));

    private MonkeyJudge() {
    }

    /** What is wrong, perhaps nothing. */
    static List<String> judge(MonkeyCall call) {
        List<String> wrong = new ArrayList<>();
        if (call.hasChangedArguments()) {
            wrong.add("an array that was passed in has changed");
        }
        List<Throwable> foreign = call.foreign.thrown();
        if (!foreign.isEmpty() && foreign.get(foreign.size() - 1) != call.thrown) {
            wrong.add("the exception of the program's own code is lost");
        }
        if (call.thrown == null) {
            call.answers.stream().filter(answer -> isLost(call, answer))
                    .forEach(answer -> wrong.add(answer.function() + " answered " + answer.code() + ", which is lost"));
        } else if (!foreign.contains(call.thrown) && !isFair(call, call.thrown)) {
            wrong.add("throws what it should not");
        }
        return wrong;
    }

    private static boolean isLost(MonkeyCall call, MonkeyCall.Answer answer) {
        return answer.isRefusal() && !isRetried(call, answer)
                && TOLERATED.stream().noneMatch(row -> row.covers(call, answer));
    }

    /** A result that did not fit was asked for once more, or attributes that were refused together one by one. */
    private static boolean isRetried(MonkeyCall call, MonkeyCall.Answer answer) {
        List<MonkeyCall.Answer> later = call.answers.subList(call.answers.indexOf(answer) + 1, call.answers.size());
        if (answer.function().equals("C_GetAttributeValue")
                && (answer.isOfSeveral() || answer.code().equals("CKR_BUFFER_TOO_SMALL")) && later.stream().anyMatch(next -> next.function().equals(answer.function()))) {
            return true;
        }
        return answer.code().equals("CKR_BUFFER_TOO_SMALL") && later.stream()
                .anyMatch(next -> next.function().equals(answer.function()) && !next.isRefusal());
    }

    private static boolean isFair(MonkeyCall call, Throwable thrown) {
        if (DOCUMENTED.stream().anyMatch(row -> call.entry.name().matches(row.methods())
                && row.exception() == thrown.getClass())) {
            return true;
        }
        if (!isFromSurface(thrown)) {
            return false;
        }
        if (thrown instanceof CryptokiException refusal) {
            return isHonest(call, refusal);
        } else if (thrown instanceof NullPointerException) {
            return call.hasNull();
        } else if (thrown instanceof IndexOutOfBoundsException) {
            return call.hasWrongRange() || call.foreign.lied();
        } else if (thrown instanceof InterruptedException) {
            return List.of(call.entry.code().getExceptionTypes()).contains(InterruptedException.class);
        }
        return thrown.getClass() == IllegalArgumentException.class || thrown.getClass() == IllegalStateException.class;
    }

    private static boolean isFromSurface(Throwable thrown) {
        for (StackTraceElement frame : thrown.getStackTrace()) {
            if (!frame.getClassName().startsWith("java.") && !frame.getClassName().startsWith("jdk.")) {
                return frame.getClassName().startsWith("velnor.");
            }
        }
        return false;
    }

    /** The code is one that the module gave, or the text, which is no code's, tells what else is wrong. */
    private static boolean isHonest(MonkeyCall call, CryptokiException refusal) {
        return call.answers.isEmpty() || !refusal.text().equals(refusal.text().toUpperCase(Locale.ROOT))
                || refusal.code() == CKR.HOST_MEMORY || isDisbelief(call, refusal)
                || call.answers.stream().anyMatch(answer -> codeOf(answer) == refusal.code());
    }

    /** The module came with a length or a count that cannot be, and answered that all is well. */
    private static boolean isDisbelief(MonkeyCall call, CryptokiException refusal) {
        boolean marked = refusal.code() == CKR.ATTRIBUTE_TYPE_INVALID // the length ~0 says so, whatever the answer is
                && refusal.functionName().equals("J_GetAttributeValue");
        return (refusal.code() == CKR.GENERAL_ERROR || marked) && call.answers.stream()
                .anyMatch(answer -> !answer.isRefusal() && answer.tellsLength()
                        && answer.function().substring(2).equals(refusal.functionName().substring(2)));
    }

    /** What is told of an answer: its low 32 bits, or a general error when those say that all went well. */
    private static int codeOf(MonkeyCall.Answer answer) {
        if (!answer.code().startsWith("0x")) {
            return CKR.forName(answer.code()).orElseThrow();
        }
        long code = Long.parseUnsignedLong(answer.code().substring(2), 16);
        return code != 0 && (int) code == 0 ? CKR.GENERAL_ERROR : (int) code;
    }
}
