package harlune.surface;

import static harlune.support.FreedBlocks.secret;
import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.Bridge;
import harlune.support.ChildJvm;
import harlune.support.FreedBlocks;
import harlune.support.ScriptedModule;

import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;
import velnor.UserType;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;

/**
 * What is left of PINs, keys and plaintexts in memory that the process gives back: through the surface nothing, through
 * the contract's natives what the JVM copied for them, which docs/behaviour.md tells.
 */
class FreedBlocksTest {
    private static final Mechanism AES = new Mechanism(CKM.AES_ECB);
    private static final Mechanism RSA = new Mechanism(CKM.RSA_PKCS);
    private static final int MANY = 10_000;
    private static final long KEY = 0xB01;

    private static void refused(Runnable call) {
        try {
            call.run();
            throw new AssertionError("not refused");
        } catch (CryptokiException expected) {
            // The way that is to wipe, too.
        }
    }

    private static char[] pin(char letter) {
        return new String(secret(letter), StandardCharsets.US_ASCII).toCharArray();
    }

    private static String text(char letter) {
        return new String(secret(letter), StandardCharsets.US_ASCII);
    }

    /** What the scripted module makes of it: the other case. */
    private static byte[] encrypted(char letter, int times) {
        byte[] bytes = secret(letter, times);
        for (int i = 0; i < bytes.length; i++) {
            bytes[i] ^= 0x20;
        }
        return bytes;
    }

    private static Attribute[] key(byte[] value) {
        return new Attribute[] {new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.AES),
            new Attribute(CKA.VALUE, value)};
    }

    private static void throughTheSurface() {
        Cryptoki cryptoki = Surface.scripted();
        Session session = cryptoki.slotsWithToken().get(0).openSession();
        TokenObject key = Surface.key(session, KEY);
        refused(() -> session.login(pin('A')));
        refused(() -> session.login(UserType.SECURITY_OFFICER, pin('B')));
        refused(() -> session.setPIN(pin('C'), pin('D')));
        session.encrypt(AES, key, secret('E'));
        session.encrypt(AES, key, secret('F', MANY));
        ScriptedModule.answer("C_Encrypt CKR_DEVICE_ERROR");
        refused(() -> session.encrypt(AES, key, secret('G', MANY)));
        session.decrypt(AES, key, encrypted('H', 1));
        session.decrypt(AES, key, encrypted('I', MANY));
        try (Encryptor encryptor = session.encryptor(AES, key)) {
            encryptor.update(secret('J', MANY));
            encryptor.finish();
        }
        try (Decryptor decryptor = session.decryptor(AES, key)) {
            ByteBuffer out = ByteBuffer.allocate(20 * MANY);
            decryptor.finish(ByteBuffer.wrap(encrypted('K', MANY)).asReadOnlyBuffer(), out);
        }
        session.sign(RSA, key, secret('L', MANY));
        session.digest(new Mechanism(CKM.SHA256), secret('M', MANY));
        session.createObject(key(secret('N')));
        session.createObject(key(secret('O', MANY)));
        ScriptedModule.answer("C_CreateObject CKR_DEVICE_ERROR");
        refused(() -> session.createObject(key(secret('P', MANY))));
        session.object(0xB04).set(new Attribute(CKA.VALUE, secret('Q', MANY)));
        session.object(0xB04).attribute(CKA.VALUE).value();
        session.seedRandom(secret('R', MANY));
        ScriptedModule.answer("C_UnwrapKey CKR_DEVICE_ERROR");
        refused(() -> session.unwrapKey(AES, key, secret('S', MANY), key(secret('T', MANY))));
        cryptoki.close();
    }

    private static void throughTheContract() {
        ScriptedModule.reset();
        NativeCryptoki cryptoki = Bridge.initialize(ScriptedModule.PATH);
        NativeSession session = cryptoki.GetSlotList(true)[0].J_OpenSession(6, (byte) 1, "");
        long handle = session.sessionHandle();
        refused(() -> session.J_Login((byte) 1, text('A')));
        refused(() -> session.J_SetPIN(text('C'), text('D')));
        byte[] data = secret('F', MANY);
        session.J_Encrypt(handle, true, AES, KEY, data, 0, data.length);
        byte[] encrypted = encrypted('I', MANY);
        session.J_Decrypt(handle, true, AES, KEY, encrypted, 0, encrypted.length);
        session.J_DecryptUpdate(handle, true, AES, KEY, encrypted('K', MANY), 0, encrypted.length,
                new byte[2 * encrypted.length], 0);
        byte[] signed = secret('L', MANY);
        session.J_Sign(handle, true, RSA, 0xB03, signed, 0, signed.length);
        session.J_CreateObject(key(secret('O', MANY)));
        session.J_SetAttributeValue(0xB04, new Attribute[] {new Attribute(CKA.VALUE, secret('Q', 100))});
        session.J_GetAttributeValue(0xB04, CKA.VALUE);
        session.J_GenerateRandom(handle, true, secret('R', MANY), new byte[4], 0, 4);
        cryptoki.Finalize(null);
    }

    /** Works one way or the other; what it prints shows that it came to the end. */
    public static void main(String[] arguments) {
        if (arguments[0].equals("surface")) {
            throughTheSurface();
        } else {
            throughTheContract();
        }
        System.out.println("worked " + arguments[0].toUpperCase(Locale.ROOT));
    }

    private static Map<String, Set<Character>> left(String way, Path directory) throws Exception {
        FreedBlocks blocks = new FreedBlocks(directory);
        ChildJvm.End end = ChildJvm.run(List.of(), blocks.environment(), FreedBlocksTest.class, way);
        assertEquals("worked " + way.toUpperCase(Locale.ROOT) + "\n", end.told());
        blocks.assertSaw('A');
        return blocks.left();
    }

    private static Set<Character> letters(String letters) {
        Set<Character> set = new TreeSet<>();
        letters.chars().forEach(letter -> set.add((char) letter));
        return set;
    }

    @Test
    void theSurfaceLeavesNothing(@TempDir Path directory) throws Exception {
        assertEquals(Map.of(), left("surface", directory));
    }

    /** PINs, input, and output that was written into the caller's array; values of attributes are copied by region. */
    @Test
    void theContractLeavesTheCopiesOfTheJvm(@TempDir Path directory) throws Exception {
        assertEquals(Map.of("libjvm.so", letters("ACDFKLR")), left("contract", directory));
    }
}
