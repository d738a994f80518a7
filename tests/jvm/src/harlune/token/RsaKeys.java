package harlune.token;

import static harlune.support.Ck.*;

import java.math.BigInteger;
import java.security.GeneralSecurityException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.interfaces.RSAPrivateCrtKey;
import java.security.interfaces.RSAPublicKey;

import velnor.Attribute;
import velnor.nat.NativeSession;

/** An RSA key pair of the JDK that a token can be given, so that one side checks what the other one does. */
public final class RsaKeys {
    public final RSAPublicKey publicKey;
    public final RSAPrivateCrtKey privateKey;

    public RsaKeys() throws GeneralSecurityException {
        KeyPairGenerator generator = KeyPairGenerator.getInstance("RSA");
        generator.initialize(2048);
        KeyPair pair = generator.generateKeyPair();
        publicKey = (RSAPublicKey) pair.getPublic();
        privateKey = (RSAPrivateCrtKey) pair.getPrivate();
    }

    public long createPublicKey(NativeSession session) {
        return session.J_CreateObject(publicTemplate());
    }

    public long createPrivateKey(NativeSession session) {
        return session.J_CreateObject(privateTemplate());
    }

    public Attribute[] publicTemplate() {
        return new Attribute[] {
            new Attribute(CKA_CLASS, CKO_PUBLIC_KEY),
            new Attribute(CKA_KEY_TYPE, CKK_RSA),
            new Attribute(CKA_TOKEN, false),
            new Attribute(CKA_PRIVATE, false),
            new Attribute(CKA_ENCRYPT, true),
            new Attribute(CKA_VERIFY, true),
            new Attribute(CKA_VERIFY_RECOVER, true),
            new Attribute(CKA_WRAP, true),
            new Attribute(CKA_MODULUS, magnitude(publicKey.getModulus())),
            new Attribute(CKA_PUBLIC_EXPONENT, magnitude(publicKey.getPublicExponent())),
        };
    }

    public Attribute[] privateTemplate() {
        return new Attribute[] {
            new Attribute(CKA_CLASS, CKO_PRIVATE_KEY),
            new Attribute(CKA_KEY_TYPE, CKK_RSA),
            new Attribute(CKA_TOKEN, false),
            new Attribute(CKA_PRIVATE, true),
            new Attribute(CKA_SENSITIVE, true),
            new Attribute(CKA_EXTRACTABLE, false),
            new Attribute(CKA_ID, new byte[] {1}),
            new Attribute(CKA_DECRYPT, true),
            new Attribute(CKA_SIGN, true),
            new Attribute(CKA_SIGN_RECOVER, true),
            new Attribute(CKA_UNWRAP, true),
            new Attribute(CKA_MODULUS, magnitude(privateKey.getModulus())),
            new Attribute(CKA_PUBLIC_EXPONENT, magnitude(privateKey.getPublicExponent())),
            new Attribute(CKA_PRIVATE_EXPONENT, magnitude(privateKey.getPrivateExponent())),
            new Attribute(CKA_PRIME_1, magnitude(privateKey.getPrimeP())),
            new Attribute(CKA_PRIME_2, magnitude(privateKey.getPrimeQ())),
            new Attribute(CKA_EXPONENT_1, magnitude(privateKey.getPrimeExponentP())),
            new Attribute(CKA_EXPONENT_2, magnitude(privateKey.getPrimeExponentQ())),
            new Attribute(CKA_COEFFICIENT, magnitude(privateKey.getCrtCoefficient())),
        };
    }

    private static byte[] magnitude(BigInteger number) {
        byte[] bytes = number.toByteArray();
        return bytes[0] != 0 ? bytes : Bytes.from(bytes, 1);
    }
}
