package harlune.matrix;

import velnor.CryptokiException;

/** The token refused the call that a trial is about; the refusal is written down, and the trial is over. */
final class Refused extends RuntimeException {
    private static final long serialVersionUID = 1L;

    Refused(CryptokiException refusal) {
        super(refusal);
    }
}
