package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.fail;

import com.google.gson.JsonObject;
import com.google.gson.JsonParser;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.TimeUnit;

/** One call of {@code java -jar velnor.jar}, in a process of its own as users run it. */
final class Velnor {
    static final Path JAR = jar();
    private static final long PATIENCE_SECONDS = 120;

    /** How a call ended, and what it wrote. */
    record End(int status, byte[] out, String err) {
        String text() {
            return new String(out, StandardCharsets.UTF_8);
        }

        /** The one document on stdout of a call that went well. */
        JsonObject json() {
            assertStatus(0);
            return JsonParser.parseString(text()).getAsJsonObject();
        }

        /** The one document on stderr of a call that failed. */
        JsonObject error() {
            assertEquals("", text());
            return JsonParser.parseString(err).getAsJsonObject().getAsJsonObject("error");
        }

        End assertStatus(int expected) {
            assertEquals(expected, status, err);
            if (expected == 0) {
                assertEquals("", err);
            }
            return this;
        }

        /** Fails unless the call ended with this code, nothing on stdout and this one line on stderr. */
        void assertRefused(int expected, String line) {
            assertStatus(expected);
            assertEquals("velnor: " + line + "\n", err);
            assertEquals("", text());
        }
    }

    private final List<String> command = new ArrayList<>();
    private final Map<String, String> environment = new TreeMap<>();
    private Path input = Path.of("/dev/null");
    private Path directory = Path.of(System.getProperty("java.io.tmpdir"));

    private Velnor(List<String> program) {
        command.add(System.getProperty("java.home") + "/bin/java");
        command.addAll(List.of("-XX:TieredStopAtLevel=1", "-XX:+UseSerialGC", "-XX:-UsePerfData",
                "-Djava.io.tmpdir=" + System.getProperty("java.io.tmpdir"), "-Duser.language=en"));
        command.addAll(program);
    }

    /** The jar from the build directory, where what it needs lies beside it. */
    private static Path jar() {
        return Arrays.stream(System.getProperty("java.class.path").split(":")).map(Path::of)
                .filter(entry -> entry.endsWith("velnor.jar")).findFirst()
                .orElseGet(() -> fail("velnor.jar is not on the class path"));
    }

    static Velnor of(Object... arguments) {
        return new Velnor(List.of("-jar", JAR.toString())).arguments(arguments);
    }

    /** The same with options for the JVM, the jar among them. */
    static Velnor ofJvm(String... options) {
        return new Velnor(List.of(options));
    }

    Velnor arguments(Object... arguments) {
        Arrays.stream(arguments).map(Object::toString).forEach(command::add);
        return this;
    }

    Velnor option(String jvmOption) {
        command.add(1, jvmOption);
        return this;
    }

    Velnor set(String name, String value) {
        environment.put(name, value);
        return this;
    }

    Velnor module(String module) {
        return set("HARLUNE_MODULE", module);
    }

    Velnor pin(String pin) {
        return set("HARLUNE_PIN", pin);
    }

    /** Has it run in a locale, with these variables; in them and in all arguments {@code \303\266} is two bytes. */
    Velnor inLocale(String locale, String... variables) {
        // Through a shell, because the locale of this JVM may not know the characters either.
        List<String> shell = new ArrayList<>(List.of("bash", "-c",
                "words=(); for word; do words+=(\"$(printf %b \"$word\")\"); done; exec env \"${words[@]}\"", "bash",
                "LC_ALL=" + locale));
        shell.addAll(List.of(variables));
        command.addAll(0, shell);
        return this;
    }

    Velnor input(Path file) {
        input = file;
        return this;
    }

    Velnor in(Path workingDirectory) {
        directory = workingDirectory;
        return this;
    }

    List<String> command() {
        return command;
    }

    ProcessBuilder process() {
        ProcessBuilder process = new ProcessBuilder(command).directory(directory.toFile())
                .redirectInput(input.toFile());
        process.environment().keySet().removeIf(name -> name.startsWith("HARLUNE_"));
        process.environment().putAll(environment);
        return process;
    }

    End run() throws IOException, InterruptedException {
        Path out = Files.createTempFile("velnor", ".out");
        Path err = Files.createTempFile("velnor", ".err");
        Process process = process().redirectOutput(out.toFile()).redirectError(err.toFile()).start();
        return new End(status(process), Files.readAllBytes(out), Files.readString(err));
    }

    static int status(Process process) throws InterruptedException {
        if (!process.waitFor(PATIENCE_SECONDS, TimeUnit.SECONDS)) {
            process.destroyForcibly();
            fail("the command takes more than " + PATIENCE_SECONDS + " s");
        }
        return process.exitValue();
    }
}
