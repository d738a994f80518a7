package harlune.surface;

import java.util.List;
import java.util.Map;
import java.util.function.Predicate;

import velnor.Attribute;
import velnor.CKM;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;
import velnor.TokenSlot;

/** Where a monkey plays: a module, and what it has to be given to work. */
interface MonkeyGround {
    String module();

    String label();

    String pin();

    String soPin();

    /** Templates of which each suits the method for something. */
    List<Attribute[]> templates(String method);

    /** The mechanisms that are worth trying most, and the CKF_ bits of what they can do. */
    Map<Integer, Integer> mechanisms(Session session);

    /** Looks on from here: a round begins, before the module is opened. */
    default void begin() {
    }

    /** Makes a call. */
    default void run(MonkeyCall call) {
        call.run();
    }

    /** Whether the module is the scripted one. */
    boolean isScripted();

    /** What is not called, and why. */
    Map<String, String> leftOut();

    /** What the module itself does not survive, and so is not passed to it. */
    default List<Deadly> deadly() {
        return List.of();
    }

    /** Mechanisms, by their names, that end the process with such a key. */
    record Deadly(String mechanisms, Predicate<TokenObject> keys, String reason) {
        boolean covers(Mechanism mechanism, TokenObject key) {
            return CKM.name(mechanism.mechanism()).matches(mechanisms) && keys.test(key);
        }
    }

    /** Whether templates may be passed in which an attribute that belongs there is replaced by any other. */
    default boolean takesBrokenTemplates() {
        return true;
    }

    /** The token must not know any session. */
    void assertNoSession(Cryptoki cryptoki);

    default boolean isUsable(Object value) {
        return value instanceof Cryptoki cryptoki ? cryptoki.isOpen()
                : value instanceof TokenSlot slot ? slot.cryptoki().isOpen()
                : value instanceof Session session ? session.isOpen()
                : !(value instanceof TokenObject object) || object.session().isOpen();
    }
}
