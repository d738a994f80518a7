package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.io.IOException;
import java.io.OutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Collectors;

import org.junit.jupiter.api.Test;

/** Tokens and PINs are set up, and PINs come from everywhere but the command line. */
class PinTest extends TokenCommands {
    private static final String NOBODY_TO_ASK =
            " is needed, and stdin and stdout are no terminal to ask for it: give it by ";

    /** The command with somebody at a terminal, who types these lines when he is asked. */
    private Velnor.End typing(Velnor velnor, String... lines) throws IOException, InterruptedException {
        String command = velnor.command().stream().map(word -> "'" + word.replace("'", "'\\''") + "'")
                .collect(Collectors.joining(" "));
        Path shown = path("shown");
        ProcessBuilder builder = velnor.process();
        builder.command(List.of("script", "-qec", command, "/dev/null")).redirectInput(ProcessBuilder.Redirect.PIPE)
                .redirectErrorStream(true).redirectOutput(shown.toFile());
        Process process = builder.start();
        try (OutputStream keyboard = process.getOutputStream()) {
            int prompts = 0;
            for (String line : lines) {
                prompts++;
                awaitPrompts(process, shown, prompts);
                keyboard.write((line + "\n").getBytes(StandardCharsets.UTF_8));
                keyboard.flush();
            }
            return new Velnor.End(Velnor.status(process), Files.readAllBytes(shown), "");
        }
    }

    private static void awaitPrompts(Process process, Path shown, int count) throws IOException, InterruptedException {
        while (process.isAlive() && Files.readString(shown).split(": ", -1).length <= count) {
            Thread.sleep(20);
        }
    }

    @Test
    void thePinIsAskedForAndNotShown() throws Exception {
        Velnor.End end = typing(anonymous("objects", "--login"), Tokens.PIN);
        assertEquals(0, end.status(), end.text());
        assertEquals("PIN: \r\nThere is no object to be seen.\r\n", end.text());
        Velnor.End wrong = typing(anonymous("objects", "--login"), "735190");
        assertEquals(3, wrong.status());
        assertEquals("PIN: \r\nvelnor: J_Login: PIN INCORRECT (CKR_PIN_INCORRECT, 0xA0)\r\n", wrong.text());
    }

    @Test
    void aNewPinIsAskedForTwice() throws Exception {
        Velnor.End different = typing(anonymous("set-pin"), Tokens.PIN, "111111", "222222");
        assertEquals(2, different.status());
        assertEquals("PIN: \r\nnew PIN: \r\nnew PIN once more: \r\nvelnor: these were two different PINs\r\n",
                different.text());
        Velnor.End same = typing(anonymous("set-pin"), Tokens.PIN, "111111", "111111");
        assertEquals(0, same.status(), same.text());
        anonymous("set-pin").pin("111111").set("HARLUNE_NEW_PIN", Tokens.PIN).run().assertStatus(0);
    }

    @Test
    void bytesDoNotGoToATerminalAsTheyAre() throws Exception {
        Velnor.End end = typing(anonymous("random", "4"));
        assertTrue(end.text().matches("[0-9a-f]{8}\r\n"), end.text());
        Velnor.End encrypted = typing(user("encrypt", "/dev/null", "--label", "any"));
        assertEquals(2, encrypted.status());
        assertEquals("velnor: what comes out is nothing for a terminal: name a file for it with --out\r\n",
                encrypted.text());
    }

    @Test
    void thePinComesFromAFileOrTheEnvironment() throws Exception {
        Path file = file("pin", (Tokens.PIN + "\r\nmore\n").getBytes(StandardCharsets.UTF_8));
        anonymous("objects", "--login", "--pin-file", file).run().assertStatus(0);
        anonymous("objects", "--login", "--pin-env", "MY_PIN").set("MY_PIN", Tokens.PIN).pin("9999").run()
                .assertStatus(0);
        anonymous("objects", "--login").pin(Tokens.PIN).run().assertStatus(0);
        // Without --login too, so the wrong one is noticed.
        anonymous("objects").pin("9999").run().assertStatus(3);
        anonymous("objects", "--pin-file", file("wrong", "9999\n".getBytes(StandardCharsets.UTF_8))).run()
                .assertStatus(3);
        anonymous("objects", "--pin-env", "NONE").run().assertRefused(2,
                "the environment variable that --pin-env names is not set");
        anonymous("objects", "--pin-env", "MY_PIN", "--pin-file", file).run().assertRefused(2,
                "--pin-file and --pin-env exclude each other");
        anonymous("objects", "--pin-file", file("empty", new byte[0])).run().assertRefused(2,
                "The PIN is empty");
        anonymous("objects", "--login").run().assertRefused(2, "the PIN" + NOBODY_TO_ASK
                + "--pin-file, --pin-env or the environment variable HARLUNE_PIN");
    }

    @Test
    void aPinFileThatCannotBeReadIsTold() throws Exception {
        Path latin1 = file("latin1", "pin\u00F61\n".getBytes(StandardCharsets.ISO_8859_1));
        Path loop = Files.createSymbolicLink(path("loop"), path("loop"));
        Object[][] files = {{path("none"), "there is no such file or directory"}, {directory, "it is a directory"},
            {latin1, "it is not UTF-8"}, {loop, "Too many levels of symbolic links or unable to access attributes of"
                    + " symbolic link"}};
        for (Object[] file : files) {
            anonymous("objects", "--pin-file", file[0]).run().assertRefused(5,
                    "the file that --pin-file names cannot be read: " + file[1]);
        }
    }

    @Test
    void aByteOrderMarkIsNoPartOfThePin() throws Exception {
        anonymous("objects", "--login", "--pin-file",
                file("pin", ("\uFEFF" + Tokens.PIN + "\n").getBytes(StandardCharsets.UTF_8))).run().assertStatus(0);
    }

    @Test
    void thePinMayComeFromStdin() throws Exception {
        Process process = anonymous("objects", "--login", "--pin-file", "/dev/stdin").process()
                .redirectInput(ProcessBuilder.Redirect.PIPE).redirectError(path("err").toFile()).start();
        try (OutputStream in = process.getOutputStream()) {
            in.write((Tokens.PIN + "\n").getBytes(StandardCharsets.UTF_8));
        }
        assertEquals(0, Velnor.status(process), () -> read("err"));
        anonymous("objects", "--login", "--pin-file", "-").in(directory).run().assertRefused(5,
                "the file that --pin-file names cannot be read: there is no such file or directory");
    }

    /** What is there when stdin ends is the PIN, be it nothing; one that never ends is none. */
    @Test
    void stdinMayEndWithinThePin() throws Exception {
        Path whole = file("whole", Tokens.PIN.getBytes(StandardCharsets.UTF_8));
        Path half = file("half", Tokens.PIN.substring(0, 2).getBytes(StandardCharsets.UTF_8));
        Velnor velnor = anonymous("objects", "--login", "--pin-file", "/dev/stdin");
        velnor.input(whole).run().assertStatus(0);
        velnor.input(half).run().assertRefused(3, "J_Login: PIN INCORRECT (CKR_PIN_INCORRECT, 0xA0)");
        velnor.input(Path.of("/dev/null")).run().assertRefused(2, "The PIN is empty");
        velnor.input(Path.of("/dev/zero")).run().assertRefused(5,
                "the file that --pin-file names cannot be read: its first line is too long for a PIN");
        Velnor.End typed = typing(anonymous("objects", "--login"), "\u0004");
        assertEquals("PIN: \r\nvelnor: no PIN was typed\r\n", typed.text());
        assertEquals(2, typed.status());
    }

    private String read(String name) {
        try {
            return Files.readString(path(name));
        } catch (IOException e) {
            return e.toString();
        }
    }

    @Test
    void aPinIsTheSameInEveryLocaleOrRefused() throws Exception {
        Path old = file("old", Tokens.PIN.getBytes(StandardCharsets.UTF_8));
        Path file = file("new", "pin\u00F61\n".getBytes(StandardCharsets.UTF_8));
        String environment = "HARLUNE_NEW_PIN=pin\\303\\2661";
        anonymous("set-pin", "--pin-file", old).inLocale("C", environment).run().assertRefused(2, "this locale cannot"
                + " tell the characters of the new PIN; set LC_ALL=C.UTF-8 or use --new-pin-file");
        anonymous("set-pin", "--pin-file", old).inLocale("C.UTF-8", environment).run().assertStatus(0);
        Velnor.End typed = typing(anonymous("objects", "--login").inLocale("C"), "pin\u00F61");
        assertEquals("PIN: \r\nvelnor: this locale cannot tell the characters of the PIN; set LC_ALL=C.UTF-8 or use"
                + " --pin-file\r\n", typed.text());
        assertEquals(2, typed.status());
        assertEquals(0, typing(anonymous("objects", "--login").inLocale("C.UTF-8"), "pin\u00F61").status());
        anonymous("set-pin", "--pin-file", file, "--new-pin-file", old).inLocale("C").run().assertStatus(0);
    }

    @Test
    void thePinIsNotInTheProcessList() throws Exception {
        // Nothing comes on stdin until the process was looked at, so it is at work with the PIN meanwhile.
        Process process = user("digest", "-", "--login").process().redirectInput(ProcessBuilder.Redirect.PIPE).start();
        String commandLine = Files.readString(Path.of("/proc/" + process.pid() + "/cmdline"));
        assertTrue(commandLine.contains("velnor.jar"), commandLine);
        assertFalse(commandLine.contains(Tokens.PIN), commandLine);
        process.getOutputStream().close();
        assertEquals(0, Velnor.status(process));
    }

    @Test
    void aTokenFromItsFirstDay() throws Exception {
        Velnor blank = Velnor.of("init-token", "--label", "fresh").module(Tokens.MODULE);
        blank.run().assertRefused(2, "the security officer's PIN" + NOBODY_TO_ASK
                + "--so-pin-file, --so-pin-env or the environment variable HARLUNE_SO_PIN");
        String made = blank.set("HARLUNE_SO_PIN", "11112222").run().assertStatus(0).text();
        assertTrue(made.matches("Label   fresh\nSerial  [0-9a-f]{16}\n"), made);

        setPin("--init").set("HARLUNE_SO_PIN", "11112222").set("HARLUNE_NEW_PIN", "4444").run().assertStatus(0);
        fresh("objects").pin("4444").run().assertStatus(0);
        setPin().pin("4444").set("HARLUNE_NEW_PIN", "5555").run().assertStatus(0);
        fresh("objects").pin("4444").run().assertStatus(3);
        fresh("objects").pin("5555").run().assertStatus(0);
        assertEquals("The PIN is set.\n", setPin("--so").set("HARLUNE_SO_PIN", "11112222")
                .set("HARLUNE_NEW_PIN", "33334444").run().assertStatus(0).text());
        setPin("--init").set("HARLUNE_SO_PIN", "11112222").set("HARLUNE_NEW_PIN", "6666").run().assertStatus(3);
        assertEquals("{\"user\":\"user\",\"changed\":true}", setPin("--init", "--json")
                .set("HARLUNE_SO_PIN", "33334444").set("HARLUNE_NEW_PIN", "6666").run().json().toString());
        setPin("--so", "--init").run().assertStatus(2);

        fresh("generate", "aes", "--label", "k").pin("6666").run().assertStatus(0);
        assertRefusedWithoutForce();
        String again = Velnor.of("init-token", "--token", "fresh", "--label", "fresher", "--force", "--json")
                .module(Tokens.MODULE).set("HARLUNE_SO_PIN", "33334444").run().json().get("label").getAsString();
        assertEquals("fresher", again);
        fresh("objects").run().assertStatus(4);
    }

    private static void assertRefusedWithoutForce() throws Exception {
        Velnor.End end = Velnor.of("init-token", "--token", "fresh", "--label", "fresher").module(Tokens.MODULE)
                .set("HARLUNE_SO_PIN", "33334444").run().assertStatus(2);
        assertTrue(end.err().endsWith(" is in use; --force destroys what is on it\n"), end.err());
        assertTrue(fresh("objects").pin("6666").run().assertStatus(0).text().contains(" k "));
    }

    private static Velnor fresh(Object... arguments) {
        return Velnor.of(arguments).arguments("--token", "fresh").module(Tokens.MODULE);
    }

    private static Velnor setPin(Object... options) {
        return fresh("set-pin").arguments(options);
    }
}
