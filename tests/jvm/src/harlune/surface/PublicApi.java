package harlune.surface;

import java.io.IOException;
import java.lang.reflect.Constructor;
import java.lang.reflect.Executable;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.lang.reflect.Type;
import java.net.URISyntaxException;
import java.nio.file.FileSystem;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Comparator;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/** What programs can name of the jar, a line each, but for the values of constants, the command line, and tables. */
final class PublicApi {
    private static final Set<String> PACKAGES = Set.of("velnor", "velnor.nat", "velnor.params", "quadrel");

    private PublicApi() {
    }

    /** Prints the lines of the classes that are first on the class path. */
    public static void main(String[] arguments) throws Exception {
        lines().forEach(System.out::println);
    }

    static Set<String> lines() throws IOException, URISyntaxException, ClassNotFoundException {
        Path place = Path.of(velnor.Cryptoki.class.getProtectionDomain().getCodeSource().getLocation().toURI());
        Set<String> lines = new TreeSet<>();
        if (Files.isDirectory(place)) {
            addAll(lines, place);
        } else {
            try (FileSystem jar = FileSystems.newFileSystem(place)) {
                addAll(lines, jar.getPath("/"));
            }
        }
        return lines;
    }

    private static void addAll(Set<String> lines, Path root) throws IOException, ClassNotFoundException {
        try (Stream<Path> files = Files.walk(root)) {
            for (Path file : files.sorted(Comparator.comparing(Path::toString)).toList()) {
                String name = root.relativize(file).toString().replace('/', '.');
                int end = name.lastIndexOf('.', name.length() - ".class".length() - 1);
                if (name.endsWith(".class") && !name.endsWith("-info.class")
                        && PACKAGES.contains(name.substring(0, Math.max(end, 0)))) {
                    add(lines, Class.forName(name.substring(0, name.length() - ".class".length()), false,
                            PublicApi.class.getClassLoader()));
                }
            }
        }
    }

    private static void add(Set<String> lines, Class<?> type) {
        if (!isVisible(type)) {
            return;
        }
        String name = type.getTypeName();
        lines.add("type " + name + (type.isInterface() ? " is an interface" : type.isEnum() ? " is an enum" : ""));
        for (Class<?> above = type.getSuperclass(); above != null; above = above.getSuperclass()) {
            if (Modifier.isPublic(above.getModifiers()) && above != Object.class) {
                lines.add("type " + name + " is a " + above.getTypeName());
            }
            Arrays.stream(above.getInterfaces()).forEach(its -> lines.add("type " + name + " is a " + its.getName()));
        }
        Arrays.stream(type.getInterfaces()).forEach(its -> lines.add("type " + name + " is a " + its.getTypeName()));
        for (Constructor<?> constructor : type.getDeclaredConstructors()) {
            if (isForPrograms(constructor.getModifiers(), type) && !constructor.isSynthetic()) {
                lines.add("new " + name + ends(constructor));
            }
        }
        for (Class<?> from = type; from != null && from != Object.class; from = from.getSuperclass()) {
            if (!from.getName().startsWith("java.")) {
                addMembers(lines, type, from);
            }
        }
    }

    /** Those that a class of the jar has inherited count as its own: programs do not see where they come from. */
    private static void addMembers(Set<String> lines, Class<?> type, Class<?> from) {
        String name = type.getTypeName();
        for (Method method : from.getDeclaredMethods()) {
            if (isForPrograms(method.getModifiers(), type) && !method.isSynthetic()) {
                lines.add((Modifier.isStatic(method.getModifiers()) ? "static " : "")
                        + method.getGenericReturnType().getTypeName() + " " + name + "." + method.getName()
                        + ends(method));
            }
        }
        for (Field field : from.getDeclaredFields()) {
            if (isForPrograms(field.getModifiers(), type) && !field.isSynthetic()) {
                lines.add((Modifier.isStatic(field.getModifiers()) ? "static " : "")
                        + field.getGenericType().getTypeName() + " " + name + "." + field.getName());
            }
        }
    }

    private static boolean isVisible(Class<?> type) {
        return isForPrograms(type.getModifiers(), type)
                && (type.getDeclaringClass() == null || isVisible(type.getDeclaringClass()));
    }

    private static boolean isForPrograms(int modifiers, Class<?> type) {
        return Modifier.isPublic(modifiers)
                || Modifier.isProtected(modifiers) && !Modifier.isFinal(type.getModifiers());
    }

    private static String ends(Executable code) {
        return Arrays.stream(code.getGenericParameterTypes()).map(Type::getTypeName)
                .collect(Collectors.joining(", ", code.isVarArgs() ? "(varargs " : "(", ")"))
                + Arrays.stream(code.getGenericExceptionTypes()).map(Type::getTypeName).sorted()
                        .map(thrown -> " throws " + thrown).collect(Collectors.joining());
    }
}
