package velnor.cli;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.Base64;

import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

/** Where a short result goes, and in which form. */
final class ResultOptions {
    /** How bytes are written. */
    enum Format {
        RAW {
            @Override
            byte[] encode(byte[] bytes) {
                return bytes;
            }

            @Override
            byte[] decode(byte[] text) {
                return text;
            }
        },
        HEX {
            @Override
            byte[] encode(byte[] bytes) {
                return line(Hex.of(bytes));
            }

            @Override
            byte[] decode(byte[] text) {
                return Hex.parse(new String(text, StandardCharsets.US_ASCII)).bytes();
            }
        },
        BASE64 {
            @Override
            byte[] encode(byte[] bytes) {
                return line(Base64.getEncoder().encodeToString(bytes));
            }

            @Override
            byte[] decode(byte[] text) {
                return Base64.getMimeDecoder().decode(text);
            }
        };

        abstract byte[] encode(byte[] bytes);

        /** Reads what {@link #encode} has written; a {@link RuntimeException} tells that it is something else. */
        abstract byte[] decode(byte[] text);

        private static byte[] line(String text) {
            return (text + "\n").getBytes(StandardCharsets.US_ASCII);
        }
    }

    @Mixin
    private OutputOptions output;

    @Option(names = "--format", paramLabel = "FORMAT",
            description = "How the result is written: ${COMPLETION-CANDIDATES}; on a terminal HEX if not given.")
    private Format format;

    void prepare() throws IOException {
        output.prepare();
    }

    /** Gives the result: among the fields of a JSON document in hex, otherwise as the options say. */
    void give(StandardOptions standard, Fields fields, String name, byte[] result, Format usual) throws IOException {
        give(standard, fields, name, result, usual, false);
    }

    /** Gives a result that is for the eyes of its owner alone, and wipes it. */
    void giveSecret(StandardOptions standard, Fields fields, String name, byte[] result, Format usual)
            throws IOException {
        try {
            give(standard, fields, name, result, usual, true);
        } finally {
            Arrays.fill(result, (byte) 0);
        }
    }

    private void give(StandardOptions standard, Fields fields, String name, byte[] result, Format usual,
            boolean secret) throws IOException {
        Format written = format != null ? format : usual;
        if (output.file() != null) {
            output.write(secret, out -> out.write(written.encode(result)));
            fields.with("file", output.file().toString());
        }
        if (standard.json()) {
            standard.report(fields.with(name, Hex.of(result)), Text::details);
        } else if (output.file() == null) {
            Stdout.write((format == null && Terminal.is(Terminal.STDOUT) ? Format.HEX : written).encode(result));
        }
    }
}
