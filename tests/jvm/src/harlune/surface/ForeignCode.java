package harlune.surface;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.UncheckedIOException;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;

import velnor.Progress;

/** Streams and callbacks as a program may bring them, and what they have thrown. */
final class ForeignCode {
    private static final int MANY = 70_000;

    private final Random random;
    private final Runnable surface;
    private final List<Throwable> thrown = new ArrayList<>();
    private boolean lied;

    /**
     * The code of the next call.
     *
     * @param surface calls the surface again, from a callback
     */
    ForeignCode(Random random, Runnable surface) {
        this.random = random;
        this.surface = surface;
    }

    List<Throwable> thrown() {
        return thrown;
    }

    /** Whether a stream has said that it read more than it was asked for. */
    boolean lied() {
        return lied;
    }

    private <T extends Throwable> T thrown(T failure) {
        thrown.add(failure);
        return failure;
    }

    private IOException failure() {
        switch (random.nextInt(3)) {
        case 0:
            throw thrown(new UncheckedIOException(new IOException("a stream of the program fails")));
        case 1:
            throw thrown(new StackOverflowError("a stream of the program fails"));
        default:
            return thrown(new IOException("a stream of the program fails"));
        }
    }

    InputStream input() {
        InputStream regular = new ByteArrayInputStream(new byte[random.nextInt(4) != 0 ? random.nextInt(40) : MANY]);
        int oddity = random.nextInt(8);
        return new InputStream() {
            private int reads;

            @Override
            public int read() throws IOException {
                return regular.read();
            }

            @Override
            public int read(byte[] bytes, int off, int len) throws IOException {
                reads++;
                if (oddity == 0) {
                    throw failure();
                }
                if (oddity == 1 && reads % 2 == 1) {
                    return 0;
                }
                if (oddity == 2 && reads == 2) {
                    lied = true;
                    return len + 5;
                }
                return regular.read(bytes, off, oddity == 3 ? Math.min(len, 7000) : len);
            }
        };
    }

    OutputStream output() {
        int oddity = random.nextInt(4);
        return new ByteArrayOutputStream() {
            @Override
            public void write(byte[] bytes) throws IOException {
                if (oddity == 0) {
                    throw failure();
                }
                super.write(bytes);
            }
        };
    }

    Progress progress() {
        int oddity = random.nextInt(4);
        return bytes -> {
            if (oddity == 0) {
                throw thrown(new IllegalCallerException("a callback of the program fails"));
            }
            if (oddity == 1) {
                surface.run();
            }
        };
    }
}
