package harlune.support;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.TreeMap;

import com.sun.management.HotSpotDiagnosticMXBean;

/** What is in the heap of a JVM, living or dead, and secrets to be looked for there. */
public final class HeapDump {
    /** For the JVM that is to be looked into: it collects nothing, and so copies nothing. */
    public static final List<String> OPTIONS = List.of("-XX:+UseSerialGC", "-Xmn256m", "-Xmx384m");

    private final byte[] content;

    private HeapDump(byte[] content) {
        this.content = content;
    }

    /** Dumps this JVM's heap. */
    public static void write(String file) throws IOException {
        ManagementFactory.getPlatformMXBean(HotSpotDiagnosticMXBean.class).dumpHeap(file, false);
    }

    /** The heap of another JVM, which dumps it at the end of a main method that is given the file. */
    public static HeapDump after(Class<?> main, Path directory) throws IOException, InterruptedException {
        Path file = directory.resolve("heap.hprof");
        ChildJvm.End end = ChildJvm.run(OPTIONS, main, file.toString());
        if (end.status() != 0) {
            throw new AssertionError("status " + end.status() + ": " + end.told());
        }
        return read(file);
    }

    public static HeapDump read(Path file) throws IOException {
        return new HeapDump(Files.readAllBytes(file));
    }

    /** Letters that no class file holds: each is computed. */
    public static byte[] secret(int seed, int length) {
        Random random = new Random(seed);
        byte[] secret = new byte[length];
        for (int i = 0; i < length; i++) {
            secret[i] = (byte) ('a' + random.nextInt(26));
        }
        return secret;
    }

    /** How often each of these ASCII texts is there, in bytes or in characters. */
    public Map<String, Integer> counts(Map<String, byte[]> wanted) {
        Map<Integer, List<Pattern>> byBeginning = new HashMap<>();
        Map<String, Integer> counts = new TreeMap<>();
        wanted.forEach((name, ascii) -> {
            counts.put(name, 0);
            String text = new String(ascii, StandardCharsets.US_ASCII);
            for (Charset form : List.of(StandardCharsets.US_ASCII, StandardCharsets.UTF_16BE,
                    StandardCharsets.UTF_16LE)) {
                byte[] bytes = text.getBytes(form);
                byBeginning.computeIfAbsent(beginning(bytes, 0), key -> new ArrayList<>())
                        .add(new Pattern(name, bytes));
            }
        });
        for (int at = 0; at + Integer.BYTES <= content.length; at++) {
            for (Pattern pattern : byBeginning.getOrDefault(beginning(content, at), List.of())) {
                int end = at + pattern.bytes.length;
                if (end <= content.length
                        && Arrays.equals(content, at, end, pattern.bytes, 0, pattern.bytes.length)) {
                    counts.merge(pattern.name, 1, Integer::sum);
                }
            }
        }
        return counts;
    }

    private record Pattern(String name, byte[] bytes) {
    }

    private static int beginning(byte[] bytes, int at) {
        return bytes[at] << 24 | (bytes[at + 1] & 0xFF) << 16 | (bytes[at + 2] & 0xFF) << 8 | bytes[at + 3] & 0xFF;
    }
}
