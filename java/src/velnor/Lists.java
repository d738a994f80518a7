package velnor;

import java.util.Arrays;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

/** Lists of a module, whose length is asked for first. */
final class Lists {
    private static final int TRIES = 5;
    /** More than any list that could be meant: a module that tells as much is wrong. */
    private static final int MOST = 1 << 20;

    private Lists() {
    }

    /** Reads a list; one that has grown since its length was told is asked for again. */
    static long[] read(Function function, long module, long id) {
        for (int triesLeft = TRIES;; triesLeft--) {
            long count = Answers.require(function, NativeFunctions.list(module, function.index(), id, null));
            if (count > MOST) {
                throw Answers.nonsense(function, "the pkcs#11 library tells of a list of " + count);
            }
            long[] list = new long[(int) count];
            if (count == 0) {
                return list;
            }
            long read = NativeFunctions.list(module, function.index(), id, list);
            if (read >= 0 || triesLeft == 1 || NativeFunctions.answer(read) != CKR.BUFFER_TOO_SMALL) {
                return Arrays.copyOf(list, (int) Answers.require(function, read));
            }
        }
    }
}
