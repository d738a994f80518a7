package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;

import harlune.support.ChildJvm;

import java.util.List;
import java.util.Map;

import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

import velnor.CKR;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Session;

/** Modules that turn against their process, each in a JVM of its own, which comes to its end in good order. */
class RogueModuleTest {
    private static final String MODULE = System.getProperty("harlune.rogue-module");

    private static String told(Runnable call) {
        try {
            call.run();
            return "done";
        } catch (CryptokiException e) {
            return CKR.name(e.code());
        }
    }

    /** Calls the module, which goes wrong in the first call, and tells what the later ones came to. */
    public static void main(String[] arguments) {
        Cryptoki cryptoki = Surface.open(MODULE);
        Session session = cryptoki.slots().get(0).openSession();
        session.random(3);
        System.gc();
        System.out.println(told(() -> session.random(3)) + " " + told(cryptoki::slots) + " " + told(session::close) + " "
                + told(cryptoki::close));
    }

    @ParameterizedTest
    @CsvSource({"unloads itself,done done done done", "forks,done done done done", "moves,done done done done",
        "empties its list,CKR_FUNCTION_NOT_SUPPORTED CKR_FUNCTION_NOT_SUPPORTED CKR_FUNCTION_NOT_SUPPORTED "
                + "CKR_FUNCTION_NOT_SUPPORTED"})
    void theJvmGoesOn(String what, String expected) throws Exception {
        ChildJvm.End end = ChildJvm.run(List.of(), Map.of("HARLUNE_ROGUE", what), RogueModuleTest.class, what);
        assertEquals(expected + "\n", end.told());
        assertEquals(0, end.status());
    }
}
