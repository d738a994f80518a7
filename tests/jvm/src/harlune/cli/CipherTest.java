package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.token.Bytes;
import harlune.token.RsaKeys;
import harlune.token.SecretKeys;

import java.io.OutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.security.Key;
import java.security.MessageDigest;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.Set;
import java.util.stream.Stream;

import javax.crypto.Cipher;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

import velnor.CKK;

/** Encryption, decryption, digests and random bytes, each compared with the JDK's. */
class CipherTest extends TokenCommands {
    private static final byte[] DES3_KEY = {
        1, 2, 4, 7, 8, 11, 13, 14, 16, 19, 21, 22, 25, 26, 28, 31, 32, 35, 37, 38, 41, 42, 44, 47};
    private static final byte[] AES_KEY = Bytes.bytes(32);
    private static final String IV = "00:1F:a2:03:04:05:06:fF";

    private static RsaKeys rsa;

    @BeforeAll
    static void fill() throws GeneralSecurityException {
        rsa = new RsaKeys();
        onToken(session -> {
            session.createObject(kept("rsa", rsa.privateTemplate()));
            session.createObject(kept("rsa", rsa.publicTemplate()));
            session.createObject(kept("des3", SecretKeys.template(CKK.DES3, DES3_KEY)));
            session.createObject(kept("aes", SecretKeys.template(CKK.AES, AES_KEY)));
        });
    }

    private static byte[] jdk(String transformation, int mode, Key key, AlgorithmParameterSpec parameter, byte[] data)
            throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance(transformation);
        cipher.init(mode, key, parameter);
        return cipher.doFinal(data);
    }

    private static byte[] des3(byte[] data) throws GeneralSecurityException {
        return jdk("DESede/CBC/PKCS5Padding", Cipher.ENCRYPT_MODE, new SecretKeySpec(DES3_KEY, "DESede"),
                new IvParameterSpec(HexFormat.ofDelimiter(":").parseHex(IV)), data);
    }

    private static OAEPParameterSpec oaep(byte[] label) {
        return new OAEPParameterSpec("SHA-1", "MGF1", MGF1ParameterSpec.SHA1, new PSource.PSpecified(label));
    }

    @Test
    void des3OfAnySize() throws Exception {
        for (byte[] data : new byte[][] {{}, SHORT, LONG}) {
            Path plain = file("plain", data);
            Path encrypted = path("encrypted");
            user("encrypt", plain, "--label", "des3", "--iv", IV, "--out", encrypted, "--force").run().assertStatus(0);
            assertArrayEquals(des3(data), Files.readAllBytes(encrypted), () -> data.length + " bytes");
            assertArrayEquals(data, user("decrypt", encrypted, "--label", "des3", "--iv", IV).run()
                    .assertStatus(0).out(), () -> data.length + " bytes");
        }
    }

    @Test
    void rsaWithItsPadding() throws Exception {
        byte[] data = Bytes.bytes(100);
        byte[] label = {1, 2, 3};
        Path encrypted = file("encrypted", jdk("RSA/ECB/OAEPPadding", Cipher.ENCRYPT_MODE, rsa.publicKey,
                oaep(new byte[0]), data));
        assertArrayEquals(data, user("decrypt", encrypted, "--label", "rsa").run().assertStatus(0).out());
        byte[] made = anonymous("encrypt", file("plain", data), "--label", "rsa").run().assertStatus(0).out();
        assertArrayEquals(data,
                jdk("RSA/ECB/OAEPPadding", Cipher.DECRYPT_MODE, rsa.privateKey, oaep(new byte[0]), made));
        byte[] pkcs = anonymous("encrypt", path("plain"), "--label", "rsa", "--mechanism", "RSA_PKCS").run()
                .assertStatus(0).out();
        assertArrayEquals(data, jdk("RSA/ECB/PKCS1Padding", Cipher.DECRYPT_MODE, rsa.privateKey, null, pkcs));
        // This token knows one digest and no label.
        anonymous("encrypt", path("plain"), "--label", "rsa", "--oaep-digest", "SHA256").run().assertRefused(3,
                "J_EncryptInit: ARGUMENTS BAD (CKR_ARGUMENTS_BAD, 0x7)");
        anonymous("encrypt", path("plain"), "--label", "rsa", "--oaep-label",
                HexFormat.of().formatHex(label)).run().assertRefused(3,
                        "J_EncryptInit: ARGUMENTS BAD (CKR_ARGUMENTS_BAD, 0x7)");
    }

    @Test
    void aesBlockByBlock() throws Exception {
        byte[] data = Bytes.first(LONG, 199_984);
        byte[] encrypted = user("encrypt", file("plain", data), "--label", "aes", "--mechanism", "AES_ECB")
                .run().assertStatus(0).out();
        assertArrayEquals(jdk("AES/ECB/NoPadding", Cipher.ENCRYPT_MODE, new SecretKeySpec(AES_KEY, "AES"), null, data),
                encrypted);
        user("encrypt", file("plain", SHORT), "--label", "aes", "--mechanism", "AES_ECB").run().assertRefused(3,
                "J_Encrypt: DATA LEN RANGE (CKR_DATA_LEN_RANGE, 0x21)");
    }

    @Test
    void aesInModesThatTakeAnInitialisationVector() throws Exception {
        byte[] data = Bytes.first(LONG, 1000);
        String hex = IV.replace(":", "");
        byte[] iv = HexFormat.of().parseHex(hex + hex);
        String nonce = hex + "00000001";
        SecretKeySpec key = new SecretKeySpec(AES_KEY, "AES");
        Object[][] modes = {
            {"AES_CBC_PAD", hex + hex, "AES/CBC/PKCS5Padding", new IvParameterSpec(iv)},
            {"AES_CTR", hex + hex, "AES/CTR/NoPadding", new IvParameterSpec(iv)},
            {"AES_GCM", nonce, "AES/GCM/NoPadding", new GCMParameterSpec(128, HexFormat.of().parseHex(nonce))}};
        for (Object[] mode : modes) {
            byte[] encrypted = user("encrypt", file("plain", data), "--label", "aes", "--mechanism", (String) mode[0],
                    "--iv", (String) mode[1]).run().assertStatus(0).out();
            assertArrayEquals(jdk((String) mode[2], Cipher.ENCRYPT_MODE, key, (AlgorithmParameterSpec) mode[3], data),
                    encrypted, (String) mode[0]);
            assertArrayEquals(data, user("decrypt", file("encrypted", encrypted), "--label", "aes", "--mechanism",
                    (String) mode[0], "--iv", (String) mode[1]).run().assertStatus(0).out(), (String) mode[0]);
        }
    }

    @Test
    void parametersThatDoNotFitAreRefused() throws Exception {
        Path plain = file("plain", SHORT);
        user("encrypt", plain, "--label", "aes").run().assertRefused(2,
                "with a key of type CKK_AES say how, with --mechanism");
        user("encrypt", plain, "--label", "des3").run().assertRefused(2,
                "CKM_DES3_CBC_PAD needs an initialisation vector of 8 bytes, --iv");
        user("encrypt", plain, "--label", "des3", "--iv", "0001").run().assertRefused(2,
                "CKM_DES3_CBC_PAD takes 8 bytes, not 2: random bytes, new for each message. Where there is a choice,"
                        + " take CKM_AES_GCM instead");
        user("encrypt", plain, "--label", "aes", "--mechanism", "AES_CBC_PAD").run().assertRefused(2,
                "CKM_AES_CBC_PAD needs an initialisation vector of 16 bytes, --iv");
        user("encrypt", plain, "--label", "aes", "--mechanism", "AES_GCM").run().assertRefused(2,
                "CKM_AES_GCM needs an initialisation vector, --iv");
        user("encrypt", plain, "--label", "des3", "--iv", "xyz").run().assertRefused(2,
                "Invalid value for option '--iv': these are no hexadecimal digits, two for each byte;"
                        + " --help tells more");
        user("encrypt", plain, "--label", "des3", "--iv", IV, "--oaep-digest", "SHA1").run().assertRefused(2,
                "--oaep-digest and --oaep-label belong to RSA_PKCS_OAEP, not to CKM_DES3_CBC_PAD");
        user("encrypt", plain, "--label", "rsa", "--iv", IV).run().assertRefused(2,
                "no mechanism takes all of these parameters");
    }

    @Test
    void aKeyThatIsForNoCipherIsRefused() throws Exception {
        Path plain = file("plain", SHORT);
        user("generate", "ec", "--label", "curve").run().assertStatus(0);
        user("generate", "generic", "--label", "mac").run().assertStatus(0);
        String[][] answers = {{"curve", "CKK_EC"}, {"mac", "CKK_GENERIC_SECRET"}};
        for (String[] answer : answers) {
            user("encrypt", plain, "--label", answer[0]).run().assertRefused(2,
                    "a key of type " + answer[1] + " does not encrypt");
            user("decrypt", plain, "--label", answer[0]).run().assertRefused(2,
                    "a key of type " + answer[1] + " does not decrypt");
        }
        user("encrypt", plain, "--label", "curve", "--mechanism", "0x80000001").run().assertStatus(3);
    }

    @Test
    void nothingIsLeftOfAnOutputThatFailed() throws Exception {
        byte[] damaged = des3(LONG);
        damaged[damaged.length - 1] ^= 1;
        Path encrypted = file("encrypted", damaged);
        Path out = file("out", new byte[] {1});
        user("decrypt", encrypted, "--label", "des3", "--iv", IV, "--out", out, "--force").run()
                .assertStatus(3);
        assertArrayEquals(new byte[] {1}, Files.readAllBytes(out));
        try (Stream<Path> files = Files.list(directory)) {
            assertEquals(Set.of(encrypted, out), Set.copyOf(files.toList()));
        }
    }

    @Test
    void aLinkStaysALink() throws Exception {
        Path target = file("target", new byte[] {1});
        Path link = Files.createSymbolicLink(path("link"), target);
        user("digest", file("plain", SHORT), "--out", link, "--force").run().assertStatus(0);
        assertTrue(Files.isSymbolicLink(link));
        assertEquals(65, Files.size(target));
    }

    @Test
    void theResultOfACipherIsAFileWhenStdoutHasTheDocument() throws Exception {
        Path plain = file("plain", SHORT);
        user("encrypt", plain, "--label", "des3", "--iv", IV, "--json").run().assertStatus(2);
        var json = user("encrypt", plain, "--label", "des3", "--iv", IV, "--json", "-o",
                path("encrypted")).run().json();
        assertEquals(Set.of("mechanism", "file"), json.keySet());
        assertEquals("CKM_DES3_CBC_PAD", json.get("mechanism").getAsString());
        assertArrayEquals(des3(SHORT), Files.readAllBytes(path("encrypted")));
    }

    @Test
    void aLongFileTakesLittleMemory() throws Exception {
        Path plain = path("plain");
        try (var out = Files.newOutputStream(plain)) {
            for (int i = 0; i < 500; i++) {
                out.write(LONG);
            }
        }
        Path encrypted = path("encrypted");
        Path decrypted = path("decrypted");
        user("encrypt", plain, "--label", "des3", "--iv", IV, "-o", encrypted).option("-Xmx32m").run()
                .assertStatus(0);
        user("decrypt", encrypted, "--label", "des3", "--iv", IV, "-o", decrypted).option("-Xmx32m")
                .run().assertStatus(0);
        assertEquals(-1, Files.mismatch(plain, decrypted));
        assertEquals(Files.size(plain) / 8 * 8 + 8, Files.size(encrypted));
    }

    @Test
    void digests() throws Exception {
        for (byte[] data : new byte[][] {{}, SHORT, LONG}) {
            Path file = file("data", data);
            assertEquals(HexFormat.of().formatHex(MessageDigest.getInstance("SHA-256").digest(data)) + "\n",
                    anonymous("digest", file).run().assertStatus(0).text());
            assertArrayEquals(MessageDigest.getInstance("SHA-512").digest(data), anonymous("digest", file,
                    "--mechanism", "sha512", "--format", "raw").run().assertStatus(0).out());
        }
        var json = anonymous("digest", file("data", SHORT), "--mechanism", "SHA_1", "--json").run().json();
        assertEquals(Set.of("mechanism", "digest"), json.keySet());
        assertEquals(HexFormat.of().formatHex(MessageDigest.getInstance("SHA-1").digest(SHORT)),
                json.get("digest").getAsString());
    }

    @Test
    void random() throws Exception {
        byte[] first = anonymous("random", "100000").run().assertStatus(0).out();
        byte[] second = anonymous("random", "100000").run().assertStatus(0).out();
        assertEquals(100_000, first.length);
        assertTrue(Arrays.mismatch(first, second) >= 0);
        assertEquals(256, new String(first, StandardCharsets.ISO_8859_1).chars().distinct().count());
        assertEquals(32, anonymous("random", "16", "--json").run().json().get("random").getAsString().length());
        assertTrue(anonymous("random", "16", "--format", "hex").run().assertStatus(0).text().matches("[0-9a-f]{32}\n"));
    }

    /** Longer than the patience that a terminal is thought to have. */
    @Test
    void progressIsNotToldToAFile() throws Exception {
        Path err = path("err");
        Process process = anonymous("digest", "-").process().redirectInput(ProcessBuilder.Redirect.PIPE)
                .redirectError(err.toFile()).start();
        try (OutputStream in = process.getOutputStream()) {
            for (int i = 0; i < 5; i++) {
                in.write(LONG);
                in.flush();
                Thread.sleep(500);
            }
        }
        assertEquals(0, Velnor.status(process));
        assertEquals("", Files.readString(err));
    }

    @Test
    void progressIsToldWhenItIsAskedFor() throws Exception {
        Path file = file("data", LONG);
        anonymous("digest", file).run().assertStatus(0);
        String told = anonymous("digest", file, "--progress").run().err();
        assertTrue(told.startsWith("0.0 MiB of 0.1 MiB, 32 %\n"), told);
        assertTrue(told.endsWith("0.1 MiB of 0.1 MiB, 100 %\n"), told);
    }
}
