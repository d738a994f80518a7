package velnor.cli;

import java.io.IOException;
import java.io.OutputStream;
import java.util.Arrays;

import picocli.CommandLine.Mixin;

import velnor.CKA;
import velnor.CKM;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;

/** A command that turns a file into another one with a key. */
abstract class CipherCommand extends SessionCommand {
    @Mixin
    private InputOptions input;

    @Mixin
    private KeyOptions keys;

    @Mixin
    private MechanismOptions mechanism;

    @Mixin
    private OutputOptions output;

    private final Operation operation;

    CipherCommand(Operation operation, boolean needsLogin) {
        super(false, needsLogin);
        this.operation = operation;
    }

    /** Works on a short input. */
    abstract byte[] onePart(Session session, Mechanism mechanism, TokenObject key, byte[] data) throws IOException;

    /** Works on a long input. */
    abstract void transfer(Session session, Mechanism mechanism, TokenObject key, Input in, OutputStream out)
            throws IOException;

    @Override
    final void prepare() throws IOException {
        input.prepare();
        if (standard.json() && output.file() == null) {
            throw Failure.usage("with --json, stdout has the document: name a file for the result with --out");
        }
        if (operation == Operation.ENCRYPT && output.file() == null && Terminal.is(Terminal.STDOUT)) {
            throw Failure.usage("what comes out is nothing for a terminal: name a file for it with --out");
        }
        output.prepare();
    }

    @Override
    final int run(Session session) throws IOException {
        TokenObject key = keys.find(session, operation, login.isLoggedIn());
        Mechanism used = mechanism.mechanism(() -> operation.usualMechanism(key.attribute(CKA.KEY_TYPE).intValue()));
        try (Input in = input.open()) {
            output.write(operation == Operation.DECRYPT, out -> work(session, used, key, in, out));
        }
        if (standard.json()) {
            standard.report(new Fields().with("mechanism", CKM.name(used.mechanism()))
                    .with("file", output.file().toString()), Text::details);
        }
        return ExitCode.OK;
    }

    private void work(Session session, Mechanism used, TokenObject key, Input in, OutputStream out) throws IOException {
        if (!in.isShort()) {
            transfer(session, used, key, in, out);
            return;
        }
        byte[] result = onePart(session, used, key, in.whole());
        try {
            out.write(result);
        } finally {
            Arrays.fill(result, (byte) 0);
        }
    }
}
