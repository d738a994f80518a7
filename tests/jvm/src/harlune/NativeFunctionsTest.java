package harlune;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.DynamicTest.dynamicTest;

import harlune.support.Bridge;
import harlune.support.Ck;
import harlune.support.ScriptedModule;

import java.io.IOException;
import java.lang.reflect.Array;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.stream.Collectors;
import java.util.stream.Stream;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;
import velnor.nat.Structure;

/**
 * The natives that take modules as arguments, bare, in a real JVM: each with a good course and with null for everything
 * that can be null. Reflection says which there are. All of them can be called under -Xcheck:jni.
 */
class NativeFunctionsTest {
    private static final byte[] DATA = "xx1234yy".getBytes(StandardCharsets.US_ASCII);
    private static final int OFF = 2;
    private static final int LEN = 4;
    /** What stands for a session, an object and a mechanism. */
    private static final long SESSION = 0xFEDCBA9876543210L;
    private static final long OBJECT = 0xEDCBA98765432101L;
    private static final long MECHANISM = 0xCBA9876543210123L;

    private long module;

    /** A call and what the module is to be given by it; null for natives that ask the module nothing. */
    private record Call(Made made, String expected) {
    }

    private interface Made {
        void call();
    }

    @BeforeEach
    void load() {
        Bridge.load();
        ScriptedModule.reset();
        module = NativeFunctions.load(ScriptedModule.PATH.getBytes(StandardCharsets.UTF_8), new byte[100]);
        assertTrue(module > 0, () -> "failure " + NativeFunctions.answer(module));
        ScriptedModule.clearJournal();
    }

    @AfterEach
    void reset() {
        ScriptedModule.reset();
    }

    private static Set<String> natives() {
        return Arrays.stream(NativeFunctions.class.getDeclaredMethods())
                .filter(method -> Modifier.isNative(method.getModifiers())).map(Method::getName)
                .collect(Collectors.toCollection(TreeSet::new));
    }

    private static ByteBuffer direct(byte[] bytes) {
        return ByteBuffer.allocateDirect(bytes.length).put(bytes);
    }

    private static byte[] template() {
        Structure template = new Structure(Structure.ATTRIBUTE).putLong(0, 3).putLong(16, 5);
        template.point(8, "label".getBytes(StandardCharsets.US_ASCII));
        return template.bytes();
    }

    private static byte[] parameter() {
        return new Structure(8).putBytes(0, "12345678".getBytes(StandardCharsets.US_ASCII)).bytes();
    }

    private static void answered(long result) {
        assertEquals(0, result);
    }

    /** The output of the toy when a test puts it in its mouth. */
    private static void gave(long length, byte[] out) {
        assertEquals(4, length);
        assertEquals("--made----", new String(out, StandardCharsets.US_ASCII));
    }

    private static byte[] room() {
        return "----------".getBytes(StandardCharsets.US_ASCII);
    }

    private static byte[] contents(ByteBuffer buffer) {
        byte[] bytes = new byte[buffer.capacity()];
        buffer.duplicate().clear().get(bytes);
        return bytes;
    }

    /** A good course of every native. */
    private Map<String, Call> calls() {
        String session = " session=0xFEDCBA9876543210";
        String object = "=0xEDCBA98765432101";
        String mechanism = " mechanism=0xCBA9876543210123 parameter=8:\"12345678\"";
        String labelled = "=[0x3 5:\"label\"]";
        Map<String, Call> calls = new HashMap<>();
        calls.put("version", new Call(() -> assertTrue(NativeFunctions.version() >= 0x100), null));
        calls.put("description", new Call(() -> {
            byte[] text = new byte[40];
            assertEquals(34, NativeFunctions.description(Ck.CKR_DEVICE_ERROR, text));
            assertEquals("DEVICE ERROR", new String(text, 0, 34, StandardCharsets.US_ASCII).trim());
        }, null));
        calls.put("load", new Call(() -> {
            byte[] text = new byte[200];
            long failure = NativeFunctions.load("/no/such/module.so".getBytes(StandardCharsets.UTF_8), text);
            assertTrue(failure < 0);
            String told = new String(text, 0, NativeFunctions.needed(failure), StandardCharsets.UTF_8);
            assertTrue(told.contains("/no/such/module.so"), told);
            assertEquals(module, NativeFunctions.load(ScriptedModule.PATH.getBytes(StandardCharsets.UTF_8), text));
        }, null));
        calls.put("path", new Call(() -> {
            byte[] path = new byte[4096];
            int length = NativeFunctions.path(module, path);
            assertEquals(ScriptedModule.PATH, new String(path, 0, length, StandardCharsets.UTF_8));
        }, null));
        calls.put("isSecondAuthenticationRequired",
                new Call(() -> assertTrue(NativeFunctions.isSecondAuthenticationRequired(module)), null));
        calls.put("has", new Call(() -> {
            for (Function function : Function.values()) {
                boolean isNew = function == Function.LOGIN_USER || function == Function.SESSION_CANCEL
                        || function.standardName().contains("Message");
                assertEquals(!isNew, NativeFunctions.has(module, function.ordinal()), function::toString);
            }
        }, null));
        calls.put("initialize", new Call(() -> {
            Structure arguments = new Structure(6 * Structure.WORD).putLong(4 * Structure.WORD, 2);
            answered(NativeFunctions.initialize(module, arguments.bytes()));
        }, "C_Initialize args=non-null -> CKR_OK"));
        calls.put("finish", new Call(() -> answered(NativeFunctions.finish(module)),
                "C_Finalize reserved=null -> CKR_OK"));
        calls.put("information", new Call(() -> {
            byte[] structure = new byte[24];
            ScriptedModule.answer("C_GetMechanismInfo CKR_OK ulMinKeySize=7");
            answered(NativeFunctions.information(module, Function.GET_MECHANISM_INFO.index(), SESSION, MECHANISM,
                    structure));
            assertEquals(7, structure[0]);
        }, "C_GetMechanismInfo slot=0xFEDCBA9876543210 type=0xCBA9876543210123 info=non-null -> CKR_OK"));
        calls.put("list", new Call(() -> {
            long[] slots = new long[3];
            ScriptedModule.answer("C_Initialize CKR_OK");
            NativeFunctions.initialize(module, null);
            ScriptedModule.clearJournal();
            ScriptedModule.answer("C_GetSlotList list=0xFFFFFFFFFFFFFFFF,5");
            assertEquals(2, NativeFunctions.list(module, Function.GET_SLOT_LIST.index(), 1, slots));
            assertArrayEquals(new long[] {-1, 5, 0}, slots);
        }, "C_GetSlotList tokenPresent=1 list=non-null count=3 -> CKR_OK count=2"));
        calls.put("waitForSlotEvent", new Call(() -> {
            long[] slot = new long[1];
            ScriptedModule.answer("C_WaitForSlotEvent CKR_OK slot=0xFEDCBA9876543210");
            answered(NativeFunctions.waitForSlotEvent(module, 1, slot));
            assertEquals(0xFEDCBA9876543210L, slot[0]);
        }, "C_WaitForSlotEvent flags=0x1 slot=non-null reserved=null -> CKR_OK slot=0xFEDCBA9876543210"));
        calls.put("objectSize", new Call(() -> {
            long[] size = new long[1];
            ScriptedModule.answer("C_GetObjectSize CKR_OK size=0x100000001");
            answered(NativeFunctions.objectSize(module, SESSION, OBJECT, size));
            assertEquals(0x100000001L, size[0]);
        }, "C_GetObjectSize" + session + " object" + object + " -> CKR_OK size=0x100000001"));
        calls.put("openSession", new Call(() -> {
            long[] handle = new long[1];
            ScriptedModule.answer("C_OpenSession CKR_OK handle=0xFEDCBA9876543210");
            answered(NativeFunctions.openSession(module, OBJECT, 6, handle));
            assertEquals(SESSION, handle[0]);
        }, "C_OpenSession slot" + object + " flags=0x6 application=null notify=null -> CKR_OK"
                + " handle=0xFEDCBA9876543210"));
        calls.put("login", new Call(() -> {
            ScriptedModule.answer("C_Login CKR_OK");
            answered(NativeFunctions.login(module, SESSION, 1, Arrays.copyOfRange(DATA, OFF, OFF + LEN)));
        }, "C_Login" + session + " userType=0x1 pin=\"1234\" -> CKR_OK"));
        calls.put("loginUser", new Call(() -> assertEquals(Ck.CKR_FUNCTION_NOT_SUPPORTED,
                NativeFunctions.loginUser(module, SESSION, 1, DATA, DATA)), null));
        calls.put("initToken", new Call(() -> {
            byte[] label = new byte[32];
            Arrays.fill(label, (byte) 'L');
            ScriptedModule.answer("C_InitToken CKR_OK");
            answered(NativeFunctions.initToken(module, SESSION, null, label));
        }, "C_InitToken slot=0xFEDCBA9876543210 pin=null pinLength=0 label=\"" + "L".repeat(32) + "\" -> CKR_OK"));
        calls.put("setOperationState", new Call(() -> {
            ScriptedModule.answer("C_SetOperationState CKR_OK");
            answered(NativeFunctions.setOperationState(module, SESSION, DATA, OBJECT, -1));
        }, "C_SetOperationState" + session + " state=\"xx1234yy\" encryptionKey" + object
                + " authenticationKey=0xFFFFFFFFFFFFFFFF -> CKR_OK"));
        calls.put("number", new Call(() -> {
            ScriptedModule.answer("C_Logout CKR_OK");
            answered(NativeFunctions.number(module, Function.LOGOUT.index(), SESSION));
        }, "C_Logout" + session + " -> CKR_OK"));
        calls.put("numbers", new Call(() -> {
            ScriptedModule.answer("C_DestroyObject CKR_OK");
            answered(NativeFunctions.numbers(module, Function.DESTROY_OBJECT.index(), SESSION, OBJECT));
        }, "C_DestroyObject" + session + " object" + object + " -> CKR_OK"));
        addBytes(calls, session);
        addMechanismsAndObjects(calls, session, object, mechanism, labelled);
        return calls;
    }

    private void addBytes(Map<String, Call> calls, String session) {
        calls.put("bytes", new Call(() -> {
            ScriptedModule.answer("C_SignUpdate CKR_OK");
            answered(NativeFunctions.bytes(module, Function.SIGN_UPDATE.index(), SESSION, DATA, OFF, LEN));
        }, "C_SignUpdate" + session + " part=\"1234\" -> CKR_OK"));
        calls.put("bytesDirect", new Call(() -> {
            ScriptedModule.answer("C_DigestUpdate CKR_OK");
            // Positions are the buffer's first byte's, wherever it stands itself.
            ByteBuffer buffer = direct(DATA);
            answered(NativeFunctions.bytesDirect(module, Function.DIGEST_UPDATE.index(), SESSION, buffer, OFF, LEN));
            assertEquals(DATA.length, buffer.position());
        }, "C_DigestUpdate" + session + " part=\"1234\" -> CKR_OK"));
        calls.put("twoBytes", new Call(() -> {
            ScriptedModule.answer("C_SetPIN CKR_OK");
            answered(NativeFunctions.twoBytes(module, Function.SET_PIN.index(), SESSION, DATA, OFF, LEN, DATA, 0, 3));
        }, "C_SetPIN" + session + " oldPin=\"1234\" newPin=\"xx1\" -> CKR_OK"));
        calls.put("twoBytesDirect", new Call(() -> {
            ScriptedModule.answer("C_Verify CKR_OK");
            answered(NativeFunctions.twoBytesDirect(module, Function.VERIFY.index(), SESSION, direct(DATA), OFF, LEN,
                    DATA, 0, 3));
        }, "C_Verify" + session + " data=\"1234\" signature=\"xx1\" -> CKR_OK"));
        calls.put("fill", new Call(() -> {
            byte[] out = room();
            ScriptedModule.answer("C_GenerateRandom CKR_OK");
            answered(NativeFunctions.fill(module, 0, SESSION, out, 2, 4));
            assertEquals("--\0\0\0\0----", new String(out, StandardCharsets.US_ASCII));
        }, "C_GenerateRandom" + session + " buffer=non-null length=4 -> CKR_OK"));
        calls.put("fillDirect", new Call(() -> {
            ByteBuffer out = direct(room());
            ScriptedModule.answer("C_GenerateRandom CKR_OK");
            answered(NativeFunctions.fillDirect(module, 0, SESSION, out, 2, 4));
            assertArrayEquals(room(), contents(out));
        }, "C_GenerateRandom" + session + " buffer=non-null length=4 -> CKR_OK"));
        calls.put("process", new Call(() -> {
            byte[] out = room();
            ScriptedModule.answer("C_Encrypt CKR_OK data=\"made\"");
            gave(NativeFunctions.process(module, Function.ENCRYPT.index(), SESSION, DATA, OFF, LEN, out, 2, 8), out);
        }, "C_Encrypt" + session + " data=\"1234\" buffer=non-null length=8 -> CKR_OK length=4"));
        calls.put("processDirect", new Call(() -> {
            ByteBuffer out = direct(room());
            ScriptedModule.answer("C_DecryptUpdate CKR_OK data=\"made\"");
            gave(NativeFunctions.processDirect(module, Function.DECRYPT_UPDATE.index(), SESSION, direct(DATA), OFF,
                    LEN, out, 2, 8), contents(out));
        }, "C_DecryptUpdate" + session + " part=\"1234\" buffer=non-null length=8 -> CKR_OK length=4"));
        calls.put("output", new Call(() -> {
            byte[] out = room();
            ScriptedModule.answer("C_SignFinal CKR_OK data=\"made\"");
            gave(NativeFunctions.output(module, Function.SIGN_FINAL.index(), SESSION, out, 2, 8), out);
        }, "C_SignFinal" + session + " buffer=non-null length=8 -> CKR_OK length=4"));
        calls.put("outputDirect", new Call(() -> {
            ByteBuffer out = direct(room());
            ScriptedModule.answer("C_DigestFinal CKR_OK data=\"made\"");
            gave(NativeFunctions.outputDirect(module, Function.DIGEST_FINAL.index(), SESSION, out, 2, 8),
                    contents(out));
        }, "C_DigestFinal" + session + " buffer=non-null length=8 -> CKR_OK length=4"));
    }

    private void addMechanismsAndObjects(Map<String, Call> calls, String session, String object, String mechanism,
            String labelled) {
        calls.put("init", new Call(() -> {
            ScriptedModule.answer("C_DigestInit CKR_DEVICE_ERROR");
            assertEquals(Ck.CKR_DEVICE_ERROR, NativeFunctions.init(module, 0, SESSION, MECHANISM,
                    direct(parameter())));
        }, "C_DigestInit" + session + mechanism + " -> CKR_DEVICE_ERROR"));
        calls.put("keyedInit", new Call(() -> {
            ScriptedModule.answer("C_SignInit CKR_DEVICE_ERROR");
            assertEquals(Ck.CKR_DEVICE_ERROR, NativeFunctions.keyedInit(module, Function.SIGN_INIT.index(), SESSION,
                    MECHANISM, direct(parameter()), OBJECT));
        }, "C_SignInit" + session + mechanism + " key" + object + " -> CKR_DEVICE_ERROR"));
        addMessages(calls);
        calls.put("create", new Call(() -> {
            long[] handle = new long[1];
            ScriptedModule.answer("C_CreateObject CKR_OK handle=0xFEDCBA9876543210");
            answered(NativeFunctions.create(module, SESSION, template(), handle));
            assertEquals(0xFEDCBA9876543210L, handle[0]);
        }, "C_CreateObject" + session + " template" + labelled + " -> CKR_OK handle=0xFEDCBA9876543210"));
        calls.put("copy", new Call(() -> {
            ScriptedModule.answer("C_CopyObject CKR_OK handle=1");
            answered(NativeFunctions.copy(module, SESSION, OBJECT, template(), new long[1]));
        }, "C_CopyObject" + session + " object" + object + " template" + labelled + " -> CKR_OK handle=0x1"));
        calls.put("attributes", new Call(() -> {
            Structure read = new Structure(Structure.ATTRIBUTE).comesBack().putLong(0, 3).putLong(16, 10);
            int at = read.point(8, 10);
            ScriptedModule.answer("C_GetAttributeValue CKR_OK data=\"a value\"");
            answered(NativeFunctions.attributes(module, Function.GET_ATTRIBUTE_VALUE.index(), SESSION, OBJECT,
                    read.bytes()));
            assertEquals(at, read.getLong(8));
            assertEquals(7, read.getLong(16));
            assertEquals("a value", new String(read.getBytes(at, 7), StandardCharsets.US_ASCII));
        }, "C_GetAttributeValue" + session + " object" + object + " template=[0x3 10:non-null] -> CKR_OK length=7"));
        calls.put("findInit", new Call(() -> {
            ScriptedModule.answer("C_FindObjectsInit CKR_OK");
            answered(NativeFunctions.findInit(module, SESSION, template()));
        }, "C_FindObjectsInit" + session + " template" + labelled + " -> CKR_OK"));
        calls.put("find", new Call(() -> {
            ScriptedModule.answer("C_FindObjects CKR_OK count=0");
            assertEquals(0, NativeFunctions.find(module, SESSION, new long[5]));
        }, "C_FindObjects" + session + " objects=non-null max=5 -> CKR_OK count=0"));
        calls.put("generateKey", new Call(() -> {
            ScriptedModule.answer("C_GenerateKey CKR_OK handle=1");
            answered(NativeFunctions.generateKey(module, SESSION, MECHANISM, parameter(), template(), new long[1]));
        }, "C_GenerateKey" + session + mechanism + " template" + labelled + " -> CKR_OK handle=0x1"));
        calls.put("generateKeyPair", new Call(() -> {
            long[] keys = new long[2];
            ScriptedModule.answer("C_GenerateKeyPair CKR_OK handle=1 private=-1");
            answered(NativeFunctions.generateKeyPair(module, SESSION, MECHANISM, parameter(), template(), template(),
                    keys));
            assertArrayEquals(new long[] {1, -1}, keys);
        }, "C_GenerateKeyPair" + session + mechanism + " public" + labelled + " private" + labelled
                + " -> CKR_OK private=0xFFFFFFFFFFFFFFFF handle=0x1"));
        calls.put("wrapKey", new Call(() -> {
            byte[] out = new byte[10];
            ScriptedModule.answer("C_WrapKey CKR_BUFFER_TOO_SMALL length=2000");
            long failure = NativeFunctions.wrapKey(module, SESSION, MECHANISM, null, OBJECT, -1, out);
            assertEquals(Ck.CKR_BUFFER_TOO_SMALL, NativeFunctions.answer(failure));
            assertEquals(2000, NativeFunctions.needed(failure));
        }, "C_WrapKey" + session + " mechanism=0xCBA9876543210123 wrappingKey" + object
                + " key=0xFFFFFFFFFFFFFFFF buffer=non-null length=10 -> CKR_BUFFER_TOO_SMALL length=2000"));
        calls.put("unwrapKey", new Call(() -> {
            ScriptedModule.answer("C_UnwrapKey CKR_OK handle=1");
            answered(NativeFunctions.unwrapKey(module, SESSION, MECHANISM, parameter(), OBJECT, DATA, OFF, LEN,
                    template(), new long[1]));
        }, "C_UnwrapKey" + session + mechanism + " unwrappingKey" + object + " wrappedKey=\"1234\" template" + labelled
                + " -> CKR_OK handle=0x1"));
        calls.put("deriveKey", new Call(() -> {
            ScriptedModule.answer("C_DeriveKey CKR_OK handle=1");
            answered(NativeFunctions.deriveKey(module, SESSION, MECHANISM, parameter(), OBJECT, null, new long[1]));
        }, "C_DeriveKey" + session + mechanism + " baseKey" + object + " template=null:0 -> CKR_OK handle=0x1"));
    }

    /** This module has none of their functions; MessagesTest reaches those of another one. */
    private void addMessages(Map<String, Call> calls) {
        int missing = Ck.CKR_FUNCTION_NOT_SUPPORTED;
        calls.put("message", new Call(() -> assertEquals(missing, NativeFunctions.answer(NativeFunctions.message(module,
                Function.ENCRYPT_MESSAGE.index(), SESSION, direct(parameter()), DATA, DATA, OFF, LEN, room(), 0, 4))),
                null));
        calls.put("messageBegin", new Call(() -> assertEquals(missing, NativeFunctions.messageBegin(module,
                Function.ENCRYPT_MESSAGE_BEGIN.index(), SESSION, direct(parameter()), DATA)), null));
        calls.put("messagePart", new Call(() -> assertEquals(missing, NativeFunctions.answer(NativeFunctions.messagePart(
                module, Function.ENCRYPT_MESSAGE_NEXT.index(), SESSION, direct(parameter()), DATA, OFF, LEN, room(), 0,
                4, 0))), null));
        calls.put("signedBegin", new Call(() -> assertEquals(missing, NativeFunctions.signedBegin(module,
                Function.SIGN_MESSAGE_BEGIN.index(), SESSION, direct(parameter()))), null));
        calls.put("signMessage", new Call(() -> assertEquals(missing, NativeFunctions.answer(NativeFunctions.signMessage(
                module, Function.SIGN_MESSAGE.index(), SESSION, direct(parameter()), DATA, OFF, LEN, room(), 0, 4))),
                null));
        calls.put("signPart", new Call(() -> assertEquals(missing, NativeFunctions.answer(NativeFunctions.signPart(module,
                Function.SIGN_MESSAGE_NEXT.index(), SESSION, direct(parameter()), DATA, OFF, LEN, room(), 0, 4))), null));
        calls.put("verifyMessage", new Call(() -> assertEquals(missing, NativeFunctions.verifyMessage(module,
                Function.VERIFY_MESSAGE.index(), SESSION, direct(parameter()), DATA, OFF, LEN, DATA)), null));
    }

    @Test
    void everyNativeIsHere() {
        assertEquals(natives(), new TreeSet<>(calls().keySet()));
    }

    @TestFactory
    Stream<DynamicTest> everyNativeGoesItsWholeWay() {
        return new TreeMap<>(calls()).entrySet().stream().map(entry -> dynamicTest(entry.getKey(), () -> {
            ScriptedModule.reset();
            if (entry.getKey().equals("finish")) {
                NativeFunctions.initialize(module, null);
            }
            ScriptedModule.clearJournal();
            Call call = calls().get(entry.getKey());
            call.made().call();
            assertEquals(call.expected() == null ? List.of() : List.of(call.expected()), ScriptedModule.journal());
            assertEquals(List.of(), ScriptedModule.unused());
        }));
    }

    /** Null for everything that can be null, and nothing for all numbers but the module. */
    @TestFactory
    Stream<DynamicTest> everyNativeTakesNulls() {
        return Arrays.stream(NativeFunctions.class.getDeclaredMethods())
                .filter(method -> Modifier.isNative(method.getModifiers())).map(method -> dynamicTest(method.getName(),
                        () -> method.invoke(null, arguments(method, module, 0))));
    }

    /** No module, and indices and ranges that are none. */
    @TestFactory
    Stream<DynamicTest> everyNativeRefusesNonsense() {
        return Arrays.stream(NativeFunctions.class.getDeclaredMethods())
                .filter(method -> Modifier.isNative(method.getModifiers())
                        && (method.getReturnType() == int.class || method.getReturnType() == long.class)
                        && method.getParameterCount() > 2 && method.getParameterTypes()[0] == long.class)
                .map(method -> dynamicTest(method.getName(), () -> {
                    for (int number : new int[] {-1, 1000, Integer.MIN_VALUE, Integer.MAX_VALUE}) {
                        for (long id : new long[] {module, 0, -1, number}) {
                            Object[] arguments = arguments(method, id, number);
                            for (int i = 0; i < arguments.length; i++) {
                                arguments[i] = arguments[i] != null ? arguments[i]
                                        : method.getParameterTypes()[i] == ByteBuffer.class ? direct(DATA)
                                        : Array.newInstance(method.getParameterTypes()[i].getComponentType(), 5);
                            }
                            ScriptedModule.clearJournal();
                            long result = ((Number) method.invoke(null, arguments)).longValue();
                            assertNotEquals(0, result, () -> Arrays.toString(arguments));
                            if (id != module) {
                                assertEquals(List.of(), ScriptedModule.journal());
                            }
                        }
                    }
                }));
    }

    private static Object[] arguments(Method method, long module, int number) {
        Class<?>[] types = method.getParameterTypes();
        Object[] arguments = new Object[types.length];
        for (int i = 0; i < types.length; i++) {
            arguments[i] = types[i] == long.class ? (Object) (i == 0 ? module : (long) number)
                    : types[i] == int.class ? (Object) number : null;
        }
        return arguments;
    }

    /** A buffer on the heap, a view of a direct one, and one that is read-only. */
    @Test
    void buffersAreUsedWhereTheyLie() {
        int update = Function.SIGN_UPDATE.index();
        assertEquals(Ck.CKR_ARGUMENTS_BAD,
                NativeFunctions.bytesDirect(module, update, SESSION, ByteBuffer.wrap(DATA), 0, 1));
        assertEquals(List.of(), ScriptedModule.journal());
        ByteBuffer view = direct(DATA).position(OFF).limit(OFF + LEN).slice().asReadOnlyBuffer();
        ScriptedModule.answer("C_SignUpdate CKR_OK");
        assertEquals(0, NativeFunctions.bytesDirect(module, update, SESSION, view, 0, LEN));
        assertEquals(List.of("C_SignUpdate session=0xFEDCBA9876543210 part=\"1234\" -> CKR_OK"),
                ScriptedModule.journal());
        assertEquals(Ck.CKR_ARGUMENTS_BAD, NativeFunctions.bytesDirect(module, update, SESSION, view, 0, LEN + 1));
        ScriptedModule.answer("C_SignUpdate CKR_OK");
        assertEquals(0,
                NativeFunctions.bytesDirect(module, update, SESSION, ByteBuffer.allocateDirect(0), 0, 0));
    }

    @Test
    void theFunctionsAreThoseOfTheList() throws IOException {
        Path list = Path.of(System.getProperty("harlune.sources"), "src/Harlune/functions.txt");
        List<String> lines = Files.readAllLines(list).stream().filter(l -> !l.isBlank() && !l.startsWith("#")).toList();
        Map<String, Integer> sizes = new HashMap<>();
        Function[] functions = Function.values();
        assertEquals(lines.size(), functions.length);
        for (int i = 0; i < functions.length; i++) {
            String[] words = lines.get(i).split(" ");
            int index = sizes.merge(words[0], 1, Integer::sum) - 1;
            assertEquals(words[1], functions[i].standardName());
            assertEquals(index, functions[i].index(), functions[i]::toString);
            assertTrue(natives().contains(words[0]), words[0]);
        }
        assertFalse(sizes.isEmpty());
    }
}
