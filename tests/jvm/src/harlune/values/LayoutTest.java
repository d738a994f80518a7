package harlune.values;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.CK;
import velnor.CKD;
import velnor.CKF;
import velnor.CKP;
import velnor.Version;
import velnor.nat.Structure;
import velnor.params.CBCEncryptDataParams;
import velnor.params.CCMMessageParams;
import velnor.params.CCMParams;
import velnor.params.CTRParams;
import velnor.params.ChaCha20Params;
import velnor.params.ChaCha20Poly1305MessageParams;
import velnor.params.ChaCha20Poly1305Params;
import velnor.params.ECDH1DeriveParams;
import velnor.params.ECDHAESKeyWrapParams;
import velnor.params.EXTRACTParams;
import velnor.params.EdDSAParams;
import velnor.params.GCMMessageParams;
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
import velnor.params.TLS12KeyMatParams;
import velnor.params.TLS12MasterKeyDeriveParams;
import velnor.params.TLSKDFParams;
import velnor.params.TLSMACParams;
import velnor.params.TLSPRFParams;
import velnor.params.VectorGenerator;
import velnor.params.X942DH1DeriveParams;

/** Every structure that Java lays out, place by place, against what a program that was compiled with the header says. */
class LayoutTest {
    /** Structures that no class lays out: a program that needs one gives its bytes, or reads what a module told. */
    private static final Set<String> LEFT_OUT = Set.of("CK_SALSA20_PARAMS", "CK_DERIVED_KEY", "CK_ATTRIBUTE", "CK_VERSION",
            "CK_INFO", "CK_SLOT_INFO", "CK_TOKEN_INFO", "CK_SESSION_INFO", "CK_MECHANISM_INFO");
    /** Structures that are another one under its own name. */
    private static final Map<String, String> SAME = Map.of("CK_CAMELLIA_CTR_PARAMS", "CK_AES_CTR_PARAMS",
            "CK_CAMELLIA_CBC_ENCRYPT_DATA_PARAMS", "CK_AES_CBC_ENCRYPT_DATA_PARAMS",
            "CK_ARIA_CBC_ENCRYPT_DATA_PARAMS", "CK_AES_CBC_ENCRYPT_DATA_PARAMS",
            "CK_SEED_CBC_ENCRYPT_DATA_PARAMS", "CK_AES_CBC_ENCRYPT_DATA_PARAMS");

    /** Structure, member, offset and size; the member "-" is the structure. */
    private static final Map<String, Map<String, int[]>> HEADER = header();

    private static Map<String, Map<String, int[]>> header() {
        Map<String, Map<String, int[]>> header = new LinkedHashMap<>();
        try (Stream<String> lines = Files.lines(Path.of(System.getProperty("harlune.structures")))) {
            lines.map(line -> line.split(" ")).forEach(row -> header.computeIfAbsent(row[0], name -> new LinkedHashMap<>())
                    .put(row[1], new int[] {Integer.parseInt(row[2]), Integer.parseInt(row[3])}));
        } catch (IOException e) {
            throw new AssertionError(e);
        }
        return header;
    }

    /** Bytes that lie in the structure itself. */
    private static final class Inline {
        private final byte[] bytes;

        Inline(byte[] bytes) {
            this.bytes = bytes;
        }
    }

    /** A structure, with a value for each of its members. */
    private static final class Expected {
        private final String structure;
        private final Object parameter;
        private final boolean pointedTo;
        private final Map<String, Object> members = new LinkedHashMap<>();

        Expected(String structure, Object parameter, boolean pointedTo, Object... members) {
            this.structure = structure;
            this.parameter = parameter;
            this.pointedTo = pointedTo;
            for (int i = 0; i < members.length; i += 2) {
                this.members.put((String) members[i], members[i + 1]);
            }
        }

        @Override
        public String toString() {
            return structure;
        }
    }

    /** Structures of one kind behind a pointer, one after another. */
    private static final class Each {
        private final List<Expected> expected;

        Each(String structure, Object[]... members) {
            expected = Stream.of(members).map(one -> within(structure, one)).toList();
        }
    }

    private static final Object NULL = "a null pointer";

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    private static Expected expect(String structure, MechanismParams parameter, Object... members) {
        return new Expected(structure, parameter, false, members);
    }

    private static Expected within(String structure, Object... members) {
        return new Expected(structure, null, false, members);
    }

    private static Expected behind(String structure, Object... members) {
        return new Expected(structure, null, true, members);
    }

    static Stream<Expected> layouts() {
        SSL3RANDOMDATA random = new SSL3RANDOMDATA(bytes("client"), bytes("server's"));
        Object[] randoms = {"pClientRandom", bytes("client"), "ulClientRandomLen", 6, "pServerRandom", bytes("server's"),
            "ulServerRandomLen", 8};
        Object[] oaep = {"hashAlg", 0x250, "mgf", 2, "source", 1, "pSourceData", bytes("label"), "ulSourceDataLen", 5};
        Object[] pbkd2 = {"saltSource", 1, "pSaltSourceData", bytes("salty"), "ulSaltSourceDataLen", 5, "iterations",
            0x123456789AL, "prf", 4, "pPrfData", NULL, "ulPrfDataLen", 0, "pPassword", bytes("p\u00C3\u00A4"),
            "ulPasswordLen", 3};
        pbkd2[15] = "p\u00E4".getBytes(StandardCharsets.UTF_8);
        PBKD2Params password = new PBKD2Params("p\u00E4".toCharArray(), bytes("salty"), 0x123456789AL,
                CKP.PKCS5_PBKD2_HMAC_SHA256);
        Object[] older = pbkd2.clone();
        older[17] = new byte[] {3, 0, 0, 0, 0, 0, 0, 0};
        return Stream.of(
                expect("CK_RC2_CBC_PARAMS", new RC2CBCParams(0x80000001, bytes("12345678cut")), "ulEffectiveBits",
                        0x80000001L, "iv", new Inline(bytes("12345678"))),
                expect("CK_RC2_MAC_GENERAL_PARAMS", new RC2MACGENERALParams(1, 2), "ulEffectiveBits", 1,
                        "ulMacLength", 2),
                expect("CK_RC5_PARAMS", new RC5Params(1, 2), "ulWordsize", 1, "ulRounds", 2),
                expect("CK_RC5_CBC_PARAMS", new RC5CBCParams(1, 2, bytes("vector")), "ulWordsize", 1, "ulRounds", 2,
                        "pIv", bytes("vector"), "ulIvLen", 6),
                expect("CK_RC5_MAC_GENERAL_PARAMS", new RC5MACGENERALParams(1, 2, 3), "ulWordsize", 1, "ulRounds", 2,
                        "ulMacLength", 3),
                expect("CK_RSA_PKCS_OAEP_PARAMS", new OAEPParams(0x250, 2, 1, bytes("label")), oaep),
                expect("CK_RSA_PKCS_OAEP_PARAMS", new OAEPParams(0x80000001, 2, 1, new byte[0]), "hashAlg", 0x80000001L,
                        "mgf", 2, "source", 1, "pSourceData", NULL, "ulSourceDataLen", 0),
                expect("CK_RSA_PKCS_PSS_PARAMS", new PSSParams(0x80000001, 2, 3), "hashAlg", 0x80000001L, "mgf", 2,
                        "sLen", 3),
                expect("CK_RSA_AES_KEY_WRAP_PARAMS", new RSAAESKeyWrapParams(256,
                        new OAEPParams(0x250, 2, 1, bytes("label"))), "ulAESKeyBits", 256, "pOAEPParams",
                        behind("CK_RSA_PKCS_OAEP_PARAMS", oaep)),
                expect("CK_KEY_WRAP_SET_OAEP_PARAMS", new KEYWRAPSETOAEPParams((byte) 0x83, bytes("hash")), "bBC", 0x83,
                        "pX", bytes("hash"), "ulXLen", 4),
                expect("CK_PBE_PARAMS", new PBEParams("ivivivi\u00FF".toCharArray(), "p\u00E4\uD83D\uDD11".toCharArray(),
                        "s\u00E4".toCharArray(), 9), "pInitVector", "ivivivi\u00FF".getBytes(StandardCharsets.ISO_8859_1),
                        "pPassword", "p\u00E4\uD83D\uDD11".getBytes(StandardCharsets.UTF_8), "ulPasswordLen", 7, "pSalt",
                        "s\u00E4".getBytes(StandardCharsets.ISO_8859_1), "ulSaltLen", 2, "ulIteration", 9),
                expect("CK_KEY_DERIVATION_STRING_DATA", new KEYDERIVATIONSTRINGDATA(bytes("data")), "pData",
                        bytes("data"), "ulLen", 4),
                expect("CK_SSL3_MASTER_KEY_DERIVE_PARAMS", new SSL3MASTERKEYDERIVEParams(new Version(4, 3), random),
                        "RandomInfo", within("CK_SSL3_RANDOM_DATA", randoms), "pVersion",
                        behind("CK_VERSION", "major", 3, "minor", 4)),
                expect("CK_SSL3_KEY_MAT_PARAMS", new SSL3KEYMATParams(new SSL3KEYMATOUT(1, 2, 3, 4, bytes("clientIV"),
                        null), random, true, 5, 6, 64), "ulMacSizeInBits", 6, "ulKeySizeInBits", 5, "ulIVSizeInBits", 64,
                        "bIsExport", 1, "RandomInfo", within("CK_SSL3_RANDOM_DATA", randoms), "pReturnedKeyMaterial",
                        behind("CK_SSL3_KEY_MAT_OUT", "hClientMacSecret", 2, "hServerMacSecret", 4, "hClientKey", 1,
                                "hServerKey", 3, "pIVClient", bytes("clientIV"), "pIVServer", new byte[8])),
                expect("CK_SKIPJACK_PRIVATE_WRAP_PARAMS", new SKIPJACKPRIVATEWRAPParams(bytes("password"),
                        bytes("public"), bytes("random"), bytes("prime, cut"), bytes("based"), bytes("sub")),
                        "ulPasswordLen", 8, "pPassword", bytes("password"), "ulPublicDataLen", 6, "pPublicData",
                        bytes("public"), "ulPAndGLen", 5, "ulQLen", 3, "ulRandomLen", 6, "pRandomA", bytes("random"),
                        "pPrimeP", bytes("prime"), "pBaseG", bytes("based"), "pSubprimeQ", bytes("sub")),
                expect("CK_SKIPJACK_RELAYX_PARAMS", new SKIPJACKRELAYXParams(bytes("x"), bytes("op"), bytes("oda"),
                        bytes("ornd"), bytes("npass"), bytes("ndata."), bytes("nrandom")), "ulOldWrappedXLen", 1,
                        "pOldWrappedX", bytes("x"), "ulOldPasswordLen", 2, "pOldPassword", bytes("op"),
                        "ulOldPublicDataLen", 3, "pOldPublicData", bytes("oda"), "ulOldRandomLen", 4, "pOldRandomA",
                        bytes("ornd"), "ulNewPasswordLen", 5, "pNewPassword", bytes("npass"), "ulNewPublicDataLen", 6,
                        "pNewPublicData", bytes("ndata."), "ulNewRandomLen", 7, "pNewRandomA", bytes("nrandom")),
                expect("CK_KEA_DERIVE_PARAMS", new KeaDeriveParams(true, bytes("aaa"), bytes("bbbcut"), bytes("public")),
                        "isSender", 1, "ulRandomLen", 3, "pRandomA", bytes("aaa"), "pRandomB", bytes("bbb"),
                        "ulPublicDataLen", 6, "pPublicData", bytes("public")),
                expect("CK_AES_CTR_PARAMS", new CTRParams(32, bytes("a counter block.")), "ulCounterBits", 32, "cb",
                        new Inline(bytes("a counter block."))),
                expect("CK_GCM_PARAMS", new GCMParams(bytes("a vector"), bytes("more data"), 96), "pIv",
                        bytes("a vector"), "ulIvLen", 8, "ulIvBits", 64, "pAAD", bytes("more data"), "ulAADLen", 9,
                        "ulTagBits", 96),
                expect("CK_CCM_PARAMS", new CCMParams(0x1_0000_0002L, bytes("a nonce"), bytes("aad"), 8), "ulDataLen",
                        0x1_0000_0002L, "pNonce", bytes("a nonce"), "ulNonceLen", 7, "pAAD", bytes("aad"), "ulAADLen",
                        3, "ulMACLen", 8),
                expect("CK_CHACHA20_PARAMS", new ChaCha20Params(bytes("1234"), bytes("twelve bytes")), "pBlockCounter",
                        bytes("1234"), "blockCounterBits", 32, "pNonce", bytes("twelve bytes"), "ulNonceBits", 96),
                expect("CK_SALSA20_CHACHA20_POLY1305_PARAMS", new ChaCha20Poly1305Params(bytes("twelve bytes"), null),
                        "pNonce", bytes("twelve bytes"), "ulNonceLen", 12, "pAAD", NULL, "ulAADLen", 0),
                expect("CK_GCM_MESSAGE_PARAMS", new GCMMessageParams(bytes("a vector"), bytes("twelve bytes")), "pIv",
                        bytes("a vector"), "ulIvLen", 8, "ulIvFixedBits", 0, "ivGenerator", 0, "pTag",
                        bytes("twelve bytes"), "ulTagBits", 96),
                expect("CK_GCM_MESSAGE_PARAMS", new GCMMessageParams(bytes("a vector"), 16,
                        VectorGenerator.COUNTER_XOR, 32), "pIv", bytes("a vector"), "ulIvLen", 8, "ulIvFixedBits", 16,
                        "ivGenerator", 4, "pTag", new byte[4], "ulTagBits", 32),
                expect("CK_CCM_MESSAGE_PARAMS", new CCMMessageParams(0x1_0000_0002L, bytes("a nonce"), bytes("a mac...")),
                        "ulDataLen", 0x1_0000_0002L, "pNonce", bytes("a nonce"), "ulNonceLen", 7, "ulNonceFixedBits",
                        0, "nonceGenerator", 0, "pMAC", bytes("a mac..."), "ulMACLen", 8),
                expect("CK_CCM_MESSAGE_PARAMS", new CCMMessageParams(3, bytes("a nonce"), 24, VectorGenerator.RANDOM, 4),
                        "ulDataLen", 3, "pNonce", bytes("a nonce"), "ulNonceLen", 7, "ulNonceFixedBits",
                        24, "nonceGenerator", 3, "pMAC", new byte[4], "ulMACLen", 4),
                expect("CK_SALSA20_CHACHA20_POLY1305_MSG_PARAMS", new ChaCha20Poly1305MessageParams(
                        bytes("twelve bytes"), bytes("tag of 16 bytes.")), "pNonce", bytes("twelve bytes"), "ulNonceLen",
                        12, "pTag", bytes("tag of 16 bytes.")),
                expect("CK_ECDH1_DERIVE_PARAMS", new ECDH1DeriveParams(CKD.SHA1_KDF, bytes("both"), bytes("point")),
                        "kdf", 2, "ulSharedDataLen", 4, "pSharedData", bytes("both"), "ulPublicDataLen", 5,
                        "pPublicData", bytes("point")),
                expect("CK_ECDH1_DERIVE_PARAMS", new ECDH1DeriveParams(CKD.NULL, null, bytes("point")).inOctetString(),
                        "kdf", 1, "ulSharedDataLen", 0, "pSharedData", NULL, "ulPublicDataLen", 7,
                        "pPublicData", bytes("\4\5point")),
                expect("CK_ECDH_AES_KEY_WRAP_PARAMS", new ECDHAESKeyWrapParams(192, CKD.SHA256_KDF, bytes("both")),
                        "ulAESKeyBits", 192, "kdf", 6, "ulSharedDataLen", 4, "pSharedData", bytes("both")),
                expect("CK_HKDF_PARAMS", new HKDFParams(true, false, 0x250, CKF.HKDF_SALT_DATA, bytes("salt"),
                        0x1_0000_0003L, bytes("info.")), "bExtract", 1, "bExpand", 0, "prfHashMechanism", 0x250,
                        "ulSaltType", 2, "pSalt", bytes("salt"), "ulSaltLen", 4, "hSaltKey", 0x1_0000_0003L, "pInfo",
                        bytes("info."), "ulInfoLen", 5),
                expect("CK_PKCS5_PBKD2_PARAMS2", password, pbkd2),
                expect("CK_PKCS5_PBKD2_PARAMS", password.withLengthPointer(), older),
                expect("CK_EDDSA_PARAMS", new EdDSAParams(true, bytes("context")), "phFlag", 1, "ulContextDataLen", 7,
                        "pContextData", bytes("context")),
                expect("CK_AES_CBC_ENCRYPT_DATA_PARAMS", new CBCEncryptDataParams(bytes("sixteen bytes iv"),
                        bytes("data")), "iv", new Inline(bytes("sixteen bytes iv")), "pData", bytes("data"), "length", 4),
                expect("CK_DES_CBC_ENCRYPT_DATA_PARAMS", new CBCEncryptDataParams(bytes("eight iv"), bytes("data")),
                        "iv", new Inline(bytes("eight iv")), "pData", bytes("data"), "length", 4),
                expect("CK_X9_42_DH1_DERIVE_PARAMS", new X942DH1DeriveParams(CKD.SHA1_KDF_ASN1, bytes("both"),
                        bytes("value")), "kdf", 3, "ulOtherInfoLen", 4, "pOtherInfo", bytes("both"), "ulPublicDataLen",
                        5, "pPublicData", bytes("value")),
                expect("CK_TLS12_MASTER_KEY_DERIVE_PARAMS", new TLS12MasterKeyDeriveParams(random, new Version(4, 3),
                        0x250), "RandomInfo", within("CK_SSL3_RANDOM_DATA", randoms), "pVersion",
                        behind("CK_VERSION", "major", 3, "minor", 4), "prfHashMechanism", 0x250),
                expect("CK_TLS12_MASTER_KEY_DERIVE_PARAMS", TLS12MasterKeyDeriveParams.of("SHA-384", random, null),
                        "RandomInfo", within("CK_SSL3_RANDOM_DATA", randoms), "pVersion", NULL, "prfHashMechanism",
                        0x260),
                expect("CK_TLS12_KEY_MAT_PARAMS", TLS12KeyMatParams.of("SHA-256", new SSL3KEYMATOUT(), random, 5, 6,
                        32), "ulMacSizeInBits", 6, "ulKeySizeInBits", 5, "ulIVSizeInBits", 32, "bIsExport", 0, "RandomInfo",
                        within("CK_SSL3_RANDOM_DATA", randoms), "pReturnedKeyMaterial",
                        behind("CK_SSL3_KEY_MAT_OUT", "hClientMacSecret", 0, "hServerMacSecret", 0, "hClientKey", 0,
                                "hServerKey", 0, "pIVClient", new byte[4], "pIVServer", new byte[4]),
                        "prfHashMechanism", 0x250),
                expect("CK_TLS_KDF_PARAMS", TLSKDFParams.of("SHA-256", bytes("label"), random, bytes("context")),
                        "prfMechanism", 0x250, "pLabel", bytes("label"), "ulLabelLength", 5, "RandomInfo",
                        within("CK_SSL3_RANDOM_DATA", randoms), "pContextData", bytes("context"), "ulContextDataLength",
                        7),
                expect("CK_TLS_MAC_PARAMS", TLSMACParams.of("SHA-256", true), "prfHashMechanism", 0x250, "ulMacLength",
                        12, "ulServerOrClient", 1),
                expect("CK_TLS_MAC_PARAMS", new TLSMACParams(0x260, 20, false), "prfHashMechanism", 0x260,
                        "ulMacLength", 20, "ulServerOrClient", 2),
                expect("CK_TLS_PRF_PARAMS", new TLSPRFParams(bytes("seed"), bytes("label"), 77), "pSeed", bytes("seed"),
                        "ulSeedLen", 4, "pLabel", bytes("label"), "ulLabelLen", 5, "pOutput", new byte[77],
                        "pulOutputLen", new byte[] {77, 0, 0, 0, 0, 0, 0, 0}),
                expect("CK_SP800_108_KDF_PARAMS", new SP800108CounterParams(0x251, PrfInput.counter(24, true),
                        PrfInput.bytes(bytes("label"))), "prfType", 0x251, "ulNumberOfDataParams", 2, "pDataParams",
                        new Each("CK_PRF_DATA_PARAM", prfInput(1, behind("CK_SP800_108_COUNTER_FORMAT", "bLittleEndian",
                                1, "ulWidthInBits", 24), 16), prfInput(4, bytes("label"), 5)),
                        "ulAdditionalDerivedKeys", 0, "pAdditionalDerivedKeys", NULL),
                expect("CK_SP800_108_KDF_PARAMS", new SP800108PipelineParams(0x251, PrfInput.iteration(),
                        PrfInput.optionalCounter(8, false)), "prfType", 0x251, "ulNumberOfDataParams", 2, "pDataParams",
                        new Each("CK_PRF_DATA_PARAM", prfInput(1, NULL, 0), prfInput(2,
                                behind("CK_SP800_108_COUNTER_FORMAT", "bLittleEndian", 0, "ulWidthInBits", 8), 16)),
                        "ulAdditionalDerivedKeys", 0, "pAdditionalDerivedKeys", NULL),
                expect("CK_SP800_108_FEEDBACK_KDF_PARAMS", new SP800108FeedbackParams(0x251, bytes("before"),
                        PrfInput.iteration(), PrfInput.length(CK.SP800_108_DKM_LENGTH_SUM_OF_SEGMENTS, 64, true)),
                        "prfType", 0x251, "ulNumberOfDataParams", 2, "pDataParams", new Each("CK_PRF_DATA_PARAM",
                                prfInput(1, NULL, 0), prfInput(3, behind("CK_SP800_108_DKM_LENGTH_FORMAT",
                                        "dkmLengthMethod", 2, "bLittleEndian", 1, "ulWidthInBits", 64), 24)),
                        "ulIVLen", 6, "pIV", bytes("before"), "ulAdditionalDerivedKeys", 0, "pAdditionalDerivedKeys",
                        NULL),
                expect("CK_SIGN_ADDITIONAL_CONTEXT", new SignContextParams(Hedge.DETERMINISTIC, bytes("context")),
                        "hedgeVariant", 2, "pContext", bytes("context"), "ulContextLen", 7),
                expect("CK_HASH_SIGN_ADDITIONAL_CONTEXT", HashSignContextParams.of(Hedge.REQUIRED, null, "SHA-512"),
                        "hedgeVariant", 1, "pContext", NULL, "ulContextLen", 0, "hash", 0x270));
    }

    private static Object[] prfInput(int type, Object value, int length) {
        return new Object[] {"type", type, "pValue", value, "ulValueLen", length};
    }

    /** What native code is given: the head, the block and the places of the pointers. */
    private static final class Block {
        private final ByteBuffer block;
        private final int length;
        private final Set<Integer> pointers = new TreeSet<>();
        private final Set<Integer> found = new TreeSet<>();

        Block(Structure structure) {
            ByteBuffer all = ByteBuffer.wrap(structure.bytes()).order(ByteOrder.LITTLE_ENDIAN);
            int size = all.getInt();
            length = all.getInt();
            int count = all.getInt();
            all.getInt();
            byte[] bytes = new byte[size];
            all.get(bytes);
            block = ByteBuffer.wrap(bytes).order(ByteOrder.LITTLE_ENDIAN);
            for (int i = 0; i < count; i++) {
                pointers.add(all.getInt());
            }
            assertEquals(0, all.remaining());
        }

        byte[] at(int at, int count) {
            byte[] bytes = new byte[count];
            block.get(at, bytes);
            return bytes;
        }

        int pointed(int at) {
            assertTrue(pointers.contains(at), () -> "no pointer at " + at);
            found.add(at);
            return Math.toIntExact(block.getLong(at));
        }

        void hold(Expected expected, int at) {
            Map<String, int[]> header = HEADER.get(expected.structure);
            Set<String> members = new TreeSet<>(header.keySet());
            members.remove("-");
            assertEquals(members, new TreeSet<>(expected.members.keySet()));
            expected.members.forEach((member, value) -> {
                int[] place = header.get(member);
                hold(expected.structure + "." + member, value, at + place[0], place[1]);
            });
        }

        private void hold(String member, Object value, int at, int size) {
            if (value instanceof Expected) {
                hold((Expected) value, ((Expected) value).pointedTo ? pointed(at) : at);
            } else if (value instanceof Each) {
                int next = pointed(at);
                for (Expected one : ((Each) value).expected) {
                    hold(one, next);
                    next += HEADER.get(one.structure).get("-")[1];
                }
            } else if (value instanceof Inline) {
                assertEquals(((Inline) value).bytes.length, size, member);
                assertArrayEquals(((Inline) value).bytes, at(at, size), member);
            } else if (value instanceof byte[]) {
                assertEquals(8, size, member);
                assertArrayEquals((byte[]) value, at(pointed(at), ((byte[]) value).length), member);
            } else if (value == NULL) {
                assertEquals(0, block.getLong(at), member);
            } else {
                byte[] number = ByteBuffer.allocate(8).order(ByteOrder.LITTLE_ENDIAN)
                        .putLong(((Number) value).longValue()).array();
                assertArrayEquals(java.util.Arrays.copyOf(number, size), at(at, size), member);
            }
        }
    }

    @ParameterizedTest
    @MethodSource("layouts")
    void everyMemberIsWhereTheHeaderHasIt(Expected expected) {
        Block block = new Block(((MechanismParams) expected.parameter).structure());
        assertEquals(HEADER.get(expected.structure).get("-")[1], block.length);
        block.hold(expected, 0);
        assertEquals(block.pointers, block.found);
    }

    /** Parameters that are a number by themselves. */
    @Test
    void numbersAreAUlongWithoutASign() {
        for (MechanismParams number : new MechanismParams[] {new MACGENERALParams(0x80000001),
            new RC2Params(0x80000001), new EXTRACTParams(0x80000001), new ObjectHandleParams(0x80000001L)}) {
            Structure structure = number.structure();
            assertEquals(0x80000001L, structure.getLong(0));
            assertEquals(8, new Block(structure).length);
        }
        assertEquals(0x1_0000_0001L, new ObjectHandleParams(0x1_0000_0001L).structure().getLong(0));
    }

    @Test
    void noStructureOfTheHeaderIsForgotten() {
        Set<String> seen = new TreeSet<>(LEFT_OUT);
        layouts().forEach(expected -> collect(expected, seen));
        SAME.forEach((name, same) -> {
            assertEquals(HEADER.get(same).toString().replaceAll("\\[I@\\w+", ""),
                    HEADER.get(name).toString().replaceAll("\\[I@\\w+", ""));
            HEADER.get(same).forEach((member, place) -> assertArrayEquals(place, HEADER.get(name).get(member)));
            seen.add(name);
        });
        assertEquals(new TreeSet<>(HEADER.keySet()), seen);
    }

    private static void collect(Expected expected, Set<String> seen) {
        seen.add(expected.structure);
        for (Object member : expected.members.values()) {
            if (member instanceof Expected) {
                collect((Expected) member, seen);
            } else if (member instanceof Each) {
                ((Each) member).expected.forEach(inner -> collect(inner, seen));
            }
        }
    }

    @Test
    void attributesAreWhereTheHeaderHasThem() {
        Map<String, int[]> attribute = HEADER.get("CK_ATTRIBUTE");
        assertEquals(Structure.ATTRIBUTE, attribute.get("-")[1]);
        assertArrayEquals(new int[] {0, 8}, attribute.get("type"));
        assertArrayEquals(new int[] {velnor.Reading.POINTER, 8}, attribute.get("pValue"));
        assertArrayEquals(new int[] {velnor.Reading.LENGTH, 8}, attribute.get("ulValueLen"));
    }

    // ---- what comes back

    @Test
    void aGeneratedVectorComesBack() {
        GCMParams parameter = new GCMParams(new byte[4]);
        assertArrayEquals(new byte[4], parameter.iv());
        Structure structure = parameter.structure();
        write(structure, (int) structure.getLong(0), bytes("made"));
        parameter.takeBack(structure);
        assertArrayEquals(bytes("made"), parameter.iv());
        assertArrayEquals(new byte[4], parameter.structure().getPointed(0, 4), "the parameter itself has changed");

        PBEParams password = new PBEParams(null, new char[] {'p'}, new char[] {'s'}, 1);
        assertEquals(null, password.iv());
        structure = password.structure();
        write(structure, (int) structure.getLong(0), bytes("made too"));
        password.takeBack(structure);
        assertArrayEquals(bytes("made too"), password.iv());
    }

    @Test
    void whatAModuleHasMovedIsNotFollowed() {
        GCMParams parameter = new GCMParams(bytes("mine"));
        Structure structure = parameter.structure();
        write(structure, 0, new byte[] {-1, -1, -1, -1, -1, -1, -1, -1});
        parameter.takeBack(structure);
        assertArrayEquals(bytes("mine"), parameter.iv());
    }

    @Test
    void handlesAndVectorsOfKeysComeBack() {
        SSL3RANDOMDATA random = new SSL3RANDOMDATA(bytes("client"), bytes("server"));
        SSL3KEYMATOUT keys = new SSL3KEYMATOUT(0, 0, 0, 0, null, null);
        SSL3KEYMATParams parameter = new SSL3KEYMATParams(keys, random, false, 128, 160, 32);
        assertEquals(0, keys.clientKey());
        assertEquals(null, keys.clientIv());
        Structure structure = parameter.structure();
        int at = (int) structure.getLong(HEADER.get("CK_SSL3_KEY_MAT_PARAMS").get("pReturnedKeyMaterial")[0]);
        Map<String, int[]> out = HEADER.get("CK_SSL3_KEY_MAT_OUT");
        int mark = 1;
        for (String member : new String[] {"hClientMacSecret", "hServerMacSecret", "hClientKey", "hServerKey"}) {
            write(structure, at + out.get(member)[0], new byte[] {(byte) mark++, 0, 0, 0, 1});
        }
        write(structure, (int) structure.getLong(at + out.get("pIVClient")[0]), bytes("civ."));
        write(structure, (int) structure.getLong(at + out.get("pIVServer")[0]), bytes("siv."));
        parameter.takeBack(structure);
        assertEquals(0x1_0000_0001L, keys.clientMacSecret());
        assertEquals(0x1_0000_0002L, keys.serverMacSecret());
        assertEquals(0x1_0000_0003L, keys.clientKey());
        assertEquals(0x1_0000_0004L, keys.serverKey());
        assertArrayEquals(bytes("civ."), keys.clientIv());
        assertArrayEquals(bytes("siv."), keys.serverIv());
    }

    @Test
    void theVersionOfASecretComesBack() {
        SSL3MASTERKEYDERIVEParams parameter = new SSL3MASTERKEYDERIVEParams(new Version(0, 3),
                new SSL3RANDOMDATA(bytes("c"), bytes("s")));
        assertEquals(null, parameter.foundVersion());
        Structure structure = parameter.structure();
        int at = (int) structure.getLong(HEADER.get("CK_SSL3_MASTER_KEY_DERIVE_PARAMS").get("pVersion")[0]);
        write(structure, at, new byte[] {3, 1});
        parameter.takeBack(structure);
        assertEquals(new Version(1, 3), parameter.foundVersion());
    }

    /** Writes as native code does, into the block behind the head of four ints. */
    private static void write(Structure structure, int at, byte[] bytes) {
        System.arraycopy(bytes, 0, structure.bytes(), 16 + at, bytes.length);
    }

    @Test
    void nothingIsLeftOfASecret() {
        Structure structure = new PBKD2Params("secret".toCharArray(), bytes("salt"), 1, 4).structure();
        byte[] given = structure.bytes();
        assertTrue(new String(given, StandardCharsets.US_ASCII).contains("secret"));
        structure.wipe();
        assertArrayEquals(new byte[given.length], given);
    }
}
