package harlune.matrix;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.io.PrintWriter;
import java.io.StringWriter;
import java.lang.invoke.MethodType;
import java.lang.reflect.Method;
import java.net.URISyntaxException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.spi.ToolProvider;
import java.util.stream.Collectors;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

/** The trials leave no native method out, and the tables tell what the outcomes say. */
class TokenTableTest {
    private static final Path SOURCES = Path.of(System.getProperty("harlune.sources"));

    @Test
    void everyNativeMethodIsInTheTables() {
        assertEquals(NativeMethods.declared().collect(Collectors.toSet()), new HashSet<>(NativeMethods.all().values()));
    }

    /** Whatever the trials say that they call: their constant pools tell. */
    @Test
    void everyNativeMethodIsCalledByATrial() throws IOException, URISyntaxException {
        Path classes = Path.of(getClass().getProtectionDomain().getCodeSource().getLocation().toURI())
                .resolve("harlune/matrix");
        StringWriter code = new StringWriter();
        try (Stream<Path> files = Files.list(classes)) {
            String[] arguments = Stream.concat(Stream.of("-v", "-p"), files.map(Path::toString))
                    .toArray(String[]::new);
            ToolProvider javap = ToolProvider.findFirst("javap").orElseThrow();
            assertEquals(0, javap.run(new PrintWriter(code), new PrintWriter(System.err, true), arguments));
        }
        String disassembled = code.toString();
        for (Method method : NativeMethods.all().values()) {
            String call = method.getDeclaringClass().getName().replace('.', '/') + "." + method.getName() + ":"
                    + MethodType.methodType(method.getReturnType(), method.getParameterTypes())
                            .toMethodDescriptorString();
            assertTrue(disassembled.contains(call), () -> "nothing calls " + call);
        }
    }

    @ParameterizedTest
    @MethodSource("harlune.matrix.TokenTable#columns")
    void everyTokenHasAnOutcomeForEveryNativeMethod(String column) throws IOException {
        List<Outcomes.Line> lines = Outcomes.read(SOURCES.resolve("tests/tokens/outcomes/" + column + ".tsv"));
        Set<String> methods = lines.stream().map(Outcomes.Line::row).collect(Collectors.toSet());
        assertEquals(NativeMethods.all().keySet(), methods);
    }

    @ParameterizedTest
    @MethodSource("harlune.matrix.TokenTable#surfaceColumns")
    void everyTokenHasAnOutcomeForEveryUse(String column) throws IOException {
        List<Outcomes.Line> lines = Outcomes.read(SOURCES.resolve("tests/tokens/outcomes/" + column + ".tsv"));
        assertEquals(new HashSet<>(SurfaceTrials.ROWS),
                lines.stream().map(Outcomes.Line::row).collect(Collectors.toSet()));
    }

    @Test
    void theDocumentHasTheTablesOfTheseOutcomes() throws IOException {
        assertEquals(TokenTable.rewritten(SOURCES), Files.readString(TokenTable.document(SOURCES)));
    }
}
