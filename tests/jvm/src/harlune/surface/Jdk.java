package harlune.surface;

import static harlune.surface.TokenOperations.AES_KEY;
import static harlune.surface.TokenOperations.DES3_KEY;
import static harlune.surface.TokenOperations.IV;
import static harlune.surface.TokenOperations.MAC_KEY;

import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.Signature;

import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.SecretKeySpec;

/** What the JDK makes of the same keys and data. */
final class Jdk {
    private Jdk() {
    }

    static byte[] aesEcb(byte[] data) throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("AES/ECB/NoPadding");
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(AES_KEY, "AES"));
        return cipher.doFinal(data);
    }

    static Cipher des3Cbc(int mode, String padding) throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("DESede/CBC/" + padding);
        cipher.init(mode, new SecretKeySpec(DES3_KEY, "DESede"), new IvParameterSpec(IV));
        return cipher;
    }

    static byte[] rsa(int mode, java.security.Key key, byte[] data) throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding");
        cipher.init(mode, key);
        return cipher.doFinal(data);
    }

    static byte[] sign(String algorithm, PrivateKey key, byte[] data) throws GeneralSecurityException {
        Signature signature = Signature.getInstance(algorithm);
        signature.initSign(key);
        signature.update(data);
        return signature.sign();
    }

    static boolean verifies(String algorithm, PublicKey key, byte[] data, byte[] signed)
            throws GeneralSecurityException {
        Signature signature = Signature.getInstance(algorithm);
        signature.initVerify(key);
        signature.update(data);
        return signature.verify(signed);
    }

    static byte[] hmac(byte[] data) throws GeneralSecurityException {
        Mac mac = Mac.getInstance("HmacSHA256");
        mac.init(new SecretKeySpec(MAC_KEY, "HmacSHA256"));
        return mac.doFinal(data);
    }

    static byte[] sha256(byte[] data) throws GeneralSecurityException {
        return MessageDigest.getInstance("SHA-256").digest(data);
    }
}
