package harlune.matrix;

import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.Tokens;

import java.util.List;

import velnor.nat.NativeCryptoki;

/** The module as a whole: loading, life and death, information. Leaves it initialised. */
final class ModuleTrials extends NativeTrials {
    ModuleTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        trialWithoutSession("information", this::information);
        trialWithoutSession("loaded three ways", this::loadedThreeWays);
        trialWithoutSession("started twice", this::startedTwice);
    }

    private void information() {
        var info = call("GetInfo", () -> cryptoki.GetInfo());
        assertEquals(2, info.cryptokiVersion().majorVersion());
        assertEquals(32, info.rawManufacturerID().length());
    }

    private void loadedThreeWays() {
        run("Finalize", () -> cryptoki.Finalize(null));
        for (String method : List.of("loadCryptokiLibrary", "loadCryptokiLibrary2", "loadCryptokiLibrary3")) {
            run(method, () -> {
                switch (method) {
                    case "loadCryptokiLibrary" -> NativeCryptoki.loadCryptokiLibrary(Tokens.MODULE);
                    case "loadCryptokiLibrary2" -> NativeCryptoki.loadCryptokiLibrary2(Tokens.MODULE, true);
                    default -> NativeCryptoki.loadCryptokiLibrary3(Tokens.MODULE, true, false);
                }
            });
            assertEquals(Tokens.MODULE, call("getLastLoadedLibraryFullPath",
                    NativeCryptoki::getLastLoadedLibraryFullPath));
            assertEquals(true, call("IsSecondAuthenticationRequired", cryptoki::IsSecondAuthenticationRequired));
            run("Initialize", () -> cryptoki.Initialize(null));
            assertEquals(Tokens.LABEL, Tokens.slot(cryptoki, Tokens.LABEL).J_GetTokenInfo().label());
            cryptoki.Finalize(null);
        }
        cryptoki.Initialize(null);
    }

    private void startedTwice() {
        mustRefuse("Initialize", "a module that runs", () -> cryptoki.Initialize(null));
        cryptoki.Finalize(null);
        mustRefuse("Finalize", "a module that does not run", () -> cryptoki.Finalize(null));
        cryptoki.Initialize(null);
        assertEquals(2, cryptoki.GetInfo().cryptokiVersion().majorVersion());
    }
}
