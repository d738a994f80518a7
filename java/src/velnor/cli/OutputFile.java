package velnor.cli;

import java.io.BufferedOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.UUID;

/** A file that is there as a whole or not at all: it is written under another name beside its place. */
final class OutputFile {
    private OutputFile() {
    }

    static void write(Path file, boolean replace, OutputOptions.Body body) throws IOException {
        Path place = Files.exists(file) ? file.toRealPath() : file.toAbsolutePath();
        if (!Files.isDirectory(place.getParent())) {
            throw new NoSuchFileException(place.getParent().toString());
        }
        Path unfinished = place.resolveSibling("." + place.getFileName() + "." + UUID.randomUUID());
        Shutdown.create(unfinished);
        try {
            try (OutputStream stream = new BufferedOutputStream(Files.newOutputStream(unfinished))) {
                body.writeTo(stream);
            }
            if (replace) {
                Files.move(unfinished, place, StandardCopyOption.REPLACE_EXISTING, StandardCopyOption.ATOMIC_MOVE);
            } else {
                Files.move(unfinished, place);
            }
        } finally {
            Files.deleteIfExists(unfinished);
            Shutdown.finish(unfinished);
        }
    }
}
