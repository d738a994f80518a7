package velnor;

import java.io.ByteArrayOutputStream;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystems;
import java.nio.file.Path;
import java.util.Objects;

/** The file name of a module, in the bytes that the file system knows it by. */
final class ModuleName {
    private final byte[] bytes;
    private final String shown;

    private ModuleName(byte[] bytes, String shown) {
        this.bytes = bytes;
        this.shown = shown;
    }

    /**
     * A name in characters.
     *
     * @throws IllegalArgumentException when it is empty, has a zero in it, or a character that the encoding of file
     *         names does not have: in its place another file would be loaded
     */
    static ModuleName of(String name) {
        Objects.requireNonNull(name, "module");
        if (name.isEmpty() || name.indexOf('\0') >= 0) {
            throw new IllegalArgumentException("The module's file name is empty or has a zero in it");
        }
        try {
            ByteBuffer encoded = encoding().newEncoder().encode(CharBuffer.wrap(name));
            byte[] bytes = new byte[encoded.remaining()];
            encoded.get(bytes);
            return new ModuleName(bytes, name);
        } catch (CharacterCodingException e) {
            throw new IllegalArgumentException("The module's file name has a character that file names do not have in"
                    + " this locale, where they are in " + encoding() + "; LC_ALL=C.UTF-8 helps", e);
        }
    }

    /** A path, which may have bytes that are no characters: it knows them, though its text does not. */
    static ModuleName of(Path path) {
        String absolute = path.toAbsolutePath().toString();
        if (!path.getFileSystem().equals(FileSystems.getDefault())) {
            return of(absolute);
        }
        String escaped = path.toAbsolutePath().toUri().getRawPath();
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        for (int i = 0; i < escaped.length(); i++) {
            if (escaped.charAt(i) == '%') {
                bytes.write(Integer.parseInt(escaped.substring(i + 1, i + 3), 16));
                i += 2;
            } else {
                bytes.write(escaped.charAt(i));
            }
        }
        return new ModuleName(bytes.toByteArray(), absolute);
    }

    byte[] bytes() {
        return bytes;
    }

    /** What the JVM reads and writes file names in. */
    static Charset encoding() {
        String encoding = System.getProperty("sun.jnu.encoding");
        return encoding == null ? StandardCharsets.UTF_8 : Charset.forName(encoding);
    }

    @Override
    public String toString() {
        return shown;
    }
}
