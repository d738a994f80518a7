package velnor.cli;

import java.util.concurrent.TimeUnit;

import velnor.Progress;

/** A line on the terminal that tells how far the work has come, once it takes so long that somebody may wonder. */
final class ProgressLine implements Progress {
    private static final long PATIENCE = TimeUnit.SECONDS.toNanos(1);
    private static final long INTERVAL = TimeUnit.MILLISECONDS.toNanos(200);
    private static final long MIB = 1 << 20;

    private final long size;
    private final boolean terminal = Terminal.is(Terminal.STDERR);
    private final boolean wanted;
    private long next;
    private long bytes;
    private boolean shown;

    /**
     * Makes a line that is shown on a terminal alone, unless it is asked for.
     *
     * @param size how many bytes there are to come, 0 when that is unknown
     * @param forced whether it is asked for
     */
    ProgressLine(long size, boolean forced) {
        this.size = size;
        wanted = terminal || forced;
        next = System.nanoTime() + (forced ? 0 : PATIENCE);
    }

    @Override
    public void progressed(long done) {
        bytes = done;
        long now = System.nanoTime();
        if (wanted && now - next >= 0) {
            next = now + INTERVAL;
            show();
        }
    }

    void end() {
        if (shown) {
            show();
            if (terminal) {
                System.err.println();
            }
        }
    }

    private void show() {
        shown = true;
        StringBuilder line = new StringBuilder(mib(bytes));
        if (size > 0) {
            line.append(" of ").append(mib(size)).append(", ").append(bytes * 100 / size).append(" %");
        }
        System.err.print(terminal ? "\r" + line : line + System.lineSeparator());
        System.err.flush();
    }

    private static String mib(long bytes) {
        return String.format("%d.%d MiB", bytes / MIB, bytes % MIB * 10 / MIB);
    }
}
