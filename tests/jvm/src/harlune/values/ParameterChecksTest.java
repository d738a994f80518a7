package harlune.values;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.util.List;
import java.util.stream.Stream;

import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.CK;
import velnor.CKD;
import velnor.CKF;
import velnor.CKM;
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
import velnor.params.EdDSAParams;
import velnor.params.GCMMessageParams;
import velnor.params.GCMParams;
import velnor.params.HKDFParams;
import velnor.params.HashSignContextParams;
import velnor.params.MechanismParams;
import velnor.params.OAEPParams;
import velnor.params.ObjectHandleParams;
import velnor.params.PBEParams;
import velnor.params.PBKD2Params;
import velnor.params.PSSParams;
import velnor.params.PrfInput;
import velnor.params.RSAAESKeyWrapParams;
import velnor.params.SP800108CounterParams;
import velnor.params.SP800108FeedbackParams;
import velnor.params.SP800108PipelineParams;
import velnor.params.SSL3KEYMATOUT;
import velnor.params.SSL3KEYMATParams;
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

/** Which parameters are refused, with which advice, and what the factories make. */
class ParameterChecksTest {
    private static final char[] PASSWORD = {'p'};
    private static final byte[] SOME = new byte[16];
    private static final SSL3RANDOMDATA RANDOM = new SSL3RANDOMDATA(SOME, SOME);

    static Stream<Arguments> unsound() {
        OAEPParams oaep = OAEPParams.of("SHA-256", null);
        return Stream.of(
                arguments(new CTRParams(new byte[15]), "16 bytes, not 15"),
                arguments(new CTRParams(new byte[17]), "16 bytes, not 17"),
                arguments(new CTRParams(0, SOME), "1 to 128 bits, not 0"),
                arguments(new CTRParams(129, SOME), "1 to 128 bits, not 129"),
                arguments(new GCMParams(new byte[0]), "initialisation vector"),
                arguments(new GCMParams(SOME, null, 88), "not 88"),
                arguments(new GCMMessageParams(new byte[0]), "initialisation vector"),
                arguments(new GCMMessageParams(SOME, 8 * SOME.length + 1, VectorGenerator.ANY, 128), "cannot be fixed"),
                arguments(new GCMMessageParams(SOME, -1, VectorGenerator.ANY, 128), "cannot be fixed"),
                arguments(new GCMMessageParams(SOME, 0, null, 128), "cannot be fixed"),
                arguments(new GCMMessageParams(SOME, new byte[17]), "A GCM tag has"),
                arguments(new CCMMessageParams(1, new byte[6], 0, VectorGenerator.NONE, 16), "not 6"),
                arguments(new CCMMessageParams(1, new byte[7], 57, VectorGenerator.COUNTER, 16), "cannot be fixed"),
                arguments(new CCMMessageParams(1, new byte[7], new byte[5]), "not 5"),
                arguments(new ChaCha20Poly1305MessageParams(new byte[16]), "12 bytes"),
                arguments(new ChaCha20Poly1305MessageParams(new byte[12], new byte[15]), "not 15"),
                arguments(new GCMParams(SOME, null, 136), "not 136"),
                arguments(new GCMParams(SOME, null, 100), "not 100"),
                arguments(new GCMParams(SOME, null, 0), "take 128"),
                arguments(new CCMParams(0, new byte[6], null, 16), "7 to 13 bytes, not 6"),
                arguments(new CCMParams(0, new byte[14], null, 16), "7 to 13 bytes, not 14"),
                arguments(new CCMParams(0, new byte[12], null, 2), "not 2"),
                arguments(new CCMParams(0, new byte[12], null, 5), "not 5"),
                arguments(new CCMParams(0, new byte[12], null, 18), "not 18"),
                arguments(new CCMParams(-1, new byte[12], null, 16), "-1"),
                arguments(new CCMParams(1 << 16, new byte[13], null, 16), "shorter nonce"),
                arguments(new ChaCha20Params(new byte[5], new byte[12]), "4 or 8 bytes, not 5"),
                arguments(new ChaCha20Params(new byte[4], new byte[11]), "12 bytes"),
                arguments(new ChaCha20Poly1305Params(new byte[16], null), "12 bytes"),
                arguments(new PSSParams(0, 1, 20), "of(\"SHA-256\")"),
                arguments(new PSSParams(CKM.SHA256, 0, 20), "of(\"SHA-256\")"),
                arguments(new PSSParams(CKM.SHA256, 2, -1), "salt"),
                arguments(new ECDH1DeriveParams(CKD.NULL, null, new byte[0]), "point"),
                arguments(new ECDH1DeriveParams(CKD.NULL, SOME, SOME), "CKD_NULL"),
                arguments(new HKDFParams(false, false, CKM.SHA256, CKF.HKDF_SALT_NULL, null, 0, null), "steps"),
                arguments(new HKDFParams(true, true, 0, CKF.HKDF_SALT_NULL, null, 0, null), "digest"),
                arguments(new HKDFParams(true, true, CKM.SHA256, 3, null, 0, null), "not 3"),
                arguments(new HKDFParams(true, true, CKM.SHA256, CKF.HKDF_SALT_NULL, SOME, 0, null), "SALT_DATA"),
                arguments(new HKDFParams(true, true, CKM.SHA256, CKF.HKDF_SALT_DATA, null, 0, null), "SALT_DATA"),
                arguments(new HKDFParams(true, true, CKM.SHA256, CKF.HKDF_SALT_KEY, null, 0, null), "SALT_KEY"),
                arguments(new HKDFParams(true, true, CKM.SHA256, CKF.HKDF_SALT_NULL, null, 7, null), "SALT_KEY"),
                arguments(new PBKD2Params(PASSWORD, new byte[0], 1, 1), "salt"),
                arguments(new PBKD2Params(PASSWORD, SOME, 0, 1), "iterations"),
                arguments(new PBKD2Params(PASSWORD, SOME, 1, 0), "SHA-256"),
                arguments(new EdDSAParams(false, new byte[256]), "255"),
                arguments(new CBCEncryptDataParams(new byte[12], SOME), "not 12"),
                arguments(new CBCEncryptDataParams(SOME, new byte[0]), "blocks of 16"),
                arguments(new CBCEncryptDataParams(SOME, new byte[24]), "blocks of 16"),
                arguments(new RSAAESKeyWrapParams(129, oaep), "not 129"),
                arguments(new ECDHAESKeyWrapParams(512, CKD.NULL, null), "not 512"),
                arguments(new ObjectHandleParams(0), "handle"),
                arguments(new SSL3KEYMATParams(new SSL3KEYMATOUT(0, 0, 0, 0, null, null),
                        new SSL3RANDOMDATA(SOME, SOME), false, 1, 1, -1), "not -1"),
                arguments(new SSL3KEYMATParams(new SSL3KEYMATOUT(0, 0, 0, 0, null, null),
                        new SSL3RANDOMDATA(SOME, SOME), false, 1, 1, 1025), "not 1025"),
                arguments(new X942DH1DeriveParams(CKD.NULL, SOME, SOME), "CKD_NULL"),
                arguments(new X942DH1DeriveParams(CKD.NULL, null, new byte[0]), "public data"),
                arguments(new TLS12MasterKeyDeriveParams(RANDOM, null, 0), "SHA-256"),
                arguments(new TLS12KeyMatParams(new SSL3KEYMATOUT(), RANDOM, 128, 0, 0, 0), "SHA-256"),
                arguments(TLS12KeyMatParams.of("SHA-256", new SSL3KEYMATOUT(), RANDOM, 128, 0, -1), "not -1"),
                arguments(new TLSKDFParams(0, SOME, RANDOM, null), "SHA-256"),
                arguments(new TLSKDFParams(1, new byte[0], RANDOM, null), "label"),
                arguments(new TLSMACParams(0, 12, true), "SHA-256"),
                arguments(new TLSMACParams(CKM.SHA256, 0, true), "not 0"),
                arguments(new TLSPRFParams(new byte[0], SOME, 1), "seed"),
                arguments(new TLSPRFParams(SOME, new byte[0], 1), "label"),
                arguments(new TLSPRFParams(SOME, SOME, 0), "not 0"),
                arguments(new TLSPRFParams(SOME, SOME, (1 << 20) + 1), "not 1048577"),
                arguments(new SP800108CounterParams(0, PrfInput.counter(8, false)), "HMAC"),
                arguments(new SP800108CounterParams(CKM.SHA256_HMAC), "counter(32"),
                arguments(new SP800108CounterParams(CKM.SHA256_HMAC, PrfInput.iteration()), "counter(32"),
                arguments(new SP800108CounterParams(CKM.SHA256_HMAC, PrfInput.counter(8, false),
                        PrfInput.counter(8, false)), "Exactly one"),
                arguments(new SP800108CounterParams(CKM.SHA256_HMAC, PrfInput.counter(40, false)), "not 40"),
                arguments(new SP800108CounterParams(CKM.SHA256_HMAC, PrfInput.counter(12, false)), "not 12"),
                arguments(new SP800108CounterParams(CKM.SHA256_HMAC, PrfInput.counter(8, false),
                        PrfInput.bytes()), "bytes of an input"),
                arguments(new SP800108CounterParams(CKM.SHA256_HMAC, PrfInput.counter(8, false),
                        PrfInput.length(3, 8, false)), "not 3"),
                arguments(new SP800108CounterParams(CKM.SHA256_HMAC, PrfInput.counter(8, false),
                        PrfInput.length(1, 72, false)), "not 72"),
                arguments(new SP800108PipelineParams(CKM.SHA256_HMAC, PrfInput.counter(8, false)), "iteration()"),
                arguments(new SP800108FeedbackParams(CKM.SHA256_HMAC, null), "iteration()"),
                arguments(new SP800108FeedbackParams(CKM.SHA256_HMAC, null, PrfInput.iteration(),
                        PrfInput.optionalCounter(0, false)), "not 0"),
                arguments(new SignContextParams(Hedge.PREFERRED, new byte[256]), "not 256"),
                arguments(new HashSignContextParams(Hedge.PREFERRED, new byte[256], 1), "not 256"),
                arguments(new HashSignContextParams(Hedge.PREFERRED, null, 0), "SHA-512"),
                arguments(new PBEParams(null, PASSWORD, new char[] {0x100}, 1), "salt"),
                arguments(new PBEParams("1234567\u20AC".toCharArray(), PASSWORD, PASSWORD, 1), "initVector"));
    }

    @ParameterizedTest
    @MethodSource("unsound")
    void whatIsUnsoundIsRefusedWithAdvice(MechanismParams parameter, String advice) {
        String message = assertThrows(IllegalArgumentException.class, parameter::check).getMessage();
        assertTrue(message.contains(advice), message);
    }

    static Stream<MechanismParams> withoutArrays() {
        return Stream.of(new CTRParams(null), new GCMParams(null), new CCMParams(0, null, null, 16),
                new ChaCha20Params(null, SOME), new ChaCha20Params(new byte[4], null),
                new ChaCha20Poly1305Params(null, null), new ECDH1DeriveParams(1, null, null),
                new PBKD2Params(null, SOME, 1, 1), new PBKD2Params(PASSWORD, null, 1, 1),
                new CBCEncryptDataParams(null, SOME), new CBCEncryptDataParams(SOME, null),
                new RSAAESKeyWrapParams(256, null), new X942DH1DeriveParams(CKD.NULL, null, null),
                new TLS12MasterKeyDeriveParams(null, null, 1), new TLSKDFParams(1, SOME, null, null),
                new TLSKDFParams(1, null, RANDOM, null), new TLSPRFParams(null, SOME, 1),
                new TLS12KeyMatParams(null, RANDOM, 1, 1, 1, 1), new SignContextParams(null, SOME));
    }

    @ParameterizedTest
    @MethodSource("withoutArrays")
    void whatIsMissingIsRefused(MechanismParams parameter) {
        assertThrows(NullPointerException.class, parameter::check);
    }

    /** Bare native methods look at nothing, and a length alone must cost no memory. */
    @ParameterizedTest
    @ValueSource(ints = {Integer.MIN_VALUE, -1, 0, 1 << 30, Integer.MAX_VALUE})
    void whatIsNotCheckedTakesNoMemory(int length) {
        for (MechanismParams parameter : List.of(new TLSPRFParams(SOME, SOME, length),
                new GCMMessageParams(SOME, 0, VectorGenerator.NONE, length),
                new CCMMessageParams(1, SOME, 0, VectorGenerator.NONE, length))) {
            assertTrue(parameter.structure().size() < 2 << 20);
        }
    }

    @Test
    void whatIsSoundPasses() {
        for (int bits : new int[] {32, 64, 96, 104, 112, 120, 128}) {
            new GCMParams(new byte[1], SOME, bits).check();
        }
        for (int nonce = 7; nonce <= 13; nonce++) {
            for (int mac = 4; mac <= 16; mac += 2) {
                new CCMParams(65535, new byte[nonce], null, mac).check();
            }
        }
        new CCMParams(Long.MAX_VALUE, new byte[7], null, 16).check();
        new CTRParams(1, SOME).check();
        new CTRParams(SOME).check();
        new ChaCha20Params(new byte[8], new byte[8]).check();
        new ChaCha20Poly1305Params(new byte[24], SOME).check();
        new EdDSAParams(false, new byte[255]).check();
        new CBCEncryptDataParams(new byte[8], new byte[24]).check();
        HKDFParams.of("SHA-256", null, null).check();
        HKDFParams.of("SHA-512", SOME, SOME).check();
        new HKDFParams(true, false, CKM.SHA256, CKF.HKDF_SALT_KEY, null, 1L << 40, null).check();
        PBKD2Params.of(PASSWORD, SOME, 1, "SHA-1").check();
        new RSAAESKeyWrapParams(256, OAEPParams.of("SHA-1", null)).check();
        new SignContextParams(Hedge.PREFERRED, new byte[255]).check();
        new TLSPRFParams(SOME, SOME, 1 << 20).check();
        new SP800108CounterParams(CKM.SHA256_HMAC, PrfInput.counter(32, true), PrfInput.bytes((byte) 0),
                PrfInput.length(CK.SP800_108_DKM_LENGTH_SUM_OF_KEYS, 64, true)).check();
        new SP800108FeedbackParams(CKM.AES_CMAC, SOME, PrfInput.iteration(), PrfInput.optionalCounter(8, false))
                .check();
    }

    @ParameterizedTest
    @CsvSource({"SHA-1, 0x220, 1, 20", "SHA1, 0x220, 1, 20", "sha-224, 0x255, 5, 28", "SHA-256, 0x250, 2, 32",
        "SHA384, 0x260, 3, 48", "SHA-512, 0x270, 4, 64", "SHA3-224, 0x2B5, 6, 28", "SHA3-256, 0x2B0, 7, 32",
        "SHA3-384, 0x2C0, 8, 48", "SHA3-512, 0x2D0, 9, 64"})
    void digestsHaveTheirNumbers(String name, String mechanism, int mask, int length) {
        Structure pss = PSSParams.of(name).structure();
        assertEquals(Long.decode(mechanism), pss.getLong(0));
        assertEquals(mask, pss.getLong(8));
        assertEquals(length, pss.getLong(16));
        Structure oaep = OAEPParams.of(name, new byte[] {7}).structure();
        assertEquals(Long.decode(mechanism), oaep.getLong(0));
        assertEquals(mask, oaep.getLong(8));
        assertEquals(1, oaep.getLong(16));
        assertArrayEquals(new byte[] {7}, oaep.getPointed(24, 1));
    }

    @Test
    void theJdksParametersAreTheSame() {
        Structure pss = PSSParams.of(new PSSParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA1, 11, 1)).structure();
        assertEquals(CKM.SHA256, pss.getLong(0));
        assertEquals(1, pss.getLong(8));
        assertEquals(11, pss.getLong(16));
        assertThrows(IllegalArgumentException.class,
                () -> PSSParams.of(new PSSParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA1, 11, 2)));
        assertThrows(IllegalArgumentException.class, () -> PSSParams.of(new PSSParameterSpec("SHA-256", "MGF1",
                new MGF1ParameterSpec("SHA-512/256"), 11, 1)));
        assertThrows(IllegalArgumentException.class,
                () -> PSSParams.of(new PSSParameterSpec("SHA-256", "MGF2", MGF1ParameterSpec.SHA1, 11, 1)));

        Structure oaep = OAEPParams.of(new OAEPParameterSpec("SHA-384", "MGF1", MGF1ParameterSpec.SHA512,
                new PSource.PSpecified(new byte[] {1, 2}))).structure();
        assertEquals(CKM.SHA384, oaep.getLong(0));
        assertEquals(4, oaep.getLong(8));
        assertArrayEquals(new byte[] {1, 2}, oaep.getPointed(24, 2));
        assertThrows(IllegalArgumentException.class, () -> OAEPParams.of("MD4", null));
        assertThrows(IllegalArgumentException.class, () -> PBKD2Params.of(PASSWORD, SOME, 1, "SHA3-256"));
    }

    @Test
    void arraysAreCopied() {
        byte[] iv = {1};
        byte[] aad = {2};
        char[] password = {'p'};
        GCMParams parameter = new GCMParams(iv, aad, 128);
        PBKD2Params derivation = new PBKD2Params(password, SOME, 1, 1);
        iv[0] = 9;
        aad[0] = 9;
        password[0] = 'x';
        parameter.iv()[0] = 9;
        assertArrayEquals(new byte[] {1}, parameter.structure().getPointed(0, 1));
        assertArrayEquals(new byte[] {2}, parameter.structure().getPointed(24, 1));
        assertArrayEquals(new byte[] {'p'}, derivation.structure().getPointed(56, 1));
    }
}
