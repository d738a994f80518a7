package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.GeneralSecurityException;

import javax.crypto.Cipher;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.Mechanism;

/** Keys leave the token under other keys and come back; the JDK does the same to compare. */
class KeyWrappingTest extends KeyedSession {
    private static final Mechanism AES_KEY_WRAP = new Mechanism(CKM_AES_KEY_WRAP);
    private static final Mechanism AES_KEY_WRAP_PAD = new Mechanism(CKM_AES_KEY_WRAP_PAD);
    private static final Mechanism RSA_PKCS = new Mechanism(CKM_RSA_PKCS);
    private static final byte[] WRAPPING_KEY = bytes(32);
    private static final byte[] KEY = bytes(24);

    private static Attribute[] newKey(int keyType) {
        return new Attribute[] {
            new Attribute(CKA_CLASS, CKO_SECRET_KEY),
            new Attribute(CKA_KEY_TYPE, keyType),
            new Attribute(CKA_TOKEN, false),
            new Attribute(CKA_SENSITIVE, false),
            new Attribute(CKA_EXTRACTABLE, true),
        };
    }

    private static byte[] wrappedByJdk() throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("AESWrap");
        cipher.init(Cipher.WRAP_MODE, new SecretKeySpec(WRAPPING_KEY, "AES"));
        return cipher.wrap(new SecretKeySpec(KEY, "AES"));
    }

    @Test
    void aWrappedKeyIsWhatTheJdkMakesOfIt() throws GeneralSecurityException {
        byte[] wrapped = session.J_WrapKey(AES_KEY_WRAP, secretKey(CKK_AES, WRAPPING_KEY),
                secretKey(CKK_GENERIC_SECRET, KEY));
        assertArrayEquals(wrappedByJdk(), wrapped);
    }

    @Test
    void aRegionIsUnwrapped() throws GeneralSecurityException {
        byte[] wrapped = wrappedByJdk();
        long key = session.J_UnwrapKey(AES_KEY_WRAP, secretKey(CKK_AES, WRAPPING_KEY), around(5, wrapped, 7), 5,
                wrapped.length, newKey(CKK_AES));
        assertArrayEquals(KEY, valueOf(key));
        assertEquals(CKK_AES, session.J_GetAttributeValue(key, CKA_KEY_TYPE).intValue());
    }

    @Test
    void anRsaKeyWrapsForTheJdkAndUnwrapsWhatTheJdkWrapped() throws GeneralSecurityException {
        RsaKeys keys = new RsaKeys();
        byte[] wrapped = session.J_WrapKey(RSA_PKCS, keys.createPublicKey(session), secretKey(CKK_GENERIC_SECRET, KEY));
        assertEquals(256, wrapped.length);
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(Cipher.DECRYPT_MODE, keys.privateKey);
        assertArrayEquals(KEY, cipher.doFinal(wrapped));

        cipher.init(Cipher.ENCRYPT_MODE, keys.publicKey);
        byte[] byJdk = cipher.doFinal(KEY);
        long key = session.J_UnwrapKey(RSA_PKCS, keys.createPrivateKey(session), byJdk, 0, byJdk.length,
                newKey(CKK_GENERIC_SECRET));
        assertArrayEquals(KEY, valueOf(key));
    }

    @Test
    void aPrivateKeyNeedsMoreThanTheFirstGuessAtItsSize() throws GeneralSecurityException {
        long[] pair = session.J_GenerateKeyPair(new Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN),
                new Attribute[] {
                    new Attribute(CKA_TOKEN, false),
                    new Attribute(CKA_MODULUS_BITS, 2048),
                    new Attribute(CKA_PUBLIC_EXPONENT, new byte[] {1, 0, 1}),
                },
                new Attribute[] {
                    new Attribute(CKA_TOKEN, false),
                    new Attribute(CKA_EXTRACTABLE, true),
                    new Attribute(CKA_SENSITIVE, false),
                });
        byte[] wrapped = session.J_WrapKey(AES_KEY_WRAP_PAD, secretKey(CKK_AES, WRAPPING_KEY), pair[1]);
        long key = session.J_UnwrapKey(AES_KEY_WRAP_PAD, secretKey(CKK_AES, WRAPPING_KEY), wrapped, 0, wrapped.length,
                new Attribute[] {
                    new Attribute(CKA_CLASS, CKO_PRIVATE_KEY),
                    new Attribute(CKA_KEY_TYPE, CKK_RSA),
                    new Attribute(CKA_TOKEN, false),
                    new Attribute(CKA_EXTRACTABLE, true),
                    new Attribute(CKA_SENSITIVE, false),
                });
        assertTrue(wrapped.length > 1024, () -> wrapped.length + " bytes");
        assertEquals(session.J_GetAttributeValue(pair[1], CKA_PRIVATE_EXPONENT),
                session.J_GetAttributeValue(key, CKA_PRIVATE_EXPONENT));
    }

    @Test
    void whatTheTokenRefusesBearsTheMethodsName() throws GeneralSecurityException {
        long wrapping = secretKey(CKK_AES, WRAPPING_KEY);
        long unextractable = session.J_GenerateKey(new Mechanism(CKM_AES_KEY_GEN), new Attribute[] {
            new Attribute(CKA_TOKEN, false),
            new Attribute(CKA_EXTRACTABLE, false),
            new Attribute(CKA_VALUE_LEN, 16),
        });
        assertRefused("J_WrapKey", CKR_KEY_UNEXTRACTABLE, "KEY UNEXTRACTABLE",
                () -> session.J_WrapKey(AES_KEY_WRAP, wrapping, unextractable));
        assertRefused("J_WrapKey", CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> session.J_WrapKey(new Mechanism(CKM_SHA_1), wrapping, wrapping));
        assertRefused("J_WrapKey", CKR_WRAPPING_KEY_HANDLE_INVALID, "WRAPPING KEY HANDLE INVALID",
                () -> session.J_WrapKey(AES_KEY_WRAP, 0x7FFF, wrapping));
        assertRefused("J_UnwrapKey", CKR_UNWRAPPING_KEY_HANDLE_INVALID, "UNWRAPPING KEY HANDLE INVALID",
                () -> session.J_UnwrapKey(AES_KEY_WRAP, 0x7FFF, wrappedByJdk(), 0, 32, newKey(CKK_AES)));
        byte[] forged = wrappedByJdk();
        forged[3] ^= 1;
        assertRefused("J_UnwrapKey", CKR_GENERAL_ERROR, "GENERAL ERROR",
                () -> session.J_UnwrapKey(AES_KEY_WRAP, wrapping, forged, 0, forged.length, newKey(CKK_AES)));
        assertText("J_UnwrapKey", "pWrappedKey is NULL",
                () -> session.J_UnwrapKey(AES_KEY_WRAP, wrapping, null, 0, 32, newKey(CKK_AES)));
    }

    @Test
    void derivationRefusalsBearTheMethodsName() throws GeneralSecurityException {
        long secret = secretKey(CKK_GENERIC_SECRET, KEY);
        assertRefused("J_DeriveKey", CKR_KEY_TYPE_INCONSISTENT, "NO ERROR DESC FOUND",
                () -> session.J_DeriveKey(new Mechanism(CKM_ECDH1_DERIVE), secret, newKey(CKK_GENERIC_SECRET)));
        assertRefused("J_DeriveKey", CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> session.J_DeriveKey(new Mechanism(CKM_SHA_1), secret, newKey(CKK_GENERIC_SECRET)));
        assertNull(session.takeDerivedObject());
    }

    @Test
    void whatSoftHsmDerivesFromNeedsAParameterThatDoesNotReachIt() {
        byte[] prime256v1 = {6, 8, 42, (byte) 0x86, 72, (byte) 0xCE, 61, 3, 1, 7};
        long[] pair = session.J_GenerateKeyPair(new Mechanism(CKM_EC_KEY_PAIR_GEN),
                new Attribute[] {new Attribute(CKA_TOKEN, false), new Attribute(CKA_EC_PARAMS, prime256v1)},
                new Attribute[] {new Attribute(CKA_TOKEN, false), new Attribute(CKA_DERIVE, true)});
        assertRefused("J_DeriveKey", CKR_MECHANISM_PARAM_INVALID, "MECHANISM PARAM INVALID",
                () -> session.J_DeriveKey(new Mechanism(CKM_ECDH1_DERIVE, bytes(65)), pair[1],
                        newKey(CKK_GENERIC_SECRET)));
    }
}
