package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.token.Bytes;
import harlune.token.RsaKeys;
import harlune.token.SecretKeys;

import java.math.BigInteger;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.Signature;
import java.security.interfaces.ECPrivateKey;
import java.security.interfaces.ECPublicKey;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.util.Base64;
import java.util.HexFormat;
import java.util.Set;

import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKO;

/** Signatures and MACs, each checked by the JDK, with keys that the JDK holds too. */
class SignatureTest extends TokenCommands {
    private static final byte[] P256 = HexFormat.of().parseHex("06082a8648ce3d030107");
    private static final byte[] MAC_KEY = Bytes.bytes(32);
    private static final String ECDSA = "SHA256withECDSAinP1363Format";

    private static RsaKeys rsa;
    private static KeyPair ec;

    @BeforeAll
    static void fill() throws GeneralSecurityException {
        rsa = new RsaKeys();
        KeyPairGenerator generator = KeyPairGenerator.getInstance("EC");
        generator.initialize(new ECGenParameterSpec("secp256r1"));
        ec = generator.generateKeyPair();
        onToken(session -> {
            session.createObject(kept("rsa", rsa.privateTemplate()));
            session.createObject(kept("rsa", rsa.publicTemplate()));
            session.createObject(kept("ec", new Attribute(CKA.CLASS, CKO.PRIVATE_KEY),
                    new Attribute(CKA.KEY_TYPE, CKK.EC), new Attribute(CKA.SIGN, true),
                    new Attribute(CKA.EC_PARAMS, P256),
                    new Attribute(CKA.VALUE, fixed(((ECPrivateKey) ec.getPrivate()).getS()))));
            session.createObject(kept("ec", new Attribute(CKA.CLASS, CKO.PUBLIC_KEY),
                    new Attribute(CKA.KEY_TYPE, CKK.EC), new Attribute(CKA.VERIFY, true),
                    new Attribute(CKA.EC_PARAMS, P256),
                    new Attribute(CKA.EC_POINT, point((ECPublicKey) ec.getPublic()))));
            session.createObject(kept("mac", SecretKeys.template(CKK.GENERIC_SECRET, MAC_KEY)));
        });
    }

    private static byte[] fixed(BigInteger number) {
        byte[] bytes = number.toByteArray();
        byte[] fixed = new byte[32];
        int length = Math.min(bytes.length, 32);
        System.arraycopy(bytes, bytes.length - length, fixed, 32 - length, length);
        return fixed;
    }

    private static byte[] point(ECPublicKey key) {
        return Bytes.joined(new byte[] {4, 65, 4}, fixed(key.getW().getAffineX()), fixed(key.getW().getAffineY()));
    }

    private static boolean verifies(String algorithm, PublicKey key, byte[] data, byte[] signed)
            throws GeneralSecurityException {
        Signature signature = Signature.getInstance(algorithm);
        signature.initVerify(key);
        signature.update(data);
        return signature.verify(signed);
    }

    private static byte[] sign(String algorithm, PrivateKey key, byte[] data) throws GeneralSecurityException {
        Signature signature = Signature.getInstance(algorithm);
        signature.initSign(key);
        signature.update(data);
        return signature.sign();
    }

    private static byte[] mac(byte[] data) throws GeneralSecurityException {
        Mac mac = Mac.getInstance("HmacSHA256");
        mac.init(new SecretKeySpec(MAC_KEY, "HmacSHA256"));
        return mac.doFinal(data);
    }

    @Test
    void rsaPssWithASaltAsLongAsTheDigest() throws Exception {
        byte[] signed = user("sign", file("data", LONG), "--label", "rsa", "--mechanism", "SHA256_RSA_PKCS_PSS").run()
                .assertStatus(0).out();
        Signature signature = Signature.getInstance("RSASSA-PSS");
        signature.setParameter(new PSSParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA256, 32, 1));
        signature.initVerify(rsa.publicKey);
        signature.update(LONG);
        assertTrue(signature.verify(signed));
    }

    @Test
    void rsaOfAnySize() throws Exception {
        for (byte[] data : new byte[][] {{}, SHORT, LONG}) {
            Velnor.End end = user("sign", file("data", data), "--label", "rsa").run().assertStatus(0);
            assertTrue(verifies("SHA256withRSA", rsa.publicKey, data, end.out()), () -> data.length + " bytes");
        }
    }

    @Test
    void rsaByNameAndByNumber() throws Exception {
        Path data = file("data", SHORT);
        for (String name : new String[] {"SHA512_RSA_PKCS", "CKM_SHA512_RSA_PKCS", "sha512-rsa-pkcs", "0x42", "66"}) {
            byte[] signature = user("sign", data, "--id", "01", "--mechanism", name).run().assertStatus(0).out();
            assertTrue(verifies("SHA512withRSA", rsa.publicKey, SHORT, signature), name);
        }
        user("sign", data, "--id", "01", "--mechanism", "SHA512_RAS").run().assertRefused(2,
                "PKCS#11 has no mechanism SHA512_RAS; the command mechanisms lists the token's");
    }

    /** This token cannot make the digest of ECDSA; the signature is the same wherever that is made. */
    @Test
    void ecdsaOfAnySize() throws Exception {
        for (byte[] data : new byte[][] {{}, SHORT, LONG}) {
            Path file = file("data", data);
            byte[] made = user("sign", file, "--label", "ec").run().assertStatus(0).out();
            assertTrue(verifies(ECDSA, ec.getPublic(), data, made), () -> data.length + " bytes");
            Path signature = file("signature", sign(ECDSA, ec.getPrivate(), data));
            assertEquals("signature valid\n", anonymous("verify", file, "--signature", signature,
                    "--label", "ec").run().assertStatus(0).text());
        }
    }

    @Test
    void macsOfAnySize() throws Exception {
        for (byte[] data : new byte[][] {SHORT, LONG}) {
            Path file = file("data", data);
            Path made = path("mac");
            user("sign", file, "--label", "mac", "--out", made, "--force").run().assertStatus(0);
            assertArrayEquals(mac(data), Files.readAllBytes(made));
            user("verify", file, "--label", "mac", "--signature", made).run().assertStatus(0);
        }
    }

    @Test
    void aSignatureIsValidOrNot() throws Exception {
        for (byte[] data : new byte[][] {SHORT, LONG}) {
            byte[] signature = sign("SHA256withRSA", rsa.privateKey, data);
            Path file = file("data", data);
            Path good = file("good", signature);
            assertEquals("signature valid\n", anonymous("verify", file, "--label", "rsa", "--signature",
                    good).run().assertStatus(0).text());
            signature[100] ^= 1;
            byte[][] bad = {signature, Bytes.first(signature, 255), {}};
            for (byte[] forged : bad) {
                Velnor.End end = anonymous("verify", file, "--label", "rsa", "--signature",
                        file("bad", forged)).run();
                end.assertStatus(1);
                assertEquals("signature INVALID\n", end.text());
                assertEquals("", end.err());
            }
        }
        Velnor.End json = anonymous("verify", file("other", new byte[1]), "--label", "rsa", "--signature",
                path("good"), "--json").run().assertStatus(1);
        assertTrue(json.text().contains("\"valid\": false"), json.text());
    }

    @Test
    void everyForm() throws Exception {
        Path file = file("data", SHORT);
        byte[] expected = sign("SHA256withRSA", rsa.privateKey, SHORT);
        String hex = HexFormat.of().formatHex(expected);
        assertEquals(hex + "\n",
                user("sign", file, "--label", "rsa", "--format", "hex").run().assertStatus(0).text());
        assertEquals(Base64.getEncoder().encodeToString(expected) + "\n",
                user("sign", file, "--label", "rsa", "--format", "BASE64").run().assertStatus(0).text());
        var json = user("sign", file, "--label", "rsa", "--json", "-o", path("raw")).run().json();
        assertEquals(Set.of("mechanism", "digest", "file", "signature"), json.keySet());
        assertEquals(hex, json.get("signature").getAsString());
        assertEquals("CKM_SHA256_RSA_PKCS", json.get("mechanism").getAsString());
        assertArrayEquals(expected, Files.readAllBytes(path("raw")));
        var digestedHere = user("sign", file, "--label", "ec", "--json").run().json();
        assertEquals("CKM_ECDSA", digestedHere.get("mechanism").getAsString());
        assertEquals("SHA-256", digestedHere.get("digest").getAsString());
        for (String format : new String[] {"hex", "base64"}) {
            user("sign", file, "--label", "rsa", "--format", format, "--out", path(format)).run()
                    .assertStatus(0);
            anonymous("verify", file, "--label", "rsa", "--format", format, "--signature",
                    path(format)).run().assertStatus(0);
        }
        anonymous("verify", file, "--label", "rsa", "--format", "hex", "--signature",
                path("base64")).run().assertRefused(5, path("base64") + " is not written in HEX");
    }

    @Test
    void stdinIsAFileToo() throws Exception {
        byte[] signature = user("sign", "-", "--label", "rsa").input(file("data", LONG)).run().assertStatus(0).out();
        assertTrue(verifies("SHA256withRSA", rsa.publicKey, LONG, signature));
    }

    @Test
    void aKeyThatAsksForThePinEachTimeGetsIt() throws Exception {
        user("generate", "rsa", "--label", "asks", "--always-authenticate").run().assertStatus(0);
        for (byte[] data : new byte[][] {SHORT, LONG}) {
            Path file = file("data", data);
            Path signature = path("signature of " + data.length);
            user("sign", file, "--label", "asks", "--out", signature).run().assertStatus(0);
            anonymous("verify", file, "--label", "asks", "--signature", signature).run()
                    .assertStatus(0);
        }
    }

    @Test
    void theKeyIsChosen() throws Exception {
        Path data = file("data", SHORT);
        user("sign", data, "--label", "nobody's").run().assertRefused(4,
                "no key with this label or ID that could sign was found");
        anonymous("verify", data, "--signature", data, "--label", "mac").run().assertRefused(4,
                "no key with this label or ID that could verify was found; private objects show after a login"
                        + " (--login)");
        Velnor.End many = user("sign", data).run().assertStatus(4);
        assertTrue(many.err().contains("keys could be meant, so say more with --label and --id: "), many.err());
        assertTrue(many.err().contains("\"rsa\" with ID 01"), many.err());
    }

    @Test
    void whatTheTokenRefusesIsTold() throws Exception {
        Path data = file("data", SHORT);
        user("sign", data, "--label", "rsa", "--mechanism", "RSA_9796").run().assertRefused(3,
                "J_SignInit: MECHANISM INVALID (CKR_MECHANISM_INVALID, 0x70)");
        var error = user("sign", data, "--label", "rsa", "--mechanism", "RSA_9796", "--json").run().assertStatus(3)
                .error();
        assertEquals("J_SignInit", error.get("function").getAsString());
        assertEquals("CKR_MECHANISM_INVALID", error.get("code").getAsString());
        assertEquals(0x70, error.get("returnValue").getAsInt());
        assertEquals("MECHANISM INVALID", error.get("text").getAsString());
        assertEquals(3, error.get("exitCode").getAsInt());
        user("sign", data, "--label", "rsa", "--mechanism", "AES_CMAC").run().assertRefused(2,
                "CKM_AES_CMAC is not for a key of type CKK_RSA");
        user("sign", data, "--label", "rsa").pin("9999").run().assertRefused(3,
                "J_Login: PIN INCORRECT (CKR_PIN_INCORRECT, 0xA0)");
    }

    @Test
    void filesThatFailAreTold() throws Exception {
        Path data = file("data", SHORT);
        user("sign", path("none"), "--label", "rsa").run().assertRefused(5,
                path("none") + ": there is no such file or directory");
        user("sign", directory, "--label", "rsa").run().assertRefused(5, directory + ": is a directory");
        Velnor.End nowhere = user("sign", data, "--label", "rsa", "--out", path("none/signature")).run();
        assertTrue(nowhere.assertStatus(5).err().endsWith(": there is no such file or directory\n"), nowhere.err());
    }

    @Test
    void aFileIsOverwrittenOnlyByForce() throws Exception {
        Path data = file("data", SHORT);
        Path out = file("out", new byte[] {1});
        user("sign", data, "--label", "rsa", "--out", out).run().assertRefused(5,
                out + " exists already; --force overwrites it");
        assertEquals(1, Files.size(out));
        user("sign", data, "--label", "rsa", "--out", out, "--force").run().assertStatus(0);
        assertEquals(256, Files.size(out));
        user("sign", data, "--label", "rsa", "--out", "/dev/null").run().assertStatus(0);
        assertFalse(Files.isRegularFile(Path.of("/dev/null")));
        user("sign", data, "--label", "rsa", "--out", "/dev/full").run().assertRefused(5,
                "/dev/full: No space left on device");
    }

    @Test
    void aFullDiskIsNoSuccess() throws Exception {
        for (String format : new String[] {"raw", "hex"}) {
            Process process = user("sign", file("data", SHORT), "--label", "rsa", "--format", format).process()
                    .redirectOutput(Path.of("/dev/full").toFile()).redirectError(ProcessBuilder.Redirect.DISCARD)
                    .start();
            assertEquals(5, Velnor.status(process));
        }
    }

    @Test
    void aLongFileTakesLittleMemory() throws Exception {
        Path file = path("long");
        try (var out = Files.newOutputStream(file)) {
            for (int i = 0; i < 1000; i++) {
                out.write(LONG);
            }
        }
        byte[] signature = user("sign", file, "--label", "rsa").option("-Xmx32m").run().assertStatus(0).out();
        Signature check = Signature.getInstance("SHA256withRSA");
        check.initVerify(rsa.publicKey);
        for (int i = 0; i < 1000; i++) {
            check.update(LONG);
        }
        assertTrue(check.verify(signature));
    }

    @Test
    void aPrivateKeyNeedsAPin() throws Exception {
        anonymous("sign", file("data", SHORT), "--label", "rsa").run().assertRefused(2, "the PIN is needed, and"
                + " stdin and stdout are no terminal to ask for it: give it by --pin-file, --pin-env or the environment"
                + " variable HARLUNE_PIN");
    }
}
