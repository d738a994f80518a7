package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.jar.JarFile;

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
        assertTrue(help.matches("(?s).*\n  5 +a file or stream failed, or exists already\n.*"), help);
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

    /** Or JVMs from 24 on warn whoever starts the jar. */
    @Test
    void theManifestAllowsNativeAccess() throws Exception {
        try (JarFile jar = new JarFile(Velnor.JAR.toFile())) {
            assertEquals("ALL-UNNAMED", jar.getManifest().getMainAttributes().getValue("Enable-Native-Access"));
        }
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
    void anOptionInFrontOfTheCommandIsTold() throws Exception {
        Velnor.of("--module", NO_MODULE, "slots").run().assertRefused(2,
                "--module comes after the command; --help tells more");
        Velnor.of("--slot=1", "slots").run().assertRefused(2, "--slot comes after the command; --help tells more");
        Velnor.of("--nothing", "slots").run().assertRefused(2, "unknown option --nothing; --help tells more");
        // Here it could be overlooked, and text taken for the document.
        assertEquals("--json comes after the command; --help tells more",
                Velnor.of("--json", "slots", "--module", NO_MODULE).run().error().get("message").getAsString());
        Velnor.of("sing", "--label", "k").run().assertRefused(2,
                "there is no command sing (did you mean sign?); --help tells more");
        Velnor.of("slots", "--curve", "P-256").run().assertRefused(2, "unknown option --curve; --help tells more");
    }

    /** The JVM reads arguments and variables in the encoding of the locale, with U+FFFD for what that does not have. */
    @Test
    void whatTheLocaleCannotTellIsRefused() throws Exception {
        String[][] arguments = {{"--label", "init-token", "--label", "gr\\303\\274n"},
            {"--label", "generate", "aes", "--label=gr\\303\\274n"}, {"--token", "objects", "--token", "\\303\\274"},
            {"an argument", "digest", "gr\\303\\274n"}, {"an argument", "digest", "--progress", "gr\\303\\274n"},
            {"an argument", "info", "731905\\303\\274"}, {"--out", "digest", "/dev/null", "--out", "gr\\303\\274n"},
            {"--pin-file", "objects", "--pin-file", "731905\\303\\274"},
            {"--pin-env", "objects", "--pin-env", "731905\\303\\274"}};
        for (String[] attempt : arguments) {
            Object[] words = Arrays.copyOfRange(attempt, 1, attempt.length);
            Velnor.of(words).module(NO_MODULE).inLocale("C").run().assertRefused(2,
                    "this locale cannot tell the characters of " + attempt[0] + "; set LC_ALL=C.UTF-8");
        }
        Velnor.of("info").inLocale("C", "HARLUNE_MODULE=/m\\303\\266dule").run().assertRefused(2,
                "this locale cannot tell the characters of HARLUNE_MODULE; set LC_ALL=C.UTF-8");
        Velnor.of("info", "--module", NO_MODULE).inLocale("C", "HARLUNE_MODULE=/m\\303\\266dule").run()
                .assertStatus(6);
        assertEquals(2, Velnor.of("digest", "gr\\303\\274n", "--json").inLocale("C").run().error().get("exitCode")
                .getAsInt());
        Velnor.of("init-token", "--label", "gr\\303\\274n", "--module", NO_MODULE).inLocale("C.UTF-8").run()
                .assertStatus(6);
    }

    @Test
    void aPinThatTheLocaleCannotTellIsRefusedBeforeTheModuleIsLoaded() throws Exception {
        String[][] attempts = {{"the PIN", "--pin", "HARLUNE_PIN", "objects"},
            {"the PIN", "--pin", "ANY", "objects", "--pin-env", "ANY"},
            {"the PIN", "--pin", "HARLUNE_PIN", "set-pin"}, {"the new PIN", "--new-pin", "HARLUNE_NEW_PIN", "set-pin"},
            {"the security officer's PIN", "--so-pin", "HARLUNE_SO_PIN", "set-pin", "--init"},
            {"the security officer's PIN", "--so-pin", "HARLUNE_SO_PIN", "init-token", "--label", "any"}};
        for (String[] attempt : attempts) {
            Object[] words = Arrays.copyOfRange(attempt, 3, attempt.length);
            String pin = attempt[2] + "=pin\\303\\2661";
            Velnor.of(words).module(NO_MODULE).inLocale("C", pin).run().assertRefused(2, "this locale cannot tell the"
                    + " characters of " + attempt[0] + "; set LC_ALL=C.UTF-8 or use " + attempt[1] + "-file");
            Velnor.of(words).module(NO_MODULE).inLocale("C.UTF-8", pin).run().assertStatus(6);
        }
        Velnor.of("objects", "--pin-file", "/dev/null").module(NO_MODULE).inLocale("C", "HARLUNE_PIN=\\303\\266").run()
                .assertStatus(6);
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
