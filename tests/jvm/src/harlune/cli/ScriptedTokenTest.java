package harlune.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.util.Arrays;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;

import velnor.cli.Main;

/** Tokens that come and go, and tokens that answer oddly: on a module that can be told what to say. */
class ScriptedTokenTest {
    private static final String NEVER_TELLS = "C_WaitForSlotEvent CKR_FUNCTION_NOT_SUPPORTED always";

    /** The command line in a JVM that has put answers in the module's mouth before: the arguments up to {@code --}. */
    public static final class Scripted {
        public static void main(String[] arguments) {
            int begin = Arrays.asList(arguments).indexOf("--");
            Arrays.stream(arguments, 0, begin).forEach(ScriptedModule::answer);
            Main.main(Arrays.copyOfRange(arguments, begin + 1, arguments.length));
        }
    }

    private static Velnor scripted(Object... answers) {
        return Velnor.ofJvm("-Dharlune.module=" + ScriptedModule.PATH, "-cp", System.getProperty("java.class.path"),
                Scripted.class.getName()).arguments(answers).arguments("--").module(ScriptedModule.PATH);
    }

    @Test
    void whatTheModuleTells() throws Exception {
        Object[] answers = {"C_WaitForSlotEvent", "C_WaitForSlotEvent CKR_OK slot=0x11",
            "C_WaitForSlotEvent CKR_OK slot=0x22"};
        assertEquals("slot 17: token \"Scripted token\"\nslot 34: no token\n",
                scripted(answers).arguments("wait", "--count", "2", "--timeout", "60").run().text());
        assertEquals("{\"events\":[{\"slot\":17,\"label\":\"Scripted token\",\"tokenPresent\":true},"
                + "{\"slot\":34,\"label\":null,\"tokenPresent\":false}]}",
                scripted(answers).arguments("wait", "--count", "2", "--timeout", "60", "--json").run().json()
                        .toString());
    }

    /** The look before: slots 17 and 34. Then 17 has none, and later it has one again. */
    @Test
    void whatAModuleDoesNotTellIsSeen() throws Exception {
        assertEquals("slot 17: no token\nslot 17: token \"Scripted token\"\n",
                scripted(NEVER_TELLS, "C_GetSlotInfo", "C_GetSlotInfo", "C_GetSlotInfo flags=0", "C_GetSlotInfo",
                        "C_GetSlotInfo flags=0").arguments("wait", "--count", "2", "--timeout", "60").run().text());
    }

    @Test
    void aTokenOfHugeMemoryCanBeUsedByItsSlot() throws Exception {
        Velnor huge = scripted("C_GetTokenInfo ulTotalPublicMemory=0x100000000 always")
                .arguments("objects", "--slot", "17", "--label", "none");
        assertEquals("There is no object to be seen.\n", huge.run().assertStatus(0).text());
        huge.pin("9999").run().assertRefused(3, "J_Login: PIN INCORRECT (CKR_PIN_INCORRECT, 0xA0)");
    }

    @Test
    void aModuleThatFailsIsNotAskedForever() throws Exception {
        scripted("C_WaitForSlotEvent CKR_DEVICE_ERROR").arguments("wait").run().assertRefused(3,
                "J_WaitForSlotEvent: DEVICE ERROR (CKR_DEVICE_ERROR, 0x30)");
    }

    /** The command line, which tells on stderr when a call does not come back from the module. */
    public static final class Stuck {
        public static void main(String[] arguments) {
            Thread watch = new Thread(() -> {
                while (ScriptedModule.blocked() == 0) {
                    Thread.onSpinWait();
                }
                System.err.println("stuck");
            });
            watch.setDaemon(true);
            watch.start();
            Scripted.main(arguments);
        }
    }

    @Test
    void aCallThatNeverComesBackDoesNotKeepTheProcess() throws Exception {
        Process process = Velnor.ofJvm("-Dharlune.module=" + ScriptedModule.PATH, "-cp",
                System.getProperty("java.class.path"), Stuck.class.getName())
                .arguments("C_GetInfo block", "--", "info").module(ScriptedModule.PATH).process().start();
        try {
            assertEquals('s', process.getErrorStream().read());
            process.destroy();
            assertTrue(process.waitFor(60, TimeUnit.SECONDS), "the process waits for its module");
            assertEquals(143, process.exitValue());
        } finally {
            process.destroyForcibly();
        }
    }
}
