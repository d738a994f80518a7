package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.Tokens;

import java.nio.file.Files;
import java.nio.file.Path;
import java.security.MessageDigest;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** A token of another kind: one that makes ECDSA's digests itself, and one beside it that knows no login. */
class NssTest extends TokenCommands {
    @ParameterizedTest
    // Of a MAC that is not the right one this token says that the device has failed.
    @CsvSource({"rsa, 1", "ec, 1", "generic, 3"})
    void aKeyThatWasMadeSigns(String kind, int forged) throws Exception {
        user("generate", kind, "--label", kind).run().assertStatus(0);
        for (byte[] data : new byte[][] {SHORT, LONG}) {
            Path file = file("data", data);
            Path signature = path("signature");
            user("sign", file, "--label", kind, "--out", signature, "--force").run().assertStatus(0);
            user("verify", file, "--label", kind, "--signature", signature).run().assertStatus(0);
            user("verify", signature, "--label", kind, "--signature", signature).run()
                    .assertStatus(forged);
        }
    }

    @Test
    void theTokenMakesTheDigestOfEcdsaIfItCan() throws Exception {
        user("generate", "ec", "--label", "p256").run().assertStatus(0);
        var json = user("sign", file("data", SHORT), "--label", "p256", "--json").run().json();
        assertEquals("CKM_ECDSA_SHA256", json.get("mechanism").getAsString());
        assertEquals(true, json.get("digest").isJsonNull());
    }

    @Test
    void oaepWithAnotherDigestAndALabel() throws Exception {
        user("generate", "rsa", "--label", "oaep").run().assertStatus(0);
        Object[] options = {"--label", "oaep", "--oaep-digest", "sha256", "--oaep-label", "0a0b"};
        Path encrypted = path("encrypted");
        user("encrypt", file("plain", new byte[] {1, 2, 3}), "--out", encrypted).arguments(options).run()
                .assertStatus(0);
        assertArrayEquals(new byte[] {1, 2, 3},
                user("decrypt", encrypted).arguments(options).run().assertStatus(0).out());
        assertEquals(3, user("decrypt", encrypted, "--label", "oaep").run().status());
    }

    @Test
    void aMacOfTheLengthThatIsWanted() throws Exception {
        user("generate", "des3", "--label", "short").run().assertStatus(0);
        Object[] options = {"--label", "short", "--mechanism", "DES3_MAC_GENERAL", "--mac-length", "5"};
        Path file = file("data", SHORT);
        Path mac = path("mac");
        user("sign", file, "--out", mac).arguments(options).run().assertStatus(0);
        assertEquals(5, Files.size(mac));
        user("verify", file, "--signature", mac).arguments(options).run().assertStatus(0);
    }

    @Test
    void des3OfAnySize() throws Exception {
        user("generate", "des3", "--label", "des3").run().assertStatus(0);
        for (byte[] data : new byte[][] {SHORT, LONG}) {
            Path encrypted = path("encrypted");
            Object[] options = {"--label", "des3", "--iv", "0102030405060708"};
            user("encrypt", file("plain", data), "--out", encrypted, "--force").arguments(options).run()
                    .assertStatus(0);
            assertArrayEquals(data, user("decrypt", encrypted).arguments(options).run().assertStatus(0).out());
        }
    }

    @Test
    void aTokenWithoutALoginIsNotLoggedInTo() throws Exception {
        byte[] made = Velnor.of("digest", file("data", LONG), "--format", "raw", "--token", Tokens.OTHER_LABEL)
                .module(Tokens.MODULE).pin("nonsense").run().assertStatus(0).out();
        assertArrayEquals(MessageDigest.getInstance("SHA-256").digest(LONG), made);
    }
}
