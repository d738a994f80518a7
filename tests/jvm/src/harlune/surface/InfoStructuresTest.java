package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

import org.junit.jupiter.api.Test;

import velnor.Info;
import velnor.MechanismInfo;
import velnor.SessionInfo;
import velnor.SlotInfo;
import velnor.TokenInfo;
import velnor.Version;

/** Information is read from where a program that was compiled with the C header says that it is. */
class InfoStructuresTest {
    private static final int NUMBER = 8;
    private static final int VERSION = 2;

    /**
     * A structure as the header has it: the n-th member, counted from 1, is a number of n in its lower and 2 n in its
     * upper half, the version n.2n, or a text of n letters.
     */
    private static byte[] structure(String name) throws IOException {
        Map<String, int[]> members = new LinkedHashMap<>();
        for (String line : Files.readAllLines(Path.of(System.getProperty("harlune.structures")))) {
            String[] row = line.split(" ");
            if (row[0].equals(name)) {
                members.put(row[1], new int[] {Integer.parseInt(row[2]), Integer.parseInt(row[3])});
            }
        }
        ByteBuffer bytes = ByteBuffer.allocate(members.remove("-")[1]).order(ByteOrder.LITTLE_ENDIAN);
        int n = 0;
        for (int[] member : members.values()) {
            n++;
            if (member[1] == NUMBER) {
                bytes.putLong(member[0], number(n));
            } else if (member[1] == VERSION) {
                bytes.put(member[0], (byte) n).put(member[0] + 1, (byte) (2 * n));
            } else {
                byte[] text = String.format("%-" + member[1] + "." + member[1] + "s", text(n)).getBytes(StandardCharsets.UTF_8);
                assertEquals(member[1], text.length);
                bytes.position(member[0]).put(text);
            }
        }
        assertTrue(n > 2, "the header's program does not know " + name);
        return bytes.array();
    }

    private static long number(int n) {
        return (2L * n << 32) + n;
    }

    private static Version version(int n) {
        return new Version(2 * n, n);
    }

    private static String text(int n) {
        return "x".repeat(n);
    }

    private static Object read(String method, String size, byte[] structure, Object... more) throws Exception {
        Class<?> reader = Class.forName("velnor.InfoStructure");
        Field expected = reader.getDeclaredField(size);
        expected.setAccessible(true);
        assertEquals(structure.length, expected.getInt(null), size);
        Method read = more.length == 0 ? reader.getDeclaredMethod(method, byte[].class)
                : reader.getDeclaredMethod(method, byte[].class, Version.class);
        read.setAccessible(true);
        return more.length == 0 ? read.invoke(null, structure) : read.invoke(null, structure, more[0]);
    }

    @Test
    void info() throws Exception {
        Info info = (Info) read("info", "INFO", structure("CK_INFO"), new Version(9, 9));
        assertEquals(List.of(version(1), text(2), 3, text(4), version(5), new Version(9, 9)),
                List.of(info.cryptokiVersion(), info.manufacturerID(), info.flags(), info.libraryDescription(),
                        info.moduleVersion(), info.libraryVersion()));
        assertEquals(32, info.rawManufacturerID().length());
    }

    @Test
    void slotInfo() throws Exception {
        SlotInfo info = (SlotInfo) read("slotInfo", "SLOT_INFO", structure("CK_SLOT_INFO"));
        assertEquals(List.of(text(1), text(2), 3, version(4), version(5)), List.of(info.slotDescription(),
                info.manufacturerID(), info.flags(), info.hardwareVersion(), info.firmwareVersion()));
        assertEquals(64, info.rawSlotDescription().length());
    }

    @Test
    void tokenInfo() throws Exception {
        TokenInfo info = (TokenInfo) read("tokenInfo", "TOKEN_INFO", structure("CK_TOKEN_INFO"));
        assertEquals(List.of(text(1), text(2), text(3), text(4), 5, number(12), number(13), number(14), number(15),
                version(16), version(17)),
                List.of(info.label(), info.manufacturerID(), info.model(), info.serialNumber(), info.flags(),
                        info.totalPublicMemoryBytes(), info.freePublicMemoryBytes(), info.totalPrivateMemoryBytes(),
                        info.freePrivateMemoryBytes(), info.hardwareVersion(), info.firmwareVersion()));
        assertEquals(text(16), info.utcTime());
        byte[] small = structure("CK_TOKEN_INFO");
        ByteBuffer numbers = ByteBuffer.wrap(small).order(ByteOrder.LITTLE_ENDIAN);
        for (int at = 104; at < 184; at += NUMBER) {
            numbers.putLong(at, at);
        }
        TokenInfo narrow = (TokenInfo) read("tokenInfo", "TOKEN_INFO", small);
        assertEquals(List.of(104, 120, 128, 136, 144, 152, 160, 168, 176),
                List.of(narrow.maxSessionCount(), narrow.maxRwSessionCount(), narrow.rwSessionCount(),
                        narrow.maxPinLen(), narrow.minPinLen(), narrow.totalPublicMemory(), narrow.freePublicMemory(),
                        narrow.totalPrivateMemory(), narrow.freePrivateMemory()));
    }

    @Test
    void sessionInfo() throws Exception {
        SessionInfo info = (SessionInfo) read("sessionInfo", "SESSION_INFO", structure("CK_SESSION_INFO"));
        assertEquals(List.of(number(1), 1, 2, 3, number(4)), List.of(info.slot(), info.slotID(), info.state(),
                info.flags(), info.deviceErrorCode()));
    }

    @Test
    void mechanismInfo() throws Exception {
        MechanismInfo info = (MechanismInfo) read("mechanismInfo", "MECHANISM_INFO", structure("CK_MECHANISM_INFO"));
        assertEquals(List.of(number(1), number(2), 3), List.of(info.minKeyLength(), info.maxKeyLength(), info.flags()));
    }

    @Test
    void aTextEndsAtAZero() throws Exception {
        byte[] structure = structure("CK_SLOT_INFO");
        structure[0] = (byte) 0xC3;
        structure[1] = (byte) 0xA4;
        structure[2] = 0;
        assertEquals("\u00E4", ((SlotInfo) read("slotInfo", "SLOT_INFO", structure)).rawSlotDescription());
    }
}
