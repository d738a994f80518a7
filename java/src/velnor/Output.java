package velnor;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** Output that arrives in parts and is handed out as one array. What else there was of it is wiped. */
final class Output implements AutoCloseable {
    private final List<byte[]> parts = new ArrayList<>();

    void add(byte[] part) {
        if (part.length > 0) {
            parts.add(part);
        }
    }

    byte[] all() {
        if (parts.size() == 1) {
            return parts.remove(0);
        }
        byte[] all = new byte[parts.stream().mapToInt(part -> part.length).reduce(0, Math::addExact)];
        int at = 0;
        for (byte[] part : parts) {
            System.arraycopy(part, 0, all, at, part.length);
            at += part.length;
        }
        return all;
    }

    @Override
    public void close() {
        parts.forEach(part -> Arrays.fill(part, (byte) 0));
    }
}
