package harlune.support;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.sun.jna.Callback;
import com.sun.jna.Library;
import com.sun.jna.Native;
import com.sun.jna.NativeLong;

import java.util.List;

/**
 * The scripted PKCS#11 module (tests/native/module/scripted_module.h says what it understands), steered from Java. The
 * loader knows it as the same library that the bridge binds, so both speak to the same module.
 */
public final class ScriptedModule {
    public static final String PATH = System.getProperty("harlune.module");

    private static final Control CONTROL = Native.load(PATH, Control.class);

    /** Hears of every call of the module, in the thread of the call and before it returns. */
    public interface Listener extends Callback {
        void heard(String line);
    }

    /** Kept, because native code does not. */
    private static Listener listener;

    private ScriptedModule() {
    }

    /** Forgets scripts, journal, sessions and objects. */
    public static void reset() {
        CONTROL.scripted_reset();
    }

    /** Has every call told to this one, until the next reset. */
    public static void listen(Listener wanted) {
        listener = wanted;
        CONTROL.scripted_set_listener(listener);
    }

    /** Queues an answer for the next call of one function. */
    public static void answer(String line) {
        assertEquals(0, CONTROL.scripted_answer(line), () -> line + ": " + CONTROL.scripted_error());
    }

    /** Every call since the last reset, one a line. */
    public static List<String> journal() {
        return CONTROL.scripted_journal().lines().toList();
    }

    public static void clearJournal() {
        CONTROL.scripted_clear_journal();
    }

    /** Answers that no call has used. */
    public static List<String> unused() {
        return CONTROL.scripted_unused().lines().toList();
    }

    /** Lets calls that were answered with {@code block} go on. */
    public static void release() {
        CONTROL.scripted_release();
    }

    /** How many calls wait in {@code block}. */
    public static int blocked() {
        return CONTROL.scripted_blocked();
    }

    /** How often the module was called since the last reset. */
    public static long calls() {
        return CONTROL.scripted_calls().longValue();
    }

    /** Makes the n-th call from now on, counted from 1, answer this code; 0 cancels. */
    public static void failCall(int n, int code) {
        CONTROL.scripted_fail_call(new NativeLong(n), new NativeLong(Integer.toUnsignedLong(code)));
    }

    /** The control functions that the module exports beside PKCS#11. */
    interface Control extends Library {
        void scripted_reset();

        void scripted_set_listener(Listener listener);

        int scripted_answer(String line);

        String scripted_error();

        String scripted_unused();

        String scripted_journal();

        void scripted_clear_journal();

        void scripted_release();

        int scripted_blocked();

        NativeLong scripted_calls();

        void scripted_fail_call(NativeLong n, NativeLong code);
    }
}
