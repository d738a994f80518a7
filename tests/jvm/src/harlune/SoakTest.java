package harlune;

import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Bridge;
import harlune.support.Ck;
import harlune.support.Memory;
import harlune.support.ScriptedModule;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Set;
import java.util.TreeSet;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.Mechanism;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;
import velnor.params.PBEParams;
import velnor.params.SSL3KEYMATOUT;
import velnor.params.SSL3KEYMATParams;
import velnor.params.SSL3RANDOMDATA;

/**
 * A long life of the library in one process: its memory stays what it was, except for the two methods that are known to
 * keep what they are given. A million calls: tests/jvm/soak
 */
class SoakTest {
    /** What the resident set may move by itself. One array lost in each round of the shortest soak is more. */
    private static final long BOUND_KIB = 1024;
    /** Between the pages of the C heap and the size from which on its blocks are mapped one by one. */
    private static final int LOST = 64 * 1024;
    private static final int LOSING_CALLS = 500;

    private static final int LENGTH = 4096;
    private static final Mechanism RSA = new Mechanism(Ck.CKM_RSA_PKCS);
    private static final Mechanism DES3 = new Mechanism(Ck.CKM_DES3_CBC, new byte[8]);
    private static final Mechanism SHA_1 = new Mechanism(Ck.CKM_SHA_1);
    private static final Mechanism PBE = new Mechanism(0x3A0,
            new PBEParams(new char[8], new char[200], new char[200], 1000));
    private static final SSL3RANDOMDATA RANDOM = new SSL3RANDOMDATA(new byte[200], new byte[200]);
    private static final Mechanism SSL3 = new Mechanism(Ck.CKM_SSL3_KEY_AND_MAC_DERIVE, new SSL3KEYMATParams(
            new SSL3KEYMATOUT(1, 2, 3, 4, new byte[8], new byte[8]), RANDOM, true, 128, 160, 64));

    private final byte[] data = new byte[LENGTH];
    private final byte[] room = new byte[LENGTH + 8];
    private final Attribute[] template = {new Attribute(Ck.CKA_CLASS, Ck.CKO_SECRET_KEY),
        new Attribute(Ck.CKA_SENSITIVE, false), new Attribute(Ck.CKA_LABEL, "of a soak"),
        new Attribute(Ck.CKA_VALUE, Arrays.copyOf(data, 2000))};
    /** An object of the present round; the module's toy cryptography takes any for a key. */
    private long key;
    private int calls;

    @BeforeEach
    void reset() {
        ScriptedModule.reset();
        Arrays.fill(data, (byte) 'a');
    }

    @AfterEach
    void release() {
        ScriptedModule.reset();
    }

    @Test
    void memoryStaysWhatItWas() {
        Memory.assertSteady("The scripted module", Memory.calls(1), BOUND_KIB, this::life);
    }

    @Test
    void aRoundAsksTheModuleForAllThatItHas() throws IOException {
        String functions = Files.readString(
                Path.of(System.getProperty("harlune.sources"), "tests/native/module/functions.inc"));
        Set<String> expected = Pattern.compile("X\\((C_\\w+)\\)").matcher(functions).results().map(m -> m.group(1))
                .collect(Collectors.toCollection(TreeSet::new));
        assertTrue(expected.size() > 60, () -> "only " + expected.size() + " functions were understood");
        expected.add("C_GetFunctionList");
        expected.removeAll(Set.of("C_VerifyFinal", "C_UnwrapKey"));
        life(false);
        assertEquals(expected, ScriptedModule.journal().stream().map(line -> line.split(" ")[0])
                .collect(Collectors.toCollection(TreeSet::new)));
    }

    @Test
    void eachVerifyFinalKeepsACopyOfTheSignature() {
        ScriptedModule.answer("C_VerifyFinal CKR_OK always unread");
        NativeSession session = open();
        byte[] signature = new byte[LOST];
        assertLosesOneCopyACall("J_VerifyFinal", () -> session.J_VerifyFinal(signature, 0, LOST));
    }

    @Test
    void eachUnwrapKeyKeepsACopyOfTheWrappedKey() {
        ScriptedModule.answer("C_UnwrapKey CKR_OK always unread handle=0xB01");
        NativeSession session = open();
        byte[] wrapped = new byte[LOST];
        assertLosesOneCopyACall("J_UnwrapKey",
                () -> session.J_UnwrapKey(RSA, 0xB03, wrapped, 0, LOST, new Attribute[0]));
    }

    private static void assertLosesOneCopyACall(String name, Runnable call) {
        call.run();
        long before = Memory.residentKiB();
        for (int i = 0; i < LOSING_CALLS; i++) {
            call.run();
        }
        ScriptedModule.clearJournal();
        double copies = (Memory.residentKiB() - before) * 1024.0 / LOST / LOSING_CALLS;
        System.out.printf("%s: %.2f copies of its input are lost by each call%n", name, copies);
        assertTrue(copies > 0.9 && copies < 1.2, () -> copies + " copies are lost by each call");
    }

    private static NativeSession open() {
        return Bridge.initialize(ScriptedModule.PATH).GetSlotList(true)[0]
                .J_OpenSession(Ck.CKF_SERIAL_SESSION | Ck.CKF_RW_SESSION);
    }

    private int life() {
        return life(true);
    }

    /** A whole life of the library; tells how many native calls it took. The module's journal grows, so it is cut. */
    private int life(boolean forget) {
        calls = 0;
        NativeCryptoki cryptoki = Bridge.load();
        NativeCryptoki.loadCryptokiLibrary3(ScriptedModule.PATH, true, true);
        cryptoki.Initialize(null);
        assertEquals(ScriptedModule.PATH, NativeCryptoki.getLastLoadedLibraryFullPath());
        cryptoki.IsSecondAuthenticationRequired();
        count(4);
        NativeSlot slot = information(cryptoki);
        NativeSession session = administration(slot);
        objects(session);
        keys(session);
        signatures(session);
        recovery(session);
        encryption(session);
        digests(session);
        dualUpdates(session);
        randomAndState(session);
        failures(cryptoki, session);
        session.J_CloseSession();
        slot.J_CloseAllSessions();
        cryptoki.Finalize(null);
        count(3);
        if (forget) {
            ScriptedModule.clearJournal();
        }
        return calls;
    }

    private void count(int more) {
        calls += more;
    }

    private NativeSlot information(NativeCryptoki cryptoki) {
        cryptoki.GetInfo();
        NativeSlot slot = cryptoki.GetSlotList(true)[0];
        cryptoki.WaitForSlotEvent(0, null);
        slot.J_GetSlotInfo();
        slot.J_GetTokenInfo();
        slot.J_GetMechanismList();
        slot.J_GetMechanismInfo(Ck.CKM_SHA_1);
        count(7);
        return slot;
    }

    private NativeSession administration(NativeSlot slot) {
        slot.J_InitToken("87654321", "label");
        NativeSession officer = slot.J_OpenSession(Ck.CKF_SERIAL_SESSION | Ck.CKF_RW_SESSION);
        officer.J_Login(Ck.CKU_SO, "87654321");
        officer.J_InitPIN("1234");
        officer.J_SetPIN("87654321", "87654321");
        officer.J_Logout();
        officer.J_CloseSession();
        NativeSession session =
                slot.J_OpenSession(Ck.CKF_SERIAL_SESSION | Ck.CKF_RW_SESSION, Ck.CKU_USER, "1234");
        session.J_GetSessionInfo();
        count(9);
        return session;
    }

    private void objects(NativeSession session) {
        long object = session.J_CreateObject(template);
        key = session.J_CopyObject(object, template);
        assertEquals(0x512E, session.J_GetObjectSize(key));
        session.J_SetAttributeValue(key, template);
        assertEquals(2000, session.J_GetAttributeValue(key, Ck.CKA_VALUE).bytesValue().length);
        assertEquals(2, session.J_GetAttributeValue(key, new int[] {Ck.CKA_LABEL, Ck.CKA_SENSITIVE}).length);
        assertEquals(2, session.J_FindObjects(template).length);
        assertEquals(2, session.J_FindObjects(template, new int[] {Ck.CKA_VALUE, Ck.CKA_MODULUS}).length);
        session.J_DestroyObject(object);
        count(9);
    }

    private void keys(NativeSession session) {
        session.J_GenerateKey(PBE, template);
        assertEquals(2, session.J_GenerateKeyPair(RSA, template, template).length);
        assertNotNull(session.J_WrapKey(RSA, key, key));
        session.J_DeriveKey(SSL3, key, template);
        assertNotNull(session.takeDerivedObject());
        count(4);
    }

    private void signatures(NativeSession session) {
        long h = session.sessionHandle();
        byte[] signature = session.J_Sign(h, true, RSA, key, data, 0, LENGTH);
        assertEquals(signature.length, session.J_Sign(h, true, RSA, key, data, 0, LENGTH, room, 2));
        session.J_SignInit(h, RSA, key);
        session.J_SignUpdate(h, false, null, 0, data, 0, LENGTH);
        assertArrayEquals(signature, session.J_SignFinal());
        session.J_SignUpdate(h, true, RSA, key, data, 0, LENGTH);
        assertEquals(signature.length, session.J_SignFinal(room, 0));
        session.J_Verify(h, true, RSA, key, data, 0, LENGTH, signature, 0, signature.length);
        session.J_VerifyUpdate(h, true, RSA, key, data, 0, LENGTH);
        session.J_Verify(h, false, null, 0, data, 0, 0, signature, 0, signature.length);
        count(10);
    }

    private void recovery(NativeSession session) {
        session.J_SignRecoverInit(RSA, key);
        byte[] signature = session.J_SignRecover(data, 0, LENGTH);
        session.J_SignRecoverInit(RSA, key);
        assertEquals(signature.length, session.J_SignRecover(data, 0, LENGTH, room, 0));
        session.J_VerifyRecoverInit(RSA, key);
        assertArrayEquals(data, session.J_VerifyRecover(signature, 0, signature.length));
        session.J_VerifyRecoverInit(RSA, key);
        assertEquals(LENGTH, session.J_VerifyRecover(signature, 0, signature.length, room, 0));
        count(8);
    }

    private void encryption(NativeSession session) {
        long h = session.sessionHandle();
        byte[] encrypted = session.J_Encrypt(h, true, DES3, key, data, 0, LENGTH);
        assertEquals(LENGTH, session.J_Encrypt(h, true, DES3, key, data, 0, LENGTH, room, 0));
        session.J_EncryptUpdate(h, true, DES3, key, data, 0, LENGTH);
        session.J_EncryptFinal();
        session.J_EncryptUpdate(h, true, DES3, key, data, 0, LENGTH, room, 0);
        session.J_EncryptFinal(room, 0);
        assertArrayEquals(data, session.J_Decrypt(h, true, DES3, key, encrypted, 0, LENGTH));
        session.J_DecryptInit(h, DES3, key);
        session.J_DecryptUpdate(h, false, null, 0, encrypted, 0, LENGTH);
        session.J_DecryptFinal();
        session.J_DecryptUpdate(h, true, DES3, key, encrypted, 0, LENGTH, room, 0);
        session.J_DecryptFinal(room, 0);
        count(12);
    }

    private void digests(NativeSession session) {
        long h = session.sessionHandle();
        assertEquals(20, session.J_Digest(h, true, SHA_1, data, 0, LENGTH).length);
        assertEquals(20, session.J_Digest(h, true, SHA_1, data, 0, LENGTH, room, 0));
        session.J_DigestUpdate(h, true, SHA_1, data, 0, LENGTH);
        session.J_DigestKey(h, false, null, key);
        assertEquals(20, session.J_DigestFinal().length);
        session.J_DigestUpdate(h, true, SHA_1, data, 0, LENGTH);
        assertEquals(20, session.J_DigestFinal(room, 0));
        count(7);
    }

    private void dualUpdates(NativeSession session) {
        long h = session.sessionHandle();
        session.J_DigestUpdate(h, true, SHA_1, data, 0, 1);
        session.J_EncryptUpdate(h, true, DES3, key, data, 0, 4);
        session.J_DigestEncryptUpdate(data, 0, LENGTH, room, 0);
        session.J_SignUpdate(h, true, RSA, key, data, 0, 1);
        session.J_SignEncryptUpdate(data, 0, LENGTH, room, 0);
        session.J_DecryptInit(h, DES3, key);
        session.J_DecryptDigestUpdate(data, 0, LENGTH, room, 0);
        session.J_VerifyUpdate(h, true, RSA, key, data, 0, 1);
        session.J_DecryptVerifyUpdate(data, 0, LENGTH, room, 0);
        count(9);
    }

    private void randomAndState(NativeSession session) {
        session.J_GenerateRandom(session.sessionHandle(), true, data, room, 0, LENGTH);
        session.J_SetOperationState(session.J_GetOperationState(), key, 0);
        assertRefused("J_GetFunctionStatus", Ck.CKR_FUNCTION_NOT_PARALLEL, "FUNCTION NOT PARALLEL",
                session::J_GetFunctionStatus);
        assertRefused("J_CancelFunction", Ck.CKR_FUNCTION_NOT_PARALLEL, "FUNCTION NOT PARALLEL",
                session::J_CancelFunction);
        count(5);
    }

    /** Refusals before, in and behind the module, with everything that the method had taken by then. */
    private void failures(NativeCryptoki cryptoki, NativeSession session) {
        assertRefused("J_SignInit", Ck.CKR_SESSION_HANDLE_INVALID, "SESSION HANDLE INVALID",
                () -> session.J_Sign(0, true, PBE, key, data, 0, LENGTH));
        assertRefused("J_Verify", 0x91, "OPERATION NOT INITIALIZED", () -> {
            NativeSession other = ((NativeSlot) session.slot()).J_OpenSession(Ck.CKF_SERIAL_SESSION);
            other.J_Verify(other.sessionHandle(), false, null, 0, data, 0, LENGTH, data, 0, LENGTH);
        });
        assertText("J_Verify", "Signature is NULL",
                () -> session.J_Verify(session.sessionHandle(), false, null, 0, data, 0, LENGTH, null, 0, 0));
        assertRefused("J_WrapKey", Ck.CKR_WRAPPING_KEY_HANDLE_INVALID, "WRAPPING KEY HANDLE INVALID",
                () -> session.J_WrapKey(SSL3, 1, key));
        assertRefused("J_GetAttributeValue", Ck.CKR_OBJECT_HANDLE_INVALID, "OBJECT HANDLE INVALID",
                () -> session.J_GetAttributeValue(1, Ck.CKA_VALUE));
        assertRefused("J_Initialize", Ck.CKR_CRYPTOKI_ALREADY_INITIALIZED, "CRYPTOKI ALREADY INITIALIZED",
                () -> cryptoki.Initialize(null));
        count(7);
    }
}
