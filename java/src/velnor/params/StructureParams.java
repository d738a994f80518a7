package velnor.params;

import java.util.Objects;
import java.util.function.Consumer;
import java.util.function.Supplier;

import velnor.nat.Structure;

/**
 * A parameter that the program lays out itself: for mechanisms of the standard that have no class here, and for
 * vendors'.
 *
 * <p>Nobody can look whether it is what the mechanism takes, and a token that is given something else reads foreign
 * memory: compare every member and its place with the header that comes with the token.
 */
public final class StructureParams implements MechanismParams {
    private final Supplier<Structure> layout;
    private final Consumer<Structure> written;

    /**
     * Makes the parameter.
     *
     * @param layout makes the structure; it is called for each use of the mechanism, makes a new one each time, and can
     *        be called by any thread
     */
    public StructureParams(Supplier<Structure> layout) {
        this(layout, structure -> { });
    }

    /**
     * Makes a parameter into which the token writes.
     *
     * @param layout makes the structure, which must be told that it {@linkplain Structure#comesBack() comes back}; it
     *        is called for each use of the mechanism, makes a new one each time, and can be called by any thread
     * @param written is given the structure after each call that went well, and reads what the token has written; the
     *        structure is wiped afterwards
     */
    public StructureParams(Supplier<Structure> layout, Consumer<Structure> written) {
        this.layout = Objects.requireNonNull(layout, "layout");
        this.written = Objects.requireNonNull(written, "written");
    }

    @Override
    public Structure structure() {
        return Objects.requireNonNull(layout.get(), "the structure");
    }

    @Override
    public void takeBack(Structure structure) {
        written.accept(structure);
    }
}
