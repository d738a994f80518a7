package harlune.matrix;

import harlune.support.Exports;

import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.Function;
import java.util.stream.Collectors;
import java.util.stream.Stream;

import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/**
 * Every native method under a name of its own: the method's name, and where there are overloads, what tells them apart
 * as well, the result ("byte[] J_Sign") or else the parameters ("J_OpenSession(int)").
 */
final class NativeMethods {
    /** The names by subsystem and source, such as "Sessions: login". */
    private static final Map<String, List<String>> BY_SOURCE = new LinkedHashMap<>();
    private static final Map<String, Method> ALL = new LinkedHashMap<>();

    /** What a method that starts its operation itself, or asks for more than one thing, may fail as. */
    private static final Map<String, Set<String>> STEPS = Map.of(
            "J_GenerateRandom", Set.of("J_GenerateRandom", "J_SeedRandom"),
            "J_GetMechanismInfo", Set.of("J_GetMechanismInfo", "Check64BitLen"));

    static {
        Map<String, Method> exported = declared().collect(Collectors.toMap(Exports::name, Function.identity()));
        Exports.bySource().forEach((source, exports) -> {
            for (String export : exports) {
                Method method = exported.get(export);
                if (method != null) {
                    ALL.put(name(method), method);
                    BY_SOURCE.computeIfAbsent(source, key -> new ArrayList<>()).add(name(method));
                }
            }
        });
    }

    private NativeMethods() {
    }

    private static String name(Method method) {
        List<Method> overloads = declared(method.getDeclaringClass())
                .filter(each -> each.getName().equals(method.getName())).toList();
        String result = method.getReturnType().getSimpleName();
        if (overloads.size() == 1) {
            return method.getName();
        }
        boolean resultTellsApart = overloads.stream().map(Method::getReturnType).distinct().count() == overloads.size();
        return resultTellsApart ? result + " " + method.getName() : method.getName() + parameters(method);
    }

    private static String parameters(Method method) {
        return Arrays.stream(method.getParameterTypes()).map(Class::getSimpleName)
                .collect(Collectors.joining(", ", "(", ")"));
    }

    /** What the classes declare, whatever is listed here. */
    static Stream<Method> declared(Class<?> type) {
        return Arrays.stream(type.getDeclaredMethods()).filter(method -> Modifier.isNative(method.getModifiers()));
    }

    static Stream<Method> declared() {
        return Stream.of(NativeCryptoki.class, NativeSlot.class, NativeSession.class).flatMap(NativeMethods::declared);
    }

    /** The names by subsystem and source, in the order of the list of exports. */
    static Map<String, List<String>> bySource() {
        return BY_SOURCE;
    }

    /** The methods by name, in the order of the list of exports. */
    static Map<String, Method> all() {
        return ALL;
    }

    /** Under which function names the method may report a refusal. */
    static Set<String> reportNames(String method) {
        String plain = ALL.get(method).getName();
        String report = plain.startsWith("J_") ? plain : "J_" + plain;
        boolean starts = ALL.get(method).getParameterTypes().length > 1
                && ALL.get(method).getParameterTypes()[1] == boolean.class;
        Set<String> steps = STEPS.get(plain);
        if (steps != null) {
            return steps;
        }
        return starts ? Set.of(report, report.replaceAll("(Update|Key)$", "") + "Init") : Set.of(report);
    }
}
