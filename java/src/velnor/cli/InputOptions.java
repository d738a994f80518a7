package velnor.cli;

import java.io.FileDescriptor;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.channels.FileChannel;
import java.nio.file.AccessMode;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;

import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

/** What is worked on. */
final class InputOptions {
    private static final String STDIN = "-";

    @Parameters(paramLabel = "FILE", description = "The file to work on; - is stdin.")
    private String file;

    @Option(names = "--progress",
            description = "Tell on stderr how far the work has come, even if that is no terminal.")
    private boolean progress;

    /** Refuses a file that cannot be read while it costs nothing yet. */
    void prepare() throws IOException {
        if (!file.equals(STDIN)) {
            Path path = Path.of(file);
            path.getFileSystem().provider().checkAccess(path, AccessMode.READ);
            if (Files.isDirectory(path)) {
                throw Failure.io(path + ": is a directory");
            }
        }
    }

    Input open() throws IOException {
        if (file.equals(STDIN)) {
            return new Input(new ChannelInput(new FileInputStream(FileDescriptor.in).getChannel()),
                    new ProgressLine(0, progress));
        }
        Path path = Path.of(file);
        InputStream in = new ChannelInput(FileChannel.open(path, StandardOpenOption.READ));
        return new Input(in, new ProgressLine(Files.isRegularFile(path) ? Files.size(path) : 0, progress));
    }
}
