package harlune.token;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.stream.IntStream;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CryptokiObject;
import velnor.Mechanism;
import velnor.nat.NativeSession;

/** Objects come and go, and their attributes are read and written. */
class ObjectsTest extends KeyedSession {
    private static final String[] LABELS = {"one", "two"};

    private static byte[] ascii(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    private long data(boolean onToken, String label, byte[] value) {
        return session.J_CreateObject(new Attribute[] {
            new Attribute(CKA_CLASS, CKO_DATA),
            new Attribute(CKA_TOKEN, onToken),
            new Attribute(CKA_PRIVATE, false),
            new Attribute(CKA_LABEL, label),
            new Attribute(CKA_VALUE, value),
        });
    }

    private byte[] label(long object) {
        return session.J_GetAttributeValue(object, CKA_LABEL).bytesValue();
    }

    private static Attribute[] labelled(String label) {
        return new Attribute[] {new Attribute(CKA_LABEL, label)};
    }

    @Test
    void everyKindOfValueComesBackAsItWasWritten() {
        byte[] value = bytes(2048);
        long object = data(false, "kinds", value);
        assertEquals(new Attribute(CKA_CLASS, CKO_DATA), session.J_GetAttributeValue(object, CKA_CLASS));
        assertEquals(new Attribute(CKA_TOKEN, false), session.J_GetAttributeValue(object, CKA_TOKEN));
        assertEquals(new Attribute(CKA_LABEL, ascii("kinds")), session.J_GetAttributeValue(object, CKA_LABEL));
        assertEquals(new Attribute(CKA_VALUE, value), session.J_GetAttributeValue(object, CKA_VALUE));
    }

    @Test
    void aValueOfMoreThanTheReadBufferIsRefused() {
        long object = data(false, "long", bytes(2049));
        assertRefused("J_GetAttributeValue", CKR_BUFFER_TOO_SMALL, "BUFFER TOO SMALL",
                () -> session.J_GetAttributeValue(object, CKA_VALUE));
    }

    @Test
    void aListIsReadInItsOrderWithNullForWhatIsMissing() {
        long object = data(false, "list", bytes(7));
        Attribute[] read = session.J_GetAttributeValue(object,
                new int[] {CKA_VALUE, CKA_MODULUS, CKA_PRIVATE, CKA_LABEL, CKA_CLASS});
        assertArrayEquals(new Attribute[] {
            new Attribute(CKA_VALUE, bytes(7)),
            new Attribute(CKA_MODULUS, null),
            new Attribute(CKA_PRIVATE, false),
            new Attribute(CKA_LABEL, ascii("list")),
            new Attribute(CKA_CLASS, CKO_DATA),
        }, read);
        assertEquals(0, session.J_GetAttributeValue(object, new int[0]).length);
    }

    @Test
    void aMissingAttributeAloneIsRefused() {
        long object = data(false, "single", bytes(7));
        assertRefused("J_GetAttributeValue", CKR_ATTRIBUTE_TYPE_INVALID, "ATTRIBUTE TYPE INVALID",
                () -> session.J_GetAttributeValue(object, CKA_MODULUS));
    }

    @Test
    void aSensitiveAttributeFailsEveryReadButThatOfTheSearch() {
        long key = session.J_GenerateKey(new Mechanism(CKM_AES_KEY_GEN), new Attribute[] {
            new Attribute(CKA_LABEL, "sensitive"),
            new Attribute(CKA_TOKEN, false),
            new Attribute(CKA_SENSITIVE, true),
            new Attribute(CKA_VALUE_LEN, 16),
        });
        assertRefused("J_GetAttributeValue", CKR_ATTRIBUTE_SENSITIVE, "ATTRIBUTE SENSITIVE",
                () -> session.J_GetAttributeValue(key, CKA_VALUE));
        assertRefused("J_GetAttributeValue", CKR_ATTRIBUTE_SENSITIVE, "ATTRIBUTE SENSITIVE",
                () -> session.J_GetAttributeValue(key, new int[] {CKA_CLASS, CKA_VALUE}));
        CryptokiObject found = session.J_FindObjects(labelled("sensitive"),
                new int[] {CKA_CLASS, CKA_VALUE, CKA_VALUE_LEN})[0];
        assertEquals(key, found.handle());
        assertArrayEquals(new Attribute[] {
            new Attribute(CKA_CLASS, CKO_SECRET_KEY),
            new Attribute(CKA_VALUE, null),
            new Attribute(CKA_VALUE_LEN, 16),
        }, found.attributes());
    }

    @Test
    void aLabelIsChanged() {
        long object = data(true, "before", bytes(3));
        session.J_SetAttributeValue(object, labelled("afterwards"));
        assertArrayEquals(ascii("afterwards"), label(object));
        session.J_DestroyObject(object);
    }

    @Test
    void whatMayNotBeWrittenKeepsItsValue() {
        long object = data(false, "fixed", bytes(3));
        assertRefused("J_SetAttributeValue", CKR_ATTRIBUTE_READ_ONLY, "ATTRIBUTE READ ONLY",
                () -> session.J_SetAttributeValue(object, new Attribute[] {new Attribute(CKA_CLASS, CKO_SECRET_KEY)}));
        assertEquals(CKO_DATA, session.J_GetAttributeValue(object, CKA_CLASS).intValue());
    }

    @Test
    void aCopyIsAnObjectOfItsOwn() {
        long object = data(false, "original", bytes(30));
        long copy = session.J_CopyObject(object, labelled("copy"));
        assertNotEquals(object, copy);
        session.J_DestroyObject(object);
        assertArrayEquals(ascii("copy"), label(copy));
        assertArrayEquals(bytes(30), valueOf(copy));
    }

    @Test
    void aDestroyedObjectIsGoneForEveryMethod() {
        long object = data(true, "gone", bytes(3));
        session.J_DestroyObject(object);
        assertNull(session.J_FindObjects(labelled("gone")));
        String text = "OBJECT HANDLE INVALID";
        assertRefused("J_DestroyObject", CKR_OBJECT_HANDLE_INVALID, text, () -> session.J_DestroyObject(object));
        assertRefused("J_CopyObject", CKR_OBJECT_HANDLE_INVALID, text,
                () -> session.J_CopyObject(object, labelled("x")));
        assertRefused("J_GetObjectSize", CKR_OBJECT_HANDLE_INVALID, text, () -> session.J_GetObjectSize(object));
        assertRefused("J_GetAttributeValue", CKR_OBJECT_HANDLE_INVALID, text,
                () -> session.J_GetAttributeValue(object, CKA_LABEL));
        assertRefused("J_GetAttributeValue", CKR_OBJECT_HANDLE_INVALID, text,
                () -> session.J_GetAttributeValue(object, new int[] {CKA_LABEL}));
        assertRefused("J_SetAttributeValue", CKR_OBJECT_HANDLE_INVALID, text,
                () -> session.J_SetAttributeValue(object, labelled("x")));
    }

    @Test
    void aSizeThatTheTokenDoesNotKnowIsMinusOne() {
        assertEquals(-1, session.J_GetObjectSize(data(false, "sized", bytes(3))));
    }

    @Test
    void anObjectOnTheTokenOutlivesTheSession() {
        data(true, "kept", bytes(12));
        slot.J_CloseAllSessions();
        NativeSession later = anotherSession();
        CryptokiObject[] found = later.J_FindObjects(labelled("kept"), new int[] {CKA_VALUE});
        assertEquals(1, found.length);
        assertArrayEquals(bytes(12), found[0].attribute(CKA_VALUE).bytesValue());
        later.J_DestroyObject(found[0].handle());
    }

    @Test
    void manyObjectsAreFoundBesideOthers() {
        long[] made = IntStream.range(0, 120).mapToLong(i -> data(false, LABELS[i % 2], bytes(1 + i))).toArray();
        long[] first = session.J_FindObjects(labelled("one"));
        assertArrayEquals(IntStream.range(0, 60).mapToLong(i -> made[2 * i]).toArray(), sorted(first));
        CryptokiObject[] second = session.J_FindObjects(labelled("two"), new int[] {CKA_VALUE});
        assertEquals(60, second.length);
        for (CryptokiObject object : second) {
            assertArrayEquals(valueOf(object.handle()), object.attribute(CKA_VALUE).bytesValue());
        }
        long[] all = session.J_FindObjects(null);
        assertTrue(Arrays.equals(made, sorted(all)), () -> all.length + " objects");
    }

    private static long[] sorted(long[] handles) {
        long[] sorted = handles.clone();
        Arrays.sort(sorted);
        return sorted;
    }

    @Test
    void nothingFoundIsNull() {
        assertNull(session.J_FindObjects(labelled("nowhere")));
        assertNull(session.J_FindObjects(labelled("nowhere"), new int[] {CKA_LABEL}));
    }

    @Test
    void aSearchWithoutAttributesGivesHandlesAlone() {
        long object = data(false, "bare", bytes(3));
        CryptokiObject[] found = session.J_FindObjects(labelled("bare"), new int[0]);
        assertEquals(object, found[0].handle());
        assertEquals(0, found[0].attributes().length);
    }

    @Test
    void whatTheTokenSaysOfATemplateArrives() {
        assertRefused("J_CreateObject", CKR_ARGUMENTS_BAD, "ARGUMENTS BAD", () -> session.J_CreateObject(null));
        assertRefused("J_CreateObject", CKR_TEMPLATE_INCOMPLETE, "TEMPLATE INCOMPLETE",
                () -> session.J_CreateObject(labelled("no class")));
        long object = data(false, "original", bytes(3));
        assertRefused("J_CopyObject", CKR_ARGUMENTS_BAD, "ARGUMENTS BAD", () -> session.J_CopyObject(object, null));
        assertRefused("J_SetAttributeValue", CKR_ARGUMENTS_BAD, "ARGUMENTS BAD",
                () -> session.J_SetAttributeValue(object, null));
    }
}
