package velnor.cli;

import java.io.IOException;
import java.io.OutputStream;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.Set;

import picocli.CommandLine.Option;

/** Where the result goes. */
final class OutputOptions {
    /** Writes the result. */
    interface Body {
        void writeTo(OutputStream out) throws IOException;
    }

    /** A file that stdout was redirected to is written to where it stands, not replaced. */
    private static final Set<Path> NAMES_OF_STDOUT =
            Set.of(Path.of("/dev/stdout"), Path.of("/dev/fd/1"), Path.of("/proc/self/fd/1"));

    @Option(names = {"-o", "--out"}, paramLabel = "FILE", description = "Write to a file; if not given, to stdout.")
    private Path out;

    @Option(names = "--force", description = "Overwrite a file that exists.")
    private boolean force;

    /** The file; null for stdout. */
    Path file() {
        return out == null || NAMES_OF_STDOUT.contains(out) ? null : out;
    }

    /** Refuses what cannot be written while it costs nothing yet. */
    void prepare() throws IOException {
        if (file() == null) {
            return;
        }
        if (Files.isDirectory(out)) {
            throw Failure.io(out + ": is a directory");
        }
        if (!isWrittenAsItIs()) {
            new OutputFile(out, force).prepare();
        }
    }

    /** A device or a pipe is to be written to, not to be replaced. */
    private boolean isWrittenAsItIs() {
        return Files.exists(out) && !Files.isRegularFile(out);
    }

    /** Writes the result, for the eyes of its owner alone if it is secret and makes a new file. */
    void write(boolean secret, Body body) throws IOException {
        if (file() == null) {
            Stdout.write(body);
        } else if (isWrittenAsItIs()) {
            try (FileChannel channel = FileChannel.open(out, StandardOpenOption.WRITE);
                    OutputStream stream = new ChannelOutput(channel, out.toString())) {
                body.writeTo(stream);
            }
        } else {
            new OutputFile(out, force).write(secret, body);
        }
    }
}
