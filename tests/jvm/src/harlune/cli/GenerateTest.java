package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonArray;
import com.google.gson.JsonElement;
import com.google.gson.JsonObject;

import java.nio.file.Path;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.StreamSupport;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Keys that the command line makes. */
class GenerateTest extends TokenCommands {
    private static Set<String> uses(JsonObject key) {
        return StreamSupport.stream(key.getAsJsonArray("uses").spliterator(), false).map(JsonElement::getAsString)
                .collect(Collectors.toSet());
    }

    private static JsonArray made(Object... arguments) throws Exception {
        return user(arguments).arguments("--json").run().json().getAsJsonArray("objects");
    }

    @ParameterizedTest
    @CsvSource({"aes, --id=AB, CKK_AES, 256", "AES, --bits=128, CKK_AES, 128",
        "generic, --id=AB, CKK_GENERIC_SECRET, 256", "generic, --bits=512, CKK_GENERIC_SECRET, 512",
        "des3, --id=AB, CKK_DES3, "})
    void aSecretKey(String what, String option, String type, Integer bits) throws Exception {
        String label = what + option;
        JsonArray objects = made("generate", what, "--label", label, option);
        assertEquals(1, objects.size());
        JsonObject key = objects.get(0).getAsJsonObject();
        assertEquals("CKO_SECRET_KEY", key.get("class").getAsString());
        assertEquals(type, key.get("type").getAsString());
        assertEquals(bits, key.get("bits").isJsonNull() ? null : Integer.valueOf(key.get("bits").getAsInt()));
        assertEquals(label, key.get("label").getAsString());
        assertEquals(option.startsWith("--id") ? "ab" : "", key.get("id").getAsString());
        assertTrue(key.get("private").getAsBoolean() && key.get("sensitive").getAsBoolean());
        assertFalse(key.get("extractable").getAsBoolean());
        signsAndVerifies(label);
    }

    private void signsAndVerifies(String label) throws Exception {
        Path file = file("data", SHORT);
        Path signature = path("signature");
        user("sign", file, "--label", label, "--out", signature, "--force").run().assertStatus(0);
        user("verify", file, "--label", label, "--signature", signature).run().assertStatus(0);
        user("verify", file("other", LONG), "--label", label, "--signature", signature).run()
                .assertStatus(1);
    }

    @ParameterizedTest
    @ValueSource(strings = {"P-256", "secp256r1", "p-384", "P-521", "1.3.132.0.34"})
    void aPairOnACurve(String curve) throws Exception {
        JsonArray pair = made("generate", "ec", "--curve", curve, "--label", "on " + curve);
        assertEquals("CKO_PUBLIC_KEY", pair.get(0).getAsJsonObject().get("class").getAsString());
        assertEquals("CKO_PRIVATE_KEY", pair.get(1).getAsJsonObject().get("class").getAsString());
        assertEquals(Set.of("verify"), uses(pair.get(0).getAsJsonObject()));
        assertEquals(Set.of("sign"), uses(pair.get(1).getAsJsonObject()));
        Path file = file("data", SHORT);
        int half = curve.contains("256") ? 32 : curve.contains("521") ? 66 : 48;
        assertEquals(2 * half, user("sign", file, "--label", "on " + curve).run().assertStatus(0).out().length);
        signsAndVerifies("on " + curve);
    }

    @Test
    void aCurveThatNobodyKnowsIsRefused() throws Exception {
        user("generate", "ec", "--curve", "P-257", "--label", "k").run().assertRefused(2,
                "there is no curve P-257 here; there are P-256, P-384, P-521, P-224, P-192, secp256k1, brainpoolP256r1,"
                        + " brainpoolP384r1, brainpoolP512r1, and all others by their object identifier");
    }

    @Test
    void anRsaPairForWhatItIsMeant() throws Exception {
        JsonArray pair = made("generate", "rsa", "--bits", "1024", "--label", "small", "--id", "0102", "--use",
                "sign,wrap", "--extractable");
        JsonObject publicKey = pair.get(0).getAsJsonObject();
        JsonObject privateKey = pair.get(1).getAsJsonObject();
        assertEquals(1024, publicKey.get("bits").getAsInt());
        assertEquals("0102", publicKey.get("id").getAsString());
        assertEquals("0102", privateKey.get("id").getAsString());
        assertEquals(Set.of("verify", "wrap"), uses(publicKey));
        assertEquals(Set.of("sign", "unwrap"), uses(privateKey));
        assertTrue(privateKey.get("extractable").getAsBoolean());
        user("decrypt", file("data", SHORT), "--id", "0102").run().assertRefused(3,
                "J_DecryptInit: KEY FUNCTION NOT PERMITTED (CKR_KEY_FUNCTION_NOT_PERMITTED, 0x68)");
    }

    @Test
    void whatSharesALabelIsToldApartByItsUse() throws Exception {
        made("generate", "aes", "--label", "same", "--use", "encrypt");
        made("generate", "ec", "--label", "same");
        signsAndVerifies("same");
    }

    @Test
    void aSecondOneOfTheSameNameWantsForce() throws Exception {
        for (String type : new String[] {"aes", "ec"}) {
            made("generate", type, "--label", "twice");
            user("generate", type, "--label", "twice").run().assertRefused(2,
                    "the token has such a key of this name already; --force makes another one");
            made("generate", type, "--label", "twice", "--force");
        }
    }

    @Test
    void theResultIsShown() throws Exception {
        String text = user("generate", "aes", "--label", "shown", "--use", "wrap").run().assertStatus(0).text();
        assertTrue(text.matches("CLASS +TYPE +BITS +LABEL +ID +USES\n"
                + "CKO_SECRET_KEY +CKK_AES +256 +shown +- +wrap,unwrap\n"), text);
    }
}
