package harlune;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.DynamicTest.dynamicTest;

import harlune.support.Bridge;
import harlune.support.ChildJvm;
import harlune.support.Ck;
import harlune.support.ScriptedModule;

import java.io.IOException;
import java.lang.reflect.Array;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.Predicate;
import java.util.stream.Stream;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;

import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/**
 * Every native method that -Xcheck:jni can take, through its whole course and through its failures; reflection finds
 * them, so that none is forgotten. Left out are those that read the session out of the session object: a long read as
 * an int, for which that mode ends the JVM.
 */
class CheckedJniTest {
    private static final boolean CHECKING = Boolean.getBoolean("harlune.check-jni");
    private static final int COVERED = 37;

    /** They ask the module nothing. */
    private static final Set<String> ANSWERED_BY_THE_LIBRARY =
            Set.of("getLastLoadedLibraryFullPath", "IsSecondAuthenticationRequired");

    /** A refusal is reported twice, and that mode complains about the second time: an exception is pending by then. */
    private static final Set<String> REPORTED_TWICE = Set.of("J_SignInit", "J_DecryptInit");

    private static final long KEY = 0xB01;
    private static final int LENGTH = 4;

    /** What stands for a mechanism in each family: every kind of field is read under that mode's eyes. */
    private static final Map<String, Mechanism> MECHANISMS = Map.of(
            "J_Digest", new Mechanism(Ck.CKM_SHA_1),
            "J_Encrypt", new Mechanism(Ck.CKM_DES3_CBC, new byte[8]),
            "J_Decrypt", new Mechanism(Ck.CKM_DES3_CBC, new byte[8]),
            "J_Sign", new Mechanism(Ck.CKM_RSA_PKCS),
            "J_Verify", new Mechanism(Ck.CKM_RSA_PKCS));

    private NativeSlot slot;
    /** The session whose handle is an argument, and the one whose object methods are called on. */
    private NativeSession argument;
    private NativeSession object;

    private static Stream<Method> natives() {
        return Stream.of(NativeCryptoki.class, NativeSlot.class, NativeSession.class)
                .flatMap(owner -> Arrays.stream(owner.getDeclaredMethods()))
                .filter(method -> Modifier.isNative(method.getModifiers()));
    }

    /** Whether the method is told its session: a long that a mechanism or the flag in front of one follows. */
    private static boolean takesSession(Method method) {
        Class<?>[] types = method.getParameterTypes();
        return types.length > 1 && types[0] == long.class
                && (types[1] == boolean.class || types[1] == Mechanism.class);
    }

    private static boolean coverable(Method method) {
        return method.getDeclaringClass() != NativeSession.class || takesSession(method);
    }

    private Stream<DynamicTest> each(Predicate<Method> chosen, int expected, DynamicCall call) {
        List<Method> methods = natives().filter(chosen).toList();
        assertEquals(expected, methods.size(), () -> "covered are " + methods);
        return methods.stream().map(method -> dynamicTest(method.toString(), () -> {
            bind(method);
            call.make(method);
        }));
    }

    private interface DynamicCall {
        void make(Method method) throws Throwable;
    }

    @TestFactory
    Stream<DynamicTest> everyCoverableMethodGoesItsWholeWay() {
        return each(CheckedJniTest::coverable, COVERED, method -> {
            if (method.getName().equals("J_Verify")) {
                ScriptedModule.answer("C_Verify CKR_OK");
            }
            call(method, ordinaryArguments(method));
            if (!ANSWERED_BY_THE_LIBRARY.contains(method.getName())) {
                List<String> journal = ScriptedModule.journal();
                assertTrue(journal.stream().anyMatch(line -> line.matches(moduleFunction(method) + " .*-> CKR_OK.*")),
                        journal::toString);
            }
        });
    }

    @TestFactory
    Stream<DynamicTest> everyCoverableMethodReportsWhatTheModuleRefuses() {
        return each(
                method -> coverable(method) && !ANSWERED_BY_THE_LIBRARY.contains(method.getName())
                        && !(CHECKING && REPORTED_TWICE.contains(method.getName())),
                COVERED - ANSWERED_BY_THE_LIBRARY.size() - (CHECKING ? REPORTED_TWICE.size() : 0), method -> {
                    ScriptedModule.answer(moduleFunction(method) + " CKR_DEVICE_ERROR");
                    CryptokiException refused =
                            assertThrows(CryptokiException.class, () -> call(method, ordinaryArguments(method)));
                    assertEquals(Ck.CKR_DEVICE_ERROR, refused.code());
                });
    }

    /** Nulls for everything that can be null; what then follows is each method's own affair. */
    @TestFactory
    Stream<DynamicTest> everyCoverableMethodTakesNulls() {
        // One method gives a null array back to the JVM, which ends it in any mode.
        return each(method -> coverable(method) && !method.getName().equals("J_VerifyUpdate"), COVERED - 1, method -> {
            try {
                call(method, Arrays.stream(method.getParameterTypes()).map(CheckedJniTest::nothing).toArray());
            } catch (CryptokiException reported) {
                assertNotEquals(Ck.CKR_CRYPTOKI_NOT_INITIALIZED, reported.code());
            }
        });
    }

    /** Without this the choice above would be a guess. That mode can only be asked about the methods it takes. */
    @TestFactory
    Stream<DynamicTest> aMethodThatIsNotToldItsSessionReadsTheObject() {
        return each(method -> method.getDeclaringClass() == NativeSession.class && (!CHECKING || takesSession(method)),
                CHECKING ? 19 : 62, method -> {
                    ScriptedModule.answer(moduleFunction(method) + " CKR_OK");
                    try {
                        call(method, ordinaryArguments(method));
                    } catch (CryptokiException afterwards) {
                        // An answer that was made up can make no sense.
                    }
                    NativeSession meant = takesSession(method) ? argument : object;
                    String session = String.format("session=0x%X", meant.sessionHandle());
                    List<String> journal = ScriptedModule.journal();
                    assertFalse(journal.isEmpty());
                    assertTrue(journal.stream().allMatch(line -> line.contains(session)), journal::toString);
                });
    }

    @Test
    void thatModeEndsTheJvmOverTheSessionInTheObject() throws IOException, InterruptedException {
        ChildJvm.End end = ChildJvm.run(List.of("-Xcheck:jni"), CheckedJniTest.class, "J_GetSessionInfo");
        assertNotEquals(0, end.status(), end::told);
        assertTrue(end.told().contains("calling\n"), end::told);
        assertTrue(end.told().contains("FATAL ERROR in native method"), end::told);
    }

    /** The child. */
    public static void main(String[] arguments) {
        NativeSession session = Bridge.initialize(ScriptedModule.PATH).GetSlotList(true)[0]
                .J_OpenSession(Ck.CKF_SERIAL_SESSION);
        System.out.println("calling");
        System.out.flush();
        session.J_GetSessionInfo();
    }

    /** A bound module, in the state in which the method can be called with success. */
    private void bind(Method method) {
        ScriptedModule.reset();
        NativeCryptoki cryptoki = Bridge.load();
        NativeCryptoki.loadCryptokiLibrary(ScriptedModule.PATH);
        if (!method.getName().equals("Initialize")) {
            cryptoki.Initialize(null);
            slot = cryptoki.GetSlotList(true)[0];
        }
        if (method.getDeclaringClass() == NativeSession.class) {
            argument = slot.J_OpenSession(Ck.CKF_SERIAL_SESSION | Ck.CKF_RW_SESSION);
            object = slot.J_OpenSession(Ck.CKF_SERIAL_SESSION | Ck.CKF_RW_SESSION);
        }
        ScriptedModule.clearJournal();
    }

    @AfterEach
    void unbind() {
        ScriptedModule.reset();
    }

    private void call(Method method, Object... arguments) throws Throwable {
        Object receiver = method.getDeclaringClass() == NativeSession.class ? object
                : method.getDeclaringClass() == NativeSlot.class ? slot : Bridge.load();
        try {
            method.invoke(receiver, arguments);
        } catch (InvocationTargetException thrown) {
            throw thrown.getCause();
        }
    }

    private static String moduleFunction(Method method) {
        return method.getName().startsWith("loadCryptokiLibrary") ? "C_GetFunctionList"
                : method.getName().startsWith("J_") ? method.getName().replace("J_", "C_") : "C_" + method.getName();
    }

    /** Arguments that make sense. Behind an array come an offset and, for input, a length. */
    private Object[] ordinaryArguments(Method method) {
        Class<?>[] types = method.getParameterTypes();
        Object[] arguments = new Object[types.length];
        for (int i = 0; i < types.length; i++) {
            if (types[i] == byte[].class) {
                arguments[i] = new byte[64];
            } else if (types[i] == int.class) {
                arguments[i] = i > 0 && types[i - 1] == byte[].class ? 0
                        : i > 0 ? LENGTH
                        : method.getName().equals("J_GetMechanismInfo") ? Ck.CKM_RSA_PKCS : Ck.CKF_SERIAL_SESSION;
            } else if (types[i] == long.class) {
                arguments[i] = i == 0 && takesSession(method) ? argument.sessionHandle() : KEY;
            } else if (types[i] == boolean.class) {
                arguments[i] = true;
            } else if (types[i] == byte.class) {
                arguments[i] = Ck.CKU_USER;
            } else if (types[i] == Mechanism.class) {
                arguments[i] = MECHANISMS.entrySet().stream().filter(e -> method.getName().startsWith(e.getKey()))
                        .map(Map.Entry::getValue).findFirst().orElse(MECHANISMS.get("J_Sign"));
            } else if (types[i] == String.class) {
                arguments[i] = method.getName().startsWith("load") ? ScriptedModule.PATH
                        : method.getName().equals("J_InitToken") ? "87654321" : "1234";
            } else if (types[i] == int[].class) {
                arguments[i] = new int[] {Ck.CKA_LABEL};
            } else {
                arguments[i] = types[i].isArray() ? Array.newInstance(types[i].getComponentType(), 0) : null;
            }
        }
        return arguments;
    }

    private static Object nothing(Class<?> type) {
        return type.isPrimitive() ? Array.get(Array.newInstance(type, 1), 0) : null;
    }
}
