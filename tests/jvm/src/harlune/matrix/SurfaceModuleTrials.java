package harlune.matrix;

import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import harlune.support.Tokens;

import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.security.PublicKey;
import java.security.Signature;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;

import velnor.CKF;
import velnor.CKM;
import velnor.CKS;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Inside;
import velnor.Mechanism;
import velnor.OpenOptions;
import velnor.Session;
import velnor.Signer;
import velnor.Threading;
import velnor.nat.Function;

/** How the module is opened, and what it does for sessions and threads. */
final class SurfaceModuleTrials extends SurfaceTrials {
    private static final int THREADS_AT_ONCE = 8;
    private static final long NANOSECONDS = TimeUnit.SECONDS.toNanos(2);
    private static final Mechanism RSA_PKCS = new Mechanism(CKM.RSA_PKCS);
    /** What stands in front of a SHA-256 digest in a signature of PKCS#1; not every token hashes by itself. */
    private static final byte[] DIGEST_INFO = HexFormat.of().parseHex("3031300d060960864801650304020105000420");

    SurfaceModuleTrials(OpenToken token, Outcomes outcomes) {
        super(token, outcomes);
    }

    @Override
    void plan() {
        trialWithoutSession(RESERVED_TEXT, "", this::openedWithText);
        trial(WIDE_SESSIONS, "", this::wideSession);
        trial(SESSION_CANCEL, "", this::operationCancelled);
        trial(THREADS, "", this::threadsSign);
    }

    /** A module that wants such a text is opened with it all the time; here it is told one in any case. */
    private void openedWithText() {
        token.close();
        OpenOptions options = OpenOptions.DEFAULT
                .reserved(Tokens.RESERVED != null ? Tokens.RESERVED : "configdir='/nonexistent'");
        try (Cryptoki opened = call(() -> Cryptoki.open(Tokens.MODULE, options));
                Session mine = opened.tokenByLabel(Tokens.LABEL).openSession()) {
            mine.login(Tokens.PIN);
            assertEquals(CKS.RW_USER_FUNCTIONS, mine.info().state());
            if (Tokens.RESERVED == null) {
                outcomes.qualify(RESERVED_TEXT, "", "the module does not look at it");
            }
        } finally {
            token.open();
        }
    }

    private void wideSession() throws GeneralSecurityException {
        long handle = Inside.handle(session);
        if (handle == Integer.toUnsignedLong((int) handle)) {
            nothing("small ones");
            return;
        }
        SurfacePair pair = SurfacePair.rsa(session);
        byte[] message = "wide".getBytes(StandardCharsets.UTF_8);
        assertValid(pair.jdkPublicKey(), message, call(() -> sign(session, pair, message)));
        assertEquals(CKS.RW_USER_FUNCTIONS, session.info().state());
    }

    private static byte[] sign(Session in, SurfacePair pair, byte[] message) {
        try {
            byte[] digest = MessageDigest.getInstance("SHA-256").digest(message);
            return in.sign(RSA_PKCS, pair.privateKey(), joined(DIGEST_INFO, digest));
        } catch (GeneralSecurityException e) {
            return fail(e);
        }
    }

    private static void assertValid(PublicKey key, byte[] message, byte[] signature) throws GeneralSecurityException {
        Signature judge = Signature.getInstance("SHA256withRSA");
        judge.initVerify(key);
        judge.update(message);
        assertTrue(judge.verify(signature), "the JDK refuses a signature");
    }

    private void operationCancelled() throws GeneralSecurityException {
        if (!Inside.has(session, Function.SESSION_CANCEL)) {
            nothing("no such function");
            return;
        }
        SurfacePair pair = SurfacePair.rsa(session);
        byte[] message = "after all".getBytes(StandardCharsets.UTF_8);
        Signer signer = session.signer(RSA_PKCS, pair.privateKey()).start();
        run(() -> Inside.cancel(session, CKF.SIGN));
        signer.close();
        assertValid(pair.jdkPublicKey(), message, sign(session, pair, message));
    }

    private void threadsSign() throws GeneralSecurityException, InterruptedException {
        SurfacePair pair = SurfacePair.rsa(session);
        long end = System.nanoTime() + NANOSECONDS;
        List<Callable<Map<String, byte[]>>> work = new ArrayList<>();
        for (int i = 0; i < THREADS_AT_ONCE; i++) {
            String name = "thread " + i + ", signature ";
            work.add(() -> signatures(pair, name, end));
        }
        for (Map<String, byte[]> signatures : call(() -> all(work))) {
            assertTrue(!signatures.isEmpty(), "a thread came to nothing");
            for (Map.Entry<String, byte[]> signature : signatures.entrySet()) {
                assertValid(pair.jdkPublicKey(), signature.getKey().getBytes(StandardCharsets.UTF_8),
                        signature.getValue());
            }
        }
        if (token.cryptoki().threading() == Threading.SERIALIZED) {
            outcomes.qualify(THREADS, "", "one call at a time");
        }
    }

    private Map<String, byte[]> signatures(SurfacePair pair, String name, long end) {
        Map<String, byte[]> signatures = new LinkedHashMap<>();
        try (Session mine = slot.openSession()) {
            while (System.nanoTime() < end) {
                String message = name + signatures.size();
                signatures.put(message, sign(mine, pair, message.getBytes(StandardCharsets.UTF_8)));
            }
        }
        return signatures;
    }

    private static List<Map<String, byte[]>> all(List<Callable<Map<String, byte[]>>> work) {
        ExecutorService threads = Executors.newFixedThreadPool(work.size());
        try {
            List<Map<String, byte[]>> results = new ArrayList<>();
            for (Future<Map<String, byte[]>> result : threads.invokeAll(work)) {
                results.add(result.get());
            }
            return results;
        } catch (ExecutionException e) {
            if (e.getCause() instanceof CryptokiException) {
                throw (CryptokiException) e.getCause();
            }
            return fail(e.getCause());
        } catch (InterruptedException e) {
            return fail(e);
        } finally {
            threads.shutdown();
        }
    }
}
