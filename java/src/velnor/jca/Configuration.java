package velnor.jca;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Set;
import java.util.function.Predicate;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

import velnor.CKM;
import velnor.Cryptoki;
import velnor.OpenOptions;
import velnor.Threading;
import velnor.TokenInfo;
import velnor.TokenSlot;

/** What a configuration says: which module, which token, and what of it is not wanted. */
final class Configuration {
    /** What stands before a configuration that is no file's name. */
    private static final String INLINE = "--";

    private static final String SETTING =
            "\\G\\s*(\\w+)\\s*=\\s*(?:\"((?:[^\"\\\\]|\\\\.)*)\"|(\\{[^}]*\\})|([^\\n;\"{]*))"
            + "[ \\t]*(?:[\\n;]|$)";
    private static final Pattern COMMENT = Pattern.compile("(?m)^\\s*#.*$");

    /** Names that the JDK's configuration has, and ours. */
    private static final Map<String, String> OTHER_NAMES = Map.of("module", "library", "label", "token", "nssArgs",
            "reserved");
    private static final Set<String> NAMES = Set.of("name", "description", "library", "token", "serial", "slot",
            "slotListIndex", "uri", "threading", "reserved", "enabledMechanisms", "disabledMechanisms",
            "disabledAlgorithms", "digests", "showInfo");

    private final Map<String, String> settings = new LinkedHashMap<>();

    private Configuration() {
    }

    /**
     * Reads a configuration.
     *
     * @param argument a file's name, or the text itself behind {@code --}, or a {@code pkcs11:} URI
     * @throws IllegalArgumentException when it cannot be read or understood
     */
    static Configuration read(String argument) {
        if (argument.startsWith(TokenUri.SCHEME)) {
            return parse("uri = \"" + argument + '"');
        }
        if (argument.startsWith(INLINE)) {
            return parse(argument.substring(INLINE.length()).replace("\\n", "\n"));
        }
        try {
            return parse(Files.readString(Path.of(argument)));
        } catch (IOException e) {
            throw new IllegalArgumentException("The configuration " + argument + " cannot be read: " + e.getMessage(),
                    e);
        }
    }

    private static Configuration parse(String text) {
        Configuration configuration = new Configuration();
        String bare = COMMENT.matcher(text).replaceAll("").stripTrailing();
        Matcher setting = Pattern.compile(SETTING).matcher(bare);
        int end = 0;
        while (end < bare.length() && setting.find()) {
            end = setting.end();
            String quoted = setting.group(2);
            String value = quoted != null ? quoted.replaceAll("\\\\(.)", "$1")
                    : setting.group(3) != null ? setting.group(3) : setting.group(4).strip();
            configuration.put(setting.group(1), value);
        }
        if (end < bare.length()) {
            throw new IllegalArgumentException("The configuration is not understood from here on: "
                    + bare.substring(end).strip().lines().findFirst().orElse(""));
        }
        configuration.takeUri();
        return configuration;
    }

    private void put(String given, String value) {
        String name = OTHER_NAMES.getOrDefault(given, given);
        if (!NAMES.contains(name)) {
            throw new IllegalArgumentException("The configuration has no setting \"" + given + '"');
        }
        if (settings.put(name, value) != null) {
            throw new IllegalArgumentException("The configuration has \"" + given + "\" twice");
        }
    }

    /** A URI is another way to say the same. */
    private void takeUri() {
        String uri = settings.remove("uri");
        if (uri != null) {
            Map<String, String> names = Map.of("slot-id", "slot", "module-path", "library");
            TokenUri.parse(uri).forEach((name, value) -> {
                String setting = names.getOrDefault(name, name);
                if (settings.put(setting, value) != null) {
                    throw new IllegalArgumentException("The configuration and its URI both name the " + setting);
                }
            });
        }
        if (!settings.containsKey("library")) {
            throw new IllegalArgumentException("The configuration names no module: library = /usr/lib/...so");
        }
    }

    /** What the provider is called behind its own name; null when nothing is said. */
    String name() {
        return settings.get("name");
    }

    /** Whether a service is left out: digests unless they are wanted, and what the configuration names. */
    boolean leavesOut(Algorithm algorithm) {
        return algorithm.type().equals(Algorithms.DIGEST) && !Boolean.parseBoolean(settings.get("digests"))
                || list("disabledAlgorithms").stream()
                        .anyMatch((algorithm.type() + '.' + algorithm.name())::equalsIgnoreCase);
    }

    /** Whether a mechanism is left out. */
    Predicate<Integer> isDisabled() {
        Set<Integer> enabled = mechanisms("enabledMechanisms");
        Set<Integer> disabled = mechanisms("disabledMechanisms");
        return mechanism -> disabled.contains(mechanism) || settings.containsKey("enabledMechanisms")
                && !enabled.contains(mechanism);
    }

    private Set<Integer> mechanisms(String setting) {
        Set<Integer> mechanisms = new LinkedHashSet<>();
        for (String name : list(setting)) {
            mechanisms.add(mechanism(name));
        }
        return mechanisms;
    }

    private static int mechanism(String name) {
        if (name.matches("0[xX][0-9a-fA-F]{1,8}")) {
            return Integer.parseUnsignedInt(name.substring(2), 16);
        }
        try {
            return CKM.class.getField(name.replaceFirst("^CKM_", "")).getInt(null);
        } catch (ReflectiveOperationException e) {
            throw new IllegalArgumentException("There is no mechanism " + name, e);
        }
    }

    private List<String> list(String setting) {
        String value = settings.getOrDefault(setting, "");
        if (value.startsWith("{")) {
            value = value.substring(1, value.length() - 1);
        }
        return value.isBlank() ? Collections.emptyList() : Arrays.asList(value.strip().split("[\\s,]+"));
    }

    // ---- the token

    /**
     * Finds the token; its module is opened unless that has happened, and stays open.
     *
     * @throws IllegalArgumentException when there is no such token, or more than one
     */
    TokenSlot token() {
        Cryptoki cryptoki = Modules.open(settings.get("library"), options());
        if (settings.containsKey("slotListIndex")) {
            List<TokenSlot> all = cryptoki.slots();
            long index = number("slotListIndex");
            if (index < 0 || index >= all.size()) {
                throw new IllegalArgumentException("There is no slot with the index " + index + ", but " + all.size()
                        + " slots");
            }
            return all.get((int) index);
        }
        List<TokenSlot> present = cryptoki.slotsWithToken();
        List<TokenSlot> found = present.stream().filter(this::isWanted).collect(Collectors.toList());
        if (found.size() != 1) {
            throw new IllegalArgumentException((found.isEmpty() ? "No token is " : "More than one token is ")
                    + "what the configuration names; there are " + present.stream()
                            .map(slot -> '"' + slot.tokenInfo().label() + "\" in slot "
                                    + Long.toUnsignedString(slot.id()))
                            .collect(Collectors.joining(", ")));
        }
        return found.get(0);
    }

    private boolean isWanted(TokenSlot slot) {
        TokenInfo token = slot.tokenInfo();
        return is("token", token.label()) && is("serial", token.serialNumber())
                && is("manufacturer", token.manufacturerID()) && is("model", token.model())
                && (!settings.containsKey("slot-description")
                        || is("slot-description", slot.slotInfo().slotDescription()))
                && (!settings.containsKey("slot") || number("slot") == slot.id());
    }

    private boolean is(String setting, String told) {
        String wanted = settings.get(setting);
        return wanted == null || wanted.equals(told);
    }

    private long number(String setting) {
        String value = settings.get(setting);
        try {
            return value.startsWith("0x") || value.startsWith("0X") ? Long.parseUnsignedLong(value.substring(2), 16)
                    : Long.parseUnsignedLong(value);
        } catch (NumberFormatException e) {
            throw new IllegalArgumentException(setting + " is a number, not " + value, e);
        }
    }

    private OpenOptions options() {
        OpenOptions options = OpenOptions.DEFAULT;
        if (settings.containsKey("threading")) {
            try {
                options = options.threading(Threading.valueOf(settings.get("threading").toUpperCase(Locale.ROOT)));
            } catch (IllegalArgumentException e) {
                throw new IllegalArgumentException("threading is automatic, serialized or concurrent, not "
                        + settings.get("threading"), e);
            }
        }
        return settings.containsKey("reserved") ? options.reserved(settings.get("reserved")) : options;
    }
}
