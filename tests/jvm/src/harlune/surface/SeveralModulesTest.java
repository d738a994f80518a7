package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;
import harlune.support.Tokens;

import java.nio.charset.StandardCharsets;
import java.security.MessageDigest;
import java.util.List;
import java.util.Optional;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

import velnor.CKM;
import velnor.CKS;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.OpenOptions;
import velnor.Session;
import velnor.Threading;

/** A real module and the scripted one at the same time. NSS's softoken is opened as it is, with its own arguments. */
class SeveralModulesTest {
    private static final byte[] DATA = "data".getBytes(StandardCharsets.UTF_8);

    private Cryptoki scripted;
    private Cryptoki real;

    @BeforeEach
    void open() {
        scripted = Surface.scripted();
        String parameters = System.getenv("NSS_SHIM_PARAMETERS");
        real = parameters == null ? Cryptoki.open(Tokens.MODULE)
                : Cryptoki.open("libsoftokn3.so", OpenOptions.DEFAULT.reserved(parameters));
    }

    @AfterEach
    void close() {
        real.close();
        scripted.close();
    }

    @Test
    void eachWorksWithItsOwn() throws Exception {
        byte[] digest = MessageDigest.getInstance("SHA-256").digest(DATA);
        try (Session one = scripted.slotsWithToken().get(0).openSession();
                Session other = real.tokenByLabel(Tokens.LABEL).openSession()) {
            other.login(Tokens.PIN.toCharArray());
            assertEquals(CKS.RW_USER_FUNCTIONS, other.info().state());
            assertEquals(CKS.RW_PUBLIC_SESSION, one.info().state());
            Mechanism sha256 = new Mechanism(CKM.SHA256);
            assertTrue(new String(one.digest(sha256, DATA), StandardCharsets.UTF_8).startsWith("data..."));
            assertArrayEquals(digest, other.digest(sha256, DATA));
            assertThrows(IllegalArgumentException.class, () -> other.digestKey(sha256, one.object(0xB01)));
        }
        assertEquals(Threading.CONCURRENT, real.threading());
    }

    @Test
    void theyAreListedInOrder() {
        assertEquals(List.of(scripted, real), Cryptoki.allOpen());
        assertEquals(Optional.of(real), Cryptoki.current());
        real.close();
        assertEquals(Optional.of(scripted), Cryptoki.current());
        assertEquals(List.of(scripted), Cryptoki.allOpen());
    }

    @Test
    void theEndOfOneIsNotTheOthers() {
        Session other = real.tokenByLabel(Tokens.LABEL).openSession();
        scripted.close();
        assertEquals(8, other.random(8).length);
        scripted = Surface.scripted();
        assertEquals("Scripted module", scripted.info().libraryDescription());
        real.close();
        assertFalse(other.isOpen());
        assertEquals("Scripted module", scripted.info().libraryDescription());
    }

    @Test
    void aStuckCallInOneStopsNotTheOther() throws InterruptedException {
        ScriptedModule.answer("C_GetInfo block");
        Thread stuck = new Thread(scripted::info);
        stuck.start();
        while (ScriptedModule.blocked() == 0) {
            Thread.sleep(1);
        }
        try (Session other = real.tokenByLabel(Tokens.LABEL).openSession()) {
            assertEquals(8, other.random(8).length);
        }
        real.close();
        ScriptedModule.release();
        stuck.join();
    }
}
