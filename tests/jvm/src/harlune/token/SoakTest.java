package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.Memory;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.Mechanism;

/** Day-to-day work with a real token for a long time: memory stays what it was. Longer: tests/jvm/soak */
class SoakTest extends KeyedSession {
    /** SoftHSM and its own libraries move the resident set more than the library does. */
    private static final long BOUND_KIB = 2048;
    private static final double SHARE = 0.2;

    private static final int LENGTH = 4096;
    private static final byte[] DATA = bytes(LENGTH);
    private static final Mechanism AES_ECB = new Mechanism(CKM_AES_ECB);
    private static final Mechanism HMAC = new Mechanism(CKM_SHA_1_HMAC);
    private static final Mechanism SHA256 = new Mechanism(CKM_SHA256);

    private final byte[] room = new byte[LENGTH];
    private long key;
    private long secret;

    @Test
    void memoryStaysWhatItWas() {
        // Made once: SoftHSM itself keeps some 200 bytes for every session object that was ever made.
        key = secretKey(CKK_AES, bytes(32));
        secret = secretKey(CKK_GENERIC_SECRET, bytes(32));
        Memory.assertSteady("SoftHSM", Memory.calls(SHARE), BOUND_KIB, this::work);
    }

    /** Tells how many native calls it made. */
    private int work() {
        byte[] encrypted = session.J_Encrypt(h, true, AES_ECB, key, DATA, 0, LENGTH);
        assertEquals(LENGTH, session.J_Decrypt(h, true, AES_ECB, key, encrypted, 0, LENGTH).length);
        session.J_DecryptUpdate(h, true, AES_ECB, key, encrypted, 0, LENGTH, room, 0);
        session.J_DecryptFinal();
        assertArrayEquals(DATA, room);
        byte[] mac = session.J_Sign(h, true, HMAC, secret, DATA, 0, LENGTH);
        session.J_Verify(h, true, HMAC, secret, DATA, 0, LENGTH, mac, 0, mac.length);
        mac[0]++;
        assertRefused("J_Verify", CKR_SIGNATURE_INVALID, "SIGNATURE INVALID",
                () -> session.J_Verify(h, true, HMAC, secret, DATA, 0, LENGTH, mac, 0, mac.length));
        session.J_DigestUpdate(h, true, SHA256, DATA, 0, LENGTH);
        assertEquals(32, session.J_DigestFinal().length);
        session.J_GenerateRandom(h, true, DATA, room, 0, LENGTH);
        Attribute[] secrets = {new Attribute(CKA_KEY_TYPE, CKK_GENERIC_SECRET)};
        assertEquals(1, session.J_FindObjects(secrets).length);
        assertEquals(1, session.J_FindObjects(secrets, new int[] {CKA_CLASS, CKA_VALUE, CKA_MODULUS}).length);
        assertEquals(32, session.J_GetAttributeValue(secret, CKA_VALUE).bytesValue().length);
        session.J_SetAttributeValue(secret, new Attribute[] {new Attribute(CKA_LABEL, "of a soak")});
        assertEquals(9, session.J_GetAttributeValue(secret, new int[] {CKA_LABEL, CKA_CLASS})[0].bytesValue().length);
        session.J_GetSessionInfo();
        slot.J_GetTokenInfo();
        return 17;
    }
}
