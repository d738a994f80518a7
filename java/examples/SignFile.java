import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKM;
import velnor.CKO;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.Session;
import velnor.Signer;
import velnor.TokenObject;
import velnor.Verifier;

/**
 * Signs a file of any size with a key that is on the token, in constant memory, and checks the signature.
 *
 * <p>Usage: {@code SignFile MODULE TOKEN KEY FILE}, token and key by their labels, the PIN in the environment variable
 * {@code TOKEN_PIN}. The signature is written beside the file, with {@code .sig} appended.
 */
public final class SignFile {
    private static final Mechanism SHA256_RSA_PKCS = new Mechanism(CKM.SHA256_RSA_PKCS);

    private SignFile() {}

    public static void main(String[] arguments) throws IOException {
        if (arguments.length != 4 || System.getenv("TOKEN_PIN") == null) {
            System.err.println("Usage: TOKEN_PIN=... SignFile MODULE TOKEN KEY FILE");
            System.exit(2);
        }
        Path file = Path.of(arguments[3]);
        try (Cryptoki cryptoki = Cryptoki.open(arguments[0]);
                Session session = cryptoki.tokenByLabel(arguments[1]).openReadOnlySession()) {
            session.login(System.getenv("TOKEN_PIN"));
            byte[] signature = sign(session, key(session, CKO.PRIVATE_KEY, arguments[2]), file);
            verify(session, key(session, CKO.PUBLIC_KEY, arguments[2]), file, signature);
            Files.write(Path.of(file + ".sig"), signature);
            System.out.println("The signature of " + file.getFileName() + " has " + signature.length + " bytes");
        }
    }

    private static TokenObject key(Session session, int objectClass, String label) {
        return session.findOne(new Attribute(CKA.CLASS, objectClass), new Attribute(CKA.LABEL, label));
    }

    private static byte[] sign(Session session, TokenObject key, Path file) throws IOException {
        long size = Files.size(file);
        try (Signer signer = session.signer(SHA256_RSA_PKCS, key); InputStream in = Files.newInputStream(file)) {
            signer.update(in, done -> System.err.printf("\r%d of %d bytes", done, size));
            System.err.println();
            return signer.sign();
        }
    }

    private static void verify(Session session, TokenObject key, Path file, byte[] signature) throws IOException {
        try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, key); InputStream in = Files.newInputStream(file)) {
            verifier.update(in);
            verifier.verify(signature);
        }
    }
}
