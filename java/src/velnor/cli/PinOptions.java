package velnor.cli;

import java.nio.file.Path;

import picocli.CommandLine.Option;

/** The PIN that the user has. */
final class PinOptions {
    @Option(names = "--pin-file", paramLabel = "FILE",
            description = "Read the PIN from the first line of a file.")
    private Path file;

    @Option(names = "--pin-env", paramLabel = "NAME",
            description = "Read the PIN from an environment variable. If neither is given, HARLUNE_PIN"
                    + " has it, or it is asked for.")
    private String variable;

    PinSource source() {
        return new PinSource("PIN", "--pin", file, variable, "HARLUNE_PIN");
    }
}
