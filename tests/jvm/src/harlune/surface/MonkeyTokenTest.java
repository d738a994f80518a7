package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;
import harlune.token.RsaKeys;
import harlune.token.SecretKeys;

import java.security.GeneralSecurityException;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CK;
import velnor.CKA;
import velnor.CKF;
import velnor.CKK;
import velnor.CKO;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Session;
import velnor.TokenObject;
import velnor.TokenSlot;

/** Nothing that is passed in ends the JVM beside a real token. */
class MonkeyTokenTest {
    private static final int CALLS = 60_000;

    private static final String TAKES_THE_TOKEN_AWAY = "nobody could log in any more";
    private static final Map<String, String> LEFT_OUT = Map.of(
            "Progress.progressed(long)", "the program implements it, and the surface calls it",
            "Session.initPIN(String)", TAKES_THE_TOKEN_AWAY,
            "Session.setPIN(String,String)", TAKES_THE_TOKEN_AWAY,
            "TokenSlot.initToken(String,String)", TAKES_THE_TOKEN_AWAY);

    private static final class Token implements MonkeyGround {
        private final RsaKeys rsa = new RsaKeys();

        Token() throws GeneralSecurityException {
        }

        @Override
        public String module() {
            return Tokens.MODULE;
        }

        @Override
        public String label() {
            return Tokens.LABEL;
        }

        @Override
        public String pin() {
            return Tokens.PIN;
        }

        @Override
        public String soPin() {
            return Tokens.SO_PIN;
        }

        @Override
        public List<Attribute[]> templates(String method) {
            return switch (method) {
            case "generateKeyPair" -> List.of(new Attribute[] {new Attribute(CKA.TOKEN, false)},
                    new Attribute[] {new Attribute(CKA.MODULUS_BITS, 1024), new Attribute(CKA.TOKEN, false),
                        new Attribute(CKA.PUBLIC_EXPONENT, new byte[] {1, 0, 1})});
            case "generateKey", "unwrapKey", "deriveKey" -> List.of(new Attribute[] {new Attribute(CKA.VALUE_LEN, 16),
                new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.GENERIC_SECRET),
                new Attribute(CKA.TOKEN, false), new Attribute(CKA.EXTRACTABLE, true)},
                new Attribute[] {new Attribute(CKA.TOKEN, false)});
            case "createObject" -> List.of(SecretKeys.template(CKK.AES, TokenOperations.AES_KEY),
                    SecretKeys.template(CKK.DES3, TokenOperations.DES3_KEY),
                    SecretKeys.template(CKK.GENERIC_SECRET, TokenOperations.MAC_KEY),
                    rsa.publicTemplate(), rsa.privateTemplate());
            default -> List.of(new Attribute[] {new Attribute(CKA.TOKEN, false)},
                    new Attribute[] {new Attribute(CKA.CLASS, CKO.SECRET_KEY)}, rsa.publicTemplate());
            };
        }

        @Override
        public Map<Integer, Integer> mechanisms(Session session) {
            Map<Integer, Integer> mechanisms = new HashMap<>();
            for (int mechanism : session.slot().mechanisms()) {
                try {
                    mechanisms.put(mechanism, session.slot().mechanismInfo(mechanism).flags());
                } catch (CryptokiException e) {
                    // A size beyond an int: what the mechanism is for is in its name alone.
                    mechanisms.put(mechanism, CKF.GENERATE | CKF.SIGN | CKF.VERIFY);
                }
            }
            return mechanisms;
        }

        @Override
        public boolean isScripted() {
            return false;
        }

        @Override
        public Map<String, String> leftOut() {
            return LEFT_OUT;
        }

        @Override
        public List<Deadly> deadly() {
            return List.of(
                    new Deadly("CKM_AES_KEY_WRAP\\w*", key -> true,
                            "NSS was seen not to come back, in freeing what it had not set"));
        }

        /** SoftHSM keeps what it has refused to create, and does not survive the use of half a key. */
        @Override
        public boolean takesBrokenTemplates() {
            return false;
        }

        @Override
        public void assertNoSession(Cryptoki cryptoki) {
            TokenSlot slot = cryptoki.tokenByLabel(Tokens.LABEL);
            int count = slot.tokenInfo().rwSessionCount();
            if (count == CK.UNAVAILABLE_INFORMATION) {
                CryptokiException e = assertThrows(CryptokiException.class, () -> slot.initToken("wrong", "label"));
                assertEquals(CKR.PIN_INCORRECT, e.code());
            } else {
                assertEquals(0, count);
            }
        }
    }

    @Test
    void whatIsLeftOutIsThere() throws Exception {
        Monkey.assertNames(LEFT_OUT.keySet());
    }

    @Test
    void everyCallEndsWellOrIsRefusedInSoManyWords() throws Exception {
        Monkey monkey = new Monkey(new Token(), CALLS);
        assertEquals("", String.join("\n", monkey.play()));
        Set<String> uncalled = monkey.uncalled();
        // Whether one of these is made at all, and its turn comes, is luck.
        uncalled.removeIf(name -> name.matches("(TokenKeyPair|Message\\w+)\\..*"));
        assertEquals(Set.of(), uncalled);
        assertTrue(monkey.shareOfGoodEnds("") > 0.85, () -> monkey.neverGood().toString());
        assertTrue(monkey.emptyEnds() > 0);
    }
}
