package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.TokenSession;
import harlune.support.Tokens;

import java.io.ByteArrayInputStream;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.MessageDigest;
import java.security.PublicKey;
import java.security.Signature;
import java.security.cert.CertificateFactory;
import java.security.spec.RSAPublicKeySpec;
import java.util.Arrays;

import javax.crypto.Cipher;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.Mechanism;

/** What people do with a smart card: each key in its way, checked by the JDK with the certificate that the card has. */
class PivCardTest extends TokenSession {
    private static final int AUTHENTICATION = 1;
    private static final int DIGITAL_SIGNATURE = 2;
    private static final int KEY_MANAGEMENT = 3;
    private static final int CARD_AUTHENTICATION = 4;
    private static final byte[] MESSAGE = "Pay Alice 100".getBytes(StandardCharsets.UTF_8);

    private final Mechanism rsa = new Mechanism(CKM_SHA256_RSA_PKCS);

    private long find(int objectClass, int id) {
        long[] found = session.J_FindObjects(new Attribute[] {
            new Attribute(CKA_CLASS, objectClass), new Attribute(CKA_ID, new byte[] {(byte) id})});
        assertEquals(1, found.length);
        return found[0];
    }

    /** The key of the signature's certificate, which is longer than the natives read, lies beside it as well. */
    private PublicKey certified(int id) throws GeneralSecurityException {
        if (id == DIGITAL_SIGNATURE) {
            long key = find(CKO_PUBLIC_KEY, id);
            return KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(
                    new BigInteger(1, session.J_GetAttributeValue(key, CKA_MODULUS).bytesValue()),
                    new BigInteger(1, session.J_GetAttributeValue(key, CKA_PUBLIC_EXPONENT).bytesValue())));
        }
        byte[] certificate = session.J_GetAttributeValue(find(CKO_CERTIFICATE, id), CKA_VALUE).bytesValue();
        return CertificateFactory.getInstance("X.509").generateCertificate(new ByteArrayInputStream(certificate))
                .getPublicKey();
    }

    private void assertValid(String algorithm, int id, byte[] signature) throws GeneralSecurityException {
        Signature judge = Signature.getInstance(algorithm);
        judge.initVerify(certified(id));
        judge.update(MESSAGE);
        assertTrue(judge.verify(signature), "the JDK refuses the signature");
    }

    private byte[] sign(boolean begin, long key) {
        return session.J_Sign(h, begin, rsa, key, MESSAGE, 0, MESSAGE.length);
    }

    @Test
    void oneLoginIsEnoughToAuthenticateOften() throws GeneralSecurityException {
        long key = find(CKO_PRIVATE_KEY, AUTHENTICATION);
        assertValid("SHA256withRSA", AUTHENTICATION, sign(true, key));
        assertValid("SHA256withRSA", AUTHENTICATION, sign(true, key));
    }

    @Test
    void eachDigitalSignatureWantsThePin() throws GeneralSecurityException {
        long key = find(CKO_PRIVATE_KEY, DIGITAL_SIGNATURE);
        assertTrue(session.J_GetAttributeValue(key, CKA_ALWAYS_AUTHENTICATE).booleanValue());
        for (int i = 0; i < 2; i++) {
            session.J_SignInit(h, rsa, key);
            session.J_Login(CKU_CONTEXT_SPECIFIC, Tokens.PIN);
            assertValid("SHA256withRSA", DIGITAL_SIGNATURE, sign(false, key));
        }
        assertRefused("J_Sign", CKR_USER_NOT_LOGGED_IN, "USER NOT LOGGED IN", () -> sign(true, key));
    }

    @Test
    void whatWasEncryptedForTheCardIsDecrypted() throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.ENCRYPT_MODE, certified(KEY_MANAGEMENT));
        byte[] encrypted = cipher.doFinal(MESSAGE);
        long key = find(CKO_PRIVATE_KEY, KEY_MANAGEMENT);
        assertArrayEquals(MESSAGE,
                session.J_Decrypt(h, true, new Mechanism(CKM_RSA_PKCS), key, encrypted, 0, encrypted.length));
    }

    @Test
    void theCardShowsItselfWithoutALogin() throws GeneralSecurityException {
        session.J_Logout();
        long key = find(CKO_PRIVATE_KEY, CARD_AUTHENTICATION);
        byte[] digest = MessageDigest.getInstance("SHA-256").digest(MESSAGE);
        byte[] signature = session.J_Sign(h, true, new Mechanism(CKM_ECDSA), key, digest, 0, digest.length);
        assertValid("SHA256withECDSAinP1363Format", CARD_AUTHENTICATION, signature);
    }

    @Test
    void theCardGivesRandomNumbers() {
        byte[] one = new byte[24];
        byte[] other = new byte[24];
        session.J_GenerateRandom(h, false, null, one, 0, one.length);
        session.J_GenerateRandom(h, false, null, other, 0, other.length);
        assertFalse(Arrays.equals(one, other));
    }
}
