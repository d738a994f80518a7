package velnor.cli;

import java.io.IOException;
import java.util.List;

import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

import velnor.CKF;
import velnor.Cryptoki;
import velnor.TokenSlot;

@Command(name = "init-token",
        description = "Initialise a token, which destroys everything on it. Then the security officer gives the user a"
                + " PIN: set-pin --init.")
final class InitTokenCommand extends ModuleCommand {
    @Mixin
    private TokenOptions token;

    @Option(names = "--label", required = true, paramLabel = "LABEL", description = "The token's label from now on.")
    private String label;

    @Mixin
    private SoPinOptions soPin;

    @Option(names = "--force", description = "Destroy what is on a token that is in use.")
    private boolean force;

    @Override
    List<PinSource> pins() {
        return List.of(soPin.source());
    }

    @Override
    int run(Cryptoki cryptoki) throws IOException {
        TokenSlot slot = token.given() ? token.find(cryptoki) : TokenOptions.only(cryptoki, false);
        boolean inUse = TokenOptions.has(slot, CKF.TOKEN_INITIALIZED);
        if (inUse && !force) {
            throw Failure.usage("the token in slot " + TokenOptions.number(slot)
                    + " is in use; --force destroys what is on it");
        }
        try (Pin pin = inUse ? soPin.source().get() : soPin.source().getNew()) {
            slot.initToken(pin.characters(), label);
        }
        standard.report(new Fields().with("label", label).with("serial", slot.tokenInfo().serialNumber()),
                Text::details);
        return ExitCode.OK;
    }
}
