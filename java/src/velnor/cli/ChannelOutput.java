package velnor.cli;

import java.io.IOException;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;

/**
 * Writes through a buffer outside of the heap, straight from which the system takes it, and which is wiped in the end:
 * the JDK's own streams leave what went through them in memory.
 */
final class ChannelOutput extends OutputStream {
    private final FileChannel channel;
    private final String name;
    private final ByteBuffer buffer = Buffers.make();

    /**
     * Takes a channel over, except that it closes it.
     *
     * @param channel the channel
     * @param name what failures call it
     */
    ChannelOutput(FileChannel channel, String name) {
        this.channel = channel;
        this.name = name;
    }

    @Override
    public void write(int b) throws IOException {
        write(new byte[] {(byte) b}, 0, 1);
    }

    @Override
    public void write(byte[] bytes, int off, int len) throws IOException {
        for (int done = 0; done < len; done += buffer.limit()) {
            buffer.clear().limit(Math.min(buffer.capacity(), len - done));
            buffer.put(bytes, off + done, buffer.limit()).flip();
            write(buffer);
        }
    }

    private void write(ByteBuffer bytes) throws IOException {
        try {
            while (bytes.hasRemaining()) {
                channel.write(bytes);
            }
        } catch (IOException e) {
            throw named(e);
        }
    }

    /** Waits until what was written is on the disk. */
    void sync() throws IOException {
        try {
            channel.force(true);
        } catch (IOException e) {
            throw named(e);
        }
    }

    private IOException named(IOException e) {
        return new IOException(name + ": " + e.getMessage(), e);
    }

    /** Wipes the buffer; the channel is its owner's to close. */
    @Override
    public void close() {
        Buffers.wipe(buffer);
    }
}
