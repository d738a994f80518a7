package velnor.cli;

import java.io.IOException;

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

    private Pin known;

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
        known = login || needed ? pin.source().get() : pin.source().given().orElse(null);
        if (known != null) {
            session.loginIfNeeded(known.characters());
        }
    }

    /** Logs in for one operation, with a key that asks for it each time. */
    void loginOnceMore(Session session) throws IOException {
        if (known == null) {
            known = pin.source().get();
        }
        session.login(UserType.CONTEXT_SPECIFIC, known.characters());
    }

    /** Wipes the PIN when the command is through. */
    void forget() {
        if (known != null) {
            known.close();
        }
    }

    boolean isLoggedIn() {
        return known != null;
    }
}
