package velnor;

import java.util.concurrent.locks.Lock;
import java.util.concurrent.locks.ReentrantReadWriteLock;
import java.util.function.Supplier;

/**
 * Who may be inside the module at the same time. A call that changes what other calls stand on (the module itself, the
 * opening and closing of sessions) is always alone; any other call is alone too unless calls were declared concurrent.
 */
final class Calls {
    private final ReentrantReadWriteLock lock = new ReentrantReadWriteLock();
    private final Lock ordinary;

    Calls(Threading threading) {
        ordinary = threading == Threading.CONCURRENT ? lock.readLock() : lock.writeLock();
    }

    <T> T ordinary(Supplier<T> call) {
        return holding(ordinary, call);
    }

    <T> T alone(Supplier<T> call) {
        return holding(lock.writeLock(), call);
    }

    private static <T> T holding(Lock lock, Supplier<T> call) {
        lock.lock();
        try {
            return call.get();
        } finally {
            lock.unlock();
        }
    }
}
