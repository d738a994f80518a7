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

import org.junit.jupiter.api.Test;

import velnor.Cryptoki;
import velnor.nat.Function;
import velnor.nat.NativeFunctions;

/** What the classes above them use of velnor.nat: the functions by their shapes, all of them, and nothing else. */
class ReachabilityTest {
    /** The tags of a field and of a method in a class file's constant pool. */
    private static final Set<Integer> MEMBERS = Set.of(9, 10);
    private static final Set<String> FAMILY = Set.of("NativeFunctions", "Function", "Structure");

    /** What has no use yet, and why. */
    private static final Map<String, String> UNUSED = Map.of(
            "NativeFunctions.twoBytesDirect(JIJLjava/nio/ByteBuffer;II[BII)I",
            "a verification takes its data by update, from any buffer");

    /** The members of velnor.nat that the class files of the jar outside of it refer to. */
    private static Set<String> referred() throws Exception {
        Path jar = Path.of(Cryptoki.class.getProtectionDomain().getCodeSource().getLocation().toURI());
        Set<String> referred = new TreeSet<>();
        int classes = 0;
        try (JarFile file = new JarFile(jar.toFile())) {
            for (String name : file.stream().map(entry -> entry.getName()).collect(Collectors.toList())) {
                if (name.endsWith(".class") && !name.startsWith("velnor/nat/")) {
                    try (DataInputStream in = new DataInputStream(file.getInputStream(file.getEntry(name)))) {
                        referred.addAll(membersOfNat(in));
                    }
                    classes++;
                }
            }
        }
        assertTrue(classes > 50, "only " + classes + " classes are in " + jar);
        return referred;
    }

    /** Reads the constant pool; every use of a member, a method reference too, has an entry there. */
    private static Set<String> membersOfNat(DataInputStream in) throws IOException {
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
        Set<String> members = new TreeSet<>();
        for (Object entry : pool) {
            if (entry instanceof int[] reference && reference.length == 3 && MEMBERS.contains(reference[2])) {
                String owner = (String) pool[((int[]) pool[reference[0]])[0]];
                int[] nameAndType = (int[]) pool[reference[1]];
                if (owner.startsWith("velnor/nat/")) {
                    members.add(owner.substring("velnor/nat/".length()) + "." + pool[nameAndType[0]]
                            + pool[nameAndType[1]]);
                }
            }
        }
        return members;
    }

    @Test
    void theContractsClassesAreLeftToOthers() throws Exception {
        Set<String> others = referred();
        others.removeIf(member -> FAMILY.contains(member.substring(0, member.indexOf('.'))));
        assertEquals(Set.of(), others);
    }

    @Test
    void everyNativeMethodOfTheFamilyIsUsedOrHasAReasonNotToBe() throws Exception {
        Set<String> unused = Arrays.stream(NativeFunctions.class.getDeclaredMethods())
                .filter(method -> Modifier.isNative(method.getModifiers()))
                .map(method -> "NativeFunctions." + method.getName() + MethodType
                        .methodType(method.getReturnType(), method.getParameterTypes()).toMethodDescriptorString())
                .collect(Collectors.toCollection(TreeSet::new));
        assertTrue(unused.size() > 30, () -> unused.size() + " native methods");
        unused.removeAll(referred());
        assertEquals(UNUSED.keySet(), unused);
    }

    @Test
    void everyFunctionIsUsed() throws Exception {
        Set<String> unused = Arrays.stream(Function.values())
                .map(function -> "Function." + function.name() + "Lvelnor/nat/Function;")
                .collect(Collectors.toCollection(TreeSet::new));
        unused.removeAll(referred());
        assertEquals(Set.of(), unused);
    }
}
