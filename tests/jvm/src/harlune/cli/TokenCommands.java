package harlune.cli;

import static harlune.token.Bytes.bytes;

import harlune.support.Bridge;
import harlune.support.Tokens;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.stream.Stream;

import org.junit.jupiter.api.io.TempDir;

import velnor.Attribute;
import velnor.CKA;
import velnor.Cryptoki;
import velnor.OpenOptions;
import velnor.Session;

/** For tests that call the command line beside a token. */
abstract class TokenCommands {
    static final byte[] SHORT = bytes(1000);
    /** More than one part, and no multiple of anything. */
    static final byte[] LONG = bytes(200_003);

    @TempDir
    Path directory;

    /** A command with the token's module, and its label as the last arguments; nobody is logged in. */
    static Velnor anonymous(Object... arguments) {
        return withText(Velnor.of(arguments).module(Tokens.MODULE).arguments("--token", Tokens.LABEL));
    }

    /** With what the module wants to be told, if it wants that. */
    static Velnor withText(Velnor velnor) {
        return Tokens.RESERVED == null ? velnor : velnor.set("HARLUNE_RESERVED", Tokens.RESERVED);
    }

    /** The same with the user's PIN at hand. */
    static Velnor user(Object... arguments) {
        return anonymous(arguments).pin(Tokens.PIN);
    }

    Path file(String name, byte[] content) throws IOException {
        return Files.write(directory.resolve(name), content);
    }

    Path path(String name) {
        return directory.resolve(name);
    }

    /** What this process does with the token, between the commands. */
    interface Work {
        void with(Session session);
    }

    static void onToken(Work work) {
        Bridge.load();
        try (Cryptoki cryptoki = Cryptoki.open(Tokens.MODULE, OpenOptions.DEFAULT.reserved(Tokens.RESERVED));
                Session session = cryptoki.tokenByLabel(Tokens.LABEL).openSession()) {
            session.login(Tokens.PIN);
            work.with(session);
        }
    }

    /** The template of a session object, for one that stays and has a label. */
    static Attribute[] kept(String label, Attribute... template) {
        return Stream.concat(Arrays.stream(template).filter(attribute -> attribute.type() != CKA.TOKEN),
                Stream.of(new Attribute(CKA.TOKEN, true), new Attribute(CKA.LABEL, label)))
                .toArray(Attribute[]::new);
    }
}
