import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKM;
import velnor.CKO;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;
import velnor.TokenSlot;

/**
 * What a server does: one login, a pool of threads, a session for each of them.
 *
 * <p>Usage: {@code SigningService MODULE TOKEN KEY}, token and key by their labels, the PIN in the environment variable
 * {@code TOKEN_PIN}.
 */
public final class SigningService implements AutoCloseable {
    private static final Mechanism SHA256_RSA_PKCS = new Mechanism(CKM.SHA256_RSA_PKCS);
    private static final int THREADS = 4;

    private final Cryptoki cryptoki;
    private final TokenSlot token;
    private final TokenObject key;
    private final ThreadLocal<Session> sessions;

    public SigningService(String module, String label, String keyLabel, String pin) {
        cryptoki = Cryptoki.open(module);
        try {
            token = cryptoki.tokenByLabel(label);
            // The login holds for the whole process until this session, the last one, is closed.
            Session session = token.openReadOnlySession();
            session.login(pin);
            key = session.findOne(new Attribute(CKA.CLASS, CKO.PRIVATE_KEY), new Attribute(CKA.LABEL, keyLabel));
        } catch (RuntimeException e) {
            cryptoki.close();
            throw e;
        }
        sessions = ThreadLocal.withInitial(token::openReadOnlySession);
    }

    /** Signs, in whatever thread. */
    public byte[] sign(byte[] message) {
        return sessions.get().sign(SHA256_RSA_PKCS, key, message);
    }

    @Override
    public void close() {
        cryptoki.close();
    }

    public static void main(String[] arguments) throws InterruptedException, ExecutionException {
        if (arguments.length != 3 || System.getenv("TOKEN_PIN") == null) {
            System.err.println("Usage: TOKEN_PIN=... SigningService MODULE TOKEN KEY");
            System.exit(2);
        }
        ExecutorService pool = Executors.newFixedThreadPool(THREADS);
        try (SigningService service =
                new SigningService(arguments[0], arguments[1], arguments[2], System.getenv("TOKEN_PIN"))) {
            List<Future<byte[]>> signatures = new ArrayList<>();
            for (int order = 1; order <= 100; order++) {
                byte[] message = ("order " + order).getBytes(StandardCharsets.UTF_8);
                signatures.add(pool.submit(() -> service.sign(message)));
            }
            int bytes = 0;
            for (Future<byte[]> signature : signatures) {
                bytes += signature.get().length;
            }
            System.out.println(signatures.size() + " signatures, " + bytes + " bytes, in " + THREADS + " threads");
        } finally {
            pool.shutdown();
        }
    }
}
