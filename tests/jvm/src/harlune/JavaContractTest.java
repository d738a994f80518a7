package harlune;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.DynamicTest.dynamicTest;

import harlune.support.Exports;

import java.io.IOException;
import java.lang.invoke.MethodType;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Collectors;
import java.util.stream.Stream;

import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;

import quadrel.Pkcs11SSL3KEYMATOUT;
import quadrel.Pkcs11SSL3RANDOMDATA;
import quadrel.Pkcs11Session;
import velnor.CryptokiException;
import velnor.Slot;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeObject;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;
import velnor.params.SSL3KEYMATOUT;
import velnor.params.SSL3RANDOMDATA;

/**
 * The classes as the native library looks them up: by name, field and constructor, at run time, so that a difference
 * would show as a failing call in somebody's program and nowhere before.
 */
class JavaContractTest {
    private static final Path SOURCES = Path.of(System.getProperty("harlune.sources"));

    /** The fake JVM of the native tests has the same classes: what they prove holds for the real ones. */
    @TestFactory
    Stream<DynamicTest> everythingThatTheFakeJvmHasExistsInJava() throws IOException {
        String source = Files.readString(SOURCES.resolve("tests/native/support/java_contract.cpp"));
        String table = source.substring(source.indexOf("R\"(") + 3, source.indexOf(")\""));
        List<DynamicTest> tests = new ArrayList<>();
        String className = null;
        for (String line : table.lines().filter(l -> !l.isBlank()).toList()) {
            if (!line.startsWith(" ")) {
                String[] classAndSuper = line.split(" : ");
                className = classAndSuper[0].replace('/', '.');
                String name = className;
                tests.add(dynamicTest(line, () -> {
                    Class<?> found = Class.forName(name);
                    if (classAndSuper.length > 1) {
                        assertTrue(Class.forName(classAndSuper[1].replace('/', '.')).isAssignableFrom(found));
                    }
                }));
            } else {
                String name = className;
                tests.add(dynamicTest(className + line, () -> findMember(Class.forName(name), line.trim())));
            }
        }
        // As many as there are lookups; a table that was not understood must not pass for an empty one.
        assertTrue(tests.size() > 100, "only " + tests.size() + " lines were understood");
        return tests.stream();
    }

    private static void findMember(Class<?> owner, String line) throws ReflectiveOperationException {
        boolean isStatic = line.startsWith("static ");
        String[] words = (isStatic ? line.substring("static ".length()) : line).split(" ");
        String name = words[0];
        String signature = words[1];
        if (name.equals("<init>")) {
            owner.getConstructor(parametersOf(signature));
        } else if (signature.startsWith("(")) {
            MethodType type = MethodType.fromMethodDescriptorString(signature, JavaContractTest.class.getClassLoader());
            assertEquals(type.returnType(), owner.getMethod(name, type.parameterArray()).getReturnType());
        } else {
            Field field = owner.getDeclaredField(name);
            assertEquals(signature, field.getType().descriptorString());
            assertEquals(isStatic, Modifier.isStatic(field.getModifiers()));
        }
    }

    private static Class<?>[] parametersOf(String signature) {
        return MethodType.fromMethodDescriptorString(signature, JavaContractTest.class.getClassLoader())
                .parameterArray();
    }

    @Test
    void objectsFitWhereTheLibraryPutsThem() {
        assertTrue(Slot.class.isAssignableFrom(NativeSlot.class));
        assertTrue(Pkcs11Session.class.isAssignableFrom(NativeSession.class));
        assertTrue(Pkcs11SSL3RANDOMDATA.class.isAssignableFrom(SSL3RANDOMDATA.class));
        assertTrue(Pkcs11SSL3KEYMATOUT.class.isAssignableFrom(SSL3KEYMATOUT.class));
        assertTrue(RuntimeException.class.isAssignableFrom(CryptokiException.class));
    }

    @Test
    void thereAreEightyNativeMethods() {
        assertEquals(10, natives(NativeCryptoki.class).count());
        assertEquals(8, natives(NativeSlot.class).count());
        assertEquals(62, natives(NativeSession.class).count());
    }

    @Test
    void theLibraryExportsThemUnderTheNamesThatAJvmDerives() throws IOException {
        Set<String> exported = Exports.bySource().values().stream().flatMap(List::stream)
                .collect(Collectors.toCollection(TreeSet::new));
        Set<String> derived = Stream.of(NativeCryptoki.class, NativeSlot.class, NativeSession.class)
                .flatMap(JavaContractTest::natives).map(Exports::name)
                .collect(Collectors.toCollection(TreeSet::new));
        assertEquals(String.join("\n", exported), String.join("\n", derived));
    }

    @Test
    void onlyTheLoadersAndThePathAreStatic() {
        assertEquals(
                Set.of("loadCryptokiLibrary", "loadCryptokiLibrary2", "loadCryptokiLibrary3",
                        "getLastLoadedLibraryFullPath"),
                Stream.of(NativeCryptoki.class, NativeSlot.class, NativeSession.class)
                        .flatMap(JavaContractTest::natives).filter(m -> Modifier.isStatic(m.getModifiers()))
                        .map(Method::getName).collect(Collectors.toSet()));
    }

    @Test
    void aDerivedKeyReachesTheThreadThatDerivedIt() throws InterruptedException {
        NativeSession session = new NativeSession(new NativeSlot(1), 2);
        new NativeObject(session, 0x80000001);
        Thread other = new Thread(() -> new NativeObject(session, 7));
        other.start();
        other.join();

        NativeObject derived = session.takeDerivedObject();
        assertEquals(0x80000001L, derived.handle());
        assertEquals(session, derived.session());
        assertEquals(null, session.takeDerivedObject());
    }

    private static Stream<Method> natives(Class<?> owner) {
        return Arrays.stream(owner.getDeclaredMethods()).filter(m -> Modifier.isNative(m.getModifiers()));
    }
}
