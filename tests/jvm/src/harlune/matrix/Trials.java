package harlune.matrix;

import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.fail;

import java.util.ArrayList;
import java.util.List;
import java.util.function.Supplier;

import velnor.CryptokiException;

/**
 * Trials on the token at hand. The calls that a trial is about go through {@link #call}, which writes down in which row
 * of the table whether the token did it; their results are then checked like those of any test. What merely has to be
 * there, such as a key, is called plainly, and a token that refuses it ends the trial.
 */
abstract class Trials {
    /** A trial in a session of its own, the user logged in. */
    interface Trial {
        void run() throws Exception;
    }

    record Planned(Trials trials, String what, String with, boolean inSession, Trial trial) {
    }

    protected final Outcomes outcomes;
    private final List<Planned> planned = new ArrayList<>();
    private Planned running;
    /** Whether the token has done something in this trial: from then on every result has to be right. */
    private boolean done;

    Trials(Outcomes outcomes) {
        this.outcomes = outcomes;
    }

    /** Says what there is to try on this token. */
    abstract void plan();

    /** Makes ready for a trial, with a session or without. */
    abstract void begin(boolean inSession);

    /** Clears away what a trial leaves behind. */
    abstract void end();

    /** How the refusal of what a row is about is written down. */
    abstract String refusal(String row, CryptokiException refused);

    /** Looks at a result before the trial does. */
    void checkResult(String row, Object result) {
    }

    /** A trial is over because the token refused what has to come first. */
    void nothingToTryItWith(Planned trial, CryptokiException refused) {
        System.out.println("Nothing to try it with: " + refused.getMessage());
    }

    final List<Planned> planned() {
        plan();
        return planned;
    }

    protected final void trial(String what, String with, Trial trial) {
        planned.add(new Planned(this, what, with, true, trial));
    }

    protected final void trialWithoutSession(String what, String with, Trial trial) {
        planned.add(new Planned(this, what, with, false, trial));
    }

    protected final Planned running() {
        return running;
    }

    /** Runs a trial; what it leaves behind ends with its session. */
    final void run(Planned trial) throws Exception {
        running = trial;
        done = false;
        try {
            begin(trial.inSession);
            trial.trial.run();
        } catch (Refused e) {
            System.out.println("Refused: " + e.getCause().getMessage());
        } catch (CryptokiException e) {
            assertFalse(done, () -> "what was done could not be checked: " + e.getMessage());
            nothingToTryItWith(trial, e);
        } finally {
            end();
        }
    }

    /** Makes a call that a trial is about. A refusal ends the trial. */
    protected final <T> T call(String row, String with, Supplier<T> call) {
        try {
            T result = call.get();
            checkResult(row, result);
            outcomes.put(row, with, Outcomes.OK);
            done = true;
            return result;
        } catch (CryptokiException e) {
            outcomes.put(row, with, refusal(row, e));
            throw new Refused(e);
        }
    }

    /** Makes a call that a token must not accept. */
    protected final void mustRefuse(String row, String with, Runnable call) {
        try {
            call.run();
        } catch (CryptokiException e) {
            outcomes.put(row, with, Outcomes.REFUSES + refusal(row, e));
            return;
        }
        fail(row + " accepted " + with);
    }
}
