package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;

import org.junit.jupiter.api.Test;

/**
 * Programs go on: what tests/jvm/public-api.txt lists is there, as it was. A release adds what it brings to the list
 * (the main method of {@link PublicApi} prints it); nothing is taken from it but what docs/changes.md names.
 */
class PublicApiTest {
    @Test
    void whatProgramsNameIsThere() throws Exception {
        List<String> promised = Files.readAllLines(Path.of(System.getProperty("harlune.sources"),
                "tests/jvm/public-api.txt"));
        assertTrue(promised.size() > 1000, () -> "only " + promised.size() + " lines");
        Set<String> lost = new TreeSet<>(promised);
        lost.removeAll(PublicApi.lines());
        assertEquals(Set.of(), lost);
    }
}
