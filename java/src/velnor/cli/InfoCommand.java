package velnor.cli;

import java.io.IOException;

import picocli.CommandLine.Command;

import velnor.Cryptoki;
import velnor.Info;

@Command(name = "info", description = "Tell about the module and this library.")
final class InfoCommand extends ModuleCommand {
    @Override
    int run(Cryptoki cryptoki) throws IOException {
        Info info = cryptoki.info();
        standard.report(new Fields()
                .with("module", cryptoki.modulePath())
                .with("description", info.libraryDescription())
                .with("manufacturer", info.manufacturerID())
                .with("cryptokiVersion", info.cryptokiVersion().toString())
                .with("bridgeVersion", info.libraryVersion().toString())
                .with("secondAuthentication", cryptoki.isSecondAuthenticationRequired()), Text::details);
        return ExitCode.OK;
    }
}
