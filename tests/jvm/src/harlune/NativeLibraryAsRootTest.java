package harlune;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.FileSystem;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.NativeLibrary;

/** The native library among files of other users, and where nothing may be executed. */
class NativeLibraryAsRootTest {
    private static final int SOMEBODY = 12345;

    @TempDir
    private Path directory;
    private Path jar;
    private Path neighbour;

    @BeforeEach
    void copyTheJar() throws Exception {
        jar = Files.createDirectory(directory.resolve("jar")).resolve("velnor.jar");
        Files.copy(Path.of(NativeLibrary.class.getProtectionDomain().getCodeSource().getLocation().toURI()), jar);
        neighbour = Files.copy(Path.of(System.getProperty("harlune.library")), jar.resolveSibling("libharlune.so"));
    }

    private String run(Path temporary, String... wrapper) throws Exception {
        List<String> command = new ArrayList<>(List.of(wrapper));
        command.addAll(List.of(System.getProperty("java.home") + "/bin/java", "-Djava.io.tmpdir=" + temporary, "-cp",
                jar + ":" + System.getProperty("java.class.path").split(":")[0],
                NativeLibraryTest.Program.class.getName()));
        Process program = new ProcessBuilder(command).redirectErrorStream(true).start();
        String told = new String(program.getInputStream().readAllBytes()).strip();
        assertEquals(0, program.waitFor(), told);
        return told;
    }

    @Test
    void whatBelongsToAnotherUserIsNotLoaded() throws Exception {
        try (FileSystem contents = FileSystems.newFileSystem(jar)) {
            Files.delete(contents.getPath("velnor/linux-x86-64/libharlune.so"));
        }
        for (Path place : List.of(neighbour, jar.getParent(), directory)) {
            Files.setAttribute(place, "unix:uid", SOMEBODY);
            String told = run(directory);
            assertTrue(told.contains("\n  beside velnor.jar: " + place + " belongs to another user (uid 12345)\n"), told);
            Files.setAttribute(place, "unix:uid", 0);
        }
        assertEquals("loaded: " + neighbour, run(directory));
    }

    /** The copy cannot be loaded there, and the file beside the jar is. */
    @Test
    void aTemporaryDirectoryThatForbidsExecutionIsTold() throws Exception {
        Path temporary = Files.createDirectory(directory.resolve("noexec"));
        String[] mounted = {"unshare", "--mount", "bash", "-c", "mount -t tmpfs -o noexec none \"$0\" && exec \"$@\"",
            temporary.toString()};
        assertTrue(run(temporary, mounted).startsWith("loaded: " + neighbour));
        Files.delete(neighbour);
        String told = run(temporary, mounted);
        assertTrue(told.contains("; if " + temporary + " is mounted noexec, name another directory with"
                + " -Djava.io.tmpdir\n"), told);
    }
}
