package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.DataInputStream;
import java.io.IOException;
import java.lang.invoke.MethodType;
import java.lang.reflect.Modifier;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;
import java.util.jar.JarFile;
import java.util.stream.Collectors;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;

import velnor.Cryptoki;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/** Which native methods the classes above them call: none that can end the JVM, and all others that are of use. */
class ReachabilityTest {
    /** The tag of a method in a class file's constant pool. */
    private static final int METHOD = 10;

    /** Into the caller's array, and of no return when they fail. */
    private static final Set<String> FATAL = Set.of(
            "NativeSession.J_SignRecover([BII[BI)I",
            "NativeSession.J_VerifyRecover([BII[BI)I",
            "NativeSession.J_DigestFinal([BI)I",
            "NativeSession.J_DecryptDigestUpdate([BII[BI)I",
            "NativeSession.J_DigestEncryptUpdate([BII[BI)I",
            "NativeSession.J_SignEncryptUpdate([BII[BI)I",
            "NativeSession.J_DecryptVerifyUpdate([BII[BI)I");

    private static final String SIBLING = "its sibling makes the array, of the right size";

    /** What else has no use, and why. */
    private static final Map<String, String> UNUSED = Map.ofEntries(
            Map.entry("NativeCryptoki.loadCryptokiLibrary(Ljava/lang/String;)V", "unmaps the module before it"),
            Map.entry("NativeCryptoki.loadCryptokiLibrary3(Ljava/lang/String;ZZ)V", "one argument more, ignored"),
            Map.entry("NativeSlot.J_OpenSession(IBLjava/lang/String;)Lvelnor/nat/NativeSession;",
                    "leaves a session behind when the login fails"),
            Map.entry("NativeSession.J_GetAttributeValue(J[I)[Lvelnor/Attribute;",
                    "gives nothing when one attribute is sensitive"),
            Map.entry("NativeSession.J_FindObjects([Lvelnor/Attribute;[I)[Lvelnor/CryptokiObject;",
                    "cuts handles to 32 bits, and hides every failure to read"),
            Map.entry("NativeSession.J_Digest(JZLvelnor/Mechanism;[BII)[B", "has room for 20 bytes"),
            Map.entry("NativeSession.J_Encrypt(JZLvelnor/Mechanism;J[BII[BI)I", SIBLING),
            Map.entry("NativeSession.J_EncryptUpdate(JZLvelnor/Mechanism;J[BII[BI)I", SIBLING),
            Map.entry("NativeSession.J_EncryptFinal([BI)I", SIBLING),
            Map.entry("NativeSession.J_DecryptUpdate(JZLvelnor/Mechanism;J[BII[BI)I", SIBLING),
            Map.entry("NativeSession.J_DecryptFinal([BI)I", SIBLING),
            Map.entry("NativeSession.J_Sign(JZLvelnor/Mechanism;J[BII[BI)I", SIBLING),
            Map.entry("NativeSession.J_SignFinal([BI)I", SIBLING));

    /** The methods of velnor.nat that the class files of the jar outside of it refer to. */
    private static Set<String> referred() throws Exception {
        Path jar = Path.of(Cryptoki.class.getProtectionDomain().getCodeSource().getLocation().toURI());
        Set<String> referred = new TreeSet<>();
        int classes = 0;
        try (JarFile file = new JarFile(jar.toFile())) {
            for (String name : file.stream().map(entry -> entry.getName()).collect(Collectors.toList())) {
                if (name.endsWith(".class") && !name.startsWith("velnor/nat/")) {
                    try (DataInputStream in = new DataInputStream(file.getInputStream(file.getEntry(name)))) {
                        referred.addAll(methodsOfNat(in));
                    }
                    classes++;
                }
            }
        }
        assertTrue(classes > 50, "only " + classes + " classes are in " + jar);
        return referred;
    }

    /** Reads the constant pool; every call of a method, a method reference too, has an entry there. */
    private static Set<String> methodsOfNat(DataInputStream in) throws IOException {
        assertEquals(0xCAFEBABE, in.readInt());
        in.readInt();
        Object[] pool = new Object[in.readUnsignedShort()];
        for (int i = 1; i < pool.length; i++) {
            int tag = in.readUnsignedByte();
            switch (tag) {
            case 1 -> pool[i] = in.readUTF();
            case 7, 8, 16, 19, 20 -> pool[i] = new int[] {in.readUnsignedShort()};
            case 9, 10, 11, 12, 17, 18 -> pool[i] = new int[] {in.readUnsignedShort(), in.readUnsignedShort(), tag};
            case 3, 4 -> in.readInt();
            case 5, 6 -> {
                in.readLong();
                i++;
            }
            case 15 -> {
                in.readByte();
                in.readShort();
            }
            default -> throw new IOException("tag " + tag);
            }
        }
        Set<String> methods = new TreeSet<>();
        for (Object entry : pool) {
            if (entry instanceof int[] reference && reference.length == 3 && reference[2] == METHOD) {
                String owner = (String) pool[((int[]) pool[reference[0]])[0]];
                int[] nameAndType = (int[]) pool[reference[1]];
                if (owner.startsWith("velnor/nat/")) {
                    methods.add(owner.substring("velnor/nat/".length()) + "." + pool[nameAndType[0]]
                            + pool[nameAndType[1]]);
                }
            }
        }
        return methods;
    }

    private static Set<String> natives() {
        return Stream.of(NativeCryptoki.class, NativeSlot.class, NativeSession.class)
                .flatMap(type -> Arrays.stream(type.getDeclaredMethods()))
                .filter(method -> Modifier.isNative(method.getModifiers()))
                .map(method -> method.getDeclaringClass().getSimpleName() + "." + method.getName()
                        + MethodType.methodType(method.getReturnType(), method.getParameterTypes())
                                .toMethodDescriptorString())
                .collect(Collectors.toCollection(TreeSet::new));
    }

    @Test
    void noCallCanEndTheJvm() throws Exception {
        assertTrue(natives().containsAll(FATAL));
        Set<String> fatal = referred();
        fatal.retainAll(FATAL);
        assertEquals(Set.of(), fatal);
    }

    @Test
    void everyOtherNativeMethodIsUsedOrHasAReasonNotToBe() throws Exception {
        Set<String> natives = natives();
        assertEquals(80, natives.size());
        assertTrue(natives.containsAll(UNUSED.keySet()));
        Set<String> unused = new TreeSet<>(natives);
        unused.removeAll(referred());
        unused.removeAll(FATAL);
        assertEquals(UNUSED.keySet(), unused);
    }
}
