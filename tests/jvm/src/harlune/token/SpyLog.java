package harlune.token;

import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;
import static org.junit.jupiter.api.Assertions.fail;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

import org.junit.jupiter.api.function.Executable;

/**
 * The calls that arrived at a module, as OpenSC's spy has seen them in front of it. Each call is one text of the
 * function and its input arguments, in their order: {@code C_Sign(hSession = 0x1, pData = 0A0B)}. Bytes are in
 * hexadecimal, without their address and as many as the length beside them says; a template's attributes are named
 * after the template: {@code pTemplate.CKA_TOKEN = False}.
 */
final class SpyLog {
    private static final Path FILE = Path.of(System.getenv("PKCS11SPY_OUTPUT"));

    private static final Pattern CALL = Pattern.compile("\\d+: (?:C_)?(\\w+)");
    private static final Pattern END = Pattern.compile("Returned:  \\d+ CKR_\\w+");
    private static final Pattern OUTPUT = Pattern.compile("\\[out\\].*");
    /** The spy tells the length's name beside that of the bytes. */
    private static final Pattern BYTES = Pattern.compile("\\[in\\] (\\S+?)\\[\\w+\\] [0-9a-f]{16} / (\\d+)");
    private static final Pattern NO_BYTES =
            Pattern.compile("\\[in\\] (\\S+?)\\[\\w+\\] NULL \\[size : 0x\\w+ \\((\\d+)\\)\\]");
    private static final Pattern TEMPLATE = Pattern.compile("\\[in\\] (\\w+)\\[(\\d+)\\]: ");
    private static final Pattern VALUE = Pattern.compile("\\[in\\] (\\S+) = (.*?) *(?:\\[out\\].*)?");
    private static final Pattern ATTRIBUTE_BYTES =
            Pattern.compile(" {4}(CKA_\\S+(?: \\(0x\\w+\\))?) +[0-9a-f]{16} / (\\d+)");
    private static final Pattern ATTRIBUTE = Pattern.compile(" {4}(CKA_\\w+) +(\\w+) *");
    private static final Pattern DUMP = Pattern.compile(" {4}[0-9A-F]{8}  ((?:[0-9A-F]{2} )+) .*");
    /** Labels are shown in groups of four bytes, one line for all of them if it is not too long. */
    private static final Pattern TEXT = Pattern.compile(" {4}([0-9A-F]{2,8}(?: [0-9A-F]{2,8})*)");

    private final List<String> lines;
    private int at;

    private SpyLog(List<String> lines) {
        this.lines = lines;
    }

    /** The calls that somebody's work makes. */
    static List<String> during(Executable work) {
        int before = lines().size();
        assertDoesNotThrow(work);
        List<String> all = lines();
        return new SpyLog(all.subList(before, all.size())).calls();
    }

    /** All calls since the module was loaded. */
    static List<String> all() {
        return new SpyLog(lines()).calls();
    }

    private static List<String> lines() {
        try {
            return Files.readAllLines(FILE, StandardCharsets.ISO_8859_1);
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private List<String> calls() {
        List<String> calls = new ArrayList<>();
        while (at < lines.size()) {
            Matcher call = CALL.matcher(lines.get(at++));
            if (call.matches()) {
                calls.add("C_" + call.group(1) + "(" + String.join(", ", arguments()) + ")");
            }
        }
        return calls;
    }

    private List<String> arguments() {
        List<String> arguments = new ArrayList<>();
        while (at < lines.size() && !END.matcher(lines.get(at)).matches()) {
            String line = lines.get(at++);
            Matcher bytes = BYTES.matcher(line);
            Matcher noBytes = NO_BYTES.matcher(line);
            Matcher template = TEMPLATE.matcher(line);
            Matcher value = VALUE.matcher(line);
            if (bytes.matches()) {
                arguments.add(bytes.group(1) + " = " + dump(Integer.parseInt(bytes.group(2))));
            } else if (noBytes.matches()) {
                arguments.add(noBytes.group(1) + " = NULL"
                        + (noBytes.group(2).equals("0") ? "" : " of " + noBytes.group(2)));
            } else if (template.matches()) {
                attributes(template.group(1), Integer.parseInt(template.group(2)), arguments);
            } else if (value.matches()) {
                arguments.add(value.group(1) + " = " + value.group(2));
            } else if (line.startsWith("[in]")) {
                fail("The spy says what nobody understands: " + line);
            } else if (OUTPUT.matcher(line).matches()) {
                break;
            }
        }
        return arguments;
    }

    private void attributes(String template, int count, List<String> to) {
        if (count == 0) {
            to.add(template + " is empty");
        }
        for (int i = 0; i < count; ++i) {
            String line = lines.get(at++);
            Matcher bytes = ATTRIBUTE_BYTES.matcher(line);
            Matcher symbol = ATTRIBUTE.matcher(line);
            if (bytes.matches()) {
                int length = Integer.parseInt(bytes.group(2));
                // Of a type that the spy does not know it shows no bytes.
                String value = bytes.group(1).contains("?") ? length + " bytes" : dump(length);
                to.add(template + "." + bytes.group(1) + " = " + value);
            } else if (symbol.matches()) {
                to.add(template + "." + symbol.group(1) + " = " + symbol.group(2));
            } else {
                fail("The spy says of a template what nobody understands: " + line);
            }
        }
    }

    /** The bytes that the next lines show. */
    private String dump(int length) {
        StringBuilder hex = new StringBuilder();
        while (hex.length() < 2 * length) {
            String line = lines.get(at++);
            Matcher dump = DUMP.matcher(line);
            Matcher text = TEXT.matcher(line);
            if (dump.matches()) {
                hex.append(dump.group(1).replace(" ", ""));
            } else if (text.matches()) {
                hex.append(text.group(1).replace(" ", ""));
                at++;
            } else {
                return fail("Of " + length + " bytes the spy shows " + hex + ", and then: " + line);
            }
        }
        return hex.length() == 2 * length ? hex.toString() : fail(length + " bytes are not " + hex);
    }
}
