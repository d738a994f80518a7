package velnor.cli;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.channels.FileChannel;

/** Standard output that tells when it fails, as {@link System#out} does not: a full disk must not pass for success. */
final class Stdout {
    /** Never closed. */
    private static final FileChannel CHANNEL = new FileOutputStream(FileDescriptor.out).getChannel();

    private Stdout() {
    }

    static void write(OutputOptions.Body body) throws IOException {
        try (OutputStream stream = new ChannelOutput(CHANNEL, "stdout")) {
            body.writeTo(stream);
        }
    }

    static void write(byte[] bytes) throws IOException {
        write(out -> out.write(bytes));
    }
}
