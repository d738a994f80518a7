package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKF;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Reading;
import velnor.Session;
import velnor.TokenObject;
import velnor.nat.NativeFunctions;

/**
 * Keys that no token should have made (incomplete, empty, on unknown curves, of vendors' types) and secret keys of each
 * type, made behind the surface's back as another program would have, with each mechanism of the token in each use. The
 * tokens do not survive many of these by themselves; the surface refuses, or the token does, and the process goes on.
 */
class HostileKeysTest {
    private static final byte[] P256 = {6, 8, 0x2A, (byte) 0x86, 0x48, (byte) 0xCE, 0x3D, 3, 1, 7};
    private static final byte[] ED25519 = {6, 3, 0x2B, 0x65, 0x70};
    private static final byte[] X25519 = {6, 3, 0x2B, 0x65, 0x6E};
    private static final byte[] UNKNOWN_CURVE = {6, 5, 0x2B, (byte) 0x81, 4, 0, 99};
    private static final byte[] NUMBER = new byte[256];
    private static final List<byte[]> NUMBERS = List.of(new byte[0], new byte[1], new byte[] {3}, NUMBER);
    private static final List<byte[]> CURVES = List.of(new byte[0], new byte[] {1, 2, 3}, new byte[] {6, 8},
            UNKNOWN_CURVE, ED25519, X25519, P256, new byte[] {0x30, 0}, new byte[] {0x30, 3, 2, 1, 1},
            new byte[] {5, 0}, new byte[300]);
    private static final List<byte[]> POINTS = List.of(new byte[0], new byte[32], new byte[] {4, 2, 4, 4},
            new byte[70]);

    static {
        Arrays.fill(NUMBER, (byte) 0xC5);
    }

    private Cryptoki cryptoki;
    private Session session;
    private final List<Attribute[]> templates = new ArrayList<>();

    @BeforeEach
    void open() {
        cryptoki = Surface.token();
        session = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        session.login(Tokens.PIN);
    }

    @AfterEach
    void close() {
        cryptoki.close();
    }

    private static Attribute[] with(List<Attribute> common, Attribute... more) {
        List<Attribute> all = new ArrayList<>(common);
        for (Attribute attribute : more) {
            if (attribute != null) {
                all.add(attribute);
            }
        }
        return all.toArray(new Attribute[0]);
    }

    /** Null for none. */
    private static Attribute attribute(int type, byte[] value) {
        return value == null ? null : new Attribute(type, value);
    }

    private static List<byte[]> orNone(List<byte[]> values) {
        List<byte[]> all = new ArrayList<>(values);
        all.add(null);
        return all;
    }

    private static List<Attribute> common(int keyClass, long type) {
        List<Attribute> common = new ArrayList<>(List.of(new Attribute(CKA.CLASS, keyClass),
                new Attribute(CKA.KEY_TYPE, type), new Attribute(CKA.TOKEN, false), new Attribute(CKA.PRIVATE, false),
                new Attribute(CKA.DERIVE, true)));
        if (keyClass != CKO.PRIVATE_KEY) {
            for (int use : new int[] {CKA.VERIFY, CKA.ENCRYPT, CKA.WRAP}) {
                common.add(new Attribute(use, true));
            }
        }
        if (keyClass != CKO.PUBLIC_KEY) {
            for (int use : new int[] {CKA.SIGN, CKA.DECRYPT, CKA.UNWRAP, CKA.EXTRACTABLE}) {
                common.add(new Attribute(use, true));
            }
            common.add(new Attribute(CKA.SENSITIVE, false));
        }
        return common;
    }

    private void addPairs(int keyClass) {
        int own = keyClass == CKO.PUBLIC_KEY ? CKA.EC_POINT : CKA.VALUE;
        for (int type : new int[] {CKK.EC, CKK.EC_EDWARDS, CKK.EC_MONTGOMERY}) {
            for (byte[] curve : orNone(CURVES)) {
                for (byte[] point : orNone(POINTS)) {
                    templates.add(with(common(keyClass, type), attribute(CKA.EC_PARAMS, curve), attribute(own, point)));
                }
            }
        }
        for (byte[] modulus : orNone(NUMBERS)) {
            for (byte[] exponent : orNone(NUMBERS)) {
                for (byte[] secret : keyClass == CKO.PUBLIC_KEY ? Arrays.asList((byte[]) null) : orNone(NUMBERS)) {
                    templates.add(with(common(keyClass, CKK.RSA), attribute(CKA.MODULUS, modulus),
                            attribute(CKA.PUBLIC_EXPONENT, exponent), attribute(CKA.PRIVATE_EXPONENT, secret)));
                }
            }
        }
        int[] parts = {CKA.PRIME, CKA.SUBPRIME, CKA.BASE, CKA.VALUE};
        for (int type : new int[] {CKK.DSA, CKK.DH, CKK.X9_42_DH}) {
            for (int odd = 0; odd < parts.length; odd++) {
                for (byte[] value : orNone(NUMBERS)) {
                    Attribute[] more = new Attribute[parts.length];
                    for (int i = 0; i < parts.length; i++) {
                        more[i] = type == CKK.DH && parts[i] == CKA.SUBPRIME ? null
                                : attribute(parts[i], i == odd ? value : NUMBER);
                    }
                    templates.add(with(common(keyClass, type), more));
                }
            }
        }
    }

    private void addSecretKeys() {
        for (long type : new long[] {CKK.SHA256_HMAC, CKK.SHA_1_HMAC, CKK.MD5_HMAC, CKK.GENERIC_SECRET, CKK.AES,
                CKK.DES, CKK.DES3, 0x80000001L, 0x1234, 0x100000000L, 0x10000001FL}) {
            for (int length : new int[] {0, 1, 8, 16, 24, 32}) {
                templates.add(with(common(CKO.SECRET_KEY, type), new Attribute(CKA.VALUE, new byte[length])));
            }
        }
    }

    /** What the token lets be made of all that, and what it keeps of what it has refused. */
    private List<TokenObject> keys() {
        long module = NativeFunctions.load(Tokens.MODULE.getBytes(StandardCharsets.UTF_8), new byte[0]);
        long[] other = new long[1];
        assertEquals(CKR.OK, NativeFunctions.openSession(module, session.slot().id(),
                CKF.SERIAL_SESSION | CKF.RW_SESSION, other));
        for (Attribute[] template : templates) {
            NativeFunctions.create(module, other[0], Reading.structure(template).bytes(), new long[1]);
        }
        return session.find();
    }

    private List<Runnable> uses(Mechanism mechanism, TokenObject key) {
        Attribute[] made = {new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.TOKEN, false),
            new Attribute(CKA.KEY_TYPE, CKK.GENERIC_SECRET), new Attribute(CKA.VALUE_LEN, 16)};
        return List.of(() -> session.sign(mechanism, key, new byte[20]),
                () -> session.verify(mechanism, key, new byte[20], new byte[64]),
                () -> session.encrypt(mechanism, key, new byte[16]),
                () -> session.decrypt(mechanism, key, new byte[16]),
                () -> session.signRecover(mechanism, key, new byte[20]),
                () -> session.verifyRecover(mechanism, key, new byte[64]),
                () -> session.wrapKey(mechanism, key, key),
                () -> session.unwrapKey(mechanism, key, new byte[64], Arrays.copyOf(made, 3)),
                () -> session.deriveKey(mechanism, key, made));
    }

    @Test
    void theProcessOutlivesThem() {
        addPairs(CKO.PUBLIC_KEY);
        addPairs(CKO.PRIVATE_KEY);
        addSecretKeys();
        List<TokenObject> keys = keys();
        assertTrue(keys.size() > 100, () -> keys.size() + " keys");
        List<Integer> mechanisms = new ArrayList<>(session.slot().mechanisms());
        mechanisms.removeIf(code -> !CKM.all().contains(code));
        int refusedHere = 0;
        int refusedThere = 0;
        int good = 0;
        for (TokenObject key : keys) {
            for (int code : mechanisms) {
                for (byte[] parameter : new byte[][] {null, new byte[8], new byte[16]}) {
                    for (Runnable use : uses(new Mechanism(code, parameter), key)) {
                        try {
                            use.run();
                            good++;
                        } catch (IllegalArgumentException advised) {
                            refusedHere++;
                        } catch (CryptokiException answered) {
                            refusedThere++;
                        }
                    }
                }
            }
        }
        System.out.println(keys.size() + " keys, " + mechanisms.size() + " mechanisms: " + refusedHere
                + " uses refused before the token saw them, " + refusedThere + " by the token, " + good + " good");
        assertTrue(refusedHere > 0 && refusedThere > 0 && good > 0);
        assertEquals(8, session.random(8).length);
    }
}
