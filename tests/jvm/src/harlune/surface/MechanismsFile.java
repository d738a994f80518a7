package harlune.surface;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;

import velnor.CKM;

/** The table of mechanisms as it was written, read apart from what the build makes of it. */
final class MechanismsFile {
    record Row(String name, String contract, String parameter, List<String> keys, List<String> uses) {
        int number() {
            return CKM.forName(name).orElseThrow(() -> new AssertionError(name));
        }
    }

    private MechanismsFile() {
    }

    static List<String> lines() throws IOException {
        return Files.readAllLines(Path.of(System.getProperty("harlune.sources"), "src/Harlune/mechanisms.txt"));
    }

    static List<Row> rows() throws IOException {
        return lines().stream().filter(line -> line.startsWith("CKM_")).map(line -> line.split(" +"))
                .map(cells -> new Row(cells[0], cells[1], cells[2], List.of(cells[3].split(",")),
                        List.of(cells[4].split(","))))
                .toList();
    }

    static Map<Integer, Row> byNumber() throws IOException {
        return rows().stream().collect(Collectors.toMap(Row::number, row -> row));
    }
}
