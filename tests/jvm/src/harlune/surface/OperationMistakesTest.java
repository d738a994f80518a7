package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.function.Executable;

import velnor.CKM;
import velnor.CKR;
import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.Signer;
import velnor.Threading;
import velnor.TokenObject;
import velnor.Verifier;

/** Mistakes of a program are told as such and do not reach the module; what reaches it is what was meant. */
class OperationMistakesTest extends ScriptedOperations {
    private static final byte[] DATA = bytes("data");

    /** One part, as a region of an array. */
    private interface Region {
        void use(byte[] array, int off, int len) throws IOException;
    }

    /** Each of them once, in a session that has nothing else to do. */
    private List<Region> regions(Session session) {
        Encryptor encryptor = session.encryptor(AES, secret);
        Decryptor decryptor = session.decryptor(AES, secret);
        Signer signer = session.signer(RSA, privateKey);
        Verifier verifier = session.verifier(RSA, publicKey);
        Digester digester = session.digester(SHA256);
        return List.of(
                (array, off, len) -> session.encrypt(AES, secret, array, off, len),
                (array, off, len) -> session.decrypt(AES, secret, array, off, len),
                (array, off, len) -> session.sign(RSA, privateKey, array, off, len),
                (array, off, len) -> session.verify(RSA, publicKey, array, off, len, DATA),
                (array, off, len) -> session.isValid(RSA, publicKey, array, off, len, DATA),
                (array, off, len) -> session.digest(SHA256, array, off, len),
                (array, off, len) -> session.signRecover(RSA, privateKey, array, off, len),
                (array, off, len) -> session.verifyRecover(RSA, publicKey, array, off, len),
                encryptor::update, encryptor::finish, decryptor::update, decryptor::finish,
                signer::update, signer::sign, verifier::update,
                (array, off, len) -> verifier.verify(array, off, len, DATA),
                (array, off, len) -> verifier.isValid(array, off, len, DATA), digester::update, digester::digest,
                (array, off, len) -> session.digestEncryptUpdate(digester, encryptor, array, off, len),
                (array, off, len) -> session.signEncryptUpdate(signer, encryptor, array, off, len),
                (array, off, len) -> session.decryptDigestUpdate(decryptor, digester, array, off, len),
                (array, off, len) -> session.decryptVerifyUpdate(decryptor, verifier, array, off, len));
    }

    private static void assertAsksNobody(Class<? extends Exception> mistake, Executable call) {
        assertThrows(mistake, call);
        assertEquals(List.of(), calls());
    }

    @Test
    void regionsOutsideOfTheirArray() {
        int[][] outside = {{-1, 1}, {0, -1}, {0, 5}, {4, 1}, {5, 0}, {2, 3}, {Integer.MAX_VALUE, 1},
            {1, Integer.MAX_VALUE}, {Integer.MIN_VALUE, Integer.MIN_VALUE}};
        for (Region region : regions(session)) {
            for (int[] at : outside) {
                assertAsksNobody(IndexOutOfBoundsException.class, () -> region.use(DATA, at[0], at[1]));
            }
            assertAsksNobody(NullPointerException.class, () -> region.use(null, 0, 0));
        }
    }

    @Test
    void whatIsMissing() {
        List<Executable> calls = new ArrayList<>(List.of(
                () -> session.encrypt(AES, secret, null),
                () -> session.decrypt(AES, secret, null),
                () -> session.sign(RSA, privateKey, null),
                () -> session.verify(RSA, publicKey, null, DATA),
                () -> session.verify(RSA, publicKey, DATA, null),
                () -> session.isValid(RSA, publicKey, null, DATA),
                () -> session.isValid(RSA, publicKey, DATA, null),
                () -> session.digest(SHA256, null),
                () -> session.signRecover(RSA, privateKey, null),
                () -> session.verifyRecover(RSA, publicKey, null),
                () -> session.encryptor(AES, secret).update(null),
                () -> session.encryptor(AES, secret).finish(null),
                () -> session.encryptor(AES, secret).transfer(null, OutputStream.nullOutputStream()),
                () -> session.encryptor(AES, secret).transfer(InputStream.nullInputStream(), null),
                () -> session.encryptor(AES, secret)
                        .transfer(InputStream.nullInputStream(), OutputStream.nullOutputStream(), null),
                () -> session.signer(RSA, privateKey).update((byte[]) null),
                () -> session.signer(RSA, privateKey).update((InputStream) null),
                () -> session.signer(RSA, privateKey).update(InputStream.nullInputStream(), null),
                () -> session.signer(RSA, privateKey).sign(null),
                () -> session.verifier(RSA, publicKey).verify(null),
                () -> session.verifier(RSA, publicKey).isValid(null),
                () -> session.digester(SHA256).digest(null),
                () -> session.digester(SHA256).digestKey(null),
                () -> session.digestKey(SHA256, null),
                () -> session.digestEncryptUpdate(null, session.encryptor(AES, secret), DATA),
                () -> session.decryptVerifyUpdate(session.decryptor(AES, secret), null, DATA)));
        for (Mechanism mechanism : new Mechanism[] {null, AES}) {
            TokenObject key = mechanism == null ? secret : null;
            calls.add(() -> session.encrypt(mechanism, key, DATA));
            calls.add(() -> session.decrypt(mechanism, key, DATA));
            calls.add(() -> session.sign(mechanism, key, DATA));
            calls.add(() -> session.verify(mechanism, key, DATA, DATA));
            calls.add(() -> session.isValid(mechanism, key, DATA, DATA));
            calls.add(() -> session.signRecover(mechanism, key, DATA));
            calls.add(() -> session.verifyRecover(mechanism, key, DATA));
        }
        calls.add(() -> session.digest(null, DATA));
        for (Executable call : calls) {
            assertAsksNobody(NullPointerException.class, call);
        }
    }

    @Test
    void aParameterThatTheMechanismDoesNotTake() {
        Mechanism wrong = new Mechanism(CKM.DES3_CBC, "iv");
        List<Executable> calls = List.of(
                () -> session.encryptor(wrong, secret),
                () -> session.decryptor(wrong, secret),
                () -> session.signer(wrong, secret),
                () -> session.verifier(wrong, secret),
                () -> session.digester(wrong),
                () -> session.signRecover(wrong, secret, DATA),
                () -> session.verifyRecover(wrong, secret, DATA));
        for (Executable call : calls) {
            assertAsksNobody(IllegalArgumentException.class, call);
        }
    }

    @Test
    void aKeyOfAnotherSessionServesUntilThatIsClosed() {
        Session other = session.slot().openSession();
        TokenObject key = Surface.key(other, 0xB01);
        assertEquals("DATA", text(session.encrypt(AES, key, DATA)));
        other.close();
        calls();
        assertAsksNobody(IllegalStateException.class, () -> session.encryptor(AES, key));
        assertAsksNobody(IllegalStateException.class, () -> session.digester(SHA256).digestKey(key));
    }

    @Test
    void twoOperationsOfDifferentSessions() {
        try (Session other = session.slot().openSession()) {
            calls();
            Digester digester = session.digester(SHA256);
            Encryptor encryptor = other.encryptor(AES, secret);
            assertAsksNobody(IllegalArgumentException.class,
                    () -> session.digestEncryptUpdate(digester, encryptor, DATA));
            assertAsksNobody(IllegalArgumentException.class,
                    () -> other.digestEncryptUpdate(digester, encryptor, DATA));
        }
    }

    @Test
    void anOperationThatIsOver() throws IOException {
        Encryptor encryptor = session.encryptor(AES, secret);
        encryptor.finish();
        Signer signer = session.signer(RSA, privateKey);
        signer.sign(DATA);
        Verifier verifier = session.verifier(RSA, publicKey);
        verifier.isValid(DATA);
        Digester digester = session.digester(SHA256);
        digester.close();
        Decryptor decryptor = session.decryptor(AES, secret);
        decryptor.transfer(new ByteArrayInputStream(DATA), OutputStream.nullOutputStream());
        calls();
        List<Executable> calls = List.of(
                () -> encryptor.update(DATA),
                () -> encryptor.update(DATA, 0, 0),
                encryptor::finish,
                encryptor::resume,
                () -> encryptor.transfer(InputStream.nullInputStream(), OutputStream.nullOutputStream()),
                decryptor::start,
                decryptor::finish,
                signer::start,
                () -> signer.update(DATA),
                () -> signer.update(DATA, 1, 0),
                () -> signer.update(InputStream.nullInputStream()),
                signer::sign,
                () -> verifier.verify(DATA),
                () -> verifier.isValid(DATA),
                digester::digest,
                () -> digester.digestKey(secret));
        for (Executable call : calls) {
            assertAsksNobody(IllegalStateException.class, call);
        }
        // The other one of a pair is not touched by that.
        Encryptor fresh = session.encryptor(AES, secret);
        assertAsksNobody(IllegalStateException.class, () -> session.digestEncryptUpdate(digester, fresh, DATA));
        assertEquals("DATA", text(fresh.finish(DATA)));
        calls();
        Digester freshDigester = session.digester(SHA256);
        assertAsksNobody(IllegalStateException.class, () -> session.digestEncryptUpdate(freshDigester, fresh, DATA));
        assertTrue(text(freshDigester.digest(DATA)).startsWith("data."));
    }

    @Test
    void aSecondStart() {
        try (Signer signer = session.signer(RSA, privateKey).start()) {
            calls();
            assertAsksNobody(IllegalStateException.class, signer::start);
            assertAsksNobody(IllegalStateException.class, signer::resume);
            assertEquals("SIG:atad", text(signer.sign(DATA)));
        }
    }

    @Test
    void aRestoredOperationGoesOnInParts() {
        Digester digester = session.digester(SHA256);
        digester.resume();
        assertEquals(List.of(), calls());
        assertThrows(IllegalStateException.class, () -> session.digest(SHA256, DATA));
        ScriptedModule.answer("C_DigestUpdate CKR_OK");
        ScriptedModule.answer("C_DigestFinal CKR_OK data=\"digest\"");
        assertEquals("digest", text(digester.digest(DATA)));
        assertEquals(List.of("C_DigestUpdate", "C_DigestFinal"), calls());
    }

    /** A token that lets the second one begin would go on with the data of the first one. */
    @Test
    void aSecondOperationOfTheSameKind() {
        Encryptor encryptor = session.encryptor(AES, secret);
        Encryptor second = session.encryptor(AES, secret);
        encryptor.update(bytes("da"));
        calls();
        assertAsksNobody(IllegalStateException.class, () -> second.update(DATA));
        assertAsksNobody(IllegalStateException.class, () -> session.encrypt(AES, secret, DATA));
        second.close();
        assertAsksNobody(IllegalStateException.class, () -> session.encrypt(AES, secret, DATA));
        assertEquals("DATA", text(encryptor.finish(bytes("ta"))));
        assertEquals(List.of("C_EncryptUpdate", "C_EncryptFinal"), calls());
        assertEquals("DATA", text(session.encrypt(AES, secret, DATA)));
    }

    @Test
    void aTokenThatAllowsOneOperationSaysSoAndTheFirstOneGoesOn() {
        try (Signer signer = session.signer(RSA, privateKey).start()) {
            ScriptedModule.answer("C_DigestInit CKR_OPERATION_ACTIVE");
            assertEquals(CKR.OPERATION_ACTIVE,
                    assertThrows(CryptokiException.class, () -> session.digest(SHA256, DATA)).code());
            assertEquals("SIG:atad", text(signer.sign(DATA)));
        }
    }

    @Test
    void aRegionReachesTheModuleAndNothingElse() throws IOException {
        byte[] array = bytes("..data...");
        for (int i = 0; i < regions(session).size(); i++) {
            try (Session fresh = session.slot().openSession()) {
                regions(fresh).get(i).use(array, 2, 4);
            } catch (CryptokiException notASignature) {
                assertEquals(CKR.SIGNATURE_LEN_RANGE, notASignature.code() | 1);
            }
            List<String> inputs = ScriptedModule.journal().stream().filter(line -> line.contains("=\""))
                    .map(line -> line.replaceAll("^(\\w+) .*? (data|part|encryptedData|signature)=(\\S+) .*$", "$1 $3"))
                    .toList();
            ScriptedModule.clearJournal();
            assertFalse(inputs.isEmpty());
            for (String input : inputs) {
                assertTrue(input.matches("\\w+ \"(data|DATA)\""), input);
            }
        }
        assertEquals("..data...", text(array));
    }

    @Test
    void partsWithoutBytesAreNotShownToTheToken() throws IOException {
        try (Signer signer = session.signer(RSA, privateKey); Encryptor encryptor = session.encryptor(AES, secret)) {
            signer.update(new byte[0]);
            signer.update(DATA, 4, 0);
            assertEquals(0, signer.update(InputStream.nullInputStream()));
            assertEquals(0, encryptor.update(new byte[0]).length);
            assertEquals(List.of(), calls());
            assertEquals("SIG:", text(signer.sign()));
            assertEquals(0, encryptor.finish().length);
            assertEquals(List.of("C_SignInit", "C_Sign", "C_EncryptInit", "C_Encrypt"), calls());
        }
    }

    @Test
    void progressIsToldOfWhatTheTokenHasTaken() throws IOException {
        List<Long> told = new ArrayList<>();
        try (Digester digester = session.digester(SHA256)) {
            assertEquals(150_000, digester.update(new ByteArrayInputStream(new byte[150_000]), bytes -> {
                told.add(bytes);
                assertEquals(told.size() == 1 ? List.of("C_DigestInit", "C_DigestUpdate") : List.of("C_DigestUpdate"),
                        calls());
            }));
        }
        assertEquals(List.of(65_536L, 131_072L, 150_000L), told);
    }

    /** While a stream or a callback takes its time, other threads reach the module. */
    @Test
    @Timeout(30)
    void aSlowStreamKeepsNobodyWaiting() throws Exception {
        CountDownLatch blocking = new CountDownLatch(1);
        CountDownLatch others = new CountDownLatch(2);
        InputStream slow = new InputStream() {
            @Override
            public int read() throws IOException {
                blocking.countDown();
                try {
                    if (!others.await(20, TimeUnit.SECONDS)) {
                        throw new IOException("nobody else got through");
                    }
                } catch (InterruptedException e) {
                    throw new IOException(e);
                }
                return -1;
            }
        };
        Thread other = new Thread(() -> {
            try {
                blocking.await();
                session.digest(SHA256, DATA);
                others.countDown();
                cryptoki.info();
                others.countDown();
            } catch (InterruptedException e) {
                throw new IllegalStateException(e);
            }
        });
        other.start();
        try (Encryptor encryptor = session.encryptor(AES, secret)) {
            encryptor.update(DATA);
            encryptor.transfer(slow, OutputStream.nullOutputStream());
        }
        other.join();
    }

    /** Each operation is several calls of the module; in one session they must not mix, whatever the threads do. */
    @Test
    void threadsThatShareASessionTakeTurns() throws Exception {
        cryptoki.close();
        cryptoki = Surface.scripted(Threading.CONCURRENT);
        Session shared = cryptoki.slotsWithToken().get(0).openSession();
        TokenObject key = Surface.key(shared, 0xB01);
        ExecutorService threads = Executors.newFixedThreadPool(4);
        try {
            List<Future<?>> results = new ArrayList<>();
            for (int i = 0; i < 2000; i++) {
                String number = "" + i;
                String reversed = new StringBuilder(number).reverse().toString();
                results.add(threads.submit(() -> {
                    assertEquals("SIG:" + reversed, text(shared.sign(RSA, key, bytes(number))));
                    try (Digester digester = shared.slot().openSession().digester(SHA256)) {
                        digester.update(bytes(number));
                        assertTrue(text(digester.digest()).startsWith(number + "."));
                    }
                }));
            }
            for (Future<?> result : results) {
                result.get();
            }
        } finally {
            threads.shutdownNow();
        }
    }

    @Test
    void nothingThatIsToldShowsTheData() {
        try (Encryptor encryptor = session.encryptor(AES, secret)) {
            encryptor.update(DATA);
            assertEquals("Encryptor[" + AES + " in " + session + "]", encryptor.toString());
        }
    }
}
