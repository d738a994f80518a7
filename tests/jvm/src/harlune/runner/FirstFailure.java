package harlune.runner;

import static org.junit.platform.engine.discovery.DiscoverySelectors.selectClass;

import org.junit.platform.engine.TestExecutionResult;
import org.junit.platform.launcher.Launcher;
import org.junit.platform.launcher.TestExecutionListener;
import org.junit.platform.launcher.TestIdentifier;
import org.junit.platform.launcher.core.LauncherDiscoveryRequestBuilder;
import org.junit.platform.launcher.core.LauncherFactory;

/** Runs classes of tests, one after the other, to the first failure: for those who only ask whether there is one. */
final class FirstFailure {
    private FirstFailure() {
    }

    /** Ends the JVM with status 1 at a failure, with 0 when all tests have passed. */
    public static void main(String[] classes) {
        Launcher launcher = LauncherFactory.create();
        for (String name : classes) {
            long begin = System.nanoTime();
            Ending ending = new Ending();
            launcher.execute(LauncherDiscoveryRequestBuilder.request().selectors(selectClass(name)).build(), ending);
            if (ending.passed == 0) {
                ending.end(name + " has no test that passes");
            }
            System.out.println(name + " took " + (System.nanoTime() - begin) / 1_000_000 + " ms");
        }
        Runtime.getRuntime().halt(0);
    }

    private static final class Ending implements TestExecutionListener {
        private int passed;

        @Override
        public void executionFinished(TestIdentifier test, TestExecutionResult result) {
            if (result.getStatus() != TestExecutionResult.Status.SUCCESSFUL) {
                result.getThrowable().ifPresent(failure -> failure.printStackTrace(System.out));
                end(test.getUniqueId() + " has failed");
            }
            if (test.isTest()) {
                passed++;
            }
        }

        private void end(String why) {
            System.out.println(why);
            System.out.flush();
            Runtime.getRuntime().halt(1);
        }
    }
}
