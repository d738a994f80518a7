package velnor.cli;

import java.io.IOException;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.Callable;

import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.OpenOptions;

/** A command that works with a module: all of them. */
abstract class ModuleCommand implements Callable<Integer> {
    private static final String VARIABLE = "HARLUNE_MODULE";
    private static final String RESERVED_VARIABLE = "HARLUNE_RESERVED";

    @Mixin
    StandardOptions standard;

    @Option(names = "--module", paramLabel = "FILE",
            description = "The PKCS#11 module of the token's vendor; if not given, the environment variable " + VARIABLE
                    + " names it.")
    private String module;

    @Option(names = "--reserved", paramLabel = "TEXT",
            description = "The text that the module wants when it is initialised, as NSS does (configdir=...); if"
                    + " neither this nor --module is given, the environment variable " + RESERVED_VARIABLE + " has it.")
    private String reserved;

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
        try (Cryptoki cryptoki = open(name, OpenOptions.DEFAULT.reserved(reservedText()))) {
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

    /** The variable belongs to the module of the other one: any other module would refuse its text. */
    private String reservedText() {
        String text = reserved != null || module != null ? reserved
                : LocaleText.requireMeant(System.getenv(RESERVED_VARIABLE), RESERVED_VARIABLE, "");
        return text == null || text.isEmpty() ? null : text;
    }

    private static Cryptoki open(String name, OpenOptions options) {
        try {
            Cryptoki cryptoki = Cryptoki.open(name, options);
            Shutdown.opened(cryptoki);
            return cryptoki;
        } catch (CryptokiException e) {
            throw Failure.cannotLoad(e);
        } catch (UnsatisfiedLinkError e) {
            throw Failure.cannotLoad(e);
        }
    }
}
