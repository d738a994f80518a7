package harlune.values;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.time.LocalDate;
import java.util.List;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.Attribute.Availability;
import velnor.CKA;
import velnor.CKM;
import velnor.Mechanism;
import velnor.Reading;
import velnor.nat.Structure;
import velnor.params.GCMParams;

/** What attributes and mechanisms hold, and what a token is given for it. */
class AttributeTest {
    private static byte[] given(Attribute attribute) {
        Structure structure = Reading.structure(attribute);
        assertEquals(attribute.typeCode(), structure.getLong(0));
        int length = (int) structure.getLong(16);
        return structure.getPointed(8, length);
    }

    /** The value that the natives of old look up by its name. */
    private static Object legacy(Attribute attribute) throws ReflectiveOperationException {
        java.lang.reflect.Field field = Attribute.class.getDeclaredField("value");
        field.setAccessible(true);
        return field.get(attribute);
    }

    @Test
    void everyClassHasItsBytes() throws ReflectiveOperationException {
        byte[] five = {5, 0, 0, 0, 0, 0, 0, 0};
        byte[] vendors = {1, 0, 0, (byte) 0x80, 0, 0, 0, 0};
        byte[] wide = {1, 0, 0, 0, 2, 0, 0, 0};
        assertArrayEquals(five, given(new Attribute(CKA.CLASS, 5)));
        assertArrayEquals(five, given(new Attribute(CKA.CLASS, 5L)));
        assertArrayEquals(vendors, given(new Attribute(CKA.CLASS, 0x80000001)));
        assertArrayEquals(wide, given(new Attribute(CKA.CLASS, 0x2_0000_0001L)));
        assertEquals(5, legacy(new Attribute(CKA.CLASS, 5L)));
        assertArrayEquals(wide, (byte[]) legacy(new Attribute(CKA.CLASS, 0x2_0000_0001L)));

        assertArrayEquals(new byte[] {1}, given(new Attribute(CKA.TOKEN, true)));
        assertArrayEquals(new byte[] {0}, given(new Attribute(CKA.TOKEN, false)));

        String text = "\u20AC\uD83D\uDD11";
        assertArrayEquals(text.getBytes(StandardCharsets.UTF_8), given(new Attribute(CKA.LABEL, text)));
        assertEquals(text, legacy(new Attribute(CKA.LABEL, text)));

        assertArrayEquals(new byte[] {(byte) 0x80, 0}, given(new Attribute(CKA.MODULUS, BigInteger.valueOf(0x8000))));
        assertArrayEquals(new byte[] {(byte) 0x80, 0},
                (byte[]) legacy(new Attribute(CKA.MODULUS, BigInteger.valueOf(0x8000))));

        Attribute date = new Attribute(CKA.START_DATE, LocalDate.of(2026, 2, 3));
        assertArrayEquals("20260203".getBytes(StandardCharsets.US_ASCII), given(date));
        assertArrayEquals("20260203".getBytes(StandardCharsets.US_ASCII), (byte[]) legacy(date));

        byte[] both = {1, 0, 0, (byte) 0x80, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0};
        assertArrayEquals(both, given(new Attribute(CKA.ALLOWED_MECHANISMS, new int[] {0x80000001, 5})));
        assertArrayEquals(both, given(new Attribute(CKA.ALLOWED_MECHANISMS, new long[] {0x80000001L, 5})));

        for (Object empty : new Object[] {null, new byte[0], ""}) {
            assertNull(given(new Attribute(CKA.LABEL, empty)));
            assertEquals(0, Reading.structure(new Attribute(CKA.LABEL, empty)).getLong(16));
        }
    }

    @Test
    void templatesLieWithinTemplates() throws ReflectiveOperationException {
        Attribute inner = new Attribute(CKA.UNWRAP_TEMPLATE, new Attribute[] {new Attribute(CKA.LABEL, "deep")});
        Attribute outer = new Attribute(CKA.WRAP_TEMPLATE, new Attribute[] {new Attribute(CKA.TOKEN, true), inner});
        Structure structure = Reading.structure(new Attribute(CKA.ID, "id"), outer);
        assertEquals(48, structure.getLong(24 + 16));
        int first = (int) structure.getLong(24 + 8);
        assertEquals(CKA.TOKEN, structure.getLong(first));
        assertArrayEquals(new byte[] {1}, structure.getPointed(first + 8, 1));
        assertEquals(CKA.UNWRAP_TEMPLATE, structure.getLong(first + 24));
        int second = (int) structure.getLong(first + 24 + 8);
        assertArrayEquals("deep".getBytes(StandardCharsets.US_ASCII), structure.getPointed(second + 8, 4));
        assertNull(legacy(outer), "natives of old would take it for an array");
        assertNull(given(new Attribute(CKA.WRAP_TEMPLATE, new Attribute[0])));

        Attribute deep = new Attribute(CKA.LABEL, "x");
        for (int i = 0; i < 10; i++) {
            deep = new Attribute(CKA.WRAP_TEMPLATE, new Attribute[] {deep});
        }
        Attribute tooDeep = deep;
        assertThrows(IllegalArgumentException.class, () -> Reading.structure(tooDeep));
    }

    @Test
    void aValueOfAnotherKindIsRefused() {
        for (Attribute wrong : List.of(new Attribute(CKA.TOKEN, 1), new Attribute(CKA.CLASS, true),
                new Attribute(CKA.CLASS, null), new Attribute(CKA.SERIAL_NUMBER, BigInteger.ONE),
                new Attribute(CKA.LABEL, 1L), new Attribute(CKA.LABEL, LocalDate.EPOCH),
                new Attribute(CKA.ALLOWED_MECHANISMS, new byte[7]), new Attribute(CKA.ID, new long[1]),
                new Attribute(CKA.WRAP_TEMPLATE, new byte[24]), new Attribute(CKA.ID, new Attribute[0]),
                new Attribute(CKA.WRAP_TEMPLATE, new Attribute[] {new Attribute(CKA.TOKEN, 1)}))) {
            assertThrows(IllegalArgumentException.class, () -> Reading.structure(wrong), wrong::toString);
        }
        assertThrows(IllegalArgumentException.class, () -> new Attribute(CKA.MODULUS, BigInteger.ONE.negate()));
        assertThrows(IllegalArgumentException.class, () -> new Attribute(CKA.CLASS, 1.0));
        assertThrows(NullPointerException.class, () -> new Attribute(CKA.WRAP_TEMPLATE, new Attribute[1]));
        Attribute sensitive = new FakeObject().with(CKA.VALUE, velnor.CKR.ATTRIBUTE_SENSITIVE).read(CKA.VALUE).get(0);
        assertThrows(IllegalArgumentException.class, () -> Reading.structure(sensitive));
    }

    @Test
    void everyTypeOfTheHeaderHasAKind() {
        for (int type : CKA.all()) {
            assertEquals(type != CKA.VENDOR_DEFINED, Reading.isKnown(type), CKA.name(type));
        }
        assertFalse(Reading.isKnown(0x7777));
    }

    @Test
    void accessorsUnderstandWhatIsThere() {
        assertEquals(5, new Attribute(0, 5).value());
        assertEquals(5, new Attribute(0, 5L).value());
        assertEquals(5L, new Attribute(0, 5).longValue());
        assertEquals(-1, new Attribute(0, -1L).value());
        assertEquals(0xFFFFFFFFL, new Attribute(0, -1).longValue());
        assertEquals(0x1_0000_0000L, new Attribute(0, 0x1_0000_0000L).value());
        assertEquals("text", new Attribute(3, "text".getBytes(StandardCharsets.UTF_8)).text());
        assertEquals(BigInteger.valueOf(0xFF), new Attribute(3, new byte[] {-1}).bigIntegerValue());
        assertArrayEquals(new byte[] {1, 0}, new Attribute(3, BigInteger.valueOf(256)).bytesValue());
        assertThrows(ClassCastException.class, () -> new Attribute(3, "text").bytesValue());
        assertThrows(ClassCastException.class, () -> new Attribute(3, 5).booleanValue());
        assertThrows(NullPointerException.class, () -> new Attribute(3, null).text());
        assertEquals(Availability.EMPTY, new Attribute(3, null).availability());
        assertEquals(Availability.PRESENT, new Attribute(3, "x").availability());
    }

    @Test
    void arraysAreCopied() {
        long[] mechanisms = {1};
        Attribute[] template = {new Attribute(CKA.TOKEN, true)};
        Attribute one = new Attribute(CKA.ALLOWED_MECHANISMS, mechanisms);
        Attribute other = new Attribute(CKA.WRAP_TEMPLATE, template);
        mechanisms[0] = 2;
        template[0] = null;
        one.mechanismsValue()[0] = 3;
        other.templateValue()[0] = null;
        assertArrayEquals(new long[] {1}, (long[]) one.value());
        assertTrue(((Attribute[]) other.value())[0].booleanValue());
    }

    @Test
    void equalsGoesByTypeAndValue() {
        assertEquals(new Attribute(CKA.ALLOWED_MECHANISMS, new long[] {1}),
                new Attribute(CKA.ALLOWED_MECHANISMS, new int[] {1}));
        assertEquals(new Attribute(CKA.ALLOWED_MECHANISMS, new long[] {1}).hashCode(),
                new Attribute(CKA.ALLOWED_MECHANISMS, new int[] {1}).hashCode());
        assertEquals(new Attribute(0x80000001, 1), new Attribute(0x80000001L, 1L));
        assertNotEquals(new Attribute(1, true), new Attribute(0x1_0000_0001L, true));
        assertEquals(1, new Attribute(0x1_0000_0001L, true).type());
    }

    @Test
    void noValueIsShownThatMayBeAKey() {
        assertFalse(new Attribute(CKA.PRIME_1, BigInteger.valueOf(77)).toString().contains("77"));
        assertEquals("Attribute[CKA_ALLOWED_MECHANISMS, 2 mechanisms]",
                new Attribute(CKA.ALLOWED_MECHANISMS, new long[2]).toString());
        assertFalse(new Attribute(CKA.WRAP_TEMPLATE, new Attribute[] {new Attribute(CKA.VALUE, "77")}).toString()
                .contains("77"));
    }

    @Test
    void mechanismsBeyondAnInt() {
        assertEquals(0x80000001L, new Mechanism(0x80000001).type());
        assertEquals(0x80000001, new Mechanism(0x80000001L).mechanism());
        assertEquals(0x1_0000_0001L, new Mechanism(0x1_0000_0001L, new byte[1]).type());
        assertEquals("Mechanism[CKM 0x100000001]", new Mechanism(0x1_0000_0001L).toString());
        assertEquals("Mechanism[CKM_AES_GCM, GCMParams]",
                new Mechanism(CKM.AES_GCM, new GCMParams(new byte[12])).toString());
        assertNull(Reading.structure(new Mechanism(CKM.AES_ECB)));
        assertArrayEquals(new byte[] {7}, Reading.structure(new Mechanism(1L, new byte[] {7})).getBytes(0, 1));
        assertThrows(IllegalArgumentException.class, () -> Reading.structure(new Mechanism(1, "parameter")));
    }
}
