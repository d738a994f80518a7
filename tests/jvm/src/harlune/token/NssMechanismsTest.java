package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static harlune.token.Bytes.from;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.security.GeneralSecurityException;

import javax.crypto.Cipher;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.RC2ParameterSpec;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.Mechanism;
import velnor.params.MACGENERALParams;
import velnor.params.RC2CBCParams;

/** Mechanisms whose parameters the softoken understands and SoftHSM does not, and wrapping, held against the JDK. */
class NssMechanismsTest extends KeyedSession {
    private static final byte[] DATA = bytes(40);
    private static final byte[] KEY = bytes(16);
    private static final byte[] IV = bytes(8);

    @Test
    void rc2InCbcModeTakesEffectiveBitsAndVector() throws GeneralSecurityException {
        Mechanism mechanism = new Mechanism(CKM_RC2_CBC, new RC2CBCParams(128, IV));
        long key = secretKey(CKK_RC2, KEY);
        Cipher cipher = Cipher.getInstance("RC2/CBC/NoPadding");
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(KEY, "RC2"), new RC2ParameterSpec(128, IV));
        byte[] encrypted = session.J_Encrypt(h, true, mechanism, key, DATA, 0, DATA.length);
        assertArrayEquals(cipher.doFinal(DATA), encrypted);
        assertArrayEquals(DATA, session.J_Decrypt(h, true, mechanism, key, encrypted, 0, encrypted.length));
    }

    /** A DES3 MAC is the beginning of the last block that CBC mode gives. */
    @Test
    void aMacIsAsLongAsTheParameterSays() throws GeneralSecurityException {
        byte[] keyBytes = joined(KEY, bytes(8));
        Cipher cipher = Cipher.getInstance("DESede/CBC/NoPadding");
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(keyBytes, "DESede"), new IvParameterSpec(new byte[8]));
        byte[] expected = first(from(cipher.doFinal(DATA), DATA.length - 8), 5);
        Mechanism mechanism = new Mechanism(CKM_DES3_MAC_GENERAL, new MACGENERALParams(5));
        long key = secretKey(CKK_DES3, keyBytes);

        assertArrayEquals(expected, session.J_Sign(h, true, mechanism, key, around(3, DATA, 0), 3, DATA.length));
        session.J_SignUpdate(h, true, mechanism, key, DATA, 0, 11);
        session.J_SignUpdate(h, false, null, 0, DATA, 11, DATA.length - 11);
        byte[] output = blank(9);
        assertEquals(5, session.J_SignFinal(output, 3));
        assertArrayEquals(around(3, expected, 1), output);
        session.J_Verify(h, true, mechanism, key, DATA, 0, DATA.length, output, 3, 5);
        output[4] ^= 1;
        assertRefused("J_Verify", CKR_SIGNATURE_INVALID, "SIGNATURE INVALID",
                () -> session.J_Verify(h, true, mechanism, key, DATA, 0, DATA.length, output, 3, 5));
    }

    @Test
    void aKeyIsWrappedAndUnwrapped() throws GeneralSecurityException {
        Mechanism mechanism = new Mechanism(CKM_AES_KEY_WRAP);
        byte[] wrappingKey = bytes(32);
        Cipher cipher = Cipher.getInstance("AESWrap");
        cipher.init(Cipher.WRAP_MODE, new SecretKeySpec(wrappingKey, "AES"));
        byte[] expected = cipher.wrap(new SecretKeySpec(KEY, "AES"));

        long wrapping = secretKey(CKK_AES, wrappingKey);
        byte[] wrapped = session.J_WrapKey(mechanism, wrapping, secretKey(CKK_AES, KEY));
        assertArrayEquals(expected, wrapped);
        long key = session.J_UnwrapKey(mechanism, wrapping, around(1, wrapped, 1), 1, wrapped.length, new Attribute[] {
            new Attribute(CKA_CLASS, CKO_SECRET_KEY),
            new Attribute(CKA_KEY_TYPE, CKK_AES),
            new Attribute(CKA_TOKEN, false),
        });
        assertArrayEquals(KEY, valueOf(key));
    }
}
