package harlune.matrix;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Collection;
import java.util.Comparator;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.Stream;

import velnor.CryptokiException;

/**
 * What became of every call that the trials made, one a line in the file: the row of the table (a native method, or
 * what the surface was to do), what it was tried with (a mechanism, an object), and the outcome.
 *
 * <p>An outcome is "ok", perhaps with what is wrong about it all the same; the name of the return value by which the
 * token refused; "refuses" and such a name, where a wrong PIN or a forged signature had to be refused; or "-" and what
 * it answered, when the token has nothing to try it with.
 */
final class Outcomes {
    static final String OK = "ok";
    static final String OK_BUT = "ok, but ";
    static final String REFUSES = "refuses ";
    static final String NOTHING = "- ";

    /** A line of the file: what was tried, and what became of it. */
    record Line(String row, String with, String outcome) {
        static Line parse(String text) {
            String[] fields = text.split("\t", -1);
            return fields.length == 3 ? new Line(fields[0], fields[1], fields[2]) : fail("Not an outcome: " + text);
        }

        @Override
        public String toString() {
            return row + "\t" + with + "\t" + outcome;
        }
    }

    private final List<String> rows;
    private final Map<String, Map<String, String>> byRow;

    /** For a table with these rows. */
    Outcomes(Collection<String> rows) {
        this.rows = List.copyOf(rows);
        byRow = new TreeMap<>(Comparator.comparing(this.rows::indexOf));
    }

    void put(String row, String with, String outcome) {
        assertTrue(rows.contains(row), () -> "There is no row " + row);
        String before = byRow.computeIfAbsent(row, key -> new TreeMap<>()).putIfAbsent(with, outcome);
        assertTrue(before == null || before.equals(outcome),
                () -> row + " with " + with + " was " + before + " and now is " + outcome);
    }

    /** Says what is not as it should be about something that the token did. */
    void qualify(String row, String with, String what) {
        assertEquals(OK, byRow.get(row).put(with, OK_BUT + what));
    }

    boolean has(String row) {
        return byRow.containsKey(row);
    }

    /** The rows that no trial has come to. */
    List<String> untried() {
        return rows.stream().filter(row -> !has(row)).toList();
    }

    List<Line> lines() {
        return byRow.entrySet().stream().flatMap(row -> row.getValue().entrySet().stream()
                .map(tried -> new Line(row.getKey(), tried.getKey(), tried.getValue()))).toList();
    }

    void write(Path file) throws IOException {
        Files.createDirectories(file.getParent());
        Files.write(file, lines().stream().map(Line::toString).toList());
    }

    static List<Line> read(Path file) throws IOException {
        try (Stream<String> lines = Files.lines(file)) {
            return lines.map(Line::parse).toList();
        }
    }

    /**
     * The name of the token's return value, and the step that it stopped when that is not the method itself. A failure
     * that the native library found is none of the token's and fails the test.
     */
    static String refusal(String method, CryptokiException refusal) {
        String function = refusal.functionName();
        assertTrue(NativeMethods.reportNames(method).contains(function),
                () -> method + " reported a refusal as " + function + ": " + refusal.getMessage());
        String code = codeName(refusal);
        String plain = NativeMethods.all().get(method).getName();
        return plain.equals(function) || ("J_" + plain).equals(function) ? code : function + " " + code;
    }

    /** The name of the token's return value. */
    static String codeName(CryptokiException refusal) {
        String text = refusal.text();
        if (text.equals("NO ERROR DESC FOUND") || text.equals("VENDOR DEFINED")) {
            return refusal.codeName().substring("CKR_".length());
        }
        if (!text.matches("[A-Z0-9 ]+")) {
            fail("Refused by the library itself: " + refusal.getMessage());
        }
        return text.replace(' ', '_');
    }
}
