package velnor.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.io.StringWriter;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;

import picocli.CommandLine.ParameterException;

import velnor.CryptokiException;

/** How a failure is told: one line for people, one object for programs, one exit code for both. */
final class ErrorReport {
    private final Throwable failure;
    private final int exitCode;

    ErrorReport(Throwable failure) {
        this.failure = failure;
        exitCode = exitCode(failure);
    }

    private static int exitCode(Throwable failure) {
        if (failure instanceof Failure) {
            return ((Failure) failure).exitCode();
        }
        if (failure instanceof CryptokiException) {
            return ExitCode.REFUSED;
        }
        // The library's word for what it was asked and cannot do, such as a mechanism's parameter.
        if (failure instanceof ParameterException || failure instanceof IllegalArgumentException) {
            return ExitCode.USAGE;
        }
        return failure instanceof IOException ? ExitCode.IO : ExitCode.DEFECT;
    }

    int exitCode() {
        return exitCode;
    }

    void print(boolean json, boolean stackTrace) {
        if (json) {
            Fields error = fields();
            if (stackTrace) {
                error.with("stackTrace", stackTrace());
            }
            System.err.println(Json.document(new Fields().with("error", error)));
        } else {
            System.err.println("velnor: " + Text.visible(message()));
            if (stackTrace) {
                System.err.print(stackTrace());
            }
        }
    }

    private Fields fields() {
        Fields fields = new Fields().with("exitCode", exitCode).with("message", message());
        Throwable refusal = failure instanceof Failure && failure.getCause() != null ? failure.getCause() : failure;
        if (refusal instanceof CryptokiException) {
            CryptokiException e = (CryptokiException) refusal;
            fields.with("function", e.functionName()).with("code", e.codeName()).with("returnValue", e.returnValue())
                    .with("text", e.text());
        }
        return fields;
    }

    private String message() {
        if (failure instanceof FileSystemException) {
            return message((FileSystemException) failure);
        }
        if (failure instanceof ParameterException) {
            return UsageMessage.of((ParameterException) failure);
        }
        if (exitCode == ExitCode.DEFECT || failure.getMessage() == null) {
            return failure.toString();
        }
        return failure.getMessage();
    }

    private static String message(FileSystemException e) {
        return e.getFile() + ": " + reason(e);
    }

    /** What is wrong with a file, without its name. */
    static String reason(FileSystemException e) {
        return e instanceof NoSuchFileException ? "there is no such file or directory"
                : e instanceof AccessDeniedException ? "permission denied"
                : e instanceof FileAlreadyExistsException ? "exists already"
                : e.getReason();
    }

    private String stackTrace() {
        StringWriter trace = new StringWriter();
        failure.printStackTrace(new PrintWriter(trace));
        return trace.toString();
    }
}
