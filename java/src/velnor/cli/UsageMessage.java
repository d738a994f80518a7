package velnor.cli;

import java.util.ArrayList;
import java.util.List;

import picocli.CommandLine;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.UnmatchedArgumentException;

/**
 * What is wrong with a command line. Of an unknown option the name alone is shown, and of arguments too many nothing:
 * people try --pin 1234, or set-pin 1234, and the PIN is not to be on the screen or in a log for that.
 */
final class UsageMessage {
    private static final String HELP = "; --help tells more";

    private UsageMessage() {
    }

    static String of(ParameterException e) {
        return (e instanceof UnmatchedArgumentException ? unmatched((UnmatchedArgumentException) e) : e.getMessage())
                + HELP;
    }

    private static String unmatched(UnmatchedArgumentException e) {
        CommandLine program = e.getCommandLine();
        boolean inFront = !program.getSubcommands().isEmpty();
        if (inFront && !e.getUnmatched().get(0).startsWith("-")) {
            return unknownCommand(e);
        }
        List<String> options = new ArrayList<>();
        for (String argument : e.getUnmatched()) {
            if (argument.startsWith("--")) {
                options.add(argument.split("=", 2)[0]);
            } else if (argument.startsWith("-") && argument.length() > 1) {
                options.add(argument.substring(0, 2));
            }
        }
        if (options.isEmpty()) {
            return inFront ? unknownCommand(e) : "too many arguments";
        }
        if (program.getSubcommands().values().stream().anyMatch(command -> command.getCommandSpec().optionsMap()
                .containsKey(options.get(0)))) {
            return options.get(0) + " comes after the command";
        }
        return "unknown option " + String.join(", ", options)
                + (options.stream().anyMatch(option -> option.contains("pin"))
                        ? " (a PIN comes from a file, the environment or a prompt)" : "");
    }

    private static String unknownCommand(UnmatchedArgumentException e) {
        List<String> suggestions = e.getSuggestions();
        return "there is no command " + e.getUnmatched().get(0)
                + (suggestions.isEmpty() ? "" : " (did you mean " + suggestions.get(0) + "?)");
    }
}
