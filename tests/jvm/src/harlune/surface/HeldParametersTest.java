package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.sun.jna.Library;
import com.sun.jna.Native;

import harlune.support.ScriptedModule;

import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.List;
import java.util.function.Consumer;
import java.util.stream.Stream;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.CKM;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.Signer;
import velnor.TokenObject;
import velnor.Verifier;
import velnor.params.GCMParams;
import velnor.params.PSSParams;

/**
 * A module that reads and writes the parameter of a mechanism where it was given it, until the operation has ended
 * (tests/native/module/keeping_entries.cpp): it finds it there, and nothing of it is left afterwards.
 */
@Timeout(60)
class HeldParametersTest extends ScriptedOperations {
    private static final Mechanism PSS = new Mechanism(CKM.RSA_PKCS_PSS, PSSParams.of("SHA-256"));
    private static final Mechanism VENDORS = new Mechanism(CKM.VENDOR_DEFINED + 1, bytes("a vendor's parameter"));
    private static final byte[] DATA = bytes("data");
    private static final String SIGNATURE = "SIG:atad";

    /** What the module exports for this test. */
    interface Keeping extends Library {
        void keeping_reset();

        int keeping_uses();

        int keeping_standing();

        int keeping_blank();
    }

    private static final Keeping KEEPING = Native.load(ScriptedModule.PATH, Keeping.class);

    @BeforeEach
    void forget() {
        KEEPING.keeping_reset();
    }

    /** So many parameters have been kept; the memory of all of them is blank now. */
    private static void assertAllBlank(int kept) {
        assertEquals(kept, KEEPING.keeping_blank());
        assertEquals(0, KEEPING.keeping_standing());
    }

    private static Mechanism gcm(GCMParams params) {
        return new Mechanism(CKM.AES_GCM, params);
    }

    private static GCMParams params() {
        return new GCMParams(new byte[12], bytes("additional data"), 128);
    }

    /** What the module writes when it is called for the n-th time. */
    private static byte[] vector(int n) {
        byte[] vector = new byte[12];
        Arrays.fill(vector, (byte) ('0' + n));
        return vector;
    }

    // ---- until the end

    private record Work(String name, int uses, int kept, Consumer<HeldParametersTest> work) {
        @Override
        public String toString() {
            return name;
        }
    }

    static Stream<Work> works() {
        return Stream.of(
                new Work("sign", 1, 1, t -> assertEquals(SIGNATURE, text(t.session.sign(PSS, t.privateKey, DATA)))),
                new Work("verify", 1, 1, t -> t.session.verify(PSS, t.publicKey, DATA, bytes(SIGNATURE))),
                new Work("isValid", 1, 1, t -> assertEquals(false, t.session.isValid(PSS, t.publicKey, DATA,
                        bytes("SIG:nada")))),
                new Work("digest", 1, 1, t -> t.session.digest(digesting("C_Digest"), DATA)),
                new Work("encrypt", 1, 1, t -> t.session.encrypt(VENDORS, t.secret, DATA)),
                new Work("decrypt", 1, 1, t -> t.session.decrypt(VENDORS, t.secret, DATA)),
                new Work("signRecover", 1, 1, t -> t.session.signRecover(VENDORS, t.privateKey, DATA)),
                new Work("verifyRecover", 1, 1, t -> t.session.verifyRecover(VENDORS, t.publicKey,
                        bytes("REC:atad"))),
                new Work("Signer", 2, 1, t -> {
                    try (Signer signer = t.session.signer(PSS, t.privateKey).start()) {
                        signer.update(bytes("da"));
                        assertEquals(1, KEEPING.keeping_standing());
                        assertEquals("SIG:ad", text(signer.sign()));
                    }
                }),
                new Work("Verifier", 3, 1, t -> {
                    Verifier verifier = t.session.verifier(PSS, t.publicKey);
                    verifier.update(bytes("da"));
                    verifier.update(bytes("ta"));
                    verifier.verify(bytes(SIGNATURE));
                }),
                new Work("Encryptor", 3, 1, t -> {
                    Encryptor encryptor = t.session.encryptor(gcm(params()), t.secret);
                    encryptor.update(DATA);
                    encryptor.finish(DATA);
                }),
                new Work("Decryptor", 2, 1, t -> {
                    Decryptor decryptor = t.session.decryptor(gcm(params()), t.secret);
                    decryptor.update(DATA);
                    decryptor.finish();
                }),
                new Work("Digester", 2, 1, t -> {
                    Digester digester = t.session.digester(digesting("C_DigestFinal"));
                    digester.update(DATA);
                    digester.digest();
                }),
                new Work("signEncryptUpdate", 3, 2, t -> {
                    Signer signer = t.session.signer(PSS, t.privateKey);
                    Encryptor encryptor = t.session.encryptor(gcm(params()), t.secret);
                    t.session.signEncryptUpdate(signer, encryptor, DATA);
                    assertEquals(2, KEEPING.keeping_standing());
                    encryptor.finish();
                    assertEquals(1, KEEPING.keeping_standing());
                    assertEquals(SIGNATURE, text(signer.sign()));
                }));
    }

    /** The toy digests with the mechanisms that it knows alone, unless it is told what to answer. */
    private static Mechanism digesting(String last) {
        ScriptedModule.answer("C_DigestInit CKR_OK");
        ScriptedModule.answer(last + " CKR_OK data=\"digest\"");
        return VENDORS;
    }

    @ParameterizedTest
    @MethodSource("works")
    void theModuleFindsTheParameterUntilTheEndAndNothingAfterwards(Work work) {
        for (int time = 1; time <= 3; time++) {
            work.work.accept(this);
            assertEquals(time * work.uses, KEEPING.keeping_uses());
            assertAllBlank(work.kept);
        }
    }

    @Test
    void twoSessionsDoNotShareMemory() {
        try (Session other = session.slot().openSession(); Signer signer = session.signer(PSS, privateKey).start();
                Signer second = other.signer(PSS, privateKey).start()) {
            assertEquals(SIGNATURE, text(signer.sign(DATA)));
            assertEquals(1, KEEPING.keeping_standing());
            assertEquals(SIGNATURE, text(second.sign(DATA)));
            assertAllBlank(2);
        }
    }

    @Test
    void anOperationWithoutAParameterFollows() {
        session.sign(PSS, privateKey, DATA);
        assertEquals(SIGNATURE, text(session.sign(RSA, privateKey, DATA)));
        assertEquals(SIGNATURE, text(session.sign(PSS, privateKey, DATA)));
        assertEquals(2, KEEPING.keeping_uses());
        assertAllBlank(1);
    }

    // ---- what the module writes

    @Test
    void aVectorThatIsWrittenLateComesBack() {
        GCMParams params = params();
        session.encrypt(gcm(params), secret, DATA);
        assertArrayEquals(vector(1), params.iv());
        try (Encryptor encryptor = session.encryptor(gcm(params), secret)) {
            encryptor.update(DATA);
            encryptor.finish();
        }
        assertArrayEquals(vector(3), params.iv());
        try (Encryptor encryptor = session.encryptor(gcm(params), secret)) {
            ByteBuffer out = ByteBuffer.allocateDirect(100);
            encryptor.update(ByteBuffer.wrap(DATA), out);
            encryptor.finish(ByteBuffer.allocateDirect(0), out);
        }
        assertArrayEquals(vector(5), params.iv());
    }

    @Test
    void whatAnOperationWroteThatFailedDoesNotComeBack() {
        GCMParams params = params();
        ScriptedModule.answer("C_Encrypt CKR_DEVICE_ERROR");
        assertRefused("J_Encrypt", CKR.DEVICE_ERROR, () -> session.encrypt(gcm(params), secret, DATA));
        assertArrayEquals(new byte[12], params.iv());
        assertAllBlank(1);
    }

    @Test
    void parametersOfAnySize() {
        for (int size : new int[] {0, 1, 300, 5000, 1 << 20, 3}) {
            GCMParams params = new GCMParams(new byte[12], new byte[size], 128);
            int before = KEEPING.keeping_uses();
            session.encrypt(gcm(params), secret, DATA);
            assertArrayEquals(vector((before + 1) % 10), params.iv());
        }
    }

    // ---- giving up

    @Test
    void anOperationThatIsGivenUpIsTheLastToUseIt() {
        try (Signer signer = session.signer(PSS, privateKey).start()) {
            signer.update(DATA);
            assertEquals(1, KEEPING.keeping_standing());
        }
        assertEquals(2, KEEPING.keeping_uses(), "the part, and C_SignFinal, by which it was given up");
        assertAllBlank(1);
        assertEquals(SIGNATURE, text(session.sign(PSS, privateKey, DATA)));
    }

    @Test
    void anOperationThatFailsIsTheLastToUseIt() {
        ScriptedModule.answer("C_SignUpdate CKR_DEVICE_ERROR");
        Signer signer = session.signer(PSS, privateKey);
        assertRefused("J_SignUpdate", CKR.DEVICE_ERROR, () -> signer.update(DATA));
        assertEquals(List.of("C_SignInit", "C_SignUpdate CKR_DEVICE_ERROR", "C_SignFinal"), calls());
        assertEquals(2, KEEPING.keeping_uses());
        assertAllBlank(1);
    }

    @Test
    void nothingIsLeftOfAnOperationThatIsRefused() {
        session.sign(PSS, privateKey, DATA);
        ScriptedModule.answer("C_SignInit CKR_KEY_FUNCTION_NOT_PERMITTED");
        assertRefused("J_SignInit", CKR.KEY_FUNCTION_NOT_PERMITTED, () -> session.sign(PSS, privateKey, DATA));
        assertAllBlank(1); // The memory is that of the one before.
    }

    @Test
    void aRestoredOperationHasNone() {
        session.sign(PSS, privateKey, DATA);
        KEEPING.keeping_reset();
        Signer signer = session.signer(PSS, privateKey);
        signer.resume();
        ScriptedModule.answer("C_SignFinal CKR_OK data=\"signed\"");
        assertEquals("signed", text(signer.sign()));
        assertEquals(SIGNATURE, text(session.sign(PSS, privateKey, DATA)));
        assertAllBlank(1);
    }

    /** The test runs with too little direct memory for this. */
    @Test
    void whatDoesNotFitIntoMemoryHasNotBegun() {
        Mechanism large = gcm(new GCMParams(new byte[12], new byte[40 << 20], 128));
        try (Encryptor encryptor = session.encryptor(large, secret)) {
            assertThrows(OutOfMemoryError.class, () -> encryptor.update(DATA));
            assertEquals(List.of(), calls());
            assertEquals("DATA", text(session.encrypt(gcm(params()), secret, DATA)));
            assertThrows(OutOfMemoryError.class, () -> encryptor.finish(DATA));
        }
        assertEquals(List.of("C_EncryptInit", "C_Encrypt"), calls());
        assertAllBlank(1);
    }

    // ---- who keeps the memory

    private static void collect() throws InterruptedException {
        for (int i = 0; i < 5; i++) {
            System.gc();
            ByteBuffer.allocateDirect(4096);
            Thread.sleep(20);
        }
    }

    @Test
    void anOperationThatTheProgramForgetsKeepsItsParameter() throws InterruptedException {
        session.signer(PSS, privateKey).start();
        collect();
        assertEquals(1, KEEPING.keeping_standing());
        session.slot().closeAllSessions();
    }

    @Test
    void aSessionThatTheProgramForgetsKeepsItsParameters() throws InterruptedException {
        session.slot().openSession().signer(PSS, privateKey).start();
        collect();
        assertEquals(1, KEEPING.keeping_standing());
    }

    // ---- the end of the session and of the module; the memory is looked at while the session object still has it

    @Test
    void theSessionsEndWipesIt() {
        for (Runnable end : List.<Runnable>of(session::close, session.slot()::closeAllSessions)) {
            Session ending = session.isOpen() ? session : cryptoki.slotsWithToken().get(0).openSession();
            Signer signer = ending.signer(PSS, Surface.key(ending, 0xB03)).start();
            assertEquals(1, KEEPING.keeping_standing());
            end.run();
            assertAllBlank(1);
            signer.close();
            KEEPING.keeping_reset();
        }
    }

    @Test
    void theModulesEndWipesIt() {
        Signer signer = session.signer(PSS, privateKey).start();
        assertEquals(1, KEEPING.keeping_standing());
        cryptoki.close();
        assertAllBlank(1);
        signer.close();
    }

    @Test
    void aSessionThatTheModuleDoesNotCloseKeepsItUntilTheModulesEnd() throws InterruptedException {
        Session refused = session.slot().openSession();
        refused.signer(PSS, privateKey).start();
        ScriptedModule.answer("C_CloseSession CKR_DEVICE_ERROR");
        assertRefused("J_CloseSession", CKR.DEVICE_ERROR, refused::close);
        refused = null;
        collect();
        assertEquals(1, KEEPING.keeping_standing());
        cryptoki.close();
        assertEquals(0, KEEPING.keeping_standing());
    }

    @Test
    void aModuleThatDoesNotFinalizeKeepsItUntilItIsReopened() throws InterruptedException {
        session.signer(PSS, privateKey).start();
        ScriptedModule.answer("C_Finalize CKR_DEVICE_ERROR");
        assertRefused("J_Finalize", CKR.DEVICE_ERROR, cryptoki::close);
        session = null;
        cryptoki = null;
        privateKey = null;
        publicKey = null;
        secret = null;
        collect();
        assertEquals(1, KEEPING.keeping_standing());
        cryptoki = Surface.open(ScriptedModule.PATH);
        assertEquals(0, KEEPING.keeping_standing());
    }

    /** A session handle that the module does not know has gone already. */
    @Test
    void aSessionThatTheModuleDoesNotKnowKeepsNothing() {
        Signer signer = session.signer(PSS, privateKey).start();
        ScriptedModule.answer("C_CloseSession CKR_SESSION_HANDLE_INVALID");
        assertTrue(assertThrows(CryptokiException.class, session::close).code() == CKR.SESSION_HANDLE_INVALID);
        assertAllBlank(1);
        signer.close();
    }
}
