package velnor.cli;

import java.io.IOException;
import java.util.List;
import java.util.stream.Collectors;

import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;

import velnor.CKM;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.MechanismInfo;
import velnor.TokenSlot;

@Command(name = "mechanisms", description = "List what a token can compute.")
final class MechanismsCommand extends ModuleCommand {
    @Mixin
    private TokenOptions token;

    @Override
    int run(Cryptoki cryptoki) throws IOException {
        TokenSlot slot = token.find(cryptoki);
        List<Fields> mechanisms = slot.mechanisms().stream().map(code -> mechanism(slot, code))
                .collect(Collectors.toList());
        standard.report(new Fields().with("mechanisms", mechanisms),
                fields -> Text.table(mechanisms, "name", "code", "minKeySize", "maxKeySize", "operations"));
        return ExitCode.OK;
    }

    private static Fields mechanism(TokenSlot slot, int code) {
        Fields fields = new Fields().with("name", CKM.name(code)).with("code", Hex.of(Integer.toUnsignedLong(code)));
        try {
            MechanismInfo info = slot.mechanismInfo(code);
            return fields.with("minKeySize", info.minKeySize()).with("maxKeySize", info.maxKeySize())
                    .with("operations", Flags.OF_MECHANISM.names(info.flags()));
        } catch (CryptokiException e) {
            // A key size that does not fit an int: the mechanism is there, and its details are not to be had.
            return fields.with("minKeySize", null).with("maxKeySize", null).with("operations", null);
        }
    }
}
