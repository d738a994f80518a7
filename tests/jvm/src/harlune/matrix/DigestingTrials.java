package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.from;
import static harlune.token.Bytes.first;
import static harlune.token.Bytes.joined;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.security.GeneralSecurityException;
import java.security.MessageDigest;

import velnor.Mechanism;
import velnor.nat.NativeCryptoki;

/** Digests and their saved states. */
final class DigestingTrials extends NativeTrials {
    private static final byte[] DATA = bytes(200);
    private static final int FIRST = 77;
    private static final byte[] KEY = bytes(24);
    /** What the form that makes the array has room for. */
    private static final int NEW_ARRAY = 20;

    private record Digest(String name, int type, String algorithm) {
        Mechanism mechanism() {
            return new Mechanism(type);
        }

        byte[] of(byte[] data) throws GeneralSecurityException {
            return MessageDigest.getInstance(algorithm).digest(data);
        }
    }

    DigestingTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    /** Tried on every token: the softoken's database digests without listing it among its mechanisms. */
    @Override
    void plan() {
        for (Digest digest : new Digest[] {
            new Digest("SHA_1", CKM_SHA_1, "SHA-1"),
            new Digest("SHA256", CKM_SHA256, "SHA-256"),
            new Digest("SHA512", CKM_SHA512, "SHA-512"),
        }) {
            trial("digested", digest.name, () -> digested(digest));
            trial("digested into the caller's array", digest.name, () -> digestedInto(digest));
            trial("digested in parts", digest.name, () -> digestedInParts(digest));
            trial("digested in parts into the caller's array", digest.name, () -> digestedInPartsInto(digest));
            trial("a key digested", digest.name, () -> keyDigested(digest));
            trial("interrupted", digest.name, () -> interrupted(digest));
        }
    }

    private void digested(Digest digest) throws GeneralSecurityException {
        byte[] expected = digest.of(DATA);
        if (expected.length <= NEW_ARRAY) {
            assertArrayEquals(expected, call("byte[] J_Digest",
                    () -> session.J_Digest(h, true, digest.mechanism(), around(9, DATA, 2), 9, DATA.length)));
        }
    }

    private void digestedInto(Digest digest) throws GeneralSecurityException {
        byte[] expected = digest.of(DATA);
        byte[] output = blank(6 + expected.length + 5);
        assertEquals(expected.length, call("int J_Digest", () -> session.J_Digest(h, true, digest.mechanism(),
                around(9, DATA, 2), 9, DATA.length, output, 6)));
        assertArrayEquals(around(6, expected, 5), output);
    }

    private void update(Digest digest) {
        run("J_DigestUpdate", () -> session.J_DigestUpdate(h, true, digest.mechanism(), around(4, DATA, 0), 4, FIRST));
        run("J_DigestUpdate", () -> session.J_DigestUpdate(h, false, null, DATA, FIRST, DATA.length - FIRST));
    }

    private void digestedInParts(Digest digest) throws GeneralSecurityException {
        update(digest);
        assertArrayEquals(digest.of(DATA), call("byte[] J_DigestFinal", () -> session.J_DigestFinal()));
    }

    /** A token that does not tell the length is not given an array: its refusal would end the JVM. */
    private void digestedInPartsInto(Digest digest) throws GeneralSecurityException {
        update(digest);
        byte[] expected = digest.of(DATA);
        byte[] output = blank(2 + expected.length + 3);
        assertEquals(expected.length, call("int J_DigestFinal", () -> session.J_DigestFinal(null, 0)));
        assertEquals(expected.length, call("int J_DigestFinal", () -> session.J_DigestFinal(output, 2)));
        assertArrayEquals(around(2, expected, 3), output);
    }

    private void keyDigested(Digest digest) throws GeneralSecurityException {
        long key = secretKey(CKK_GENERIC_SECRET, KEY);
        run("J_DigestKey", () -> session.J_DigestKey(h, true, digest.mechanism(), key));
        session.J_DigestUpdate(h, false, null, DATA, 0, 10);
        run("J_DigestKey", () -> session.J_DigestKey(h, false, null, key));
        assertArrayEquals(digest.of(joined(KEY, first(DATA, 10), KEY)), session.J_DigestFinal());
    }

    private void interrupted(Digest digest) throws GeneralSecurityException {
        session.J_DigestUpdate(h, true, digest.mechanism(), DATA, 0, FIRST);
        byte[] state = call("J_GetOperationState", () -> session.J_GetOperationState());
        session.J_DigestUpdate(h, false, null, bytes(50), 0, 50);
        run("J_SetOperationState", () -> session.J_SetOperationState(state, 0, 0));
        session.J_DigestUpdate(h, false, null, from(DATA, FIRST), 0, DATA.length - FIRST);
        assertArrayEquals(digest.of(DATA), session.J_DigestFinal());
    }
}
