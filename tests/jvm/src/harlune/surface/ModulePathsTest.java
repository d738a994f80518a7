package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.ScriptedModule;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.Cryptoki;

/** Modules in directories of any name, in JVMs of their own for the locale. */
class ModulePathsTest {
    private static final String EMOJI = "\\360\\237\\230\\200 \\303\\266";
    private static final String NO_CHARACTERS = "\\377%41\\201";

    @TempDir
    private Path directory;

    /** Opens the module of the only directory in the one that is named, as a path and by the path's text. */
    public static final class Program {
        public static void main(String[] arguments) throws IOException {
            System.load(System.getProperty("harlune.library"));
            try (Stream<Path> directories = Files.list(Path.of(arguments[0]))) {
                Path module = directories.findFirst().orElseThrow().resolve("module.so");
                try (Cryptoki cryptoki = Cryptoki.open(module)) {
                    System.out.println("path, told " + cryptoki.modulePath().equals(module.toString()));
                }
                try (Cryptoki cryptoki = Cryptoki.open(module.toString())) {
                    System.out.println("text, told " + cryptoki.modulePath().equals(module.toString()));
                } catch (RuntimeException e) {
                    System.out.println(e.getClass().getSimpleName());
                }
            }
        }
    }

    private String open(String locale, String name) throws Exception {
        ProcessBuilder child = new ProcessBuilder("bash", "-c",
                "mkdir \"$0\"/$'" + name + "' && cp \"$1\" \"$0\"/$'" + name + "'/module.so && exec \"${@:2}\"",
                directory.toString(), ScriptedModule.PATH, System.getProperty("java.home") + "/bin/java",
                "-Dharlune.library=" + System.getProperty("harlune.library"), "-cp",
                System.getProperty("java.class.path"), Program.class.getName(), directory.toString());
        child.environment().put("LC_ALL", locale);
        Process process = child.redirectError(ProcessBuilder.Redirect.DISCARD).start();
        String told = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, process.waitFor(), told);
        return told;
    }

    @Test
    void charactersBeyondTheFirstPlane() throws Exception {
        assertEquals("path, told true\ntext, told true\n", open("C.UTF-8", EMOJI));
    }

    /** A path that was found knows its bytes; its text has lost them, and no other file is taken for it. */
    @Test
    void bytesThatAreNoCharacters() throws Exception {
        assertEquals("path, told true\nCryptokiException\n", open("C.UTF-8", NO_CHARACTERS));
    }

    @Test
    void aLocaleOfFewCharacters() throws Exception {
        assertEquals("path, told true\nIllegalArgumentException\n", open("C", EMOJI));
    }
}
