package velnor.cli;

import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;

/** Reads as {@link ChannelOutput} writes. */
final class ChannelInput extends InputStream {
    private final FileChannel channel;
    private final ByteBuffer buffer = Buffers.make();

    ChannelInput(FileChannel channel) {
        this.channel = channel;
    }

    @Override
    public int read() throws IOException {
        byte[] single = new byte[1];
        return read(single, 0, 1) < 0 ? -1 : single[0] & 0xFF;
    }

    @Override
    public int read(byte[] bytes, int off, int len) throws IOException {
        buffer.clear().limit(Math.min(buffer.capacity(), len));
        int length = channel.read(buffer);
        if (length > 0) {
            buffer.flip().get(bytes, off, length);
        }
        return length;
    }

    /** Wipes the buffer and closes the channel. */
    @Override
    public void close() throws IOException {
        Buffers.wipe(buffer);
        channel.close();
    }
}
