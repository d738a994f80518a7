package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.token.SecretKeys;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import java.util.Set;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.CKK;

/** What becomes of the file that {@code --out} names, also when something goes wrong on the way. */
class OutputTest extends TokenCommands {
    private static final byte[] OLD = "old".getBytes(StandardCharsets.US_ASCII);
    private static final int EPERM = 1;
    private static final int EIO = 5;

    @BeforeAll
    static void fill() {
        onToken(session -> session.createObject(kept("aes", SecretKeys.template(CKK.AES, new byte[16]))));
    }

    /** A command that writes a digest, which is 65 bytes. */
    private Velnor digest(Object... arguments) throws IOException {
        return anonymous("digest", inputs().resolve("data")).arguments("--out").arguments(arguments);
    }

    private static Velnor meddledWith(Velnor velnor, String wishes) {
        return velnor.set("LD_PRELOAD", System.getProperty("harlune.meddler")).set("MEDDLER", wishes);
    }

    /** A directory of its own, so that whatever else is in the other one was left there. */
    private Path inputs() throws IOException {
        Path inputs = Path.of(System.getProperty("java.io.tmpdir"), "inputs");
        if (Files.notExists(inputs)) {
            Files.createDirectory(inputs);
            Files.write(inputs.resolve("data"), SHORT);
            Files.write(inputs.resolve("blocks"), new byte[1 << 20]);
        }
        return inputs;
    }

    private Velnor cipher(String command) throws IOException {
        return user(command, inputs().resolve("blocks"), "--label", "aes", "--mechanism", "AES_ECB", "--out",
                path("out"));
    }

    private Path old(String mode) throws IOException {
        return Files.setPosixFilePermissions(file("out", OLD), PosixFilePermissions.fromString(mode));
    }

    private static String mode(Path file) throws IOException {
        return PosixFilePermissions.toString(Files.getPosixFilePermissions(file));
    }

    private void assertOnly(String... names) throws IOException {
        try (var files = Files.list(directory)) {
            assertEquals(Set.of(names), Set.copyOf(files.map(file -> file.getFileName().toString()).toList()));
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"r--------", "rw-rw-rw-"})
    void aFileThatIsReplacedKeepsItsMode(String mode) throws Exception {
        Path out = old(mode);
        digest(out, "--force").run().assertStatus(0);
        assertEquals(65, Files.size(out));
        assertEquals(mode, mode(out));
        user("random", "10", "--out", out, "--force").run().assertStatus(0);
        assertEquals(10, Files.size(out));
        assertEquals(mode, mode(out));
        assertOnly("out");
    }

    @ParameterizedTest
    @ValueSource(strings = {"fsync", "chmod", "rename"})
    void whateverFailsTheOldFileStays(String call) throws Exception {
        Path out = old("rw-r-----");
        Velnor.End end = meddledWith(digest(out, "--force"), call + "=" + EIO).run();
        assertEquals(5, end.status(), end.err());
        assertTrue(end.err().startsWith("velnor: " + directory) && end.err().endsWith(": Input/output error\n"),
                end.err());
        assertArrayEquals(OLD, Files.readAllBytes(out));
        assertEquals("rw-r-----", mode(out));
        assertOnly("out");
    }

    @Test
    void aFileThatAppearsMeanwhileIsNotOverwritten() throws Exception {
        for (String wishes : List.of("appear", "appear,link=" + EPERM)) {
            Files.deleteIfExists(path("out"));
            meddledWith(digest(path("out")), wishes).run().assertRefused(5,
                    path("out") + " exists already; --force overwrites it");
            assertEquals("theirs", Files.readString(path("out")));
            assertOnly("out");
        }
    }

    @Test
    void aFileSystemWithoutLinksWillDo() throws Exception {
        meddledWith(digest(path("out")), "link=" + EPERM).run().assertStatus(0);
        assertEquals(65, Files.size(path("out")));
        assertOnly("out");
        Files.delete(path("out"));
        assertEquals(5, meddledWith(digest(path("out")), "link=" + EPERM + ",rename=" + EIO).run().status());
        assertOnly();
    }

    @Test
    void secretsAreTheirOwnersFromTheFirstByte() throws Exception {
        Velnor[] secrets = {cipher("decrypt"), user("random", "10", "--out", path("out")),
            user("random", "10", "--format", "hex", "--out", path("out"))};
        for (Velnor velnor : secrets) {
            assertEquals("made with 600\n", meddledWith(velnor, "tell").run().err());
            assertEquals("rw-------", mode(path("out")));
            Files.delete(path("out"));
        }
        for (Velnor velnor : new Velnor[] {cipher("encrypt"), digest(path("out"))}) {
            Velnor masked = meddledWith(velnor, "tell");
            masked.command().addAll(0, List.of("bash", "-c", "umask 027; exec \"$@\"", "bash"));
            assertEquals("made with 666\n", masked.run().err());
            assertEquals("rw-r-----", mode(path("out")));
            Files.delete(path("out"));
        }
        old("rw-r--r--");
        assertEquals("made with 600\n", meddledWith(digest(path("out"), "--force"), "tell").run().err());
    }

    @Test
    void aDirectoryThatMayNotBeWrittenIsTold() throws Exception {
        Path closed = Files.createDirectory(path("closed"));
        Path out = Files.write(closed.resolve("out"), OLD);
        Files.setPosixFilePermissions(closed, PosixFilePermissions.fromString("r-xr-xr-x"));
        for (Path file : List.of(out, closed.resolve("new"))) {
            Velnor velnor = digest(file, "--force");
            // Root may write everywhere, unless that right is taken away.
            velnor.command().addAll(0, List.of("bash", "-c", "[ $(id -u) != 0 ] || root='setpriv --bounding-set"
                    + " -dac_override,-dac_read_search'; exec $root \"$@\"", "bash"));
            velnor.run().assertRefused(5, file + " is not written, because no file can be made beside it:"
                    + " permission denied");
        }
        assertArrayEquals(OLD, Files.readAllBytes(out));
        Files.setPosixFilePermissions(closed, PosixFilePermissions.fromString("rwxr-xr-x"));
    }

    @Test
    void aDiskThatIsFullLeavesNothing() throws Exception {
        anonymous("random", "10", "--out", "/dev/full").run().assertRefused(5,
                "/dev/full: No space left on device");
        for (boolean replacing : new boolean[] {false, true}) {
            if (replacing) {
                old("rw-r--r--");
            }
            Velnor velnor = cipher("encrypt").arguments("--force");
            velnor.command().addAll(0, List.of("bash", "-c", "ulimit -f 500; exec \"$@\"", "bash"));
            velnor.run().assertRefused(5, path("out") + ": File too large");
            assertOnly(replacing ? new String[] {"out"} : new String[0]);
        }
        assertArrayEquals(OLD, Files.readAllBytes(path("out")));
    }

    @Test
    void aPipeIsWrittenToAsItIs() throws Exception {
        Path pipe = path("pipe");
        assertEquals(0, new ProcessBuilder("mkfifo", pipe.toString()).start().waitFor());
        Process reader = new ProcessBuilder("cat", pipe.toString()).start();
        digest(pipe).run().assertStatus(0);
        assertEquals(65, reader.getInputStream().readAllBytes().length);
        assertTrue(reader.waitFor(10, TimeUnit.SECONDS));
        assertFalse(Files.isRegularFile(pipe));
        assertOnly("pipe");
    }

    @Test
    void whatIsNoPlaceForAFileIsTold() throws Exception {
        Path link = Files.createSymbolicLink(path("link"), path("nothing"));
        for (Object[] options : new Object[][] {{link}, {link, "--force"}}) {
            digest(options).run().assertRefused(5, link + " is a link to what is not there");
        }
        digest(directory, "--force").run().assertRefused(5, directory + ": is a directory");
        digest(path("none").resolve("out")).run().assertRefused(5,
                path("none") + ": there is no such file or directory");
        assertOnly("link");
    }

    @Test
    void aNameMayBeAsLongAsTheFileSystemLets() throws Exception {
        String name = "n".repeat(255);
        digest(path(name)).run().assertStatus(0);
        digest(path(name), "--force").run().assertStatus(0);
        assertOnly(name);
    }

    /** The name of the directory has an emoji, the file's a character of three bytes. */
    @Test
    void namesMayHaveAnyCharacter() throws Exception {
        String emoji = "\\360\\237\\230\\200";
        Velnor velnor = digest(directory + "/" + emoji + "/\\342\\202\\254").inLocale("C.UTF-8");
        velnor.command().addAll(0, List.of("bash", "-c", "mkdir \"$0\"/$'" + emoji + "' && exec \"$@\"",
                directory.toString()));
        velnor.run().assertStatus(0);
        Process found = new ProcessBuilder("bash", "-c", "wc -c < \"$0\"/$'" + emoji + "/\\342\\202\\254'",
                directory.toString()).start();
        assertEquals("65\n", new String(found.getInputStream().readAllBytes(), StandardCharsets.US_ASCII));
    }
}
