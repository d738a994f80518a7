package velnor.cli;

import java.io.Console;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** The terminal, if there is one. {@link System#console()} does not tell: newer JDKs give one for pipes too. */
final class Terminal {
    static final int STDIN = 0;
    static final int STDOUT = 1;
    static final int STDERR = 2;

    private Terminal() {
    }

    static boolean is(int descriptor) {
        try {
            String target = Files.readSymbolicLink(Path.of("/proc/self/fd/" + descriptor)).toString();
            return target.startsWith("/dev/pts/") || target.startsWith("/dev/tty") || target.equals("/dev/console");
        } catch (IOException e) {
            return false;
        }
    }

    /**
     * Asks for a secret.
     *
     * @return what was typed, for the caller to wipe; null when there is nobody to ask
     */
    static char[] ask(String prompt) {
        Console console = is(STDIN) && is(STDOUT) ? System.console() : null;
        if (console == null) {
            return null;
        }
        char[] typed = console.readPassword("%s: ", prompt);
        if (typed == null) {
            throw Failure.usage("no " + prompt + " was typed");
        }
        return typed;
    }
}
