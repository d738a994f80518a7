package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CKR;
import velnor.CKS;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenKeyPair;
import velnor.TokenObject;
import velnor.TokenSlot;

/** The surface beside cryptography on a real token, whichever it is. */
class TokenTest {
    private static final Mechanism AES_KEY_GEN = new Mechanism(CKM.AES_KEY_GEN);

    private Cryptoki cryptoki;
    private TokenSlot slot;
    private Session session;

    @BeforeEach
    void open() {
        cryptoki = Surface.token();
        slot = cryptoki.tokenByLabel(Tokens.LABEL);
        session = slot.openSession();
        session.login(Tokens.PIN);
    }

    @AfterEach
    void close() {
        cryptoki.close();
    }

    private TokenObject aesKey(Attribute... more) {
        return session.generateKey(AES_KEY_GEN, with(more, new Attribute(CKA.VALUE_LEN, 16),
                new Attribute(CKA.TOKEN, false), new Attribute(CKA.SENSITIVE, false),
                new Attribute(CKA.EXTRACTABLE, true)));
    }

    private static Attribute[] with(Attribute[] some, Attribute... more) {
        Attribute[] all = Arrays.copyOf(some, some.length + more.length);
        System.arraycopy(more, 0, all, some.length, more.length);
        return all;
    }

    @Test
    void theModuleIsReopened() {
        for (int i = 0; i < 3; i++) {
            Session before = session;
            cryptoki.close();
            open();
            assertThrows(IllegalStateException.class, before::info);
            assertEquals(32, session.random(32).length);
        }
    }

    @Test
    void theTokenIsTold() {
        assertEquals(Tokens.LABEL, slot.tokenInfo().label());
        assertTrue(slot.isTokenPresent());
        assertTrue(cryptoki.slotsWithToken().contains(slot));
        assertFalse(cryptoki.info().manufacturerID().isEmpty());
        assertEquals(Tokens.MODULE, cryptoki.modulePath());
        assertEquals(slot.slotID(), session.info().slotID());
        assertEquals(CKS.RW_USER_FUNCTIONS, session.info().state());
        try (Session reading = slot.openReadOnlySession()) {
            assertEquals(CKS.RO_USER_FUNCTIONS, reading.info().state());
        }
    }

    @Test
    void everyMechanismOfTheTokenIsListed() {
        List<Integer> mechanisms = slot.mechanisms();
        for (int mechanism : new int[] {CKM.RSA_PKCS, CKM.AES_KEY_GEN, CKM.EC_KEY_PAIR_GEN}) {
            assertTrue(mechanisms.contains(mechanism), CKM.name(mechanism));
            assertTrue(slot.supports(mechanism));
        }
        assertEquals(16, slot.mechanismInfo(CKM.AES_KEY_GEN).minKeySize());
        assertFalse(slot.supports(CKM.BATON_SHUFFLE));
        for (int mechanism : CKM.all()) {
            assertEquals(slot.supports(mechanism), mechanisms.contains(mechanism), CKM.name(mechanism));
        }
    }

    @Test
    void aLoginIsOfTheTokenNotOfTheSession() {
        try (Session other = slot.openSession()) {
            assertFalse(other.loginIfNeeded(Tokens.PIN));
            assertThrows(CryptokiException.class, () -> other.login(Tokens.PIN));
            other.logout();
            assertTrue(session.loginIfNeeded(Tokens.PIN));
            session.logout();
            CryptokiException e = assertThrows(CryptokiException.class, () -> other.loginIfNeeded("0000"));
            assertEquals(CKR.PIN_INCORRECT, e.code());
        }
    }

    @Test
    void thePinIsChangedAndChangedBack() {
        session.setPIN(Tokens.PIN, "4711-4711");
        session.logout();
        assertThrows(CryptokiException.class, () -> session.login(Tokens.PIN));
        session.login("4711-4711");
        session.setPIN("4711-4711", Tokens.PIN);
        session.logout();
        session.login(Tokens.PIN);
    }

    @Test
    void randomBytesAreRandom() {
        byte[] seed = session.random(20);
        session.seedRandom(seed);
        assertFalse(Arrays.equals(session.random(20), session.random(20)));
        byte[] around = new byte[64];
        session.random(around, 16, 32);
        assertArrayEquals(new byte[16], Arrays.copyOf(around, 16));
        assertArrayEquals(new byte[16], Arrays.copyOfRange(around, 48, 64));
        assertFalse(Arrays.equals(new byte[32], Arrays.copyOfRange(around, 16, 48)));
        assertEquals(100_000, session.random(100_000).length);
    }

    @Test
    void objectsAreMadeFoundChangedCopiedAndDestroyed() {
        String label = "Schlüssel \u20AC " + System.nanoTime();
        Attribute named = new Attribute(CKA.LABEL, label);
        TokenObject data = session.createObject(new Attribute(CKA.CLASS, CKO.DATA), new Attribute(CKA.TOKEN, false),
                new Attribute(CKA.PRIVATE, false), named, new Attribute(CKA.VALUE, new byte[] {1, 2, 3}));
        assertEquals(label, data.label());
        assertEquals(CKO.DATA, data.objectClass());
        assertEquals(data, session.findOne(named));
        assertArrayEquals(new byte[] {1, 2, 3}, data.attribute(CKA.VALUE).bytesValue());
        data.set(new Attribute(CKA.LABEL, label + "2"));
        assertTrue(session.find(named).isEmpty());
        assertEquals(label + "2", data.label());
        TokenObject copy = data.copy(named);
        assertNotEquals(data, copy);
        assertArrayEquals(new byte[] {1, 2, 3}, copy.attribute(CKA.VALUE).bytesValue());
        assertTrue(session.find().containsAll(List.of(data, copy)));
        data.destroy();
        assertThrows(CryptokiException.class, data::label);
        assertEquals(List.of(copy), session.find(named));
    }

    @Test
    void whatAKeyDoesNotGiveAwayIsNullInAList() {
        TokenObject secret = session.generateKey(AES_KEY_GEN, new Attribute(CKA.VALUE_LEN, 32),
                new Attribute(CKA.TOKEN, false), new Attribute(CKA.SENSITIVE, true));
        List<Attribute> read = secret.attributes(CKA.KEY_TYPE, CKA.VALUE, CKA.MODULUS, CKA.SENSITIVE);
        assertEquals(List.of(new Attribute(CKA.KEY_TYPE, CKK.AES), new Attribute(CKA.VALUE, null),
                new Attribute(CKA.MODULUS, null), new Attribute(CKA.SENSITIVE, true)), read);
        CryptokiException e = assertThrows(CryptokiException.class, () -> secret.attribute(CKA.VALUE));
        assertEquals(CKR.ATTRIBUTE_SENSITIVE, e.code());
    }

    @Test
    void keyPairsAreGeneratedAndBelongTogether() {
        TokenKeyPair pair = session.generateKeyPair(new Mechanism(CKM.RSA_PKCS_KEY_PAIR_GEN),
                new Attribute[] {new Attribute(CKA.TOKEN, false), new Attribute(CKA.MODULUS_BITS, 1024),
                    new Attribute(CKA.PUBLIC_EXPONENT, new byte[] {1, 0, 1}), new Attribute(CKA.VERIFY, true)},
                new Attribute[] {new Attribute(CKA.TOKEN, false), new Attribute(CKA.SIGN, true)});
        assertEquals(CKO.PUBLIC_KEY, pair.publicKey().objectClass());
        assertEquals(CKO.PRIVATE_KEY, pair.privateKey().objectClass());
        Mechanism mechanism = new Mechanism(CKM.SHA256_RSA_PKCS);
        try (Session other = slot.openSession()) {
            byte[] signature = other.sign(mechanism, pair.privateKey(), new byte[100]);
            assertTrue(session.isValid(mechanism, pair.publicKey(), new byte[100], signature));
            assertFalse(session.isValid(mechanism, pair.publicKey(), new byte[101], signature));
        }
    }

    @Test
    void keysTravelWrapped() {
        Mechanism mechanism = new Mechanism(CKM.AES_KEY_WRAP);
        TokenObject wrapping = aesKey(new Attribute(CKA.WRAP, true), new Attribute(CKA.UNWRAP, true));
        TokenObject key = aesKey();
        byte[] wrapped = session.wrapKey(mechanism, wrapping, key);
        assertEquals(24, wrapped.length);
        byte[] around = new byte[40];
        System.arraycopy(wrapped, 0, around, 9, 24);
        TokenObject unwrapped = session.unwrapKey(mechanism, wrapping, around, 9, 24,
                new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.AES),
                new Attribute(CKA.TOKEN, false), new Attribute(CKA.SENSITIVE, false),
                new Attribute(CKA.EXTRACTABLE, true));
        assertArrayEquals(key.attribute(CKA.VALUE).bytesValue(), unwrapped.attribute(CKA.VALUE).bytesValue());
    }

    @Test
    void functionsThatRunInParallelAreRefused() {
        assertEquals(CKR.FUNCTION_NOT_PARALLEL,
                assertThrows(CryptokiException.class, session::functionStatus).code());
        assertEquals(CKR.FUNCTION_NOT_PARALLEL,
                assertThrows(CryptokiException.class, session::cancelFunction).code());
    }

    @Test
    void allSessionsAreClosedAtOnce() {
        Session other = slot.openSession();
        slot.closeAllSessions();
        assertFalse(session.isOpen() || other.isOpen());
        assertThrows(IllegalStateException.class, other::info);
        try (Session again = slot.openSession()) {
            assertTrue(again.loginIfNeeded(Tokens.PIN));
        }
    }

    @Test
    void slotEventsArePolledWhereTheModuleHasThem() {
        try {
            assertTrue(cryptoki.pollSlotEvent().isEmpty());
        } catch (CryptokiException e) {
            assertEquals(CKR.FUNCTION_NOT_SUPPORTED, e.code());
        }
    }
}
