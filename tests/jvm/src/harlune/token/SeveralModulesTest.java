package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.TokenSession;
import harlune.support.Tokens;

import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.security.Signature;
import java.util.Arrays;
import java.util.List;

import javax.crypto.Cipher;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.Mechanism;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/**
 * Several modules are used at once, which the bridge leaves to p11-kit's proxy: SoftHSM, in whose token
 * {@link #session} is, and NSS's softoken, in whose token {@link #other} is.
 */
class SeveralModulesTest extends TokenSession {
    private static final byte[] MESSAGE = bytes(48);
    private static final byte[] AES_KEY = bytes(32);
    private static final Mechanism AES_ECB = new Mechanism(CKM_AES_ECB);
    private static final Mechanism SHA256 = new Mechanism(CKM_SHA256);
    private static final Mechanism SHA256_RSA_PKCS = new Mechanism(CKM_SHA256_RSA_PKCS);

    private NativeSlot otherSlot;
    private NativeSession other;
    private long otherH;

    /** The session in the first token is there already. */
    @BeforeEach
    void openInTheOtherModule() {
        otherSlot = Tokens.slot(cryptoki, Tokens.OTHER_LABEL);
        other = otherSlot.J_OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, CKU_USER,
                System.getenv("OTHER_TOKEN_PIN"));
        otherH = other.sessionHandle();
    }

    /** The base class closes what is open in the first one. */
    @AfterEach
    void closeInTheOtherModule() {
        otherSlot.J_CloseAllSessions();
    }

    private static byte[] encryptedByJdk() throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("AES/ECB/NoPadding");
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(AES_KEY, "AES"));
        return cipher.doFinal(MESSAGE);
    }

    private static boolean verifiedByJdk(RsaKeys keys, byte[] signature) throws GeneralSecurityException {
        Signature judge = Signature.getInstance("SHA256withRSA");
        judge.initVerify(keys.publicKey);
        judge.update(MESSAGE);
        return judge.verify(signature);
    }

    private static byte[] digestByJdk() throws GeneralSecurityException {
        return MessageDigest.getInstance("SHA-256").digest(MESSAGE);
    }

    private static NativeSession anotherIn(NativeSlot slot) {
        return slot.J_OpenSession(CKF_SERIAL_SESSION);
    }

    @Test
    void theTokensOfAllModulesAreSeen() {
        assertEquals("PKCS#11 Kit", cryptoki.GetInfo().manufacturerID());
        List<NativeSlot> slots = List.of(cryptoki.GetSlotList(true));
        assertEquals(slots.size(), slots.stream().distinct().count());
        List<String> tokens = slots.stream().map(NativeSlot::J_GetTokenInfo)
                .map(token -> token.manufacturerID() + ": " + token.label()).toList();
        List<String> expected = List.of("SoftHSM project: tok1", "SoftHSM project: tok2",
                "Mozilla Foundation: NSS Certificate DB", "Mozilla Foundation: NSS Generic Crypto Services");
        assertTrue(tokens.containsAll(expected), () -> "Only " + tokens);
    }

    @Test
    void sessionHandlesAreSmallAndOfOneCount() {
        long[] handles = {h, otherH, anotherIn(slot).sessionHandle(), anotherIn(otherSlot).sessionHandle()};
        assertEquals(handles.length, Arrays.stream(handles).distinct().count());
        assertTrue(Arrays.stream(handles).allMatch(handle -> handle > 0 && handle < 1000),
                () -> Arrays.toString(handles));
        assertEquals(slot.slotID(), session.J_GetSessionInfo().slotID());
        assertEquals(otherSlot.slotID(), other.J_GetSessionInfo().slotID());
    }

    @Test
    void oneModuleSignsWhileTheOtherEncrypts() throws GeneralSecurityException {
        RsaKeys keys = new RsaKeys();
        long privateKey = keys.createPrivateKey(session);
        long aesKey = other.J_CreateObject(SecretKeys.template(CKK_AES, AES_KEY));
        session.J_SignUpdate(h, true, SHA256_RSA_PKCS, privateKey, MESSAGE, 0, 16);
        byte[] encrypted = other.J_EncryptUpdate(otherH, true, AES_ECB, aesKey, MESSAGE, 0, 32);
        session.J_SignUpdate(h, false, null, 0, MESSAGE, 16, 32);
        encrypted = Bytes.joined(encrypted, other.J_EncryptUpdate(otherH, false, null, 0, MESSAGE, 32, 16),
                other.J_EncryptFinal());
        assertTrue(verifiedByJdk(keys, session.J_SignFinal()), "the JDK refuses the signature");
        assertArrayEquals(encryptedByJdk(), encrypted);
    }

    @Test
    void theRolesCanBeExchanged() throws GeneralSecurityException {
        RsaKeys keys = new RsaKeys();
        long privateKey = keys.createPrivateKey(other);
        long aesKey = session.J_CreateObject(SecretKeys.template(CKK_AES, AES_KEY));
        byte[] region = around(3, MESSAGE, 5);
        byte[] signature = other.J_Sign(otherH, true, SHA256_RSA_PKCS, privateKey, region, 3, MESSAGE.length);
        byte[] encrypted = encryptedByJdk();
        assertArrayEquals(MESSAGE, session.J_Decrypt(h, true, AES_ECB, aesKey, encrypted, 0, encrypted.length));
        assertTrue(verifiedByJdk(keys, signature), "the JDK refuses the signature");
        session.J_Verify(h, true, SHA256_RSA_PKCS, keys.createPublicKey(session), MESSAGE, 0, MESSAGE.length, signature,
                0, signature.length);
    }

    @Test
    void operationsInBothModulesAreToldApart() throws GeneralSecurityException {
        session.J_DigestUpdate(h, true, SHA256, MESSAGE, 0, 10);
        other.J_DigestUpdate(otherH, true, SHA256, MESSAGE, 0, 30);
        session.J_DigestUpdate(h, false, null, MESSAGE, 10, MESSAGE.length - 10);
        other.J_DigestUpdate(otherH, false, null, MESSAGE, 30, MESSAGE.length - 30);
        assertArrayEquals(digestByJdk(), session.J_DigestFinal());
        assertArrayEquals(digestByJdk(), other.J_DigestFinal());
    }

    @Test
    void anObjectIsInOneModule() {
        long key = session.J_CreateObject(SecretKeys.template(CKK_AES, AES_KEY));
        Attribute[] sought = {new Attribute(CKA_VALUE, AES_KEY)};
        assertArrayEquals(new long[] {key}, session.J_FindObjects(sought));
        assertNull(other.J_FindObjects(sought));
    }

    @Test
    void endsInOneModuleLeaveTheOtherAlone() throws GeneralSecurityException {
        session.J_Logout();
        assertEquals(CKS_RW_PUBLIC_SESSION, session.J_GetSessionInfo().state());
        assertEquals(CKS_RW_USER_FUNCTIONS, other.J_GetSessionInfo().state());
        slot.J_CloseAllSessions();
        assertRefused("J_GetSessionInfo", CKR_SESSION_HANDLE_INVALID, "SESSION HANDLE INVALID",
                session::J_GetSessionInfo);
        other.J_DigestUpdate(otherH, true, SHA256, MESSAGE, 0, MESSAGE.length);
        assertArrayEquals(digestByJdk(), other.J_DigestFinal());
        assertNotEquals(otherH, anotherIn(slot).sessionHandle());
    }
}
