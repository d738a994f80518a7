package velnor.jca;

import java.nio.charset.StandardCharsets;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.Set;

/** A {@code pkcs11:} URI (RFC 7512) that names a token and perhaps its module. */
final class TokenUri {
    static final String SCHEME = "pkcs11:";

    private static final Set<String> KNOWN = Set.of("token", "serial", "manufacturer", "model", "slot-id",
            "slot-description", "module-path");
    /** What names an object, or is for others: it says nothing about the token. */
    private static final Set<String> OF_OBJECTS = Set.of("object", "id", "type", "library-manufacturer",
            "library-description", "library-version", "slot-manufacturer", "module-name");

    private TokenUri() {
    }

    /**
     * Reads a URI.
     *
     * @return its attributes that matter here, by their names
     * @throws IllegalArgumentException when it is none, or says what is not understood
     */
    static Map<String, String> parse(String uri) {
        if (!uri.startsWith(SCHEME)) {
            throw new IllegalArgumentException("A URI of a token begins with " + SCHEME);
        }
        String rest = uri.substring(SCHEME.length());
        int question = rest.indexOf('?');
        Map<String, String> attributes = new LinkedHashMap<>();
        add(attributes, question < 0 ? rest : rest.substring(0, question), ";");
        add(attributes, question < 0 ? "" : rest.substring(question + 1), "&");
        return attributes;
    }

    private static void add(Map<String, String> attributes, String part, String separator) {
        for (String attribute : part.split(separator)) {
            if (attribute.isEmpty()) {
                continue;
            }
            int equals = attribute.indexOf('=');
            String name = equals < 0 ? attribute : attribute.substring(0, equals);
            if (equals < 0 || !KNOWN.contains(name) && !OF_OBJECTS.contains(name)) {
                throw new IllegalArgumentException(name.startsWith("pin-")
                        ? "A PIN does not belong into a configuration; log in with it"
                        : "The URI has \"" + name + "\", which is not understood");
            }
            if (KNOWN.contains(name) && attributes.put(name, decoded(attribute.substring(equals + 1))) != null) {
                throw new IllegalArgumentException("The URI has \"" + name + "\" twice");
            }
        }
    }

    private static String decoded(String text) {
        Collected bytes = new Collected();
        byte[] given = text.getBytes(StandardCharsets.UTF_8);
        for (int i = 0; i < given.length; i++) {
            if (given[i] != '%') {
                bytes.write(given[i]);
                continue;
            }
            int high = i + 2 < given.length ? Character.digit(given[i + 1], 16) : -1;
            int low = i + 2 < given.length ? Character.digit(given[i + 2], 16) : -1;
            if (high < 0 || low < 0) {
                throw new IllegalArgumentException("A % in a URI is followed by two hexadecimal digits");
            }
            bytes.write(16 * high + low);
            i += 2;
        }
        return new String(bytes.toByteArray(), StandardCharsets.UTF_8);
    }
}
