package velnor;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;

/**
 * The information structures of PKCS#11: where their fields lie, on a machine with pointers and {@code CK_ULONG}s of 64
 * bits. A test holds the numbers against the C header.
 */
final class InfoStructure {
    /** The sizes of the structures. */
    static final int INFO = 88;
    static final int SLOT_INFO = 112;
    static final int TOKEN_INFO = 208;
    static final int SESSION_INFO = 32;
    static final int MECHANISM_INFO = 24;

    private static final int NAME = 32;
    private static final int SLOT_DESCRIPTION = 64;
    private static final int SHORT_NAME = 16;

    private final ByteBuffer bytes;

    private InfoStructure(byte[] bytes) {
        this.bytes = ByteBuffer.wrap(bytes).order(ByteOrder.LITTLE_ENDIAN);
    }

    static Info info(byte[] bytes, Version bridge) {
        InfoStructure info = new InfoStructure(bytes);
        return new Info(info.version(0), (int) info.number(40), info.text(48, NAME), bridge, info.text(2, NAME),
                info.version(80));
    }

    static SlotInfo slotInfo(byte[] bytes) {
        InfoStructure info = new InfoStructure(bytes);
        return new SlotInfo(info.text(0, SLOT_DESCRIPTION), info.text(64, NAME), (int) info.number(96),
                info.version(104), info.version(106));
    }

    static TokenInfo tokenInfo(byte[] bytes) {
        InfoStructure info = new InfoStructure(bytes);
        return new TokenInfo(info.text(0, NAME), info.text(32, NAME), info.text(64, SHORT_NAME),
                info.text(80, SHORT_NAME), (int) info.number(96), info.number(104), info.number(120), info.number(128),
                info.number(136), info.number(144), info.number(152), info.number(160), info.number(168),
                info.number(176), info.version(184), info.version(186), info.text(188, SHORT_NAME));
    }

    static SessionInfo sessionInfo(byte[] bytes) {
        InfoStructure info = new InfoStructure(bytes);
        return new SessionInfo(info.number(0), (int) info.number(8), (int) info.number(16), info.number(24));
    }

    static MechanismInfo mechanismInfo(byte[] bytes) {
        InfoStructure info = new InfoStructure(bytes);
        return new MechanismInfo(info.number(0), info.number(8), (int) info.number(16));
    }

    private long number(int at) {
        return bytes.getLong(at);
    }

    private Version version(int at) {
        return new Version(Byte.toUnsignedInt(bytes.get(at + 1)), Byte.toUnsignedInt(bytes.get(at)));
    }

    /** A whole field, blanks included, as far as there is a zero. */
    private String text(int at, int length) {
        int end = at;
        while (end < at + length && bytes.get(end) != 0) {
            end++;
        }
        return new String(bytes.array(), at, end - at, StandardCharsets.UTF_8);
    }
}
