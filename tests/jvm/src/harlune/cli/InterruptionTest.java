package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;
import harlune.token.SecretKeys;

import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Stream;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

import velnor.CKK;

/** Commands that somebody stops midway. */
class InterruptionTest extends TokenCommands {
    @BeforeAll
    static void fill() {
        onToken(session -> session.createObject(kept("aes", SecretKeys.template(CKK.AES, new byte[16]))));
    }

    private List<Path> files() throws Exception {
        try (Stream<Path> files = Files.list(directory)) {
            return files.toList();
        }
    }

    @ParameterizedTest
    @CsvSource({"INT, 130, false", "TERM, 143, true"})
    void noHalfFileIsLeft(String signal, int status, boolean replacing) throws Exception {
        List<Path> before = replacing ? List.of(file("encrypted", new byte[0])) : List.of();
        Path err = Files.createTempFile("velnor", ".err");
        Velnor velnor = user("encrypt", "-", "--label", "aes", "--mechanism", "AES_ECB", "--out",
                path("encrypted"), "--force");
        // A test that runs in the background is deaf to the one signal, and its children would be.
        velnor.command().addAll(0, List.of("env", "--default-signal=INT,TERM"));
        Process process = velnor.process().redirectInput(ProcessBuilder.Redirect.PIPE).redirectError(err.toFile())
                .start();
        try (OutputStream in = process.getOutputStream()) {
            in.write(new byte[1 << 20]);
            in.flush();
            while (files().stream().noneMatch(file -> file.toFile().length() > 0)) {
                assertTrue(process.isAlive(), () -> "ended too early");
                Thread.sleep(20);
            }
            new ProcessBuilder("kill", "-" + signal, Long.toString(process.pid())).start().waitFor();
            assertEquals(status, Velnor.status(process));
        }
        assertEquals(before, files());
        assertTrue(before.stream().allMatch(file -> file.toFile().length() == 0));
        assertEquals("", Files.readString(err));
    }

    @Test
    void whoWaitsInVainIsTold() throws Exception {
        long begin = System.nanoTime();
        Velnor.of("wait", "--timeout", "1", "--count", "3", "--module", Tokens.MODULE).run()
                .assertRefused(7, "0 of 3 events within 1 s");
        assertTrue(System.nanoTime() - begin >= 1_000_000_000L);
    }

    @Test
    void aReaderThatIsGoneIsNoSuccess() throws Exception {
        Velnor velnor = user("encrypt", file("plain", new byte[1 << 20]), "--label", "aes", "--mechanism",
                "AES_ECB");
        Process process = velnor.process().redirectError(ProcessBuilder.Redirect.DISCARD).start();
        process.getInputStream().close();
        assertEquals(5, Velnor.status(process));
    }
}
