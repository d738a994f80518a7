package harlune.values;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Bridge;
import harlune.support.Tokens;

import java.nio.charset.StandardCharsets;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.KeyStore;
import java.security.Signature;
import java.security.cert.X509Certificate;
import java.security.spec.ECGenParameterSpec;
import java.util.Arrays;
import java.util.List;

import javax.crypto.KeyAgreement;
import javax.net.ssl.TrustManagerFactory;
import javax.net.ssl.X509TrustManager;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.Attribute;
import velnor.Attribute.Availability;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.EcdsaSignatures;
import velnor.Mechanism;
import velnor.ObjectTemplates;
import velnor.Session;
import velnor.TokenKeyPair;
import velnor.TokenObject;
import velnor.params.ECDH1DeriveParams;

/** Values on a real token, whichever it is: read at any length, and as keys and certificates of the JDK. */
class TokenValuesTest {
    private static final byte[] P256 = {0x06, 0x08, 0x2A, (byte) 0x86, 0x48, (byte) 0xCE, 0x3D, 0x03, 0x01, 0x07};

    private Cryptoki cryptoki;
    private Session session;

    @BeforeEach
    void open() {
        Bridge.load();
        cryptoki = Cryptoki.open(Tokens.MODULE);
        session = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        session.login(Tokens.PIN);
    }

    @AfterEach
    void close() {
        cryptoki.close();
    }

    private static KeyPair pair(String algorithm, int bits) throws Exception {
        KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm);
        if (algorithm.equals("EC")) {
            generator.initialize(new ECGenParameterSpec("secp256r1"));
        } else {
            generator.initialize(bits);
        }
        return generator.generateKeyPair();
    }

    /** NSS writes past the room that it is given for a session object, so this would not come back from a guess. */
    @ParameterizedTest
    @ValueSource(ints = {1, 2048, 2049, 5000, 70000})
    void aValueOfAnyLengthIsRead(int length) {
        byte[] value = new byte[length];
        Arrays.fill(value, (byte) 'x');
        TokenObject data = session.createObject(new Attribute(CKA.CLASS, CKO.DATA), new Attribute(CKA.LABEL, "long"),
                new Attribute(CKA.VALUE, value));
        List<Attribute> read = data.attributes(CKA.LABEL, CKA.VALUE, CKA.CLASS);
        assertEquals("long", read.get(0).text());
        assertArrayEquals(value, read.get(1).bytesValue());
        assertEquals(CKO.DATA, read.get(2).value());
        assertArrayEquals(value, data.attribute(CKA.VALUE).bytesValue());
    }

    @Test
    void sensitiveAbsentAndEmptyAreToldApart() {
        TokenObject key = session.generateKey(new Mechanism(CKM.AES_KEY_GEN), new Attribute(CKA.VALUE_LEN, 16),
                new Attribute(CKA.SENSITIVE, true), new Attribute(CKA.EXTRACTABLE, false));
        List<Attribute> read = key.attributes(CKA.VALUE, CKA.MODULUS, CKA.KEY_TYPE, CKA.START_DATE);
        assertEquals(Availability.SENSITIVE, read.get(0).availability());
        assertNull(read.get(0).value());
        assertEquals(Availability.ABSENT, read.get(1).availability());
        assertNull(read.get(1).value());
        assertEquals(CKK.AES, read.get(2).value());
        assertTrue(read.get(3).availability() == Availability.EMPTY && read.get(3).dateValue().isEmpty()
                || read.get(3).availability() == Availability.ABSENT, read.get(3)::toString);
        assertEquals(CKR.ATTRIBUTE_SENSITIVE,
                assertThrows(CryptokiException.class, () -> key.attribute(CKA.VALUE)).code());
        assertEquals(CKR.ATTRIBUTE_TYPE_INVALID,
                assertThrows(CryptokiException.class, () -> key.attribute(CKA.MODULUS)).code());
    }

    @ParameterizedTest
    @ValueSource(strings = {"RSA", "EC", "DSA", "DH"})
    void aPublicKeyOfTheJdkComesBack(String algorithm) throws Exception {
        java.security.PublicKey key = pair(algorithm, 2048).getPublic();
        TokenObject object = session.createObject(ObjectTemplates.of(key, new Attribute(CKA.LABEL, "imported")));
        java.security.PublicKey read = object.publicKey();
        if (algorithm.equals("DH")) {
            assertEquals(((javax.crypto.interfaces.DHPublicKey) key).getY(),
                    ((javax.crypto.interfaces.DHPublicKey) read).getY());
        } else {
            assertEquals(key, read);
        }
        assertEquals("imported", object.label());
    }

    /** A key of the JDK signs on the token, and the JDK verifies with its own public key. */
    @Test
    void anImportedPrivateKeySigns() throws Exception {
        byte[] message = "message".getBytes(StandardCharsets.UTF_8);
        byte[] id = {1, 2, 3};
        Attribute sign = new Attribute(CKA.SIGN, true);
        KeyPair rsa = pair("RSA", 2048);
        TokenObject key = session.createObject(ObjectTemplates.of(rsa.getPrivate(), sign, new Attribute(CKA.ID, id)));
        Signature verifier = Signature.getInstance("SHA256withRSA");
        verifier.initVerify(key.publicKey());
        verifier.update(message);
        assertTrue(verifier.verify(session.sign(new Mechanism(CKM.SHA256_RSA_PKCS), key, message)));
        assertEquals(rsa.getPublic(), key.publicKey());
        assertArrayEquals(id, key.id());
    }

    @Test
    void aSignatureOfATokenIsOneOfTheJdk() throws Exception {
        TokenKeyPair pair = session.generateKeyPair(new Mechanism(CKM.EC_KEY_PAIR_GEN),
                new Attribute[] {new Attribute(CKA.EC_PARAMS, P256), new Attribute(CKA.VERIFY, true)},
                new Attribute[] {new Attribute(CKA.SIGN, true)});
        byte[] digest = new byte[32];
        Arrays.fill(digest, (byte) 7);
        Mechanism ecdsa = new Mechanism(CKM.ECDSA);
        byte[] signature = session.sign(ecdsa, pair.privateKey(), digest);
        Signature jdk = Signature.getInstance("NONEwithECDSA");
        jdk.initVerify(pair.publicKey().publicKey());
        jdk.update(digest);
        byte[] der = EcdsaSignatures.toDer(signature);
        assertTrue(jdk.verify(der));
        session.verify(ecdsa, pair.publicKey(), digest, EcdsaSignatures.fromDer(der, 32));
    }

    /** Both forms of the other party's point, against what the JDK agrees on. */
    @Test
    void aPointMayBeRawOrInAnOctetString() throws Exception {
        TokenKeyPair pair = session.generateKeyPair(new Mechanism(CKM.EC_KEY_PAIR_GEN),
                new Attribute[] {new Attribute(CKA.EC_PARAMS, P256)},
                new Attribute[] {new Attribute(CKA.DERIVE, true)});
        KeyPair other = pair("EC", 256);
        KeyAgreement agreement = KeyAgreement.getInstance("ECDH");
        agreement.init(other.getPrivate());
        agreement.doPhase(pair.publicKey().publicKey(), true);
        byte[] agreed = agreement.generateSecret();
        ECDH1DeriveParams raw = ECDH1DeriveParams.of(other.getPublic());
        for (ECDH1DeriveParams parameter : List.of(raw, raw.inOctetString())) {
            TokenObject secret = session.deriveKey(new Mechanism(CKM.ECDH1_DERIVE, parameter), pair.privateKey(),
                    new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.GENERIC_SECRET),
                    new Attribute(CKA.VALUE_LEN, 32), new Attribute(CKA.SENSITIVE, false),
                    new Attribute(CKA.EXTRACTABLE, true));
            assertArrayEquals(agreed, secret.attribute(CKA.VALUE).bytesValue());
        }
    }

    @Test
    void aCertificateComesBack() throws Exception {
        TrustManagerFactory factory = TrustManagerFactory.getInstance(TrustManagerFactory.getDefaultAlgorithm());
        factory.init((KeyStore) null);
        X509Certificate[] known = ((X509TrustManager) factory.getTrustManagers()[0]).getAcceptedIssuers();
        assertTrue(known.length > 0, "the JDK trusts nobody");
        for (X509Certificate certificate : Arrays.copyOf(known, Math.min(known.length, 5))) {
            TokenObject object = session.createObject(ObjectTemplates.of(certificate, new Attribute(CKA.ID,
                    new byte[] {1}), new Attribute(CKA.TOKEN, true), new Attribute(CKA.PRIVATE, false)));
            assertEquals(certificate, object.certificate());
            assertEquals(certificate.getPublicKey(), object.publicKey());
            assertArrayEquals(certificate.getIssuerX500Principal().getEncoded(),
                    object.attribute(CKA.ISSUER).bytesValue());
            object.destroy();
        }
    }

    @Test
    void whatIsNoKeyHasNoPublicKey() {
        TokenObject data = session.createObject(new Attribute(CKA.CLASS, CKO.DATA), new Attribute(CKA.VALUE, "x"));
        assertThrows(UnsupportedOperationException.class, data::publicKey);
        assertThrows(CryptokiException.class, data::certificate);
    }

    @Test
    void aKeyThatIsNotCompleteIsNotCreated() throws Exception {
        Attribute[] whole = ObjectTemplates.of(pair("RSA", 2048).getPrivate());
        Attribute[] part = Arrays.stream(whole).filter(attribute -> attribute.type() != CKA.PUBLIC_EXPONENT)
                .toArray(Attribute[]::new);
        assertThrows(IllegalArgumentException.class, () -> session.createObject(part));
    }

    @Test
    void theSizeIsToldOrNot() {
        TokenObject data = session.createObject(new Attribute(CKA.CLASS, CKO.DATA), new Attribute(CKA.VALUE, "x"));
        assertEquals(data.memorySize().isPresent(), data.size().isPresent());
    }
}
