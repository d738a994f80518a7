package harlune.surface;

import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKM;
import velnor.CKO;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenKeyPair;
import velnor.TokenObject;
import velnor.TokenSlot;
import velnor.UserType;
import velnor.params.EXTRACTParams;
import velnor.params.SSL3KEYMATOUT;
import velnor.params.SSL3KEYMATParams;
import velnor.params.SSL3RANDOMDATA;

/** A session's work beside cryptography: what the module is asked, what comes back, and what never gets that far. */
class SessionTest {
    private static final Mechanism GENERATE = new Mechanism(CKM.AES_KEY_GEN);
    private static final Mechanism EXTRACT = new Mechanism(CKM.EXTRACT_KEY_FROM_KEY, new EXTRACTParams(3));
    private static final Attribute LABEL = new Attribute(CKA.LABEL, "new");

    private Cryptoki cryptoki;
    private TokenSlot slot;
    private Session session;
    private TokenObject key;

    @BeforeEach
    void open() {
        cryptoki = Surface.scripted();
        slot = cryptoki.slotsWithToken().get(0);
        session = slot.openSession();
        key = Surface.key(session, 0xB01);
        ScriptedModule.clearJournal();
    }

    @AfterEach
    void close() {
        cryptoki.close();
        assertEquals(List.of(), ScriptedModule.unused());
    }

    private static void assertJournal(String... lines) {
        assertEquals(List.of(lines), ScriptedModule.journal());
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    @Test
    void randomBytesFillWhatWasAskedFor() {
        assertArrayEquals(bytes("RANDOMRA"), session.random(8));
        byte[] array = bytes("..........");
        session.random(array, 2, 3);
        assertArrayEquals(bytes("..RAN....."), array);
        assertJournal("C_GenerateRandom session=0x5E51 buffer=non-null length=8 -> CKR_OK",
                "C_GenerateRandom session=0x5E51 buffer=non-null length=3 -> CKR_OK");
    }

    @Test
    void randomBytesAreMadeInParts() {
        byte[] random = session.random(0x20001);
        assertArrayEquals(bytes("DOMRANDRANDOM"), Arrays.copyOfRange(random, 0xFFF9, 0x10006));
        assertEquals('R', random[0x20000]);
        String call = "C_GenerateRandom session=0x5E51 buffer=non-null length=";
        assertJournal(call + "65536 -> CKR_OK", call + "65536 -> CKR_OK", call + "1 -> CKR_OK");
        ScriptedModule.clearJournal();
        assertEquals(0, session.random(0).length);
        assertJournal();
    }

    @Test
    void aSeedThatIsRefusedIsTold() {
        session.seedRandom(bytes("seed"));
        ScriptedModule.answer("C_SeedRandom CKR_RANDOM_SEED_NOT_SUPPORTED");
        assertRefused("J_SeedRandom", CKR.RANDOM_SEED_NOT_SUPPORTED, "RANDOM SEED NOT SUPPORTED",
                () -> session.seedRandom(bytes("seed")));
        assertJournal("C_SeedRandom session=0x5E51 seed=\"seed\" -> CKR_OK",
                "C_SeedRandom session=0x5E51 seed=\"seed\" -> CKR_RANDOM_SEED_NOT_SUPPORTED");
    }

    @ParameterizedTest
    @CsvSource({"-1, 1", "0, -1", "0, 9", "9, 0", "8, 1", "1, 8", "2147483647, 1", "1, 2147483647"})
    void rangesLieWithinTheirArrays(int off, int len) {
        assertThrows(IndexOutOfBoundsException.class, () -> session.random(new byte[8], off, len));
        assertThrows(IndexOutOfBoundsException.class,
                () -> session.unwrapKey(GENERATE, key, new byte[8], off, len, LABEL));
        assertJournal();
    }

    @Test
    void nothingMissingReachesTheModule() {
        Attribute[] none = {};
        for (Runnable call : List.<Runnable>of(() -> session.random(null, 0, 0), () -> session.seedRandom(null),
                () -> session.login((String) null), () -> session.login(null, "1234"), () -> session.loginIfNeeded((String) null),
                () -> session.initPIN((String) null), () -> session.setPIN(null, "1234"),
                () -> session.setPIN("1234", null),
                () -> session.wrapKey(GENERATE, null, key), () -> session.wrapKey(GENERATE, key, null),
                () -> session.unwrapKey(GENERATE, null, new byte[1]), () -> session.unwrapKey(GENERATE, key, null),
                () -> session.deriveKey(GENERATE, null), () -> session.setOperationState(null),
                () -> session.generateKey(null), () -> session.generateKeyPair(null, none, none),
                () -> key.attributes((int[]) null), () -> key.set((Attribute[]) null),
                () -> key.copy((Attribute[]) null), () -> slot.initToken((String) null, "label"),
                () -> slot.initToken("12345678", null), () -> cryptoki.tokenByLabel(null))) {
            assertThrows(NullPointerException.class, call::run);
        }
        assertThrows(IllegalArgumentException.class, () -> session.random(-1));
        assertJournal();
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "zero\0inside", "key \uD83D"})
    void aPinThatIsNoneIsRefused(String pin) {
        for (Runnable call : List.<Runnable>of(() -> session.login(pin), () -> session.initPIN(pin),
                () -> session.loginIfNeeded(pin), () -> session.setPIN(pin, "1234"), () -> session.setPIN("1234", pin),
                () -> slot.initToken(pin, "label"), () -> session.login(pin.toCharArray()),
                () -> session.initPIN(pin.toCharArray()), () -> session.loginIfNeeded(pin.toCharArray()),
                () -> session.setPIN(pin.toCharArray(), null), () -> session.setPIN(null, pin.toCharArray()),
                () -> slot.initToken(pin.toCharArray(), "label"),
                () -> session.loginUser(UserType.USER, pin.toCharArray(), "name"))) {
            IllegalArgumentException e = assertThrows(IllegalArgumentException.class, call::run);
            assertFalse(e.getMessage().contains("inside") || e.getMessage().contains("key"), e.getMessage());
        }
        assertThrows(IllegalArgumentException.class, () -> slot.initToken("1234", "\0"));
        assertThrows(IllegalArgumentException.class, () -> slot.initToken("1234", "\u20AC".repeat(11)));
        assertJournal();
    }

    @Test
    void aLoginThatHoldsIsNoFailureWhereItIsNotWanted() {
        assertTrue(session.loginIfNeeded("1234"));
        assertFalse(session.loginIfNeeded("wrong, and not looked at"));
        assertRefused("J_Login", CKR.USER_ALREADY_LOGGED_IN, "USER ALREADY LOGGED IN", () -> session.login("1234"));
        session.logout();
        assertRefused("J_Login", CKR.PIN_INCORRECT, "PIN INCORRECT", () -> session.loginIfNeeded("9999"));
        session.login(UserType.SECURITY_OFFICER, "87654321");
        assertThrows(CryptokiException.class, () -> session.loginIfNeeded("1234"));
        session.initPIN("2222");
        session.logout();
        session.login("2222");
        session.setPIN("2222", "3333");
        session.logout();
        session.login("3333");
    }

    @Test
    void aPinOfCharactersIsAsGoodAsAString() {
        session.login("1234".toCharArray());
        session.logout();
        assertTrue(session.loginIfNeeded("1234".toCharArray()));
        session.setPIN("1234".toCharArray(), "\u20AC\uD83D\uDD11".toCharArray());
        session.logout();
        session.login("\u20AC\uD83D\uDD11");
        session.logout();
        session.login(UserType.SECURITY_OFFICER, "87654321".toCharArray());
        session.initPIN("2222".toCharArray());
        session.close();
        slot.initToken("87654321".toCharArray(), "n\u00E4me");
        assertEquals("n\u00E4me", slot.tokenInfo().label());
    }

    /** A null pointer and no length, of which a reader with a PIN pad makes a question. */
    @Test
    void noPinIsForAPinPad() {
        ScriptedModule.answer("C_Login CKR_OK");
        session.login((char[]) null);
        ScriptedModule.answer("C_Login CKR_USER_ALREADY_LOGGED_IN");
        assertFalse(session.loginIfNeeded((char[]) null));
        ScriptedModule.answer("C_InitPIN CKR_OK");
        session.initPIN((char[]) null);
        ScriptedModule.answer("C_SetPIN CKR_OK");
        session.setPIN((char[]) null, (char[]) null);
        ScriptedModule.answer("C_InitToken CKR_OK");
        slot.initToken((char[]) null, "label");
        String label = "label=\"label" + " ".repeat(27) + "\"";
        String noPin = "pin=null pinLength=0 ";
        assertJournal("C_Login session=0x5E51 userType=0x1 " + noPin + "-> CKR_OK",
                "C_Login session=0x5E51 userType=0x1 " + noPin + "-> CKR_USER_ALREADY_LOGGED_IN",
                "C_InitPIN session=0x5E51 " + noPin + "-> CKR_OK",
                "C_SetPIN session=0x5E51 oldPin=null oldPinLength=0 newPin=null newPinLength=0 -> CKR_OK",
                "C_InitToken slot=0x11 " + noPin + label + " -> CKR_OK");
    }

    @Test
    void aUserWithANameIsRefusedByAModuleWithoutThose() {
        assertRefused("J_LoginUser", CKR.FUNCTION_NOT_SUPPORTED, "FUNCTION NOT SUPPORTED",
                () -> session.loginUser(UserType.USER, "1234".toCharArray(), "name"));
        assertThrows(NullPointerException.class, () -> session.loginUser(null, null, "name"));
        assertThrows(NullPointerException.class, () -> session.loginUser(UserType.USER, null, null));
        assertJournal();
    }

    @Test
    void keysAreGenerated() {
        ScriptedModule.answer("C_GenerateKeyPair CKR_OK handle=0x7F0000000021 private=0x7F0000000022");
        TokenObject generated = session.generateKey(GENERATE, LABEL);
        TokenKeyPair pair = session.generateKeyPair(new Mechanism(CKM.RSA_PKCS_KEY_PAIR_GEN), new Attribute[] {LABEL},
                new Attribute[0]);
        assertEquals(List.of(0xB06L, 0x7F0000000021L, 0x7F0000000022L),
                List.of(generated.handle(), pair.publicKey().handle(), pair.privateKey().handle()));
        assertJournal("C_GenerateKey session=0x5E51 mechanism=0x1080 template=[0x3 3:\"new\"] -> CKR_OK handle=0xB06",
                "C_GenerateKeyPair session=0x5E51 mechanism=0x0 public=[0x3 3:\"new\"] private=[] "
                        + "-> CKR_OK private=0x7F0000000022 handle=0x7F0000000021");
    }

    @Test
    void keysTravelWrapped() {
        byte[] wrapped = session.wrapKey(new Mechanism(CKM.AES_KEY_WRAP), Surface.key(session, 0xB02), key);
        assertArrayEquals(bytes("WRAP:0123456789abcdef"), wrapped);
        ScriptedModule.clearJournal();
        byte[] within = new byte[wrapped.length + 5];
        System.arraycopy(wrapped, 0, within, 2, wrapped.length);
        TokenObject unwrapped = session.unwrapKey(new Mechanism(CKM.AES_KEY_WRAP), key, within, 2, wrapped.length,
                LABEL);
        assertArrayEquals(bytes("0123456789abcdef"), unwrapped.attribute(CKA.VALUE).bytesValue());
        assertArrayEquals(bytes("0123456789abcdef"), session.unwrapKey(new Mechanism(CKM.AES_KEY_WRAP), key, wrapped)
                .attribute(CKA.VALUE).bytesValue());
        assertTrue(ScriptedModule.journal().get(0).contains(
                "wrappedKey=\"WRAP:0123456789abcdef\" template=[0x3 3:\"new\"]"), ScriptedModule.journal()::toString);
    }

    @Test
    void aDerivedKeyIsTheOneThatWasDerived() {
        assertEquals(0xB06, session.deriveKey(EXTRACT, key, LABEL).handle());
        assertArrayEquals(bytes("new"), session.object(0xB06).attribute(CKA.LABEL).bytesValue());
    }

    @ParameterizedTest
    @ValueSource(longs = {0x80000001L, 0x7F0000000B77L, -2})
    void aDerivedKeysHandleArrivesWhole(long handle) {
        ScriptedModule.answer("C_DeriveKey CKR_OK handle=0x" + Long.toHexString(handle));
        assertEquals(handle, session.deriveKey(EXTRACT, key).handle());
        // Nothing is searched for; what the key is, is asked.
        assertEquals(List.of("C_DeriveKey", "C_GetAttributeValue", "C_GetAttributeValue"),
                ScriptedModule.journal().stream().map(line -> line.split(" ")[0]).toList());
    }

    @Test
    void aRefusedDerivationLeavesNothingBehind() {
        ScriptedModule.answer("C_DeriveKey CKR_KEY_HANDLE_INVALID");
        assertRefused("J_DeriveKey", CKR.KEY_HANDLE_INVALID, "KEY HANDLE INVALID",
                () -> session.deriveKey(EXTRACT, key));
        assertEquals(0xB06, session.deriveKey(EXTRACT, key).handle());
    }

    @Test
    void anOperationIsSavedAndGoneOnWith() {
        assertRefused("J_GetOperationState", CKR.OPERATION_NOT_INITIALIZED, "OPERATION NOT INITIALIZED",
                session::operationState);
        ScriptedModule.answer("C_GetOperationState CKR_OK data=\"OPSTATE!\"");
        ScriptedModule.answer("C_GetOperationState CKR_OK data=\"OPSTATE!\"");
        byte[] state = session.operationState();
        ScriptedModule.clearJournal();
        session.setOperationState(state);
        session.setOperationState(state, key, null);
        session.setOperationState(state, null, key);
        String call = "C_SetOperationState session=0x5E51 state=\"OPSTATE!\" encryptionKey=";
        assertJournal(call + "0x0 authenticationKey=0x0 -> CKR_OK", call + "0xB01 authenticationKey=0x0 -> CKR_OK",
                call + "0x0 authenticationKey=0xB01 -> CKR_OK");
    }

    @Test
    void parallelFunctionsAreAThingOfThePast() {
        String text = "FUNCTION NOT PARALLEL";
        assertRefused("J_GetFunctionStatus", CKR.FUNCTION_NOT_PARALLEL, text, session::functionStatus);
        assertRefused("J_CancelFunction", CKR.FUNCTION_NOT_PARALLEL, text, session::cancelFunction);
    }

    @Test
    void objectsAreFoundAndGoneThrough() {
        List<Long> handles = new ArrayList<>();
        for (TokenObject object : session.find()) {
            handles.add(object.handle());
        }
        assertEquals(List.of(0xB01L, 0xB02L, 0xB03L, 0xB04L, 0xB05L), handles);
        Attribute pair = new Attribute(CKA.LABEL, "pair");
        assertEquals(3, session.find(pair).size());
        assertEquals(0xB02, session.findFirst(pair).orElseThrow().handle());
        assertEquals(0xB03, session.findOne(pair, new Attribute(CKA.CLASS, CKO.PRIVATE_KEY)).handle());
        assertTrue(session.find(LABEL).isEmpty());
        assertTrue(session.findFirst(LABEL).isEmpty());
        assertThrows(IllegalArgumentException.class, () -> session.findOne(LABEL));
        assertThrows(IllegalArgumentException.class, () -> session.findOne(pair));
        assertThrows(UnsupportedOperationException.class, () -> session.find().clear());
    }

    @Test
    void anObjectIsReadChangedCopiedAndDestroyed() {
        TokenObject object = session.createObject(new Attribute(CKA.CLASS, CKO.DATA), LABEL);
        object.set(new Attribute(CKA.LABEL, "newer"), new Attribute(CKA.ID, new byte[] {7}));
        TokenObject copy = object.copy(new Attribute(CKA.LABEL, "copy"));
        assertEquals(List.of("newer", "copy"), List.of(object.label(), copy.label()));
        assertArrayEquals(new byte[] {7}, copy.id());
        assertEquals(CKO.DATA, copy.objectClass());
        List<Attribute> read = copy.attributes(CKA.LABEL, CKA.MODULUS, CKA.CLASS);
        assertEquals(List.of(new Attribute(CKA.LABEL, bytes("copy")), new Attribute(CKA.CLASS, CKO.DATA)),
                List.of(read.get(0), read.get(2)));
        assertEquals(CKA.MODULUS, read.get(1).type());
        assertNull(read.get(1).value());
        assertThrows(CryptokiException.class, () -> copy.attribute(CKA.MODULUS));
        assertEquals(List.of(), copy.attributes());
        assertTrue(object.size().isPresent());
        ScriptedModule.answer("C_GetObjectSize size=-1");
        assertTrue(object.size().isEmpty());
        object.destroy();
        assertThrows(CryptokiException.class, object::destroy);
    }

    /** What is secret is null in a list, and so is what is missing; a token that fails is not taken for either. */
    @Test
    void aFailureToReadIsNotAMissingAttribute() {
        assertNull(session.object(0xB03).attributes(CKA.PRIVATE_EXPONENT).get(0).value());
        ScriptedModule.answer("C_GetAttributeValue CKR_DEVICE_ERROR");
        assertRefused("J_GetAttributeValue", CKR.DEVICE_ERROR, "DEVICE ERROR", () -> key.attributes(CKA.LABEL));
    }

    @Test
    void keysBelongToTheirToken() {
        ScriptedModule.answer("C_GetSlotList list=0x11,0x12");
        ScriptedModule.answer("C_GetSlotList list=0x11,0x12");
        ScriptedModule.answer("C_OpenSession CKR_OK handle=0x77");
        TokenSlot other = cryptoki.slots().get(1);
        Session elsewhere = other.openSession();
        Session here = slot.openSession();
        ScriptedModule.clearJournal();
        assertThrows(IllegalArgumentException.class, () -> elsewhere.wrapKey(GENERATE, key, key));
        assertJournal();
        assertEquals(21, here.wrapKey(new Mechanism(CKM.AES_KEY_WRAP), key, key).length);
    }

    @Test
    void aKeyOfAClosedSessionIsNotUsed() {
        Session other = slot.openSession();
        TokenObject found = other.object(0xB01);
        other.close();
        ScriptedModule.clearJournal();
        assertThrows(IllegalStateException.class, () -> session.wrapKey(new Mechanism(CKM.AES_KEY_WRAP), found, key));
        assertJournal();
    }

    @Test
    void nothingSecretIsShown() {
        String shown = session + " " + key + " " + slot + " " + cryptoki + " "
                + session.generateKeyPair(GENERATE, new Attribute[0], new Attribute[0]);
        assertTrue(shown.contains("Session[24145 on TokenSlot[17]]"), shown);
        assertThrows(CryptokiException.class, () -> session.login("555555"));
        try {
            session.login("555555");
        } catch (CryptokiException e) {
            assertFalse(e.toString().contains("555555"), e.toString());
        }
    }

    @Test
    void equalObjectsAreOnTheSameToken() {
        assertEquals(key, slot.openSession().object(0xB01));
        assertEquals(key.hashCode(), session.object(0xB01).hashCode());
        assertFalse(key.equals(session.object(0xB02)) || key.equals(null));
        assertEquals(slot, cryptoki.slots().get(0));
        assertFalse(slot.equals(cryptoki.slots().get(1)));
    }
}
