package velnor.cli;

/** The command line without a process of its own, several times if need be. */
public final class Running {
    private Running() {
    }

    /** Runs one command, and gives its exit code. */
    public static int run(String... arguments) {
        return Program.run(arguments);
    }
}
