package velnor.cli;

import java.util.Arrays;

import picocli.CommandLine;
import picocli.CommandLine.Model.OptionSpec;

/**
 * What the JVM has read in the encoding of the locale: arguments, the environment, what is typed. It puts U+FFFD for
 * what that encoding does not have, and a PIN or a label with it would be another one than was meant.
 */
final class LocaleText {
    private static final char LOST = '\uFFFD';

    private LocaleText() {
    }

    /** Refuses arguments that are not what was meant. They are not repeated: one of them may be a PIN, by mistake. */
    static void requireMeant(CommandLine program, String... arguments) {
        for (int i = 0; i < arguments.length; i++) {
            String[] parts = arguments[i].split("=", 2);
            boolean named = takesValue(program, parts[0]);
            boolean follows = i > 0 && takesValue(program, arguments[i - 1]);
            requireMeant(arguments[i], named ? parts[0] : follows ? arguments[i - 1] : "an argument", "");
        }
    }

    /**
     * Refuses a text that is not what was meant.
     *
     * @param text the text, or null
     * @param what where it comes from
     * @param otherwise what else helps
     * @return the text
     */
    static String requireMeant(String text, String what, String otherwise) {
        if (text != null && text.indexOf(LOST) >= 0) {
            throw notMeant(what, otherwise);
        }
        return text;
    }

    /** Refuses a secret that is not what was meant, and wipes it. */
    static char[] requireMeant(char[] secret, String what, String otherwise) {
        for (char c : secret) {
            if (c == LOST) {
                Arrays.fill(secret, '\0');
                throw notMeant(what, otherwise);
            }
        }
        return secret;
    }

    private static Failure notMeant(String what, String otherwise) {
        return Failure.usage("this locale cannot tell the characters of " + what + "; set LC_ALL=C.UTF-8" + otherwise);
    }

    private static boolean takesValue(CommandLine program, String name) {
        return program.getSubcommands().values().stream().anyMatch(command -> {
            OptionSpec option = command.getCommandSpec().optionsMap().get(name);
            return option != null && option.arity().max() > 0;
        });
    }
}
