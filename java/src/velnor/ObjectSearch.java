package velnor;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;
import velnor.nat.Structure;

/** The search of a session for objects, begun and ended within one call. */
final class ObjectSearch {
    /** How many objects a search asks for at once. */
    private static final int FOUND_AT_ONCE = 256;
    /** More objects than a program could mean to find: a module that finds as many does not come to an end. */
    private static final int MOST_FOUND = 1 << 20;

    private final Session session;
    private final SessionHandle handle;

    ObjectSearch(Session session, SessionHandle handle) {
        this.session = session;
        this.handle = handle;
    }

    List<TokenObject> find(Attribute... template) {
        Structure laidOut = Templates.structure(template);
        try {
            return handle.call((module, id) -> {
                Answers.require(Function.FIND_OBJECTS_INIT,
                        NativeFunctions.findInit(module, id, laidOut.bytes()));
                List<TokenObject> found = found(module, id);
                Answers.require(Function.FIND_OBJECTS_FINAL,
                        NativeFunctions.number(module, Function.FIND_OBJECTS_FINAL.index(), id));
                return found;
            });
        } finally {
            laidOut.wipe();
        }
    }

    /** What a search that has begun finds. One that fails is ended, as far as the token lets it. */
    private List<TokenObject> found(long module, long id) {
        List<TokenObject> found = new ArrayList<>();
        long[] handles = new long[FOUND_AT_ONCE];
        boolean through = false;
        try {
            long count;
            do {
                count = Answers.require(Function.FIND_OBJECTS, NativeFunctions.find(module, id, handles));
                if (found.size() + count > MOST_FOUND) {
                    throw Answers.nonsense(Function.FIND_OBJECTS, "the pkcs#11 library finds more than " + MOST_FOUND
                            + " objects");
                }
                for (int i = 0; i < count; i++) {
                    found.add(session.object(handles[i]));
                }
            } while (count > 0);
            through = true;
            return Collections.unmodifiableList(found);
        } finally {
            if (!through) {
                NativeFunctions.number(module, Function.FIND_OBJECTS_FINAL.index(), id);
            }
        }
    }
}
