package velnor.cli;

import java.nio.file.Path;

import picocli.CommandLine.Option;

/** The PIN that is to be. */
final class NewPinOptions {
    @Option(names = "--new-pin-file", paramLabel = "FILE",
            description = "Read the new PIN from the first line of a file.")
    private Path file;

    @Option(names = "--new-pin-env", paramLabel = "NAME",
            description = "Read the new PIN from an environment variable. If neither is given, HARLUNE_NEW_PIN"
                    + " has it, or it is asked for.")
    private String variable;

    PinSource source() {
        return new PinSource("new PIN", "--new-pin", file, variable, "HARLUNE_NEW_PIN");
    }
}
