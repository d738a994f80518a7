package harlune;

import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Ck;
import harlune.support.TokenSession;

import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.PublicKey;
import java.security.Signature;
import java.security.spec.RSAPublicKeySpec;
import java.util.Arrays;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CryptokiObject;
import velnor.Mechanism;

/** From key generation to a verified signature with RSA, in every form, checked against the JDK's own RSA. */
class RsaSignatureTest extends TokenSession {
    private static final int SIZE = 256;
    private static final byte[] ID = {0x52, 0x53, 0x41};
    private static final byte[] MESSAGE = "Pay Alice 100".getBytes(StandardCharsets.UTF_8);
    /** The message with something before and behind it: offsets and lengths must be minded. */
    private static final byte[] AROUND = "....Pay Alice 100....".getBytes(StandardCharsets.UTF_8);
    private static final Mechanism MECHANISM = new Mechanism(Ck.CKM_SHA256_RSA_PKCS);
    private long publicKey;
    private long privateKey;

    /** Makes the keys once and finds them for each test: SoftHSM gives an object a new handle after a logout. */
    @BeforeEach
    void findKeys() {
        if (session.J_FindObjects(template(Ck.CKO_PRIVATE_KEY)) == null) {
            long[] pair = session.J_GenerateKeyPair(new Mechanism(Ck.CKM_RSA_PKCS_KEY_PAIR_GEN),
                    new Attribute[] {
                        new Attribute(Ck.CKA_TOKEN, true),
                        new Attribute(Ck.CKA_ID, ID),
                        new Attribute(Ck.CKA_LABEL, "the public one"),
                        new Attribute(Ck.CKA_VERIFY, true),
                        new Attribute(Ck.CKA_MODULUS_BITS, 8 * SIZE),
                        new Attribute(Ck.CKA_PUBLIC_EXPONENT, new byte[] {1, 0, 1}),
                    },
                    new Attribute[] {
                        new Attribute(Ck.CKA_TOKEN, true),
                        new Attribute(Ck.CKA_ID, ID),
                        new Attribute(Ck.CKA_LABEL, "the private one"),
                        new Attribute(Ck.CKA_SIGN, true),
                        new Attribute(Ck.CKA_SENSITIVE, true),
                        new Attribute(Ck.CKA_EXTRACTABLE, false),
                    });
            assertEquals(Ck.CKO_PUBLIC_KEY, session.J_GetAttributeValue(pair[0], Ck.CKA_CLASS).intValue());
            assertEquals(Ck.CKO_PRIVATE_KEY, session.J_GetAttributeValue(pair[1], Ck.CKA_CLASS).intValue());
        }
        publicKey = session.J_FindObjects(template(Ck.CKO_PUBLIC_KEY))[0];
        privateKey = session.J_FindObjects(template(Ck.CKO_PRIVATE_KEY))[0];
    }

    private byte[] sign() {
        return session.J_Sign(h, true, MECHANISM, privateKey, MESSAGE, 0, MESSAGE.length);
    }

    private void assertValid(byte[] signature) throws GeneralSecurityException {
        BigInteger modulus = new BigInteger(1, session.J_GetAttributeValue(publicKey, Ck.CKA_MODULUS).bytesValue());
        BigInteger exponent =
                new BigInteger(1, session.J_GetAttributeValue(publicKey, Ck.CKA_PUBLIC_EXPONENT).bytesValue());
        PublicKey key = KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(modulus, exponent));
        Signature judge = Signature.getInstance("SHA256withRSA");
        judge.initVerify(key);
        judge.update(MESSAGE);
        assertTrue(judge.verify(signature), "the JDK refuses the signature");
    }

    private static Attribute[] template(int objectClass) {
        return new Attribute[] {new Attribute(Ck.CKA_CLASS, objectClass), new Attribute(Ck.CKA_ID, ID)};
    }

    // Finding

    @Test
    void handlesAreFoundByTemplate() {
        assertEquals(1, session.J_FindObjects(template(Ck.CKO_PUBLIC_KEY)).length);
        assertEquals(1, session.J_FindObjects(template(Ck.CKO_PRIVATE_KEY)).length);
        assertEquals(2, session.J_FindObjects(new Attribute[] {new Attribute(Ck.CKA_ID, ID)}).length);
        assertEquals(2, session.J_FindObjects(null).length);
        assertNull(session.J_FindObjects(template(Ck.CKO_DATA)));
    }

    @Test
    void objectsAreFoundWithTheirAttributes() {
        CryptokiObject[] found = session.J_FindObjects(template(Ck.CKO_PRIVATE_KEY),
                new int[] {Ck.CKA_LABEL, Ck.CKA_KEY_TYPE, Ck.CKA_SIGN, Ck.CKA_PRIVATE_EXPONENT, Ck.CKA_MODULUS_BITS});
        assertEquals(1, found.length);
        assertEquals(privateKey, found[0].handle());
        assertArrayEquals(new Attribute[] {
            new Attribute(Ck.CKA_LABEL, "the private one".getBytes(StandardCharsets.UTF_8)),
            new Attribute(Ck.CKA_KEY_TYPE, Ck.CKK_RSA),
            new Attribute(Ck.CKA_SIGN, true),
            new Attribute(Ck.CKA_PRIVATE_EXPONENT, null), // sensitive: it reads as nothing here
            new Attribute(Ck.CKA_MODULUS_BITS, null), // only the public key has it
        }, found[0].attributes());

        assertEquals(0, session.J_FindObjects(template(Ck.CKO_PRIVATE_KEY), new int[0])[0].attributes().length);
        assertNull(session.J_FindObjects(template(Ck.CKO_DATA), new int[] {Ck.CKA_LABEL}));
    }

    @Test
    void attributesAreReadOneByOneOrTogether() {
        assertArrayEquals(new Attribute[] {
            new Attribute(Ck.CKA_MODULUS_BITS, 8 * SIZE),
            new Attribute(Ck.CKA_VALUE, null), // the key has none
            new Attribute(Ck.CKA_TOKEN, true),
        }, session.J_GetAttributeValue(publicKey, new int[] {Ck.CKA_MODULUS_BITS, Ck.CKA_VALUE, Ck.CKA_TOKEN}));
        assertRefused("J_GetAttributeValue", 0x12, "ATTRIBUTE TYPE INVALID",
                () -> session.J_GetAttributeValue(publicKey, Ck.CKA_VALUE));
        assertRefused("J_GetAttributeValue", Ck.CKR_ATTRIBUTE_SENSITIVE, "ATTRIBUTE SENSITIVE",
                () -> session.J_GetAttributeValue(privateKey, new int[] {Ck.CKA_LABEL, Ck.CKA_PRIVATE_EXPONENT}));
    }

    // Signing

    @Test
    void signedInOnePart() throws GeneralSecurityException {
        byte[] signature = sign();
        assertEquals(SIZE, signature.length);
        assertValid(signature);
        assertArrayEquals(signature, session.J_Sign(h, true, MECHANISM, privateKey, AROUND, 4, MESSAGE.length));
    }

    @Test
    void signedIntoTheCallersArray() throws GeneralSecurityException {
        byte[] room = new byte[SIZE + 9];
        assertEquals(SIZE, session.J_Sign(h, true, MECHANISM, privateKey, AROUND, 4, MESSAGE.length, null, 99));
        assertEquals(SIZE, session.J_Sign(h, false, null, 0, AROUND, 4, MESSAGE.length, room, 9));
        assertArrayEquals(new byte[9], Arrays.copyOf(room, 9));
        assertValid(Arrays.copyOfRange(room, 9, room.length));
    }

    @Test
    void anArrayThatIsTooSmallIsRefused() {
        assertRefused("J_Sign", Ck.CKR_BUFFER_TOO_SMALL, "BUFFER TOO SMALL", () -> session.J_Sign(h, true, MECHANISM,
                privateKey, MESSAGE, 0, MESSAGE.length, new byte[SIZE + 8], 9));
    }

    @Test
    void signedInSeveralParts() throws GeneralSecurityException {
        session.J_SignUpdate(h, true, MECHANISM, privateKey, AROUND, 4, 3);
        session.J_SignUpdate(h, false, null, 0, AROUND, 7, MESSAGE.length - 3);
        byte[] signature = session.J_SignFinal();
        assertEquals(SIZE, signature.length);
        assertValid(signature);
    }

    @Test
    void startedSeparatelyAndFinishedIntoTheCallersArray() throws GeneralSecurityException {
        byte[] room = new byte[SIZE + 5];
        session.J_SignInit(h, MECHANISM, privateKey);
        session.J_SignUpdate(h, false, null, 0, MESSAGE, 0, MESSAGE.length);
        assertEquals(SIZE, session.J_SignFinal(null, 7));
        assertEquals(SIZE, session.J_SignFinal(room, 5));
        assertValid(Arrays.copyOfRange(room, 5, room.length));
        assertRefused("J_SignFinal", Ck.CKR_OPERATION_NOT_INITIALIZED, "OPERATION NOT INITIALIZED",
                session::J_SignFinal);
    }

    @Test
    void aStartThatIsRefusedBearsItsOwnName() {
        Mechanism unknown = new Mechanism(0x7FFFFFFF);
        assertRefused("J_SignInit", Ck.CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> session.J_SignInit(h, unknown, privateKey));
        assertRefused("J_SignInit", Ck.CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> session.J_SignUpdate(h, true, unknown, privateKey, MESSAGE, 0, 1));
        assertRefused("J_SignInit", Ck.CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> session.J_Sign(h, true, unknown, privateKey, MESSAGE, 0, 1));
        assertRefused("J_SignInit", Ck.CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> session.J_Sign(h, true, unknown, privateKey, MESSAGE, 0, 1, new byte[SIZE], 0));
        assertRefused("J_VerifyInit", Ck.CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> session.J_Verify(h, true, unknown, publicKey, MESSAGE, 0, 1, MESSAGE, 0, 1));
        assertRefused("J_VerifyInit", Ck.CKR_MECHANISM_INVALID, "MECHANISM INVALID",
                () -> session.J_VerifyUpdate(h, true, unknown, publicKey, MESSAGE, 0, 1));
    }

    @Test
    void missingArraysAreNamed() {
        assertText("J_Sign", "Data is NULL", () -> session.J_Sign(h, false, null, 0, null, 0, 0));
        assertText("J_Sign", "Data is NULL", () -> session.J_Sign(h, false, null, 0, null, 0, 0, new byte[1], 0));
        assertText("J_SignUpdate", "Data is NULL", () -> session.J_SignUpdate(h, false, null, 0, null, 0, 0));
        assertText("J_Verify", "Data is NULL", () -> session.J_Verify(h, false, null, 0, null, 0, 0, MESSAGE, 0, 1));
        assertText("J_Verify", "Signature is NULL",
                () -> session.J_Verify(h, false, null, 0, MESSAGE, 0, 1, null, 0, 1));
        assertText("J_VerifyFinal", "Signature is NULL", () -> session.J_VerifyFinal(null, 0, 0));
    }

    // Verifying

    @Test
    void verifiedInOnePartAndInSeveral() {
        byte[] signature = sign();
        byte[] around = new byte[SIZE + 6];
        System.arraycopy(signature, 0, around, 6, SIZE);
        session.J_Verify(h, true, MECHANISM, publicKey, AROUND, 4, MESSAGE.length, around, 6, SIZE);

        session.J_VerifyUpdate(h, true, MECHANISM, publicKey, AROUND, 4, 5);
        session.J_VerifyUpdate(h, false, null, 0, AROUND, 9, MESSAGE.length - 5);
        session.J_VerifyFinal(around, 6, SIZE);
        assertFalse(Arrays.equals(signature, Arrays.copyOf(around, SIZE)));
    }

    @Test
    void aTamperedSignatureIsAnException() {
        byte[] signature = sign();
        signature[100] ^= 1;
        assertRefused("J_Verify", Ck.CKR_SIGNATURE_INVALID, "SIGNATURE INVALID", () -> session.J_Verify(h, true,
                MECHANISM, publicKey, MESSAGE, 0, MESSAGE.length, signature, 0, SIZE));
        session.J_VerifyUpdate(h, true, MECHANISM, publicKey, MESSAGE, 0, MESSAGE.length);
        assertRefused("J_VerifyFinal", Ck.CKR_SIGNATURE_INVALID, "SIGNATURE INVALID",
                () -> session.J_VerifyFinal(signature, 0, SIZE));
    }

    @Test
    void aForgedMessageIsAnException() {
        byte[] signature = sign();
        byte[] forged = "Pay Mallory 9".getBytes(StandardCharsets.UTF_8);
        assertRefused("J_Verify", Ck.CKR_SIGNATURE_INVALID, "SIGNATURE INVALID", () -> session.J_Verify(h, true,
                MECHANISM, publicKey, forged, 0, forged.length, signature, 0, SIZE));
    }

    @Test
    void aSignatureOfTheWrongLengthIsAnException() {
        byte[] signature = sign();
        assertRefused("J_Verify", Ck.CKR_SIGNATURE_LEN_RANGE, "SIGNATURE LEN RANGE", () -> session.J_Verify(h, true,
                MECHANISM, publicKey, MESSAGE, 0, MESSAGE.length, signature, 0, SIZE - 1));
    }

    @Test
    void withoutALoginThePrivateKeyIsOutOfSight() {
        session.J_Logout();
        assertNull(session.J_FindObjects(template(Ck.CKO_PRIVATE_KEY)));
        assertEquals(1, session.J_FindObjects(template(Ck.CKO_PUBLIC_KEY)).length);
    }
}
