package harlune.values;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.function.ToIntFunction;

import velnor.Attribute;
import velnor.CKR;

/** An object of a module that fills templates as the standard has it, within bytes as native code gives them back. */
class FakeObject implements ToIntFunction<byte[]> {
    private static final int HEAD = 16;
    private static final int ATTRIBUTE = 24;

    /** What the object holds: bytes, a template (in a list), or the answer by which it refuses. */
    final Map<Long, Object> values = new LinkedHashMap<>();
    /** The types and lengths of each call. */
    final List<String> calls = new ArrayList<>();

    FakeObject with(long type, Object value) {
        values.put(type, value);
        return this;
    }

    FakeObject with(Attribute... attributes) {
        for (Attribute attribute : attributes) {
            ByteBuffer block = ByteBuffer.wrap(velnor.Reading.structure(attribute).bytes())
                    .order(ByteOrder.LITTLE_ENDIAN);
            byte[] value = new byte[(int) block.getLong(HEAD + 16)];
            block.get(HEAD + (int) block.getLong(HEAD + 8), value);
            values.put(attribute.typeCode(), value);
        }
        return this;
    }

    @Override
    public int applyAsInt(byte[] template) {
        ByteBuffer all = ByteBuffer.wrap(template).order(ByteOrder.LITTLE_ENDIAN);
        ByteBuffer block = all.slice(HEAD, all.getInt(0)).order(ByteOrder.LITTLE_ENDIAN);
        int count = all.getInt(4) / ATTRIBUTE;
        StringBuilder call = new StringBuilder();
        for (int i = 0; i < count; i++) {
            call.append(i == 0 ? "" : " ").append(Long.toHexString(block.getLong(i * ATTRIBUTE))).append(':')
                    .append(block.getLong(i * ATTRIBUTE + 8) == 0 ? "?" : block.getLong(i * ATTRIBUTE + 16));
        }
        calls.add(call.toString());
        return answer(block, 0, count, values);
    }

    int answer(ByteBuffer block, int at, int count, Map<Long, Object> from) {
        int answer = CKR.OK;
        for (int i = 0; i < count; i++) {
            int one = fill(block, at + i * ATTRIBUTE, from);
            answer = one == CKR.OK ? answer : one;
        }
        return answer;
    }

    int fill(ByteBuffer block, int at, Map<Long, Object> from) {
        Object value = from.get(block.getLong(at));
        if (value == null || value instanceof Integer) {
            block.putLong(at + 16, -1);
            return value == null ? CKR.ATTRIBUTE_TYPE_INVALID : (Integer) value;
        }
        int room = (int) block.getLong(at + 8);
        long length = value instanceof Map ? ((Map<?, ?>) value).size() * ATTRIBUTE : ((byte[]) value).length;
        if (room != 0 && block.getLong(at + 16) < length) {
            block.putLong(at + 16, -1);
            return CKR.BUFFER_TOO_SMALL;
        }
        block.putLong(at + 16, length);
        if (room == 0) {
            return CKR.OK;
        }
        if (value instanceof byte[]) {
            block.put(room, (byte[]) value);
            return CKR.OK;
        }
        @SuppressWarnings("unchecked")
        Map<Long, Object> inner = (Map<Long, Object>) value;
        int place = room;
        for (long type : inner.keySet()) {
            block.putLong(place, type);
            place += ATTRIBUTE;
        }
        return answer(block, room, inner.size(), inner);
    }

    /** A failure that is not about single attributes, as the surface makes it of an answer. */
    static RuntimeException failure(int answer) {
        return new IllegalStateException("answer " + Integer.toHexString(answer));
    }

    List<Attribute> read(long... types) {
        return velnor.Reading.read(this, FakeObject::failure, types);
    }
}
