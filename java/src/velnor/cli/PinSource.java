package velnor.cli;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.charset.CharacterCodingException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Optional;

/**
 * Where a PIN comes from: a file, the environment, or somebody who types it. Never the command line, which every user
 * of the machine can read while the command runs. What an option names is not repeated in a message either: it may have
 * been the PIN, by mistake.
 */
final class PinSource {
    private static final String BYTE_ORDER_MARK = "\uFEFF";

    private final String what;
    private final String option;
    private final Path file;
    private final String variable;
    private final String usualVariable;

    /**
     * Takes over what the command line says.
     *
     * @param what the name of the PIN in prompts and messages
     * @param option the beginning of its options, to which -file and -env are added
     * @param file what the one option says, or null
     * @param variable what the other option says, or null
     * @param usualVariable the environment variable that is looked at when neither is given
     */
    PinSource(String what, String option, Path file, String variable, String usualVariable) {
        this.what = what;
        this.option = option;
        this.file = file;
        this.variable = variable;
        this.usualVariable = usualVariable;
    }

    /** Refuses what the environment says while it costs nothing yet. */
    void prepare() {
        if (file == null) {
            fromEnvironment();
        }
    }

    /** The PIN, if there is one without a question. */
    Optional<String> given() throws IOException {
        if (file != null && variable != null) {
            throw Failure.usage(option + "-file and " + option + "-env exclude each other");
        }
        if (file != null) {
            return Optional.of(firstLine());
        }
        String pin = fromEnvironment();
        if (pin == null && variable != null) {
            throw Failure.usage("the environment variable that " + option + "-env names is not set");
        }
        return Optional.ofNullable(pin);
    }

    private String fromEnvironment() {
        return requireMeant(System.getenv(variable != null ? variable : usualVariable));
    }

    private String requireMeant(String pin) {
        return LocaleText.requireMeant(pin, "the " + what, " or use " + option + "-file");
    }

    private String firstLine() throws IOException {
        if (Files.isDirectory(file)) {
            throw unreadable("it is a directory");
        }
        try (BufferedReader reader = Files.newBufferedReader(file)) {
            String line = reader.readLine();
            return line == null ? "" : line.startsWith(BYTE_ORDER_MARK) ? line.substring(1) : line;
        } catch (CharacterCodingException e) {
            throw unreadable("it is not UTF-8");
        } catch (FileSystemException e) {
            throw unreadable(ErrorReport.reason(e));
        } catch (IOException e) {
            throw unreadable(e.getMessage());
        }
    }

    private Failure unreadable(String reason) {
        return Failure.io("the file that " + option + "-file names cannot be read: " + reason);
    }

    /** The PIN, asked for if need be. */
    String get() throws IOException {
        Optional<String> given = given();
        return given.isPresent() ? given.get() : ask(what);
    }

    /** The PIN that is to be from now on: whoever types it, types it twice. */
    String getNew() throws IOException {
        Optional<String> given = given();
        if (given.isPresent()) {
            return given.get();
        }
        String typed = ask(what);
        if (!typed.equals(ask(what + " once more"))) {
            throw Failure.usage("these were two different PINs");
        }
        return typed;
    }

    private String ask(String prompt) {
        String typed = Terminal.ask(prompt);
        if (typed == null) {
            throw Failure.usage("the " + what + " is needed, and stdin and stdout are no terminal to ask for it: give"
                    + " it by " + option + "-file, " + option + "-env or the environment variable " + usualVariable);
        }
        return requireMeant(typed);
    }
}
