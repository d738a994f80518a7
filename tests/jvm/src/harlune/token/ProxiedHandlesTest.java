package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.TokenSession;

import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.Signature;
import java.security.spec.RSAPublicKeySpec;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.Mechanism;
import velnor.nat.NativeSession;

/** The modules of {@link WideHandlesTest} behind p11-kit's proxy or server, which have small session handles. */
class ProxiedHandlesTest extends TokenSession {
    private static final int SIZE = 256;
    private static final byte[] ID = {1};
    private static final byte[] MESSAGE = "Pay Alice 100".getBytes(StandardCharsets.UTF_8);
    private static final Mechanism MECHANISM = new Mechanism(CKM_SHA256_RSA_PKCS);

    private long publicKey;
    private long privateKey;

    /** A smart card has its keys; a token without any makes a pair. */
    @BeforeEach
    void findKeys() {
        if (session.J_FindObjects(template(CKO_PRIVATE_KEY)) == null) {
            session.J_GenerateKeyPair(new Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN),
                    new Attribute[] {
                        new Attribute(CKA_TOKEN, true),
                        new Attribute(CKA_ID, ID),
                        new Attribute(CKA_VERIFY, true),
                        new Attribute(CKA_MODULUS_BITS, 8 * SIZE),
                        new Attribute(CKA_PUBLIC_EXPONENT, new byte[] {1, 0, 1}),
                    },
                    new Attribute[] {
                        new Attribute(CKA_TOKEN, true),
                        new Attribute(CKA_PRIVATE, true),
                        new Attribute(CKA_ID, ID),
                        new Attribute(CKA_SIGN, true),
                    });
        }
        publicKey = session.J_FindObjects(template(CKO_PUBLIC_KEY))[0];
        privateKey = session.J_FindObjects(template(CKO_PRIVATE_KEY))[0];
    }

    private static Attribute[] template(int objectClass) {
        return new Attribute[] {new Attribute(CKA_CLASS, objectClass), new Attribute(CKA_ID, ID)};
    }

    private void assertValid(byte[] signature) throws GeneralSecurityException {
        BigInteger modulus = new BigInteger(1, session.J_GetAttributeValue(publicKey, CKA_MODULUS).bytesValue());
        BigInteger exponent =
                new BigInteger(1, session.J_GetAttributeValue(publicKey, CKA_PUBLIC_EXPONENT).bytesValue());
        assertEquals(8 * SIZE, modulus.bitLength());
        Signature judge = Signature.getInstance("SHA256withRSA");
        judge.initVerify(KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(modulus, exponent)));
        judge.update(MESSAGE);
        assertTrue(judge.verify(signature), "the JDK refuses the signature");
    }

    @Test
    void theSessionIsReached() {
        assertEquals(slot.slotID(), session.J_GetSessionInfo().slotID());
        assertEquals(CKS_RW_USER_FUNCTIONS, session.J_GetSessionInfo().state());
        session.J_Logout();
        assertEquals(CKS_RW_PUBLIC_SESSION, session.J_GetSessionInfo().state());
        session.J_CloseSession();
        assertRefused("J_GetSessionInfo", CKR_SESSION_HANDLE_INVALID, "SESSION HANDLE INVALID",
                session::J_GetSessionInfo);
    }

    @Test
    void whatIsSignedIsValid() throws GeneralSecurityException {
        byte[] signature = session.J_Sign(h, true, MECHANISM, privateKey, MESSAGE, 0, MESSAGE.length);
        assertValid(signature);
        session.J_Verify(h, true, MECHANISM, publicKey, MESSAGE, 0, MESSAGE.length, signature, 0, SIZE);
        signature[SIZE - 1] ^= 1;
        assertRefused("J_Verify", CKR_SIGNATURE_INVALID, "SIGNATURE INVALID", () -> session.J_Verify(h, true, MECHANISM,
                publicKey, MESSAGE, 0, MESSAGE.length, signature, 0, SIZE));
    }

    @Test
    void whatIsSignedInPartsIsValid() throws GeneralSecurityException {
        session.J_SignUpdate(h, true, MECHANISM, privateKey, MESSAGE, 0, 5);
        session.J_SignUpdate(h, false, null, 0, MESSAGE, 5, MESSAGE.length - 5);
        assertValid(session.J_SignFinal());
    }

    @Test
    void twoSessionsAreToldApart() throws GeneralSecurityException {
        NativeSession other = slot.J_OpenSession(CKF_SERIAL_SESSION);
        assertNotEquals(h, other.sessionHandle());
        session.J_SignUpdate(h, true, MECHANISM, privateKey, MESSAGE, 0, 5);
        byte[] signature = other.J_Sign(other.sessionHandle(), true, MECHANISM, privateKey, MESSAGE, 0, MESSAGE.length);
        other.J_CloseSession();
        session.J_SignUpdate(h, false, null, 0, MESSAGE, 5, MESSAGE.length - 5);
        assertValid(session.J_SignFinal());
        assertValid(signature);
    }
}
