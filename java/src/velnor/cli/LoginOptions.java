package velnor.cli;

import java.io.IOException;
import java.util.Optional;

import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

import velnor.CKF;
import velnor.Session;
import velnor.UserType;

/** Whether the user logs in. */
final class LoginOptions {
    @Option(names = "--login", description = "Log in even if the command could do without.")
    private boolean login;

    @Mixin
    private PinOptions pin;

    private String known;

    PinSource pin() {
        return pin.source();
    }

    /**
     * Logs in where the token wants a login: for a command that needs one always, for the others when it was asked for
     * or when a PIN is at hand.
     */
    void login(Session session, boolean needed) throws IOException {
        if (!login && !TokenOptions.has(session.slot(), CKF.LOGIN_REQUIRED)) {
            return;
        }
        Optional<String> given = login || needed ? Optional.of(pin.source().get()) : pin.source().given();
        if (given.isPresent()) {
            known = given.get();
            session.loginIfNeeded(known);
        }
    }

    /** Logs in for one operation, with a key that asks for it each time. */
    void loginOnceMore(Session session) throws IOException {
        session.login(UserType.CONTEXT_SPECIFIC, known != null ? known : pin.source().get());
    }

    boolean isLoggedIn() {
        return known != null;
    }
}
