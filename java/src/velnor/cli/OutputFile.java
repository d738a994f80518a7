package velnor.cli;

import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.util.Map;
import java.util.UUID;

/** A file that is there as a whole or not at all: it is written under another name beside its place. */
final class OutputFile {
    private static final String OWNER_AND_MODE = "unix:uid,gid,mode";
    private static final int PERMISSIONS = 0777;

    private final Path file;
    private final boolean replace;

    /**
     * Makes nothing yet.
     *
     * @param file its name
     * @param replace whether a file of that name is replaced
     */
    OutputFile(Path file, boolean replace) {
        this.file = file;
        this.replace = replace;
    }

    /** Refuses what can be seen before anything is written. */
    void prepare() throws IOException {
        Path directory = place().getParent();
        if (!replace && Files.exists(file)) {
            throw exists();
        }
        if (!Files.isDirectory(directory)) {
            throw new NoSuchFileException(directory.toString());
        }
        if (!Files.isWritable(directory)) {
            throw nothingBesideIt("permission denied");
        }
    }

    /** Where the file is to be: behind a link, which stays. */
    private Path place() throws IOException {
        if (Files.exists(file)) {
            return file.toRealPath();
        }
        if (Files.isSymbolicLink(file)) {
            throw Failure.io(file + " is a link to what is not there");
        }
        return file.toAbsolutePath();
    }

    private Failure exists() {
        return Failure.io(file + " exists already; --force overwrites it");
    }

    private Failure nothingBesideIt(String reason) {
        return Failure.io(file + " is not written, because no file can be made beside it: " + reason);
    }

    /**
     * Writes the file.
     *
     * @param secret whether it is for the eyes of its owner alone
     * @param body what writes it
     */
    void write(boolean secret, OutputOptions.Body body) throws IOException {
        prepare();
        Path place = place();
        Path unfinished = place.resolveSibling(".velnor." + UUID.randomUUID());
        try {
            Shutdown.create(unfinished, secret || Files.exists(place));
        } catch (FileSystemException e) {
            throw nothingBesideIt(ErrorReport.reason(e));
        }
        try {
            writeAndSync(unfinished, body);
            if (replace) {
                takeOver(place, unfinished);
                Files.move(unfinished, place, StandardCopyOption.ATOMIC_MOVE);
            } else {
                appear(unfinished, place);
            }
        } finally {
            Files.deleteIfExists(unfinished);
            Shutdown.finish(unfinished);
        }
        sync(place.getParent());
    }

    private void writeAndSync(Path unfinished, OutputOptions.Body body) throws IOException {
        try (FileChannel channel = FileChannel.open(unfinished, StandardOpenOption.WRITE);
                ChannelOutput stream = new ChannelOutput(channel, file.toString())) {
            body.writeTo(stream);
            stream.sync();
        }
    }

    /** Gives the new file the owner, the group and the mode of the one that it replaces. */
    private void takeOver(Path place, Path unfinished) throws IOException {
        if (!Files.exists(place)) {
            return;
        }
        Map<String, Object> old = Files.readAttributes(place, OWNER_AND_MODE);
        Map<String, Object> now = Files.readAttributes(unfinished, OWNER_AND_MODE);
        for (String name : new String[] {"gid", "uid"}) {
            if (!old.get(name).equals(now.get(name))) {
                try {
                    Files.setAttribute(unfinished, "unix:" + name, old.get(name));
                } catch (FileSystemException e) {
                    throw Failure.io(file + " is not replaced, because what replaces it would be another user's or"
                            + " group's; redirect stdout to write into it");
                }
            }
        }
        Files.setAttribute(unfinished, "unix:mode", (Integer) old.get("mode") & PERMISSIONS);
    }

    /** Lets the file appear unless there is one: a link is never made in place of another file. */
    private void appear(Path unfinished, Path place) throws IOException {
        try {
            Files.createLink(place, unfinished);
        } catch (FileAlreadyExistsException e) {
            throw exists();
        } catch (FileSystemException | UnsupportedOperationException e) {
            takeThePlace(unfinished, place);
        }
    }

    /** For a file system without links: an empty file that was not there before is ours to replace. */
    private void takeThePlace(Path unfinished, Path place) throws IOException {
        try {
            Shutdown.create(place, true);
        } catch (FileAlreadyExistsException e) {
            throw exists();
        }
        boolean moved = false;
        try {
            Files.move(unfinished, place, StandardCopyOption.ATOMIC_MOVE);
            moved = true;
        } finally {
            Shutdown.finish(place);
            if (!moved) {
                Files.deleteIfExists(place);
            }
        }
    }

    /** So that the name outlives a power failure, where the file system can promise that. */
    private static void sync(Path directory) {
        try (FileChannel channel = FileChannel.open(directory, StandardOpenOption.READ)) {
            channel.force(true);
        } catch (IOException e) {
            // The file is whole under its old name or its new one all the same.
        }
    }
}
