package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.nio.charset.StandardCharsets;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKM;
import velnor.CKO;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.Session;
import velnor.Signer;
import velnor.Threading;
import velnor.TokenKeyPair;
import velnor.TokenObject;
import velnor.TokenSlot;

/**
 * Eight threads, each with a session of its own, on one token. The option {@code harlune.threading} says how their
 * calls reach it, the environment variable {@code HARLUNE_THREADS_SECONDS} how long they work.
 */
class ThreadsTest {
    private static final int THREADS = 8;
    private static final Mechanism SIGN = new Mechanism(CKM.SHA256_RSA_PKCS);
    private static final Mechanism DIGEST = new Mechanism(CKM.SHA256);

    private static long seconds() {
        String wanted = System.getenv("HARLUNE_THREADS_SECONDS");
        return wanted == null ? 5 : Long.parseLong(wanted);
    }

    @Test
    void threadsDoNotDisturbEachOther() throws Exception {
        Threading threading = Threading.valueOf(System.getProperty("harlune.threading", "SERIALIZED"));
        try (Cryptoki cryptoki = Surface.open(Tokens.MODULE, threading)) {
            TokenSlot slot = cryptoki.tokenByLabel(Tokens.LABEL);
            Session owner = slot.openSession();
            owner.login(Tokens.PIN);
            TokenKeyPair pair = owner.generateKeyPair(new Mechanism(CKM.RSA_PKCS_KEY_PAIR_GEN),
                    new Attribute[] {new Attribute(CKA.TOKEN, false), new Attribute(CKA.MODULUS_BITS, 1024),
                        new Attribute(CKA.PUBLIC_EXPONENT, new byte[] {1, 0, 1}), new Attribute(CKA.VERIFY, true)},
                    new Attribute[] {new Attribute(CKA.TOKEN, false), new Attribute(CKA.SIGN, true)});
            long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(seconds());
            List<Callable<Integer>> work = new ArrayList<>();
            for (int i = 0; i < THREADS; i++) {
                String name = "thread " + i;
                work.add(() -> rounds(slot, pair, name, end));
            }
            List<Integer> rounds = all(work);
            System.out.println(threading + ": " + rounds + " rounds");
            assertTrue(rounds.stream().allMatch(count -> count > 0), rounds::toString);
            assertEquals(1, owner.find(new Attribute(CKA.CLASS, CKO.PRIVATE_KEY)).size());
        }
    }

    private static List<Integer> all(List<Callable<Integer>> work) throws InterruptedException, ExecutionException {
        ExecutorService threads = Executors.newFixedThreadPool(work.size());
        try {
            List<Integer> results = new ArrayList<>();
            for (Future<Integer> result : threads.invokeAll(work)) {
                results.add(result.get());
            }
            return results;
        } finally {
            threads.shutdown();
        }
    }

    private static int rounds(TokenSlot slot, TokenKeyPair pair, String name, long end)
            throws NoSuchAlgorithmException {
        int rounds = 0;
        try (Session session = slot.openSession()) {
            while (System.nanoTime() < end) {
                round(session, pair, (name + " in round " + rounds).getBytes(StandardCharsets.UTF_8), name);
                // Sessions come and go beside those that work.
                slot.openReadOnlySession().close();
                rounds++;
            }
        }
        return rounds;
    }

    private static void round(Session session, TokenKeyPair pair, byte[] message, String name)
            throws NoSuchAlgorithmException {
        byte[] signature = session.sign(SIGN, pair.privateKey(), message);
        assertTrue(session.isValid(SIGN, pair.publicKey(), message, signature));
        message[0] ^= 1;
        assertFalse(session.isValid(SIGN, pair.publicKey(), message, signature));
        try (Signer signer = session.signer(SIGN, pair.privateKey())) {
            signer.update(message);
            assertTrue(session.isValid(SIGN, pair.publicKey(), message, signer.sign()));
        }
        assertArrayEquals(MessageDigest.getInstance("SHA-256").digest(message), session.digest(DIGEST, message));
        assertEquals(16, session.random(16).length);
        Attribute label = new Attribute(CKA.LABEL, name);
        TokenObject key = session.generateKey(new Mechanism(CKM.AES_KEY_GEN), label, new Attribute(CKA.VALUE_LEN, 16),
                new Attribute(CKA.TOKEN, false));
        assertEquals(List.of(key), session.find(label));
        key.destroy();
        assertEquals(List.of(), session.find(label));
    }
}
