package velnor.cli;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.channels.FileChannel;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.CoderResult;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.Arrays;
import java.util.Optional;

/**
 * Where a PIN comes from: a file, the environment, or somebody who types it. Never the command line, which every user
 * of the machine can read while the command runs. What an option names is not repeated in a message either: it may have
 * been the PIN, by mistake.
 */
final class PinSource {
    private static final char BYTE_ORDER_MARK = '\uFEFF';

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

    /** The PIN, if there is one without a question; whoever gets it wipes it. */
    Optional<Pin> given() throws IOException {
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
        return Optional.ofNullable(pin).map(text -> new Pin(text.toCharArray()));
    }

    private String fromEnvironment() {
        String pin = System.getenv(variable != null ? variable : usualVariable);
        return LocaleText.requireMeant(pin, "the " + what, otherwise());
    }

    private String otherwise() {
        return " or use " + option + "-file";
    }

    private Pin firstLine() throws IOException {
        if (Files.isDirectory(file)) {
            throw unreadable("it is a directory");
        }
        ByteBuffer bytes = Buffers.make();
        try (FileChannel channel = FileChannel.open(file, StandardOpenOption.READ)) {
            int end;
            do {
                end = lineEnd(bytes);
                if (end < 0 && !bytes.hasRemaining()) {
                    throw unreadable("its first line is too long for a PIN");
                }
            } while (end < 0 && channel.read(bytes) >= 0);
            bytes.limit(end < 0 ? bytes.position() : end).position(0);
            return decoded(bytes);
        } catch (CharacterCodingException e) {
            throw unreadable("it is not UTF-8");
        } catch (FileSystemException e) {
            throw unreadable(ErrorReport.reason(e));
        } catch (IOException e) {
            throw unreadable(e.getMessage());
        } finally {
            Buffers.wipe(bytes);
        }
    }

    /** Where the first line ends of what was read; -1 where it does not yet. */
    private static int lineEnd(ByteBuffer bytes) {
        for (int i = 0; i < bytes.position(); i++) {
            if (bytes.get(i) == '\n' || bytes.get(i) == '\r') {
                return i;
            }
        }
        return -1;
    }

    private static Pin decoded(ByteBuffer utf8) throws CharacterCodingException {
        char[] room = new char[utf8.remaining()];
        CharBuffer characters = CharBuffer.wrap(room);
        try {
            CoderResult result = StandardCharsets.UTF_8.newDecoder().decode(utf8, characters, true);
            if (result.isError()) {
                result.throwException();
            }
            int begin = characters.position() > 0 && room[0] == BYTE_ORDER_MARK ? 1 : 0;
            return new Pin(Arrays.copyOfRange(room, begin, characters.position()));
        } finally {
            Arrays.fill(room, '\0');
        }
    }

    private Failure unreadable(String reason) {
        return Failure.io("the file that " + option + "-file names cannot be read: " + reason);
    }

    /** The PIN, asked for if need be; whoever gets it wipes it. */
    Pin get() throws IOException {
        Optional<Pin> given = given();
        return given.isPresent() ? given.get() : ask(what);
    }

    /** The PIN that is to be from now on: whoever types it, types it twice. */
    Pin getNew() throws IOException {
        Optional<Pin> given = given();
        if (given.isPresent()) {
            return given.get();
        }
        Pin typed = ask(what);
        boolean same = false;
        try (Pin again = ask(what + " once more")) {
            same = typed.isSameAs(again);
        } finally {
            if (!same) {
                typed.close();
            }
        }
        if (!same) {
            throw Failure.usage("these were two different PINs");
        }
        return typed;
    }

    private Pin ask(String prompt) {
        char[] typed = Terminal.ask(prompt);
        if (typed == null) {
            throw Failure.usage("the " + what + " is needed, and stdin and stdout are no terminal to ask for it: give"
                    + " it by " + option + "-file, " + option + "-env or the environment variable " + usualVariable);
        }
        return new Pin(LocaleText.requireMeant(typed, "the " + what, otherwise()));
    }
}
