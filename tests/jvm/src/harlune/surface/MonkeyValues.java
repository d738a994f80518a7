package harlune.surface;

import java.io.InputStream;
import java.io.OutputStream;
import java.lang.reflect.Array;
import java.lang.reflect.Constructor;
import java.lang.reflect.Executable;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.IdentityHashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import java.util.Random;
import java.util.Set;
import java.util.function.Consumer;
import java.util.function.Predicate;
import java.util.function.Supplier;
import java.util.stream.Stream;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKF;
import velnor.CKM;
import velnor.Mechanism;
import velnor.OpenOptions;
import velnor.Progress;
import velnor.Session;
import velnor.Threading;
import velnor.TokenObject;
import velnor.Version;
import velnor.nat.Structure;
import velnor.params.MechanismParams;
import velnor.params.PBEParams;
import velnor.params.PrfInput;

/** What a monkey passes: values of every kind, right and wrong, and what the surface itself has given it. */
final class MonkeyValues {
    private static final int KEPT = 60;
    private static final int[] NUMBERS = {0, 1, 2, 3, 7, 8, 9, 16, 24, 32, 64, 255, 2048, 2049, 70_000, -1, -2,
        Integer.MIN_VALUE, Integer.MAX_VALUE};
    private static final int[] LENGTHS = {0, 0, 1, 4, 7, 8, 8, 15, 16, 16, 16, 24, 32, 32, 63, 64, 65, 256, 2049,
        70_000};
    private static final long[] HANDLES = {0, 1, 2, -1, Long.MIN_VALUE, Long.MAX_VALUE, 0xB01, 0x100000B01L,
        0xFFFFFFFF80000007L};
    private static final List<Duration> DURATIONS = List.of(Duration.ZERO, Duration.ofNanos(-1), Duration.ofMillis(2),
            Duration.ofDays(365), Duration.ofSeconds(Long.MAX_VALUE), Duration.ofSeconds(Long.MIN_VALUE));
    private static final List<String> TEXTS = List.of("", "\0", "ab\0c", "Schlüsselbund", "\uD83D\uDD11", "\uD83D",
            "x".repeat(33), "ü".repeat(5000), "/nowhere/module.so", "/etc/hostname", "USER", "SERIALIZED", "RSA_PKCS",
            "CKA_LABEL", "87654320", "SHA-256");
    /** Sizes for which a token would work for minutes, or be given the machine's memory. */
    private static final Set<Integer> COSTLY = Set.of(CKA.MODULUS_BITS, CKA.PRIME_BITS, CKA.SUBPRIME_BITS,
            CKA.VALUE_LEN, CKA.VALUE_BITS);
    private static final int[] CHEAP = {0, 1, 8, 16, 24, 32, 64, 512, -1};

    /** What a mechanism must be for, by the beginning of a method's name. */
    private static final List<Map.Entry<String, Integer>> PURPOSES = List.of(
            Map.entry("encrypt", CKF.ENCRYPT), Map.entry("decrypt", CKF.DECRYPT), Map.entry("digest", CKF.DIGEST),
            Map.entry("signRecover", CKF.SIGN_RECOVER), Map.entry("sign", CKF.SIGN),
            Map.entry("verifyRecover", CKF.VERIFY_RECOVER), Map.entry("verif", CKF.VERIFY),
            Map.entry("isValid", CKF.VERIFY), Map.entry("wrap", CKF.WRAP), Map.entry("unwrap", CKF.UNWRAP),
            Map.entry("generateKeyPair", CKF.GENERATE_KEY_PAIR), Map.entry("generate", CKF.GENERATE),
            Map.entry("derive", CKF.DERIVE));

    private final Random random;
    private final MonkeyGround ground;
    private final Map<Class<?>, List<Object>> kept = new LinkedHashMap<>();
    private final Map<Object, Object> makers = new IdentityHashMap<>();
    /** Calls that came to a good end and gave bytes. */
    private final List<MonkeyCall> fruitful = new ArrayList<>();
    private List<Mechanism> right = List.of();
    private final Map<Mechanism, Integer> favourites = new LinkedHashMap<>();

    MonkeyValues(Random random, MonkeyGround ground) {
        this.random = random;
        this.ground = ground;
        keep(OpenOptions.DEFAULT);
    }

    /** Learns from the surface itself which parameter belongs to which mechanism. */
    void learn(Session session, List<Class<?>> parameterClasses) throws ReflectiveOperationException {
        List<Object> parameters = new ArrayList<>();
        parameters.add(null);
        parameters.add(new byte[8]);
        for (Class<?> type : parameterClasses) {
            if (MechanismParams.class.isAssignableFrom(type) && !type.isInterface()) {
                parameters.add(plausible(type));
                keep(parameters.get(parameters.size() - 1));
            }
        }
        right = new ArrayList<>();
        for (int code : CKM.all()) {
            for (Object parameter : parameters) {
                Mechanism mechanism = new Mechanism(code, parameter);
                try {
                    session.digester(mechanism);
                    right.add(mechanism);
                } catch (IllegalArgumentException wrong) {
                    // Another parameter is this mechanism's.
                }
            }
        }
        Map<Integer, Integer> offered = ground.mechanisms(session);
        right.stream().filter(mechanism -> offered.containsKey(mechanism.mechanism()))
                .forEach(mechanism -> favourites.put(mechanism, offered.get(mechanism.mechanism())));
    }

    /** An object of a class of values, made of arguments that suit. */
    private Object plausible(Class<?> type) throws ReflectiveOperationException {
        if (type.isEnum()) {
            return type.getEnumConstants()[0];
        } else if (type == Supplier.class) {
            return (Supplier<Structure>) () -> new Structure(2 * Structure.WORD);
        } else if (type.isArray()) {
            Object array = Array.newInstance(type.getComponentType(), 1);
            Array.set(array, 0, plausible(type.getComponentType()));
            return array;
        }
        Executable maker = Stream.concat(Arrays.<Executable>stream(type.getConstructors()),
                Arrays.stream(type.getMethods()).filter(method -> Modifier.isStatic(method.getModifiers())
                        && method.getReturnType() == type).sorted(Comparator.comparing(Method::toString)))
                .findFirst().orElseThrow(() -> new NoSuchMethodException("nothing makes a " + type));
        Object[] arguments = new Object[maker.getParameterCount()];
        for (int i = 0; i < arguments.length; i++) {
            Class<?> parameter = maker.getParameterTypes()[i];
            arguments[i] = parameter == byte[].class ? new byte[8] : parameter == char[].class ? new char[8]
                    : parameter == int.class ? (Object) 8 : parameter == long.class ? (Object) 8L
                    : parameter == String.class ? "SHA-256" : parameter == byte.class ? (Object) (byte) 8
                    : parameter == boolean.class ? (Object) true : parameter == Version.class ? new Version(0, 3)
                    : plausible(parameter);
        }
        return maker instanceof Method ? ((Method) maker).invoke(null, arguments)
                : ((Constructor<?>) maker).newInstance(arguments);
    }

    /** Forgets all but a few of what the surface gave, which are stale from now on. */
    void age() {
        kept.values().forEach(values -> values.subList(Math.min(values.size(), 3), values.size()).clear());
        makers.clear();
        fruitful.clear();
        ground.templates("").forEach(template -> keep(List.of(template)));
    }

    /** Learns from what came of a call. */
    void learn(MonkeyCall call) {
        if (call.thrown instanceof IllegalStateException && random.nextInt(4) != 0) {
            kept.values().forEach(values -> values.remove(call.receiver));
        }
        keep(call.thrown == null ? call.result : call.thrown);
        if (call.result != null) {
            makers.put(call.result, call.receiver);
        }
        if (call.result instanceof byte[]) {
            fruitful.add(call);
            fruitful.subList(0, Math.max(0, fruitful.size() - KEPT / 2)).clear();
        }
    }

    void keep(Object value) {
        if (value instanceof Optional<?> optional) {
            optional.ifPresent(this::keep);
        } else if (value instanceof List<?> list) {
            list.stream().limit(10).forEach(this::keep);
        } else if (value instanceof byte[] || value != null && value.getClass().getName().startsWith("velnor.")) {
            List<Object> values = kept.computeIfAbsent(value.getClass(), type -> new ArrayList<>());
            values.add(value);
            if (values.size() > KEPT) {
                values.remove(random.nextInt(KEPT / 2));
            }
        }
    }

    /** One of the things of a type that the surface gave, rather a late one; null when there is none. */
    Object kept(Class<?> type, Predicate<Object> preferred) {
        List<Object> values = new ArrayList<>();
        kept.forEach((keptType, some) -> values.addAll(type.isAssignableFrom(keptType) ? some : List.of()));
        if (random.nextInt(8) != 0 && values.stream().anyMatch(preferred)) {
            values.removeIf(preferred.negate());
        }
        if (!values.isEmpty() && AutoCloseable.class.isAssignableFrom(type) && random.nextBoolean()) {
            return values.get(values.size() - 1);
        }
        double late = Math.max(random.nextDouble(), random.nextDouble());
        return values.isEmpty() ? null : values.get((int) (values.size() * late));
    }

    /** What the method can be called on; rather what has made an operation that it wants. */
    Object receiver(PublicSurface.Entry entry) {
        return Stream.of(entry.code().getParameterTypes()).filter(AutoCloseable.class::isAssignableFrom)
                .map(type -> makers.get(kept(type, any -> true))).filter(entry.owner()::isInstance).findFirst()
                .orElseGet(() -> kept(entry.owner(), ground::isUsable));
    }

    Object[] arguments(PublicSurface.Entry entry, Object receiver, ForeignCode foreign) {
        Class<?>[] types = entry.code().getParameterTypes();
        Object[] arguments = new Object[types.length];
        for (int i = 0; i < types.length; i++) {
            arguments[i] = of(types[i], entry, receiver, foreign);
        }
        if (!fruitful.isEmpty() && random.nextInt(3) == 0) {
            continueFrom(one(fruitful), types, arguments);
        }
        spareToken(arguments);
        for (int i = 0; i + 2 < types.length; i++) {
            if (arguments[i] instanceof byte[] array && types[i + 1] == int.class && types[i + 2] == int.class
                    && random.nextInt(5) != 0) {
                int off = random.nextInt(3) == 0 ? random.nextInt(array.length + 1) : 0;
                arguments[i + 1] = off;
                arguments[i + 2] = random.nextInt(3) == 0 ? random.nextInt(array.length - off + 1)
                        : array.length - off;
            }
        }
        return arguments;
    }

    private void spareToken(Object[] arguments) {
        for (int i = 0; i < arguments.length; i++) {
            if (arguments[i] instanceof Mechanism mechanism) {
                TokenObject key = (TokenObject) Stream.of(arguments).filter(TokenObject.class::isInstance).findFirst()
                        .orElse(null);
                arguments[i] = ground.deadly().stream().anyMatch(row -> row.covers(mechanism, key)) ? null : mechanism;
            }
        }
    }

    /** Passes what an earlier call was given and what came out, so that there are valid signatures and ciphertexts. */
    private void continueFrom(MonkeyCall earlier, Class<?>[] types, Object[] arguments) {
        List<byte[]> bytes = new ArrayList<>(List.of((byte[]) earlier.result));
        for (Object argument : earlier.arguments) {
            if (argument instanceof byte[] input) {
                bytes.add(0, input);
            }
            for (int i = 0; i < types.length; i++) {
                if (argument instanceof Mechanism && types[i] == Mechanism.class
                        || argument instanceof TokenObject && types[i] == TokenObject.class) {
                    arguments[i] = argument;
                }
            }
        }
        boolean severalArrays = Stream.of(types).filter(byte[].class::equals).count() > 1;
        for (int i = 0; i < types.length; i++) {
            if (types[i] == byte[].class && !bytes.isEmpty()) {
                arguments[i] = bytes.remove(severalArrays ? 0 : bytes.size() - 1).clone();
            }
        }
    }

    private Object of(Class<?> type, PublicSurface.Entry entry, Object receiver, ForeignCode foreign) {
        Class<?> owner = entry.owner();
        if (type == int.class) {
            return owner == PBEParams.class ? CHEAP[random.nextInt(CHEAP.length - 1)] : number(owner);
        } else if (type == long.class) {
            return HANDLES[random.nextInt(HANDLES.length)];
        } else if (type == boolean.class) {
            return random.nextBoolean();
        } else if (type == byte.class) {
            return (byte) random.nextInt();
        } else if (random.nextInt(30) == 0) {
            return null;
        } else if (type == byte[].class) {
            return bytes();
        } else if (type == char[].class) {
            return new char[random.nextInt(20)];
        } else if (type == int[].class) {
            return random.ints(random.nextInt(6), 0, 1000).map(any -> number(owner)).toArray();
        } else if (type == String.class) {
            return owner.isEnum() && random.nextBoolean() ? one(List.of(owner.getEnumConstants())).toString() : text();
        } else if (type == ByteBuffer.class) {
            byte[] content = bytes();
            return random.nextBoolean() ? ByteBuffer.wrap(content)
                    : ByteBuffer.allocateDirect(content.length).put(content).flip();
        } else if (type == OpenOptions.class) {
            return random.nextBoolean() ? OpenOptions.DEFAULT : OpenOptions.DEFAULT.threading(Threading.SERIALIZED);
        } else if (type == Path.class) {
            return random.nextBoolean() ? Path.of(ground.module()) : Path.of("nowhere");
        } else if (type == Duration.class) {
            return one(DURATIONS);
        } else if (type == InputStream.class) {
            return foreign.input();
        } else if (type == OutputStream.class) {
            return foreign.output();
        } else if (type == Progress.class) {
            return foreign.progress();
        } else if (type == Mechanism.class) {
            return mechanism(entry.code().getName());
        } else if (type == Attribute[].class) {
            return template(entry.code().getName());
        } else if (type == Object.class) {
            return anything();
        } else if (type.isEnum()) {
            return one(List.of(type.getEnumConstants()));
        } else if (type == Supplier.class) {
            int length = LENGTHS[random.nextInt(LENGTHS.length)];
            return (Supplier<Structure>) () -> new Structure(length);
        } else if (type == Consumer.class) {
            return (Consumer<Structure>) Structure::size;
        } else if (type == PrfInput[].class) {
            return random.ints(random.nextInt(4), 0, 1).mapToObj(any -> kept(PrfInput.class, input -> true))
                    .filter(Objects::nonNull).toArray(PrfInput[]::new);
        }
        return kept(type, value -> ground.isUsable(value)
                && (receiver == null || makers.getOrDefault(value, receiver) == receiver));
    }

    private int number(Class<?> owner) {
        int[] numbers = NUMBERS;
        if (owner == Session.class || random.nextInt(3) == 0) {
            return numbers[random.nextInt(numbers.length)];
        }
        return one(random.nextBoolean() ? CKA.all() : CKM.all());
    }

    /** Of the same content wherever the length is the same, so that now and then a signature suits. */
    private byte[] bytes() {
        if (random.nextInt(3) == 0 && kept(byte[].class, any -> true) instanceof byte[] given) {
            return given.clone();
        }
        byte[] bytes = new byte[LENGTHS[random.nextInt(LENGTHS.length)]];
        for (int i = 0; i < bytes.length; i++) {
            bytes[i] = (byte) ('A' + i % 50);
        }
        return bytes;
    }

    private String text() {
        return switch (random.nextInt(6)) {
        case 0, 1 -> ground.pin();
        case 2 -> random.nextBoolean() ? ground.soPin() : ground.label();
        case 3 -> random.nextInt(4) == 0 ? ground.module() : ground.label();
        default -> one(TEXTS);
        };
    }

    private Mechanism mechanism(String method) {
        int choice = random.nextInt(8);
        int purpose = PURPOSES.stream().filter(entry -> method.startsWith(entry.getKey()))
                .map(Map.Entry::getValue).findFirst().orElse(-1);
        List<Mechanism> suitable = favourites.keySet().stream()
                .filter(mechanism -> (favourites.get(mechanism) & purpose) != 0).toList();
        if (choice < 6 && !suitable.isEmpty()) {
            return one(suitable);
        }
        return choice < 7 && !right.isEmpty() ? one(right) : new Mechanism(number(Mechanism.class), anything());
    }

    private Attribute[] template(String method) {
        Attribute[] template = random.nextInt(4) == 0 ? new Attribute[random.nextInt(4)]
                : one(ground.templates(method)).clone();
        for (int i = 0; i < template.length; i++) {
            if (template[i] == null || ground.takesBrokenTemplates() && random.nextInt(40) == 0) {
                template[i] = random.nextInt(25) == 0 ? null : attribute();
            }
        }
        return template;
    }

    private Attribute attribute() {
        int type = number(Attribute.class);
        Object value = switch (random.nextInt(5)) {
        case 0 -> null;
        case 1 -> random.nextBoolean();
        case 2 -> text();
        case 3 -> bytes();
        default -> COSTLY.contains(type) ? CHEAP[random.nextInt(CHEAP.length)] : number(Session.class);
        };
        return new Attribute(type, value);
    }

    private Object anything() {
        return switch (random.nextInt(8)) {
        case 0 -> null;
        case 1 -> number(Mechanism.class);
        case 2 -> random.nextBoolean();
        case 3 -> text();
        case 4 -> bytes();
        case 5 -> 5L;
        case 6 -> new Object();
        default -> kept(Object.class, any -> any instanceof MechanismParams);
        };
    }

    private <T> T one(List<T> values) {
        return values.get(random.nextInt(values.size()));
    }
}
