package velnor;

import java.nio.ByteBuffer;

import velnor.nat.Structure;

/**
 * Memory of a session for the parameters of one kind of operation, or of its messages. A module may read and write a
 * parameter where it was given it until the operation or the message has ended, so it lies here until then, unmoved,
 * and is wiped then. For whoever has the session's turn.
 */
final class HeldParameter {
    private static final int SMALLEST = 256;
    /** What is not given back at the end of an operation, because the next one may need as much. */
    private static final int MOST_KEPT = 1 << 12;

    private ByteBuffer memory;
    // What lies there now; null for nothing.
    private Mechanism mechanism;
    private Structure structure;

    /** Lays a mechanism's parameter out, where none lies; null for a mechanism without one. */
    ByteBuffer lay(Mechanism laid, Structure parameter) {
        if (parameter == null) {
            return null;
        }
        release(); // of an operation that the stack was too full for
        boolean done = false;
        try {
            int size = parameter.size();
            if (memory == null || memory.capacity() < size) {
                memory = ByteBuffer.allocateDirect(Math.max(size, SMALLEST));
            }
            mechanism = laid;
            structure = parameter;
            parameter.lay(memory);
            done = true;
            return memory;
        } finally {
            if (!done) {
                parameter.wipe();
                release();
            }
        }
    }

    /** Lays out once more what lies here, with what the module has written, for a further call; null for nothing. */
    ByteBuffer again() {
        if (structure == null) {
            return null;
        }
        structure.takeBack(memory);
        structure.lay(memory);
        return memory;
    }

    /** Takes over what the module has written by now. */
    void takeBack() {
        if (structure != null) {
            structure.takeBack(memory);
            mechanism.takeBack(structure);
        }
    }

    /** Whether a module may still look at it. */
    boolean isHeld() {
        return structure != null;
    }

    /** Wipes what lies here, when the module has done with it. */
    void release() {
        if (structure == null) {
            return;
        }
        int size = structure.size();
        for (int i = 0; i < size; i++) {
            memory.put(i, (byte) 0);
        }
        structure.wipe();
        structure = null;
        mechanism = null;
        if (memory.capacity() > MOST_KEPT) {
            memory = null;
        }
    }
}
