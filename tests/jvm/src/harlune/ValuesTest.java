package harlune;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Set;
import java.util.TreeSet;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.CryptokiObject;
import velnor.Info;
import velnor.Mechanism;
import velnor.Version;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/** The value classes, which need no native library. */
class ValuesTest {
    @Test
    void versionsAreBuiltMinorFirstAndComparedMajorFirst() {
        Version version = new Version(40, 2);
        assertEquals(2, version.majorVersion());
        assertEquals(40, version.minorVersion());
        assertEquals("2.40", version.toString());
        assertEquals(new Version(40, 2), version);
        assertNotEquals(new Version(2, 40), version);
        assertTrue(new Version(0, 3).compareTo(version) > 0);
        assertTrue(new Version(11, 2).compareTo(version) < 0);
        assertEquals(1, new TreeSet<>(Set.of(version)).size());
    }

    @Test
    void textsAreTrimmedAndTheirPaddingIsKept() {
        Info info = new Info(new Version(40, 2), 0, "A token   ", new Version(2, 1), "maker\0\0");
        assertEquals("A token", info.libraryDescription());
        assertEquals("A token   ", info.rawLibraryDescription());
        assertEquals("maker", info.manufacturerID());
        assertEquals("maker\0\0", info.rawManufacturerID());
        assertEquals("", new Info(null, 0, "   ", null, "").libraryDescription());
    }

    @Test
    void anExceptionReadsWellAndKeepsWhatItWasGiven() {
        CryptokiException refused = new CryptokiException("J_Login", 0xA0, "PIN INCORRECT         ");
        assertEquals("J_Login: PIN INCORRECT (CKR_PIN_INCORRECT, 0xA0)", refused.getMessage());
        assertEquals("CKR_PIN_INCORRECT", refused.codeName());
        assertEquals("PIN INCORRECT", refused.text());
        assertEquals("PIN INCORRECT         ", refused.rawText());

        CryptokiException vendors = new CryptokiException("J_Sign", 0x80000001, "VENDOR DEFINED");
        assertEquals(0x80000001, vendors.code());
        assertEquals(0x80000001L, vendors.returnValue());
        assertEquals("J_Sign: VENDOR DEFINED (CKR_VENDOR_DEFINED+0x1, 0x80000001)", vendors.getMessage());
        assertEquals("J_Sign: NO ERROR DESC FOUND (CKR 0x4D2)",
                new CryptokiException("J_Sign", 0x4D2, "NO ERROR DESC FOUND").getMessage());
    }

    @Test
    void theLibrarysOwnTextsStandAlone() {
        assertEquals("J_Sign: Data is NULL", new CryptokiException("J_Sign", 5, "Data is NULL").getMessage());
        assertEquals("J_Sign: GENERAL ERROR (CKR_GENERAL_ERROR, 0x5)",
                new CryptokiException("J_Sign", 5, "GENERAL ERROR        ").getMessage());
    }

    @Test
    void attributesTakeWhatTheLibraryCanConvertAndNothingElse() {
        assertEquals(3, new Attribute(0, 3).intValue());
        assertTrue(new Attribute(1, true).booleanValue());
        assertArrayEquals(new byte[] {1}, new Attribute(0x102, new byte[] {1}).bytesValue());
        assertEquals("x", new Attribute(3, "x").value());
        assertNull(new Attribute(3, null).value());
        assertThrows(IllegalArgumentException.class, () -> new Attribute(0, 3.0));
        assertThrows(NullPointerException.class, () -> new Attribute(3, null).bytesValue());
        assertThrows(ClassCastException.class, () -> new Attribute(3, "x").bytesValue());
    }

    @Test
    void arraysAreCopiedOnTheirWayInAndOut() {
        byte[] bytes = {1, 2};
        Attribute attribute = new Attribute(0x102, bytes);
        Mechanism mechanism = new Mechanism(0x133, bytes);
        bytes[0] = 9;
        ((byte[]) attribute.value())[1] = 9;
        attribute.bytesValue()[1] = 9;
        ((byte[]) mechanism.parameter())[1] = 9;
        assertArrayEquals(new byte[] {1, 2}, attribute.bytesValue());
        assertArrayEquals(new byte[] {1, 2}, (byte[]) mechanism.parameter());

        Attribute[] attributes = {attribute};
        CryptokiObject object = new CryptokiObject(1, attributes);
        attributes[0] = null;
        object.attributes()[0] = null;
        assertEquals(attribute, object.attributes()[0]);
    }

    @Test
    void equalAttributesAreEqual() {
        assertEquals(new Attribute(0x102, new byte[] {1}), new Attribute(0x102, new byte[] {1}));
        assertEquals(new Attribute(0x102, new byte[] {1}).hashCode(), new Attribute(0x102, new byte[] {1}).hashCode());
        assertNotEquals(new Attribute(0x102, new byte[] {1}), new Attribute(0x102, new byte[] {2}));
        assertNotEquals(new Attribute(0x102, null), new Attribute(0x101, null));
        assertEquals(new NativeSlot(5), new NativeSlot(5));
        assertNotEquals(new NativeSlot(5), new NativeSlot(6));
    }

    @Test
    void whatMayBeSecretIsNotShown() {
        String shown = new CryptokiObject(0xB01, new Attribute[] {
            new Attribute(0x11, new byte[] {83, 69, 67}), new Attribute(0x11, "SECRET"),
            new Attribute(0, 4)}).toString();
        assertEquals("CryptokiObject[0xB01, [Attribute[CKA_VALUE, 3 bytes], Attribute[CKA_VALUE, 6 characters], "
                + "Attribute[CKA_CLASS, 4]]]", shown);
        assertFalse(new Mechanism(0x133, new byte[] {77, 77, 77, 77, 77, 77, 77, 77}).toString().contains("77"));
    }

    @Test
    void objectHandlesHaveNoSignAndSessionHandlesKeepTheirs() {
        assertEquals(0x80000001L, new CryptokiObject(0x80000001, null).handle());
        assertEquals(0, new CryptokiObject(1, null).attributes().length);
        assertNull(new CryptokiObject(1, null).attribute(3));
        NativeSession session = new NativeSession(new NativeSlot(-1), 0x80000001);
        assertEquals(0xFFFFFFFF80000001L, session.sessionHandle());
        assertEquals(-1, session.slot().slotID());
    }
}
