package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.SequenceInputStream;
import java.security.DigestOutputStream;
import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.security.Signature;
import java.util.ArrayList;
import java.util.List;

import javax.crypto.Cipher;
import javax.crypto.CipherOutputStream;

import org.junit.jupiter.api.Test;

import velnor.Decryptor;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Signer;
import velnor.TokenObject;
import velnor.Verifier;

/** Streams that are longer than the heap of this JVM. */
class StreamTest extends TokenOperations {
    private static final int SIZE = 50_000_003;

    /** The same bytes each time, without keeping them; some at a time, as from a network. */
    private static InputStream stream() {
        return new InputStream() {
            private int left = SIZE;

            @Override
            public int read() {
                throw new AssertionError("byte by byte");
            }

            @Override
            public int read(byte[] bytes, int off, int len) {
                if (left == 0) {
                    return -1;
                }
                int given = Math.min(Math.min(len, left), 10_007);
                for (int i = 0; i < given; i++) {
                    int at = left - i;
                    bytes[off + i] = (byte) (at ^ at >>> 8 ^ at >>> 16);
                }
                left -= given;
                return given;
            }
        };
    }

    private static byte[] digestOf(InputStream in) throws GeneralSecurityException, IOException {
        MessageDigest digest = MessageDigest.getInstance("SHA-256");
        in.transferTo(new DigestOutputStream(OutputStream.nullOutputStream(), digest));
        return digest.digest();
    }

    @Test
    void theHeapIsSmallerThanTheStream() {
        assertTrue(Runtime.getRuntime().maxMemory() < SIZE);
    }

    @Test
    void digesting() throws GeneralSecurityException, IOException {
        List<Long> progress = new ArrayList<>();
        try (Digester digester = session.digester(SHA256)) {
            assertEquals(SIZE, digester.update(stream(), progress::add));
            assertArrayEquals(digestOf(stream()), digester.digest());
        }
        assertEquals(SIZE, progress.get(progress.size() - 1));
        assertEquals(progress.stream().sorted().distinct().toList(), progress);
        assertTrue(progress.size() > 100);
    }

    @Test
    void signingAndVerifying() throws GeneralSecurityException, IOException {
        byte[] signed;
        try (Signer signer = session.signer(SHA256_RSA_PKCS, privateKey())) {
            assertEquals(SIZE, signer.update(stream()));
            signed = signer.sign();
        }
        Signature judge = Signature.getInstance("SHA256withRSA");
        judge.initVerify(rsa.publicKey);
        byte[] buffer = new byte[10_007];
        try (InputStream in = stream()) {
            for (int n = in.read(buffer); n >= 0; n = in.read(buffer)) {
                judge.update(buffer, 0, n);
            }
        }
        assertTrue(judge.verify(signed));
        TokenObject key = publicKey();
        try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, key)) {
            assertEquals(SIZE, verifier.update(stream()));
            assertTrue(verifier.isValid(signed));
        }
        try (Verifier verifier = session.verifier(SHA256_RSA_PKCS, key)) {
            verifier.update(new SequenceInputStream(stream(), new ByteArrayInputStream(new byte[1])));
            assertFalse(verifier.isValid(signed));
        }
    }

    @Test
    void encryptingAndDecrypting() throws GeneralSecurityException, IOException {
        byte[] clear = digestOf(stream());
        MessageDigest decrypted = MessageDigest.getInstance("SHA-256");
        try (Encryptor encryptor = session.encryptor(DES3_CBC_PAD, des3());
                OutputStream out = new CipherOutputStream(
                        new DigestOutputStream(OutputStream.nullOutputStream(), decrypted),
                        Jdk.des3Cbc(Cipher.DECRYPT_MODE, "PKCS5Padding"))) {
            assertEquals(SIZE, encryptor.transfer(stream(), out));
        }
        assertArrayEquals(clear, decrypted.digest());

        MessageDigest digest = MessageDigest.getInstance("SHA-256");
        try (Decryptor decryptor = session.decryptor(DES3_CBC_PAD, des3());
                InputStream in = new javax.crypto.CipherInputStream(stream(),
                        Jdk.des3Cbc(Cipher.ENCRYPT_MODE, "PKCS5Padding"))) {
            List<Long> progress = new ArrayList<>();
            long read = decryptor.transfer(in, new DigestOutputStream(OutputStream.nullOutputStream(), digest),
                    progress::add);
            assertEquals(SIZE + 8 - SIZE % 8, read);
            assertEquals(read, progress.get(progress.size() - 1));
        }
        assertArrayEquals(clear, digest.digest());
    }
}
