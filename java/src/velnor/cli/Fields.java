package velnor.cli;

import java.util.LinkedHashMap;

/**
 * What is told about one thing: texts, numbers, booleans, nulls, lists, and fields again. The names are the keys of the
 * JSON document, so they stay as they are.
 */
final class Fields extends LinkedHashMap<String, Object> {
    private static final long serialVersionUID = 1L;

    Fields with(String name, Object value) {
        put(name, value);
        return this;
    }
}
