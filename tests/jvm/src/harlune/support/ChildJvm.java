package harlune.support;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;

/** Another JVM like this one, for calls that nobody survives. */
public final class ChildJvm {
    private ChildJvm() {
    }

    /** How a child ended, and what it wrote. */
    public record End(int status, String told) {
    }

    /** Runs the main method of a class; the options come after those of this JVM. */
    public static End run(List<String> options, Class<?> main, String argument)
            throws IOException, InterruptedException {
        return run(options, Map.of(), main, argument);
    }

    /** The same in an environment with more variables. */
    public static End run(List<String> options, Map<String, String> environment, Class<?> main, String argument)
            throws IOException, InterruptedException {
        Path output = Files.createTempFile("child", ".out");
        List<String> command = new ArrayList<>();
        command.add(System.getProperty("java.home") + "/bin/java");
        command.addAll(ManagementFactory.getRuntimeMXBean().getInputArguments());
        command.addAll(options);
        command.addAll(List.of("-XX:ErrorFile=" + output + ".crash", "-cp", System.getProperty("java.class.path"),
                main.getName(), argument));
        ProcessBuilder child = new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(output.toFile());
        child.environment().putAll(environment);
        return new End(child.start().waitFor(), Files.readString(output));
    }
}
