package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertAll;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import harlune.support.Bridge;
import harlune.support.Ck;
import harlune.support.ScriptedModule;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.Attribute;
import velnor.CKD;
import velnor.CKF;
import velnor.CKG;
import velnor.CKM;
import velnor.CKP;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;
import velnor.Version;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.Structure;
import velnor.params.CBCEncryptDataParams;
import velnor.params.CCMParams;
import velnor.params.CTRParams;
import velnor.params.ChaCha20Params;
import velnor.params.ChaCha20Poly1305Params;
import velnor.params.ECDH1DeriveParams;
import velnor.params.ECDHAESKeyWrapParams;
import velnor.params.EXTRACTParams;
import velnor.params.EdDSAParams;
import velnor.params.GCMParams;
import velnor.params.HKDFParams;
import velnor.params.HashSignContextParams;
import velnor.params.KEYDERIVATIONSTRINGDATA;
import velnor.params.KEYWRAPSETOAEPParams;
import velnor.params.KeaDeriveParams;
import velnor.params.MACGENERALParams;
import velnor.params.MechanismParams;
import velnor.params.OAEPParams;
import velnor.params.ObjectHandleParams;
import velnor.params.PBEParams;
import velnor.params.PBKD2Params;
import velnor.params.PSSParams;
import velnor.params.PrfInput;
import velnor.params.RC2CBCParams;
import velnor.params.RC2MACGENERALParams;
import velnor.params.RC2Params;
import velnor.params.RC5CBCParams;
import velnor.params.RC5MACGENERALParams;
import velnor.params.RC5Params;
import velnor.params.RSAAESKeyWrapParams;
import velnor.params.SKIPJACKPRIVATEWRAPParams;
import velnor.params.SKIPJACKRELAYXParams;
import velnor.params.SP800108CounterParams;
import velnor.params.SP800108FeedbackParams;
import velnor.params.SP800108PipelineParams;
import velnor.params.SSL3KEYMATOUT;
import velnor.params.SSL3KEYMATParams;
import velnor.params.SSL3MASTERKEYDERIVEParams;
import velnor.params.SSL3RANDOMDATA;
import velnor.params.SignContextParams;
import velnor.params.SignContextParams.Hedge;
import velnor.params.StructureParams;
import velnor.params.TLS12KeyMatParams;
import velnor.params.TLS12MasterKeyDeriveParams;
import velnor.params.TLSKDFParams;
import velnor.params.TLSMACParams;
import velnor.params.TLSPRFParams;
import velnor.params.X942DH1DeriveParams;

/** A mechanism is let through exactly when it has the parameter that the table of mechanisms says, or needs none. */
class MechanismChecksTest {
    /** Every code of the standard, its neighbours, and some of vendors'. */
    private static final int[] CODES = IntStream.concat(CKM.all().stream().mapToInt(code -> code),
            IntStream.of(CKM.VENDOR_DEFINED + CKM.DES3_CBC, -2))
            .flatMap(code -> IntStream.rangeClosed(code - 1, code + 1)).distinct().toArray();

    /** A parameter of each class, and how the module shows it when the contract's methods have read it as what it is. */
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
        // What those do not read.
        for (int length : new int[] {1, 2, 4, 16, 24}) {
            SAMPLES.put(new byte[length], null);
        }
        for (MechanismParams parameter : List.of(new CTRParams(new byte[16]), new GCMParams(new byte[12]),
                new CCMParams(5, new byte[12], null, 16), new ChaCha20Params(new byte[4], new byte[12]),
                new ChaCha20Poly1305Params(new byte[12], null), new PSSParams(CKM.SHA256, CKG.MGF1_SHA256, 32),
                new ECDH1DeriveParams(CKD.NULL, null, new byte[65]), new EdDSAParams(true, bytes("context")),
                new HKDFParams(true, true, CKM.SHA256, CKF.HKDF_SALT_NULL, null, 0, bytes("info")),
                new PBKD2Params(new char[] {'p'}, bytes("saltsalt"), 1000, CKP.PKCS5_PBKD2_HMAC_SHA256),
                new CBCEncryptDataParams(new byte[16], new byte[16]), new ECDHAESKeyWrapParams(256, CKD.NULL, null),
                new RSAAESKeyWrapParams(256, new OAEPParams(CKM.SHA_1, CKG.MGF1_SHA1, 1, null)),
                new ObjectHandleParams(0xB01), new X942DH1DeriveParams(CKD.NULL, null, bytes("value")),
                TLS12MasterKeyDeriveParams.of("SHA-256", random, new Version(3, 3)),
                TLS12KeyMatParams.of("SHA-256", new SSL3KEYMATOUT(), random, 128, 0, 32),
                TLSKDFParams.of("SHA-256", bytes("label"), random, null), TLSMACParams.of("SHA-256", true),
                new TLSPRFParams(bytes("seed"), bytes("label"), 48),
                new SP800108CounterParams(CKM.SHA256_HMAC, PrfInput.counter(32, false)),
                new SP800108PipelineParams(CKM.SHA256_HMAC, PrfInput.iteration()),
                new SP800108FeedbackParams(CKM.SHA256_HMAC, null, PrfInput.iteration()),
                new SignContextParams(Hedge.PREFERRED, bytes("context")),
                HashSignContextParams.of(Hedge.PREFERRED, null, "SHA-512"),
                new StructureParams(() -> new Structure(40)))) {
            SAMPLES.put(parameter, null);
        }
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

    /** Whether the table's words for a parameter cover this one. */
    private static boolean covers(String words, Object parameter) {
        String word = parameter instanceof byte[] ? "BYTES" : parameter.getClass().getSimpleName();
        return List.of(words.replace("?", "").split("\\|")).stream().anyMatch(alternative -> alternative.equals("ANY")
                || alternative.equals(word)
                || parameter instanceof byte[] && alternative.equals(word + ((byte[]) parameter).length));
    }

    @Test
    void aParameterIsLetThroughWhereTheTableHasIt() throws IOException {
        Map<Integer, MechanismsFile.Row> rows = MechanismsFile.byNumber();
        Set<Object> taken = new HashSet<>();
        try (Cryptoki cryptoki = Surface.scripted()) {
            ScriptedModule.answer("C_GenerateKey CKR_OK handle=0xB01 always");
            Session session = cryptoki.slotsWithToken().get(0).openSession();
            for (int code : CODES) {
                String words = rows.containsKey(code) ? rows.get(code).parameter() : "ANY?";
                for (Object sample : SAMPLES.keySet()) {
                    boolean through = messageOf(session, new Mechanism(code, sample)).isEmpty();
                    assertEquals(covers(words, sample), through, CKM.name(code) + " with " + sample);
                    if (through && !words.contains("ANY")) {
                        taken.add(sample);
                    }
                }
                assertEquals(words.matches("-|.*\\?"), messageOf(session, new Mechanism(code)).isEmpty(),
                        CKM.name(code));
            }
        }
        assertEquals(SAMPLES.keySet(), taken);
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

    /** What the contract's methods convert is the table's too: a parameter that they would misread is never taken. */
    @Test
    void theContractReadsTheParametersThatTheTableHas() throws IOException {
        NativeCryptoki cryptoki = Bridge.initialize(ScriptedModule.PATH);
        NativeSession session = cryptoki.GetSlotList(true)[0].J_OpenSession(Ck.CKF_SERIAL_SESSION);
        ScriptedModule.answer("C_SignInit CKR_OK always");
        Set<String> read = new HashSet<>();
        Map<Integer, MechanismsFile.Row> rows = MechanismsFile.byNumber();
        for (int code : CODES) {
            String shown = "mechanism=0x" + Long.toHexString(code).toUpperCase();
            MechanismsFile.Row row = rows.get(code);
            if (row == null || row.contract().equals("-")) {
                assertEquals(shown, given(session, code, null));
                assertEquals(shown, given(session, code, new byte[8]));
                continue;
            }
            assertEquals(null, given(session, code, null));
            SAMPLES.forEach((sample, text) -> {
                if (covers(row.parameter(), sample)) {
                    assertEquals(shown + " parameter=" + text, given(session, code, sample));
                    read.add(text);
                }
            });
        }
        cryptoki.Finalize(null);
        assertEquals(SAMPLES.values().stream().filter(Objects::nonNull).collect(Collectors.toSet()), read);
    }

    static Stream<Arguments> mistakes() {
        byte[] some = bytes("12345678");
        SSL3RANDOMDATA random = new SSL3RANDOMDATA(some, some);
        SSL3KEYMATOUT keys = new SSL3KEYMATOUT(0, 0, 0, 0, null, null);
        Version version = new Version(0, 3);
        return Stream.of(
                arguments(CKM.DES3_CBC, new byte[7], "8 bytes, not 7"),
                arguments(CKM.DES3_CBC, new byte[9], "8 bytes, not 9"),
                arguments(CKM.DES3_CBC, null, "byte[], not null"),
                arguments(CKM.DES3_CBC, "12345678", "byte[], not java.lang.String"),
                arguments(CKM.RC2_ECB, new RC2MACGENERALParams(1, 2),
                        "RC2Params, not velnor.params.RC2MACGENERALParams"),
                arguments(CKM.AES_CBC, new byte[8], "16 bytes, not 8: 16 random bytes, new for each message"),
                arguments(CKM.AES_CBC, null, "CKM_AES_GCM"),
                arguments(CKM.SHA256_RSA_PKCS_PSS, new Object(), "PSSParams, not java.lang.Object"),
                arguments(CKM.ECDH1_DERIVE, null, "ECDH1DeriveParams, not null: the public value of the other side"),
                arguments(CKM.DES_OFB8, null, "CKM_AES_GCM"),
                arguments(CKM.AES_GCM, null, "the same nonce"),
                arguments(CKM.AES_GCM, new CTRParams(new byte[16]), "GCMParams, not velnor.params.CTRParams"),
                arguments(CKM.AES_GMAC, new CTRParams(new byte[16]), "GCMParams or byte[], not"),
                arguments(CKM.AES_KEY_WRAP_PAD, new byte[5], "4 or 8 bytes, not 5"),
                arguments(CKM.AES_ECB, new byte[16], "CKM_AES_ECB takes no parameter"),
                arguments(CKM.TLS_PRF, null, "TLSPRFParams, not null"),
                arguments(CKM.ML_DSA, new byte[8], "SignContextParams, not byte[]"),
                arguments(CKM.IKE_PRF_DERIVE, new byte[8], "StructureParams, not byte[]"),
                arguments(CKM.IKE_PRF_DERIVE, new StructureParams(() -> null), "the structure"),
                arguments(CKM.VENDOR_DEFINED, "12345678", "byte[], not java.lang.String"),
                arguments(CKM.VENDOR_DEFINED + 1, "12345678", "of byte[] or of a class of velnor.params, not"),
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
            Mechanism mistaken = new Mechanism(CKM.AES_CBC, new byte[8]);
            for (Mechanism mechanism : new Mechanism[] {null, mistaken}) {
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
