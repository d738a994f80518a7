package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;

import harlune.support.ScriptedModule;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.lang.reflect.Constructor;
import java.lang.reflect.Method;
import java.nio.ByteBuffer;
import java.nio.ReadOnlyBufferException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import javax.crypto.SecretKey;

import org.junit.jupiter.api.Test;

import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Encryptor;
import velnor.ObjectTemplates;

/** Arrays that the surface made for itself are blank when it is done with them. */
class WipedTest extends ScriptedOperations {
    private final List<byte[]> seen = new ArrayList<>();

    /** Keeps the arrays that it is asked to fill. */
    private InputStream input(IOException end) {
        return new InputStream() {
            private int left = 100_000;

            @Override
            public int read() {
                throw new AssertionError("byte by byte");
            }

            @Override
            public int read(byte[] bytes, int off, int len) throws IOException {
                if (left == 0 && end != null) {
                    throw end;
                }
                seen.add(bytes);
                int given = Math.min(left, len);
                Arrays.fill(bytes, off, off + given, (byte) 's');
                left -= given;
                return given == 0 ? -1 : given;
            }
        };
    }

    /** Keeps the arrays that it is given. */
    private OutputStream output(IOException end) {
        return new OutputStream() {
            @Override
            public void write(int b) {
                throw new AssertionError("byte by byte");
            }

            @Override
            public void write(byte[] bytes) throws IOException {
                assertFalse(bytes.length > 0 && bytes[0] == 0);
                seen.add(bytes);
                if (end != null) {
                    throw end;
                }
            }
        };
    }

    private void assertAllBlank(int atLeast) {
        assertFalse(seen.size() < atLeast, () -> seen.size() + " arrays");
        for (byte[] array : seen) {
            assertArrayEquals(new byte[array.length], array);
        }
    }

    @Test
    void whatIsReadFromAStream() throws IOException {
        try (Encryptor encryptor = session.encryptor(AES, secret)) {
            encryptor.transfer(input(null), OutputStream.nullOutputStream());
        }
        assertAllBlank(2);
        assertThrows(IOException.class, () -> session.digester(SHA256).update(input(new IOException())));
        assertAllBlank(4);
    }

    @Test
    void whatIsWrittenToAStream() throws IOException {
        try (Decryptor decryptor = session.decryptor(AES, secret)) {
            decryptor.transfer(new ByteArrayInputStream(new byte[100_003]), output(null));
        }
        assertAllBlank(3);
        assertThrows(IOException.class, () -> session.decryptor(AES, secret)
                .transfer(new ByteArrayInputStream(new byte[9]), output(new IOException())));
        assertAllBlank(4);
    }

    @Test
    void thePinInUtf8() throws ReflectiveOperationException {
        Class<?> pinClass = Class.forName("velnor.Pin");
        Method of = pinClass.getDeclaredMethod("of", char[].class);
        of.setAccessible(true);
        char[] characters = "p\u00EFn".toCharArray();
        AutoCloseable pin = (AutoCloseable) of.invoke(null, (Object) characters);
        Method bytes = pinClass.getDeclaredMethod("bytes");
        bytes.setAccessible(true);
        seen.add((byte[]) bytes.invoke(pin));
        assertEquals("p\u00EFn", text(seen.get(0)));
        Method close = pinClass.getDeclaredMethod("close");
        close.setAccessible(true);
        close.invoke(pin);
        assertAllBlank(1);
        assertEquals("p\u00EFn", new String(characters), "the caller's own array stays as it is");
    }

    /** The second part fails. */
    @Test
    void randomBytesThatAreNotWhole() {
        int length = 100_000;
        byte[] array = new byte[length + 2];
        array[0] = array[length + 1] = 'x';
        ByteBuffer heap = ByteBuffer.wrap(new byte[length]).position(1);
        ByteBuffer direct = ByteBuffer.allocateDirect(length).put((byte) 'x');
        List<Runnable> all = List.of(() -> session.random(array, 1, length), () -> session.random(heap),
                () -> session.random(direct));
        for (Runnable random : all) {
            ScriptedModule.answer("C_GenerateRandom");
            ScriptedModule.answer("C_GenerateRandom CKR_DEVICE_ERROR");
            assertThrows(CryptokiException.class, random::run);
        }
        assertEquals('x', array[0]);
        assertEquals('x', array[length + 1]);
        seen.add(Arrays.copyOfRange(array, 1, length + 1));
        for (ByteBuffer buffer : List.of(heap, direct)) {
            assertEquals(1, buffer.position());
            byte[] rest = new byte[buffer.remaining()];
            buffer.get(rest);
            seen.add(rest);
        }
        assertAllBlank(3);
        assertThrows(ReadOnlyBufferException.class, () -> session.random(ByteBuffer.allocate(1).asReadOnlyBuffer()));
    }

    @Test
    void whatAKeyWasExportedAs() {
        SecretKey key = new SecretKey() {
            @Override
            public String getAlgorithm() {
                return "AES";
            }

            @Override
            public String getFormat() {
                return "RAW";
            }

            @Override
            public byte[] getEncoded() {
                byte[] encoded = new byte[16];
                Arrays.fill(encoded, (byte) 's');
                seen.add(encoded);
                return encoded;
            }
        };
        byte[] value = ObjectTemplates.of(key)[2].bytesValue();
        assertAllBlank(1);
        assertEquals('s', value[0]);
    }

    @Test
    void thePartsThatAnOutputWasMadeOf() throws ReflectiveOperationException {
        Class<?> outputClass = Class.forName("velnor.Output");
        Constructor<?> constructor = outputClass.getDeclaredConstructor();
        constructor.setAccessible(true);
        Method add = outputClass.getDeclaredMethod("add", byte[].class);
        add.setAccessible(true);
        Method all = outputClass.getDeclaredMethod("all");
        all.setAccessible(true);
        Object output = constructor.newInstance();
        for (String part : new String[] {"two ", "parts"}) {
            seen.add(bytes(part));
            add.invoke(output, seen.get(seen.size() - 1));
        }
        byte[] whole = (byte[]) all.invoke(output);
        Method close = outputClass.getDeclaredMethod("close");
        close.setAccessible(true);
        close.invoke(output);
        assertAllBlank(2);
        assertEquals("two parts", text(whole));
    }
}
