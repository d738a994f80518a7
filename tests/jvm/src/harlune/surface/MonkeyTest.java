package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.util.List;
import java.util.Map;
import java.util.Set;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKF;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Session;

/** Nothing that is passed in, and no answer of a module, ends the JVM or loses an error. */
class MonkeyTest {
    private static final int CALLS = 60_000;

    /** The scripted module has no functions of version 3.0, so whether such an operation is called at all is luck. */
    private static final String MESSAGES = "Message(Encryptor|Decryptor|Signer|Verifier)\\..*";

    private static final Map<String, String> LEFT_OUT = Map.of(
            "Progress.progressed(long)", "the program implements it, and the surface calls it");

    /** The scripted module, whose answers are odd in two rounds of three. */
    static class Scripted implements MonkeyGround {
        @Override
        public String module() {
            return ScriptedModule.PATH;
        }

        @Override
        public String label() {
            return "Scripted token";
        }

        @Override
        public String pin() {
            return "1234";
        }

        @Override
        public String soPin() {
            return "87654321";
        }

        @Override
        public List<Attribute[]> templates(String method) {
            return List.of(new Attribute[0],
                    new Attribute[] {new Attribute(CKA.LABEL, "secret")},
                    new Attribute[] {new Attribute(CKA.CLASS, CKO.PRIVATE_KEY)},
                    new Attribute[] {new Attribute(CKA.CLASS, CKO.SECRET_KEY),
                        new Attribute(CKA.KEY_TYPE, CKK.GENERIC_SECRET), new Attribute(CKA.VALUE, "0123456789abcdef"),
                        new Attribute(CKA.LABEL, "Schlüssel")});
        }

        @Override
        public Map<Integer, Integer> mechanisms(Session session) {
            return Map.of(CKM.MD5, CKF.DIGEST, CKM.SHA256, CKF.DIGEST, CKM.SHA512, CKF.DIGEST, CKM.RSA_PKCS,
                    ~CKF.DIGEST, CKM.DES3_CBC, ~CKF.DIGEST, CKM.XOR_BASE_AND_DATA, CKF.DERIVE);
        }

        @Override
        public boolean isScripted() {
            return true;
        }

        @Override
        public Map<String, String> leftOut() {
            return LEFT_OUT;
        }

        /** Initialising the token is refused while there are sessions, before the PIN is looked at. */
        @Override
        public void assertNoSession(Cryptoki cryptoki) {
            while (ScriptedModule.unused().stream().anyMatch(line -> line.matches("C_(InitToken|GetSlotList).*"))) {
                for (Runnable call : List.<Runnable>of(cryptoki::slots, () -> initToken(cryptoki))) {
                    try {
                        call.run();
                    } catch (CryptokiException odd) {
                        // One answer less.
                    }
                }
            }
            CryptokiException e = assertThrows(CryptokiException.class, () -> initToken(cryptoki));
            assertEquals(CKR.PIN_INCORRECT, e.code());
        }

        private static void initToken(Cryptoki cryptoki) {
            cryptoki.slots().stream().filter(slot -> slot.slotID() == 0x11).findFirst().orElseThrow()
                    .initToken("not the PIN", "label");
        }
    }

    @Test
    void whatIsLeftOutOrForgivenIsThere() throws Exception {
        Monkey.assertNames(LEFT_OUT.keySet());
        Monkey.assertMatches(MonkeyJudge.TOLERATED.stream().map(MonkeyJudge.Tolerated::methods).toList());
        Monkey.assertMatches(MonkeyJudge.DOCUMENTED.stream().map(MonkeyJudge.Documented::methods).toList());
    }

    @Test
    void everyCallEndsWellOrIsRefusedInSoManyWords() throws Exception {
        Monkey monkey = new Monkey(new Scripted(), CALLS);
        assertEquals("", String.join("\n", monkey.play()));
        assertEquals(Set.of(), Monkey.within(monkey.uncalled(), MESSAGES));
        assertTrue(monkey.shareOfGoodEnds(MESSAGES) > 0.9, () -> monkey.neverGood().toString());
        assertTrue(monkey.emptyEnds() > 0);
    }
}
