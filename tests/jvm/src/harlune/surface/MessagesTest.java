package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import harlune.support.ScriptedModule;

import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

import velnor.CKM;
import velnor.CKR;
import velnor.Mechanism;
import velnor.MessageDecryptor;
import velnor.MessageEncryptor;
import velnor.MessageSigner;
import velnor.MessageVerifier;
import velnor.params.CCMMessageParams;
import velnor.params.ChaCha20Poly1305MessageParams;
import velnor.params.GCMMessageParams;
import velnor.params.GCMParams;
import velnor.params.VectorGenerator;

/** Messages on a module of version 3.0 (tests/native/module/messages_3_0.cpp says what it makes of them). */
class MessagesTest extends ScriptedOperations {
    private static final Mechanism GCM = new Mechanism(CKM.AES_GCM);
    private static final byte[] AAD = bytes("aad");
    private static final byte[] DATA = bytes("data");
    private static final String VECTOR = "twelve bytes";
    private static final String TAG = "tag of 16 bytes.";

    private static GCMMessageParams params() {
        return new GCMMessageParams(bytes(VECTOR));
    }

    private static GCMMessageParams withTag(String tag) {
        return new GCMMessageParams(bytes(VECTOR), bytes(tag));
    }

    private static List<String> journal() {
        List<String> journal = ScriptedModule.journal();
        ScriptedModule.clearJournal();
        return journal;
    }

    // ---- encryption

    @Test
    void messagesAreEncryptedUnderOneKey() {
        try (MessageEncryptor encryptor = session.messageEncryptor(GCM, secret)) {
            for (int i = 0; i < 3; i++) {
                GCMMessageParams params = params();
                assertEquals("DATA", text(encryptor.encrypt(params, AAD, DATA)));
                assertEquals(TAG, text(params.tag()));
                assertEquals(VECTOR, text(params.iv()));
            }
        }
        assertEquals(List.of("C_MessageEncryptInit", "C_EncryptMessage", "C_EncryptMessage", "C_EncryptMessage",
                "C_MessageEncryptFinal"), calls());
    }

    @Test
    void theModuleIsGivenWhatBelongsToTheMessage() {
        try (MessageEncryptor encryptor = session.messageEncryptor(GCM, secret)) {
            encryptor.encrypt(params(), AAD, DATA);
            encryptor.encrypt(params(), null, new byte[0]);
        }
        assertEquals(List.of(
                "C_MessageEncryptInit session=0x5E51 mechanism=0x1087 key=0xB01 -> CKR_OK",
                "C_EncryptMessage session=0x5E51 parameter=\"twelve bytes\"/0/0/128 aad=\"aad\" data=\"data\" "
                        + "buffer=non-null length=68 part=0 -> CKR_OK length=4",
                "C_EncryptMessage session=0x5E51 parameter=\"twelve bytes\"/0/0/128 data=\"\" "
                        + "buffer=non-null length=64 part=0 -> CKR_OK length=0",
                "C_MessageEncryptFinal session=0x5E51 -> CKR_OK"), journal());
    }

    @Test
    void aVectorThatTheTokenMakesComesBack() {
        try (MessageEncryptor encryptor = session.messageEncryptor(GCM, secret)) {
            GCMMessageParams params = new GCMMessageParams(new byte[12], 32, VectorGenerator.COUNTER, 128);
            encryptor.encrypt(params, AAD, DATA);
            String first = text(params.iv());
            assertEquals("token's IV ", first.substring(0, 11));
            encryptor.encrypt(params, AAD, DATA);
            assertEquals(1, (text(params.iv()).charAt(11) - first.charAt(11) + 10) % 10);
            assertEquals("parameter=000000000000000000000000/32/2/128", journal().get(2).split(" ")[2]);
        }
    }

    @Test
    void aMessageMayComeInParts() {
        GCMMessageParams params = new GCMMessageParams(new byte[12], 0, VectorGenerator.RANDOM, 96);
        try (MessageEncryptor encryptor = session.messageEncryptor(GCM, secret)) {
            for (int i = 0; i < 2; i++) {
                encryptor.begin(params, AAD);
                assertEquals("DA", text(encryptor.update(bytes("da"))));
                assertEquals("T", text(encryptor.update(bytes("t"))));
                assertEquals("A", text(encryptor.finish(bytes("a"))));
                assertEquals("token's IV ", text(params.iv()).substring(0, 11));
                assertEquals(TAG.substring(0, 12), text(params.tag()));
            }
            assertEquals("DATA", text(encryptor.encrypt(params(), AAD, DATA)));
        }
        List<String> part = List.of("C_EncryptMessageBegin", "C_EncryptMessageNext", "C_EncryptMessageNext",
                "C_EncryptMessageNext");
        List<String> calls = calls();
        assertEquals(part, calls.subList(1, 5));
        assertEquals(part, calls.subList(5, 9));
        assertEquals(List.of("C_EncryptMessage", "C_MessageEncryptFinal"), calls.subList(9, 11));
    }

    @Test
    void moreRoomIsGivenWhenItIsAskedFor() {
        try (MessageEncryptor encryptor = session.messageEncryptor(GCM, secret)) {
            ScriptedModule.answer("C_EncryptMessage CKR_BUFFER_TOO_SMALL length=500");
            assertEquals("DATA", text(encryptor.encrypt(params(), AAD, DATA)));
            ScriptedModule.answer("C_EncryptMessage CKR_BUFFER_TOO_SMALL length=500000");
            assertRefused("J_EncryptMessage", CKR.BUFFER_TOO_SMALL, () -> encryptor.encrypt(params(), AAD, DATA));
        }
    }

    // ---- decryption

    @Test
    void aForgedMessageIsRefusedAndTheNextOneFollows() {
        try (MessageDecryptor decryptor = session.messageDecryptor(GCM, secret)) {
            assertEquals("data", text(decryptor.decrypt(withTag(TAG), AAD, bytes("DATA"))));
            assertRefused("J_DecryptMessage", CKR.AEAD_DECRYPT_FAILED,
                    () -> decryptor.decrypt(withTag("tag of 16 forged"), AAD, bytes("DATA")));
            assertEquals("data", text(decryptor.decrypt(withTag(TAG), AAD, bytes("DATA"))));
            decryptor.begin(withTag("tag of 16 forged"), AAD);
            decryptor.update(bytes("DA"));
            assertRefused("J_DecryptMessageNext", CKR.AEAD_DECRYPT_FAILED, () -> decryptor.finish(bytes("TA")));
            decryptor.begin(withTag(TAG), null);
            assertEquals("da", text(decryptor.update(bytes("DA"))));
            assertEquals("ta", text(decryptor.finish(bytes("TA"))));
        }
        assertEquals("C_MessageDecryptFinal", calls().get(10));
    }

    // ---- signatures

    @Test
    void messagesAreSignedAndVerified() {
        try (MessageSigner signer = session.messageSigner(RSA, privateKey);
                MessageVerifier verifier = session.messageVerifier(RSA, publicKey)) {
            for (int i = 0; i < 2; i++) {
                assertEquals("MSG:atad", text(signer.sign(null, DATA)));
                verifier.verify(null, DATA, bytes("MSG:atad"));
                assertRefused("J_VerifyMessage", CKR.SIGNATURE_INVALID,
                        () -> verifier.verify(null, DATA, bytes("MSG:nada")));
                signer.begin(null);
                signer.update(bytes("in "));
                assertEquals("MSG:strap ni", text(signer.finish(bytes("parts"))));
                for (String signature : List.of("MSG:strap ni", "MSG:strap no")) {
                    verifier.begin(null);
                    verifier.update(bytes("in "));
                    Executable end = () -> verifier.finish(bytes("parts"), bytes(signature));
                    if (signature.endsWith("ni")) {
                        verifier.update(bytes("parts"));
                        verifier.finish(new byte[0], bytes(signature));
                    } else {
                        assertRefused("J_VerifyMessageNext", CKR.SIGNATURE_INVALID, end);
                    }
                }
            }
        }
    }

    // ---- mistakes and failures

    @Test
    void whatHasNoPlaceIsRefusedAndHarmsNothing() {
        try (MessageEncryptor encryptor = session.messageEncryptor(GCM, secret)) {
            assertThrows(IllegalStateException.class, () -> encryptor.update(DATA));
            assertThrows(IllegalStateException.class, () -> encryptor.finish(DATA));
            GCMMessageParams params = params();
            encryptor.begin(params, AAD);
            assertThrows(IllegalStateException.class, () -> encryptor.begin(params(), AAD));
            assertThrows(IllegalStateException.class, () -> encryptor.encrypt(params(), AAD, DATA));
            assertEquals("DATA", text(encryptor.finish(DATA)));
            assertEquals(TAG, text(params.tag()));
        }
        assertEquals(List.of("C_MessageEncryptInit", "C_EncryptMessageBegin", "C_EncryptMessageNext",
                "C_MessageEncryptFinal"), calls());
    }

    @Test
    void aParameterOfAnotherMechanismIsRefused() {
        try (MessageEncryptor encryptor = session.messageEncryptor(GCM, secret)) {
            calls();
            assertThrows(IllegalArgumentException.class,
                    () -> encryptor.encrypt(new ChaCha20Poly1305MessageParams(new byte[12]), AAD, DATA));
            assertThrows(IllegalArgumentException.class, () -> encryptor.encrypt(
                    new CCMMessageParams(4, new byte[12], 0, VectorGenerator.NONE, 16), AAD, DATA));
            assertThrows(IllegalArgumentException.class,
                    () -> encryptor.encrypt(new GCMMessageParams(new byte[0]), AAD, DATA));
            assertThrows(NullPointerException.class, () -> encryptor.encrypt(null, AAD, DATA));
            assertEquals(List.of(), calls());
        }
        assertThrows(IllegalArgumentException.class,
                () -> session.messageEncryptor(new Mechanism(CKM.AES_GCM, new byte[3]), secret));
        session.messageEncryptor(new Mechanism(CKM.AES_GCM, new GCMParams(new byte[12])), secret).close();
    }

    @Test
    void aFailureEndsTheOperation() {
        for (boolean inParts : new boolean[] {false, true}) {
            MessageEncryptor encryptor = session.messageEncryptor(GCM, secret);
            if (inParts) {
                encryptor.begin(params(), AAD);
                ScriptedModule.answer("C_EncryptMessageNext CKR_DEVICE_ERROR");
                assertRefused("J_EncryptMessageNext", CKR.DEVICE_ERROR, () -> encryptor.update(DATA));
            } else {
                ScriptedModule.answer("C_EncryptMessage CKR_DEVICE_ERROR");
                assertRefused("J_EncryptMessage", CKR.DEVICE_ERROR, () -> encryptor.encrypt(params(), AAD, DATA));
            }
            assertThrows(IllegalStateException.class, () -> encryptor.encrypt(params(), AAD, DATA));
            List<String> calls = calls();
            assertEquals(inParts ? "C_SessionCancel" : "C_MessageEncryptFinal", calls.get(calls.size() - 1));
        }
        try (MessageEncryptor again = session.messageEncryptor(GCM, secret)) {
            assertEquals("DATA", text(again.encrypt(params(), AAD, DATA)));
        }
    }

    @Test
    void messagesThatAreLeftInPartsAreCancelled() {
        MessageSigner signer = session.messageSigner(RSA, privateKey);
        signer.begin(null);
        calls();
        signer.close();
        assertEquals(List.of("C_SessionCancel"), calls());
    }

    @Test
    void oneOfAKindGoesOnInASession() {
        try (MessageEncryptor encryptor = session.messageEncryptor(GCM, secret);
                MessageEncryptor second = session.messageEncryptor(GCM, secret)) {
            encryptor.encrypt(params(), AAD, DATA);
            assertThrows(IllegalStateException.class, () -> second.encrypt(params(), AAD, DATA));
            assertEquals("DATA", text(session.encrypt(AES, secret, DATA)), "an operation of another kind");
        }
    }

    @Test
    void aParameterKeepsWhatItWasMadeOf() {
        byte[] vector = bytes(VECTOR);
        byte[] tag = bytes(TAG);
        GCMMessageParams params = new GCMMessageParams(vector, tag);
        vector[0] ^= 1;
        tag[0] ^= 1;
        params.iv()[0] ^= 1;
        assertArrayEquals(bytes(VECTOR), params.iv());
        assertArrayEquals(bytes(TAG), params.tag());
    }
}
