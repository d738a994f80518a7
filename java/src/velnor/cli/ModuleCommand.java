package velnor.cli;

import java.io.IOException;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.Callable;

import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

import velnor.Cryptoki;
import velnor.CryptokiException;

/** A command that works with a module: all of them. */
abstract class ModuleCommand implements Callable<Integer> {
    private static final String VARIABLE = "HARLUNE_MODULE";

    @Mixin
    StandardOptions standard;

    @Option(names = "--module", paramLabel = "FILE",
            description = "The PKCS#11 module of the token's vendor; if not given, the environment variable " + VARIABLE
                    + " names it.")
    private String module;

    /** Refuses what can be refused before the token is bothered. */
    void prepare() throws IOException {
    }

    /** The PINs that may be wanted. */
    List<PinSource> pins() {
        return List.of();
    }

    abstract int run(Cryptoki cryptoki) throws IOException;

    @Override
    public final Integer call() throws IOException {
        String name = moduleName();
        prepare();
        pins().forEach(PinSource::prepare);
        try (Cryptoki cryptoki = open(name)) {
            return run(cryptoki);
        }
    }

    private String moduleName() {
        String name = module != null ? module : LocaleText.requireMeant(System.getenv(VARIABLE), VARIABLE, "");
        if (name == null || name.isEmpty()) {
            throw Failure.usage("no module: name one with --module, or in the environment variable " + VARIABLE);
        }
        return name.indexOf('/') < 0 ? name : Path.of(name).toAbsolutePath().normalize().toString();
    }

    static Cryptoki open(String name) {
        try {
            Cryptoki cryptoki = Cryptoki.open(name);
            Shutdown.opened(cryptoki);
            return cryptoki;
        } catch (CryptokiException e) {
            throw Failure.cannotLoad(e);
        } catch (UnsatisfiedLinkError e) {
            throw Failure.cannotLoad(e);
        }
    }
}
