package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Standard output that takes nothing, not all, or is a file: what did not get out is no success. */
class StdoutTest extends TokenCommands {
    private Velnor.End redirected(Velnor velnor, String redirection) throws Exception {
        velnor.command().addAll(0, List.of("bash", "-c", "\"$@\" " + redirection, "bash"));
        return velnor.run();
    }

    @ParameterizedTest
    @CsvSource({"> /dev/full, No space left on device", ">&-, Bad file descriptor"})
    void whatCannotBeWrittenIsAFailure(String redirection, String reason) throws Exception {
        Velnor[] all = {anonymous("random", "10"), anonymous("objects"), anonymous("digest", file("data", LONG)),
            anonymous("random", "10", "--out", "/dev/stdout")};
        for (Velnor velnor : all) {
            redirected(velnor, redirection).assertRefused(5, "stdout: " + reason);
        }
        assertEquals("stdout: " + reason, redirected(anonymous("random", "10", "--json"), redirection).error()
                .get("message").getAsString());
    }

    @ParameterizedTest
    @ValueSource(strings = {"--help", "--version"})
    void soIsHelpThatNobodyGets(String option) throws Exception {
        redirected(Velnor.of(option), "> /dev/full").assertRefused(5, "stdout could not be written");
        redirected(Velnor.of(option), ">&-").assertRefused(5, "stdout could not be written");
    }

    @Test
    void aReaderThatLeavesEarlyIsTold() throws Exception {
        Velnor.End end = redirected(anonymous("random", "1000000"), "| head -c 1; exit ${PIPESTATUS[0]}");
        assertEquals("velnor: stdout: Broken pipe\n", end.err());
        assertEquals(5, end.status());
        assertEquals(1, end.out().length);
    }

    @Test
    void aFileThatStdoutGoesToIsWrittenOnFromWhereItStands() throws Exception {
        Path file = file("file", new byte[] {'a'});
        for (String name : List.of("/dev/stdout", "/dev/fd/1", "/proc/self/fd/1")) {
            long size = Files.size(file);
            redirected(anonymous("random", "10", "--format", "hex", "--out", name), ">> '" + file + "'")
                    .assertStatus(0);
            assertEquals(size + 21, Files.size(file));
        }
        assertTrue(Files.readString(file).startsWith("a"));
    }
}
