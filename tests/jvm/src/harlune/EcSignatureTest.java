package harlune;

import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Ck;
import harlune.support.TokenSession;

import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.MessageDigest;
import java.security.Signature;
import java.security.interfaces.ECPrivateKey;
import java.security.interfaces.ECPublicKey;
import java.security.spec.ECGenParameterSpec;
import java.util.Arrays;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CryptokiObject;
import velnor.Mechanism;

/**
 * ECDSA on P-256. The library reads no elliptic-curve attributes, so the keys that the JDK is to agree about are made
 * by the JDK and created on the token.
 */
class EcSignatureTest extends TokenSession {
    private static final int SIZE = 64;
    private static final byte[] P256 = {0x06, 0x08, 0x2A, (byte) 0x86, 0x48, (byte) 0xCE, 0x3D, 0x03, 0x01, 0x07};
    private static final Mechanism MECHANISM = new Mechanism(Ck.CKM_ECDSA);
    /** Of the raw form that PKCS#11 has too: two numbers of 32 bytes. */
    private static final String JDK_ALGORITHM = "NONEwithECDSAinP1363Format";

    private static byte[] digest() throws GeneralSecurityException {
        return MessageDigest.getInstance("SHA-256").digest("Pay Alice 100".getBytes(StandardCharsets.UTF_8));
    }

    private static KeyPair jdkKeys() throws GeneralSecurityException {
        KeyPairGenerator generator = KeyPairGenerator.getInstance("EC");
        generator.initialize(new ECGenParameterSpec("secp256r1"));
        return generator.generateKeyPair();
    }

    private static byte[] number(BigInteger number) {
        byte[] bytes = number.toByteArray();
        byte[] fixed = new byte[32];
        int length = Math.min(32, bytes.length);
        System.arraycopy(bytes, bytes.length - length, fixed, 32 - length, length);
        return fixed;
    }

    @Test
    void aPairThatTheTokenMade() throws GeneralSecurityException {
        byte[] id = {0x45, 0x43};
        long[] pair = session.J_GenerateKeyPair(new Mechanism(Ck.CKM_EC_KEY_PAIR_GEN),
                new Attribute[] {
                    new Attribute(Ck.CKA_EC_PARAMS, P256),
                    new Attribute(Ck.CKA_ID, id),
                    new Attribute(Ck.CKA_VERIFY, true),
                },
                new Attribute[] {
                    new Attribute(Ck.CKA_ID, id),
                    new Attribute(Ck.CKA_SIGN, true),
                });
        CryptokiObject found = session.J_FindObjects(
                new Attribute[] {new Attribute(Ck.CKA_CLASS, Ck.CKO_PUBLIC_KEY), new Attribute(Ck.CKA_ID, id)},
                new int[] {Ck.CKA_KEY_TYPE, Ck.CKA_EC_POINT})[0];
        assertEquals(pair[0], found.handle());
        assertEquals(Ck.CKK_EC, found.attribute(Ck.CKA_KEY_TYPE).intValue());
        assertNull(found.attribute(Ck.CKA_EC_POINT).value(), "there is no conversion for elliptic-curve attributes");

        byte[] signature = session.J_Sign(h, true, MECHANISM, pair[1], digest(), 0, 32);
        assertEquals(SIZE, signature.length);
        session.J_Verify(h, true, MECHANISM, pair[0], digest(), 0, 32, signature, 0, SIZE);
        signature[SIZE - 1] ^= 1;
        assertRefused("J_Verify", Ck.CKR_SIGNATURE_INVALID, "SIGNATURE INVALID",
                () -> session.J_Verify(h, true, MECHANISM, pair[0], digest(), 0, 32, signature, 0, SIZE));
    }

    @Test
    void theTokenSignsAndTheJdkVerifies() throws GeneralSecurityException {
        KeyPair keys = jdkKeys();
        long key = session.J_CreateObject(new Attribute[] {
            new Attribute(Ck.CKA_CLASS, Ck.CKO_PRIVATE_KEY),
            new Attribute(Ck.CKA_KEY_TYPE, Ck.CKK_EC),
            new Attribute(Ck.CKA_EC_PARAMS, P256),
            new Attribute(Ck.CKA_VALUE, number(((ECPrivateKey) keys.getPrivate()).getS())),
            new Attribute(Ck.CKA_SIGN, true),
        });
        byte[] room = new byte[SIZE + 3];
        assertEquals(SIZE, session.J_Sign(h, true, MECHANISM, key, digest(), 0, 32, room, 3));

        Signature judge = Signature.getInstance(JDK_ALGORITHM);
        judge.initVerify(keys.getPublic());
        judge.update(digest());
        assertTrue(judge.verify(Arrays.copyOfRange(room, 3, room.length)));
        assertArrayEquals(new byte[3], Arrays.copyOf(room, 3));
    }

    @Test
    void theJdkSignsAndTheTokenVerifies() throws GeneralSecurityException {
        KeyPair keys = jdkKeys();
        ECPublicKey publicKey = (ECPublicKey) keys.getPublic();
        // An octet string that holds the uncompressed point.
        byte[] point = ByteBuffer.allocate(67).put(new byte[] {0x04, 65, 0x04})
                .put(number(publicKey.getW().getAffineX())).put(number(publicKey.getW().getAffineY())).array();
        long key = session.J_CreateObject(new Attribute[] {
            new Attribute(Ck.CKA_CLASS, Ck.CKO_PUBLIC_KEY),
            new Attribute(Ck.CKA_KEY_TYPE, Ck.CKK_EC),
            new Attribute(Ck.CKA_EC_PARAMS, P256),
            new Attribute(Ck.CKA_EC_POINT, point),
            new Attribute(Ck.CKA_VERIFY, true),
        });
        Signature signer = Signature.getInstance(JDK_ALGORITHM);
        signer.initSign(keys.getPrivate());
        signer.update(digest());
        byte[] signature = signer.sign();
        session.J_Verify(h, true, MECHANISM, key, digest(), 0, 32, signature, 0, SIZE);
        session.J_DestroyObject(key);
        assertRefused("J_DestroyObject", 0x82, "OBJECT HANDLE INVALID", () -> session.J_DestroyObject(key));
    }
}
