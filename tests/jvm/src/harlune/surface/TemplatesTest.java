package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Collectors;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKM;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;

/** What a template may hold, and what of it a module gets to see. */
class TemplatesTest {
    private static final List<Object> VALUES = List.of(77, 77L, true, new byte[8], "77777777",
            new Attribute[] {new Attribute(CKA.LABEL, "77")});
    private static final Set<Set<Class<?>>> KINDS = Set.of(Set.of(Integer.class, Long.class), Set.of(Boolean.class),
            Set.of(byte[].class, String.class), Set.of(Attribute[].class));

    private Cryptoki cryptoki;
    private Session session;

    @BeforeEach
    void open() {
        cryptoki = Surface.scripted();
        session = cryptoki.slotsWithToken().get(0).openSession();
        ScriptedModule.clearJournal();
    }

    @AfterEach
    void close() {
        cryptoki.close();
    }

    static List<Integer> types() {
        return CKA.all().stream().filter(type -> type != CKA.VENDOR_DEFINED).collect(Collectors.toList());
    }

    private Set<Class<?>> taken(int type) {
        Map<Class<?>, Boolean> taken = new HashMap<>();
        for (Object value : VALUES) {
            ScriptedModule.clearJournal();
            taken.put(value.getClass(), takes(new Attribute(type, value)));
        }
        return taken.entrySet().stream().filter(Map.Entry::getValue).map(Map.Entry::getKey).collect(Collectors.toSet());
    }

    private boolean takes(Attribute attribute) {
        try {
            session.find(attribute);
            return true;
        } catch (IllegalArgumentException e) {
            assertTrue(e.getMessage().startsWith(CKA.name(attribute.type()) + " holds "), e.getMessage());
            assertFalse(e.getMessage().contains("77"), e.getMessage());
            assertEquals(List.of(), ScriptedModule.journal());
            return false;
        }
    }

    /** A type that the native library converts when it reads must take what comes out. */
    @ParameterizedTest
    @MethodSource("types")
    void everyTypeHasItsClass(int type) {
        Set<Class<?>> taken = taken(type);
        String data = taken.contains(Integer.class) ? "0100000000000000"
                : taken.contains(Attribute[].class) ? "00".repeat(24) : "01";
        ScriptedModule.answer("C_GetAttributeValue data=" + data + " always");
        Object read = session.object(0xB01).attribute(type).value();
        assertTrue(KINDS.contains(taken), () -> "takes " + taken);
        assertTrue(taken.contains(read.getClass()), () -> "takes " + taken + " but reads " + read);
    }

    @Test
    void aVendorKnowsItsOwnTypes() {
        assertEquals(VALUES.size(), taken(CKA.VENDOR_DEFINED + 1).size());
        assertEquals(VALUES.size(), taken(0x7777).size());
    }

    @Test
    void everyUseOfATemplateIsChecked() {
        Attribute wrong = new Attribute(CKA.TOKEN, 1);
        Attribute[] none = {};
        Attribute[] template = {wrong};
        TokenObject object = Surface.key(session, 0xB01);
        ScriptedModule.clearJournal();
        Mechanism mechanism = new Mechanism(CKM.AES_KEY_GEN);
        for (Runnable use : List.<Runnable>of(() -> session.find(wrong), () -> session.findOne(wrong),
                () -> session.findFirst(wrong), () -> session.createObject(wrong), () -> object.copy(wrong),
                () -> object.set(wrong), () -> session.generateKey(mechanism, wrong),
                () -> session.generateKeyPair(mechanism, template, none),
                () -> session.generateKeyPair(mechanism, none, template),
                () -> session.unwrapKey(mechanism, object, new byte[1], wrong),
                () -> session.deriveKey(mechanism, object, wrong))) {
            assertThrows(IllegalArgumentException.class, use::run);
        }
        assertThrows(NullPointerException.class, () -> session.find((Attribute[]) null));
        assertThrows(NullPointerException.class, () -> session.find((Attribute) null));
        assertThrows(NullPointerException.class, () -> session.generateKeyPair(mechanism, null, none));
        assertThrows(NullPointerException.class, () -> session.generateKeyPair(mechanism, none, null));
        assertEquals(List.of(), ScriptedModule.journal());
    }

    @Test
    void textsArriveInUtf8() {
        session.find(new Attribute(CKA.LABEL, "\u20AC\uD83D\uDD11"));
        assertEquals("C_FindObjectsInit session=0x5E51 template=[0x3 7:E282ACF09F9491] -> CKR_OK",
                ScriptedModule.journal().get(0));
    }

    /** Tokens look for a number or a flag where there is none, and NSS does not come back from there. */
    @Test
    void nullIsAnEmptyValueOfBytesAlone() {
        session.find(new Attribute(CKA.LABEL, null), new Attribute(CKA.WRAP_TEMPLATE, null));
        assertEquals("C_FindObjectsInit session=0x5E51 template=[0x3 0:null, 0x40000211 0:null] -> CKR_OK",
                ScriptedModule.journal().get(0));
        ScriptedModule.clearJournal();
        for (int type : new int[] {CKA.TOKEN, CKA.CLASS}) {
            assertFalse(takes(new Attribute(type, null)));
        }
    }
}
