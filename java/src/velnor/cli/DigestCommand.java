package velnor.cli;

import java.io.IOException;

import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

import velnor.CKM;
import velnor.Digester;
import velnor.Mechanism;
import velnor.Session;

@Command(name = "digest", description = "Make the digest of a file on a token.")
final class DigestCommand extends SessionCommand {
    @Mixin
    private InputOptions input;

    @Option(names = "--mechanism", paramLabel = "NAME", description = "The mechanism; if not given, SHA256.")
    private String mechanism = "SHA256";

    @Mixin
    private ResultOptions result;

    DigestCommand() {
        super(false, false);
    }

    @Override
    void prepare() throws IOException {
        input.prepare();
        result.prepare();
    }

    @Override
    int run(Session session) throws IOException {
        int code = MechanismOptions.code(mechanism);
        result.give(standard, new Fields().with("mechanism", CKM.name(code)), "digest", digest(session, code),
                ResultOptions.Format.HEX);
        return ExitCode.OK;
    }

    private byte[] digest(Session session, int code) throws IOException {
        try (Input in = input.open(); Digester digester = session.digester(new Mechanism(code))) {
            if (in.isShort()) {
                return digester.digest(in.whole());
            }
            digester.update(in.stream(), in.progress());
            return digester.digest();
        }
    }
}
