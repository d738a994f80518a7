package harlune.matrix;

import harlune.matrix.Outcomes.Line;
import harlune.support.Exports;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.function.Function;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * The tables of docs/tokens.md, made of the outcomes in tests/tokens/outcomes. As a program it takes outcomes over:
 * {@code TokenTable FOUND} copies those of the directory FOUND, which a test run has made, into the sources, notes the
 * versions of the modules, and writes the tables anew.
 */
final class TokenTable {
    private static final String BEGIN = "<!-- The tables are generated: see \"How the tables are made\". -->\n";
    private static final String END = "<!-- End of the tables. -->\n";
    private static final String NOTHING = "–";

    /** A column: the file of outcomes, the module and its Debian package, and how it is reached. */
    private record Column(String file, String title, String debianPackage, String how) {
        Column(String file, String title, String debianPackage) {
            this(file, title, debianPackage, "");
        }
    }

    private static final List<Column> COLUMNS = List.of(
            new Column("softhsm", "SoftHSM", "libsofthsm2"),
            new Column("nss", "NSS softoken", "libnss3"),
            new Column("opencryptoki", "openCryptoki", "opencryptoki"),
            new Column("tpm2", "tpm2-pkcs11", "libtpm2-pkcs11-1", " through p11-kit-proxy"),
            new Column("piv", "OpenSC", "opensc-pkcs11", " with a PIV card, through p11-kit-proxy"),
            new Column("p11-kit-proxy", "p11-kit-proxy", "libp11-kit0", " over SoftHSM and NSS"),
            new Column("p11-kit-client", "p11-kit-client", "p11-kit-modules", " to SoftHSM"));

    /** The columns of what the surface does: all tokens directly, and at the end those that are also tried proxied. */
    private static final List<Column> SURFACE_COLUMNS = List.of(
            surface("softhsm", "SoftHSM", "libsofthsm2", ""),
            surface("nss", "NSS softoken", "libnss3", ""),
            surface("opencryptoki", "openCryptoki", "opencryptoki", ""),
            surface("tpm2", "tpm2-pkcs11", "libtpm2-pkcs11-1", ""),
            surface("piv", "OpenSC", "opensc-pkcs11", " with a PIV card"),
            surface("p11-kit-proxy", "p11-kit-proxy", "libp11-kit0", " over SoftHSM and NSS"),
            surface("p11-kit-client", "p11-kit-client", "p11-kit-modules", " to SoftHSM"),
            surface("tpm2-proxied", "tpm2-pkcs11", "libtpm2-pkcs11-1", " through p11-kit-proxy"),
            surface("piv-proxied", "OpenSC", "opensc-pkcs11", " with a PIV card, through p11-kit-proxy"));

    private static Column surface(String file, String title, String debianPackage, String how) {
        return new Column("surface/" + file, title, debianPackage, how);
    }

    /** What a mechanism is used for, told by the native method that it was tried with. */
    private static final Map<String, String> USES = new LinkedHashMap<>();

    static {
        USES.put("J_GenerateKey", "make");
        USES.put("J_GenerateKeyPair", "make");
        USES.put("byte[] J_Encrypt", "encrypt");
        USES.put("J_Decrypt", "decrypt");
        USES.put("int J_Digest", "digest");
        USES.put("byte[] J_Sign", "sign");
        USES.put("J_Verify", "verify");
        USES.put("byte[] J_SignRecover", "sign with recovery");
        USES.put("byte[] J_VerifyRecover", "recover");
        USES.put("J_WrapKey", "wrap");
        USES.put("J_UnwrapKey", "unwrap");
        USES.put("J_DeriveKey", "derive");
    }

    private final Map<Column, List<Line>> outcomes = new LinkedHashMap<>();
    private final Map<String, String> versions = new TreeMap<>();
    private final List<String> notes = new ArrayList<>();

    private static List<Column> allColumns() {
        return Stream.concat(COLUMNS.stream(), SURFACE_COLUMNS.stream()).toList();
    }

    private TokenTable(Path sources) throws IOException {
        for (Column column : allColumns()) {
            outcomes.put(column, Outcomes.read(directory(sources).resolve(column.file + ".tsv")));
        }
        for (String line : Files.readAllLines(versionFile(sources))) {
            String[] fields = line.split("\t");
            versions.put(fields[0], fields[1]);
        }
    }

    static Path document(Path sources) {
        return sources.resolve("docs/tokens.md");
    }

    private static Path directory(Path sources) {
        return sources.resolve("tests/tokens/outcomes");
    }

    private static Path versionFile(Path sources) {
        return directory(sources).resolve("versions");
    }

    static List<String> columns() {
        return COLUMNS.stream().map(Column::file).toList();
    }

    static List<String> surfaceColumns() {
        return SURFACE_COLUMNS.stream().map(Column::file).toList();
    }

    public static void main(String[] arguments) throws IOException, InterruptedException {
        Path sources = Exports.SOURCES;
        Path found = Path.of(arguments[0]);
        Set<String> lines = new LinkedHashSet<>();
        for (Column column : allColumns()) {
            Path file = found.resolve(column.file + ".tsv");
            Path known = directory(sources).resolve(column.file + ".tsv");
            if (Files.exists(file)) {
                Files.createDirectories(known.getParent());
                Files.copy(file, known, StandardCopyOption.REPLACE_EXISTING);
            }
            lines.add(column.debianPackage + "\t" + installedVersion(column.debianPackage));
        }
        Files.write(versionFile(sources), lines);
        Files.writeString(document(sources), rewritten(sources));
    }

    private static String installedVersion(String debianPackage) throws IOException, InterruptedException {
        Process process = new ProcessBuilder("dpkg-query", "-W", "-f=${Version}", debianPackage)
                .redirectError(ProcessBuilder.Redirect.INHERIT).start();
        String version = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        if (process.waitFor() != 0) {
            throw new IOException("dpkg-query knows no " + debianPackage);
        }
        return version;
    }

    /** The document with the tables that belong there now. */
    static String rewritten(Path sources) throws IOException {
        String document = Files.readString(document(sources));
        int begin = document.indexOf(BEGIN) + BEGIN.length();
        int end = document.indexOf(END);
        return document.substring(0, begin) + new TokenTable(sources).tables() + document.substring(end);
    }

    private String tables() {
        String surface = surfaceTable() + notes();
        String methods = methodTable() + notes();
        return "\n### Through the Java surface\n\n" + surface + "\n### Native methods\n\n" + methods
                + "\n### Mechanisms\n\n" + mechanismTable() + "\n### What is refused, and how\n\n" + refusalTable() + "\n";
    }

    private String header(String first) {
        return header(COLUMNS, first);
    }

    private String header(List<Column> columns, String first) {
        return row(columns, first,
                column -> column.title + " " + upstream(versions.get(column.debianPackage)) + column.how)
                + row(columns, "---", column -> "---");
    }

    /** Without Debian's epoch and revision. */
    private static String upstream(String version) {
        return version.replaceFirst("^\\d+:", "").replaceFirst("[-+].*", "");
    }

    private static String row(String first, Function<Column, String> cell) {
        return row(COLUMNS, first, cell);
    }

    private static String row(List<Column> columns, String first, Function<Column, String> cell) {
        return "| " + first + " | " + columns.stream().map(cell).collect(Collectors.joining(" | ")) + " |\n";
    }

    private String surfaceTable() {
        StringBuilder table = new StringBuilder(header(SURFACE_COLUMNS, "What is wanted"));
        for (String wanted : SurfaceTrials.ROWS) {
            table.append(row(SURFACE_COLUMNS, wanted, column -> cell(column, wanted)));
        }
        return table.toString();
    }

    private String methodTable() {
        StringBuilder table = new StringBuilder(header("Native method"));
        NativeMethods.bySource().forEach((source, methods) -> {
            table.append(row("**" + source + "**", column -> ""));
            for (String method : methods) {
                table.append(row("`" + method + "`", column -> cell(column, method)));
            }
        });
        return table.toString();
    }

    private List<Line> tried(Column column, String method) {
        return outcomes.get(column).stream()
                .filter(line -> line.row().equals(method) && !line.outcome().startsWith(Outcomes.REFUSES)).toList();
    }

    private String cell(Column column, String method) {
        List<Line> lines = tried(column, method);
        Set<String> refusals = lines.stream().map(Line::outcome)
                .filter(outcome -> !isDone(outcome) && !outcome.startsWith(Outcomes.NOTHING))
                .collect(Collectors.toCollection(LinkedHashSet::new));
        if (lines.stream().noneMatch(line -> isDone(line.outcome()))) {
            return refusals.isEmpty() ? NOTHING : String.join(", ", refusals);
        }
        String exceptions = lines.stream()
                .filter(line -> !line.outcome().equals(Outcomes.OK) && !line.outcome().startsWith(Outcomes.NOTHING))
                .map(line -> (line.with().isEmpty() ? "" : line.with() + ": ")
                        + line.outcome().replace(Outcomes.OK_BUT, ""))
                .collect(Collectors.joining("; "));
        return exceptions.isEmpty() ? "ok" : "ok (" + note(exceptions) + ")";
    }

    private static boolean isDone(String outcome) {
        return outcome.equals(Outcomes.OK) || outcome.startsWith(Outcomes.OK_BUT);
    }

    private int note(String text) {
        if (!notes.contains(text)) {
            notes.add(text);
        }
        return notes.indexOf(text) + 1;
    }

    /** What the notes of a table say, which end with it. */
    private String notes() {
        StringBuilder text = new StringBuilder("\nNot all that was tried:\n\n");
        for (int i = 0; i < notes.size(); i++) {
            text.append(i + 1).append(". ").append(notes.get(i)).append("\n");
        }
        notes.clear();
        return text.toString();
    }

    private String mechanismTable() {
        Set<String> mechanisms = outcomes.values().stream().flatMap(List::stream)
                .filter(line -> USES.containsKey(line.row()) && line.with().matches("[A-Z0-9_]+"))
                .map(Line::with).collect(Collectors.toCollection(TreeSet::new));
        StringBuilder table = new StringBuilder(header("Mechanism"));
        for (String mechanism : mechanisms) {
            table.append(row("`CKM_" + mechanism + "`", column -> uses(column, mechanism)));
        }
        return table.toString();
    }

    private String uses(Column column, String mechanism) {
        List<String> uses = new ArrayList<>();
        USES.forEach((method, use) -> tried(column, method).stream().filter(line -> line.with().equals(mechanism))
                .forEach(line -> uses.add(isDone(line.outcome()) ? use : use + ": " + line.outcome())));
        return uses.isEmpty() ? NOTHING : String.join(", ", uses);
    }

    private String refusalTable() {
        Map<String, Map<Column, String>> rows = new LinkedHashMap<>();
        for (String method : NativeMethods.all().keySet()) {
            outcomes.forEach((column, lines) -> lines.stream()
                    .filter(line -> line.row().equals(method) && line.outcome().startsWith(Outcomes.REFUSES))
                    .forEach(line -> rows.computeIfAbsent("`" + method + "`, " + line.with(),
                            key -> new LinkedHashMap<>()).put(column,
                                    line.outcome().substring(Outcomes.REFUSES.length()))));
        }
        StringBuilder table = new StringBuilder(header("Refused"));
        rows.forEach((what, cells) -> table.append(row(what, column -> cells.getOrDefault(column, NOTHING))));
        return table.toString();
    }
}
