package harlune;

import static harlune.support.Ck.*;
import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.sun.jna.Library;
import com.sun.jna.Native;
import com.sun.jna.NativeLibrary;
import com.sun.jna.Pointer;

import harlune.support.Bridge;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Set;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.Mechanism;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/**
 * A module of the family that asks for the signer PIN while it signs. The PIN comes from another component of the
 * process, which writes it into the library's buffer by the buffer's name; here JNA is that component.
 */
class SignerPinTest {
    private static final Path MODULE = Path.of(System.getProperty("harlune.callback-module"));
    private static final NativeLibrary BRIDGE = NativeLibrary.getInstance(System.getProperty("harlune.library"));
    private static final int BUFFER = 20;
    private static final long KEY = 0xB03;
    private static final Mechanism MECHANISM = new Mechanism(CKM_RSA_PKCS);
    private static final byte[] DATA = ascii("contract");
    private static final byte[] SIGNATURE = ascii("SIG:tcartnoc");

    @TempDir
    private Path directory;
    private NativeCryptoki cryptoki;
    private Control module;
    private NativeSession session;

    /** What the module exports beside PKCS#11. */
    interface Control extends Library {
        int scripted_answer(String line);

        String scripted_journal();

        void scripted_clear_journal();
    }

    /** Binds a copy of the module under this name and opens a session, the user logged in. */
    private void bind(String name) throws IOException {
        Path copy = Files.copy(MODULE, directory.resolve(name));
        cryptoki = Bridge.initialize(copy.toString());
        module = Native.load(copy.toString(), Control.class);
        session = openSession();
        module.scripted_clear_journal();
    }

    private NativeSession openSession() {
        return slot().J_OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, CKU_USER, "1234");
    }

    private NativeSlot slot() {
        return cryptoki.GetSlotList(true)[0];
    }

    @AfterEach
    void release() {
        cryptoki.Finalize(null);
    }

    private static byte[] ascii(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    private static Pointer pinBuffer() {
        return BRIDGE.getGlobalVariableAddress("g_SignerPin");
    }

    private static void enterPin(String pin) {
        pinBuffer().write(0, Arrays.copyOf(ascii(pin), BUFFER), 0, BUFFER);
    }

    private void asksIn(String function) {
        assertEquals(0, module.scripted_answer(function + " asks always"));
    }

    private byte[] sign() {
        return session.J_Sign(session.sessionHandle(), true, MECHANISM, KEY, DATA, 0, DATA.length);
    }

    /** What the module was told in calls since the last look. */
    private Set<String> toldPins() {
        Set<String> pins = Pattern.compile(" signerPin=\"([^\"]*)\"").matcher(module.scripted_journal()).results()
                .map(match -> match.group(1)).collect(Collectors.toSet());
        module.scripted_clear_journal();
        return pins;
    }

    /** The last one fills the buffer, with no room for a zero behind it. */
    @ParameterizedTest
    @ValueSource(strings = {"1", "9876", "0123456789012345678", "01234567890123456789"})
    void theModuleIsToldThePinWhileItSigns(String pin) throws IOException {
        bind("libsissp11.so");
        asksIn("C_Sign");
        enterPin(pin);
        assertArrayEquals(SIGNATURE, sign());
        assertEquals(Set.of(pin), toldPins());
    }

    @Test
    void signingInPartsAsksAtTheEnd() throws IOException {
        bind("libSISSP11-2.so");
        asksIn("C_SignFinal");
        enterPin("9876");
        session.J_SignUpdate(session.sessionHandle(), true, MECHANISM, KEY, DATA, 0, 3);
        session.J_SignUpdate(session.sessionHandle(), false, null, 0, DATA, 3, DATA.length - 3);
        assertEquals(Set.of(), toldPins());
        assertArrayEquals(SIGNATURE, session.J_SignFinal());
        assertEquals(Set.of("9876"), toldPins());
    }

    @Test
    void thePinServesUntilASessionIsOpened() throws IOException {
        bind("libsissp11.so");
        asksIn("C_Sign");
        enterPin("9876");
        sign();
        assertArrayEquals(SIGNATURE, sign());
        openSession();
        assertArrayEquals(new byte[BUFFER], pinBuffer().getByteArray(0, BUFFER));
        assertEquals(Set.of("9876"), toldPins());
        assertRefused("J_Sign", CKR_PIN_INCORRECT, "PIN INCORRECT", this::sign);
        assertEquals(Set.of(""), toldPins());
    }

    @Test
    void withoutAPinTheModuleRefuses() throws IOException {
        bind("libsissp11.so");
        asksIn("C_Sign");
        assertRefused("J_Sign", CKR_PIN_INCORRECT, "PIN INCORRECT", this::sign);
    }

    @Test
    void aModuleOfAnotherNameGetsNoCallback() throws IOException {
        enterPin("9876");
        bind("other.so");
        assertArrayEquals(new byte[BUFFER], pinBuffer().getByteArray(0, BUFFER));
        asksIn("C_Sign");
        enterPin("9876");
        assertRefused("J_Sign", CKR_PIN_INCORRECT, "PIN INCORRECT", this::sign);
        assertEquals(Set.of(""), toldPins());
    }

    @Test
    void theConfigurationBesideTheModuleSaysThatOnePinIsEnough() throws IOException {
        Files.writeString(directory.resolve("libsissp11.so.conf"), "[signature]\nDsPinIsCNSPin=true\n");
        bind("libsissp11.so");
        assertFalse(cryptoki.IsSecondAuthenticationRequired());
        asksIn("C_Sign");
        enterPin("1234");
        assertArrayEquals(SIGNATURE, sign());
    }

    @Test
    void otherwiseTheSignatureHasItsOwn() throws IOException {
        Files.writeString(directory.resolve("libsissp11.so.conf"), "[signature]\nDsPinIsCNSPin=false\n");
        bind("libsissp11.so");
        assertTrue(cryptoki.IsSecondAuthenticationRequired());
    }
}
