package velnor.cli;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.SequenceInputStream;
import java.util.Arrays;

import velnor.Progress;

/**
 * Data to be worked on. What is short is there as a whole, because some mechanisms and tokens work in one part only;
 * what is long goes through as a stream.
 */
final class Input implements AutoCloseable {
    private static final int SHORT = 1 << 16;

    private final InputStream in;
    private final ProgressLine progress;
    private final byte[] beginning;

    Input(InputStream in, ProgressLine progress) throws IOException {
        this.in = in;
        this.progress = progress;
        beginning = beginning(in);
    }

    private static byte[] beginning(InputStream in) throws IOException {
        byte[] bytes = new byte[SHORT];
        try {
            int length = in.readNBytes(bytes, 0, SHORT);
            return Arrays.copyOf(bytes, length);
        } finally {
            Arrays.fill(bytes, (byte) 0);
        }
    }

    boolean isShort() {
        return beginning.length < SHORT;
    }

    /** All there is of a short input. */
    byte[] whole() {
        return beginning;
    }

    InputStream stream() {
        return new SequenceInputStream(new ByteArrayInputStream(beginning), in);
    }

    Progress progress() {
        return progress;
    }

    @Override
    public void close() throws IOException {
        Arrays.fill(beginning, (byte) 0);
        progress.end();
        in.close();
    }
}
