package velnor.cli;

import java.io.IOException;
import java.util.List;

import picocli.CommandLine.ArgGroup;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

import velnor.Cryptoki;
import velnor.Session;
import velnor.UserType;

@Command(name = "set-pin",
        description = "Change the user's PIN or the security officer's, or give the user a first one.")
final class SetPinCommand extends ModuleCommand {
    /** Whose PIN it is, if not the user's who knows the old one. */
    private static final class Whose {
        @Option(names = "--so", description = "Change the security officer's PIN.")
        private boolean securityOfficer;

        @Option(names = "--init",
                description = "As the security officer, give the user a PIN: a first one, or one in place of what was"
                        + " forgotten.")
        private boolean first;
    }

    @Mixin
    private TokenOptions token;

    @ArgGroup
    private Whose whose = new Whose();

    @Mixin
    private PinOptions pin;

    @Mixin
    private SoPinOptions soPin;

    @Mixin
    private NewPinOptions newPin;

    @Override
    List<PinSource> pins() {
        return List.of(oldPin(), newPin.source());
    }

    private PinSource oldPin() {
        return whose.securityOfficer || whose.first ? soPin.source() : pin.source();
    }

    @Override
    int run(Cryptoki cryptoki) throws IOException {
        try (Session session = token.find(cryptoki).openSession();
                Pin old = oldPin().get();
                Pin wanted = newPin.source().getNew()) {
            if (whose.securityOfficer || whose.first) {
                session.login(UserType.SECURITY_OFFICER, old.characters());
            }
            if (whose.first) {
                session.initPIN(wanted.characters());
            } else {
                session.setPIN(old.characters(), wanted.characters());
            }
        }
        standard.report(
                new Fields().with("user", whose.securityOfficer ? "securityOfficer" : "user").with("changed", true),
                fields -> "The PIN is set.\n");
        return ExitCode.OK;
    }
}
