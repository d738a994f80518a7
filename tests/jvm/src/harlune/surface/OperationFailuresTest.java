package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.SequenceInputStream;
import java.io.UncheckedIOException;
import java.util.List;
import java.util.function.BiFunction;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.CKR;
import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Session;
import velnor.Signer;
import velnor.TokenObject;
import velnor.Verifier;

/** Whatever step fails, the failure is told, and the session can do the same work at once again. */
class OperationFailuresTest extends ScriptedOperations {
    private static final int VENDORS = 0x80000001;

    /** A piece of work with a key, and what comes of it. */
    private record Work(String name, String result, BiFunction<Session, TokenObject, String> work) {
        String with(Session session, TokenObject key) {
            return work.apply(session, key);
        }

        @Override
        public String toString() {
            return name;
        }
    }

    static Stream<Work> works() {
        return Stream.of(
                new Work("encrypt", "DATA", (s, key) -> text(s.encrypt(AES, key, bytes("data")))),
                new Work("decrypt", "data", (s, key) -> text(s.decrypt(AES, key, bytes("DATA")))),
                new Work("sign", "SIG:atad", (s, key) -> text(s.sign(RSA, key, bytes("data")))),
                new Work("verify", "valid", (s, key) -> {
                    s.verify(RSA, key, bytes("data"), bytes("SIG:atad"));
                    return "valid";
                }),
                new Work("isValid", "true", (s, key) -> "" + s.isValid(RSA, key, bytes("data"), bytes("SIG:atad"))),
                new Work("digest", "data............................",
                        (s, key) -> text(s.digest(SHA256, bytes("data")))),
                new Work("digestKey", "0123456789abcdef................", (s, key) -> text(s.digestKey(SHA256, key))),
                new Work("signRecover", "REC:atad", (s, key) -> text(s.signRecover(RSA, key, bytes("data")))),
                new Work("verifyRecover", "data", (s, key) -> text(s.verifyRecover(RSA, key, bytes("REC:atad")))),
                new Work("Encryptor", "DATA IN PARTS", (s, key) -> {
                    try (Encryptor encryptor = s.encryptor(AES, key)) {
                        return text(encryptor.update(bytes("data"))) + text(encryptor.update(bytes("\0in")))
                                + text(encryptor.finish(bytes("\0parts")));
                    }
                }),
                new Work("Decryptor", "data in parts", (s, key) -> {
                    try (Decryptor decryptor = s.decryptor(AES, key).start()) {
                        return text(decryptor.update(bytes("DATA"))) + text(decryptor.update(bytes("\0IN")))
                                + text(decryptor.finish(bytes("\0PARTS")));
                    }
                }),
                new Work("Signer", "SIG:strap ni", (s, key) -> {
                    try (Signer signer = s.signer(RSA, key).start()) {
                        signer.update(bytes("in"));
                        return text(signer.sign(bytes(" parts")));
                    }
                }),
                new Work("Verifier", "true", (s, key) -> {
                    try (Verifier verifier = s.verifier(RSA, key)) {
                        verifier.update(bytes("in"));
                        verifier.update(bytes(" parts"));
                        return "" + verifier.isValid(bytes("SIG:strap ni"));
                    }
                }),
                new Work("Digester", "in0123456789abcdef parts........", (s, key) -> {
                    try (Digester digester = s.digester(SHA256)) {
                        digester.update(bytes("in"));
                        digester.digestKey(key);
                        return text(digester.digest(bytes(" parts")));
                    }
                }),
                new Work("digestEncryptUpdate", "DATAdata............................", (s, key) -> {
                    try (Digester digester = s.digester(SHA256); Encryptor encryptor = s.encryptor(AES, key)) {
                        return text(s.digestEncryptUpdate(digester, encryptor, bytes("data")))
                                + text(encryptor.finish()) + text(digester.digest());
                    }
                }),
                new Work("signEncryptUpdate", "DATASIG:atad", (s, key) -> {
                    try (Signer signer = s.signer(RSA, key); Encryptor encryptor = s.encryptor(AES, key)) {
                        return text(s.signEncryptUpdate(signer, encryptor, bytes("data")))
                                + text(encryptor.finish()) + text(signer.sign());
                    }
                }),
                new Work("decryptDigestUpdate", "datadata............................", (s, key) -> {
                    try (Decryptor decryptor = s.decryptor(AES, key); Digester digester = s.digester(SHA256)) {
                        return text(s.decryptDigestUpdate(decryptor, digester, bytes("DATA")))
                                + text(decryptor.finish()) + text(digester.digest());
                    }
                }),
                new Work("decryptVerifyUpdate", "data true", (s, key) -> {
                    try (Decryptor decryptor = s.decryptor(AES, key); Verifier verifier = s.verifier(RSA, key)) {
                        return text(s.decryptVerifyUpdate(decryptor, verifier, bytes("DATA")))
                                + text(decryptor.finish()) + " " + verifier.isValid(bytes("SIG:atad"));
                    }
                }),
                new Work("streams", "DATASIG:atad", (s, key) -> {
                    ByteArrayOutputStream out = new ByteArrayOutputStream();
                    try (Encryptor encryptor = s.encryptor(AES, key); Signer signer = s.signer(RSA, key)) {
                        encryptor.transfer(new ByteArrayInputStream(bytes("data")), out);
                        signer.update(new ByteArrayInputStream(bytes("data")));
                        out.writeBytes(signer.sign());
                        return text(out.toByteArray());
                    } catch (IOException e) {
                        throw new UncheckedIOException(e);
                    }
                }));
    }

    /** The name under which the native library tells of a module function's failure. */
    private static String javaName(String call) {
        return "J_" + call.substring(2).replaceAll(" .*", "");
    }

    /**
     * The scripted module goes on with an operation after an answer that was put in its mouth, so here it shows what
     * was not taken from it.
     */
    @ParameterizedTest
    @MethodSource("works")
    void everyCallThatFailsIsToldAndLeavesNothingBehind(Work work) {
        assertEquals(work.result, work.with(session, secret));
        List<String> usual = calls();
        for (int n = 1; n <= usual.size(); n++) {
            for (int code : new int[] {CKR.DEVICE_ERROR, CKR.FUNCTION_CANCELED, CKR.OPERATION_ACTIVE, VENDORS}) {
                String failing = usual.get(n - 1);
                ScriptedModule.failCall(n, code);
                CryptokiException failure =
                        assertThrows(CryptokiException.class, () -> work.with(session, secret), failing);
                assertEquals(code, failure.code(), failing);
                assertEquals(javaName(failing), failure.functionName());
                calls();
                assertEquals(work.result, work.with(session, secret), () -> "again, after " + failing);
                assertEquals(usual, calls(), () -> "again, after " + failing);
            }
        }
    }

    /** A token that asks for more room than it did, where the native library cannot give it. */
    @ParameterizedTest
    @ValueSource(strings = {"C_Sign", "C_Encrypt", "C_Decrypt", "C_Digest", "C_SignRecover", "C_VerifyRecover"})
    void lackOfRoomThatNeverEndsIsToldAndLeavesNothingBehind(String function) {
        Work work = works().filter(w -> w.name.equalsIgnoreCase(function.substring(2))).findFirst().orElseThrow();
        ScriptedModule.answer(function + " CKR_BUFFER_TOO_SMALL length=0");
        assertRefused(javaName(function), CKR.BUFFER_TOO_SMALL, () -> work.with(session, secret));
        assertEquals(work.result, work.with(session, secret));
        ScriptedModule.answer(function + " CKR_BUFFER_TOO_SMALL length=2000");
        ScriptedModule.answer(function + " CKR_BUFFER_TOO_SMALL length=2000");
        assertRefused(javaName(function), CKR.BUFFER_TOO_SMALL, () -> work.with(session, secret));
        assertEquals(work.result, work.with(session, secret));
    }

    @Test
    void aRefusedStartIsTheLastCall() {
        ScriptedModule.answer("C_SignInit CKR_KEY_FUNCTION_NOT_PERMITTED");
        assertRefused("J_SignInit", CKR.KEY_FUNCTION_NOT_PERMITTED, () -> session.sign(RSA, secret, bytes("data")));
        assertEquals(List.of("C_SignInit CKR_KEY_FUNCTION_NOT_PERMITTED"), calls());
        ScriptedModule.answer("C_DigestInit CKR_BUFFER_TOO_SMALL");
        assertRefused("J_DigestInit", CKR.BUFFER_TOO_SMALL, () -> session.digest(SHA256, bytes("data")));
        assertEquals(List.of("C_DigestInit CKR_BUFFER_TOO_SMALL"), calls());
    }

    @Test
    void aSignatureThatIsNotValidNeedsNoFurtherCall() {
        assertFalse(session.isValid(RSA, secret, bytes("data"), bytes("SIG:nada")));
        assertEquals(List.of("C_VerifyInit", "C_Verify CKR_SIGNATURE_INVALID"), calls());
        try (Verifier verifier = session.verifier(RSA, secret)) {
            verifier.update(bytes("data"));
            assertRefused("J_VerifyFinal", CKR.SIGNATURE_LEN_RANGE, () -> verifier.verify(bytes("SIG")));
        }
        assertEquals(List.of("C_VerifyInit", "C_VerifyUpdate", "C_VerifyFinal CKR_SIGNATURE_LEN_RANGE"), calls());
    }

    /** The answer of the module and nothing else decides; only two of them say that the signature is not valid. */
    @ParameterizedTest
    @ValueSource(strings = {"C_Verify", "C_VerifyFinal"})
    void noAnswerButSuccessMeansValid(String function) {
        for (int code : CKR.all()) {
            ScriptedModule.answer(String.format("%s 0x%X", function, code));
            String outcome;
            // The module does not know that an answer of a script ended an operation, so it goes on in its session.
            try (Session other = session.slot().openSession(); Verifier verifier = other.verifier(RSA, secret)) {
                if (function.equals("C_VerifyFinal")) {
                    verifier.update(bytes("data"));
                }
                outcome = "" + verifier.isValid(bytes("any"));
            } catch (CryptokiException e) {
                assertEquals(code, e.code());
                outcome = "exception";
            }
            String expected = code == CKR.OK ? "true"
                    : code == CKR.SIGNATURE_INVALID || code == CKR.SIGNATURE_LEN_RANGE ? "false" : "exception";
            assertEquals(expected, outcome, () -> CKR.name(code));
        }
    }

    @Test
    void whatAnotherStepAnswersIsNoVerdict() {
        ScriptedModule.answer("C_VerifyInit CKR_SIGNATURE_INVALID");
        assertRefused("J_VerifyInit", CKR.SIGNATURE_INVALID,
                () -> session.isValid(RSA, secret, bytes("data"), bytes("SIG:atad")));
        ScriptedModule.answer("C_VerifyUpdate CKR_SIGNATURE_INVALID");
        try (Verifier verifier = session.verifier(RSA, secret)) {
            assertRefused("J_VerifyUpdate", CKR.SIGNATURE_INVALID, () -> verifier.update(bytes("data")));
            assertThrows(IllegalStateException.class, () -> verifier.isValid(bytes("SIG:atad")));
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"size=64", "size=65", "size=3000"})
    void digestsOfAnySizeArriveWhole(String size) {
        ScriptedModule.answer("C_Digest " + size);
        if (!size.equals("size=64")) {
            ScriptedModule.answer("C_Digest " + size);
        }
        assertEquals(size, "size=" + session.digest(SHA256, bytes("data")).length);
        assertEquals(size.equals("size=64") ? List.of("C_DigestInit", "C_Digest")
                : List.of("C_DigestInit", "C_Digest CKR_BUFFER_TOO_SMALL", "C_Digest"), calls());
    }

    /** NSS ends an operation with that answer, and has none to go on with. */
    @Test
    void lackOfRoomThatEndsTheOperationIsToldAsSuch() {
        ScriptedModule.answer("C_Sign CKR_BUFFER_TOO_SMALL length=2000");
        ScriptedModule.answer("C_Sign CKR_OPERATION_NOT_INITIALIZED");
        assertRefused("J_Sign", CKR.BUFFER_TOO_SMALL, () -> session.sign(RSA, secret, bytes("data")));
        assertEquals("SIG:atad", text(session.sign(RSA, secret, bytes("data"))));
    }

    @ParameterizedTest
    @ValueSource(strings = {"length=65", "length=5000", "length=-1", "length=0x80000000"})
    void aDigestThatIsLongerThanItsRoomIsNotBelieved(String length) {
        ScriptedModule.answer("C_Digest CKR_OK " + length);
        CryptokiException failure =
                assertThrows(CryptokiException.class, () -> session.digest(SHA256, bytes("data")));
        assertTrue(List.of("J_Digest", "Check64BitLen").contains(failure.functionName()), failure.functionName());
        assertEquals(32, session.digest(SHA256, bytes("data")).length);
    }

    @ParameterizedTest
    @ValueSource(strings = {"-1", "0x10005", "0x7FFFFFFF"})
    void noRoomIsMadeForADigestThatCannotBe(String length) {
        ScriptedModule.answer("C_Digest CKR_BUFFER_TOO_SMALL length=" + length);
        assertRefused("J_Digest", CKR.GENERAL_ERROR, () -> session.digest(SHA256, bytes("data")));
        assertEquals(32, session.digest(SHA256, bytes("data")).length);
    }

    @Test
    void outputThatWasNotWrittenIsNotBelieved() {
        for (String function : List.of("C_Encrypt", "C_EncryptUpdate", "C_EncryptFinal")) {
            ScriptedModule.answer(function + " CKR_OK length=100000");
            assertThrows(CryptokiException.class, () -> {
                if (function.equals("C_Encrypt")) {
                    session.encrypt(AES, secret, bytes("data"));
                } else {
                    try (Encryptor encryptor = session.encryptor(AES, secret)) {
                        encryptor.update(bytes("data"));
                        encryptor.finish();
                    }
                }
            }, function);
            assertEquals("DATA", text(session.encrypt(AES, secret, bytes("data"))));
        }
    }

    @Test
    void aFailureOfOneOfTwoOperationsEndsBoth() {
        Digester digester = session.digester(SHA256);
        Encryptor encryptor = session.encryptor(AES, secret);
        session.digestEncryptUpdate(digester, encryptor, bytes("data"));
        ScriptedModule.answer("C_DigestEncryptUpdate CKR_DEVICE_ERROR");
        assertRefused("J_DigestEncryptUpdate", CKR.DEVICE_ERROR,
                () -> session.digestEncryptUpdate(digester, encryptor, bytes("data")));
        assertThrows(IllegalStateException.class, () -> digester.update(bytes("data")));
        assertThrows(IllegalStateException.class, encryptor::finish);
        assertEquals(32, session.digest(SHA256, bytes("data")).length);
        assertEquals("DATA", text(session.encrypt(AES, secret, bytes("data"))));
    }

    /** A stream that gives some bytes, and then fails. */
    private static InputStream breaking(int after) {
        return new SequenceInputStream(new ByteArrayInputStream(new byte[after]), new InputStream() {
            @Override
            public int read() throws IOException {
                throw new IOException("broken");
            }
        });
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 4, 70_000, 1 << 17})
    void aStreamThatBreaksEndsTheOperation(int after) {
        Signer signer = session.signer(RSA, secret);
        assertThrows(IOException.class, () -> signer.update(breaking(after)));
        assertThrows(IllegalStateException.class, signer::sign);
        Encryptor encryptor = session.encryptor(AES, secret);
        assertThrows(IOException.class, () -> encryptor.transfer(breaking(after), new ByteArrayOutputStream()));
        assertThrows(IllegalStateException.class, encryptor::finish);
        assertEquals("SIG:atad", text(session.sign(RSA, secret, bytes("data"))));
        assertEquals("DATA", text(session.encrypt(AES, secret, bytes("data"))));
    }

    @Test
    void anOutputStreamThatBreaksEndsTheOperation() {
        OutputStream full = new OutputStream() {
            @Override
            public void write(int b) throws IOException {
                throw new IOException("full");
            }
        };
        for (int size : new int[] {3, 8, 1 << 17}) { // breaks at the end, or with the first part
            Decryptor decryptor = session.decryptor(AES, secret);
            assertThrows(IOException.class,
                    () -> decryptor.transfer(new ByteArrayInputStream(new byte[size]), full));
            assertThrows(IllegalStateException.class, decryptor::finish);
            assertEquals("data", text(session.decrypt(AES, secret, bytes("DATA"))));
        }
    }

    @Test
    void anExceptionOfTheCallbackEndsTheOperation() {
        Digester digester = session.digester(SHA256);
        assertThrows(ArithmeticException.class, () -> digester.update(new ByteArrayInputStream(new byte[9]), bytes -> {
            throw new ArithmeticException("" + bytes);
        }));
        assertThrows(IllegalStateException.class, digester::digest);
        assertEquals(32, session.digest(SHA256, bytes("data")).length);
    }

    @Test
    void anUnfinishedOperationThatIsClosedMakesRoomForAnother() {
        Signer signer = session.signer(RSA, secret).start();
        signer.close();
        signer.close();
        assertEquals(List.of("C_SignInit", "C_SignFinal"), calls());
        assertThrows(IllegalStateException.class, signer::sign);
        assertEquals("SIG:atad", text(session.sign(RSA, secret, bytes("data"))));
    }

    @Test
    void whatTheTokenWillNotEndInPartsItEndsInOne() {
        for (String code : List.of("CKR_OPERATION_NOT_INITIALIZED", "CKR_FUNCTION_NOT_SUPPORTED")) {
            Decryptor decryptor = session.decryptor(AES, secret).start();
            ScriptedModule.answer("C_DecryptFinal " + code);
            decryptor.close();
            assertEquals(List.of("C_DecryptInit", "C_DecryptFinal " + code, "C_Decrypt"), calls());
        }
    }

    @Test
    void closingWhatHasNotBegunOrWasFinishedAsksNobody() {
        session.encryptor(AES, secret).close();
        try (Digester digester = session.digester(SHA256)) {
            digester.digest();
        }
        assertEquals(List.of("C_DigestInit", "C_Digest"), calls());
    }

    @Test
    void anOperationOutlivesNeitherItsSessionNorItsModule() {
        Encryptor encryptor = session.encryptor(AES, secret);
        encryptor.update(bytes("data"));
        Signer signer;
        try (Session other = session.slot().openSession()) {
            signer = other.signer(RSA, Surface.key(other, 0xB03)).start();
        }
        calls();
        assertThrows(IllegalStateException.class, signer::sign);
        signer.close();
        assertEquals(List.of(), calls());
        cryptoki.close();
        calls();
        assertThrows(IllegalStateException.class, encryptor::finish);
        encryptor.close();
        assertEquals(List.of(), calls());
    }
}
