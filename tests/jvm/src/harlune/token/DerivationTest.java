package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.Arrays;
import java.util.HashSet;
import java.util.HexFormat;
import java.util.Set;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.Attribute;
import velnor.CryptokiObject;
import velnor.Mechanism;
import velnor.Version;
import velnor.nat.NativeObject;
import velnor.params.EXTRACTParams;
import velnor.params.KEYDERIVATIONSTRINGDATA;
import velnor.params.SSL3KEYMATOUT;
import velnor.params.SSL3KEYMATParams;
import velnor.params.SSL3MASTERKEYDERIVEParams;
import velnor.params.SSL3RANDOMDATA;

/** Keys are derived; what they must be is computed here. */
class DerivationTest extends KeyedSession {
    private static final byte[] BASE = bytes(32);
    private static final byte[] DATA = bytes(12);

    private long base;

    @BeforeEach
    void createBaseKey() {
        base = secretKey(CKK_GENERIC_SECRET, BASE);
    }

    private static Attribute[] newKey(Attribute... more) {
        Attribute[] common = {
            new Attribute(CKA_CLASS, CKO_SECRET_KEY),
            new Attribute(CKA_KEY_TYPE, CKK_GENERIC_SECRET),
            new Attribute(CKA_TOKEN, false),
        };
        Attribute[] all = Arrays.copyOf(common, common.length + more.length);
        System.arraycopy(more, 0, all, common.length, more.length);
        return all;
    }

    /** Derives, and gives the value of what came out. */
    private byte[] derived(Mechanism mechanism, long key, Attribute... template) {
        assertEquals(template.length, session.J_DeriveKey(mechanism, key, template));
        NativeObject object = session.takeDerivedObject();
        assertSame(session, object.session());
        assertNull(session.takeDerivedObject());
        return valueOf(object.handle());
    }

    @Test
    void dataGoesBehindTheKey() {
        Mechanism mechanism = new Mechanism(CKM_CONCATENATE_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(DATA));
        assertArrayEquals(joined(BASE, DATA), derived(mechanism, base, newKey()));
    }

    @Test
    void dataGoesInFrontOfTheKey() {
        Mechanism mechanism = new Mechanism(CKM_CONCATENATE_DATA_AND_BASE, new KEYDERIVATIONSTRINGDATA(DATA));
        assertArrayEquals(joined(DATA, BASE), derived(mechanism, base, newKey()));
    }

    @Test
    void dataIsAddedBitByBit() {
        Mechanism mechanism = new Mechanism(CKM_XOR_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(DATA));
        byte[] expected = new byte[DATA.length];
        for (int i = 0; i < expected.length; i++) {
            expected[i] = (byte) (BASE[i] ^ DATA[i]);
        }
        assertArrayEquals(expected, derived(mechanism, base, newKey()));
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 8, 13, 120})
    void aKeyIsCutOutAtABit(int bit) {
        byte[] expected = new byte[10];
        BigInteger number = new BigInteger(1, BASE);
        for (int i = 0; i < 80; i++) {
            if (number.testBit(BASE.length * 8 - 1 - bit - i)) {
                expected[i / 8] |= (byte) (0x80 >> i % 8);
            }
        }
        assertArrayEquals(expected, derived(new Mechanism(CKM_EXTRACT_KEY_FROM_KEY, new EXTRACTParams(bit)), base,
                newKey(new Attribute(CKA_VALUE_LEN, 10))));
    }

    /** SSL 3's way to make key material of a secret and two random numbers, three blocks of it. */
    private static byte[] sslMaterial(byte[] secret, byte[] random, byte[] other)
            throws NoSuchAlgorithmException {
        MessageDigest sha = MessageDigest.getInstance("SHA-1");
        MessageDigest md5 = MessageDigest.getInstance("MD5");
        byte[] material = new byte[0];
        for (String salt : new String[] {"A", "BB", "CCC"}) {
            byte[] inner = sha.digest(joined(salt.getBytes(StandardCharsets.US_ASCII), secret, random, other));
            material = joined(material, md5.digest(joined(secret, inner)));
        }
        return material;
    }

    @Test
    void anSslMasterSecretIsMadeOfBothRandomNumbers() throws NoSuchAlgorithmException {
        byte[] preMaster = joined(new byte[] {3, 0}, bytes(46));
        byte[] client = bytes(32);
        byte[] server = first(bytes(33), 32);
        Mechanism mechanism = new Mechanism(CKM_SSL3_MASTER_KEY_DERIVE,
                new SSL3MASTERKEYDERIVEParams(new Version(0, 3), new SSL3RANDOMDATA(client, server)));
        assertArrayEquals(sslMaterial(preMaster, client, server), derived(mechanism,
                secretKey(CKK_GENERIC_SECRET, preMaster), newKey(new Attribute(CKA_VALUE_LEN, 48))));
    }

    /** The four keys have no way to Java but a search, and the random numbers reach the token as zeroes. */
    @Test
    void sslKeysAreMadeOfZeroesInTheRandomNumbersPlace() throws NoSuchAlgorithmException {
        byte[] master = bytes(48);
        byte[] material = sslMaterial(master, new byte[32], new byte[32]);
        session.J_DeriveKey(new Mechanism(CKM_SSL3_KEY_AND_MAC_DERIVE, new SSL3KEYMATParams(
                new SSL3KEYMATOUT(0, 0, 0, 0, null, null), new SSL3RANDOMDATA(bytes(32), first(bytes(33), 32)), false,
                64, 128, 0)), secretKey(CKK_GENERIC_SECRET, master), newKey(new Attribute(CKA_VALUE_LEN, 8)));
        Set<String> values = new HashSet<>();
        for (CryptokiObject key : session.J_FindObjects(new Attribute[] {new Attribute(CKA_CLASS, CKO_SECRET_KEY)},
                new int[] {CKA_VALUE})) {
            values.add(hex(key.attribute(CKA_VALUE).bytesValue()));
        }
        for (int[] part : new int[][] {{0, 16}, {16, 32}, {32, 40}, {40, 48}}) {
            String expected = hex(Arrays.copyOfRange(material, part[0], part[1]));
            assertTrue(values.contains(expected), () -> expected + " is not among " + values);
        }
    }

    private static String hex(byte[] bytes) {
        return HexFormat.of().formatHex(bytes);
    }

    @Test
    void twoDerivationsAreTwoKeys() {
        session.J_DeriveKey(new Mechanism(CKM_CONCATENATE_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(DATA)), base,
                newKey());
        long one = session.takeDerivedObject().handle();
        session.J_DeriveKey(new Mechanism(CKM_CONCATENATE_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(bytes(1))), base,
                newKey());
        long other = session.takeDerivedObject().handle();
        assertArrayEquals(joined(BASE, DATA), valueOf(one));
        assertArrayEquals(joined(BASE, bytes(1)), valueOf(other));
    }

    @Test
    void whatFailsLeavesNoObject() {
        assertRefused("J_DeriveKey", CKR_KEY_HANDLE_INVALID, "KEY HANDLE INVALID", () -> session.J_DeriveKey(
                new Mechanism(CKM_CONCATENATE_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(DATA)), 0x7FFF, newKey()));
        assertText("J_DeriveKey", "Mechanism2CKMechanism - parameter value is NULL",
                () -> session.J_DeriveKey(new Mechanism(CKM_EXTRACT_KEY_FROM_KEY), base, newKey()));
        assertText("J_DeriveKey", "Mechanism2CKMechanism - jData  is NULL", () -> session.J_DeriveKey(
                new Mechanism(CKM_XOR_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(null)), base, newKey()));
        assertNull(session.takeDerivedObject());
    }
}
