package velnor.cli;

/** What a script can tell from how a command ended. */
final class ExitCode {
    static final int OK = 0;
    static final int SIGNATURE_INVALID = 1;
    static final int USAGE = 2;
    static final int REFUSED = 3;
    static final int NOT_FOUND = 4;
    static final int IO = 5;
    static final int CANNOT_LOAD = 6;
    static final int TIMEOUT = 7;
    static final int DEFECT = 70;

    private ExitCode() {
    }
}
