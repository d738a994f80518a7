package harlune.support;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;

/** The native methods in the library's list of exports, which groups them by subsystem and source. */
public final class Exports {
    /** The checkout that is tested. */
    public static final Path SOURCES = Path.of(System.getProperty("harlune.sources"));

    private static final String SUBSYSTEM = "# --- ";

    private Exports() {
    }

    /** The exported names of native methods by the heading above them, such as "Sessions: operation state". */
    public static Map<String, List<String>> bySource() {
        Map<String, List<String>> names = new LinkedHashMap<>();
        String subsystem = "";
        String source = "";
        for (String line : lines()) {
            if (line.startsWith(SUBSYSTEM)) {
                subsystem = line.substring(SUBSYSTEM.length());
            } else if (line.matches("# \\w+\\.cpp")) {
                source = line.substring("# ".length(), line.lastIndexOf('.')).replace('_', ' ');
            } else if (line.startsWith("Java_")) {
                String heading = source.equalsIgnoreCase(subsystem) ? subsystem : subsystem + ": " + source;
                names.computeIfAbsent(heading, key -> new ArrayList<>()).add(line);
            }
        }
        return names;
    }

    private static List<String> lines() {
        try {
            return Files.readAllLines(SOURCES.resolve("src/Harlune/exports.txt"));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /** The name that a JVM looks for: the method's, and behind it the parameters of one that is overloaded. */
    public static String name(Method method) {
        String name = "Java_" + mangle(method.getDeclaringClass().getName().replace('.', '/')) + "_"
                + mangle(method.getName());
        boolean overloaded = Arrays.stream(method.getDeclaringClass().getDeclaredMethods())
                .filter(each -> Modifier.isNative(each.getModifiers()) && each.getName().equals(method.getName()))
                .count() > 1;
        String parameters = Arrays.stream(method.getParameterTypes()).map(Class::descriptorString)
                .collect(Collectors.joining());
        return overloaded ? name + "__" + mangle(parameters) : name;
    }

    private static String mangle(String text) {
        return text.replace("_", "_1").replace(";", "_2").replace("[", "_3").replace("/", "_");
    }
}
