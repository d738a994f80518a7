package velnor.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.HashSet;
import java.util.Set;

import velnor.Cryptoki;

/** What is put in order when somebody presses Ctrl-C: unfinished files go, the token's sessions end. */
final class Shutdown {
    /** A token that is busy, with a long key generation perhaps, must not make the command unstoppable. */
    private static final long PATIENCE_MILLIS = 2000;

    private static final FileAttribute<?>[] FOR_OWNER_ALONE =
            {PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------"))};
    private static final FileAttribute<?>[] AS_USUAL = {};

    private static final Set<Path> unfinished = new HashSet<>();
    private static Cryptoki cryptoki;
    private static boolean begun;

    private Shutdown() {
    }

    static void prepare() {
        Runtime.getRuntime().addShutdownHook(new Thread(Shutdown::run, "shutdown"));
    }

    static synchronized boolean hasBegun() {
        return begun;
    }

    static synchronized void opened(Cryptoki opened) {
        cryptoki = opened;
    }

    /**
     * Makes an empty file that will not outlive the process unless {@link #finish} takes it off the list.
     *
     * @param file the file, which must not be there
     * @param forOwnerAlone whether nobody else may read it, from the beginning
     */
    static synchronized void create(Path file, boolean forOwnerAlone) throws IOException {
        if (begun) {
            throw new IOException("interrupted");
        }
        Files.createFile(file, forOwnerAlone ? FOR_OWNER_ALONE : AS_USUAL);
        unfinished.add(file);
    }

    static synchronized void finish(Path file) {
        unfinished.remove(file);
    }

    private static void run() {
        synchronized (Shutdown.class) {
            begun = true;
            for (Path file : unfinished) {
                try {
                    Files.deleteIfExists(file);
                } catch (IOException e) {
                    System.err.println("velnor: " + file + " could not be removed: " + e.getMessage());
                }
            }
        }
        if (cryptoki != null) {
            closeWithin(PATIENCE_MILLIS);
        }
    }

    private static void closeWithin(long millis) {
        Thread closing = new Thread(() -> {
            try {
                cryptoki.close();
            } catch (RuntimeException e) {
                // The process ends anyway, and nobody is left to be told.
            }
        }, "closing");
        closing.setDaemon(true);
        closing.start();
        try {
            closing.join(millis);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
    }
}
