package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import java.util.Map;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Files of other users, which {@code --out --force} replaces. */
class OutputAsRootTest extends TokenCommands {
    private static final Map<String, Object> THEIRS = Map.of("uid", 12345, "gid", 54321);
    private static final String RESOLUTION = " is not replaced, because what replaces it would be another user's or"
            + " group's; redirect stdout to write into it";

    private Path out;

    @BeforeEach
    void make() throws IOException {
        out = file("out", new byte[] {1});
        Files.setPosixFilePermissions(out, PosixFilePermissions.fromString("rw-r-----"));
        Files.setAttribute(out, "unix:uid", THEIRS.get("uid"));
        Files.setAttribute(out, "unix:gid", THEIRS.get("gid"));
    }

    private Velnor digest() throws IOException {
        return anonymous("digest", "/dev/null", "--out", out, "--force");
    }

    private void assertTheirs() throws IOException {
        assertEquals(THEIRS, Files.readAttributes(out, "unix:uid,gid"));
        assertEquals("rw-r-----", PosixFilePermissions.toString(Files.getPosixFilePermissions(out)));
        try (var files = Files.list(directory)) {
            assertEquals(List.of(out), files.toList());
        }
    }

    @Test
    void ownerAndGroupStay() throws Exception {
        digest().run().assertStatus(0);
        assertEquals(65, Files.size(out));
        assertTheirs();
    }

    /** What an ordinary user may not do, root may not either without this right. */
    @Test
    void whereTheyCannotTheFileStaysAsItIs() throws Exception {
        Velnor velnor = digest();
        velnor.command().addAll(0, List.of("setpriv", "--bounding-set", "-chown"));
        velnor.run().assertRefused(5, out + RESOLUTION);
        assertArrayEquals(new byte[] {1}, Files.readAllBytes(out));
        assertTheirs();
    }

    @Test
    void whateverFailsTheOldFileStays() throws Exception {
        for (String call : List.of("chown", "chmod", "fsync", "rename")) {
            assertEquals(5, digest().set("LD_PRELOAD", System.getProperty("harlune.meddler"))
                    .set("MEDDLER", call + "=5").run().status());
            assertArrayEquals(new byte[] {1}, Files.readAllBytes(out));
            assertTheirs();
        }
    }

    @Test
    void aFileSystemThatIsFullLeavesNothing() throws Exception {
        Velnor velnor = anonymous("random", "1000000", "--out", directory.resolve("small/out"));
        velnor.command().addAll(0, List.of("unshare", "--mount", "bash", "-c", "mkdir \"$0\"/small"
                + " && mount -t tmpfs -o size=64k none \"$0\"/small && \"$@\"; status=$?; ls -A \"$0\"/small"
                + "; exit $status", directory.toString()));
        velnor.run().assertRefused(5, directory.resolve("small/out") + ": No space left on device");
    }
}
