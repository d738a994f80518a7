package harlune.surface;

import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import java.util.stream.Stream;

import velnor.Mechanism;
import velnor.params.MechanismParams;

/** One call of the surface: what it is given, what came of it, and what the module answered meanwhile. */
final class MonkeyCall {
    private static final Pattern ANSWER = Pattern.compile("(C_\\w+) (.*)-> (\\w+)(.*)");
    private static final Pattern SEVERAL = Pattern.compile(".* template=\\[0x\\w+ [^\\]]*, 0x.*");
    /** Methods that write into an array: the range is in the arguments behind it. */
    private static final Map<String, Integer> OUTPUTS = Map.of("Session.random(byte[],int,int)", 0);

    /**
     * A function of the module, whether it was given a template of several attributes, what it answered, and whether it
     * told a length or a count with that.
     */
    record Answer(String function, boolean isOfSeveral, String code, boolean tellsLength) {
        boolean isRefusal() {
            return !code.equals("CKR_OK");
        }
    }

    final int number;
    final PublicSurface.Entry entry;
    final Object receiver;
    final Object[] arguments;
    final ForeignCode foreign;
    final List<Answer> answers = new ArrayList<>();
    Object result;
    Throwable thrown;
    private final Object[] before;

    MonkeyCall(int number, PublicSurface.Entry entry, Object receiver, Object[] arguments, ForeignCode foreign) {
        this.number = number;
        this.entry = entry;
        this.receiver = receiver;
        this.arguments = arguments;
        this.foreign = foreign;
        before = Arrays.stream(arguments).map(MonkeyCall::copy).toArray();
    }

    void run() {
        boolean interrupted = Arrays.asList(entry.code().getExceptionTypes()).contains(InterruptedException.class)
                && Arrays.stream(arguments).noneMatch(Duration.ofMillis(2)::equals);
        if (interrupted) {
            Thread.currentThread().interrupt();
        }
        try {
            result = entry.call(receiver, arguments);
        } catch (Throwable e) {
            thrown = e;
        }
        Thread.interrupted();
    }

    /** Takes note of lines of the module's journal. */
    void answered(List<String> journal) {
        for (String line : journal) {
            Matcher answer = ANSWER.matcher(line);
            if (answer.matches()) {
                answers.add(new Answer(answer.group(1), SEVERAL.matcher(answer.group(2)).matches(),
                        answer.group(3), answer.group(4).matches(".* (length|count)=.*")));
            }
        }
    }

    /** Whether an array among the arguments is not what it was, except where the method is to write. */
    boolean hasChangedArguments() {
        Integer output = OUTPUTS.get(entry.name());
        if (output != null && thrown == null) {
            byte[] now = (byte[]) copy(arguments[output]);
            int off = (Integer) arguments[output + 1];
            System.arraycopy(before[output], off, now, off, (Integer) arguments[output + 2]);
            return !Arrays.equals(now, (byte[]) before[output]);
        }
        return output == null && !Arrays.deepEquals(before, arguments);
    }

    private static Object copy(Object argument) {
        return argument instanceof byte[] bytes ? bytes.clone()
                : argument instanceof char[] characters ? characters.clone()
                : argument instanceof int[] numbers ? numbers.clone()
                : argument instanceof Object[] objects ? objects.clone() : argument;
    }

    /** Whether there is a null in what was passed in. */
    boolean hasNull() {
        return Stream.of(arguments).flatMap(argument -> argument instanceof Object[] array ? Stream.of(array)
                : Stream.of(argument == null ? new Object[1] : new Object[] {argument}))
                .anyMatch(value -> value == null
                        || value instanceof Mechanism mechanism && lacks(mechanism.parameter()));
    }

    private static boolean lacks(Object parameter) {
        try {
            if (parameter instanceof MechanismParams parameters) {
                parameters.check();
            }
            return false;
        } catch (NullPointerException e) {
            return true;
        } catch (IllegalArgumentException e) {
            return false;
        }
    }

    /** Whether a range among the arguments is not one of its array. */
    boolean hasWrongRange() {
        for (int i = 0; i + 2 < arguments.length; i++) {
            if (arguments[i] instanceof byte[] array && arguments[i + 1] instanceof Integer off
                    && arguments[i + 2] instanceof Integer len && (off < 0 || len < 0 || off > array.length - len)) {
                return true;
            }
        }
        return false;
    }

    /** The call without anything that may be secret. */
    @Override
    public String toString() {
        return "call " + number + ": " + (receiver == null ? "" : show(receiver) + " ") + entry.name() + " with "
                + Arrays.stream(arguments).map(MonkeyCall::show).collect(Collectors.joining(", ", "(", ")"));
    }

    String outcome() {
        return "  " + (thrown == null ? show(result) : thrown.toString());
    }

    private static String show(Object value) {
        if (value instanceof byte[] bytes) {
            return bytes.length + " bytes";
        } else if (value instanceof char[] characters) {
            return characters.length + " chars";
        } else if (value instanceof String text) {
            return text.length() + " characters";
        } else if (value instanceof int[] numbers) {
            return Arrays.toString(numbers);
        } else if (value instanceof Object[] objects) {
            return Arrays.toString(objects);
        }
        return value == null || value.getClass().getName().matches("velnor\\.\\w+|java\\..*") ? String.valueOf(value)
                : value.getClass().getSimpleName();
    }
}
