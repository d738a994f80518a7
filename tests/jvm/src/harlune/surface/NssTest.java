package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import harlune.support.Tokens;

import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.Arrays;

import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CK;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Digester;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;
import velnor.Version;
import velnor.nat.Structure;
import velnor.params.EXTRACTParams;
import velnor.params.KEYDERIVATIONSTRINGDATA;
import velnor.params.PrfInput;
import velnor.params.SP800108CounterParams;
import velnor.params.SP800108FeedbackParams;
import velnor.params.SP800108PipelineParams;
import velnor.params.SSL3KEYMATOUT;
import velnor.params.SSL3RANDOMDATA;
import velnor.params.StructureParams;
import velnor.params.TLS12KeyMatParams;
import velnor.params.TLS12MasterKeyDeriveParams;
import velnor.params.TLSMACParams;

/** What NSS shows of the surface beyond other tokens: keys are derived, and operations saved. */
class NssTest {
    private static final byte[] BASE = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

    private Cryptoki cryptoki;
    private Session session;
    private TokenObject base;

    @BeforeEach
    void open() {
        cryptoki = Surface.token();
        session = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        session.login(Tokens.PIN);
        base = session.createObject(key(new Attribute(CKA.VALUE, BASE), new Attribute(CKA.DERIVE, true)));
    }

    @AfterEach
    void close() {
        cryptoki.close();
    }

    private static Attribute[] key(Attribute... more) {
        Attribute[] common = {new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.TOKEN, false),
            new Attribute(CKA.KEY_TYPE, CKK.GENERIC_SECRET), new Attribute(CKA.SENSITIVE, false),
            new Attribute(CKA.EXTRACTABLE, true)};
        Attribute[] all = Arrays.copyOf(common, common.length + more.length);
        System.arraycopy(more, 0, all, common.length, more.length);
        return all;
    }

    private static byte[] valueOf(TokenObject key) {
        return key.attribute(CKA.VALUE).bytesValue();
    }

    @Test
    void derivedKeysAreDelivered() {
        TokenObject joined = session.deriveKey(new Mechanism(CKM.CONCATENATE_BASE_AND_DATA,
                new KEYDERIVATIONSTRINGDATA(new byte[] {77, 78})), base, key());
        TokenObject cut = session.deriveKey(new Mechanism(CKM.EXTRACT_KEY_FROM_KEY, new EXTRACTParams(8)), base,
                key(new Attribute(CKA.VALUE_LEN, 4)));
        byte[] expected = Arrays.copyOf(BASE, 18);
        expected[16] = 77;
        expected[17] = 78;
        assertArrayEquals(expected, valueOf(joined));
        assertArrayEquals(new byte[] {1, 2, 3, 4}, valueOf(cut));
    }

    private static byte[] hmac(byte[] key, byte[]... data) {
        try {
            Mac mac = Mac.getInstance("HmacSHA256");
            mac.init(new SecretKeySpec(key, "HmacSHA256"));
            for (byte[] part : data) {
                mac.update(part);
            }
            return mac.doFinal();
        } catch (GeneralSecurityException e) {
            throw new AssertionError(e);
        }
    }

    private static byte[] joined(byte[]... parts) {
        ByteArrayOutputStream all = new ByteArrayOutputStream();
        for (byte[] part : parts) {
            all.writeBytes(part);
        }
        return all.toByteArray();
    }

    /** The pseudo-random function of TLS 1.2. */
    private static byte[] prf(byte[] secret, byte[] seed, int length) {
        byte[] output = {};
        byte[] a = seed;
        while (output.length < length) {
            a = hmac(secret, a);
            output = joined(output, hmac(secret, a, seed));
        }
        return Arrays.copyOf(output, length);
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    private static byte[] filled(int length, int with) {
        byte[] bytes = new byte[length];
        Arrays.fill(bytes, (byte) with);
        return bytes;
    }

    @Test
    void keysOfATls12HandshakeAreDerived() {
        byte[] client = filled(32, 0xC1);
        byte[] server = filled(32, 0x5E);
        SSL3RANDOMDATA random = new SSL3RANDOMDATA(client, server);
        byte[] preMaster = filled(48, 7);
        preMaster[0] = 3;
        preMaster[1] = 3;
        TokenObject secret = session.createObject(key(new Attribute(CKA.VALUE, preMaster),
                new Attribute(CKA.DERIVE, true)));

        TLS12MasterKeyDeriveParams parameter = TLS12MasterKeyDeriveParams.of("SHA-256", random, new Version(0, 0));
        TokenObject master = session.deriveKey(new Mechanism(CKM.TLS12_MASTER_KEY_DERIVE, parameter), secret,
                key(new Attribute(CKA.DERIVE, true), new Attribute(CKA.VALUE_LEN, 48)));
        byte[] expected = prf(preMaster, joined(bytes("master secret"), client, server), 48);
        assertArrayEquals(expected, valueOf(master));
        assertEquals("3.3", parameter.foundVersion().toString());

        SSL3KEYMATOUT made = new SSL3KEYMATOUT();
        session.deriveKey(new Mechanism(CKM.TLS12_KEY_AND_MAC_DERIVE, TLS12KeyMatParams.of("SHA-256", made, random, 128,
                160, 96)), master, key(new Attribute(CKA.VALUE_LEN, 16)));
        byte[] block = prf(expected, joined(bytes("key expansion"), server, client), 2 * (20 + 16 + 12));
        assertArrayEquals(Arrays.copyOfRange(block, 0, 20), valueOf(session.object(made.clientMacSecret())));
        assertArrayEquals(Arrays.copyOfRange(block, 20, 40), valueOf(session.object(made.serverMacSecret())));
        assertArrayEquals(Arrays.copyOfRange(block, 40, 56), valueOf(session.object(made.clientKey())));
        assertArrayEquals(Arrays.copyOfRange(block, 56, 72), valueOf(session.object(made.serverKey())));
        assertArrayEquals(Arrays.copyOfRange(block, 72, 84), made.clientIv());
        assertArrayEquals(Arrays.copyOfRange(block, 84, 96), made.serverIv());

        byte[] messages = filled(32, 0x11);
        TokenObject signing = session.createObject(key(new Attribute(CKA.VALUE, expected),
                new Attribute(CKA.SIGN, true)));
        for (boolean byServer : new boolean[] {true, false}) {
            assertArrayEquals(prf(expected, joined(bytes(byServer ? "server finished" : "client finished"), messages),
                    12), session.sign(new Mechanism(CKM.TLS_MAC, TLSMACParams.of("SHA-256", byServer)), signing,
                            messages));
        }
    }

    @Test
    void keysAreDerivedByCounterFeedbackAndDoublePipeline() {
        byte[] label = bytes("a label");
        byte[] zero = {0};
        byte[] context = bytes("a context");
        byte[] length = {0, 0, 1, (byte) 0x80}; // 384 bits
        Attribute[] wanted = key(new Attribute(CKA.VALUE_LEN, 48));

        PrfInput bits = PrfInput.length(CK.SP800_108_DKM_LENGTH_SUM_OF_KEYS, 32, false);
        TokenObject counted = session.deriveKey(new Mechanism(CKM.SP800_108_COUNTER_KDF, new SP800108CounterParams(
                CKM.SHA256_HMAC, PrfInput.counter(16, false), PrfInput.bytes(label), PrfInput.bytes(zero),
                PrfInput.bytes(context), bits)), base, wanted);
        assertArrayEquals(Arrays.copyOf(joined(hmac(BASE, new byte[] {0, 1}, label, zero, context, length),
                hmac(BASE, new byte[] {0, 2}, label, zero, context, length)), 48), valueOf(counted));

        byte[] iv = filled(32, 9);
        TokenObject fed = session.deriveKey(new Mechanism(CKM.SP800_108_FEEDBACK_KDF, new SP800108FeedbackParams(
                CKM.SHA256_HMAC, iv, PrfInput.iteration(), PrfInput.optionalCounter(8, false), PrfInput.bytes(label))),
                base, wanted);
        byte[] first = hmac(BASE, iv, new byte[] {1}, label);
        assertArrayEquals(Arrays.copyOf(joined(first, hmac(BASE, first, new byte[] {2}, label)), 48), valueOf(fed));

        TokenObject piped = session.deriveKey(new Mechanism(CKM.SP800_108_DOUBLE_PIPELINE_KDF,
                new SP800108PipelineParams(CKM.SHA256_HMAC, PrfInput.iteration(), PrfInput.bytes(label))), base, wanted);
        byte[] a1 = hmac(BASE, label);
        byte[] a2 = hmac(BASE, a1);
        assertArrayEquals(Arrays.copyOf(joined(hmac(BASE, a1, label), hmac(BASE, a2, label)), 48), valueOf(piped));
    }

    @Test
    void aVendorsStructureWithPointersReachesTheToken() {
        int ikePrfDerive = 0xCE534350 + 35; // CKM_NSS_IKE_PRF_DERIVE
        StructureParams nonces = new StructureParams(() -> new Structure(7 * Structure.WORD)
                .putNumber(0, CKM.SHA256_HMAC).putBoolean(8, true).putCounted(16, 24, bytes("initiator"))
                .putCounted(32, 40, bytes("responder")));
        TokenObject seed = session.deriveKey(new Mechanism(ikePrfDerive, nonces), base, key(new Attribute(CKA.VALUE_LEN,
                32)));
        assertArrayEquals(hmac(bytes("initiatorresponder"), BASE), valueOf(seed));
    }

    @Test
    void aRefusedDerivationIsTold() {
        CryptokiException e = assertThrows(CryptokiException.class, () -> session.deriveKey(
                new Mechanism(CKM.CONCATENATE_BASE_AND_DATA, new KEYDERIVATIONSTRINGDATA(new byte[1])),
                session.object(0x7FFF), key()));
        assertEquals("J_DeriveKey", e.functionName());
        assertEquals(CKR.KEY_HANDLE_INVALID, e.code());
    }

    @Test
    void aDigestGoesOnFromItsSavedState() throws NoSuchAlgorithmException {
        Session generic = cryptoki.tokenByLabel(Tokens.OTHER_LABEL).openSession();
        byte[] state;
        try (Digester digester = generic.digester(new Mechanism(CKM.SHA256))) {
            digester.update(new byte[] {1, 2, 3});
            state = generic.operationState();
            digester.update(new byte[] {99});
            generic.setOperationState(state);
            digester.update(new byte[] {4});
            assertArrayEquals(MessageDigest.getInstance("SHA-256").digest(new byte[] {1, 2, 3, 4}), digester.digest());
        }
        CryptokiException e = assertThrows(CryptokiException.class, () -> generic.setOperationState(new byte[1]));
        assertEquals("J_SetOperationState", e.functionName());
    }
}
