package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.google.gson.JsonArray;
import com.google.gson.JsonElement;
import com.google.gson.JsonObject;

import harlune.support.Tokens;
import harlune.token.RsaKeys;
import harlune.token.SecretKeys;

import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.StreamSupport;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;

/** The commands that look and change nothing. */
class LookingTest extends TokenCommands {
    /** Would clear the screen, and turn the direction of writing. */
    private static final String EVIL = "evil\u001b[2J\u202Etxt.exe\\\n";
    private static final String EVIL_SHOWN = "evil\\u{1B}[2J\\u{202E}txt.exe\\\\\\u{A}";

    private static String serial;
    private static List<Integer> mechanisms;
    private static int slot;

    @BeforeAll
    static void fill() throws Exception {
        RsaKeys rsa = new RsaKeys();
        onToken(session -> {
            session.createObject(kept("pair", rsa.privateTemplate()));
            session.createObject(kept("pair", rsa.publicTemplate()));
            session.createObject(kept(EVIL, SecretKeys.template(CKK.AES, new byte[16])));
            serial = session.slot().tokenInfo().serialNumber();
            mechanisms = session.slot().mechanisms();
            slot = session.slot().slotID();
        });
    }

    private static List<JsonObject> list(JsonObject document, String name) {
        JsonArray array = document.getAsJsonArray(name);
        return StreamSupport.stream(array.spliterator(), false).map(JsonElement::getAsJsonObject)
                .collect(Collectors.toList());
    }

    private static Set<String> texts(JsonElement array) {
        return StreamSupport.stream(array.getAsJsonArray().spliterator(), false).map(JsonElement::getAsString)
                .collect(Collectors.toSet());
    }

    @Test
    void info() throws Exception {
        String text = Velnor.of("info").module(Tokens.MODULE).run().assertStatus(0).text();
        assertTrue(text.startsWith("Module                 " + Tokens.MODULE + "\n"), text);
        assertTrue(text.contains("\nManufacturer           SoftHSM\n"), text);
        JsonObject json = Velnor.of("info", "--json", "--module", Tokens.MODULE).run().json();
        assertEquals(Set.of("module", "description", "manufacturer", "cryptokiVersion", "bridgeVersion",
                "secondAuthentication"), json.keySet());
        assertEquals("2.40", json.get("cryptokiVersion").getAsString());
    }

    @Test
    void slots() throws Exception {
        JsonObject json = Velnor.of("slots", "--json").module(Tokens.MODULE).run().json();
        JsonObject token = list(json, "slots").stream().filter(one -> one.get("slot").getAsLong() == slot).findFirst()
                .orElseThrow().getAsJsonObject("token");
        assertEquals(Tokens.LABEL, token.get("label").getAsString());
        assertEquals(serial, token.get("serial").getAsString());
        assertTrue(texts(token.get("flags")).containsAll(Set.of("initialized", "loginRequired")));
        String text = Velnor.of("slots").module(Tokens.MODULE).run().assertStatus(0).text();
        assertTrue(text.contains("Slot              " + slot + "\nLabel             " + Tokens.LABEL + "\n"), text);
    }

    @Test
    void mechanisms() throws Exception {
        List<JsonObject> told = list(anonymous("mechanisms", "--json").run().json(), "mechanisms");
        List<Integer> codes = new ArrayList<>();
        told.forEach(one -> codes.add(Integer.decode(one.get("code").getAsString())));
        assertEquals(mechanisms, codes);
        JsonObject signing = told.get(mechanisms.indexOf(CKM.SHA256_RSA_PKCS));
        assertEquals("CKM_SHA256_RSA_PKCS", signing.get("name").getAsString());
        assertEquals(Set.of("sign", "verify"), texts(signing.get("operations")));
        // Its largest key does not fit an int.
        assertTrue(told.get(mechanisms.indexOf(CKM.GENERIC_SECRET_KEY_GEN)).get("maxKeySize").isJsonNull());
        String text = anonymous("mechanisms").run().assertStatus(0).text();
        assertTrue(text.matches("(?s)NAME +CODE +MIN KEY SIZE +MAX KEY SIZE +OPERATIONS\n.*\n"
                + "CKM_SHA256_RSA_PKCS +0x40 +\\d+ +\\d+ +sign,verify\n.*"), text);
    }

    @Test
    void privateObjectsShowAfterALogin() throws Exception {
        assertEquals(1, list(anonymous("objects", "--label", "pair", "--json").run().json(), "objects").size());
        List<JsonObject> all = list(user("objects", "--label", "pair", "--json").run().json(), "objects");
        assertEquals(Set.of("CKO_PUBLIC_KEY", "CKO_PRIVATE_KEY"),
                all.stream().map(one -> one.get("class").getAsString()).collect(Collectors.toSet()));
        assertEquals("There is no object to be seen.\n",
                anonymous("objects", "--id", "01").run().assertStatus(0).text());
    }

    @Test
    void anObjectIsDescribed() throws Exception {
        List<JsonObject> keys = list(user("objects", "--class", "private-key", "--id", "01", "--json").run().json(),
                "objects");
        assertEquals(1, keys.size());
        JsonObject key = keys.get(0);
        assertEquals(Set.of("handle", "class", "type", "bits", "label", "id", "private", "sensitive", "extractable",
                "uses"), key.keySet());
        assertEquals("CKK_RSA", key.get("type").getAsString());
        assertEquals(2048, key.get("bits").getAsInt());
        assertEquals("pair", key.get("label").getAsString());
        assertEquals("01", key.get("id").getAsString());
        assertTrue(key.get("private").getAsBoolean());
        assertTrue(key.get("sensitive").getAsBoolean());
        assertFalse(key.get("extractable").getAsBoolean());
        assertTrue(texts(key.get("uses")).containsAll(Set.of("sign", "decrypt")));
        assertTrue(user("objects", "--class", "PRIVATE_KEY").run().assertStatus(0).text().matches(
                "CLASS +TYPE +BITS +LABEL +ID +USES\nCKO_PRIVATE_KEY +CKK_RSA +2048 +pair +01 +[a-z,]+\n"));
        user("objects", "--class", "NONSENSE").run().assertRefused(2, "PKCS#11 has no object class NONSENSE");
    }

    @Test
    void whatATokenSaysDoesNotWorkOnTheTerminal() throws Exception {
        String text = user("objects", "--class", "SECRET_KEY").run().assertStatus(0).text();
        assertTrue(text.contains("  " + EVIL_SHOWN + "  "), text);
        assertEquals(2, text.lines().count());
        JsonObject key = list(user("objects", "--class", "SECRET_KEY", "--json").run().json(), "objects").get(0);
        assertEquals(EVIL, key.get("label").getAsString());
    }

    @Test
    void whatATokenSaysDoesNotWorkInAnErrorEither() throws Exception {
        onToken(session -> session.createObject(kept(EVIL, SecretKeys.template(CKK.AES, new byte[32]))));
        try {
            user("encrypt", "/dev/null", "--label", EVIL, "--mechanism", "AES_ECB").run().assertRefused(4,
                    "2 keys could be meant, so say more with --label and --id: \"" + EVIL_SHOWN + "\" with ID -, \""
                            + EVIL_SHOWN + "\" with ID -");
        } finally {
            onToken(session -> session
                    .findOne(new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.VALUE_LEN, 32)).destroy());
        }
    }

    @Test
    void theTokenIsChosen() throws Exception {
        String both = "\"" + Tokens.LABEL + "\" in slot " + Integer.toUnsignedString(slot);
        Velnor.End many = Velnor.of("objects").module(Tokens.MODULE).run().assertStatus(4);
        assertTrue(many.err().startsWith("velnor: there is more than one initialised token, so say which with --token"
                + " or --slot: ") && many.err().contains(both) && many.err().contains(Tokens.OTHER_LABEL), many.err());
        for (String number : new String[] {Integer.toUnsignedString(slot), "0x" + Integer.toHexString(slot)}) {
            Velnor.of("objects", "--label", "pair", "--slot", number).module(Tokens.MODULE).run().assertStatus(0);
        }
        Velnor.End none = Velnor.of("objects", "--slot", "77").module(Tokens.MODULE).run().assertStatus(4);
        assertTrue(none.err().startsWith("velnor: there is no slot 77; there are "), none.err());
        Velnor.End nobody = Velnor.of("objects", "--token", "nobody").module(Tokens.MODULE).run().assertStatus(4);
        assertTrue(nobody.err().startsWith("velnor: No token has the label \"nobody\"; there are "), nobody.err());
        Velnor.of("objects", "--slot", "x").module(Tokens.MODULE).run().assertRefused(2,
                "--slot takes a number, decimal or 0x..., of at most 64 bits");
        Velnor.of("objects", "--slot", "1", "--token", "a").module(Tokens.MODULE).run().assertRefused(2,
                "--token and --slot exclude each other");
    }
}
