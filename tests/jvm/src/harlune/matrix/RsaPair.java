package harlune.matrix;

import static harlune.support.Ck.*;
import static org.junit.jupiter.api.Assertions.assertNotNull;

import harlune.token.RsaKeys;

import java.math.BigInteger;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.interfaces.RSAPrivateCrtKey;
import java.security.interfaces.RSAPublicKey;
import java.security.spec.RSAPublicKeySpec;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.nat.NativeSession;

/**
 * An RSA key pair on the token, with what the JDK knows of it: a pair of the JDK's own where the token takes keys, one
 * that lies on the token already (a card's), or one that the token makes; the JDK then has the public key alone.
 */
record RsaPair(long publicKey, long privateKey, RSAPublicKey jdkPublicKey, RSAPrivateCrtKey jdkPrivateKey) {
    private static final byte[] ID = {'r', 's', 'a'};
    private static RsaKeys jdkKeys;

    static RsaPair in(NativeSession session) throws GeneralSecurityException {
        if (jdkKeys == null) {
            jdkKeys = new RsaKeys();
        }
        try {
            return new RsaPair(jdkKeys.createPublicKey(session), jdkKeys.createPrivateKey(session), jdkKeys.publicKey,
                    jdkKeys.privateKey);
        } catch (CryptokiException e) {
            Long found = find(session, CKO_PRIVATE_KEY, attribute(CKA_KEY_TYPE, CKK_RSA), attribute(CKA_SIGN, true));
            return found != null ? onToken(session, found) : generated(session);
        }
    }

    private static RsaPair onToken(NativeSession session, long privateKey) throws GeneralSecurityException {
        Attribute id = attribute(CKA_ID, session.J_GetAttributeValue(privateKey, CKA_ID).bytesValue());
        Long publicKey = find(session, CKO_PUBLIC_KEY, id);
        assertNotNull(publicKey, "a private key without its public one");
        return withPublicKey(session, publicKey, privateKey);
    }

    /** Made as a token object: some tokens make no others. Later trials find it there. */
    private static RsaPair generated(NativeSession session) throws GeneralSecurityException {
        long[] pair = session.J_GenerateKeyPair(new Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN),
                new Attribute[] {
                    attribute(CKA_TOKEN, true),
                    attribute(CKA_ID, ID),
                    attribute(CKA_ENCRYPT, true),
                    attribute(CKA_VERIFY, true),
                    attribute(CKA_MODULUS_BITS, 2048),
                    attribute(CKA_PUBLIC_EXPONENT, new byte[] {1, 0, 1}),
                },
                new Attribute[] {
                    attribute(CKA_TOKEN, true),
                    attribute(CKA_PRIVATE, true),
                    attribute(CKA_ID, ID),
                    attribute(CKA_DECRYPT, true),
                    attribute(CKA_SIGN, true),
                });
        return withPublicKey(session, pair[0], pair[1]);
    }

    static RsaPair withPublicKey(NativeSession session, long publicKey, long privateKey)
            throws GeneralSecurityException {
        BigInteger modulus = new BigInteger(1, session.J_GetAttributeValue(publicKey, CKA_MODULUS).bytesValue());
        BigInteger exponent = new BigInteger(1,
                session.J_GetAttributeValue(publicKey, CKA_PUBLIC_EXPONENT).bytesValue());
        RSAPublicKey jdkKey = (RSAPublicKey) KeyFactory.getInstance("RSA")
                .generatePublic(new RSAPublicKeySpec(modulus, exponent));
        return new RsaPair(publicKey, privateKey, jdkKey, null);
    }

    private static Long find(NativeSession session, int objectClass, Attribute... more) {
        Attribute[] template = new Attribute[more.length + 1];
        template[0] = attribute(CKA_CLASS, objectClass);
        System.arraycopy(more, 0, template, 1, more.length);
        long[] found = session.J_FindObjects(template);
        return found == null ? null : found[0];
    }

    private static Attribute attribute(int type, Object value) {
        return new Attribute(type, value);
    }
}
