package velnor.cli;

import java.io.IOException;
import java.io.OutputStream;

import picocli.CommandLine.Command;

import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;

@Command(name = "encrypt", description = "Encrypt a file.")
final class EncryptCommand extends CipherCommand {
    EncryptCommand() {
        super(Operation.ENCRYPT, false);
    }

    @Override
    byte[] onePart(Session session, Mechanism mechanism, TokenObject key, byte[] data) {
        return session.encrypt(mechanism, key, data);
    }

    @Override
    void transfer(Session session, Mechanism mechanism, TokenObject key, Input in, OutputStream out)
            throws IOException {
        try (Encryptor encryptor = session.encryptor(mechanism, key)) {
            encryptor.transfer(in.stream(), out, in.progress());
        }
    }
}
