package velnor.cli;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.function.Function;

import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

/** What every command understands, and how every command tells its result. */
final class StandardOptions {
    static final String JSON = "--json";
    static final String STACK_TRACE = "--stacktrace";

    @Option(names = JSON, description = "Write one JSON document to stdout; errors as JSON to stderr.")
    private boolean json;

    @Option(names = STACK_TRACE, description = "Show where in the program an error arose.")
    private boolean stackTrace;

    @Mixin
    private HelpOptions help;

    boolean json() {
        return json;
    }

    void report(Fields fields, Function<Fields, String> text) throws IOException {
        print(json ? Json.document(fields) + "\n" : text.apply(fields));
    }

    static void print(String text) throws IOException {
        Stdout.write(text.getBytes(StandardCharsets.UTF_8));
    }
}
