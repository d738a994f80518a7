package harlune.runner;

import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import org.junit.jupiter.api.Disabled;
import org.junit.jupiter.api.Test;

/** Test classes of every outcome, for check-runner; no part of the suite. */
final class Samples {
    private Samples() {
    }

    static class Passing {
        @Test
        void passes() {
            assertTrue(true);
        }
    }

    static class Failing extends Passing {
        @Test
        void fails() {
            fail("as it should");
        }
    }

    static class Skipped extends Passing {
        @Test
        @Disabled("as it should be")
        void isSkipped() {
            fail("executed");
        }
    }

    static class Aborted extends Passing {
        @Test
        void isAborted() {
            assumeTrue(false, "as it should");
        }
    }

    @Disabled("as it should be")
    static class AllSkipped extends Passing {
    }

    static class Empty {
    }

    static class Halting extends Passing {
        @Test
        void endsTheJvm() {
            Runtime.getRuntime().halt(0);
        }
    }
}
