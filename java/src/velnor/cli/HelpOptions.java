package velnor.cli;

import picocli.CommandLine.Command;
import picocli.CommandLine.Option;

/** What stands in front of a command too: the help, and how all of it is laid out. */
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
            "5:a file or stream failed, or exists already",
            "6:the module, the native library or a jar cannot be loaded",
            "7:wait: nothing happened in time",
            "70:a defect in this program",
            "130:ended by Ctrl-C",
            "143:ended by SIGTERM",
        })
final class HelpOptions {
    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help.")
    private boolean help;
}
