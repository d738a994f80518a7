package velnor.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

import velnor.CKA;
import velnor.CKM;
import velnor.Session;
import velnor.TokenObject;
import velnor.Verifier;

@Command(name = "verify", description = "Check the signature or the MAC of a file; exit code 1 when it is not valid.")
final class VerifyCommand extends SessionCommand {
    @Mixin
    private InputOptions input;

    @Option(names = "--signature", required = true, paramLabel = "FILE",
            description = "The file that has the signature.")
    private Path signatureFile;

    @Option(names = "--format", paramLabel = "FORMAT",
            description = "How the signature is written: ${COMPLETION-CANDIDATES}; if not given, RAW.")
    private ResultOptions.Format format = ResultOptions.Format.RAW;

    @Mixin
    private KeyOptions keys;

    @Mixin
    private MechanismOptions mechanism;

    VerifyCommand() {
        super(false, false);
    }

    @Override
    void prepare() throws IOException {
        input.prepare();
    }

    @Override
    int run(Session session) throws IOException {
        byte[] signature = signature();
        TokenObject key = keys.find(session, Operation.VERIFY, login.isLoggedIn());
        SignatureScheme scheme = SignatureScheme.of(session.slot(), mechanism
                .mechanism(() -> Operation.VERIFY.usualMechanism(key.attribute(CKA.KEY_TYPE).intValue())));
        boolean valid = isValid(session, scheme, key, signature);
        standard.report(new Fields().with("mechanism", CKM.name(scheme.mechanism().mechanism()))
                .with("digest", scheme.digest()).with("valid", valid),
                fields -> valid ? "signature valid\n" : "signature INVALID\n");
        return valid ? ExitCode.OK : ExitCode.SIGNATURE_INVALID;
    }

    private byte[] signature() throws IOException {
        byte[] written = Files.readAllBytes(signatureFile);
        try {
            return format.decode(written);
        } catch (RuntimeException e) {
            throw Failure.io(signatureFile + " is not written in " + format);
        }
    }

    private boolean isValid(Session session, SignatureScheme scheme, TokenObject key, byte[] signature)
            throws IOException {
        try (Input in = input.open()) {
            byte[] data = scheme.onePart(in);
            if (data != null) {
                return session.isValid(scheme.mechanism(), key, data, signature);
            }
            try (Verifier verifier = session.verifier(scheme.mechanism(), key)) {
                verifier.update(in.stream(), in.progress());
                return verifier.isValid(signature);
            }
        }
    }
}
