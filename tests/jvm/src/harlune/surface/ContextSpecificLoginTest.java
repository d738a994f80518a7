package harlune.surface;

import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
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
