package harlune.surface;

import static harlune.support.Refusal.assertRefused;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import harlune.support.Bridge;
import harlune.support.ScriptedModule;

import java.util.List;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.CKR;
import velnor.Cryptoki;
import velnor.OpenOptions;
import velnor.Threading;

/** What a module is initialised with, and what its answer means for the threads. */
class InitializationTest {
    private static final String WITH_ARGUMENTS = "C_Initialize args=non-null -> ";
    private static final String WITHOUT = "C_Initialize args=null -> ";

    @BeforeEach
    void reset() {
        Bridge.load();
        ScriptedModule.reset();
    }

    @AfterEach
    void nothingIsLeft() {
        assertEquals(List.of(), ScriptedModule.unused());
    }

    private static List<String> initializations() {
        return ScriptedModule.journal().stream().filter(line -> line.startsWith("C_Initialize")).toList();
    }

    @Test
    void aModuleThatAgreesToLockIsConcurrent() {
        try (Cryptoki cryptoki = Cryptoki.open(ScriptedModule.PATH)) {
            assertEquals(Threading.CONCURRENT, cryptoki.threading());
        }
        assertEquals(List.of(WITH_ARGUMENTS + "CKR_OK"), initializations());
    }

    @ParameterizedTest
    @ValueSource(strings = {"CKR_CANT_LOCK", "CKR_NEED_TO_CREATE_THREADS", "CKR_ARGUMENTS_BAD"})
    void aModuleThatDoesNotIsSerialized(String answer) {
        ScriptedModule.answer("C_Initialize " + answer);
        try (Cryptoki cryptoki = Cryptoki.open(ScriptedModule.PATH)) {
            assertEquals(Threading.SERIALIZED, cryptoki.threading());
        }
        assertEquals(List.of(WITH_ARGUMENTS + answer, WITHOUT + "CKR_OK"), initializations());
    }

    @ParameterizedTest
    @EnumSource(value = Threading.class, names = "AUTOMATIC", mode = EnumSource.Mode.EXCLUDE)
    void whatIsAskedForIsDone(Threading threading) {
        for (String answer : List.of("CKR_OK", "CKR_CANT_LOCK")) {
            ScriptedModule.answer(answer.equals("CKR_OK") ? "C_Initialize" : "C_Initialize " + answer);
            try (Cryptoki cryptoki = Cryptoki.open(ScriptedModule.PATH, threading)) {
                assertEquals(threading, cryptoki.threading());
            }
        }
    }

    @Test
    void anotherRefusalIsTold() {
        ScriptedModule.answer("C_Initialize CKR_HOST_MEMORY");
        assertRefused("J_Initialize", CKR.HOST_MEMORY, "HOST MEMORY", () -> Cryptoki.open(ScriptedModule.PATH));
        ScriptedModule.answer("C_Initialize CKR_CANT_LOCK");
        ScriptedModule.answer("C_Initialize CKR_DEVICE_ERROR");
        assertRefused("J_Initialize", CKR.DEVICE_ERROR, "DEVICE ERROR", () -> Cryptoki.open(ScriptedModule.PATH));
        Cryptoki.open(ScriptedModule.PATH).close();
    }

    /** A module that was to have the text must not be opened without it. */
    @ParameterizedTest
    @ValueSource(strings = {"CKR_CANT_LOCK", "CKR_ARGUMENTS_BAD"})
    void aReservedTextIsNotGivenUp(String answer) {
        OpenOptions options = OpenOptions.DEFAULT.reserved("configdir='/nowhere'");
        ScriptedModule.answer("C_Initialize " + answer);
        assertThrows(velnor.CryptokiException.class, () -> Cryptoki.open(ScriptedModule.PATH, options));
        assertEquals(List.of(WITH_ARGUMENTS + answer), initializations());
        assertThrows(IllegalArgumentException.class, () -> OpenOptions.DEFAULT.reserved("a\0b"));
        assertEquals("OpenOptions[AUTOMATIC, with a reserved text]", options.toString());
    }
}
