package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.ScriptedModule;

import java.util.ArrayList;
import java.util.Collection;
import java.util.Comparator;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

import velnor.Cryptoki;
import velnor.Session;

/**
 * Calls whatever is public in whatever order with whatever it finds, and has every outcome judged. The same seed makes
 * the same calls. The environment may set HARLUNE_MONKEY_SEED and HARLUNE_MONKEY_CALLS, and with HARLUNE_MONKEY_TRACE
 * every call is told before it is made; the thread's name tells it, too, for the report of a JVM that crashes.
 */
final class Monkey {
    private static final long SEED = Long.parseLong(System.getenv().getOrDefault("HARLUNE_MONKEY_SEED", "1"));
    private static final boolean TRACE = System.getenv("HARLUNE_MONKEY_TRACE") != null;
    private static final int CALLS_IN_A_ROUND = 1000;
    private static final int FINDINGS = 30;
    private static final Set<String> RARE = Set.of("close", "closeAllSessions", "destroy", "logout", "initToken",
            "openSession", "openReadOnlySession");
    private static final int ENOUGH_SESSIONS = 3;
    private static final Set<String> ENDS_OF_SESSIONS = Set.of("C_CloseAllSessions", "C_Finalize");
    private static final int DEEPEST = 3;

    private final MonkeyGround ground;
    private final int calls;
    private final Random random = new Random(SEED);
    private final MonkeyValues values;
    private final OddAnswers odd = new OddAnswers(random);
    private final List<PublicSurface.Entry> entries = PublicSurface.entries();
    private final List<PublicSurface.Entry> often;
    private final Map<String, Set<String>> functions = new HashMap<>();
    private final List<Session> sessions = new ArrayList<>();
    private final Map<String, String> findings = new LinkedHashMap<>();
    private final Map<String, Integer> called = new TreeMap<>();
    private final Set<String> good = new TreeSet<>();
    private final Thread thread = Thread.currentThread();
    private MonkeyCall current;
    private Cryptoki cryptoki;
    private int made;
    private int depth;
    private boolean oddRound;
    /** The token has refused to close a session, or has been asked for one that Java could not keep. */
    private boolean mayHoldSession;
    private int emptyEnds;

    Monkey(MonkeyGround ground, int usualCalls) throws Exception {
        this.ground = ground;
        calls = Integer.parseInt(System.getenv().getOrDefault("HARLUNE_MONKEY_CALLS", "" + usualCalls));
        values = new MonkeyValues(random, ground);
        entries.removeIf(entry -> ground.leftOut().containsKey(entry.name()));
        often = entries.stream().filter(entry -> reachesToken(entry.owner())).toList();
    }

    /** Whether only the surface itself makes objects of the class, which then stand for something in the token. */
    private boolean reachesToken(Class<?> type) {
        return !type.isEnum() && !type.isInterface() && type.getConstructors().length == 0
                && entries.stream().anyMatch(entry -> entry.owner() == type && entry.needsReceiver());
    }

    /** Plays, and gives what was wrong, each kind once. */
    List<String> play() throws Exception {
        System.out.println("seed " + SEED + ", " + calls + " calls");
        String name = thread.getName();
        try {
            for (int round = 0; made < calls && findings.size() < FINDINGS; round++) {
                begin(round % 3 != 0);
                for (int end = made + CALLS_IN_A_ROUND; made < end;) {
                    step();
                }
                end();
            }
        } finally {
            thread.setName(name);
        }
        System.out.println(called.size() + " constructors and methods were called, and " + good.size()
                + " came to a good end, not " + neverGood());
        return List.copyOf(findings.values());
    }

    Set<String> uncalled() {
        return entries.stream().map(PublicSurface.Entry::name).filter(name -> !called.containsKey(name))
                .collect(Collectors.toCollection(TreeSet::new));
    }

    Set<String> neverGood() {
        Set<String> never = new TreeSet<>(called.keySet());
        never.removeAll(good);
        return never;
    }

    static Set<String> within(Set<String> names, String outOfReach) {
        return names.stream().filter(name -> !name.matches(outOfReach)).collect(Collectors.toCollection(TreeSet::new));
    }

    /** Of what the module can do at all: names of that kind are out of its reach. */
    double shareOfGoodEnds(String outOfReach) {
        return (double) within(good, outOfReach).size() / within(called.keySet(), outOfReach).size();
    }

    /** Each of the names must be one of the public surface. */
    static void assertNames(Collection<String> names) throws Exception {
        assertMatches(names.stream().map(Pattern::quote).toList());
    }

    static void assertMatches(Collection<String> patterns) throws Exception {
        List<String> names = PublicSurface.entries().stream().map(PublicSurface.Entry::name).toList();
        for (String pattern : patterns) {
            assertTrue(names.stream().anyMatch(name -> name.matches(pattern)), pattern);
        }
    }

    /** How often all was closed and the module was found to hold no session. */
    int emptyEnds() {
        return emptyEnds;
    }

    private void begin(boolean withOddAnswers) throws Exception {
        if (ground.isScripted()) {
            ScriptedModule.reset();
        }
        ground.begin();
        oddRound = false;
        mayHoldSession = false;
        values.age();
        sessions.clear();
        open();
        if (made == 0) {
            try (Session session = cryptoki.tokenByLabel(ground.label()).openSession()) {
                values.learn(session, entries.stream().map(PublicSurface.Entry::owner).distinct().toList());
            }
        }
        oddRound = withOddAnswers && ground.isScripted();
    }

    /** What must work whatever happened before. */
    private void open() {
        cryptoki = Surface.open(ground.module());
        values.keep(cryptoki);
        values.keep(cryptoki.slots());
    }

    /** One call: what is needed to go on, or anything. */
    private void step() {
        PublicSurface.Entry needed = needed();
        if (needed != null) {
            perform(needed);
            return;
        }
        PublicSurface.Entry entry;
        do {
            entry = random.nextInt(6) == 0 ? neglected() : one(often);
        } while (RARE.contains(entry.code().getName()) && random.nextInt(25) != 0);
        perform(entry);
    }

    /** Of a few, the one that was called least. */
    private PublicSurface.Entry neglected() {
        return random.ints(8, 0, entries.size()).mapToObj(entries::get)
                .min(Comparator.comparing(entry -> called.getOrDefault(entry.name(), 0))).orElseThrow();
    }

    private PublicSurface.Entry needed() {
        if (random.nextInt(4) == 0) {
            return null;
        }
        return !cryptoki.isOpen() ? any("Cryptoki.open\\(.*")
                : sessions.stream().filter(Session::isOpen).count() < ENOUGH_SESSIONS
                ? any("TokenSlot.(open\\w*Session|initToken)\\(.*")
                : random.nextInt(15) == 0 ? any("Session.(login\\(UserType,String|createObject\\(.*)\\)")
                : random.nextInt(80) == 0 ? any("Session.generateKeyPair\\(.*")
                : random.nextInt(8) == 0 ? any("Session.(encrypt|decrypt|sign|verifi|digest)[eo]r\\(.*") : null;
    }

    private PublicSurface.Entry any(String name) {
        return one(entries.stream().filter(entry -> entry.name().matches(name)).toList());
    }

    private PublicSurface.Entry entry(String name) {
        return entries.stream().filter(entry -> entry.name().equals(name)).findFirst().orElseThrow();
    }

    private void perform(PublicSurface.Entry entry) {
        Object receiver = entry.needsReceiver() ? values.receiver(entry) : null;
        if (receiver != null || !entry.needsReceiver()) {
            ForeignCode foreign = new ForeignCode(random, this::callBack);
            perform(new MonkeyCall(++made, entry, receiver, values.arguments(entry, receiver, foreign), foreign));
        }
    }

    private void callBack() {
        if (depth < DEEPEST) {
            step();
        }
    }

    private void perform(MonkeyCall call) {
        MonkeyCall outer = current;
        drain(outer);
        current = call;
        depth++;
        thread.setName("seed " + SEED + ", " + call);
        if (TRACE) {
            System.out.println(call);
        }
        if (oddRound && depth == 1) {
            odd.prepare(functions.getOrDefault(call.entry.name(), Set.of()));
        }
        ground.run(call);
        if (TRACE) {
            System.out.println(call.outcome());
        }
        drain(call);
        if (oddRound && depth == 1) {
            ScriptedModule.failCall(0, 0);
        }
        depth--;
        current = outer;
        note(call);
    }

    private void drain(MonkeyCall call) {
        if (ground.isScripted()) {
            if (call != null) {
                call.answered(ScriptedModule.journal());
            }
            ScriptedModule.clearJournal();
        }
    }

    private void note(MonkeyCall call) {
        String name = call.entry.name();
        called.merge(name, 1, Integer::sum);
        Set<String> seen = functions.computeIfAbsent(name, any -> new TreeSet<>());
        for (MonkeyCall.Answer answer : call.answers) {
            seen.add(answer.function());
            if (answer.isRefusal() ? answer.function().equals("C_CloseSession")
                    : answer.function().equals("C_OpenSession") && call.thrown != null) {
                mayHoldSession = true;
            } else if (!answer.isRefusal() && ENDS_OF_SESSIONS.contains(answer.function())) {
                mayHoldSession = false;
            }
        }
        for (String wrong : MonkeyJudge.judge(call)) {
            String kind = name + " " + wrong + (call.thrown == null ? "" : call.thrown.getClass());
            findings.computeIfAbsent(kind, any -> "seed " + SEED + ", " + call + ": " + wrong + ": "
                    + (call.thrown == null ? call.answers : trace(call.thrown) + call.answers));
        }
        if (call.thrown == null) {
            good.add(name);
        }
        values.learn(call);
        if (call.result instanceof Session session) {
            sessions.add(session);
        } else if (call.result instanceof Cryptoki opened && opened.isOpen()) {
            cryptoki = opened;
        }
    }

    private static String trace(Throwable thrown) {
        return thrown + " at " + List.of(thrown.getStackTrace()).subList(0, Math.min(6, thrown.getStackTrace().length));
    }

    /** Closes everything; no session may be left in the module that Java could have closed. */
    private void end() {
        oddRound = false;
        for (Session session : List.copyOf(sessions)) {
            perform(entry("Session.close()"), session);
            assertFalse(session.isOpen(), session::toString);
        }
        if (cryptoki.isOpen() && !mayHoldSession) {
            ground.assertNoSession(cryptoki);
            emptyEnds++;
        }
        perform(entry("Cryptoki.close()"), cryptoki);
        assertFalse(cryptoki.isOpen());
    }

    private void perform(PublicSurface.Entry entry, Object receiver) {
        perform(new MonkeyCall(++made, entry, receiver, new Object[0], new ForeignCode(random, () -> { })));
    }

    private <T> T one(List<T> some) {
        return some.get(random.nextInt(some.size()));
    }
}
