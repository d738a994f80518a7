package velnor.cli;

import java.nio.file.Path;

import picocli.CommandLine.Option;

/** The PIN that the security officer has. */
final class SoPinOptions {
    @Option(names = "--so-pin-file", paramLabel = "FILE",
            description = "Read the security officer's PIN from the first line of a file.")
    private Path file;

    @Option(names = "--so-pin-env", paramLabel = "NAME",
            description = "Read the security officer's PIN from an environment variable. If neither is given,"
                    + " HARLUNE_SO_PIN has it, or it is asked for.")
    private String variable;

    PinSource source() {
        return new PinSource("security officer's PIN", "--so-pin", file, variable, "HARLUNE_SO_PIN");
    }
}
