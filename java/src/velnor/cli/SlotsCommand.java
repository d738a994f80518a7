package velnor.cli;

import java.io.IOException;
import java.util.List;
import java.util.stream.Collectors;

import picocli.CommandLine.Command;

import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.SlotInfo;
import velnor.TokenInfo;
import velnor.TokenSlot;

@Command(name = "slots", description = "List the slots and their tokens.")
final class SlotsCommand extends ModuleCommand {
    @Override
    int run(Cryptoki cryptoki) throws IOException {
        List<Fields> slots = cryptoki.slots().stream().map(SlotsCommand::slot).collect(Collectors.toList());
        standard.report(new Fields().with("slots", slots), fields -> text(slots));
        return ExitCode.OK;
    }

    private static Fields slot(TokenSlot slot) {
        SlotInfo info = slot.slotInfo();
        return new Fields()
                .with("slot", slot.id())
                .with("description", info.slotDescription())
                .with("manufacturer", info.manufacturerID())
                .with("hardwareVersion", info.hardwareVersion().toString())
                .with("firmwareVersion", info.firmwareVersion().toString())
                .with("flags", Flags.OF_SLOT.names(info.flags()))
                .with("token", slot.isTokenPresent() ? token(slot) : null);
    }

    /** One token that does not answer must not hide the others. */
    private static Fields token(TokenSlot slot) {
        try {
            TokenInfo info = slot.tokenInfo();
            return new Fields()
                    .with("label", info.label())
                    .with("manufacturer", info.manufacturerID())
                    .with("model", info.model())
                    .with("serial", info.serialNumber())
                    .with("minPinLength", info.minPinLen())
                    .with("maxPinLength", info.maxPinLen())
                    .with("hardwareVersion", info.hardwareVersion().toString())
                    .with("firmwareVersion", info.firmwareVersion().toString())
                    .with("flags", Flags.OF_TOKEN.names(info.flags()));
        } catch (CryptokiException e) {
            return new Fields().with("error", e.getMessage());
        }
    }

    private static String text(List<Fields> slots) {
        StringBuilder text = new StringBuilder();
        for (Fields slot : slots) {
            Fields shown = new Fields().with("slot", slot.get("slot"));
            Fields token = (Fields) slot.get("token");
            if (token == null) {
                shown.with("token", "none");
            } else {
                shown.putAll(token);
            }
            text.append(Text.details(shown.with("reader", slot.get("description")))).append('\n');
        }
        return slots.isEmpty() ? "There is no slot.\n" : text.substring(0, text.length() - 1);
    }
}
