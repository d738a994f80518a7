package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import com.sun.jna.Library;
import com.sun.jna.Native;
import com.sun.jna.NativeLibrary;
import com.sun.jna.Pointer;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.regex.MatchResult;
import java.util.regex.Pattern;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.CKM;
import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Session;

/** A module that asks for the signer PIN while it signs, through the surface; JNA enters the PIN by the buffer's name. */
class SurfaceSignerPinTest {
    private static final Pointer BUFFER =
            NativeLibrary.getInstance(System.getProperty("harlune.library")).getGlobalVariableAddress("g_SignerPin");
    private static final int LENGTH = 20;

    @TempDir
    private Path directory;
    private Control module;
    private Cryptoki cryptoki;
    private Session session;

    /** What the module exports beside PKCS#11. */
    interface Control extends Library {
        int scripted_answer(String line);

        String scripted_journal();

        void scripted_clear_journal();
    }

    @BeforeEach
    void open() throws IOException {
        Path copy = Files.copy(Path.of(System.getProperty("harlune.callback-module")),
                directory.resolve("libsissp11.so"));
        cryptoki = Surface.open(copy.toString());
        module = Native.load(copy.toString(), Control.class);
        session = cryptoki.slotsWithToken().get(0).openSession();
        session.login("1234".toCharArray());
        assertEquals(0, module.scripted_answer("C_Sign asks always"));
        module.scripted_clear_journal();
    }

    @AfterEach
    void close() {
        cryptoki.close();
    }

    private static void enter(String pin) {
        BUFFER.write(0, Arrays.copyOf(pin.getBytes(StandardCharsets.US_ASCII), LENGTH), 0, LENGTH);
    }

    private void sign() {
        session.sign(new Mechanism(CKM.RSA_PKCS), session.object(0xB03), new byte[1]);
    }

    private List<String> told() {
        List<String> pins = Pattern.compile(" signerPin=\"([^\"]*)\"").matcher(module.scripted_journal()).results()
                .map((MatchResult match) -> match.group(1)).distinct().toList();
        module.scripted_clear_journal();
        return pins;
    }

    private static void assertBlank() {
        assertArrayEquals(new byte[LENGTH], BUFFER.getByteArray(0, LENGTH));
    }

    @Test
    void theModuleIsToldThePinAndTheNextSessionWipesIt() {
        for (String pin : List.of("9876", "01234567890123456789")) {
            enter(pin);
            sign();
            assertEquals(List.of(pin), told());
            cryptoki.slotsWithToken().get(0).openSession().close();
            assertBlank();
            assertEquals(CKR.PIN_INCORRECT, assertThrows(CryptokiException.class, this::sign).code());
            assertEquals(List.of(""), told());
        }
    }

    /** What stands behind the first zero, too. */
    @Test
    void allOfTheBufferIsWiped() {
        enter("98\0a longer one");
        cryptoki.slotsWithToken().get(0).openReadOnlySession();
        assertBlank();
    }
}
