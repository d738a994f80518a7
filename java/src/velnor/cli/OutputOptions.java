package velnor.cli;

import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;

import picocli.CommandLine.Option;

/** Where the result goes. */
final class OutputOptions {
    /** Writes the result. */
    interface Body {
        void writeTo(OutputStream out) throws IOException;
    }

    @Option(names = {"-o", "--out"}, paramLabel = "FILE", description = "Write to a file; if not given, to stdout.")
    private Path out;

    @Option(names = "--force", description = "Overwrite a file that exists.")
    private boolean force;

    Path file() {
        return out;
    }

    /** Refuses to overwrite a file while it costs nothing yet. */
    void prepare() {
        if (out != null && !force && Files.isRegularFile(out)) {
            throw Failure.io(out + " exists already; --force overwrites it");
        }
    }

    void write(Body body) throws IOException {
        if (out == null) {
            body.writeTo(Stdout.stream());
        } else if (Files.exists(out) && !Files.isRegularFile(out)) {
            // A device or a pipe is to be written to, not to be replaced.
            try (OutputStream stream = Files.newOutputStream(out)) {
                body.writeTo(stream);
            }
        } else {
            OutputFile.write(out, force, body);
        }
    }
}
