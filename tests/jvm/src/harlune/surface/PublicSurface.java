package harlune.surface;

import java.lang.reflect.Constructor;
import java.lang.reflect.Executable;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.List;
import java.util.jar.JarFile;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import java.util.stream.Stream;

import velnor.Cryptoki;

/** Every public constructor and method of the packages velnor and velnor.params, as the jar has them. */
final class PublicSurface {
    private static final Pattern CLASS_FILE = Pattern.compile("velnor/(params/)?\\w+\\.class");

    /** One of them. The owner is the public class to which a method belongs, also one that it inherits. */
    record Entry(Class<?> owner, Executable code) {
        String name() {
            String arguments = Arrays.stream(code.getParameterTypes()).map(Class::getSimpleName)
                    .collect(Collectors.joining(","));
            return (isConstructor() ? "new " + owner.getSimpleName() : owner.getSimpleName() + "." + code.getName())
                    + "(" + arguments + ")";
        }

        boolean isConstructor() {
            return code instanceof Constructor;
        }

        boolean needsReceiver() {
            return !isConstructor() && !Modifier.isStatic(code.getModifiers());
        }

        Object call(Object receiver, Object[] arguments) throws Throwable {
            try {
                return isConstructor() ? ((Constructor<?>) code).newInstance(arguments)
                        : ((Method) code).invoke(receiver, arguments);
            } catch (InvocationTargetException e) {
                throw e.getCause();
            }
        }
    }

    private PublicSurface() {
    }

    /** In an order that is the same in every JVM. */
    static List<Entry> entries() throws Exception {
        Path jar = Path.of(Cryptoki.class.getProtectionDomain().getCodeSource().getLocation().toURI());
        List<Entry> entries = new ArrayList<>();
        try (JarFile file = new JarFile(jar.toFile())) {
            for (String name : file.stream().map(entry -> entry.getName()).toList()) {
                if (CLASS_FILE.matcher(name).matches() && !name.endsWith("-info.class")) {
                    Class<?> type = Class.forName(name.replace('/', '.').replaceFirst("\\.class$", ""));
                    if (Modifier.isPublic(type.getModifiers())) {
                        members(type).forEach(code -> entries.add(new Entry(type, code)));
                    }
                }
            }
        }
        entries.sort(Comparator.comparing(Entry::name));
        return entries;
    }

    private static Stream<Executable> members(Class<?> type) {
        Stream<Executable> methods = Arrays.<Executable>stream(type.getMethods())
                .filter(code -> code.getDeclaringClass().getName().startsWith("velnor.") && !isBridged(type, code))
                // A public class may inherit from one that is not.
                .peek(code -> code.setAccessible(true));
        return Modifier.isAbstract(type.getModifiers()) ? methods
                : Stream.concat(Arrays.stream(type.getConstructors()), methods);
    }

    private static boolean isBridged(Class<?> type, Executable code) {
        return ((Method) code).isBridge() && Arrays.stream(type.getMethods()).anyMatch(other -> !other.isBridge()
                && other.getName().equals(code.getName())
                && other.getParameterCount() == code.getParameterCount());
    }
}
