package harlune.support;

import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.function.IntSupplier;

/**
 * What this process holds in memory, native and Java together. The Java heap has to be touched whole at the start
 * (-Xms and -Xmx alike, -XX:+AlwaysPreTouch), so that only native memory can make the figure grow.
 */
public final class Memory {
    /** The calls of a soak, unless the environment says otherwise. */
    private static final int CALLS = 100_000;
    private static final int CHECKPOINTS = 8;

    private Memory() {
    }

    /** How many calls a soak is to make; {@code share} of them for modules that are slower than the scripted one. */
    public static int calls(double share) {
        String wanted = System.getenv("HARLUNE_SOAK_CALLS");
        return (int) (share * (wanted == null ? CALLS : Integer.parseInt(wanted)));
    }

    /** The resident set in KiB. */
    public static long residentKiB() {
        return fromStatus("VmRSS:");
    }

    /** The most that it ever was. */
    public static long mostResidentKiB() {
        return fromStatus("VmHWM:");
    }

    private static long fromStatus(String key) {
        try {
            for (String line : Files.readAllLines(Path.of("/proc/self/status"))) {
                if (line.startsWith(key)) {
                    return Long.parseLong(line.replaceAll("[^0-9]", ""));
                }
            }
        } catch (IOException e) {
            return fail(e);
        }
        return fail("/proc/self/status has no " + key);
    }

    /**
     * Runs rounds until so many calls are made. Once a third of them is done, the resident set must never be more than
     * the bound above what it was then.
     *
     * @param round makes calls and tells how many they were
     */
    public static void assertSteady(String what, int calls, long boundKiB, IntSupplier round) {
        int warmUp = calls / 3;
        int made = 0;
        while (made < warmUp) {
            made += round.getAsInt();
        }
        long start = residentKiB();
        List<Long> growth = new ArrayList<>();
        for (int checkpoint = 1; checkpoint <= CHECKPOINTS; checkpoint++) {
            int until = warmUp + (int) ((long) (calls - warmUp) * checkpoint / CHECKPOINTS);
            while (made < until) {
                made += round.getAsInt();
            }
            growth.add(residentKiB() - start);
        }
        System.out.printf("%s: %d calls, %d KiB resident after %d of them, then %s KiB%n", what, made, start, warmUp,
                growth);
        assertTrue(growth.stream().allMatch(kiB -> kiB <= boundKiB),
                () -> what + " grew by " + growth + " KiB, more than " + boundKiB);
    }
}
