package velnor;

/** Is told how far the work on a stream has come. */
@FunctionalInterface
public interface Progress {
    /**
     * Another part was taken by the token. No lock is held meanwhile. An exception ends the work and the operation.
     *
     * @param bytes the bytes of the stream that the token has taken so far
     */
    void progressed(long bytes);
}
