package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.security.GeneralSecurityException;

import javax.crypto.Cipher;
import javax.crypto.spec.SecretKeySpec;

import velnor.Attribute;
import velnor.Mechanism;
import velnor.nat.NativeCryptoki;
import velnor.params.KEYDERIVATIONSTRINGDATA;

/** Keys: made, wrapped, unwrapped and derived. */
final class KeysTrials extends NativeTrials {
    private static final byte[] DATA = bytes(32);
    private static final byte[] WRAPPING_KEY = bytes(32);
    private static final byte[] KEY = bytes(24);
    private static final Mechanism RSA_PKCS = new Mechanism(CKM_RSA_PKCS);

    /** A wrapping mechanism with a secret key, and the JDK's name for it. */
    private record Wrapping(String name, int type, String transformation) {
        byte[] wrapped(byte[] key) throws GeneralSecurityException {
            Cipher cipher = Cipher.getInstance(transformation);
            boolean wraps = transformation.equals("AESWrap");
            cipher.init(wraps ? Cipher.WRAP_MODE : Cipher.ENCRYPT_MODE, new SecretKeySpec(WRAPPING_KEY, "AES"));
            return wraps ? cipher.wrap(new SecretKeySpec(key, "AES")) : cipher.doFinal(key);
        }
    }

    KeysTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        if (can(CKM_AES_KEY_GEN, CKF_GENERATE)) {
            trial("made", "AES_KEY_GEN", this::aesKeyMade);
        }
        if (can(CKM_RSA_PKCS_KEY_PAIR_GEN, CKF_GENERATE_KEY_PAIR)) {
            trial("made", "RSA_PKCS_KEY_PAIR_GEN", () -> rsaPairMade(true));
            trial("made", "RSA_PKCS_KEY_PAIR_GEN, session objects", () -> rsaPairMade(false));
        }
        if (can(CKM_EC_KEY_PAIR_GEN, CKF_GENERATE_KEY_PAIR)) {
            trial("made", "EC_KEY_PAIR_GEN", this::ecPairMade);
        }
        for (Wrapping wrapping : new Wrapping[] {
            new Wrapping("AES_KEY_WRAP", CKM_AES_KEY_WRAP, "AESWrap"),
            new Wrapping("AES_ECB", CKM_AES_ECB, "AES/ECB/NoPadding"),
        }) {
            if (can(wrapping.type, CKF_WRAP)) {
                trial("wrapped", wrapping.name, () -> wrapped(wrapping));
            }
            if (can(wrapping.type, CKF_UNWRAP)) {
                trial("unwrapped", wrapping.name, () -> unwrapped(wrapping));
            }
        }
        if (can(CKM_RSA_PKCS, CKF_WRAP)) {
            trial("wrapped", "RSA_PKCS", this::wrappedByRsa);
        }
        if (can(CKM_RSA_PKCS, CKF_UNWRAP)) {
            trial("unwrapped", "RSA_PKCS", this::unwrappedByRsa);
        }
        // Tried on every token: the softoken's database derives so without listing it among its mechanisms.
        trial("derived", "CONCATENATE_BASE_AND_DATA",
                () -> derived(CKM_CONCATENATE_BASE_AND_DATA, joined(KEY, DATA)));
        trial("derived", "XOR_BASE_AND_DATA", () -> derived(CKM_XOR_BASE_AND_DATA, exclusiveOr(KEY, DATA)));
        if (can(CKM_ECDH1_DERIVE, CKF_DERIVE)) {
            trial("derived without the parameter, which does not reach the token", "ECDH1_DERIVE", this::ecdh);
        }
    }

    private static Attribute[] derivedKey() {
        return new Attribute[] {
            attribute(CKA_CLASS, CKO_SECRET_KEY),
            attribute(CKA_KEY_TYPE, CKK_GENERIC_SECRET),
            attribute(CKA_TOKEN, false),
            attribute(CKA_SENSITIVE, false),
            attribute(CKA_EXTRACTABLE, true),
        };
    }

    private byte[] valueOf(long key) {
        return session.J_GetAttributeValue(key, CKA_VALUE).bytesValue();
    }

    private void aesKeyMade() throws GeneralSecurityException {
        long key = call("J_GenerateKey", () -> session.J_GenerateKey(mechanism(CKM_AES_KEY_GEN), new Attribute[] {
            attribute(CKA_TOKEN, false),
            attribute(CKA_SENSITIVE, false),
            attribute(CKA_EXTRACTABLE, true),
            attribute(CKA_ENCRYPT, true),
            attribute(CKA_DECRYPT, true),
            attribute(CKA_VALUE_LEN, 32),
        }));
        assertEquals(32, valueOf(key).length);
        assertIs(valueOf(key), key);
    }

    private void rsaPairMade(boolean onToken) throws GeneralSecurityException {
        long[] keys = call("J_GenerateKeyPair", () -> session.J_GenerateKeyPair(
                mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN),
                new Attribute[] {
                    attribute(CKA_TOKEN, onToken),
                    attribute(CKA_VERIFY, true),
                    attribute(CKA_MODULUS_BITS, 2048),
                    attribute(CKA_PUBLIC_EXPONENT, new byte[] {1, 0, 1}),
                },
                new Attribute[] {
                    attribute(CKA_TOKEN, onToken),
                    attribute(CKA_PRIVATE, true),
                    attribute(CKA_SIGN, true),
                }));
        RsaPair pair = RsaPair.withPublicKey(session, keys[0], keys[1]);
        assertEquals(2048, pair.jdkPublicKey().getModulus().bitLength());
        byte[] signature = session.J_Sign(h, true, RSA_PKCS, pair.privateKey(), DATA, 0, DATA.length);
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.DECRYPT_MODE, pair.jdkPublicKey());
        assertArrayEquals(DATA, cipher.doFinal(signature));
    }

    private void ecPairMade() {
        long[] keys = call("J_GenerateKeyPair", () -> EcPair.generated(session));
        byte[] signature = session.J_Sign(h, true, mechanism(CKM_ECDSA), keys[1], DATA, 0, DATA.length);
        session.J_Verify(h, true, mechanism(CKM_ECDSA), keys[0], DATA, 0, DATA.length, signature, 0, signature.length);
    }

    private void wrapped(Wrapping wrapping) throws GeneralSecurityException {
        byte[] value = first(bytes(33), 32);
        long wrappingKey = secretKey(CKK_AES, WRAPPING_KEY);
        long key = secretKey(CKK_AES, value);
        assertArrayEquals(wrapping.wrapped(value), call("J_WrapKey",
                () -> session.J_WrapKey(mechanism(wrapping.type), wrappingKey, key)));
    }

    /** An AES key that may encrypt: whether its value can be read is up to the token. */
    private static Attribute[] unwrappedKey() {
        return new Attribute[] {
            attribute(CKA_CLASS, CKO_SECRET_KEY),
            attribute(CKA_KEY_TYPE, CKK_AES),
            attribute(CKA_TOKEN, false),
            attribute(CKA_ENCRYPT, true),
        };
    }

    private void assertIs(byte[] value, long key) throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("AES/ECB/NoPadding");
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(value, "AES"));
        assertArrayEquals(cipher.doFinal(DATA),
                session.J_Encrypt(h, true, mechanism(CKM_AES_ECB), key, DATA, 0, DATA.length));
    }

    private void unwrapped(Wrapping wrapping) throws GeneralSecurityException {
        byte[] value = first(bytes(33), 32);
        byte[] wrapped = wrapping.wrapped(value);
        long wrappingKey = secretKey(CKK_AES, WRAPPING_KEY);
        assertIs(value, call("J_UnwrapKey", () -> session.J_UnwrapKey(mechanism(wrapping.type), wrappingKey,
                around(5, wrapped, 7), 5, wrapped.length, unwrappedKey())));
    }

    private void wrappedByRsa() throws GeneralSecurityException {
        RsaPair pair = RsaPair.in(session);
        long key = secretKey(CKK_GENERIC_SECRET, KEY);
        byte[] wrapped = call("J_WrapKey", () -> session.J_WrapKey(RSA_PKCS, pair.publicKey(), key));
        assertEquals(256, wrapped.length);
        if (pair.jdkPrivateKey() != null) {
            Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
            cipher.init(Cipher.DECRYPT_MODE, pair.jdkPrivateKey());
            assertArrayEquals(KEY, cipher.doFinal(wrapped));
        } else {
            assertArrayEquals(KEY, session.J_Decrypt(h, true, RSA_PKCS, pair.privateKey(), wrapped, 0, 256));
        }
    }

    private void unwrappedByRsa() throws GeneralSecurityException {
        RsaPair pair = RsaPair.in(session);
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.ENCRYPT_MODE, pair.jdkPublicKey());
        byte[] wrapped = cipher.doFinal(KEY);
        assertIs(KEY, call("J_UnwrapKey",
                () -> session.J_UnwrapKey(RSA_PKCS, pair.privateKey(), wrapped, 0, wrapped.length, unwrappedKey())));
    }

    /** As long as the shorter one. */
    private static byte[] exclusiveOr(byte[] one, byte[] other) {
        byte[] result = new byte[Math.min(one.length, other.length)];
        for (int i = 0; i < result.length; i++) {
            result[i] = (byte) (one[i] ^ other[i]);
        }
        return result;
    }

    private void derived(int type, byte[] expected) {
        long base = secretKey(CKK_GENERIC_SECRET, KEY);
        Attribute[] template = derivedKey();
        assertEquals(template.length, call("J_DeriveKey", () -> session.J_DeriveKey(
                new Mechanism(type, new KEYDERIVATIONSTRINGDATA(DATA)), base, template)));
        assertArrayEquals(expected, valueOf(session.takeDerivedObject().handle()));
    }

    private void ecdh() throws GeneralSecurityException {
        EcPair pair = EcPair.in(session);
        call("J_DeriveKey", () -> session.J_DeriveKey(mechanism(CKM_ECDH1_DERIVE), pair.privateKey(),
                derivedKey()));
    }
}
