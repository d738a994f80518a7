package harlune.values;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.AlgorithmParameters;
import java.security.KeyFactory;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.PublicKey;
import java.security.interfaces.ECPrivateKey;
import java.security.interfaces.RSAPrivateCrtKey;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.RSAPrivateKeySpec;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Stream;

import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKO;
import velnor.ObjectTemplates;
import velnor.Reading;
import velnor.der.Der;
import velnor.params.ECDH1DeriveParams;

/** The JDK's keys as objects of a token and back. */
class KeyConversionTest {
    private static final List<String> CURVES = List.of("secp256r1", "secp384r1", "secp521r1");

    private static KeyPair pair(String algorithm) throws Exception {
        if (CURVES.contains(algorithm)) {
            KeyPairGenerator generator = KeyPairGenerator.getInstance("EC");
            generator.initialize(new ECGenParameterSpec(algorithm));
            return generator.generateKeyPair();
        }
        KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm);
        if (List.of("RSA", "DSA", "DH").contains(algorithm)) {
            generator.initialize(2048);
        }
        return generator.generateKeyPair();
    }

    static Stream<String> algorithms() {
        return Stream.concat(CURVES.stream(), Stream.of("RSA", "DSA", "DH", "Ed25519", "Ed448", "X25519", "X448"));
    }

    private static long[] types(Attribute... template) {
        return Arrays.stream(template).mapToLong(Attribute::typeCode).toArray();
    }

    /** What a token that holds the template tells of it. */
    private static List<Attribute> told(Attribute... template) {
        return new FakeObject().with(template).read(types(template));
    }

    private static Attribute[] replaced(Attribute[] template, int type, Object value) {
        return Arrays.stream(template).map(attribute -> attribute.type() == type ? new Attribute(type, value) : attribute)
                .toArray(Attribute[]::new);
    }

    private static Attribute of(Attribute[] template, int type) {
        return Arrays.stream(template).filter(attribute -> attribute.type() == type).findFirst().orElse(null);
    }

    @ParameterizedTest
    @MethodSource("algorithms")
    void aPublicKeyComesBack(String algorithm) throws Exception {
        PublicKey key = pair(algorithm).getPublic();
        Attribute[] template = ObjectTemplates.of(key);
        Reading.checkComplete(template);
        PublicKey read = Reading.publicKey(told(template));
        assertEquals(key.getAlgorithm(), read.getAlgorithm());
        if (algorithm.equals("DH")) {
            assertEquals(((javax.crypto.interfaces.DHPublicKey) key).getY(),
                    ((javax.crypto.interfaces.DHPublicKey) read).getY());
        } else {
            assertEquals(key, read);
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"secp256r1", "secp384r1", "secp521r1", "Ed25519", "Ed448", "X25519", "X448"})
    void aPointMayBeRawOrWrapped(String algorithm) throws Exception {
        for (int i = 0; i < 20; i++) {
            PublicKey key = pair(algorithm).getPublic();
            Attribute[] template = ObjectTemplates.of(key);
            byte[] wrapped = of(template, CKA.EC_POINT).bytesValue();
            byte[] raw = Der.element(wrapped).content(Der.OCTET_STRING);
            assertEquals(key, Reading.publicKey(told(replaced(template, CKA.EC_POINT, raw))));
            assertEquals(key, Reading.publicKey(told(replaced(template, CKA.EC_POINT, Der.bitString(raw)))));
        }
    }

    /** A raw point whose first bytes look like an OCTET STRING is not taken for one. */
    @Test
    void aRawPointThatLooksWrappedIsNot() throws Exception {
        AlgorithmParameters curve = AlgorithmParameters.getInstance("EC");
        curve.init(new ECGenParameterSpec("secp256r1"));
        byte[] raw = new byte[65];
        raw[0] = 4;
        raw[1] = 63;
        raw[2] = 4;
        List<Attribute> told = told(new Attribute(CKA.KEY_TYPE, CKK.EC), new Attribute(CKA.EC_PARAMS, curve.getEncoded()),
                new Attribute(CKA.EC_POINT, raw));
        java.security.interfaces.ECPublicKey read = (java.security.interfaces.ECPublicKey) Reading.publicKey(told);
        assertEquals(63 * 256 + 4, read.getW().getAffineX().shiftRight(240).intValue());
    }

    @Test
    void curvesMayHaveTheirNames() throws Exception {
        for (String[] names : new String[][] {{"Ed25519", "edwards25519"}, {"Ed448", "edwards448"},
            {"X25519", "curve25519"}, {"X448", "curve448"}}) {
            PublicKey key = pair(names[0]).getPublic();
            byte[] name = Der.encode(Der.PRINTABLE_STRING, names[1].getBytes());
            assertEquals(key, Reading.publicKey(told(replaced(ObjectTemplates.of(key), CKA.EC_PARAMS, name))));
        }
    }

    @ParameterizedTest
    @MethodSource("algorithms")
    void aPrivateKeyIsComplete(String algorithm) throws Exception {
        KeyPair pair = pair(algorithm);
        Attribute[] template = ObjectTemplates.of(pair.getPrivate());
        Reading.checkComplete(template);
        for (Attribute attribute : template) {
            List<Integer> optional = List.of(CKA.PRIME_1, CKA.PRIME_2, CKA.EXPONENT_1, CKA.EXPONENT_2, CKA.COEFFICIENT,
                    CKA.CLASS, CKA.KEY_TYPE);
            if (!optional.contains(attribute.type())) {
                Attribute[] without = Arrays.stream(template).filter(other -> other != attribute)
                        .toArray(Attribute[]::new);
                assertThrows(IllegalArgumentException.class, () -> Reading.checkComplete(without),
                        attribute::toString);
                assertThrows(IllegalArgumentException.class,
                        () -> Reading.checkComplete(replaced(template, attribute.type(), new byte[0])));
            }
        }
        if (algorithm.equals("RSA")) {
            assertEquals(pair.getPublic(), Reading.publicKey(told(template)), "modulus and exponent are enough");
        } else {
            List<Attribute> shown = new ArrayList<>(told(template));
            shown.removeIf(attribute -> attribute.type() == CKA.VALUE);
            assertNull(Reading.publicKey(shown));
            shown.add(new Attribute(CKA.PUBLIC_KEY_INFO, pair.getPublic().getEncoded()));
            assertArrayEquals(pair.getPublic().getEncoded(), Reading.publicKey(shown).getEncoded());
        }
    }

    /** The secret itself, against what the JDK makes of the same bytes. */
    @Test
    void theSecretIsTheKeys() throws Exception {
        KeyPair pair = pair("secp256r1");
        assertEquals(((ECPrivateKey) pair.getPrivate()).getS(),
                of(ObjectTemplates.of(pair.getPrivate()), CKA.VALUE).bigIntegerValue());
        KeyPair edwards = pair("Ed25519");
        byte[] seed = ((java.security.interfaces.EdECPrivateKey) edwards.getPrivate()).getBytes().get();
        assertArrayEquals(seed, of(ObjectTemplates.of(edwards.getPrivate()), CKA.VALUE).bytesValue());
        RSAPrivateCrtKey rsa = (RSAPrivateCrtKey) pair("RSA").getPrivate();
        Attribute[] template = ObjectTemplates.of(rsa);
        assertEquals(rsa.getPrivateExponent(), of(template, CKA.PRIVATE_EXPONENT).bigIntegerValue());
        assertEquals(rsa.getPrimeP(), of(template, CKA.PRIME_1).bigIntegerValue());
        assertEquals(rsa.getPrimeQ(), of(template, CKA.PRIME_2).bigIntegerValue());
        assertEquals(rsa.getPrimeExponentP(), of(template, CKA.EXPONENT_1).bigIntegerValue());
        assertEquals(rsa.getPrimeExponentQ(), of(template, CKA.EXPONENT_2).bigIntegerValue());
        assertEquals(rsa.getCrtCoefficient(), of(template, CKA.COEFFICIENT).bigIntegerValue());
        java.security.PrivateKey small = KeyFactory.getInstance("RSA")
                .generatePrivate(new RSAPrivateKeySpec(rsa.getModulus(), rsa.getPrivateExponent()));
        assertThrows(IllegalArgumentException.class, () -> ObjectTemplates.of(small));
    }

    @Test
    void secretKeysHaveTheirTypes() {
        for (Object[] row : new Object[][] {{"AES", 16, CKK.AES}, {"DES", 8, CKK.DES}, {"DESede", 24, CKK.DES3},
            {"DESede", 16, CKK.DES2}, {"ChaCha20", 32, CKK.CHACHA20}, {"HmacSHA256", 32, CKK.GENERIC_SECRET}}) {
            byte[] value = new byte[(int) row[1]];
            value[0] = 1;
            Attribute[] template = ObjectTemplates.of(new SecretKeySpec(value, (String) row[0]),
                    new Attribute(CKA.LABEL, "mine"));
            Reading.checkComplete(template);
            assertEquals(row[2], of(template, CKA.KEY_TYPE).value());
            assertEquals(CKO.SECRET_KEY, of(template, CKA.CLASS).value());
            assertArrayEquals(value, of(template, CKA.VALUE).bytesValue());
            assertEquals("mine", of(template, CKA.LABEL).text());
        }
    }

    @Test
    void whatIsAddedReplaces() throws Exception {
        Attribute[] template = ObjectTemplates.of(pair("Ed25519").getPublic(), new Attribute(CKA.EC_POINT, "point"));
        assertEquals(1, Arrays.stream(template).filter(attribute -> attribute.type() == CKA.EC_POINT).count());
        assertEquals("point", of(template, CKA.EC_POINT).text());
    }

    @Test
    void curvesThatTokensDoNotSurviveAreRefused() throws Exception {
        Attribute[] good = ObjectTemplates.of(pair("secp256r1").getPublic());
        byte[] edwards = Der.objectIdentifier("1.3.101.112");
        for (byte[] parameters : List.of(new byte[] {1}, bytes(0x05, 0x00), edwards, Der.objectIdentifier("1.2.3.4"),
                bytes(0x06, 0x00), bytes(0x30, 0x00), bytes(0x30, 0x80), Der.objectIdentifier("1.3.132.0.40"),
                Der.encode(Der.PRINTABLE_STRING, "edwards25519".getBytes()))) {
            Attribute[] bad = replaced(good, CKA.EC_PARAMS, parameters);
            assertThrows(IllegalArgumentException.class, () -> Reading.checkComplete(bad));
            assertThrows(IllegalArgumentException.class, () -> Reading.checkRead(CKK.EC, told(bad)));
        }
        Reading.checkRead(CKK.EC, told(good));
        for (String known : List.of("1.3.132.0.10", "1.3.36.3.3.2.8.1.1.7", "1.3.132.0.34")) {
            Reading.checkComplete(replaced(good, CKA.EC_PARAMS, Der.objectIdentifier(known)));
        }
        Attribute[] ed = ObjectTemplates.of(pair("Ed25519").getPublic());
        assertThrows(IllegalArgumentException.class, () -> Reading.checkComplete(replaced(ed, CKA.EC_PARAMS,
                Der.objectIdentifier("1.3.132.0.34"))));
    }

    @Test
    void aCurveWithExplicitParametersIsACurve() {
        byte[] number = {2, 1, 23};
        byte[] field = Der.sequence(Der.objectIdentifier("1.2.840.10045.1.1"), number);
        byte[] octets = Der.encode(Der.OCTET_STRING, new byte[] {1});
        byte[] explicit = Der.sequence(new byte[] {2, 1, 1}, field, Der.sequence(octets, octets), octets, number);
        Attribute[] template = {new Attribute(CKA.CLASS, CKO.PUBLIC_KEY), new Attribute(CKA.KEY_TYPE, CKK.EC),
            new Attribute(CKA.EC_PARAMS, explicit), new Attribute(CKA.EC_POINT, "point")};
        Reading.checkComplete(template);
        byte[] withoutOrder = Der.sequence(new byte[] {2, 1, 1}, field, Der.sequence(octets, octets), octets);
        assertThrows(IllegalArgumentException.class,
                () -> Reading.checkComplete(replaced(template, CKA.EC_PARAMS, withoutOrder)));
    }

    /** What a token does not show may be sound; what it shows as empty or zero is not. */
    @Test
    void aKeyOnATokenIsCompleteAsFarAsItShows() throws Exception {
        List<Attribute> nothing = new FakeObject().with(CKA.PRIVATE_EXPONENT, velnor.CKR.ATTRIBUTE_SENSITIVE)
                .read(CKA.MODULUS, CKA.PRIVATE_EXPONENT);
        Reading.checkRead(CKK.RSA, nothing);
        List<Attribute> empty = new FakeObject().with(CKA.PUBLIC_EXPONENT, new byte[0]).read(CKA.PUBLIC_EXPONENT);
        assertThrows(IllegalArgumentException.class, () -> Reading.checkRead(CKK.RSA, empty));
        List<Attribute> zero = new FakeObject().with(CKA.BASE, new byte[3]).read(CKA.BASE);
        assertThrows(IllegalArgumentException.class, () -> Reading.checkRead(CKK.DSA, zero));
    }

    @Test
    void aVendorsKeyIsTheTokensToJudge() {
        Reading.checkComplete(new Attribute(CKA.CLASS, CKO.PUBLIC_KEY), new Attribute(CKA.KEY_TYPE, CKK.VENDOR_DEFINED));
        Reading.checkComplete(new Attribute(CKA.CLASS, CKO.DATA));
        Reading.checkComplete();
    }

    @Test
    void anotherPartysPointIsRaw() throws Exception {
        byte[] point = ECDH1DeriveParams.of(pair("secp384r1").getPublic()).structure().getPointed(32, 97);
        assertEquals(4, point[0]);
        assertEquals(97, point.length);
        assertEquals(32, ECDH1DeriveParams.of(pair("X25519").getPublic()).structure().getLong(24));
        assertTrue(assertThrows(IllegalArgumentException.class, () -> ECDH1DeriveParams.of(new PublicKey() {
            private static final long serialVersionUID = 1L;

            @Override
            public String getAlgorithm() {
                return "EC";
            }

            @Override
            public String getFormat() {
                return null;
            }

            @Override
            public byte[] getEncoded() {
                return null;
            }
        })).getMessage().contains("encoding"));
    }

    private static byte[] bytes(int... values) {
        byte[] bytes = new byte[values.length];
        for (int i = 0; i < values.length; i++) {
            bytes[i] = (byte) values[i];
        }
        return bytes;
    }
}
