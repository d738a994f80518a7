package velnor;

import java.util.ArrayList;
import java.util.Collections;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.OptionalInt;

/** The names of one family of PKCS#11 constants, such as {@code CKR_}, to be looked up in both directions. */
final class Codes {
    private static final String VENDOR_DEFINED = "VENDOR_DEFINED";

    private final String family;
    private final Map<Integer, String> names = new LinkedHashMap<>();
    private final Map<String, Integer> codes = new HashMap<>();

    Codes(String family) {
        this.family = family;
    }

    /** Of several names for one code the first is the one that {@link #name} gives. */
    Codes add(String name, int code) {
        names.putIfAbsent(code, name);
        codes.put(name, code);
        return this;
    }

    String name(int code) {
        String name = names.get(code);
        if (name != null) {
            return family + "_" + name;
        }
        Integer vendors = codes.get(VENDOR_DEFINED);
        if (vendors != null && Integer.compareUnsigned(code, vendors) > 0) {
            return family + "_" + VENDOR_DEFINED + "+" + Texts.hex(code - vendors);
        }
        return family + " " + Texts.hex(code);
    }

    OptionalInt forName(String name) {
        String wanted = name.toUpperCase(Locale.ROOT);
        String prefix = family + "_";
        Integer code = codes.get(wanted.startsWith(prefix) ? wanted.substring(prefix.length()) : wanted);
        return code == null ? OptionalInt.empty() : OptionalInt.of(code);
    }

    List<Integer> all() {
        return Collections.unmodifiableList(new ArrayList<>(names.keySet()));
    }
}
