package harlune.values;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.Attribute;
import velnor.Attribute.Availability;
import velnor.CKA;
import velnor.CKR;
import velnor.CryptokiException;
import velnor.Reading;

/** How attributes are read, from objects that play by the rules and from such that do not. */
class AttributeReaderTest {
    private static final byte[] RSA = {0, 0, 0, 0, 0, 0, 0, 0};
    private static final long VENDORS = 0x1_8000_0001L;

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    private final FakeObject object = new FakeObject();

    @Test
    void lengthsAndValuesTakeOneCallEach() {
        object.with(CKA.LABEL, bytes("label")).with(CKA.KEY_TYPE, RSA).with(CKA.TOKEN, new byte[] {1});
        List<Attribute> read = object.read(CKA.LABEL, CKA.KEY_TYPE, CKA.TOKEN);
        assertEquals(List.of("3:? 100:? 1:?", "3:5 100:8 1:1"), object.calls);
        assertEquals("label", read.get(0).text());
        assertEquals(0, read.get(1).value());
        assertEquals(true, read.get(2).value());
        assertEquals(List.of(Availability.PRESENT, Availability.PRESENT, Availability.PRESENT),
                List.of(read.get(0).availability(), read.get(1).availability(), read.get(2).availability()));
    }

    @Test
    void nothingAskedForIsNoCall() {
        assertEquals(List.of(), object.read());
        assertEquals(List.of(), object.calls);
    }

    @Test
    void sensitiveAbsentAndEmptyAreThreeAnswers() {
        object.with(CKA.VALUE, CKR.ATTRIBUTE_SENSITIVE).with(CKA.LABEL, new byte[0]).with(CKA.ID, bytes("id"));
        List<Attribute> read = object.read(CKA.VALUE, CKA.MODULUS, CKA.LABEL, CKA.ID);
        assertEquals(Availability.SENSITIVE, read.get(0).availability());
        assertNull(read.get(0).value());
        assertEquals(Availability.ABSENT, read.get(1).availability());
        assertNull(read.get(1).value());
        assertEquals(Availability.EMPTY, read.get(2).availability());
        assertArrayEquals(new byte[0], read.get(2).bytesValue());
        assertArrayEquals(bytes("id"), read.get(3).bytesValue());
    }

    /** The one answer says why the one attribute was refused. */
    @Test
    void oneRefusalAmongSeveralIsNotAskedForAgain() {
        object.with(CKA.VALUE, CKR.ATTRIBUTE_SENSITIVE).with(CKA.ID, bytes("id"));
        assertEquals(Availability.SENSITIVE, object.read(CKA.VALUE, CKA.ID).get(0).availability());
        assertEquals(List.of("11:? 102:?", "102:2"), object.calls);
    }

    @Test
    void numbersKeepTheirClass() {
        byte[] vendors = {1, 0, 0, (byte) 0x80, 0, 0, 0, 0};
        byte[] unknown = new byte[8];
        Arrays.fill(unknown, (byte) -1);
        byte[] wide = {0, 0, 0, 0, 1, 0, 0, 0};
        object.with(CKA.KEY_TYPE, vendors).with(CKA.KEY_GEN_MECHANISM, unknown).with(CKA.VALUE_LEN, wide)
                .with(CKA.CLASS, new byte[4]).with(CKA.PRIVATE, new byte[0]).with(VENDORS, vendors);
        List<Attribute> read = object.read(CKA.KEY_TYPE, CKA.KEY_GEN_MECHANISM, CKA.VALUE_LEN, CKA.CLASS, CKA.PRIVATE,
                VENDORS);
        assertEquals(0x80000001, read.get(0).value());
        assertEquals(0x80000001L, read.get(0).longValue());
        assertEquals(-1, read.get(1).value());
        assertEquals(-1L, read.get(1).longValue());
        assertEquals(0x1_0000_0000L, read.get(2).value());
        assertArrayEquals(new byte[4], (byte[]) read.get(3).value());
        assertEquals(Availability.EMPTY, read.get(4).availability());
        assertArrayEquals(vendors, read.get(5).bytesValue());
        assertEquals(VENDORS, read.get(5).typeCode());
    }

    @Test
    void mechanismsAndDates() {
        byte[] mechanisms = {1, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0x40, 1, 0, 0, 0};
        object.with(CKA.ALLOWED_MECHANISMS, mechanisms).with(CKA.START_DATE, bytes("20260228"))
                .with(CKA.END_DATE, bytes("00000000"));
        List<Attribute> read = object.read(CKA.ALLOWED_MECHANISMS, CKA.START_DATE, CKA.END_DATE);
        assertArrayEquals(new long[] {1, 0x1_4000_0002L}, read.get(0).mechanismsValue());
        assertEquals("2026-02-28", read.get(1).dateValue().get().toString());
        assertTrue(read.get(1).value() instanceof byte[]);
        assertTrue(read.get(2).dateValue().isEmpty());
        object.with(CKA.ALLOWED_MECHANISMS, new byte[0]);
        assertArrayEquals(new long[0], object.read(CKA.ALLOWED_MECHANISMS).get(0).mechanismsValue());
    }

    @Test
    void templatesAreReadAtTheirOwnLevels() {
        Map<Long, Object> inner = new LinkedHashMap<>();
        inner.put((long) CKA.LABEL, bytes("inner"));
        inner.put((long) CKA.VALUE, CKR.ATTRIBUTE_SENSITIVE);
        inner.put((long) CKA.ID, new byte[0]);
        Map<Long, Object> innermost = new LinkedHashMap<>();
        innermost.put((long) CKA.TOKEN, new byte[] {1});
        inner.put((long) CKA.DERIVE_TEMPLATE, innermost);
        object.with(CKA.WRAP_TEMPLATE, inner).with(CKA.UNWRAP_TEMPLATE, Map.of()).with(CKA.LABEL, bytes("outer"));
        List<Attribute> read = object.read(CKA.WRAP_TEMPLATE, CKA.LABEL, CKA.UNWRAP_TEMPLATE);
        Attribute[] template = read.get(0).templateValue();
        assertEquals(4, template.length);
        assertEquals("inner", template[0].text());
        assertEquals(Availability.SENSITIVE, template[1].availability());
        assertEquals(Availability.EMPTY, template[2].availability());
        assertTrue(template[3].templateValue()[0].booleanValue());
        assertEquals("outer", read.get(1).text());
        assertEquals(0, read.get(2).templateValue().length);
        assertEquals(Availability.EMPTY, read.get(2).availability());
    }

    @ParameterizedTest
    @ValueSource(ints = {1, 3})
    void aValueThatHasGrownIsAskedForAgain(int times) {
        FakeObject growing = new FakeObject() {
            private int left = times;

            @Override
            int fill(ByteBuffer block, int at, Map<Long, Object> from) {
                if (block.getLong(at + 8) != 0 && left-- > 0) {
                    values.put((long) CKA.LABEL, bytes(new String((byte[]) values.get((long) CKA.LABEL),
                            StandardCharsets.US_ASCII) + "+more"));
                }
                return super.fill(block, at, from);
            }
        };
        growing.with(CKA.LABEL, bytes("label")).with(CKA.ID, bytes("id"));
        List<Attribute> read = growing.read(CKA.LABEL, CKA.ID);
        assertEquals("label" + "+more".repeat(times), read.get(0).text());
        assertEquals("id", read.get(1).text());
    }

    @Test
    void aValueThatGrowsForEverEnds() {
        FakeObject growing = new FakeObject() {
            @Override
            int fill(ByteBuffer block, int at, Map<Long, Object> from) {
                values.put((long) CKA.LABEL, new byte[calls.size()]);
                return super.fill(block, at, from);
            }
        };
        CryptokiException e = assertThrows(CryptokiException.class, () -> growing.read(CKA.LABEL));
        assertTrue(e.getMessage().contains("CKA_LABEL never has the length"), e.getMessage());
        assertTrue(growing.calls.size() < 20, () -> growing.calls.size() + " calls");
    }

    @Test
    void aTokenThatRefusesListsIsAskedOneByOne() {
        FakeObject single = new FakeObject() {
            @Override
            int answer(ByteBuffer block, int at, int count, Map<Long, Object> from) {
                return count > 1 ? CKR.ARGUMENTS_BAD : super.answer(block, at, count, from);
            }
        };
        single.with(CKA.LABEL, bytes("label")).with(CKA.ID, bytes("id"));
        List<Attribute> read = single.read(CKA.LABEL, CKA.VALUE, CKA.ID);
        assertEquals("label", read.get(0).text());
        assertEquals(Availability.ABSENT, read.get(1).availability());
        assertEquals("id", read.get(2).text());
    }

    /** A module that says neither which one it refuses, nor fills in the others. */
    @Test
    void aTokenThatMarksNothingIsAskedOneByOne() {
        FakeObject careless = new FakeObject() {
            @Override
            int answer(ByteBuffer block, int at, int count, Map<Long, Object> from) {
                for (int i = 0; i < count; i++) {
                    if (from.get(block.getLong(at + 24 * i)) instanceof Integer) {
                        return CKR.ATTRIBUTE_SENSITIVE;
                    }
                }
                return super.answer(block, at, count, from);
            }
        };
        careless.with(CKA.VALUE, CKR.ATTRIBUTE_SENSITIVE).with(CKA.ID, bytes("id"));
        List<Attribute> read = careless.read(CKA.ID, CKA.VALUE);
        assertEquals("id", read.get(0).text());
        assertEquals(Availability.SENSITIVE, read.get(1).availability());
    }

    /** Some tell the length of a secret and refuse only the value. */
    @Test
    void aSecretWhoseLengthIsToldIsSensitive() {
        FakeObject object = new FakeObject() {
            @Override
            int fill(ByteBuffer block, int at, Map<Long, Object> from) {
                if (block.getLong(at) == CKA.VALUE && block.getLong(at + 8) != 0) {
                    block.putLong(at + 16, -1);
                    return CKR.ATTRIBUTE_SENSITIVE;
                }
                return super.fill(block, at, from);
            }
        };
        object.with(CKA.VALUE, bytes("secret")).with(CKA.ID, bytes("id"));
        List<Attribute> read = object.read(CKA.VALUE, CKA.ID);
        assertEquals(Availability.SENSITIVE, read.get(0).availability());
        assertEquals("id", read.get(1).text());
        assertEquals(Availability.SENSITIVE, object.read(CKA.VALUE).get(0).availability());
    }

    @Test
    void anotherFailureIsTheCallers() {
        FakeObject gone = new FakeObject() {
            @Override
            public int applyAsInt(byte[] template) {
                super.applyAsInt(template);
                return CKR.DEVICE_REMOVED;
            }
        };
        assertEquals("answer 32", assertThrows(IllegalStateException.class, () -> gone.read(CKA.ID)).getMessage());
        assertThrows(IllegalStateException.class, () -> gone.read(CKA.ID, CKA.LABEL));
    }

    // ---- lies

    @ParameterizedTest
    @ValueSource(longs = {-2, Long.MIN_VALUE, Long.MAX_VALUE, 1L << 32, (64 << 20) + 1})
    void aLengthThatIsOnlyClaimedCostsNothing(long length) {
        CryptokiException e = assertThrows(CryptokiException.class, () -> Reading.read(template -> {
            ByteBuffer.wrap(template).order(java.nio.ByteOrder.LITTLE_ENDIAN).putLong(16 + 16, length);
            return CKR.OK;
        }, FakeObject::failure, CKA.VALUE));
        assertTrue(e.getMessage().contains("CKA_VALUE has " + Long.toUnsignedString(length) + " bytes"),
                e.getMessage());
        assertTrue(e.getMessage().contains("at most " + Reading.MOST_BYTES), e.getMessage());
    }

    @Test
    void manyClaimsAreNotAddedUp() {
        FakeObject claiming = new FakeObject() {
            @Override
            int fill(ByteBuffer block, int at, Map<Long, Object> from) {
                assertTrue(block.capacity() <= Reading.MOST_BYTES + (1 << 16), () -> block.capacity() + " bytes at once");
                if (block.getLong(at + 8) == 0) {
                    block.putLong(at + 16, Reading.MOST_BYTES - 8);
                    return CKR.OK;
                }
                block.putLong(at + 16, 0);
                return CKR.OK;
            }
        };
        for (Attribute read : claiming.read(CKA.VALUE, CKA.LABEL, CKA.ID)) {
            assertEquals(Availability.EMPTY, read.availability());
        }
    }

    @ParameterizedTest
    @ValueSource(longs = {0, -1, 8, 1 << 20})
    void aPointerOfTheModulesOwnIsNotFollowed(long pointer) {
        FakeObject moving = new FakeObject() {
            @Override
            int fill(ByteBuffer block, int at, Map<Long, Object> from) {
                int answer = super.fill(block, at, from);
                if (block.getLong(at + 8) != 0) {
                    block.putLong(at + 8, pointer);
                }
                return answer;
            }
        };
        moving.with(CKA.VALUE, bytes("value"));
        CryptokiException e = assertThrows(CryptokiException.class, () -> moving.read(CKA.VALUE));
        assertTrue(e.getMessage().contains("elsewhere"), e.getMessage());
    }

    @Test
    void aLengthBeyondTheRoomIsNotBelieved() {
        FakeObject lying = new FakeObject() {
            @Override
            int fill(ByteBuffer block, int at, Map<Long, Object> from) {
                long room = block.getLong(at + 16);
                int answer = super.fill(block, at, from);
                if (block.getLong(at + 8) != 0) {
                    block.putLong(at + 16, room + 8);
                }
                return answer;
            }
        };
        lying.with(CKA.VALUE, bytes("value"));
        assertThrows(CryptokiException.class, () -> lying.read(CKA.VALUE));
    }

    @Test
    void aRefusalThatMarksNothingAndOneThatMarksWithoutRefusing() {
        assertEquals(Availability.SENSITIVE, Reading.read(template -> CKR.ATTRIBUTE_SENSITIVE, FakeObject::failure,
                CKA.VALUE).get(0).availability());
        assertEquals(Availability.ABSENT, Reading.read(template -> {
            ByteBuffer.wrap(template).putLong(16 + 16, -1);
            return CKR.OK;
        }, FakeObject::failure, CKA.VALUE).get(0).availability());
    }

    @Test
    void whatIsNoTemplateIsNotReadAsOne() {
        object.with(CKA.WRAP_TEMPLATE, new byte[25]);
        assertThrows(CryptokiException.class, () -> object.read(CKA.WRAP_TEMPLATE));
        Map<Long, Object> endless = new LinkedHashMap<>();
        endless.put((long) CKA.WRAP_TEMPLATE, endless);
        object.with(CKA.WRAP_TEMPLATE, endless);
        assertThrows(CryptokiException.class, () -> object.read(CKA.WRAP_TEMPLATE));
    }

    @Test
    void nothingOfAValueStaysInTheStructure() {
        byte[][] given = new byte[2][];
        object.with(CKA.VALUE, bytes("secret"));
        Reading.read(template -> {
            given[given[0] == null ? 0 : 1] = template;
            return object.applyAsInt(template);
        }, FakeObject::failure, CKA.VALUE);
        assertArrayEquals(new byte[given[1].length], given[1]);
    }
}
