package velnor.cli;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.function.Function;

import picocli.CommandLine.Command;
import picocli.CommandLine.Option;

/** What every command understands, and how every command tells its result. */
@Command(
        sortOptions = false,
        abbreviateSynopsis = true,
        exitCodeListHeading = "%nExit codes:%n",
        exitCodeList = {
            "0:done",
            "1:verify: the signature is not valid",
            "2:the command line is wrong, or a PIN is missing",
            "3:the token or its module refused",
            "4:no such token or key, or several of them",
            "5:a file or stream failed",
            "6:the module, the native library or a jar cannot be loaded",
            "7:wait: nothing happened in time",
            "70:a defect in this program",
            "130:ended by Ctrl-C",
            "143:ended by SIGTERM",
        })
final class StandardOptions {
    static final String JSON = "--json";
    static final String STACK_TRACE = "--stacktrace";

    @Option(names = JSON, description = "Write one JSON document to stdout; errors as JSON to stderr.")
    private boolean json;

    @Option(names = STACK_TRACE, description = "Show where in the program an error arose.")
    private boolean stackTrace;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help.")
    private boolean help;

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
