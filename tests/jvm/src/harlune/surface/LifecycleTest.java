package harlune.surface;

import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertInstanceOf;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Bridge;
import harlune.support.ChildJvm;
import harlune.support.ScriptedModule;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Optional;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.SlotWatch;
import velnor.Threading;
import velnor.TokenSlot;

/** Opening and closing modules, and waiting for slot events meanwhile. */
@Timeout(60)
class LifecycleTest {
    @BeforeEach
    void reset() {
        Bridge.load();
        ScriptedModule.reset();
    }

    @AfterEach
    void nothingStaysOpen() {
        assertEquals(List.of(), ScriptedModule.unused());
        Surface.open(ScriptedModule.PATH).close();
    }

    private static List<String> calls() {
        return ScriptedModule.journal().stream().filter(line -> !line.startsWith("C_GetFunctionList"))
                .map(line -> line.replaceAll(" .*-> ", " ")).collect(Collectors.toList());
    }

    @Test
    void aModuleIsReopenedAsOftenAsIsWanted() {
        for (int i = 0; i < 3; i++) {
            ScriptedModule.clearJournal();
            try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
                assertEquals(ScriptedModule.PATH, cryptoki.modulePath());
                assertEquals("Scripted module", cryptoki.info().libraryDescription());
                assertTrue(cryptoki.isOpen());
            }
            assertEquals(List.of("C_Initialize CKR_OK", "C_GetInfo CKR_OK", "C_Finalize CKR_OK"), calls());
        }
    }

    @Test
    void aModuleIsOpenOnce() {
        try (Cryptoki cryptoki = Cryptoki.open(Path.of(ScriptedModule.PATH))) {
            ScriptedModule.clearJournal();
            IllegalStateException e = assertThrows(IllegalStateException.class,
                    () -> Surface.open(ScriptedModule.PATH));
            assertTrue(e.getMessage().contains(cryptoki.toString()), e.getMessage());
            assertEquals(List.of(), calls());
            assertTrue(cryptoki.isOpen());
            assertEquals(Optional.of(cryptoki), Cryptoki.current());
        }
        assertEquals(Optional.empty(), Cryptoki.current());
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "libso\0ftokn3.so"})
    void aFileNameIsOne(String name) {
        assertThrows(IllegalArgumentException.class, () -> Surface.open(name));
    }

    @Test
    void nothingMissingIsLoaded() {
        assertThrows(NullPointerException.class, () -> Cryptoki.open((String) null));
        assertThrows(NullPointerException.class, () -> Cryptoki.open((Path) null));
        assertThrows(NullPointerException.class, () -> Cryptoki.open(ScriptedModule.PATH, (Threading) null));
    }

    @ParameterizedTest
    @ValueSource(strings = {"/nowhere/module.so", "/etc/hostname", "libc.so.6"})
    void whatCannotBeLoadedIsToldAndForgotten(String name) {
        CryptokiException e = assertThrows(CryptokiException.class, () -> Surface.open(name));
        assertEquals("loadCryptokiLibrary", e.functionName());
    }

    @Test
    void aRefusedInitializeIsToldAndForgotten() {
        ScriptedModule.answer("C_Initialize CKR_DEVICE_ERROR");
        assertRefused("J_Initialize", CKR.DEVICE_ERROR, "DEVICE ERROR", () -> Surface.open(ScriptedModule.PATH));
    }

    @Test
    void aModuleThatRefusesToFinalizeCountsAsClosed() {
        Cryptoki cryptoki = Surface.open(ScriptedModule.PATH);
        TokenSlot slot = cryptoki.slots().get(0);
        ScriptedModule.answer("C_Finalize CKR_DEVICE_ERROR");
        assertRefused("J_Finalize", CKR.DEVICE_ERROR, "DEVICE ERROR", cryptoki::close);
        assertFalse(cryptoki.isOpen());
        cryptoki.close();
        assertThrows(IllegalStateException.class, slot::slotInfo);
    }

    @Test
    void aModuleThatRefusedToFinalizeIsFinalizedWhenItIsReopened() {
        Cryptoki refusing = Surface.open(ScriptedModule.PATH);
        ScriptedModule.answer("C_Finalize CKR_DEVICE_ERROR");
        assertThrows(CryptokiException.class, refusing::close);
        ScriptedModule.clearJournal();
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            assertEquals(List.of("C_Finalize CKR_OK", "C_Initialize CKR_OK"), calls());
            assertEquals(1, cryptoki.slotsWithToken().size());
        }
        ScriptedModule.clearJournal();
        Surface.open(ScriptedModule.PATH).close();
        assertEquals(List.of("C_Initialize CKR_OK", "C_Finalize CKR_OK"), calls());
    }

    @Test
    void aModuleThatGoesOnRefusingIsNotReopened() {
        Cryptoki refusing = Surface.open(ScriptedModule.PATH);
        ScriptedModule.answer("C_Finalize CKR_DEVICE_ERROR");
        ScriptedModule.answer("C_Finalize CKR_DEVICE_ERROR");
        assertThrows(CryptokiException.class, refusing::close);
        assertRefused("J_Initialize", CKR.CRYPTOKI_ALREADY_INITIALIZED, "CRYPTOKI ALREADY INITIALIZED",
                () -> Surface.open(ScriptedModule.PATH));
    }

    /** In a JVM that does not steer the module and so maps it for nothing else. */
    @Test
    void aClosedModuleStaysMapped() throws IOException, InterruptedException {
        ChildJvm.End end = ChildJvm.run(List.of(), LifecycleTest.class, ScriptedModule.PATH);
        assertEquals("bare: false\nsurface: true\n", end.told());
    }

    /** The child: tells whether the module is mapped after it was closed. */
    public static void main(String[] arguments) throws IOException {
        Bridge.initialize(arguments[0]).Finalize(null);
        System.out.println("bare: " + isMapped(arguments[0]));
        Surface.open(arguments[0]).close();
        System.out.println("surface: " + isMapped(arguments[0]));
    }

    private static boolean isMapped(String module) throws IOException {
        return Files.readString(Path.of("/proc/self/maps")).contains(module);
    }

    @Test
    void slotsAreListedAndFoundByLabel() {
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            assertEquals(List.of(0x11, 0x22),
                    cryptoki.slots().stream().map(TokenSlot::slotID).collect(Collectors.toList()));
            assertEquals(List.of(cryptoki.slots().get(0)), cryptoki.slotsWithToken());
            assertEquals(0x11, cryptoki.tokenByLabel("Scripted token").slotID());
            IllegalArgumentException e = assertThrows(IllegalArgumentException.class,
                    () -> cryptoki.tokenByLabel("Scripted"));
            assertTrue(e.getMessage().contains("\"Scripted token\""), e.getMessage());
            ScriptedModule.answer("C_GetSlotList list=0x11,0x12");
            ScriptedModule.answer("C_GetSlotList list=0x11,0x12");
            ScriptedModule.answer("C_GetTokenInfo");
            ScriptedModule.answer("C_GetTokenInfo CKR_OK label=\"Scripted token\"");
            assertThrows(IllegalArgumentException.class, () -> cryptoki.tokenByLabel("Scripted token"));
            assertTrue(cryptoki.slots().get(0).isTokenPresent());
            assertFalse(cryptoki.slots().get(1).isTokenPresent());
            assertTrue(cryptoki.isSecondAuthenticationRequired());
        }
    }

    @Test
    void aTokenThatDoesNotTellItsLabelIsPassedOver() {
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            ScriptedModule.answer("C_GetSlotList list=0x11,0x12");
            ScriptedModule.answer("C_GetSlotList list=0x11,0x12");
            ScriptedModule.answer("C_GetTokenInfo CKR_DEVICE_REMOVED");
            ScriptedModule.answer("C_GetTokenInfo CKR_OK label=\"Scripted token\"");
            assertEquals(0x12, cryptoki.tokenByLabel("Scripted token").slotID());
            ScriptedModule.answer("C_GetTokenInfo CKR_DEVICE_REMOVED");
            IllegalArgumentException e = assertThrows(IllegalArgumentException.class,
                    () -> cryptoki.tokenByLabel("Scripted token"));
            assertTrue(e.getMessage().contains("DEVICE_REMOVED"), e.getMessage());
        }
    }

    @Test
    void slotEventsAreAskedFor() {
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            assertEquals(Optional.empty(), cryptoki.pollSlotEvent());
            ScriptedModule.answer("C_WaitForSlotEvent slot=0x22");
            assertEquals(Optional.of(cryptoki.slots().get(1)), cryptoki.pollSlotEvent());
            ScriptedModule.answer("C_WaitForSlotEvent CKR_FUNCTION_NOT_SUPPORTED");
            assertThrows(CryptokiException.class, cryptoki::pollSlotEvent);
            ScriptedModule.answer("C_WaitForSlotEvent CKR_FUNCTION_NOT_SUPPORTED");
            assertRefused("J_WaitForSlotEvent", CKR.FUNCTION_NOT_SUPPORTED, "FUNCTION NOT SUPPORTED",
                    cryptoki::waitForSlotEvent);
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"CKR_FUNCTION_NOT_SUPPORTED", "CKR_NO_EVENT"})
    void slotsAreWatchedWhetherOrNotTheModuleTells(String answer) throws InterruptedException {
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            SlotWatch watch = cryptoki.watchSlots();
            ScriptedModule.answer("C_WaitForSlotEvent " + answer);
            assertEquals(Optional.empty(), watch.poll());
            ScriptedModule.answer("C_WaitForSlotEvent " + answer);
            ScriptedModule.answer("C_GetSlotInfo flags=0");
            TokenSlot gone = cryptoki.slots().get(0);
            assertEquals(Optional.of(gone), watch.poll());
            ScriptedModule.answer("C_WaitForSlotEvent " + answer);
            assertEquals(Optional.of(gone), watch.await(Duration.ofMinutes(1)), "it is there again");
            ScriptedModule.answer("C_WaitForSlotEvent slot=0x22");
            assertEquals(0x22, watch.poll().orElseThrow().id());
            ScriptedModule.answer("C_WaitForSlotEvent " + answer);
            assertEquals(Optional.empty(), watch.await(Duration.ZERO));
        }
    }

    @Test
    void aThreadThatWaitsIsInNobodysWay() throws Exception {
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            CompletableFuture<TokenSlot> waiting = waiting(cryptoki);
            assertEquals("Scripted module", cryptoki.info().libraryDescription());
            cryptoki.slots().get(0).openSession().close();
            assertFalse(waiting.isDone());
            ScriptedModule.answer("C_WaitForSlotEvent slot=0x22");
            assertEquals(0x22, waiting.get(1, TimeUnit.MINUTES).slotID());
        }
    }

    /** A thread inside the module would be there still when it is finalised. */
    @Test
    void aThreadThatWaitsIsNeverLeftInsideTheModule() throws Exception {
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            waiting(cryptoki);
            List<String> waits = ScriptedModule.journal().stream().filter(line -> line.contains("C_WaitForSlotEvent"))
                    .collect(Collectors.toList());
            assertTrue(waits.stream().allMatch(line -> line.contains("flags=0x1")), waits::toString);
        }
    }

    @Test
    void aWaitEndsWithItsTime() throws InterruptedException {
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            assertEquals(Optional.empty(), cryptoki.waitForSlotEvent(Duration.ofMillis(250)));
            ScriptedModule.answer("C_WaitForSlotEvent CKR_NO_EVENT");
            ScriptedModule.answer("C_WaitForSlotEvent slot=0x22");
            assertEquals(0x22, cryptoki.waitForSlotEvent(Duration.ofMinutes(1)).orElseThrow().slotID());
            ScriptedModule.answer("C_WaitForSlotEvent slot=0x22");
            assertThrows(NullPointerException.class, () -> cryptoki.waitForSlotEvent(null), "and the event is kept");
            assertEquals(0x22, cryptoki.waitForSlotEvent(Duration.ZERO).orElseThrow().slotID());
            assertEquals(Optional.empty(), cryptoki.waitForSlotEvent(Duration.ofSeconds(Long.MIN_VALUE)));
            ScriptedModule.answer("C_WaitForSlotEvent CKR_NO_EVENT");
            ScriptedModule.answer("C_WaitForSlotEvent slot=0x22");
            assertEquals(0x22, cryptoki.waitForSlotEvent(Duration.ofSeconds(Long.MAX_VALUE)).orElseThrow().slotID());
        }
    }

    @Test
    void aWaitEndsWithItsThread() {
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            Thread.currentThread().interrupt();
            assertThrows(InterruptedException.class, cryptoki::waitForSlotEvent);
        }
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void aWaitEndsWithItsModule(boolean reopened) throws Exception {
        Cryptoki cryptoki = Surface.open(ScriptedModule.PATH, Threading.CONCURRENT);
        CompletableFuture<TokenSlot> waiting = waiting(cryptoki);
        cryptoki.close();
        Cryptoki next = reopened ? Surface.open(ScriptedModule.PATH) : cryptoki;
        Throwable thrown = assertThrows(ExecutionException.class, () -> waiting.get(1, TimeUnit.MINUTES)).getCause();
        assertInstanceOf(IllegalStateException.class, thrown, thrown::toString);
        next.close();
    }

    /** Starts to wait, and comes back when the module has been asked twice. */
    private static CompletableFuture<TokenSlot> waiting(Cryptoki cryptoki) throws InterruptedException {
        CompletableFuture<TokenSlot> waiting = new CompletableFuture<>();
        Thread thread = new Thread(() -> {
            try {
                waiting.complete(cryptoki.waitForSlotEvent());
            } catch (InterruptedException | RuntimeException e) {
                waiting.completeExceptionally(e);
            }
        });
        thread.setDaemon(true);
        thread.start();
        while (ScriptedModule.journal().stream().filter(line -> line.contains("C_WaitForSlotEvent")).count() < 2) {
            Thread.sleep(1);
        }
        return waiting;
    }

    @Test
    void aTokenThatArrivesWhileSlotsAreListedIsListed() {
        try (Cryptoki cryptoki = Surface.open(ScriptedModule.PATH)) {
            ScriptedModule.answer("C_GetSlotList");
            ScriptedModule.answer("C_GetSlotList CKR_BUFFER_TOO_SMALL");
            assertEquals(2, cryptoki.slots().size());
            for (int i = 0; i < 5; i++) {
                ScriptedModule.answer("C_GetSlotList");
                ScriptedModule.answer("C_GetSlotList CKR_BUFFER_TOO_SMALL");
            }
            assertEquals(CKR.BUFFER_TOO_SMALL,
                    assertThrows(CryptokiException.class, cryptoki::slots).code());
        }
    }
}
