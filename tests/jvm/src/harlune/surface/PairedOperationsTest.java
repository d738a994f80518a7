package harlune.surface;

import static harlune.token.Bytes.around;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.from;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.security.GeneralSecurityException;

import javax.crypto.Cipher;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.CKR;
import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Session;
import velnor.Signer;
import velnor.TokenObject;
import velnor.Verifier;

/** What the softoken can besides: two operations of one session, data in signatures, digests that are carried on. */
class PairedOperationsTest extends TokenOperations {
    private static final byte[] MESSAGE = bytes(104);

    private byte[] encrypted;
    private byte[] digest;
    private byte[] mac;

    @BeforeEach
    void askTheJdk() throws GeneralSecurityException {
        encrypted = Jdk.des3Cbc(Cipher.ENCRYPT_MODE, "NoPadding").doFinal(MESSAGE);
        digest = Jdk.sha256(MESSAGE);
        mac = Jdk.hmac(MESSAGE);
    }

    @Test
    void digestingAndEncrypting() {
        try (Digester digester = session.digester(SHA256); Encryptor encryptor = session.encryptor(DES3_CBC, des3())) {
            assertArrayEquals(encrypted, joined(
                    session.digestEncryptUpdate(digester, encryptor, around(3, MESSAGE, 1), 3, 64),
                    session.digestEncryptUpdate(digester, encryptor, from(MESSAGE, 64)), encryptor.finish()));
            assertArrayEquals(digest, digester.digest());
        }
    }

    @Test
    void decryptingAndDigesting() {
        try (Decryptor decryptor = session.decryptor(DES3_CBC, des3()); Digester digester = session.digester(SHA256)) {
            assertArrayEquals(MESSAGE, joined(
                    session.decryptDigestUpdate(decryptor, digester, around(3, encrypted, 1), 3, 64),
                    session.decryptDigestUpdate(decryptor, digester, from(encrypted, 64)), decryptor.finish()));
            assertArrayEquals(digest, digester.digest());
        }
    }

    @Test
    void signingAndEncrypting() {
        try (Signer signer = session.signer(SHA256_HMAC, macKey());
                Encryptor encryptor = session.encryptor(DES3_CBC, des3())) {
            assertArrayEquals(encrypted, joined(
                    session.signEncryptUpdate(signer, encryptor, around(3, MESSAGE, 1), 3, 64),
                    session.signEncryptUpdate(signer, encryptor, from(MESSAGE, 64)), encryptor.finish()));
            assertArrayEquals(mac, signer.sign());
        }
    }

    @Test
    void decryptingAndVerifying() {
        try (Decryptor decryptor = session.decryptor(DES3_CBC, des3());
                Verifier verifier = session.verifier(SHA256_HMAC, macKey())) {
            assertArrayEquals(MESSAGE, joined(
                    session.decryptVerifyUpdate(decryptor, verifier, around(3, encrypted, 1), 3, 64),
                    session.decryptVerifyUpdate(decryptor, verifier, from(encrypted, 64)), decryptor.finish()));
            verifier.verify(mac);
        }
    }

    /** The softoken takes whole blocks only. */
    @Test
    void whatFailsOneEndsBoth() {
        TokenObject des3 = des3();
        Decryptor decryptor = session.decryptor(DES3_CBC, des3);
        Verifier verifier = session.verifier(SHA256_HMAC, macKey());
        session.decryptVerifyUpdate(decryptor, verifier, encrypted);
        assertEquals("J_DecryptVerifyUpdate", assertThrows(CryptokiException.class,
                () -> session.decryptVerifyUpdate(decryptor, verifier, bytes(7))).functionName());
        assertThrows(IllegalStateException.class, () -> decryptor.update(encrypted));
        assertThrows(IllegalStateException.class, () -> verifier.verify(mac));

        Digester digester = session.digester(SHA256);
        Encryptor encryptor = session.encryptor(DES3_CBC, des3);
        session.digestEncryptUpdate(digester, encryptor, MESSAGE);
        assertEquals("J_DigestEncryptUpdate", assertThrows(CryptokiException.class,
                () -> session.digestEncryptUpdate(digester, encryptor, bytes(7))).functionName());
        assertThrows(IllegalStateException.class, encryptor::finish);
        assertThrows(IllegalStateException.class, digester::digest);

        assertArrayEquals(digest, session.digest(SHA256, MESSAGE));
        assertArrayEquals(MESSAGE, session.decrypt(DES3_CBC, des3, encrypted));
        session.verify(SHA256_HMAC, macKey(), MESSAGE, mac);
    }

    @Test
    void dataInSignatures() throws GeneralSecurityException {
        byte[] signature = Jdk.rsa(Cipher.ENCRYPT_MODE, rsa.privateKey, MESSAGE);
        assertArrayEquals(signature, session.signRecover(RSA_PKCS, privateKey(), MESSAGE));
        assertArrayEquals(signature,
                session.signRecover(RSA_PKCS, privateKey(), around(1, MESSAGE, 2), 1, MESSAGE.length));
        assertArrayEquals(MESSAGE, session.verifyRecover(RSA_PKCS, publicKey(), signature));
        assertArrayEquals(MESSAGE, session.verifyRecover(RSA_PKCS, publicKey(), around(3, signature, 4), 3, 256));
        signature[100] ^= 1;
        for (int i = 0; i < 3; i++) {
            assertEquals(CKR.SIGNATURE_INVALID, assertThrows(CryptokiException.class,
                    () -> session.verifyRecover(RSA_PKCS, publicKey(), signature)).code());
            assertThrows(CryptokiException.class, () -> session.signRecover(RSA_PKCS, privateKey(), bytes(1000)));
        }
        signature[100] ^= 1;
        assertArrayEquals(MESSAGE, session.verifyRecover(RSA_PKCS, publicKey(), signature));
        assertArrayEquals(signature, session.signRecover(RSA_PKCS, privateKey(), MESSAGE));
    }

    @Test
    void aDigestGoesOnInAnotherSession() throws GeneralSecurityException {
        try (Digester digester = session.digester(SHA256); Session other = session.slot().openSession()) {
            digester.update(MESSAGE, 0, 77);
            Digester resumed = other.digester(SHA256);
            other.setOperationState(session.operationState());
            resumed.resume();
            assertArrayEquals(digest, resumed.digest(from(MESSAGE, 77)));
            assertArrayEquals(digest, digester.digest(from(MESSAGE, 77)));
        }
    }
}
