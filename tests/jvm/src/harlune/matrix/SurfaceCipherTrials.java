package harlune.matrix;

import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.nio.ByteBuffer;
import java.security.GeneralSecurityException;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.util.Arrays;
import java.util.HashSet;
import java.util.Set;

import javax.crypto.Cipher;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;
import javax.crypto.spec.SecretKeySpec;

import velnor.CKM;
import velnor.CryptokiException;
import velnor.Inside;
import velnor.Mechanism;
import velnor.MessageDecryptor;
import velnor.MessageEncryptor;
import velnor.TokenObject;
import velnor.nat.Function;
import velnor.params.CTRParams;
import velnor.params.GCMMessageParams;
import velnor.params.GCMParams;
import velnor.params.OAEPParams;
import velnor.params.VectorGenerator;

/** Encryption and decryption, each checked by the JDK. */
final class SurfaceCipherTrials extends SurfaceTrials {
    private static final byte[] KEY = bytes(32);
    private static final byte[] IV = bytes(16);
    private static final byte[] NONCE = bytes(12);
    private static final byte[] AAD = bytes(20);
    private static final byte[] BLOCKS = bytes(64);
    private static final byte[] DATA = bytes(50);
    private static final int RSA_SIZE = 256;
    private static final Mechanism MESSAGE_GCM = new Mechanism(CKM.AES_GCM);

    /** A mechanism and what the JDK calls the same. */
    private record Mode(String row, String name, Mechanism mechanism, String transformation,
            AlgorithmParameterSpec parameter, byte[] data) {
        byte[] byJdk(int direction, byte[] input) throws GeneralSecurityException {
            Cipher cipher = Cipher.getInstance(transformation);
            cipher.init(direction, new SecretKeySpec(KEY, "AES"), parameter);
            if (row.equals(AES_GCM)) {
                cipher.updateAAD(AAD);
            }
            return cipher.doFinal(input);
        }

        byte[] encrypted() throws GeneralSecurityException {
            return byJdk(Cipher.ENCRYPT_MODE, data);
        }
    }

    SurfaceCipherTrials(OpenToken token, Outcomes outcomes) {
        super(token, outcomes);
    }

    @Override
    void plan() {
        for (Mode mode : new Mode[] {
            new Mode(AES_CBC, "AES_CBC", new Mechanism(CKM.AES_CBC, IV), "AES/CBC/NoPadding", new IvParameterSpec(IV),
                    BLOCKS),
            new Mode(AES_CBC, "AES_CBC_PAD", new Mechanism(CKM.AES_CBC_PAD, IV), "AES/CBC/PKCS5Padding",
                    new IvParameterSpec(IV), DATA),
            new Mode(AES_CTR, "AES_CTR", new Mechanism(CKM.AES_CTR, new CTRParams(IV)), "AES/CTR/NoPadding",
                    new IvParameterSpec(IV), DATA),
            new Mode(AES_GCM, "AES_GCM", new Mechanism(CKM.AES_GCM, new GCMParams(NONCE, AAD, 128)),
                    "AES/GCM/NoPadding", new GCMParameterSpec(128, NONCE), DATA),
        }) {
            trial(mode.row, mode.name + " encrypts", () -> encrypted(mode));
            trial(mode.row, mode.name + " decrypts", () -> decrypted(mode));
        }
        trial(MESSAGES, "encrypted", this::messagesEncrypted);
        trial(MESSAGES, "encrypted with the token's vector", this::messagesEncryptedWithItsVector);
        trial(MESSAGES, "encrypted in parts", this::messageEncryptedInParts);
        trial(MESSAGES, "decrypted", this::messagesDecrypted);
        trial(OAEP, "encrypts", this::encryptedByRsa);
        trial(OAEP, "decrypts", this::decryptedByRsa);
    }

    private void encrypted(Mode mode) throws GeneralSecurityException {
        TokenObject key = secretKey("AES", KEY);
        assertArrayEquals(mode.encrypted(), call(() -> session.encrypt(mode.mechanism, key, mode.data)));
    }

    private void decrypted(Mode mode) throws GeneralSecurityException {
        TokenObject key = secretKey("AES", KEY);
        byte[] encrypted = mode.encrypted();
        assertArrayEquals(mode.data, call(() -> session.decrypt(mode.mechanism, key, encrypted)));
        if (mode.row.equals(AES_GCM)) {
            encrypted[0] ^= 1;
            assertThrows(CryptokiException.class, () -> session.decrypt(mode.mechanism, key, encrypted), "forged");
        }
    }

    // ---- messages: several under one key, each with a vector and a tag of its own

    private boolean haveMessages() {
        boolean they = Inside.has(session, Function.ENCRYPT_MESSAGE);
        if (!they) {
            nothing("no such function");
        }
        return they;
    }

    private static byte[] vector(int n) {
        byte[] vector = NONCE.clone();
        vector[0] = (byte) n;
        return vector;
    }

    private static byte[] byJdk(int direction, byte[] vector, byte[] input) throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("AES/GCM/NoPadding");
        cipher.init(direction, new SecretKeySpec(KEY, "AES"), new GCMParameterSpec(128, vector));
        cipher.updateAAD(AAD);
        return cipher.doFinal(input);
    }

    private static void assertEncrypted(GCMMessageParams params, byte[] encrypted) throws GeneralSecurityException {
        byte[] together = ByteBuffer.allocate(DATA.length + 16).put(encrypted).put(params.tag()).array();
        assertArrayEquals(DATA, byJdk(Cipher.DECRYPT_MODE, params.iv(), together));
    }

    private void messagesEncrypted() throws GeneralSecurityException {
        if (haveMessages()) {
            TokenObject key = secretKey("AES", KEY);
            try (MessageEncryptor encryptor = session.messageEncryptor(MESSAGE_GCM, key)) {
                for (int i = 0; i < 3; i++) {
                    GCMMessageParams params = new GCMMessageParams(vector(i));
                    assertEncrypted(params, call(() -> encryptor.encrypt(params, AAD, DATA)));
                    assertArrayEquals(vector(i), params.iv());
                }
            }
            assertArrayEquals(byJdk(Cipher.ENCRYPT_MODE, NONCE, DATA), session.encrypt(
                    new Mechanism(CKM.AES_GCM, new GCMParams(NONCE, AAD, 128)), key, DATA));
        }
    }

    private void messagesEncryptedWithItsVector() throws GeneralSecurityException {
        if (haveMessages()) {
            TokenObject key = secretKey("AES", KEY);
            Set<ByteBuffer> vectors = new HashSet<>();
            try (MessageEncryptor encryptor = session.messageEncryptor(MESSAGE_GCM, key)) {
                for (int i = 0; i < 3; i++) {
                    GCMMessageParams params = new GCMMessageParams(new byte[12], 32, VectorGenerator.COUNTER, 128);
                    assertEncrypted(params, call(() -> encryptor.encrypt(params, AAD, DATA)));
                    vectors.add(ByteBuffer.wrap(params.iv()));
                }
            }
            assertEquals(3, vectors.size());
        }
    }

    private void messageEncryptedInParts() throws GeneralSecurityException {
        if (haveMessages()) {
            TokenObject key = secretKey("AES", KEY);
            GCMMessageParams params = new GCMMessageParams(NONCE);
            try (MessageEncryptor encryptor = session.messageEncryptor(MESSAGE_GCM, key)) {
                run(() -> encryptor.begin(params, AAD));
                ByteBuffer encrypted = ByteBuffer.allocate(DATA.length);
                encrypted.put(call(() -> encryptor.update(first(DATA, 20))));
                encrypted.put(call(() -> encryptor.finish(Arrays.copyOfRange(DATA, 20, DATA.length))));
                assertEncrypted(params, encrypted.array());
            }
        }
    }

    private void messagesDecrypted() throws GeneralSecurityException {
        if (haveMessages()) {
            TokenObject key = secretKey("AES", KEY);
            try (MessageDecryptor decryptor = session.messageDecryptor(MESSAGE_GCM, key)) {
                for (int i = 0; i < 3; i++) {
                    byte[] together = byJdk(Cipher.ENCRYPT_MODE, vector(i), DATA);
                    byte[] encrypted = first(together, DATA.length);
                    byte[] tag = Arrays.copyOfRange(together, DATA.length, together.length);
                    byte[] vector = vector(i);
                    assertArrayEquals(DATA, call(() -> decryptor.decrypt(new GCMMessageParams(vector, tag), AAD,
                            encrypted)));
                    tag[0] ^= 1;
                    assertThrows(CryptokiException.class, () -> decryptor.decrypt(new GCMMessageParams(vector, tag), AAD,
                            encrypted), "forged");
                }
            }
        }
    }

    private static Mechanism oaep() {
        return new Mechanism(CKM.RSA_PKCS_OAEP, OAEPParams.of("SHA-256", null));
    }

    private static byte[] byJdk(int direction, java.security.Key key, byte[] input) throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("RSA/ECB/OAEPPadding");
        cipher.init(direction, key, new OAEPParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA256,
                PSource.PSpecified.DEFAULT));
        return cipher.doFinal(input);
    }

    /** Where the private key is the token's alone it has to decrypt, which the other trial checks against the JDK. */
    private void encryptedByRsa() throws GeneralSecurityException {
        SurfacePair pair = SurfacePair.rsa(session);
        byte[] encrypted = call(() -> session.encrypt(oaep(), pair.publicKey(), DATA));
        if (encrypted.length > RSA_SIZE) {
            outcomes.qualify(OAEP, "encrypts", "claims all the room that it was given");
            encrypted = first(encrypted, RSA_SIZE);
        }
        if (pair.isTheJdks()) {
            assertArrayEquals(DATA, byJdk(Cipher.DECRYPT_MODE, pair.jdkPrivateKey(), encrypted));
        } else {
            beginAnew();
            assertArrayEquals(DATA, session.decrypt(oaep(), SurfacePair.rsa(session).privateKey(), encrypted));
        }
    }

    private void decryptedByRsa() throws GeneralSecurityException {
        SurfacePair pair = SurfacePair.rsa(session);
        byte[] encrypted = byJdk(Cipher.ENCRYPT_MODE, pair.jdkPublicKey(), DATA);
        assertArrayEquals(DATA, call(() -> session.decrypt(oaep(), pair.privateKey(), encrypted)));
    }
}
