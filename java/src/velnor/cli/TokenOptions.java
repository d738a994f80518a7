package velnor.cli;

import java.util.List;
import java.util.stream.Collectors;

import picocli.CommandLine.Option;

import velnor.CKF;
import velnor.Cryptoki;
import velnor.TokenSlot;

/** Which token. */
final class TokenOptions {
    @Option(names = "--token", paramLabel = "LABEL", description = "The token's label.")
    private String label;

    @Option(names = "--slot", paramLabel = "ID",
            description = "The token's slot, decimal or 0x... Without --token and --slot: the only token there is.")
    private String slot;

    boolean given() {
        return label != null || slot != null;
    }

    TokenSlot find(Cryptoki cryptoki) {
        if (label != null && slot != null) {
            throw Failure.usage("--token and --slot exclude each other");
        }
        return slot != null ? bySlot(cryptoki) : label != null ? byLabel(cryptoki) : only(cryptoki, true);
    }

    private TokenSlot bySlot(Cryptoki cryptoki) {
        long wanted = Numbers.identifier(slot, "--slot");
        return cryptoki.slots().stream().filter(present -> present.id() == wanted).findFirst()
                .orElseThrow(() -> Failure.notFound("there is no slot " + slot + "; there are "
                        + cryptoki.slots().stream().map(TokenOptions::number).collect(Collectors.joining(", "))));
    }

    private TokenSlot byLabel(Cryptoki cryptoki) {
        try {
            return cryptoki.tokenByLabel(label);
        } catch (IllegalArgumentException e) {
            throw Failure.notFound(e.getMessage());
        }
    }

    /** The only token that is ready for use, or the only one that still has to be initialised. */
    static TokenSlot only(Cryptoki cryptoki, boolean initialized) {
        List<TokenSlot> tokens = cryptoki.slotsWithToken().stream()
                .filter(token -> has(token, CKF.TOKEN_INITIALIZED) == initialized).collect(Collectors.toList());
        String kind = initialized ? "initialised token" : "blank token";
        if (tokens.isEmpty()) {
            throw Failure.notFound("there is no " + kind);
        }
        if (tokens.size() > 1) {
            throw Failure.notFound("there is more than one " + kind + ", so say which with --token or --slot: "
                    + tokens.stream().map(token -> '"' + token.tokenInfo().label() + "\" in slot " + number(token))
                            .collect(Collectors.joining(", ")));
        }
        return tokens.get(0);
    }

    /** Whether a flag is set. */
    static boolean has(TokenSlot token, int flag) {
        return (token.tokenInfo().flags() & flag) != 0;
    }

    static String number(TokenSlot slot) {
        return Long.toUnsignedString(slot.id());
    }
}
