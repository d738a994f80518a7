package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.DynamicTest.dynamicTest;

import harlune.support.ScriptedModule;

import java.io.InputStream;
import java.io.OutputStream;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Set;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;

import velnor.Attribute;
import velnor.CKM;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Progress;
import velnor.Session;
import velnor.TokenObject;
import velnor.TokenSlot;
import velnor.UserType;

/** Whatever was closed refuses to work before anything reaches a module, even one that was opened anew since. */
class ClosedTest {
    /** What tells things that do not change, or is there for closing. */
    private static final Map<Class<?>, Set<String>> USABLE = Map.of(
            Cryptoki.class, Set.of("modulePath", "threading", "isOpen", "close"),
            TokenSlot.class, Set.of("slotID", "id", "cryptoki"),
            Session.class, Set.of("slot", "isOpen", "close", "object"),
            TokenObject.class, Set.of("session", "handle"));
    /** The same for operations. */
    private static final Set<String> USABLE_OPERATION = Set.of("close");

    private final List<Cryptoki> opened = new ArrayList<>();

    private Cryptoki scripted() {
        Cryptoki cryptoki = Surface.scripted();
        opened.add(cryptoki);
        return cryptoki;
    }

    @AfterEach
    void close() {
        opened.forEach(Cryptoki::close);
    }

    /** Something of everything, each on the others. */
    private record Things(Cryptoki cryptoki, TokenSlot slot, Session session, TokenObject key,
            List<Object> operations) {
        static Things of(Cryptoki cryptoki) {
            TokenSlot slot = cryptoki.slotsWithToken().get(0);
            Session session = slot.openSession();
            TokenObject key = Surface.key(session, 0xB01);
            Mechanism mechanism = new Mechanism(CKM.SHA_1);
            return new Things(cryptoki, slot, session, key, List.of(session.encryptor(mechanism, key),
                    session.decryptor(mechanism, key), session.signer(mechanism, key), session.verifier(mechanism, key),
                    session.digester(mechanism)));
        }

        Object argument(Class<?> type) {
            Map<Class<?>, Object> arguments = Map.ofEntries(Map.entry(int.class, 0), Map.entry(long.class, 0L),
                    Map.entry(String.class, "1234"), Map.entry(char[].class, new char[] {'1'}),
                    Map.entry(byte[].class, new byte[16]), Map.entry(int[].class, new int[1]),
                    Map.entry(long[].class, new long[1]), Map.entry(ByteBuffer.class, ByteBuffer.allocateDirect(16)),
                    Map.entry(Attribute[].class, new Attribute[0]),
                    Map.entry(Mechanism.class, new Mechanism(CKM.SHA_1)), Map.entry(TokenObject.class, key),
                    Map.entry(UserType.class, UserType.USER));
            if (type == Duration.class) {
                return Duration.ofMinutes(1);
            }
            if (type == InputStream.class) {
                return InputStream.nullInputStream();
            }
            if (type == OutputStream.class) {
                return OutputStream.nullOutputStream();
            }
            if (type == Progress.class) {
                return (Progress) bytes -> { };
            }
            return operations.stream().filter(type::isInstance).findFirst().orElse(arguments.get(type));
        }
    }

    private static List<DynamicTest> refusals(Things things, Object... closed) {
        List<DynamicTest> tests = new ArrayList<>();
        List<Object> objects = new ArrayList<>(things.operations());
        objects.addAll(List.of(closed));
        for (Object object : objects) {
            Class<?> type = object.getClass();
            for (Method method : type.getMethods()) {
                if (!Modifier.isStatic(method.getModifiers()) && !isOfObject(method)
                        && !USABLE.getOrDefault(type, USABLE_OPERATION).contains(method.getName())) {
                    tests.add(dynamicTest(type.getSimpleName() + "." + method.getName()
                            + Arrays.toString(method.getParameterTypes()),
                            () -> assertRefuses(things, object, method)));
                }
            }
        }
        assertTrue(tests.size() > 3 * objects.size(), "only " + tests.size() + " methods were found");
        return tests;
    }

    private static boolean isOfObject(Method method) {
        return Arrays.stream(Object.class.getMethods()).anyMatch(other -> other.getName().equals(method.getName())
                && Arrays.equals(other.getParameterTypes(), method.getParameterTypes()));
    }

    private static void assertRefuses(Things things, Object closed, Method method) {
        ScriptedModule.clearJournal();
        method.setAccessible(true); // the operations inherit from a class that is not public
        Object[] arguments = Arrays.stream(method.getParameterTypes()).map(things::argument).toArray();
        assertFalse(Arrays.asList(arguments).contains(null), "there is no argument for every parameter");
        Throwable thrown = assertThrows(InvocationTargetException.class, () -> method.invoke(closed, arguments))
                .getCause();
        assertEquals(IllegalStateException.class, thrown.getClass(), thrown::toString);
        assertTrue(thrown.getMessage().endsWith("is closed"), thrown::toString);
        assertEquals(List.of(), ScriptedModule.journal());
    }

    @TestFactory
    List<DynamicTest> nothingOfAClosedModuleReachesTheReopenedOne() {
        Things stale = Things.of(scripted());
        stale.cryptoki().close();
        Things fresh = Things.of(scripted());
        assertEquals(fresh.session().toString(), stale.session().toString(), "the session handles differ");
        return refusals(stale, stale.cryptoki(), stale.slot(), stale.session(), stale.key());
    }

    @TestFactory
    List<DynamicTest> aClosedSessionWorksNoMore() {
        Things things = Things.of(scripted());
        things.session().close();
        return refusals(things, things.session(), things.key());
    }

    @TestFactory
    List<DynamicTest> aSessionThatWasClosedWithAllOthersWorksNoMore() {
        Things things = Things.of(scripted());
        things.slot().closeAllSessions();
        return refusals(things, things.session(), things.key());
    }

    @Test
    void closingWhatIsClosedDoesNothing() {
        Things stale = Things.of(scripted());
        stale.session().close();
        ScriptedModule.clearJournal();
        assertDoesNotThrow(stale.session()::close);
        assertEquals(List.of(), ScriptedModule.journal());
        Session open = stale.slot().openSession();
        stale.cryptoki().close();
        Cryptoki reopened = scripted();
        Session living = reopened.slotsWithToken().get(0).openSession();
        ScriptedModule.clearJournal();
        assertDoesNotThrow(open::close);
        assertDoesNotThrow(() -> stale.cryptoki().close());
        assertEquals(List.of(), ScriptedModule.journal());
        assertFalse(open.isOpen() || stale.cryptoki().isOpen());
        assertTrue(living.isOpen() && reopened.isOpen());
    }

    @Test
    void staleObjectsAreNotTakenByAnOpenSession() {
        Things stale = Things.of(scripted());
        stale.cryptoki().close();
        Things fresh = Things.of(scripted());
        ScriptedModule.clearJournal();
        assertThrows(IllegalArgumentException.class,
                () -> fresh.session().wrapKey(new Mechanism(CKM.AES_KEY_WRAP), stale.key(), fresh.key()));
        assertThrows(IllegalArgumentException.class,
                () -> fresh.session().wrapKey(new Mechanism(CKM.AES_KEY_WRAP), fresh.key(), stale.key()));
        assertEquals(List.of(), ScriptedModule.journal());
    }

    @Test
    void aSessionThatCannotBeClosedCountsAsClosed() {
        Things things = Things.of(scripted());
        ScriptedModule.answer("C_CloseSession CKR_DEVICE_ERROR");
        assertThrows(CryptokiException.class, things.session()::close);
        assertFalse(things.session().isOpen());
        ScriptedModule.clearJournal();
        assertDoesNotThrow(things.session()::close);
        assertEquals(List.of(), ScriptedModule.journal());
    }
}
