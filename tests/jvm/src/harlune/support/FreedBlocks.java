package harlune.support;

import static org.junit.jupiter.api.Assertions.fail;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.stream.Collectors;

/**
 * Another process whose every block of memory is looked into when it is given back ({@code
 * tests/jvm/freed_blocks.cpp}): which secrets were left in it, and by whom. A secret is a mark and a letter, and what
 * the test adds.
 */
public final class FreedBlocks {
    private static final String WATCHER = System.getProperty("harlune.freed-blocks");
    private static final int MARK_LENGTH = 11;
    /** The module of the tests keeps a journal, JNA copies texts; both leave it all, through the C++ runtime too. */
    private static final List<String> OTHERS = List.of("scripted-module", "libstdc++", "jna", "libjnidispatch");

    private final Path file;

    /** @param directory where the findings are noted */
    public FreedBlocks(Path directory) {
        file = directory.resolve("freed-blocks");
    }

    /** The secret of a letter; no file of classes has it, because it is computed. */
    public static byte[] secret(char letter) {
        byte[] secret = new byte[MARK_LENGTH + 1];
        for (int i = 0; i < MARK_LENGTH; i++) {
            secret[i] = (byte) ('a' + (i * i * 7 + i * 3 + 11) % 26);
        }
        secret[MARK_LENGTH] = (byte) letter;
        return secret;
    }

    /** The same over and over. */
    public static byte[] secret(char letter, int times) {
        byte[] secret = secret(letter);
        byte[] whole = new byte[times * secret.length];
        for (int i = 0; i < times; i++) {
            System.arraycopy(secret, 0, whole, i * secret.length, secret.length);
        }
        Arrays.fill(secret, (byte) 0);
        return whole;
    }

    /** What the watched process has in its environment. */
    public Map<String, String> environment() {
        return Map.of("LD_PRELOAD", WATCHER, "HARLUNE_FREED_BLOCKS", file.toString());
    }

    /** Who left which secrets, but for those whose business is not ours. */
    public Map<String, Set<Character>> left() throws IOException {
        Map<String, Set<Character>> left = new TreeMap<>();
        if (Files.exists(file)) {
            for (String line : Files.readAllLines(file, StandardCharsets.ISO_8859_1)) {
                String library = line.substring(2);
                if (OTHERS.stream().noneMatch(library::startsWith)) {
                    left.computeIfAbsent(library, unknown -> new TreeSet<>()).add(line.charAt(0));
                }
            }
        }
        return left;
    }

    /** Whether the watcher was there at all: the module of the tests leaves what it journals. */
    public void assertSaw(char letter) throws IOException {
        Set<String> lines = Files.exists(file) ? Set.copyOf(Files.readAllLines(file, StandardCharsets.ISO_8859_1))
                : Set.of();
        if (lines.stream().noneMatch(line -> line.startsWith(letter + " "))) {
            fail("nobody was seen to leave " + letter + ": " + lines.stream().collect(Collectors.joining(", ")));
        }
    }
}
