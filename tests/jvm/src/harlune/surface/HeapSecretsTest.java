package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.HeapDump;
import harlune.support.ScriptedModule;

import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.function.Consumer;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;
import velnor.UserType;

/**
 * What the surface leaves in Java's heap, living or dead, of PINs, keys and plaintexts that the program wiped itself:
 * nothing. Another JVM works with them, wipes its own, and dumps its heap without having collected any of it.
 */
class HeapSecretsTest {
    private static final int SHORT = 24;
    private static final int LONG = 100_000;
    private static final List<String> NAMES = List.of("a PIN", "a refused PIN", "a new PIN", "the user's new PIN",
            "a key", "a refused key", "a long key", "a plaintext", "a refused plaintext", "a long plaintext",
            "a decrypted text", "data that was signed", "an attribute that was set", "a text in a buffer");
    /** An attribute keeps what it was made of as long as the program keeps the attribute: once each. */
    private static final Set<String> IN_ATTRIBUTES = Set.of("a key", "a refused key", "a long key",
            "an attribute that was set");
    private static final List<Object> KEPT = new ArrayList<>();
    private static final String UNWIPED = "what the program has not wiped";

    static char[] characters(byte[] ascii) {
        char[] characters = new char[ascii.length];
        for (int i = 0; i < ascii.length; i++) {
            characters[i] = (char) ascii[i];
        }
        return characters;
    }

    static void wipe(byte[]... arrays) {
        Arrays.asList(arrays).forEach(array -> Arrays.fill(array, (byte) 0));
    }

    private static byte[] secret(String name) {
        return HeapDump.secret(NAMES.indexOf(name) + 1, name.contains("long") ? LONG : SHORT);
    }

    private static void refused(Runnable call) {
        try {
            call.run();
            throw new AssertionError("not refused");
        } catch (CryptokiException expected) {
            // The way that is to wipe, too.
        }
    }

    private static void withPin(String name, Consumer<char[]> use) {
        byte[] secret = secret(name);
        char[] pin = characters(secret);
        use.accept(pin);
        Arrays.fill(pin, '\0');
        wipe(secret);
    }

    private static Attribute[] key(byte[] value) {
        return new Attribute[] {new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.AES),
            new Attribute(CKA.VALUE, value)};
    }

    static byte[] swapped(byte[] secret) {
        byte[] swapped = secret.clone();
        for (int i = 0; i < swapped.length; i++) {
            swapped[i] ^= 0x20;
        }
        return swapped;
    }

    private static void work(Session session) {
        TokenObject key = Surface.key(session, 0xB01);
        Mechanism aes = new Mechanism(CKM.AES_ECB);
        withPin("a PIN", pin -> refused(() -> session.login(pin)));
        withPin("a refused PIN", pin -> refused(() -> session.login(UserType.SECURITY_OFFICER, pin)));
        withPin("a new PIN", pin -> refused(() -> session.setPIN(pin, pin)));
        withPin("the user's new PIN", pin -> refused(() -> session.initPIN(pin)));
        byte[] plaintext = secret("a plaintext");
        session.encrypt(aes, key, plaintext);
        byte[] tooLate = secret("a refused plaintext");
        ScriptedModule.answer("C_Encrypt CKR_DEVICE_ERROR");
        refused(() -> session.encrypt(aes, key, tooLate));
        byte[] longText = secret("a long plaintext");
        session.encrypt(aes, key, longText);
        try (Encryptor encryptor = session.encryptor(aes, key)) {
            encryptor.update(longText);
            encryptor.finish();
        }
        byte[] decrypted = secret("a decrypted text");
        byte[] encrypted = swapped(decrypted);
        wipe(decrypted);
        wipe(session.decrypt(aes, key, encrypted), encrypted);
        byte[] signed = secret("data that was signed");
        try (var signer = session.signer(new Mechanism(CKM.RSA_PKCS), key)) {
            signer.update(signed);
            wipe(signer.sign());
        }
        ByteBuffer in = ByteBuffer.wrap(secret("a text in a buffer"));
        ByteBuffer out = ByteBuffer.allocateDirect(100);
        try (Encryptor encryptor = session.encryptor(aes, key)) {
            encryptor.finish(in.asReadOnlyBuffer(), out);
        }
        wipe(in.array());
        byte[] value = secret("a key");
        Attribute[] template = key(value);
        session.createObject(template);
        byte[] refusedValue = secret("a refused key");
        Attribute[] refusedTemplate = key(refusedValue);
        ScriptedModule.answer("C_CreateObject CKR_DEVICE_ERROR");
        refused(() -> session.createObject(refusedTemplate));
        byte[] longValue = secret("a long key");
        Attribute[] longTemplate = key(longValue);
        session.createObject(longTemplate);
        byte[] changed = secret("an attribute that was set");
        session.object(0xB04).set(new Attribute(CKA.VALUE, changed));
        KEPT.addAll(List.of(template, refusedTemplate, longTemplate));
        wipe(value, refusedValue, longValue, changed);
        wipe(plaintext, tooLate, longText, signed);
    }

    /** Dumps the heap into the file that is named. */
    public static void main(String[] arguments) throws Exception {
        Cryptoki cryptoki = Surface.scripted();
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        work(session);
        byte[] control = UNWIPED.toUpperCase(Locale.ROOT).getBytes(StandardCharsets.UTF_8);
        HeapDump.write(arguments[0]);
        System.exit(control.length > 0 ? 0 : 1);
    }

    @Test
    void nothingIsLeft(@TempDir Path directory) throws Exception {
        HeapDump heap = HeapDump.after(HeapSecretsTest.class, directory);
        Map<String, Integer> expected = new TreeMap<>();
        Map<String, byte[]> wanted = new TreeMap<>();
        for (String name : NAMES) {
            byte[] beginning = Arrays.copyOf(secret(name), SHORT);
            wanted.put(name, beginning);
            expected.put(name, IN_ATTRIBUTES.contains(name) ? 1 : 0);
        }
        wanted.put(UNWIPED, UNWIPED.toUpperCase(Locale.ROOT).getBytes(StandardCharsets.UTF_8));
        Map<String, Integer> found = heap.counts(wanted);
        assertTrue(found.remove(UNWIPED) > 0);
        assertEquals(expected, found);
    }
}
