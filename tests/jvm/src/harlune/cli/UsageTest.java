package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** What the command line answers before it comes to a token. */
class UsageTest {
    private static final String NO_MODULE = "/no/such/module.so";

    @TempDir
    private Path directory;

    @Test
    void theHelpNamesEveryCommandAndEveryExitCode() throws Exception {
        String help = Velnor.of("--help").run().assertStatus(0).text();
        for (String command : new String[] {"info", "slots", "mechanisms", "objects", "generate", "sign", "verify",
            "encrypt", "decrypt", "digest", "random", "init-token", "set-pin", "wait"}) {
            assertTrue(help.contains("\n  " + command + " "), command);
        }
        for (int code : new int[] {0, 1, 2, 3, 4, 5, 6, 7, 70, 130, 143}) {
            assertTrue(help.contains("\n  " + code + " "), () -> "exit code " + code);
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"info", "slots", "mechanisms", "objects", "generate", "sign", "verify", "encrypt",
        "decrypt", "digest", "random", "init-token", "set-pin", "wait"})
    void everyCommandHasHelp(String command) throws Exception {
        String help = Velnor.of(command, "--help").run().assertStatus(0).text();
        assertTrue(help.startsWith("Usage: java -jar velnor.jar " + command + " [OPTIONS]"), help);
        assertTrue(help.contains("--module=FILE") && help.contains("--json") && help.contains("Exit codes:"), help);
    }

    @Test
    void theVersionIsTheManifests() throws Exception {
        assertTrue(Velnor.of("--version").run().assertStatus(0).text().matches("Harlune \\d+\\.\\d+\n"));
    }

    @Test
    void mistakesAreTold() throws Exception {
        Velnor.of().run().assertRefused(2, "no command; --help tells more");
        Velnor.of("sing").run().assertRefused(2, "there is no command sing (did you mean sign?); --help tells more");
        Velnor.of("info").run().assertRefused(2,
                "no module: name one with --module, or in the environment variable HARLUNE_MODULE");
        Velnor.of("slots", "here").run().assertRefused(2, "too many arguments; --help tells more");
        Velnor.of("sign").run().assertRefused(2, "Missing required parameter: 'FILE'; --help tells more");
        Velnor.of("random", "0", "--module", NO_MODULE).run().assertRefused(2,
                "there are 1 to 1048576 random bytes to be had at once");
        Velnor.of("generate", "aes", "--module", NO_MODULE).run().assertRefused(2,
                "give the key a --label or an --id, to find it again");
        Velnor.of("generate", "rsa", "--label", "k", "--curve", "P-256", "--module", NO_MODULE).run().assertRefused(2,
                "--curve belongs to EC");
        Velnor.of("generate", "aes", "--label", "k", "--bits", "100", "--module", NO_MODULE).run().assertRefused(2,
                "there is no AES key of 100 bits");
        Velnor.of("encrypt", "/dev/null", "--json", "--module", NO_MODULE).run().assertStatus(2);
        Velnor.of("wait", "--count", "0", "--module", NO_MODULE).run().assertRefused(2,
                "--count is 1 at least, --timeout not negative");
    }

    @Test
    void anArgumentIsNotReadFromAFileBecauseOfAnAtSign() throws Exception {
        Path arguments = Files.writeString(directory.resolve("arguments"), "--version");
        Velnor.of("@" + arguments).run().assertStatus(2);
    }

    /** People try these, and what they typed must not end up in the log of whatever runs the command. */
    @Test
    void aPinOnTheCommandLineIsRefusedAndNotRepeated() throws Exception {
        Object[][] attempts = {{"objects", "--pin", "731905"}, {"objects", "--pin=731905"}, {"objects", "-p731905"},
            {"set-pin", "731905"}, {"sign", "file", "--so-pin", "731905"}, {"objects", "--pin-env", "731905"},
            {"objects", "--pin-file", "731905"}, {"set-pin", "--new-pin", "731905", "--json"}};
        for (Object[] attempt : attempts) {
            Velnor.End end = Velnor.of(attempt).module(NO_MODULE).run();
            assertFalse(end.status() == 0);
            assertFalse((end.err() + end.text()).contains("731905"), end.err());
        }
        Velnor.of("objects", "--pin", "731905").run().assertRefused(2,
                "unknown option --pin (a PIN comes from a file, the environment or a prompt); --help tells more");
    }

    @Test
    void errorsAreJsonToo() throws Exception {
        assertEquals("there is no command sing (did you mean sign?); --help tells more",
                Velnor.of("sing", "--json").run().error().get("message").getAsString());
        var error = Velnor.of("info", "--json", "--module", NO_MODULE).run().error();
        assertEquals(6, error.get("exitCode").getAsInt());
        assertEquals("loadCryptokiLibrary", error.get("function").getAsString());
        assertFalse(error.has("stackTrace"));
        assertTrue(Velnor.of("info", "--json", "--stacktrace", "--module", NO_MODULE).run().error().get("stackTrace")
                .getAsString().contains("at velnor.cli."));
    }

    @Test
    void aModuleThatCannotBeLoadedIsTold() throws Exception {
        Velnor.of("info", "--module", NO_MODULE).run().assertRefused(6, "loadCryptokiLibrary: error loading pkcs#11"
                + " library: " + NO_MODULE + ": cannot open shared object file: No such file or directory");
        String told = Velnor.of("info", "--stacktrace", "--module", NO_MODULE).run().assertStatus(6).err();
        assertTrue(told.contains("\tat velnor.cli."), told);
    }

    @Test
    void aModuleMayBeNamedFromTheWorkingDirectory() throws Exception {
        Velnor.of("info", "--module", "./module.so").in(directory).run().assertRefused(6,
                "loadCryptokiLibrary: error loading pkcs#11 library: " + directory
                        + "/module.so: cannot open shared object file: No such file or directory");
    }

    @Test
    void aMissingNativeLibraryIsTold() throws Exception {
        Velnor.of("info", "--module", NO_MODULE).option("-Dvelnor.library=/none").run().assertRefused(6,
                "libharlune.so was not loaded: -Dvelnor.library=/none: Can't load library: /none. Name the file with"
                        + " -Dvelnor.library=/path/to/libharlune.so");
    }

    @Test
    void aMissingJarIsTold() throws Exception {
        Path alone = Files.copy(Velnor.JAR, directory.resolve("velnor.jar"));
        Velnor.ofJvm("-jar", alone.toString(), "info").run().assertRefused(6, "the command line needs picocli.jar"
                + " beside velnor.jar (Debian: /usr/share/java/picocli.jar of libpicocli-java)");
        Files.copy(Velnor.JAR.resolveSibling("picocli.jar"), directory.resolve("picocli.jar"));
        Velnor.ofJvm("-jar", alone.toString(), "info").run().assertRefused(6, "the command line needs gson.jar beside"
                + " velnor.jar (Debian: /usr/share/java/gson.jar of libgoogle-gson-java)");
        Files.copy(Velnor.JAR.resolveSibling("gson.jar"), directory.resolve("gson.jar"));
        Velnor.ofJvm("-jar", alone.toString(), "--version").run().assertStatus(0);
    }
}
