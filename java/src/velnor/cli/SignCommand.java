package velnor.cli;

import java.io.IOException;

import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;

import velnor.CKA;
import velnor.CKM;
import velnor.Session;
import velnor.Signer;
import velnor.TokenObject;

@Command(name = "sign", description = "Sign a file, or make its MAC.")
final class SignCommand extends SessionCommand {
    @Mixin
    private InputOptions input;

    @Mixin
    private KeyOptions keys;

    @Mixin
    private MechanismOptions mechanism;

    @Mixin
    private ResultOptions result;

    SignCommand() {
        super(false, true);
    }

    @Override
    void prepare() throws IOException {
        input.prepare();
        result.prepare();
    }

    @Override
    int run(Session session) throws IOException {
        TokenObject key = keys.find(session, Operation.SIGN, login.isLoggedIn());
        SignatureScheme scheme = SignatureScheme.of(session.slot(), mechanism
                .mechanism(() -> Operation.SIGN.usualMechanism(key.attribute(CKA.KEY_TYPE).intValue())));
        byte[] signature = sign(session, scheme, key);
        result.give(standard, new Fields().with("mechanism", CKM.name(scheme.mechanism().mechanism()))
                .with("digest", scheme.digest()), "signature", signature, ResultOptions.Format.RAW);
        return ExitCode.OK;
    }

    private byte[] sign(Session session, SignatureScheme scheme, TokenObject key) throws IOException {
        try (Input in = input.open(); Signer signer = session.signer(scheme.mechanism(), key)) {
            byte[] data = scheme.onePart(in);
            if (key.asksForPinEachTime()) {
                signer.start();
                login.loginOnceMore(session);
            }
            if (data != null) {
                return signer.sign(data);
            }
            signer.update(in.stream(), in.progress());
            return signer.sign();
        }
    }
}
