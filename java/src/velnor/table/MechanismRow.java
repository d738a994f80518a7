package velnor.table;

import java.util.Arrays;
import java.util.Collections;
import java.util.EnumSet;
import java.util.LinkedHashSet;
import java.util.OptionalInt;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Collectors;

import velnor.CKM;
import velnor.params.MechanismParams;

/** What is known of one mechanism. {@link MechanismTable} makes the rows, and nobody changes them afterwards. */
public final class MechanismRow {
    /** What a mechanism is for. */
    public enum Use {
        /** Signing, and verifying. */
        SIGN,
        /** Signing so that the data can be had from the signature. */
        RECOVER,
        /** Encrypting, and decrypting. */
        ENCRYPT,
        /** Digesting. */
        DIGEST,
        /** Wrapping keys, and unwrapping. */
        WRAP,
        /** Deriving keys. */
        DERIVE,
        /** Generating keys, or domain parameters. */
        GENERATE,
        /** Generating key pairs. */
        GENERATE_PAIR,
        /** Encapsulating keys, and decapsulating. */
        ENCAPSULATE
    }

    private final int mechanism;
    private final Set<Class<?>> classes = new LinkedHashSet<>();
    private final Set<Integer> lengths = new TreeSet<>();
    private final Set<Integer> keyTypes = new LinkedHashSet<>();
    private final Set<Use> uses = EnumSet.noneOf(Use.class);
    private boolean optional;
    private boolean anyKey;
    private String advice = "";
    private Integer base;
    private String digest;

    MechanismRow(int mechanism) {
        this.mechanism = mechanism;
    }

    MechanismRow optional() {
        optional = true;
        return this;
    }

    MechanismRow takes(Class<? extends MechanismParams> parameter) {
        classes.add(parameter);
        return this;
    }

    MechanismRow takesBytes() {
        classes.add(byte[].class);
        return this;
    }

    MechanismRow takesBytes(int length) {
        lengths.add(length);
        return takesBytes();
    }

    MechanismRow takesAnything() {
        return takes(MechanismParams.class).takesBytes();
    }

    MechanismRow anyKey() {
        anyKey = true;
        return this;
    }

    MechanismRow keys(int... types) {
        Arrays.stream(types).forEach(keyTypes::add);
        return this;
    }

    MechanismRow uses(Use... all) {
        uses.addAll(Arrays.asList(all));
        return this;
    }

    MechanismRow advice(String text) {
        advice = text;
        return this;
    }

    MechanismRow computes(int mechanismOfDigest, String name) {
        base = mechanismOfDigest;
        digest = name;
        return this;
    }

    /**
     * Tells which mechanism this is.
     *
     * @return the mechanism type
     */
    public int mechanism() {
        return mechanism;
    }

    /**
     * Tells what the parameter can be.
     *
     * @return {@code byte[]} and classes of {@link velnor.params}; empty when there must be none
     */
    public Set<Class<?>> parameterClasses() {
        return Collections.unmodifiableSet(classes);
    }

    /**
     * Tells how long a parameter can be that is an array.
     *
     * @return the lengths; empty for any
     */
    public Set<Integer> parameterLengths() {
        return Collections.unmodifiableSet(lengths);
    }

    /**
     * Tells whether the mechanism cannot do without a parameter.
     *
     * @return whether there must be one
     */
    public boolean needsParameter() {
        return !classes.isEmpty() && !optional;
    }

    /**
     * Tells which keys the mechanism works with, or makes.
     *
     * @return the key types; empty when it takes no key, or every one
     */
    public Set<Integer> keyTypes() {
        return Collections.unmodifiableSet(keyTypes);
    }

    /**
     * Tells whether the mechanism works with a key.
     *
     * @param keyType the type of the key
     * @return whether it is among those that the mechanism takes
     */
    public boolean takesKey(int keyType) {
        return anyKey || keyTypes.contains(keyType);
    }

    /**
     * Tells what the mechanism is for.
     *
     * @return the uses
     */
    public Set<Use> uses() {
        return Collections.unmodifiableSet(uses);
    }

    /**
     * Tells the mechanism that gives the same when the digest has been computed before.
     *
     * @return the mechanism, empty when there is none
     */
    public OptionalInt base() {
        return base == null ? OptionalInt.empty() : OptionalInt.of(base);
    }

    /**
     * Tells the digest that has to be computed before.
     *
     * @return the name that Java has for it; null when there is no such mechanism
     */
    public String digest() {
        return digest;
    }

    /**
     * Looks whether a parameter is one that the mechanism takes.
     *
     * @param parameter the parameter, null for none
     * @throws IllegalArgumentException when it is not
     */
    public void check(Object parameter) {
        if (parameter == null) {
            if (needsParameter()) {
                throw refused(" takes a parameter of " + classNames() + ", not null");
            }
            return;
        }
        if (classes.isEmpty()) {
            throw refused(" takes no parameter");
        }
        if (classes.stream().noneMatch(type -> type.isInstance(parameter))) {
            throw refused(" takes a parameter of " + classNames() + ", not " + parameter.getClass().getTypeName());
        }
        if (parameter instanceof byte[] && !lengths.isEmpty() && !lengths.contains(((byte[]) parameter).length)) {
            throw refused(" takes " + lengths.stream().map(String::valueOf).collect(Collectors.joining(" or "))
                    + " bytes, not " + ((byte[]) parameter).length);
        }
    }

    private String classNames() {
        return classes.stream().map(Class::getTypeName).collect(Collectors.joining(" or "));
    }

    private IllegalArgumentException refused(String why) {
        return new IllegalArgumentException(CKM.name(mechanism) + why + (advice.isEmpty() ? "" : ": " + advice));
    }
}
