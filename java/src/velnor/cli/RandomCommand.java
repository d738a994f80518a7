package velnor.cli;

import java.io.IOException;

import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Parameters;

import velnor.Session;

@Command(name = "random", description = "Get random bytes from a token.")
final class RandomCommand extends SessionCommand {
    private static final int MOST = 1 << 20;

    @Parameters(paramLabel = "COUNT", description = "How many bytes, at most 1048576.")
    private int count;

    @Mixin
    private ResultOptions result;

    RandomCommand() {
        super(false, false);
    }

    @Override
    void prepare() throws IOException {
        if (count < 1 || count > MOST) {
            throw Failure.usage("there are 1 to " + MOST + " random bytes to be had at once");
        }
        result.prepare();
    }

    @Override
    int run(Session session) throws IOException {
        result.giveSecret(standard, new Fields(), "random", session.random(count), ResultOptions.Format.RAW);
        return ExitCode.OK;
    }
}
