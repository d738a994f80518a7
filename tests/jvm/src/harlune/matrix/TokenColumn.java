package harlune.matrix;

import static org.junit.jupiter.api.Assertions.assertAll;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.DynamicTest.dynamicTest;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.DynamicTest;

/** The trials of a token's column as tests, with a last one that compares their outcomes with the known ones. */
final class TokenColumn {
    private static final Path TOKEN = Path.of(System.getProperty("harlune.token") + ".tsv");

    private TokenColumn() {
    }

    /** The known outcomes lie in the directory of that name in tests/tokens/outcomes. */
    static List<DynamicTest> tests(Outcomes outcomes, String directory, List<Trials> all) {
        List<DynamicTest> tests = new ArrayList<>();
        for (Trials trials : all) {
            String title = trials.getClass().getSimpleName().replace("Trials", "");
            for (Trials.Planned planned : trials.planned()) {
                String name = title + ": " + planned.what() + (planned.with().isEmpty() ? "" : ", " + planned.with());
                tests.add(dynamicTest(name, () -> trials.run(planned)));
            }
        }
        tests.add(dynamicTest("outcomes are the known ones", () -> outcomesAreTheKnownOnes(outcomes, directory)));
        return tests;
    }

    private static void outcomesAreTheKnownOnes(Outcomes outcomes, String directory) throws IOException {
        outcomes.write(Path.of(System.getProperty("harlune.outcomes"), directory).resolve(TOKEN));
        assertEquals(List.of(), outcomes.untried(), "what was not tried");
        Path known = Path.of(System.getProperty("harlune.sources"), "tests/tokens/outcomes", directory).resolve(TOKEN);
        List<Outcomes.Line> expected = Files.exists(known) ? Outcomes.read(known) : List.of();
        List<Outcomes.Line> found = outcomes.lines();
        assertAll(
                () -> assertEquals(List.of(), without(found, expected), "not known of this token"),
                () -> assertEquals(List.of(), without(expected, found), "known of this token and gone"));
    }

    private static List<Outcomes.Line> without(List<Outcomes.Line> lines, List<Outcomes.Line> others) {
        return lines.stream().filter(line -> !others.contains(line)).toList();
    }
}
