package velnor.cli;

import java.io.IOException;
import java.util.List;

import picocli.CommandLine.Mixin;

import velnor.Cryptoki;
import velnor.Session;
import velnor.TokenSlot;

/** A command that works in a session with a token. */
abstract class SessionCommand extends ModuleCommand {
    @Mixin
    TokenOptions token;

    @Mixin
    LoginOptions login;

    private final boolean writes;
    private final boolean needsLogin;

    SessionCommand(boolean writes, boolean needsLogin) {
        this.writes = writes;
        this.needsLogin = needsLogin;
    }

    abstract int run(Session session) throws IOException;

    @Override
    final List<PinSource> pins() {
        return List.of(login.pin());
    }

    @Override
    final int run(Cryptoki cryptoki) throws IOException {
        TokenSlot slot = token.find(cryptoki);
        try (Session session = writes ? slot.openSession() : slot.openReadOnlySession()) {
            login.login(session, needsLogin);
            return run(session);
        } finally {
            login.forget();
        }
    }
}
