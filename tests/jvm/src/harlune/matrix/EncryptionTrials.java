package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.GeneralSecurityException;
import java.util.Arrays;

import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.SecretKeySpec;

import velnor.Mechanism;
import velnor.nat.NativeCryptoki;
import velnor.params.OAEPParams;

/** Encryption and decryption, between the token and the JDK where both have the key. */
final class EncryptionTrials extends NativeTrials {
    private static final byte[] DATA = bytes(48);
    private static final byte[] IV = bytes(8);
    /** Bytes of a ciphertext under the RSA keys here. */
    private static final int RSA_LENGTH = 256;
    private static final byte[] DES3_KEY = {
        1, 2, 4, 7, 8, 11, 13, 14, 16, 19, 21, 22, 25, 26, 28, 31, 32, 35, 37, 38, 41, 42, 44, 47};

    /** A key on the token, ready for one mechanism, and what the JDK can do with it. */
    private interface Keys {
        long encryptionKey();

        long decryptionKey();

        /** What the JDK encrypts, or null when it lacks the key. */
        byte[] encrypted(byte[] data) throws GeneralSecurityException;

        /** What the JDK decrypts, or null when it lacks the key. */
        byte[] decrypted(byte[] data) throws GeneralSecurityException;
    }

    private interface KeyMaker {
        Keys make() throws GeneralSecurityException;
    }

    private record Cipher(String name, Mechanism mechanism, boolean inParts, KeyMaker keys) {
    }

    EncryptionTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        Mechanism oaep = new Mechanism(CKM_RSA_PKCS_OAEP,
                new OAEPParams(CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, null));
        for (Cipher cipher : new Cipher[] {
            new Cipher("AES_ECB", mechanism(CKM_AES_ECB), true, () -> secret("AES/ECB/NoPadding", aesKey())),
            new Cipher("DES3_ECB", mechanism(CKM_DES3_ECB), true, () -> secret("DESede/ECB/NoPadding", des3Key())),
            new Cipher("DES3_CBC", new Mechanism(CKM_DES3_CBC, IV), true,
                    () -> secret("DESede/CBC/NoPadding", des3Key())),
            new Cipher("DES3_CBC_PAD", new Mechanism(CKM_DES3_CBC_PAD, IV), true,
                    () -> secret("DESede/CBC/PKCS5Padding", des3Key())),
            new Cipher("RSA_PKCS", mechanism(CKM_RSA_PKCS), false, () -> rsa("RSA/ECB/PKCS1Padding")),
            new Cipher("RSA_PKCS_OAEP", oaep, false, () -> rsa("RSA/ECB/OAEPWithSHA-1AndMGF1Padding")),
        }) {
            if (can(cipher.mechanism.mechanism(), CKF_ENCRYPT)) {
                trial("encrypted", cipher.name, () -> encrypted(cipher));
                trial("encrypted into the caller's array", cipher.name, () -> encryptedInto(cipher));
            }
            if (can(cipher.mechanism.mechanism(), CKF_ENCRYPT) && cipher.inParts) {
                trial("encrypted in parts", cipher.name, () -> encryptedInParts(cipher));
                trial("encrypted in parts into the caller's array", cipher.name, () -> encryptedInPartsInto(cipher));
            }
            if (can(cipher.mechanism.mechanism(), CKF_DECRYPT)) {
                trial("decrypted", cipher.name, () -> decrypted(cipher));
                trial("started, then decrypted", cipher.name, () -> startedThenDecrypted(cipher));
            }
            if (can(cipher.mechanism.mechanism(), CKF_DECRYPT) && cipher.inParts) {
                trial("decrypted in parts", cipher.name, () -> decryptedInParts(cipher));
                trial("decrypted in parts into the caller's array", cipher.name, () -> decryptedInPartsInto(cipher));
            }
        }
    }

    private Secret des3Key() {
        return new Secret(secretKey(CKK_DES3, DES3_KEY), DES3_KEY);
    }

    private static Keys secret(String transformation, Secret key) {
        return new Keys() {
            @Override
            public long encryptionKey() {
                return key.handle();
            }

            @Override
            public long decryptionKey() {
                return key.handle();
            }

            private byte[] transformed(int mode, byte[] data) throws GeneralSecurityException {
                if (key.value() == null) {
                    return null;
                }
                var cipher = javax.crypto.Cipher.getInstance(transformation);
                var spec = new SecretKeySpec(key.value(), transformation.substring(0, transformation.indexOf('/')));
                cipher.init(mode, spec, transformation.contains("/CBC/") ? new IvParameterSpec(IV) : null);
                return cipher.doFinal(data);
            }

            @Override
            public byte[] encrypted(byte[] data) throws GeneralSecurityException {
                return transformed(javax.crypto.Cipher.ENCRYPT_MODE, data);
            }

            @Override
            public byte[] decrypted(byte[] data) throws GeneralSecurityException {
                return transformed(javax.crypto.Cipher.DECRYPT_MODE, data);
            }
        };
    }

    private Keys rsa(String transformation) throws GeneralSecurityException {
        RsaPair pair = RsaPair.in(session);
        return new Keys() {
            @Override
            public long encryptionKey() {
                return pair.publicKey();
            }

            @Override
            public long decryptionKey() {
                return pair.privateKey();
            }

            @Override
            public byte[] encrypted(byte[] data) throws GeneralSecurityException {
                var cipher = javax.crypto.Cipher.getInstance(transformation);
                cipher.init(javax.crypto.Cipher.ENCRYPT_MODE, pair.jdkPublicKey());
                return cipher.doFinal(data);
            }

            @Override
            public byte[] decrypted(byte[] data) throws GeneralSecurityException {
                if (pair.jdkPrivateKey() == null) {
                    return null;
                }
                var cipher = javax.crypto.Cipher.getInstance(transformation);
                cipher.init(javax.crypto.Cipher.DECRYPT_MODE, pair.jdkPrivateKey());
                return cipher.doFinal(data);
            }
        };
    }

    /** The JDK must get the data back, or, where it lacks the key, the token itself. */
    private void assertDecrypts(Cipher cipher, Keys keys, String method, byte[] output)
            throws GeneralSecurityException {
        byte[] encrypted = output;
        if (!cipher.inParts && output.length > RSA_LENGTH) {
            outcomes.qualify(method, cipher.name, "claims all the room that it was given");
            encrypted = first(output, RSA_LENGTH);
        }
        assertTrue(!Arrays.equals(DATA, encrypted), "nothing was encrypted");
        byte[] decrypted = keys.decrypted(encrypted);
        if (decrypted == null) {
            beginAnew();
            decrypted = session.J_Decrypt(h, true, cipher.mechanism, cipher.keys.make().decryptionKey(), encrypted, 0,
                    encrypted.length);
        }
        assertArrayEquals(DATA, decrypted);
    }

    /** The data as the JDK encrypts it, or, where it lacks the key, the token itself. */
    private byte[] ciphertext(Cipher cipher, Keys keys) throws GeneralSecurityException {
        byte[] encrypted = keys.encrypted(DATA);
        return encrypted != null ? encrypted
                : session.J_Encrypt(h, true, cipher.mechanism, keys.encryptionKey(), DATA, 0, DATA.length);
    }

    private void encrypted(Cipher cipher) throws GeneralSecurityException {
        Keys keys = cipher.keys.make();
        byte[] encrypted = call("byte[] J_Encrypt", () -> session.J_Encrypt(h, true, cipher.mechanism,
                keys.encryptionKey(), around(5, DATA, 3), 5, DATA.length));
        assertDecrypts(cipher, keys, "byte[] J_Encrypt", encrypted);
    }

    private void encryptedInto(Cipher cipher) throws GeneralSecurityException {
        Keys keys = cipher.keys.make();
        int length = call("int J_Encrypt", () -> session.J_Encrypt(h, true, cipher.mechanism, keys.encryptionKey(),
                around(5, DATA, 3), 5, DATA.length, null, 0));
        byte[] output = blank(7 + length + 4);
        int written = call("int J_Encrypt",
                () -> session.J_Encrypt(h, false, null, 0, DATA, 0, DATA.length, output, 7));
        assertDecrypts(cipher, keys, "int J_Encrypt", written(output, 7, written));
    }

    private void encryptedInParts(Cipher cipher) throws GeneralSecurityException {
        Keys keys = cipher.keys.make();
        byte[] begin = call("byte[] J_EncryptUpdate", () -> session.J_EncryptUpdate(h, true, cipher.mechanism,
                keys.encryptionKey(), around(2, DATA, 0), 2, 16));
        byte[] second = call("byte[] J_EncryptUpdate",
                () -> session.J_EncryptUpdate(h, false, null, 0, DATA, 16, DATA.length - 16));
        byte[] last = call("byte[] J_EncryptFinal", () -> session.J_EncryptFinal());
        assertDecrypts(cipher, keys, "byte[] J_EncryptFinal", joined(begin, second, last));
    }

    private void encryptedInPartsInto(Cipher cipher) throws GeneralSecurityException {
        Keys keys = cipher.keys.make();
        byte[] output = blank(3 + 3 * DATA.length);
        int first = call("int J_EncryptUpdate", () -> session.J_EncryptUpdate(h, true, cipher.mechanism,
                keys.encryptionKey(), around(2, DATA, 0), 2, 16, output, 3));
        int second = call("int J_EncryptUpdate", () -> session.J_EncryptUpdate(h, false, null, 0, DATA, 16,
                DATA.length - 16, output, 3 + first));
        int last = call("int J_EncryptFinal", () -> session.J_EncryptFinal(output, 3 + first + second));
        assertDecrypts(cipher, keys, "int J_EncryptFinal", written(output, 3, first + second + last));
    }

    private void decrypted(Cipher cipher) throws GeneralSecurityException {
        Keys keys = cipher.keys.make();
        byte[] encrypted = ciphertext(cipher, keys);
        assertArrayEquals(DATA, call("J_Decrypt", () -> session.J_Decrypt(h, true, cipher.mechanism,
                keys.decryptionKey(), around(4, encrypted, 6), 4, encrypted.length)));
    }

    private void startedThenDecrypted(Cipher cipher) throws GeneralSecurityException {
        Keys keys = cipher.keys.make();
        byte[] encrypted = ciphertext(cipher, keys);
        run("J_DecryptInit", () -> session.J_DecryptInit(h, cipher.mechanism, keys.decryptionKey()));
        assertArrayEquals(DATA, call("J_Decrypt",
                () -> session.J_Decrypt(h, false, null, 0, encrypted, 0, encrypted.length)));
    }

    private void decryptedInParts(Cipher cipher) throws GeneralSecurityException {
        Keys keys = cipher.keys.make();
        byte[] encrypted = ciphertext(cipher, keys);
        byte[] begin = call("byte[] J_DecryptUpdate", () -> session.J_DecryptUpdate(h, true, cipher.mechanism,
                keys.decryptionKey(), around(2, encrypted, 0), 2, 16));
        byte[] second = call("byte[] J_DecryptUpdate",
                () -> session.J_DecryptUpdate(h, false, null, 0, encrypted, 16, encrypted.length - 16));
        assertArrayEquals(DATA, joined(begin, second, call("byte[] J_DecryptFinal", () -> session.J_DecryptFinal())));
    }

    private void decryptedInPartsInto(Cipher cipher) throws GeneralSecurityException {
        Keys keys = cipher.keys.make();
        byte[] encrypted = ciphertext(cipher, keys);
        byte[] output = blank(3 + 3 * DATA.length);
        int first = call("int J_DecryptUpdate", () -> session.J_DecryptUpdate(h, true, cipher.mechanism,
                keys.decryptionKey(), around(2, encrypted, 0), 2, 16, output, 3));
        int second = call("int J_DecryptUpdate", () -> session.J_DecryptUpdate(h, false, null, 0, encrypted, 16,
                encrypted.length - 16, output, 3 + first));
        int last = call("int J_DecryptFinal", () -> session.J_DecryptFinal(output, 3 + first + second));
        assertArrayEquals(DATA, written(output, 3, first + second + last));
    }
}
