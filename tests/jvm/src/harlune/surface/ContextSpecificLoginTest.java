package harlune.surface;

import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.security.GeneralSecurityException;
import java.util.Arrays;

import javax.crypto.Cipher;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKR;
import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Signer;
import velnor.TokenObject;
import velnor.UserType;

/** A key that asks for a login before each use, which goes between the start of an operation and its data. */
class ContextSpecificLoginTest extends TokenOperations {
    private static final byte[] DATA = bytes(100);
    private TokenObject key;

    @BeforeEach
    void createKey() {
        Attribute[] template = rsa.privateTemplate();
        template = Arrays.copyOf(template, template.length + 1);
        template[template.length - 1] = new Attribute(CKA.ALWAYS_AUTHENTICATE, true);
        key = session.createObject(template);
    }

    @Test
    void signingInOnePartAndInSeveral() throws GeneralSecurityException {
        try (Signer signer = session.signer(SHA256_RSA_PKCS, key).start()) {
            session.login(UserType.CONTEXT_SPECIFIC, Tokens.PIN);
            assertTrue(Jdk.verifies("SHA256withRSA", rsa.publicKey, DATA, signer.sign(DATA)));
        }
        try (Signer signer = session.signer(SHA256_RSA_PKCS, key).start()) {
            session.login(UserType.CONTEXT_SPECIFIC, Tokens.PIN);
            signer.update(DATA, 0, 70);
            assertTrue(Jdk.verifies("SHA256withRSA", rsa.publicKey, DATA, signer.sign(DATA, 70, 30)));
        }
    }

    @Test
    void decrypting() throws GeneralSecurityException {
        byte[] encrypted = Jdk.rsa(Cipher.ENCRYPT_MODE, rsa.publicKey, DATA);
        try (Decryptor decryptor = session.decryptor(RSA_PKCS, key).start()) {
            session.login(UserType.CONTEXT_SPECIFIC, Tokens.PIN);
            assertArrayEquals(DATA, decryptor.finish(encrypted));
        }
    }

    @Test
    void inOneCall() throws GeneralSecurityException {
        char[] pin = Tokens.PIN.toCharArray();
        assertTrue(key.asksForPinEachTime());
        assertTrue(Jdk.verifies("SHA256withRSA", rsa.publicKey, DATA, session.sign(SHA256_RSA_PKCS, key, pin, DATA)));
        byte[] encrypted = Jdk.rsa(Cipher.ENCRYPT_MODE, rsa.publicKey, DATA);
        assertArrayEquals(DATA, session.decrypt(RSA_PKCS, key, pin, encrypted));
        assertEquals(Tokens.PIN, new String(pin), "the caller's array stays as it is");
        char[] wrong = "no PIN".toCharArray();
        assertEquals(CKR.PIN_INCORRECT, assertThrows(CryptokiException.class,
                () -> session.sign(SHA256_RSA_PKCS, key, wrong, DATA)).code());
        TokenObject easy = privateKey();
        assertFalse(easy.asksForPinEachTime());
        assertTrue(Jdk.verifies("SHA256withRSA", rsa.publicKey, DATA,
                session.sign(SHA256_RSA_PKCS, easy, wrong, DATA)));
    }

    @Test
    void withoutTheLoginTheKeyIsNotUsedAndTheSessionIsFree() throws GeneralSecurityException {
        for (int i = 0; i < 3; i++) {
            assertEquals(CKR.USER_NOT_LOGGED_IN, assertThrows(CryptokiException.class,
                    () -> session.sign(SHA256_RSA_PKCS, key, DATA)).code());
            try (Signer signer = session.signer(SHA256_RSA_PKCS, key)) {
                assertEquals(CKR.USER_NOT_LOGGED_IN,
                        assertThrows(CryptokiException.class, () -> signer.update(DATA)).code());
            }
            session.signer(SHA256_RSA_PKCS, key).start().close();
        }
        signingInOnePartAndInSeveral();
    }
}
