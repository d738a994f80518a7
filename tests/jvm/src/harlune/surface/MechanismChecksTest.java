package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertAll;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import harlune.support.Bridge;
import harlune.support.Ck;
import harlune.support.ScriptedModule;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.IntStream;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.Attribute;
import velnor.CKM;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;
import velnor.Version;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.params.EXTRACTParams;
import velnor.params.KEYDERIVATIONSTRINGDATA;
import velnor.params.KEYWRAPSETOAEPParams;
import velnor.params.KeaDeriveParams;
import velnor.params.MACGENERALParams;
import velnor.params.OAEPParams;
import velnor.params.PBEParams;
import velnor.params.RC2CBCParams;
import velnor.params.RC2MACGENERALParams;
import velnor.params.RC2Params;
import velnor.params.RC5CBCParams;
import velnor.params.RC5MACGENERALParams;
import velnor.params.RC5Params;
import velnor.params.SKIPJACKPRIVATEWRAPParams;
import velnor.params.SKIPJACKRELAYXParams;
import velnor.params.SSL3KEYMATOUT;
import velnor.params.SSL3KEYMATParams;
import velnor.params.SSL3MASTERKEYDERIVEParams;
import velnor.params.SSL3RANDOMDATA;

/** A mechanism is let through exactly when the native library passes the parameter on that it has or needs. */
class MechanismChecksTest {
    /** Every code of the standard, its neighbours, and some of vendors'. */
    private static final int[] CODES = IntStream.concat(CKM.all().stream().mapToInt(code -> code),
            IntStream.of(CKM.VENDOR_DEFINED + CKM.DES3_CBC, -2))
            .flatMap(code -> IntStream.rangeClosed(code - 1, code + 1)).distinct().toArray();

    /** What wants a parameter that the native library does not pass on. */
    private static final Set<Integer> IMPOSSIBLE = Set.of(
            CKM.RSA_PKCS_PSS, CKM.SHA1_RSA_PKCS_PSS, CKM.SHA224_RSA_PKCS_PSS, CKM.SHA256_RSA_PKCS_PSS,
            CKM.SHA384_RSA_PKCS_PSS, CKM.SHA512_RSA_PKCS_PSS, CKM.DH_PKCS_DERIVE, CKM.X9_42_DH_DERIVE,
            CKM.X9_42_DH_HYBRID_DERIVE, CKM.X9_42_MQV_DERIVE, CKM.ECDH1_DERIVE, CKM.ECDH1_COFACTOR_DERIVE,
            CKM.ECMQV_DERIVE, CKM.GOSTR3410_DERIVE, CKM.KIP_DERIVE, CKM.DES_OFB64, CKM.DES_OFB8, CKM.DES_CFB64,
            CKM.DES_CFB8, CKM.CONCATENATE_BASE_AND_KEY, CKM.SSL3_MASTER_KEY_DERIVE_DH, CKM.TLS_MASTER_KEY_DERIVE,
            CKM.TLS_KEY_AND_MAC_DERIVE, CKM.TLS_MASTER_KEY_DERIVE_DH, CKM.TLS_PRF, CKM.PKCS5_PBKD2,
            CKM.WTLS_MASTER_KEY_DERIVE, CKM.WTLS_MASTER_KEY_DERIVE_DH_ECC, CKM.WTLS_PRF,
            CKM.WTLS_SERVER_KEY_AND_MAC_DERIVE, CKM.WTLS_CLIENT_KEY_AND_MAC_DERIVE, CKM.TLS12_MASTER_KEY_DERIVE,
            CKM.TLS12_KEY_AND_MAC_DERIVE, CKM.TLS12_MASTER_KEY_DERIVE_DH, CKM.TLS12_KEY_SAFE_DERIVE, CKM.CAMELLIA_CBC,
            CKM.CAMELLIA_MAC_GENERAL, CKM.CAMELLIA_CBC_PAD, CKM.CAMELLIA_ECB_ENCRYPT_DATA,
            CKM.CAMELLIA_CBC_ENCRYPT_DATA, CKM.CAMELLIA_CTR, CKM.ARIA_CBC, CKM.ARIA_MAC_GENERAL, CKM.ARIA_CBC_PAD,
            CKM.ARIA_ECB_ENCRYPT_DATA, CKM.ARIA_CBC_ENCRYPT_DATA, CKM.SEED_CBC, CKM.SEED_MAC_GENERAL, CKM.SEED_CBC_PAD,
            CKM.SEED_ECB_ENCRYPT_DATA, CKM.SEED_CBC_ENCRYPT_DATA, CKM.SKIPJACK_CBC64, CKM.SKIPJACK_OFB64,
            CKM.SKIPJACK_CFB64, CKM.SKIPJACK_CFB32, CKM.SKIPJACK_CFB16, CKM.SKIPJACK_CFB8, CKM.CAST_CBC_PAD,
            CKM.CAST3_CBC_PAD, CKM.BATON_CBC128, CKM.JUNIPER_CBC128, CKM.AES_CBC, CKM.AES_MAC_GENERAL, CKM.AES_CBC_PAD,
            CKM.AES_CTR, CKM.AES_GCM, CKM.AES_CCM, CKM.AES_CTS, CKM.AES_GMAC, CKM.AES_OFB, CKM.AES_CFB64, CKM.AES_CFB8,
            CKM.AES_CFB128, CKM.AES_CFB1, CKM.BLOWFISH_CBC, CKM.BLOWFISH_CBC_PAD, CKM.TWOFISH_CBC, CKM.TWOFISH_CBC_PAD,
            CKM.DES_ECB_ENCRYPT_DATA, CKM.DES_CBC_ENCRYPT_DATA, CKM.DES3_ECB_ENCRYPT_DATA, CKM.DES3_CBC_ENCRYPT_DATA,
            CKM.AES_ECB_ENCRYPT_DATA, CKM.AES_CBC_ENCRYPT_DATA);

    /** A parameter of each class, and how the module shows it when native code has read it as what it is. */
    private static final Map<Object, String> SAMPLES = new LinkedHashMap<>();

    static {
        SSL3RANDOMDATA random = new SSL3RANDOMDATA(bytes("client"), bytes("server"));
        SAMPLES.put(bytes("12345678"), "8:\"12345678\"");
        SAMPLES.put(new MACGENERALParams(0x77), "8:7700000000000000");
        SAMPLES.put(new RC2Params(0x78), "8:7800000000000000");
        SAMPLES.put(new RC2CBCParams(0x79, bytes("12345678")), "16:79000000000000003132333435363738");
        SAMPLES.put(new RC2MACGENERALParams(0x7A, 5), "16:7A000000000000000500000000000000");
        SAMPLES.put(new RC5Params(0x7B, 12), "16:7B000000000000000C00000000000000");
        SAMPLES.put(new RC5CBCParams(4, 12, bytes("vector")), "32:{wordsize=4 rounds=12 iv=\"vector\"}");
        SAMPLES.put(new RC5MACGENERALParams(0x7C, 12, 5), "24:7C000000000000000C000000000000000500000000000000");
        SAMPLES.put(new OAEPParams(0x220, 1, 2, null), "40:{hashAlg=0x220 mgf=0x1 source=0x2 sourceData=null:0}");
        SAMPLES.put(new KEYWRAPSETOAEPParams((byte) 0x83, bytes("hash")), "24:{bBC=0x83 x=\"hash\"}");
        SAMPLES.put(new PBEParams(null, new char[] {'p'}, new char[] {'s'}, 9),
                "48:{initVector=null:0 password=\"p\" salt=\"s\" iteration=9}");
        SAMPLES.put(new KEYDERIVATIONSTRINGDATA(bytes("data")), "16:{data=\"data\"}");
        SAMPLES.put(new EXTRACTParams(0x7D), "8:7D00000000000000");
        SAMPLES.put(new SSL3MASTERKEYDERIVEParams(new Version(4, 3), random),
                "40:{clientRandom=\"client\" serverRandom=\"server\" version=3.4}");
        SAMPLES.put(new SSL3KEYMATParams(new SSL3KEYMATOUT(1, 2, 3, 4, null, null), random, true, 5, 6, 7),
                "72:{macSizeInBits=6 keySizeInBits=5 ivSizeInBits=7 isExport=1 clientRandom=000000000000 "
                        + "serverRandom=000000000000 returned={clientMacSecret=0x2 serverMacSecret=0x4 clientKey=0x1 "
                        + "serverKey=0x3 ivClient=null:0 ivServer=null:0}}");
        SAMPLES.put(new SKIPJACKPRIVATEWRAPParams(bytes("password"), bytes("public"), bytes("random"), bytes("prime"),
                bytes("based"), bytes("subprime")),
                "88:{password=\"password\" publicData=\"public\" randomA=\"random\" primeP=\"prime\" "
                        + "baseG=\"based\" subprimeQ=\"subprime\"}");
        SAMPLES.put(new SKIPJACKRELAYXParams(bytes("x"), bytes("op"), bytes("od"), bytes("or"), bytes("np"),
                bytes("nd"), bytes("nr")), "112:{oldWrappedX=\"x\" oldPassword=\"op\" oldPublicData=\"od\" "
                        + "oldRandomA=\"or\" newPassword=\"np\" newPublicData=\"nd\" newRandomA=\"nr\"}");
        SAMPLES.put(new KeaDeriveParams(true, bytes("aaa"), bytes("bbb"), bytes("public")),
                "48:{isSender=1 randomA=\"aaa\" randomB=\"bbb\" publicData=\"public\"}");
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    private static String messageOf(Session session, Mechanism mechanism) {
        try {
            session.generateKey(mechanism);
            return "";
        } catch (IllegalArgumentException e) {
            assertTrue(e.getMessage().contains(CKM.name(mechanism.mechanism())), e.getMessage());
            return e.getMessage();
        }
    }

    /** For each code the sample that the surface lets through; null where it lets none through. */
    private static Map<Integer, Object> letThrough() {
        Map<Integer, Object> letThrough = new LinkedHashMap<>();
        try (Cryptoki cryptoki = Surface.scripted()) {
            ScriptedModule.answer("C_GenerateKey CKR_OK handle=0xB01 always");
            Session session = cryptoki.slotsWithToken().get(0).openSession();
            for (int code : CODES) {
                List<Object> taken = new ArrayList<>();
                for (Object sample : SAMPLES.keySet()) {
                    if (messageOf(session, new Mechanism(code, sample)).isEmpty()) {
                        taken.add(sample);
                    }
                }
                boolean withoutAny = messageOf(session, new Mechanism(code)).isEmpty();
                boolean impossible = IMPOSSIBLE.contains(code);
                assertEquals(impossible ? 0 : 1, taken.size() + (withoutAny ? 1 : 0), CKM.name(code));
                letThrough.put(code, withoutAny || impossible ? null : taken.get(0));
            }
        }
        return letThrough;
    }

    /** What the module is given by the bare native method; null when that wants a parameter and there is none. */
    private static String given(NativeSession session, int code, Object parameter) {
        ScriptedModule.clearJournal();
        try {
            session.J_SignInit(session.sessionHandle(), new Mechanism(code, parameter), 0xB03);
        } catch (CryptokiException e) {
            assertTrue(e.text().endsWith("parameter value is NULL"), e.getMessage());
            assertEquals(List.of(), ScriptedModule.journal());
            return null;
        }
        String line = ScriptedModule.journal().get(0);
        return line.substring(line.indexOf("mechanism="), line.indexOf(" key="));
    }

    @Test
    void theTableIsTheNativeLibrarys() {
        Map<Integer, Object> letThrough = letThrough();
        ScriptedModule.reset();
        NativeCryptoki cryptoki = Bridge.initialize(ScriptedModule.PATH);
        NativeSession session = cryptoki.GetSlotList(true)[0].J_OpenSession(Ck.CKF_SERIAL_SESSION);
        ScriptedModule.answer("C_SignInit CKR_OK always");
        letThrough.forEach((code, sample) -> {
            String shown = "mechanism=0x" + Long.toHexString(code).toUpperCase();
            if (sample == null) {
                assertEquals(shown, given(session, code, null));
                assertEquals(shown, given(session, code, new byte[8]));
            } else {
                assertEquals(null, given(session, code, null));
                assertEquals(shown + " parameter=" + SAMPLES.get(sample), given(session, code, sample));
            }
        });
        cryptoki.Finalize(null);
        assertEquals(SAMPLES.size(), letThrough.values().stream().filter(sample -> sample != null).distinct().count());
    }

    static Stream<Arguments> mistakes() {
        byte[] some = bytes("12345678");
        SSL3RANDOMDATA random = new SSL3RANDOMDATA(some, some);
        SSL3KEYMATOUT keys = new SSL3KEYMATOUT(0, 0, 0, 0, null, null);
        Version version = new Version(0, 3);
        return Stream.of(
                arguments(CKM.DES3_CBC, new byte[7], "8 bytes, not of 7"),
                arguments(CKM.DES3_CBC, new byte[9], "8 bytes, not of 9"),
                arguments(CKM.DES3_CBC, null, "byte[], not null"),
                arguments(CKM.DES3_CBC, "12345678", "byte[], not java.lang.String"),
                arguments(CKM.RC2_ECB, new RC2MACGENERALParams(1, 2),
                        "RC2Params, not velnor.params.RC2MACGENERALParams"),
                arguments(CKM.AES_CBC, new byte[16], "CKM_AES_ECB"),
                arguments(CKM.SHA256_RSA_PKCS_PSS, new Object(), "CKM_RSA_X_509"),
                arguments(CKM.ECDH1_DERIVE, new Object(), "agreement"),
                arguments(CKM.DES_OFB8, new byte[8], "another mechanism"),
                arguments(CKM.DES_OFB8, null, "needs a parameter"),
                arguments(CKM.AES_GCM, null, "CKM_AES_ECB"),
                arguments(CKM.VENDOR_DEFINED, new byte[8], "CKM_VENDOR_DEFINED"),
                arguments(CKM.RC2_CBC, new RC2CBCParams(1, new byte[7]), "fewer than 8"),
                arguments(CKM.RC2_CBC, new RC2CBCParams(1, null), "iv"),
                arguments(CKM.RC5_CBC, new RC5CBCParams(1, 2, null), "iv"),
                arguments(CKM.KEY_WRAP_SET_OAEP, new KEYWRAPSETOAEPParams((byte) 0, null), "xData"),
                arguments(CKM.XOR_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(null), "data"),
                arguments(CKM.PBE_MD5_DES_CBC, new PBEParams(new char[7], new char[1], new char[1], 1), "initVector"),
                arguments(CKM.PBE_MD5_DES_CBC, new PBEParams(null, null, new char[1], 1), "password"),
                arguments(CKM.PBE_MD5_DES_CBC, new PBEParams(null, new char[1], null, 1), "salt"),
                arguments(CKM.SSL3_MASTER_KEY_DERIVE, new SSL3MASTERKEYDERIVEParams(null, random), "version"),
                arguments(CKM.SSL3_MASTER_KEY_DERIVE, new SSL3MASTERKEYDERIVEParams(version, null), "randomInfo"),
                arguments(CKM.SSL3_MASTER_KEY_DERIVE,
                        new SSL3MASTERKEYDERIVEParams(version, new SSL3RANDOMDATA(null, some)), "clientRandom"),
                arguments(CKM.SSL3_MASTER_KEY_DERIVE,
                        new SSL3MASTERKEYDERIVEParams(version, new SSL3RANDOMDATA(some, null)), "serverRandom"),
                arguments(CKM.SSL3_KEY_AND_MAC_DERIVE, new SSL3KEYMATParams(null, random, true, 1, 2, 3),
                        "returnedKeyMaterial"),
                arguments(CKM.SSL3_KEY_AND_MAC_DERIVE, new SSL3KEYMATParams(keys, null, true, 1, 2, 3), "randomInfo"),
                arguments(CKM.SSL3_KEY_AND_MAC_DERIVE,
                        new SSL3KEYMATParams(keys, new SSL3RANDOMDATA(null, some), true, 1, 2, 3), "clientRandom"),
                arguments(CKM.SSL3_KEY_AND_MAC_DERIVE, new SSL3KEYMATParams(
                        new SSL3KEYMATOUT(0, 0, 0, 0, new byte[7], null), random, true, 1, 2, 3), "ivClient"),
                arguments(CKM.SSL3_KEY_AND_MAC_DERIVE, new SSL3KEYMATParams(
                        new SSL3KEYMATOUT(0, 0, 0, 0, null, new byte[7]), random, true, 1, 2, 3), "ivServer"),
                arguments(CKM.KEA_KEY_DERIVE, new KeaDeriveParams(true, new byte[2], new byte[1], some), "randomB"),
                arguments(CKM.KEA_KEY_DERIVE, new KeaDeriveParams(true, null, some, some), "randomA"),
                arguments(CKM.KEA_KEY_DERIVE, new KeaDeriveParams(true, some, some, null), "publicData"),
                arguments(CKM.SKIPJACK_PRIVATE_WRAP,
                        new SKIPJACKPRIVATEWRAPParams(some, some, some, new byte[7], some, some), "primeP"),
                arguments(CKM.SKIPJACK_PRIVATE_WRAP,
                        new SKIPJACKPRIVATEWRAPParams(some, some, some, some, null, some), "baseG"),
                arguments(CKM.SKIPJACK_RELAYX,
                        new SKIPJACKRELAYXParams(some, some, some, some, some, some, null), "newRandomA"));
    }

    @ParameterizedTest
    @MethodSource("mistakes")
    void aMistakeIsToldBeforeNativeCode(int code, Object parameter, String told) {
        try (Cryptoki cryptoki = Surface.scripted()) {
            Session session = cryptoki.slotsWithToken().get(0).openSession();
            ScriptedModule.clearJournal();
            RuntimeException e = assertThrows(RuntimeException.class,
                    () -> session.generateKey(new Mechanism(code, parameter)));
            assertAll(
                    () -> assertTrue(e instanceof IllegalArgumentException || e instanceof NullPointerException,
                            e.toString()),
                    () -> assertTrue(e.getMessage().contains(told), e.toString()),
                    () -> assertEquals(List.of(), ScriptedModule.journal()));
        }
    }

    @Test
    void everyUseOfAMechanismIsChecked() {
        try (Cryptoki cryptoki = Surface.scripted()) {
            Session session = cryptoki.slotsWithToken().get(0).openSession();
            TokenObject key = Surface.key(session, 0xB01);
            Attribute[] none = {};
            ScriptedModule.clearJournal();
            Mechanism dropped = new Mechanism(CKM.AES_CBC, new byte[16]);
            for (Mechanism mechanism : new Mechanism[] {null, dropped}) {
                Class<? extends RuntimeException> expected =
                        mechanism == null ? NullPointerException.class : IllegalArgumentException.class;
                for (Runnable use : List.<Runnable>of(() -> session.generateKey(mechanism),
                        () -> session.generateKeyPair(mechanism, none, none),
                        () -> session.wrapKey(mechanism, key, key),
                        () -> session.unwrapKey(mechanism, key, new byte[1]),
                        () -> session.deriveKey(mechanism, key))) {
                    assertThrows(expected, use::run);
                }
            }
            assertEquals(List.of(), ScriptedModule.journal());
        }
    }
}
