package harlune.matrix;

import java.util.List;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.TestFactory;

/**
 * What people use tokens for, through the surface on the token at hand. What the token does is checked outside it; what
 * it refuses must be what it is known to refuse: tests/tokens/outcomes/surface has a file for every token.
 */
class SurfaceMatrixTest {
    private static final Outcomes OUTCOMES = new Outcomes(SurfaceTrials.ROWS);
    private static OpenToken token;

    @BeforeAll
    static void open() {
        token = new OpenToken();
    }

    @AfterAll
    static void close() {
        token.close();
    }

    @TestFactory
    List<DynamicTest> trials() {
        return TokenColumn.tests(OUTCOMES, "surface", List.of(
                new SurfaceModuleTrials(token, OUTCOMES),
                new SurfaceCipherTrials(token, OUTCOMES),
                new SurfaceKeyTrials(token, OUTCOMES),
                new SurfaceObjectTrials(token, OUTCOMES)));
    }
}
