package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKO;
import velnor.TokenObject;

/** Keys that arrive by unwrapping and derivation are looked at like those that are created. */
class UnwrappedKeysTest extends ScriptedOperations {
    private static final byte[] P256 = {6, 8, 0x2A, (byte) 0x86, 0x48, (byte) 0xCE, 0x3D, 3, 1, 7};

    private static Attribute[] curveKey(Attribute... more) {
        Attribute[] template = new Attribute[2 + more.length];
        template[0] = new Attribute(CKA.CLASS, CKO.PRIVATE_KEY);
        template[1] = new Attribute(CKA.KEY_TYPE, CKK.EC);
        System.arraycopy(more, 0, template, 2, more.length);
        return template;
    }

    private List<Executable> makings(Attribute... template) {
        return List.of(() -> session.unwrapKey(AES, secret, bytes("WRAP:key"), template),
                () -> session.deriveKey(AES, secret, template));
    }

    @Test
    void whatTheTemplateSaysIsLookedAtFirst() {
        Attribute[][] templates = {curveKey(new Attribute(CKA.EC_PARAMS, new byte[] {6, 1, 1})),
            curveKey(new Attribute(CKA.EC_PARAMS, new byte[0])), curveKey(new Attribute(CKA.VALUE, new byte[0])),
            {new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.AES),
                new Attribute(CKA.VALUE, new byte[0])}};
        for (Attribute[] template : templates) {
            for (Executable making : makings(template)) {
                assertThrows(IllegalArgumentException.class, making);
            }
        }
        assertEquals(List.of(), calls());
    }

    /** What a key of this kind does not need is the token's to judge. */
    @Test
    void partsWithoutAValueThatAreNotNeededPass() {
        Attribute[] template = {new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.AES),
            new Attribute(CKA.PRIME, null), new Attribute(CKA.MODULUS, new byte[0]), new Attribute(CKA.EC_PARAMS, null)};
        for (Executable making : makings(template)) {
            assertDoesNotThrow(making);
        }
    }

    /** The class and the type are read, then what such a key must have: the token tells of an empty curve. */
    @Test
    void anIncompleteKeyIsRefusedAndDestroyed() {
        for (Executable making : makings(curveKey(new Attribute(CKA.TOKEN, true)))) {
            ScriptedModule.answer("C_GetAttributeValue");
            ScriptedModule.answer("C_GetAttributeValue");
            ScriptedModule.answer("C_GetAttributeValue CKR_OK length=0");
            String told = assertThrows(IllegalArgumentException.class, making).getMessage();
            assertTrue(told.endsWith(" is not complete: it has no CKA_EC_PARAMS"), told);
            assertEquals("C_DestroyObject", last(calls()));
        }
    }

    @Test
    void anIncompleteSessionKeyIsRefusedAndEndsWithItsSession() {
        for (Executable making : makings(curveKey())) {
            ScriptedModule.answer("C_GetAttributeValue");
            ScriptedModule.answer("C_GetAttributeValue");
            ScriptedModule.answer("C_GetAttributeValue CKR_OK length=0");
            assertThrows(IllegalArgumentException.class, making);
            assertEquals("C_GetAttributeValue", last(calls()));
        }
    }

    @Test
    void aKeyThatCannotBeDestroyedIsRefusedAllTheSame() {
        for (Executable making : makings(curveKey(new Attribute(CKA.TOKEN, true)))) {
            ScriptedModule.answer("C_GetAttributeValue");
            ScriptedModule.answer("C_GetAttributeValue");
            ScriptedModule.answer("C_GetAttributeValue CKR_OK length=0");
            ScriptedModule.answer("C_DestroyObject CKR_DEVICE_ERROR");
            assertEquals(1, assertThrows(IllegalArgumentException.class, making).getSuppressed().length);
        }
    }

    @Test
    void aSoundKeyIsLookedAtOnce() {
        Attribute[] template = curveKey(new Attribute(CKA.EC_PARAMS, P256), new Attribute(CKA.SENSITIVE, true));
        TokenObject key = session.unwrapKey(AES, secret, bytes("WRAP:key"), template);
        assertTrue(calls().contains("C_GetAttributeValue"));
        assertThrows(IllegalArgumentException.class, () -> session.encrypt(AES, key, new byte[4]));
        session.wrapKey(AES, secret, key);
        assertEquals(List.of(), calls().stream().filter(call -> call.startsWith("C_GetAttributeValue")).toList());
    }

    private static String last(List<String> calls) {
        return calls.get(calls.size() - 1);
    }
}
