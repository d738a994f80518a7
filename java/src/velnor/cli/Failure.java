package velnor.cli;

import velnor.CryptokiException;

/** What a command could not do, in the words that its user reads. */
final class Failure extends RuntimeException {
    private static final long serialVersionUID = 1L;

    private final int exitCode;

    private Failure(int exitCode, String message, Throwable cause) {
        super(message, cause);
        this.exitCode = exitCode;
    }

    static Failure usage(String message) {
        return new Failure(ExitCode.USAGE, message, null);
    }

    static Failure notFound(String message) {
        return new Failure(ExitCode.NOT_FOUND, message, null);
    }

    static Failure io(String message) {
        return new Failure(ExitCode.IO, message, null);
    }

    static Failure cannotLoad(CryptokiException cause) {
        return new Failure(ExitCode.CANNOT_LOAD, cause.getMessage(), cause);
    }

    /** The message has a line for each place where the native library was looked for. */
    static Failure cannotLoad(UnsatisfiedLinkError cause) {
        String line = cause.getMessage().replace(":\n  ", ": ").replace("\n  ", "; ").replace("\n", ". ");
        return new Failure(ExitCode.CANNOT_LOAD, line, cause);
    }

    static Failure timeout(String message) {
        return new Failure(ExitCode.TIMEOUT, message, null);
    }

    int exitCode() {
        return exitCode;
    }
}
