package harlune;

import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Bridge;
import harlune.support.ChildJvm;
import harlune.support.Ck;
import harlune.support.ScriptedModule;

import java.io.IOException;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.function.BiConsumer;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;

/**
 * The calls that end the JVM, as their documentation says, and the forms of the same calls that do not. Whoever builds
 * on the native methods has to know them exactly.
 */
class JvmEndingCallsTest {
    private static final byte[] IN = new byte[4];

    /** Methods that write into the caller's array, called with that array or with null. */
    private static final Map<String, BiConsumer<NativeSession, byte[]>> CALLS = new TreeMap<>(Map.of(
            "SignRecover", (session, out) -> session.J_SignRecover(IN, 0, 4, out, 0),
            "VerifyRecover", (session, out) -> session.J_VerifyRecover(IN, 0, 4, out, 0),
            "DigestFinal", (session, out) -> session.J_DigestFinal(out, 0),
            "DecryptDigestUpdate", (session, out) -> session.J_DecryptDigestUpdate(IN, 0, 4, out, 0),
            "DigestEncryptUpdate", (session, out) -> session.J_DigestEncryptUpdate(IN, 0, 4, out, 0),
            "SignEncryptUpdate", (session, out) -> session.J_SignEncryptUpdate(IN, 0, 4, out, 0),
            "DecryptVerifyUpdate", (session, out) -> session.J_DecryptVerifyUpdate(IN, 0, 4, out, 0)));

    private NativeCryptoki cryptoki;
    private NativeSession session;

    static Set<String> calls() {
        return CALLS.keySet();
    }

    @BeforeEach
    void open() {
        ScriptedModule.reset();
        cryptoki = Bridge.initialize(ScriptedModule.PATH);
        session = cryptoki.GetSlotList(true)[0].J_OpenSession(Ck.CKF_SERIAL_SESSION);
    }

    @AfterEach
    void release() {
        cryptoki.Finalize(null);
    }

    @ParameterizedTest
    @MethodSource("calls")
    void withoutAnArrayARefusalIsAnException(String call) {
        ScriptedModule.answer("C_" + call + " 0x80000001");
        assertRefused("J_" + call, 0x80000001, "VENDOR DEFINED", () -> CALLS.get(call).accept(session, null));
    }

    @ParameterizedTest
    @MethodSource("calls")
    void withAnArrayARefusalEndsTheJvm(String call) throws IOException, InterruptedException {
        assertEndsItsJvm(call);
    }

    @Test
    void aNullPartEndsTheJvm() throws IOException, InterruptedException {
        assertEndsItsJvm("VerifyUpdate");
    }

    /** Runs {@link #main} in a JVM like this one, which must reach the call and crash in it. */
    private static void assertEndsItsJvm(String call) throws IOException, InterruptedException {
        ChildJvm.End end = ChildJvm.run(List.of(), JvmEndingCallsTest.class, call);
        String told = end.told();
        assertNotEquals(0, end.status(), told);
        assertTrue(told.contains("calling\n"), told);
        assertTrue(told.contains("A fatal error has been detected by the Java Runtime Environment"), told);
        assertFalse(told.contains("survived"), told);
    }

    /** The child: makes one call, and tells when it has survived. */
    public static void main(String[] arguments) {
        String call = arguments[0];
        NativeCryptoki cryptoki = Bridge.initialize(ScriptedModule.PATH);
        NativeSession session = cryptoki.GetSlotList(true)[0].J_OpenSession(Ck.CKF_SERIAL_SESSION);
        ScriptedModule.answer("C_" + call + " 0x80000001");
        System.out.println("calling");
        System.out.flush();
        try {
            if (CALLS.containsKey(call)) {
                CALLS.get(call).accept(session, new byte[64]);
            } else {
                session.J_VerifyUpdate(session.sessionHandle(), false, null, 0, null, 0, 0);
            }
        } finally {
            System.out.println("survived");
        }
    }
}
