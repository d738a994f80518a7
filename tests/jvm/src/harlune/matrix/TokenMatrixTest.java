package harlune.matrix;

import static org.junit.jupiter.api.Assertions.assertAll;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.DynamicTest.dynamicTest;

import harlune.support.Bridge;
import harlune.support.Tokens;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.TestFactory;

import velnor.nat.NativeCryptoki;

/**
 * Every native method on the token at hand, driven by what the token says it can do. What the token does is checked;
 * what it refuses must be what it is known to refuse: tests/tokens/outcomes has a file for every token.
 */
class TokenMatrixTest {
    private static final String TOKEN = System.getProperty("harlune.token");
    private static final Path EXPECTED = Path.of(System.getProperty("harlune.sources"), "tests/tokens/outcomes",
            TOKEN + ".tsv");
    private static final Path FOUND = Path.of(System.getProperty("harlune.outcomes"), TOKEN + ".tsv");
    private static final Outcomes OUTCOMES = new Outcomes();
    private static NativeCryptoki cryptoki;

    @BeforeAll
    static void bind() {
        cryptoki = Bridge.initialize(Tokens.MODULE);
    }

    @AfterAll
    static void release() {
        cryptoki.Finalize(null);
    }

    @TestFactory
    List<DynamicTest> trials() {
        List<DynamicTest> tests = new ArrayList<>();
        for (Trials trials : List.of(
                new ModuleTrials(cryptoki, OUTCOMES),
                new SlotsTrials(cryptoki, OUTCOMES),
                new SessionsTrials(cryptoki, OUTCOMES),
                new ObjectsTrials(cryptoki, OUTCOMES),
                new EncryptionTrials(cryptoki, OUTCOMES),
                new DigestingTrials(cryptoki, OUTCOMES),
                new SigningTrials(cryptoki, OUTCOMES),
                new DualFunctionsTrials(cryptoki, OUTCOMES),
                new KeysTrials(cryptoki, OUTCOMES),
                new RemainingTrials(cryptoki, OUTCOMES),
                new AdministrationTrials(cryptoki, OUTCOMES))) {
            String title = trials.getClass().getSimpleName().replace("Trials", "");
            for (Trials.Planned planned : trials.planned()) {
                String name = title + ": " + planned.what() + (planned.with().isEmpty() ? "" : ", " + planned.with());
                tests.add(dynamicTest(name, () -> trials.run(planned)));
            }
        }
        tests.add(dynamicTest("outcomes are the known ones", TokenMatrixTest::outcomesAreTheKnownOnes));
        return tests;
    }

    private static void outcomesAreTheKnownOnes() throws IOException {
        OUTCOMES.write(FOUND);
        assertEquals(List.of(), NativeMethods.all().keySet().stream().filter(each -> !OUTCOMES.has(each)).toList(),
                "native methods that were not called");
        List<Outcomes.Line> expected = Files.exists(EXPECTED) ? Outcomes.read(EXPECTED) : List.of();
        List<Outcomes.Line> found = OUTCOMES.lines();
        assertAll(
                () -> assertEquals(List.of(), without(found, expected), "not known of this token"),
                () -> assertEquals(List.of(), without(expected, found), "known of this token and gone"));
    }

    private static List<Outcomes.Line> without(List<Outcomes.Line> lines, List<Outcomes.Line> others) {
        return lines.stream().filter(line -> !others.contains(line)).toList();
    }
}
