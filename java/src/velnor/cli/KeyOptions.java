package velnor.cli;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.stream.Collectors;

import picocli.CommandLine.Option;

import velnor.Attribute;
import velnor.CKA;
import velnor.Session;
import velnor.TokenObject;

/** Which key, or which objects. */
final class KeyOptions {
    @Option(names = "--label", paramLabel = "LABEL", description = "The label on the token.")
    private String label;

    @Option(names = "--id", paramLabel = "HEX", description = "The ID on the token.")
    private Hex id;

    boolean given() {
        return label != null || id != null;
    }

    /** What these options say of an object. */
    List<Attribute> template() {
        List<Attribute> template = new ArrayList<>();
        if (label != null) {
            template.add(new Attribute(CKA.LABEL, label.getBytes(StandardCharsets.UTF_8)));
        }
        if (id != null) {
            template.add(new Attribute(CKA.ID, id.bytes()));
        }
        return template;
    }

    /** The key; when the options do not say which, the only one that the operation can use. */
    TokenObject find(Session session, Operation operation, boolean loggedIn) {
        List<TokenObject> keys = new ArrayList<>();
        for (int keyClass : operation.keyClasses()) {
            List<Attribute> template = template();
            template.add(new Attribute(CKA.CLASS, keyClass));
            keys.addAll(session.find(template.toArray(new Attribute[0])));
        }
        if (keys.size() > 1) {
            keys.removeIf(operation::isForbidden);
        }
        if (keys.isEmpty()) {
            throw Failure.notFound("no key " + (given() ? "with this label or ID " : "") + "that could "
                    + operation.name().toLowerCase(Locale.ROOT) + " was found"
                    + (loggedIn ? "" : "; private objects show after a login (--login)"));
        }
        if (keys.size() > 1) {
            throw Failure.notFound(keys.size() + " keys could be meant, so say more with --label and --id: "
                    + keys.stream().map(KeyOptions::described).collect(Collectors.joining(", ")));
        }
        return keys.get(0);
    }

    private static String described(TokenObject key) {
        return '"' + key.label() + "\" with ID " + (key.id().length == 0 ? "-" : Hex.of(key.id()));
    }
}
