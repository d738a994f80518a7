package harlune.cli;

import harlune.support.Tokens;

import java.nio.file.Path;

import org.junit.jupiter.api.Test;

/** NSS's softoken itself, which has to be told where its database is. */
class ReservedTextTest extends TokenCommands {
    private static final String SOFTHSM = "/usr/lib/softhsm/libsofthsm2.so";

    @Test
    void theSoftokenIsUsedDirectly() throws Exception {
        Path data = file("data", SHORT);
        user("generate", "ec", "--label", "ec").run().assertStatus(0);
        user("sign", data, "--label", "ec", "--out", path("signature")).run().assertStatus(0);
        Velnor.of("verify", data, "--signature", path("signature"), "--label", "ec", "--token", Tokens.LABEL,
                "--module", Tokens.MODULE, "--reserved", Tokens.RESERVED).run().assertStatus(0);
        // It asks for its arguments.
        Velnor.of("info", "--module", Tokens.MODULE).set("HARLUNE_RESERVED", Tokens.RESERVED).run().assertStatus(6);
        Velnor.of("info").module(Tokens.MODULE).set("HARLUNE_RESERVED", "").run().assertStatus(6);
    }

    @Test
    void theTextOfTheEnvironmentIsForTheModuleOfTheEnvironment() throws Exception {
        Velnor.of("info", "--module", SOFTHSM).set("HARLUNE_RESERVED", "any").run().assertStatus(0);
        String refused = "J_Initialize: ARGUMENTS BAD (CKR_ARGUMENTS_BAD, 0x7)";
        Velnor.of("info").module(SOFTHSM).set("HARLUNE_RESERVED", "any").run().assertRefused(6, refused);
        Velnor.of("info", "--module", SOFTHSM, "--reserved", "any").run().assertRefused(6, refused);
    }
}
