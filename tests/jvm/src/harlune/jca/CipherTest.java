package harlune.jca;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.Security;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.util.Arrays;
import java.util.List;

import javax.crypto.AEADBadTagException;
import javax.crypto.BadPaddingException;
import javax.crypto.Cipher;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.KeyGenerator;
import javax.crypto.SecretKey;
import javax.crypto.ShortBufferException;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.Test;

import velnor.CKA;

/** Ciphers of the token, each held against the JDK's with the same key. */
class CipherTest extends JcaToken {
    private static final SecretKey AES = new SecretKeySpec(bytes(32), "AES");
    private static final IvParameterSpec IV = new IvParameterSpec(bytes(16));

    private Cipher cipher(String transformation, int mode, java.security.Key key, AlgorithmParameterSpec parameters)
            throws Exception {
        Cipher cipher = Cipher.getInstance(transformation, provider);
        cipher.init(mode, key, parameters);
        return cipher;
    }

    private static Cipher jdk(String transformation, int mode, java.security.Key key, AlgorithmParameterSpec parameters)
            throws Exception {
        Cipher cipher = Cipher.getInstance(transformation, "SunJCE");
        cipher.init(mode, key, parameters);
        return cipher;
    }

    private static byte[] inParts(Cipher cipher, byte[] data) throws Exception {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        int at = 0;
        for (int part = 1; at + part < data.length; part = part * 2 + 1) {
            byte[] given = cipher.update(data, at, part);
            if (given != null) {
                out.write(given);
            }
            at += part;
        }
        out.write(cipher.doFinal(data, at, data.length - at));
        return out.toByteArray();
    }

    @Test
    void aesInEveryMode() throws Exception {
        for (String transformation : List.of("AES/ECB/NoPadding", "AES/CBC/NoPadding", "AES/CBC/PKCS5Padding",
                "AES/CTR/NoPadding")) {
            assertTrue(offers("Cipher", transformation), transformation);
            AlgorithmParameterSpec parameters = transformation.contains("ECB") ? null : IV;
            boolean anyLength = !transformation.matches("AES/(ECB|CBC)/NoPadding");
            Cipher encrypting = cipher(transformation, Cipher.ENCRYPT_MODE, AES, parameters);
            Cipher decrypting = cipher(transformation, Cipher.DECRYPT_MODE, AES, parameters);
            for (int length : anyLength ? new int[] {1, 15, 16, 17, 1000, 100_000} : new int[] {16, 1008, 99_984}) {
                byte[] data = bytes(length);
                byte[] expected = jdk(transformation, Cipher.ENCRYPT_MODE, AES, parameters).doFinal(data);
                assertArrayEquals(expected, encrypting.doFinal(data), transformation + " of " + length);
                assertArrayEquals(expected, inParts(encrypting, data), transformation + " of " + length + " in parts");
                assertArrayEquals(data, decrypting.doFinal(expected), transformation + " back");
                assertArrayEquals(data, inParts(decrypting, expected), transformation + " back in parts");
            }
        }
    }

    @Test
    void vectorsAreMadeWhereNoneIsGiven() throws Exception {
        Cipher first = Cipher.getInstance("AES/CBC/PKCS5Padding", provider);
        first.init(Cipher.ENCRYPT_MODE, AES);
        byte[] encrypted = first.doFinal(bytes(20));
        assertArrayEquals(bytes(20), jdk("AES/CBC/PKCS5Padding", Cipher.DECRYPT_MODE, AES,
                first.getParameters().getParameterSpec(IvParameterSpec.class)).doFinal(encrypted));
        byte[] iv = first.getIV();
        first.init(Cipher.ENCRYPT_MODE, AES);
        assertNotEquals(Arrays.toString(iv), Arrays.toString(first.getIV()));
        assertThrows(InvalidKeyException.class, () -> first.init(Cipher.DECRYPT_MODE, AES));
        assertThrows(InvalidAlgorithmParameterException.class,
                () -> first.init(Cipher.ENCRYPT_MODE, AES, new IvParameterSpec(bytes(8))));
    }

    @Test
    void whatWasTamperedWithIsRefused() throws Exception {
        byte[] encrypted = jdk("AES/CBC/PKCS5Padding", Cipher.ENCRYPT_MODE, AES, IV).doFinal(bytes(20));
        encrypted[15] ^= 1;
        encrypted[encrypted.length - 1] ^= 1;
        Cipher padded = cipher("AES/CBC/PKCS5Padding", Cipher.DECRYPT_MODE, AES, IV);
        assertThrows(BadPaddingException.class, () -> padded.doFinal(encrypted));
        assertThrows(IllegalBlockSizeException.class, () -> padded.doFinal(bytes(17)));
        Cipher bare = cipher("AES/CBC/NoPadding", Cipher.ENCRYPT_MODE, AES, IV);
        assertThrows(IllegalBlockSizeException.class, () -> bare.doFinal(bytes(17)));
        assertArrayEquals(jdk("AES/CBC/NoPadding", Cipher.ENCRYPT_MODE, AES, IV).doFinal(bytes(16)),
                bare.doFinal(bytes(16)), "it goes on as new");
    }

    @Test
    void resultsWithoutRoomAreGivenWhenThereIsRoom() throws Exception {
        Cipher cipher = cipher("AES/CBC/PKCS5Padding", Cipher.ENCRYPT_MODE, AES, IV);
        byte[] expected = jdk("AES/CBC/PKCS5Padding", Cipher.ENCRYPT_MODE, AES, IV).doFinal(bytes(20));
        byte[] out = new byte[40];
        assertThrows(ShortBufferException.class, () -> cipher.doFinal(bytes(20), 0, 20, new byte[31], 0));
        assertEquals(32, cipher.doFinal(bytes(20), 0, 20, out, 4));
        assertArrayEquals(expected, Arrays.copyOfRange(out, 4, 36));
        assertThrows(ShortBufferException.class, () -> cipher.update(bytes(20), 0, 20, new byte[15], 0));
        assertEquals(16, cipher.update(bytes(20), 0, 20, out, 0));
        assertArrayEquals(Arrays.copyOf(expected, 16), Arrays.copyOf(out, 16));
        assertArrayEquals(Arrays.copyOfRange(expected, 16, 32), cipher.doFinal());
    }

    @Test
    void gcmKeepsTheRulesOfAuthenticatedEncryption() throws Exception {
        GCMParameterSpec vector = new GCMParameterSpec(128, bytes(12));
        for (int length : new int[] {1, 16, 100_000}) {
            GCMParameterSpec own = new GCMParameterSpec(128, Arrays.copyOf(new byte[] {(byte) length}, 12));
            Cipher expected = jdk("AES/GCM/NoPadding", Cipher.ENCRYPT_MODE, AES, own);
            Cipher cipher = cipher("AES/GCM/NoPadding", Cipher.ENCRYPT_MODE, AES, own);
            expected.updateAAD(bytes(30));
            cipher.updateAAD(bytes(20));
            cipher.updateAAD(Arrays.copyOfRange(bytes(30), 20, 30));
            byte[] encrypted = expected.doFinal(bytes(length));
            assertArrayEquals(encrypted, inParts(cipher, bytes(length)));
            Cipher back = cipher("AES/GCM/NoPadding", Cipher.DECRYPT_MODE, AES, own);
            back.updateAAD(bytes(30));
            assertNull(back.update(encrypted, 0, 1), "nothing before the tag");
            assertArrayEquals(bytes(length), back.doFinal(encrypted, 1, encrypted.length - 1));
            for (int at : new int[] {0, encrypted.length - 1}) {
                byte[] forged = encrypted.clone();
                forged[at] ^= 1;
                back.updateAAD(bytes(30));
                assertThrows(AEADBadTagException.class, () -> back.doFinal(forged));
            }
            assertThrows(AEADBadTagException.class, () -> back.doFinal(encrypted), "without the associated data");
        }
        SecretKey key = generated("AES", 128);
        Cipher cipher = cipher("AES/GCM/NoPadding", Cipher.ENCRYPT_MODE, key, vector);
        cipher.doFinal(bytes(5));
        assertThrows(IllegalStateException.class, () -> cipher.update(bytes(1)));
        assertThrows(IllegalStateException.class, () -> cipher.doFinal(bytes(1)));
        assertThrows(InvalidAlgorithmParameterException.class, () -> cipher.init(Cipher.ENCRYPT_MODE, key, vector));
        cipher.init(Cipher.ENCRYPT_MODE, key);
        assertEquals(12, cipher.getIV().length);
        assertEquals(21, cipher.getOutputSize(5));
        byte[] encrypted = cipher.doFinal(bytes(5));
        Cipher back = cipher("AES/GCM/NoPadding", Cipher.DECRYPT_MODE, key,
                cipher.getParameters().getParameterSpec(GCMParameterSpec.class));
        assertArrayEquals(bytes(5), back.doFinal(encrypted));
    }

    private SecretKey generated(String algorithm, int bits) throws Exception {
        KeyGenerator generator = KeyGenerator.getInstance(algorithm, provider);
        generator.init(bits);
        SecretKey key = generator.generateKey();
        assertEquals(algorithm, key.getAlgorithm());
        assertNull(key.getEncoded());
        return key;
    }

    @Test
    void rsaBothWays() throws Exception {
        OAEPParameterSpec sha1 = new OAEPParameterSpec("SHA-1", "MGF1", MGF1ParameterSpec.SHA1,
                PSource.PSpecified.DEFAULT);
        KeyPair pair = KeyPairGenerator.getInstance("RSA", provider).generateKeyPair();
        for (String transformation : List.of("RSA/ECB/PKCS1Padding", "RSA/ECB/OAEPPadding",
                "RSA/ECB/OAEPWithSHA-1AndMGF1Padding")) {
            AlgorithmParameterSpec parameters = transformation.equals("RSA/ECB/OAEPPadding") ? sha1 : null;
            byte[] ofJdk = jdk(transformation, Cipher.ENCRYPT_MODE, pair.getPublic(), parameters).doFinal(bytes(100));
            Cipher decrypting = cipher(transformation, Cipher.DECRYPT_MODE, pair.getPrivate(), parameters);
            assertArrayEquals(bytes(100), decrypting.doFinal(ofJdk), transformation);
            assertArrayEquals(bytes(100), inParts(decrypting, ofJdk), transformation);
            Cipher encrypting = cipher(transformation, Cipher.ENCRYPT_MODE, RSA.getPublic(), parameters);
            assertArrayEquals(bytes(90), jdk(transformation, Cipher.DECRYPT_MODE, RSA.getPrivate(), parameters)
                    .doFinal(encrypting.doFinal(bytes(90))), transformation);
            assertThrows(IllegalBlockSizeException.class, () -> encrypting.doFinal(bytes(300)), transformation);
            ofJdk[5] ^= 1;
            if (!transformation.contains("PKCS1")) {
                assertThrows(BadPaddingException.class, () -> decrypting.doFinal(ofJdk), transformation);
            }
        }
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding", provider);
        assertThrows(InvalidKeyException.class, () -> cipher.init(Cipher.ENCRYPT_MODE, pair.getPrivate()));
        assertThrows(InvalidKeyException.class, () -> cipher.init(Cipher.DECRYPT_MODE, AES));
    }

    @Test
    void keysAreWrappedAndUnwrapped() throws Exception {
        KeyPair pair = KeyPairGenerator.getInstance("RSA", provider).generateKeyPair();
        byte[] wrapped = jdk("RSA/ECB/PKCS1Padding", Cipher.WRAP_MODE, pair.getPublic(), null).wrap(AES);
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding", provider);
        cipher.init(Cipher.UNWRAP_MODE, pair.getPrivate());
        SecretKey inside = (SecretKey) cipher.unwrap(wrapped, "AES", Cipher.SECRET_KEY);
        assertNull(inside.getEncoded());
        byte[] expected = jdk("AES/CBC/PKCS5Padding", Cipher.ENCRYPT_MODE, AES, IV).doFinal(bytes(30));
        assertArrayEquals(expected, cipher("AES/CBC/PKCS5Padding", Cipher.ENCRYPT_MODE, inside, IV).doFinal(bytes(30)));
        cipher.init(Cipher.WRAP_MODE, RSA.getPublic());
        byte[] byToken = cipher.wrap(AES);
        Cipher unwrapping = jdk("RSA/ECB/PKCS1Padding", Cipher.UNWRAP_MODE, RSA.getPrivate(), null);
        assertEquals(AES, unwrapping.unwrap(byToken, "AES", Cipher.SECRET_KEY));
        assertFalse(provider.objectOf(inside).attribute(CKA.EXTRACTABLE).booleanValue());
        assertTrue(provider.objectOf(inside).attribute(CKA.SENSITIVE).booleanValue());
    }

    @Test
    void theTokensKeysFindTheirCipherByThemselves() throws Exception {
        SecretKey key = generated("AES", 256);
        Security.addProvider(provider);
        try {
            Cipher cipher = Cipher.getInstance("AES/CBC/PKCS5Padding");
            cipher.init(Cipher.ENCRYPT_MODE, key, IV);
            assertSame(provider, cipher.getProvider());
            Cipher other = Cipher.getInstance("AES/CBC/PKCS5Padding");
            other.init(Cipher.ENCRYPT_MODE, AES, IV);
            assertNotEquals(provider, other.getProvider());
        } finally {
            Security.removeProvider(provider.getName());
        }
    }
}
