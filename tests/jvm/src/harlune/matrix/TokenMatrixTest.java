package harlune.matrix;

import harlune.support.Bridge;
import harlune.support.Tokens;

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
    private static final Outcomes OUTCOMES = new Outcomes(NativeMethods.all().keySet());
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
        return TokenColumn.tests(OUTCOMES, "", List.of(
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
                new AdministrationTrials(cryptoki, OUTCOMES)));
    }
}
