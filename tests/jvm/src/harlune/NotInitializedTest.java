package harlune;

import static harlune.support.Refusal.assertRefused;
import static harlune.support.Refusal.assertText;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.DynamicTest.dynamicTest;

import harlune.support.Bridge;
import harlune.support.Ck;

import java.lang.reflect.Array;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.stream.Stream;

import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;

import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/** What the native methods do before a module is bound. That each can be called at all shows that the JVM finds it. */
class NotInitializedTest {
    private static final Set<String> UNGUARDED = Set.of("loadCryptokiLibrary", "loadCryptokiLibrary2",
            "loadCryptokiLibrary3", "getLastLoadedLibraryFullPath", "IsSecondAuthenticationRequired", "Initialize");

    @TestFactory
    Stream<DynamicTest> everyGuardedMethodRefusesUnderItsOwnName() {
        NativeSlot slot = new NativeSlot(0);
        List<Object> receivers = List.of(Bridge.load(), slot, new NativeSession(slot, 0));
        // A null pointer given back for a real array is what one method is known for, and what that mode aborts for.
        boolean checkingJni = Boolean.getBoolean("harlune.check-jni");
        List<DynamicTest> tests = receivers.stream().flatMap(receiver -> Arrays
                .stream(receiver.getClass().getDeclaredMethods())
                .filter(method -> Modifier.isNative(method.getModifiers()) && !UNGUARDED.contains(method.getName()))
                .filter(method -> !checkingJni || !method.getName().equals("J_VerifyUpdate"))
                .map(method -> dynamicTest(method.toString(), () -> refuses(receiver, method)))).toList();
        assertEquals(checkingJni ? 73 : 74, tests.size());
        return tests.stream();
    }

    private static void refuses(Object receiver, Method method) {
        Object[] arguments = Arrays.stream(method.getParameterTypes()).map(NotInitializedTest::nothing).toArray();
        String name = method.getName().startsWith("J_") ? method.getName() : "J_" + method.getName();
        assertRefused(name, Ck.CKR_CRYPTOKI_NOT_INITIALIZED, "CRYPTOKI NOT INITIALIZED", () -> {
            try {
                method.invoke(receiver, arguments);
            } catch (InvocationTargetException thrown) {
                throw thrown.getCause();
            }
        });
    }

    /** Zero, null or, because one method does not survive a null array here, an empty array. */
    private static Object nothing(Class<?> type) {
        if (type.isArray()) {
            return Array.newInstance(type.getComponentType(), 0);
        }
        return type.isPrimitive() ? Array.get(Array.newInstance(type, 1), 0) : null;
    }

    @Test
    void theUnguardedOnesAnswer() {
        NativeCryptoki cryptoki = Bridge.load();
        assertEquals("", NativeCryptoki.getLastLoadedLibraryFullPath());
        assertTrue(cryptoki.IsSecondAuthenticationRequired());
        assertText("loadCryptokiLibrary", "No cryptoki library specified",
                () -> NativeCryptoki.loadCryptokiLibrary(null));
        assertText("loadCryptokiLibrary", "No cryptoki library specified",
                () -> NativeCryptoki.loadCryptokiLibrary2(null, true));
        assertText("loadCryptokiLibrary", "No cryptoki library specified",
                () -> NativeCryptoki.loadCryptokiLibrary3(null, false, false));
        assertText("loadCryptokiLibrary",
                "error loading pkcs#11 library: /nowhere/module.so: cannot open shared object file: "
                        + "No such file or directory",
                () -> NativeCryptoki.loadCryptokiLibrary("/nowhere/module.so"));
    }
}
