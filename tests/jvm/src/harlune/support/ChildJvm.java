package harlune.support;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

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
        Path output = Files.createTempFile("child", ".out");
        List<String> command = new ArrayList<>();
        command.add(System.getProperty("java.home") + "/bin/java");
        command.addAll(ManagementFactory.getRuntimeMXBean().getInputArguments());
        command.addAll(options);
        command.addAll(List.of("-XX:ErrorFile=" + output + ".crash", "-cp", System.getProperty("java.class.path"),
                main.getName(), argument));
        int status = new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(output.toFile()).start()
                .waitFor();
        return new End(status, Files.readString(output));
    }
}
