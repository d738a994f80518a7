package velnor.cli;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.OutputStream;

/** Standard output that tells when it fails, as {@link System#out} does not: a full disk must not pass for success. */
final class Stdout {
    private Stdout() {
    }

    /** The stream is not to be closed. */
    static OutputStream stream() {
        return new FileOutputStream(FileDescriptor.out);
    }

    static void write(byte[] bytes) throws IOException {
        stream().write(bytes);
    }
}
