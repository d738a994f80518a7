package velnor.cli;

import java.util.List;
import java.util.Map;

import com.google.gson.GsonBuilder;
import com.google.gson.JsonArray;
import com.google.gson.JsonElement;
import com.google.gson.JsonNull;
import com.google.gson.JsonObject;
import com.google.gson.JsonPrimitive;

/** Fields as a JSON document. */
final class Json {
    private Json() {
    }

    static String document(Fields fields) {
        return new GsonBuilder().serializeNulls().disableHtmlEscaping().setPrettyPrinting().create()
                .toJson(element(fields));
    }

    private static JsonElement element(Object value) {
        if (value instanceof Map) {
            JsonObject object = new JsonObject();
            ((Map<?, ?>) value).forEach((name, member) -> object.add((String) name, element(member)));
            return object;
        }
        if (value instanceof List) {
            JsonArray array = new JsonArray();
            ((List<?>) value).forEach(member -> array.add(element(member)));
            return array;
        }
        if (value instanceof Number) {
            return new JsonPrimitive((Number) value);
        }
        if (value instanceof Boolean) {
            return new JsonPrimitive((Boolean) value);
        }
        return value == null ? JsonNull.INSTANCE : new JsonPrimitive(value.toString());
    }
}
