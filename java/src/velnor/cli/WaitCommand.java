package velnor.cli;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import java.util.concurrent.TimeUnit;

import picocli.CommandLine.Command;
import picocli.CommandLine.Option;

import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.SlotWatch;
import velnor.TokenSlot;

@Command(name = "wait", description = "Wait until a token comes or goes.")
final class WaitCommand extends ModuleCommand {
    private static final long INTERVAL_MILLIS = 250;

    @Option(names = "--timeout", paramLabel = "SECONDS",
            description = "Give up after that time, with exit code 7; if not given, never.")
    private Long timeout;

    @Option(names = "--count", paramLabel = "NUMBER",
            description = "How many events to wait for; if not given, 1.")
    private int count = 1;

    @Override
    void prepare() {
        if (count < 1 || timeout != null && timeout < 0) {
            throw Failure.usage("--count is 1 at least, --timeout not negative");
        }
    }

    @Override
    int run(Cryptoki cryptoki) throws IOException {
        long start = System.nanoTime();
        SlotWatch slots = cryptoki.watchSlots();
        List<Fields> events = new ArrayList<>();
        while (events.size() < count) {
            Optional<TokenSlot> slot = slots.poll();
            if (slot.isPresent()) {
                events.add(event(slot.get()));
            } else if (timeout != null && System.nanoTime() - start >= TimeUnit.SECONDS.toNanos(timeout)) {
                throw Failure.timeout(events.size() + " of " + count + " events within " + timeout + " s");
            } else {
                pause();
            }
        }
        if (standard.json()) {
            standard.report(new Fields().with("events", events), Text::details);
        }
        return ExitCode.OK;
    }

    private Fields event(TokenSlot slot) throws IOException {
        String label = label(slot);
        if (!standard.json()) {
            StandardOptions.print("slot " + TokenOptions.number(slot) + ": "
                    + (label == null ? "no token" : "token \"" + Text.visible(label) + '"') + "\n");
        }
        return new Fields().with("slot", slot.id()).with("label", label)
                .with("tokenPresent", label != null);
    }

    /** The label of the token, which may have gone again by now. */
    private static String label(TokenSlot slot) {
        try {
            return slot.isTokenPresent() ? slot.tokenInfo().label() : null;
        } catch (CryptokiException e) {
            return null;
        }
    }

    private static void pause() {
        try {
            Thread.sleep(INTERVAL_MILLIS);
        } catch (InterruptedException e) {
            throw new IllegalStateException(e);
        }
    }
}
