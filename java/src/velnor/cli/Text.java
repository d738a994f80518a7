package velnor.cli;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.stream.Collectors;

/** Fields for people. */
final class Text {
    private static final String GAP = "  ";

    private Text() {
    }

    /**
     * Makes visible what would work on the terminal instead of being read. Labels come from tokens, and whoever wrote
     * one may mean the reader harm: escape sequences, or characters that turn the direction of writing.
     */
    static String visible(String text) {
        StringBuilder visible = new StringBuilder();
        text.codePoints().forEach(c -> {
            switch (Character.getType(c)) {
            case Character.CONTROL:
            case Character.FORMAT:
            case Character.SURROGATE:
            case Character.LINE_SEPARATOR:
            case Character.PARAGRAPH_SEPARATOR:
                visible.append(String.format("\\u{%X}", c));
                break;
            default:
                visible.append(c == '\\' ? "\\\\" : Character.toString(c));
            }
        });
        return visible.toString();
    }

    static String cell(Object value) {
        if (value == null) {
            return "-";
        }
        if (value instanceof Boolean) {
            return (Boolean) value ? "yes" : "no";
        }
        if (value instanceof List) {
            return ((List<?>) value).isEmpty() ? "-"
                    : ((List<?>) value).stream().map(Text::cell).collect(Collectors.joining(","));
        }
        String text = visible(value.toString());
        return text.isEmpty() ? "-" : text;
    }

    /** A line for each field. */
    static String details(Fields fields) {
        int width = fields.keySet().stream().mapToInt(name -> words(name).length()).max().orElse(0);
        StringBuilder lines = new StringBuilder();
        for (Map.Entry<String, Object> field : fields.entrySet()) {
            lines.append(padded(words(field.getKey()), width)).append(GAP).append(cell(field.getValue())).append('\n');
        }
        return lines.toString();
    }

    private static String words(String name) {
        String words = name.replaceAll("(?<=[a-z])(?=[A-Z])", " ");
        return words.substring(0, 1).toUpperCase(Locale.ROOT) + words.substring(1).toLowerCase(Locale.ROOT);
    }

    /** A line for each row and a headline, with the columns that are named. */
    static String table(List<Fields> rows, String... columns) {
        List<List<String>> lines = new ArrayList<>();
        List<String> headline = new ArrayList<>();
        for (String column : columns) {
            headline.add(words(column).toUpperCase(Locale.ROOT));
        }
        lines.add(headline);
        for (Fields row : rows) {
            List<String> line = new ArrayList<>();
            for (String column : columns) {
                line.add(cell(row.get(column)));
            }
            lines.add(line);
        }
        List<Integer> widths = new ArrayList<>(Collections.nCopies(columns.length, 0));
        for (List<String> line : lines) {
            for (int i = 0; i < columns.length; i++) {
                widths.set(i, Math.max(widths.get(i), length(line.get(i))));
            }
        }
        StringBuilder table = new StringBuilder();
        for (List<String> line : lines) {
            StringBuilder shown = new StringBuilder();
            for (int i = 0; i < columns.length; i++) {
                shown.append(padded(line.get(i), widths.get(i))).append(GAP);
            }
            table.append(shown.toString().stripTrailing()).append('\n');
        }
        return table.toString();
    }

    private static String padded(String text, int width) {
        return text + " ".repeat(width - length(text));
    }

    private static int length(String text) {
        return text.codePointCount(0, text.length());
    }
}
