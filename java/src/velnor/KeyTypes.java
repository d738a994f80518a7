package velnor;

import java.util.Map;
import java.util.OptionalInt;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * What a key can be used for, as far as the mechanism's name says so. Tokens are bound to refuse any other key; some do
 * not look, take the bytes of one kind of key for those of another, and end the process (SoftHSM, NSS).
 */
final class KeyTypes {
    private static final Set<Integer> DIFFIE_HELLMAN = Set.of(CKK.DH, CKK.X9_42_DH);
    private static final Set<Integer> ELLIPTIC = Set.of(CKK.EC);
    private static final Set<Integer> SECRET = Set.of(CKK.GENERIC_SECRET, CKK.DES, CKK.DES2, CKK.DES3, CKK.AES);

    /**
     * By a word of the mechanism's name; the first word that stands here decides. Types that stand nowhere here, such
     * as a vendor's, are the token's to judge.
     */
    private static final Map<String, Set<Integer>> BY_WORD = Map.ofEntries(
            Map.entry("RSA", Set.of(CKK.RSA)),
            Map.entry("DSA", Set.of(CKK.DSA)),
            Map.entry("DH", DIFFIE_HELLMAN),
            Map.entry("ECDSA", ELLIPTIC),
            Map.entry("ECDH", ELLIPTIC),
            Map.entry("ECDH1", ELLIPTIC),
            Map.entry("AES", Set.of(CKK.AES)),
            Map.entry("DES", Set.of(CKK.DES)),
            Map.entry("DES3", Set.of(CKK.DES2, CKK.DES3)),
            Map.entry("HMAC", SECRET),
            Map.entry("DERIVATION", SECRET),
            Map.entry("CONCATENATE", SECRET),
            Map.entry("XOR", SECRET),
            Map.entry("EXTRACT", SECRET));

    /** By the mechanism of the standard. */
    private static final Map<Integer, Set<Integer>> SUITABLE = CKM.all().stream().distinct()
            .collect(Collectors.toMap(mechanism -> mechanism, KeyTypes::suitable));

    /**
     * What no key of the type is without. SoftHSM keeps the object when it has refused to create a key, and to use that
     * ends the process.
     */
    private static final Map<Integer, Integer> ESSENTIAL = Map.of(CKK.RSA, CKA.MODULUS, CKK.DSA, CKA.PRIME);

    private KeyTypes() {
    }

    /**
     * Checks a key against a mechanism. A key that does not tell its type passes.
     *
     * @throws IllegalArgumentException when the mechanism is not for keys of this type, or the key is not complete
     */
    static void check(Mechanism mechanism, TokenObject key) {
        Set<Integer> suitable = SUITABLE.getOrDefault(mechanism.mechanism(), Set.of());
        if (suitable.isEmpty()) {
            return;
        }
        OptionalInt type = key.keyType();
        Integer essential = ESSENTIAL.get(type.orElse(-1));
        if (essential != null && key.essentialLength(essential).orElse(1) == 0) {
            throw new IllegalArgumentException(key + " is not complete: it has no " + CKA.name(essential));
        }
        if (type.isPresent() && !suitable.contains(type.getAsInt()) && isKnown(type.getAsInt())) {
            throw new IllegalArgumentException(CKM.name(mechanism.mechanism()) + " is not for a key of type "
                    + CKK.name(type.getAsInt()));
        }
    }

    /**
     * How many bytes the token may be given at once. Tokens are bound to refuse more, and SoftHSM ends the process.
     */
    static int mostInput(Mechanism mechanism, TokenObject key) {
        return mechanism.mechanism() == CKM.RSA_X_509
                ? key.essentialLength(CKA.MODULUS).orElse(Integer.MAX_VALUE) : Integer.MAX_VALUE;
    }

    private static Set<Integer> suitable(int mechanism) {
        return Stream.of(CKM.name(mechanism).split("_")).filter(BY_WORD::containsKey).findFirst().map(BY_WORD::get)
                .orElse(Set.of());
    }

    private static boolean isKnown(int type) {
        return BY_WORD.values().stream().anyMatch(types -> types.contains(type));
    }
}
