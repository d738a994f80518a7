package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.Signature;
import java.security.spec.RSAPublicKeySpec;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CKS;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;

/** Real modules whose session handles do not fit 32 bits, and the same behind p11-kit's proxy, whose handles are small. */
class WideTokenTest {
    private static final byte[] ID = {1};
    private static final Attribute[] PUBLIC_KEY = {
        new Attribute(CKA.CLASS, CKO.PUBLIC_KEY), new Attribute(CKA.KEY_TYPE, CKK.RSA), new Attribute(CKA.ID, ID)};
    private static final Attribute[] PRIVATE_KEY = {
        new Attribute(CKA.CLASS, CKO.PRIVATE_KEY), new Attribute(CKA.KEY_TYPE, CKK.RSA), new Attribute(CKA.ID, ID)};
    private static final Mechanism SHA256_RSA_PKCS = new Mechanism(CKM.SHA256_RSA_PKCS);

    @Test
    void aTokenWithWideHandlesSigns() throws GeneralSecurityException {
        try (Cryptoki cryptoki = Surface.token();
                Session session = cryptoki.tokenByLabel(Tokens.LABEL).openSession()) {
            session.login(Tokens.PIN);
            assertEquals(CKS.RW_USER_FUNCTIONS, session.info().state());
            if (session.find(PRIVATE_KEY).isEmpty()) {
                generate(session);
            }
            TokenObject publicKey = session.findOne(PUBLIC_KEY);
            byte[] message = "Pay Alice 100".getBytes(StandardCharsets.UTF_8);
            byte[] signature = session.sign(SHA256_RSA_PKCS, session.findOne(PRIVATE_KEY), message);
            assertTrue(isValid(publicKey, message, signature), "the JDK refuses the signature");
            session.verify(SHA256_RSA_PKCS, publicKey, message, signature);
            message[0] ^= 1;
            assertFalse(session.isValid(SHA256_RSA_PKCS, publicKey, message, signature));
        }
    }

    /** A smart card has its keys; a token without any makes a pair. */
    private static void generate(Session session) {
        session.generateKeyPair(new Mechanism(CKM.RSA_PKCS_KEY_PAIR_GEN),
                new Attribute[] {
                    new Attribute(CKA.TOKEN, true),
                    new Attribute(CKA.ID, ID),
                    new Attribute(CKA.VERIFY, true),
                    new Attribute(CKA.MODULUS_BITS, 2048),
                    new Attribute(CKA.PUBLIC_EXPONENT, new byte[] {1, 0, 1}),
                },
                new Attribute[] {
                    new Attribute(CKA.TOKEN, true),
                    new Attribute(CKA.PRIVATE, true),
                    new Attribute(CKA.ID, ID),
                    new Attribute(CKA.SIGN, true),
                });
    }

    private static boolean isValid(TokenObject publicKey, byte[] message, byte[] signature)
            throws GeneralSecurityException {
        Signature judge = Signature.getInstance("SHA256withRSA");
        judge.initVerify(KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(
                new BigInteger(1, publicKey.attribute(CKA.MODULUS).bytesValue()),
                new BigInteger(1, publicKey.attribute(CKA.PUBLIC_EXPONENT).bytesValue()))));
        judge.update(message);
        return judge.verify(signature);
    }
}
