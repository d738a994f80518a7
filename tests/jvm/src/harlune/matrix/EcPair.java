package harlune.matrix;

import static harlune.support.Ck.*;

import harlune.token.Bytes;

import java.math.BigInteger;
import java.security.GeneralSecurityException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.interfaces.ECPrivateKey;
import java.security.interfaces.ECPublicKey;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.ECPoint;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.nat.NativeSession;

/**
 * A key pair on the curve P-256: the JDK's own where the token takes it, or else one that the token makes. Of the
 * latter the JDK knows nothing, since the library reads no points of curves.
 */
record EcPair(long publicKey, long privateKey, ECPublicKey jdkPublicKey, ECPrivateKey jdkPrivateKey) {
    static final byte[] P256 = {6, 8, 0x2A, (byte) 0x86, 0x48, (byte) 0xCE, 0x3D, 3, 1, 7};
    private static final int SIZE = 32;

    static EcPair in(NativeSession session) throws GeneralSecurityException {
        KeyPairGenerator generator = KeyPairGenerator.getInstance("EC");
        generator.initialize(new ECGenParameterSpec("secp256r1"));
        KeyPair pair = generator.generateKeyPair();
        ECPublicKey publicKey = (ECPublicKey) pair.getPublic();
        ECPrivateKey privateKey = (ECPrivateKey) pair.getPrivate();
        try {
            return new EcPair(created(session, publicKey), created(session, privateKey, publicKey), publicKey,
                    privateKey);
        } catch (CryptokiException e) {
            long[] made = generated(session);
            return new EcPair(made[0], made[1], null, null);
        }
    }

    /** Made as token objects: some tokens make no others. */
    static long[] generated(NativeSession session) {
        return session.J_GenerateKeyPair(new Mechanism(CKM_EC_KEY_PAIR_GEN),
                new Attribute[] {
                    attribute(CKA_TOKEN, true),
                    attribute(CKA_VERIFY, true),
                    attribute(CKA_EC_PARAMS, P256),
                },
                new Attribute[] {
                    attribute(CKA_TOKEN, true),
                    attribute(CKA_PRIVATE, true),
                    attribute(CKA_SIGN, true),
                });
    }

    private static long created(NativeSession session, ECPublicKey key) {
        return session.J_CreateObject(new Attribute[] {
            attribute(CKA_CLASS, CKO_PUBLIC_KEY),
            attribute(CKA_KEY_TYPE, CKK_EC),
            attribute(CKA_TOKEN, false),
            attribute(CKA_VERIFY, true),
            attribute(CKA_EC_PARAMS, P256),
            attribute(CKA_EC_POINT, Bytes.joined(new byte[] {4, 1 + 2 * SIZE}, point(key.getW()))),
        });
    }

    private static long created(NativeSession session, ECPrivateKey key, ECPublicKey publicKey) {
        return session.J_CreateObject(new Attribute[] {
            attribute(CKA_CLASS, CKO_PRIVATE_KEY),
            attribute(CKA_KEY_TYPE, CKK_EC),
            attribute(CKA_TOKEN, false),
            attribute(CKA_PRIVATE, true),
            attribute(CKA_ID, Bytes.first(point(publicKey.getW()), 8)),
            attribute(CKA_SIGN, true),
            attribute(CKA_DERIVE, true),
            attribute(CKA_EC_PARAMS, P256),
            attribute(CKA_VALUE, number(key.getS())),
        });
    }

    /** The uncompressed form. */
    private static byte[] point(ECPoint point) {
        return Bytes.joined(new byte[] {4}, number(point.getAffineX()), number(point.getAffineY()));
    }

    private static byte[] number(BigInteger number) {
        byte[] bytes = Bytes.joined(new byte[SIZE], number.toByteArray());
        return Bytes.from(bytes, bytes.length - SIZE);
    }

    private static Attribute attribute(int type, Object value) {
        return new Attribute(type, value);
    }
}
