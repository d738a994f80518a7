package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static harlune.token.Bytes.from;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;

import velnor.Mechanism;

/** Digests, held against those of the JDK. */
class DigestTest extends KeyedSession {
    private static final byte[] DATA = bytes(300);

    private enum Digest {
        MD5(CKM_MD5, "MD5"),
        SHA_1(CKM_SHA_1, "SHA-1"),
        SHA224(CKM_SHA224, "SHA-224"),
        SHA256(CKM_SHA256, "SHA-256"),
        SHA384(CKM_SHA384, "SHA-384"),
        SHA512(CKM_SHA512, "SHA-512");

        final Mechanism mechanism;
        final String algorithm;

        Digest(int mechanism, String algorithm) {
            this.mechanism = new Mechanism(mechanism);
            this.algorithm = algorithm;
        }

        byte[] of(byte[] data) throws NoSuchAlgorithmException {
            return MessageDigest.getInstance(algorithm).digest(data);
        }
    }

    @ParameterizedTest
    @EnumSource(names = {"MD5", "SHA_1"})
    void aDigestOfUpToTwentyBytesComesInANewArray(Digest digest) throws NoSuchAlgorithmException {
        assertArrayEquals(digest.of(DATA), session.J_Digest(h, true, digest.mechanism, around(9, DATA, 2), 9, 300));
    }

    @ParameterizedTest
    @EnumSource(names = {"SHA224", "SHA256", "SHA384", "SHA512"})
    void aLongerOneDoesNotAndGoesOnInAnArrayOfItsSize(Digest digest) throws NoSuchAlgorithmException {
        assertRefused("J_Digest", CKR_BUFFER_TOO_SMALL, "BUFFER TOO SMALL",
                () -> session.J_Digest(h, true, digest.mechanism, DATA, 0, 300));
        byte[] expected = digest.of(DATA);
        byte[] output = new byte[expected.length];
        assertEquals(expected.length, session.J_Digest(h, false, null, DATA, 0, 300, output, 0));
        assertArrayEquals(expected, output);
    }

    @ParameterizedTest
    @EnumSource
    void theCallersArrayTakesTheDigestBehindTheOffset(Digest digest) throws NoSuchAlgorithmException {
        byte[] expected = digest.of(DATA);
        byte[] output = blank(6 + expected.length + 5);
        assertEquals(expected.length,
                session.J_Digest(h, true, digest.mechanism, around(9, DATA, 2), 9, 300, output, 6));
        assertArrayEquals(around(6, expected, 5), output);
    }

    @ParameterizedTest
    @EnumSource
    void withoutAnArrayTheLengthIsToldAndTheDigestStaysActive(Digest digest) throws NoSuchAlgorithmException {
        byte[] expected = digest.of(DATA);
        assertEquals(expected.length, session.J_Digest(h, true, digest.mechanism, DATA, 0, 300, null, 99));
        byte[] output = new byte[expected.length];
        session.J_Digest(h, false, null, DATA, 0, 300, output, 0);
        assertArrayEquals(expected, output);
    }

    @ParameterizedTest
    @EnumSource
    void severalPartsMakeOneDigest(Digest digest) throws NoSuchAlgorithmException {
        session.J_DigestUpdate(h, true, digest.mechanism, around(4, DATA, 0), 4, 100);
        session.J_DigestUpdate(h, false, null, DATA, 100, 199);
        session.J_DigestUpdate(h, false, null, DATA, 299, 1);
        assertArrayEquals(digest.of(DATA), session.J_DigestFinal());
    }

    @ParameterizedTest
    @EnumSource
    void severalPartsEndInTheCallersArray(Digest digest) throws NoSuchAlgorithmException {
        byte[] expected = digest.of(DATA);
        session.J_DigestUpdate(h, true, digest.mechanism, DATA, 0, 300);
        assertEquals(expected.length, session.J_DigestFinal(null, 99));
        byte[] output = blank(2 + expected.length + 3);
        assertEquals(expected.length, session.J_DigestFinal(output, 2));
        assertArrayEquals(around(2, expected, 3), output);
    }

    @Test
    void anArrayThatIsTooShortIsRefused() {
        byte[] output = blank(20);
        assertRefused("J_Digest", CKR_BUFFER_TOO_SMALL, "BUFFER TOO SMALL",
                () -> session.J_Digest(h, true, new Mechanism(CKM_SHA_1), DATA, 0, 300, output, 1));
        assertArrayEquals(blank(20), output);
    }

    @ParameterizedTest
    @EnumSource
    void aKeyIsDigestedLikeItsBytes(Digest digest) throws NoSuchAlgorithmException {
        byte[] value = bytes(24);
        long key = secretKey(CKK_GENERIC_SECRET, value);
        session.J_DigestUpdate(h, true, digest.mechanism, DATA, 0, 10);
        session.J_DigestKey(h, false, null, key);
        session.J_DigestUpdate(h, false, null, DATA, 10, 290);
        assertArrayEquals(digest.of(joined(first(DATA, 10), value, from(DATA, 10))), session.J_DigestFinal());

        session.J_DigestKey(h, true, digest.mechanism, key);
        assertArrayEquals(digest.of(value), session.J_DigestFinal());
    }

    @Test
    void aKeyThatIsNotThereIsRefused() {
        assertRefused("J_DigestKey", CKR_KEY_HANDLE_INVALID, "KEY HANDLE INVALID",
                () -> session.J_DigestKey(h, true, new Mechanism(CKM_SHA_1), 0x7FFF));
    }

    @Test
    void aMechanismThatDoesNotDigestIsRefusedAtTheStart() {
        Mechanism mechanism = new Mechanism(CKM_RSA_PKCS);
        String text = "MECHANISM INVALID";
        assertRefused("J_DigestInit", CKR_MECHANISM_INVALID, text,
                () -> session.J_Digest(h, true, mechanism, DATA, 0, 9));
        assertRefused("J_DigestInit", CKR_MECHANISM_INVALID, text,
                () -> session.J_Digest(h, true, mechanism, DATA, 0, 9, blank(20), 0));
        assertRefused("J_DigestInit", CKR_MECHANISM_INVALID, text,
                () -> session.J_DigestUpdate(h, true, mechanism, DATA, 0, 9));
        assertRefused("J_DigestInit", CKR_MECHANISM_INVALID, text, () -> session.J_DigestKey(h, true, mechanism, 1));
    }

    @Test
    void whatWasNotStartedIsRefused() {
        String text = "OPERATION NOT INITIALIZED";
        assertRefused("J_Digest", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_Digest(h, false, null, DATA, 0, 9));
        assertRefused("J_Digest", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_Digest(h, false, null, DATA, 0, 9, blank(20), 0));
        assertRefused("J_DigestUpdate", CKR_OPERATION_NOT_INITIALIZED, text,
                () -> session.J_DigestUpdate(h, false, null, DATA, 0, 9));
        assertRefused("J_DigestKey", CKR_OPERATION_NOT_INITIALIZED, text, () -> session.J_DigestKey(h, false, null, 1));
        assertRefused("J_DigestFinal", CKR_OPERATION_NOT_INITIALIZED, text, () -> session.J_DigestFinal());
        assertRefused("J_DigestFinal", CKR_OPERATION_NOT_INITIALIZED, text, () -> session.J_DigestFinal(null, 0));
    }

    @Test
    void missingInputIsLeftToTheTokenExceptInParts() {
        assertRefused("J_Digest", CKR_ARGUMENTS_BAD, "ARGUMENTS BAD",
                () -> session.J_Digest(h, true, new Mechanism(CKM_SHA_1), null, 5, 9));
        assertRefused("J_Digest", CKR_ARGUMENTS_BAD, "ARGUMENTS BAD",
                () -> session.J_Digest(h, false, null, null, 5, 9, blank(20), 0));
        assertText("J_DigestUpdate", "pPart is NULL", () -> session.J_DigestUpdate(h, false, null, null, 0, 9));
    }
}
