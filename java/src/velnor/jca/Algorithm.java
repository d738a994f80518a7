package velnor.jca;

import java.util.List;
import java.util.Set;
import java.util.function.Function;
import java.util.function.Predicate;

/** One service that the provider may offer: its names in Java, whether a token has it, and what implements it. */
final class Algorithm {
    private final String type;
    private final String name;
    private final List<String> aliases;
    private final Set<String> keyAlgorithms;
    private final Class<?> implementation;
    private final Predicate<Token> offered;
    private final Function<Token, Object> maker;

    /**
     * Makes a row.
     *
     * @param keyAlgorithms what Java calls the keys that it takes
     */
    Algorithm(String type, String name, List<String> aliases, Set<String> keyAlgorithms, Class<?> implementation,
            Predicate<Token> offered, Function<Token, Object> maker) {
        this.type = type;
        this.name = name;
        this.aliases = aliases;
        this.keyAlgorithms = keyAlgorithms;
        this.implementation = implementation;
        this.offered = offered;
        this.maker = maker;
    }

    String type() {
        return type;
    }

    String name() {
        return name;
    }

    List<String> aliases() {
        return aliases;
    }

    Class<?> implementation() {
        return implementation;
    }

    boolean isOfferedBy(Token token) {
        return offered.test(token);
    }

    Object make(Token token) {
        return maker.apply(token);
    }

    boolean takesKeysOf(String keyAlgorithm) {
        return keyAlgorithms.contains(keyAlgorithm);
    }
}
