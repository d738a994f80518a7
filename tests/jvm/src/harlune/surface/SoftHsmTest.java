package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;
import harlune.token.SecretKeys;

import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.function.Predicate;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKF;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CKR;
import velnor.CKS;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Reading;
import velnor.Session;
import velnor.TokenInfo;
import velnor.TokenKeyPair;
import velnor.TokenObject;
import velnor.TokenSlot;
import velnor.UserType;
import velnor.nat.NativeFunctions;

/** What SoftHSM shows of the surface beyond other tokens: tokens are initialised, and objects outlive the process. */
class SoftHsmTest {
    private Cryptoki cryptoki;

    @BeforeEach
    void open() {
        cryptoki = Surface.token();
    }

    @AfterEach
    void close() {
        cryptoki.close();
    }

    private TokenSlot slotOf(Predicate<TokenInfo> wanted) {
        return cryptoki.slotsWithToken().stream().filter(slot -> wanted.test(slot.tokenInfo())).findFirst()
                .orElseThrow();
    }

    @Test
    void aTokenIsInitialised() {
        TokenSlot blank = slotOf(token -> (token.flags() & CKF.TOKEN_INITIALIZED) == 0);
        blank.initToken("87654321", "Schlüsselbund");
        cryptoki.close();
        open();
        TokenSlot slot = cryptoki.tokenByLabel("Schlüsselbund");
        try (Session session = slot.openSession()) {
            session.login(UserType.SECURITY_OFFICER, "87654321");
            assertEquals(CKS.RW_SO_FUNCTIONS, session.info().state());
            session.initPIN("pün-\u20AC-1234");
            assertThrows(CryptokiException.class, () -> session.loginIfNeeded("pün-\u20AC-1234"));
            session.logout();
            session.login("pün-\u20AC-1234");
            CryptokiException e = assertThrows(CryptokiException.class, () -> slot.initToken("87654321", "again"));
            assertEquals(CKR.SESSION_EXISTS, e.code());
        }
        slot.initToken("87654321", "again");
        assertEquals("again", slotOf(token -> token.label().equals("again")).tokenInfo().label());
    }

    @Test
    void keysOfTheTokenAreThereAfterReopening() {
        Attribute label = new Attribute(CKA.LABEL, "kept");
        Session session = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        session.login(Tokens.PIN);
        TokenKeyPair pair = session.generateKeyPair(new Mechanism(CKM.EC_KEY_PAIR_GEN),
                new Attribute[] {label, new Attribute(CKA.TOKEN, true), new Attribute(CKA.EC_PARAMS,
                        new byte[] {6, 8, 0x2A, (byte) 0x86, 0x48, (byte) 0xCE, 0x3D, 3, 1, 7})},
                new Attribute[] {label, new Attribute(CKA.TOKEN, true), new Attribute(CKA.SIGN, true)});
        byte[] signature = session.sign(new Mechanism(CKM.ECDSA), pair.privateKey(), new byte[32]);
        assertEquals(67, pair.publicKey().attribute(CKA.EC_POINT).bytesValue().length);
        cryptoki.close();
        open();
        Session again = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        again.login(Tokens.PIN);
        assertEquals(2, again.find(label).size());
        assertThrows(IllegalArgumentException.class, () -> again.isValid(new Mechanism(CKM.ECDSA), pair.publicKey(),
                new byte[32], signature));
        assertTrue(again.isValid(new Mechanism(CKM.ECDSA),
                again.findOne(label, new Attribute(CKA.CLASS, CKO.PUBLIC_KEY)), new byte[32], signature));
        again.find(label).forEach(TokenObject::destroy);
        assertTrue(again.find(label).isEmpty());
    }

    @Test
    void keysOfAnotherTokenAreRefused() {
        Session session = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        Session other = cryptoki.tokenByLabel(Tokens.OTHER_LABEL).openSession();
        session.login(Tokens.PIN);
        other.login(Tokens.PIN);
        Mechanism generate = new Mechanism(CKM.AES_KEY_GEN);
        Attribute[] template = {new Attribute(CKA.VALUE_LEN, 16), new Attribute(CKA.TOKEN, false)};
        assertThrows(IllegalArgumentException.class, () -> session.wrapKey(new Mechanism(CKM.AES_KEY_WRAP),
                other.generateKey(generate, template), session.generateKey(generate, template)));
    }

    /** Each of these ends the process when the token is asked. */
    @Test
    void keysOfRareTypesDoNotReachAnotherNaturesMechanism() {
        Session session = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        session.login(Tokens.PIN);
        TokenObject mac = session.createObject(SecretKeys.template(CKK.SHA256_HMAC, new byte[32]));
        TokenObject edwards = session.generateKeyPair(new Mechanism(CKM.EC_EDWARDS_KEY_PAIR_GEN),
                new Attribute[] {new Attribute(CKA.EC_PARAMS, new byte[] {0x13, 12, 'e', 'd', 'w', 'a', 'r', 'd', 's',
                    '2', '5', '5', '1', '9'})},
                new Attribute[] {new Attribute(CKA.SIGN, true)}).privateKey();
        for (int mechanism : new int[] {CKM.DSA, CKM.DSA_SHA1, CKM.RSA_PKCS, CKM.SHA256_RSA_PKCS, CKM.ECDSA}) {
            for (TokenObject key : List.of(mac, edwards)) {
                IllegalArgumentException e = assertThrows(IllegalArgumentException.class,
                        () -> session.sign(new Mechanism(mechanism), key, new byte[32]));
                assertTrue(e.getMessage().startsWith(CKM.name(mechanism) + " is not for a key of type CKK_"),
                        e.getMessage());
            }
        }
        assertEquals(64, session.sign(new Mechanism(CKM.EDDSA), edwards, new byte[5]).length);
        assertEquals(32, session.sign(new Mechanism(CKM.SHA256_HMAC), mac, new byte[5]).length);
    }

    /** What is left of a creation that was refused can be found, and SoftHSM does not survive its use. */
    @Test
    void halfAKeyIsNotUsed() {
        Session session = cryptoki.tokenByLabel(Tokens.LABEL).openSession();
        session.login(Tokens.PIN);
        Attribute label = new Attribute(CKA.LABEL, "half");
        for (int type : new int[] {CKK.RSA, CKK.DSA}) {
            Attribute keyType = new Attribute(CKA.KEY_TYPE, type);
            Attribute[] half = {label, keyType, new Attribute(CKA.CLASS, CKO.PRIVATE_KEY),
                new Attribute(CKA.SIGN, true)};
            assertThrows(IllegalArgumentException.class, () -> session.createObject(half));
            assertTrue(session.find(label, keyType).isEmpty());
            leave(session.slot(), half);
            TokenObject left = session.findOne(label, keyType);
            Mechanism mechanism = new Mechanism(type == CKK.RSA ? CKM.RSA_PKCS : CKM.DSA);
            assertThrows(IllegalArgumentException.class, () -> session.sign(mechanism, left, new byte[20]));
        }
    }

    /** Has the token refuse an object and keep it, as the native methods do that do not look. */
    private static void leave(TokenSlot slot, Attribute... half) {
        long module = NativeFunctions.load(Tokens.MODULE.getBytes(StandardCharsets.UTF_8), new byte[0]);
        long[] session = new long[1];
        assertEquals(CKR.OK, NativeFunctions.openSession(module, Integer.toUnsignedLong(slot.slotID()),
                CKF.SERIAL_SESSION | CKF.RW_SESSION, session));
        assertNotEquals(CKR.OK, NativeFunctions.create(module, session[0], Reading.structure(half).bytes(), new long[1]));
    }
}
