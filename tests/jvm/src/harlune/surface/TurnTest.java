package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;

import velnor.Cryptoki;
import velnor.Inside;
import velnor.Session;
import velnor.TokenObject;

/** Whatever is public enters the module in its turn, counted, and when it may: looked at in every call of the module. */
class TurnTest {
    private static final int CALLS = 8_000;
    private static final Pattern LINE = Pattern.compile("(C_\\w+) (?:session=(0x\\w+|\\d+))?.*");
    /** They come before the module is open and after nobody is inside any more. */
    private static final Set<String> WITHOUT_TURN = Set.of("C_GetFunctionList", "C_Initialize", "C_Finalize");

    private final Map<String, String> faults = new LinkedHashMap<>();
    private final Set<String> heard = new TreeSet<>();

    @AfterEach
    void stopListening() {
        ScriptedModule.reset();
    }

    /** Looks at what the thread of each call holds. */
    private final class Watched extends MonkeyTest.Scripted {
        @Override
        public void begin() {
            ScriptedModule.listen(this::heard);
        }

        private void heard(String line) {
            Matcher parts = LINE.matcher(line);
            if (parts.matches() && !WITHOUT_TURN.contains(parts.group(1))) {
                heard.add(parts.group(1));
                String session = parts.group(2);
                String fault = Inside.faultsOfCall(session == null ? null : Long.decode(session));
                if (!fault.isEmpty()) {
                    faults.putIfAbsent(parts.group(1) + " " + fault, Thread.currentThread().getName());
                }
            }
        }
    }

    @Test
    void everyCallOfTheModuleIsInItsTurnAndCounted() throws Exception {
        Monkey monkey = new Monkey(new Watched(), CALLS);
        assertEquals("", String.join("\n", monkey.play()));
        assertEquals(Map.of(), faults);
        assertTrue(heard.size() > 55, heard::toString);
    }

    /** Has what a call needs end while the call waits for its turn. */
    private final class Closing extends MonkeyTest.Scripted {
        private boolean isWaiting;
        private int refused;

        @Override
        public void run(MonkeyCall call) {
            Session session = call.receiver instanceof Session own ? own
                    : call.receiver instanceof TokenObject object ? object.session() : null;
            if (isWaiting || session == null || !session.isOpen() || call.number % 2 == 0) {
                call.run();
                return;
            }
            isWaiting = true;
            try {
                runAfter(session, call);
            } catch (InterruptedException e) {
                throw new AssertionError(e);
            } finally {
                isWaiting = false;
            }
        }

        private void runAfter(Session session, MonkeyCall call) throws InterruptedException {
            boolean closesAll = call.number % 4 == 1;
            Cryptoki cryptoki = session.slot().cryptoki();
            Thread thread = new Thread(call::run, Thread.currentThread().getName());
            int before;
            synchronized (Inside.turn(session)) {
                thread.start();
                while (thread.getState() == Thread.State.NEW || thread.getState() == Thread.State.RUNNABLE) {
                    Thread.onSpinWait();
                }
                if (!thread.isAlive()) {
                    return;
                }
                try {
                    if (closesAll) {
                        cryptoki.close();
                    } else {
                        session.close();
                    }
                } catch (RuntimeException refusal) {
                    return;
                } finally {
                    before = ScriptedModule.journal().size();
                }
            }
            thread.join();
            List<String> after = ScriptedModule.journal();
            String handle = "session=0x" + Long.toHexString(Inside.handle(session)).toUpperCase();
            for (String line : after.subList(before, after.size())) {
                if (closesAll || line.contains(handle + " ")) {
                    faults.putIfAbsent(call.entry.name() + (closesAll ? " after closing the module"
                            : " after closing the session"), line);
                }
            }
            if (call.thrown instanceof IllegalStateException) {
                refused++;
            }
        }
    }

    @Test
    void whatIsOpenIsLookedAtInTheTurn() throws Exception {
        Closing closing = new Closing();
        Monkey monkey = new Monkey(closing, CALLS / 2);
        monkey.play();
        assertEquals(Map.of(), faults);
        assertTrue(closing.refused > 20, () -> closing.refused + " calls were refused");
    }
}
