package velnor.cli;

import java.util.Arrays;

import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.HelpCommand;
import picocli.CommandLine.IVersionProvider;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;
import picocli.CommandLine.Model.CommandSpec;

/** The command line as a whole. */
@Command(
        name = "java -jar velnor.jar",
        synopsisSubcommandLabel = "COMMAND",
        description = "Works with PKCS#11 tokens.",
        versionProvider = Program.Version.class,
        subcommands = {
            InfoCommand.class, SlotsCommand.class, MechanismsCommand.class, ObjectsCommand.class, GenerateCommand.class,
            SignCommand.class, VerifyCommand.class, EncryptCommand.class, DecryptCommand.class, DigestCommand.class,
            RandomCommand.class, InitTokenCommand.class, SetPinCommand.class, WaitCommand.class, HelpCommand.class,
        })
final class Program implements Runnable {
    /** The version that the jar says it has. */
    static final class Version implements IVersionProvider {
        @Override
        public String[] getVersion() {
            String version = Program.class.getPackage().getImplementationVersion();
            return new String[] {"Harlune " + (version == null ? "(unpacked)" : version)};
        }
    }

    @Mixin
    private HelpOptions help;

    @Option(names = {"-V", "--version"}, versionHelp = true, description = "Show the version.")
    private boolean version;

    @Spec
    private CommandSpec spec;

    @Override
    public void run() {
        throw new ParameterException(spec.commandLine(), "no command");
    }

    static int run(String... arguments) {
        Shutdown.prepare();
        boolean json = Arrays.asList(arguments).contains(StandardOptions.JSON);
        boolean stackTrace = Arrays.asList(arguments).contains(StandardOptions.STACK_TRACE);
        try {
            CommandLine program = commandLine(json, stackTrace);
            LocaleText.requireMeant(program, arguments);
            int status = program.execute(arguments);
            // Help and version go through a stream that does not tell by itself.
            return System.out.checkError() && status == ExitCode.OK
                    ? told(Failure.io("stdout could not be written"), json, stackTrace) : status;
        } catch (Failure | Error e) {
            return told(e, json, stackTrace);
        }
    }

    private static CommandLine commandLine(boolean json, boolean stackTrace) {
        return new CommandLine(new Program())
                .setExpandAtFiles(false)
                .setCaseInsensitiveEnumValuesAllowed(true)
                .registerConverter(Hex.class, Hex::parse)
                .setParameterExceptionHandler((e, rest) -> told(e, json, stackTrace))
                .setExecutionExceptionHandler((e, command, parsed) -> told(e, json, stackTrace));
    }

    private static int told(Throwable failure, boolean json, boolean stackTrace) {
        ErrorReport report = new ErrorReport(failure);
        // When somebody has pressed Ctrl-C, what fails for that reason is no news.
        if (!Shutdown.hasBegun()) {
            report.print(json, stackTrace);
        }
        return report.exitCode();
    }
}
