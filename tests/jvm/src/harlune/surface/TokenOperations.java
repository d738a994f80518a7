package harlune.surface;

import static harlune.token.Bytes.bytes;

import harlune.support.Tokens;
import harlune.token.RsaKeys;
import harlune.token.SecretKeys;

import java.security.GeneralSecurityException;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;

import velnor.CKK;
import velnor.CKM;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;

/** For tests of operations with a real token, the user logged in, and keys that the JDK holds too. */
abstract class TokenOperations {
    static final byte[] IV = bytes(8);
    static final byte[] AES_KEY = bytes(32);
    static final byte[] DES3_KEY = {
        1, 2, 4, 7, 8, 11, 13, 14, 16, 19, 21, 22, 25, 26, 28, 31, 32, 35, 37, 38, 41, 42, 44, 47};
    static final byte[] MAC_KEY = bytes(32);
    static final Mechanism AES_ECB = new Mechanism(CKM.AES_ECB);
    static final Mechanism DES3_CBC = new Mechanism(CKM.DES3_CBC, IV);
    static final Mechanism DES3_CBC_PAD = new Mechanism(CKM.DES3_CBC_PAD, IV);
    static final Mechanism RSA_PKCS = new Mechanism(CKM.RSA_PKCS);
    static final Mechanism SHA256_RSA_PKCS = new Mechanism(CKM.SHA256_RSA_PKCS);
    static final Mechanism SHA256_HMAC = new Mechanism(CKM.SHA256_HMAC);
    static final Mechanism SHA256 = new Mechanism(CKM.SHA256);

    static RsaKeys rsa;
    static Cryptoki cryptoki;
    Session session;

    @BeforeAll
    static void bind() throws GeneralSecurityException {
        rsa = new RsaKeys();
        cryptoki = Surface.token();
    }

    @AfterAll
    static void release() {
        cryptoki.close();
    }

    @BeforeEach
    void open() {
        session = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        session.login(Tokens.PIN);
    }

    @AfterEach
    void close() {
        session.slot().closeAllSessions();
    }

    TokenObject aes() {
        return session.createObject(SecretKeys.template(CKK.AES, AES_KEY));
    }

    TokenObject des3() {
        return session.createObject(SecretKeys.template(CKK.DES3, DES3_KEY));
    }

    TokenObject macKey() {
        return session.createObject(SecretKeys.template(CKK.GENERIC_SECRET, MAC_KEY));
    }

    TokenObject publicKey() {
        return session.createObject(rsa.publicTemplate());
    }

    TokenObject privateKey() {
        return session.createObject(rsa.privateTemplate());
    }
}
