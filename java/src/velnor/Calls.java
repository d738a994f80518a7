package velnor;

import java.util.concurrent.locks.Lock;
import java.util.concurrent.locks.ReentrantReadWriteLock;
import java.util.function.Supplier;

/**
 * Who may be inside the module at the same time. A call that changes what other calls stand on (the module itself, the
 * opening and closing of sessions) is always alone; any other call is alone too unless calls were declared concurrent.
 */
final class Calls {
    /** Calls of {@link #reserve} that take more of the stack than locking and unlocking do. */
    private static final int RESERVE = 32;

    private final boolean concurrent;
    private final ReentrantReadWriteLock lock = new ReentrantReadWriteLock();

    Calls(Threading threading) {
        concurrent = threading == Threading.CONCURRENT;
    }

    <T> T ordinary(Supplier<T> call) {
        return concurrent ? holding(lock.readLock(), call) : alone(call);
    }

    <T> T alone(Supplier<T> call) {
        if (concurrent) {
            return holding(lock.writeLock(), call);
        }
        synchronized (this) {
            return call.get();
        }
    }

    private static <T> T holding(Lock lock, Supplier<T> call) {
        reserve(RESERVE, 1, 2, 3, 4);
        lock.lock();
        try {
            return call.get();
        } finally {
            lock.unlock();
        }
    }

    /**
     * Fails where the stack is nearly full, while nothing is held. Unlike a monitor, a lock that runs out of stack may
     * be held already and never be given back, or be given back and wake nobody up.
     */
    private static long reserve(int calls, long a, long b, long c, long d) {
        return calls == 0 ? a : reserve(calls - 1, b, c, d, a) + a * b - c * d;
    }
}
