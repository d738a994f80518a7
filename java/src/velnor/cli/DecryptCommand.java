package velnor.cli;

import java.io.IOException;
import java.io.OutputStream;

import picocli.CommandLine.Command;

import velnor.Decryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;

@Command(name = "decrypt", description = "Decrypt a file.")
final class DecryptCommand extends CipherCommand {
    DecryptCommand() {
        super(Operation.DECRYPT, true);
    }

    @Override
    byte[] onePart(Session session, Mechanism mechanism, TokenObject key, byte[] data) throws IOException {
        try (Decryptor decryptor = begun(session, mechanism, key)) {
            return decryptor.finish(data);
        }
    }

    @Override
    void transfer(Session session, Mechanism mechanism, TokenObject key, Input in, OutputStream out)
            throws IOException {
        try (Decryptor decryptor = begun(session, mechanism, key)) {
            decryptor.transfer(in.stream(), out, in.progress());
        }
    }

    private Decryptor begun(Session session, Mechanism mechanism, TokenObject key) throws IOException {
        Decryptor decryptor = session.decryptor(mechanism, key);
        if (key.asksForPinEachTime()) {
            decryptor.start();
            login.loginOnceMore(session);
        }
        return decryptor;
    }
}
