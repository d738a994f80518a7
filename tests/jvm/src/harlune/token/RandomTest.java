package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static harlune.token.Bytes.from;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import java.util.Arrays;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Random bytes from a token. */
class RandomTest extends KeyedSession {
    /** Exactly the region has changed: sixteen random bytes are the filling once in 2^128 times. */
    private static void assertFilled(byte[] random, int begin, int length) {
        assertArrayEquals(blank(begin), first(random, begin));
        assertArrayEquals(blank(random.length - begin - length), from(random, begin + length));
        byte[] region = Arrays.copyOfRange(random, begin, begin + length);
        assertFalse(Arrays.equals(blank(length), region));
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void aRegionIsFilledWithAndWithoutSeed(boolean seeded) {
        byte[] random = blank(48);
        session.J_GenerateRandom(h, seeded, seeded ? bytes(20) : null, random, 8, 32);
        assertFilled(random, 8, 32);
    }

    @Test
    void wholeArraysDiffer() {
        byte[] one = blank(32);
        byte[] other = blank(32);
        session.J_GenerateRandom(h, true, bytes(20), one, 0, 32);
        session.J_GenerateRandom(h, true, bytes(20), other, 0, 32);
        assertFalse(Arrays.equals(one, other));
    }

    @Test
    void aMissingSeedIsReportedAndTheBytesComeNevertheless() {
        byte[] random = blank(48);
        assertText("J_SeedRandom", "Seed is NULL", () -> session.J_GenerateRandom(h, true, null, random, 16, 16));
        assertFilled(random, 16, 16);
    }

    @Test
    void aMissingArrayIsReported() {
        assertText("J_GenerateRandom", "Random is NULL", () -> session.J_GenerateRandom(h, false, null, null, 0, 16));
    }

    @Test
    void theTokenIsAskedInTheSessionThatIsNamed() {
        byte[] random = blank(32);
        assertRefused("J_GenerateRandom", CKR_SESSION_HANDLE_INVALID, "SESSION HANDLE INVALID",
                () -> session.J_GenerateRandom(h + (1L << 32), false, null, random, 0, 32));
        assertRefused("J_SeedRandom", CKR_SESSION_HANDLE_INVALID, "SESSION HANDLE INVALID",
                () -> session.J_GenerateRandom(h + (1L << 32), true, bytes(20), random, 0, 32));
        assertArrayEquals(blank(32), random);
    }
}
