package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.BufferOverflowException;
import java.nio.ByteBuffer;
import java.nio.ReadOnlyBufferException;
import java.util.List;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.Decryptor;
import velnor.Digester;
import velnor.Encryptor;
import velnor.Signer;
import velnor.Verifier;

/** Buffers of every kind in the place of arrays: direct, on the heap, parts of others, read-only. */
class BuffersTest extends ScriptedOperations {
    private enum Kind {
        DIRECT, HEAP, SLICE, READ_ONLY;

        /** A buffer between other bytes. */
        ByteBuffer of(String content) {
            ByteBuffer whole = this == DIRECT || this == SLICE ? ByteBuffer.allocateDirect(content.length() + 5)
                    : ByteBuffer.allocate(content.length() + 5);
            whole.position(3);
            whole.put(bytes(content)).flip().position(3);
            return this == SLICE ? whole.slice() : this == READ_ONLY ? whole.asReadOnlyBuffer() : whole;
        }
    }

    static Stream<Arguments> kinds() {
        return Stream.of(Kind.values()).flatMap(in -> Stream.of(Kind.DIRECT, Kind.HEAP, Kind.SLICE)
                .map(out -> Arguments.of(in, out)));
    }

    private static String written(ByteBuffer buffer, int from) {
        byte[] bytes = new byte[buffer.position() - from];
        buffer.duplicate().position(from).get(bytes);
        return text(bytes);
    }

    @ParameterizedTest
    @MethodSource("kinds")
    void fromOneBufferToAnother(Kind in, Kind out) {
        ByteBuffer output = out.of("....................");
        int from = output.position();
        try (Encryptor encryptor = session.encryptor(AES, secret)) {
            ByteBuffer part = in.of("datain");
            assertEquals(4, encryptor.update(part, output));
            assertEquals(0, part.remaining());
            assertEquals(0, encryptor.update(in.of(""), output));
            assertEquals(7, encryptor.finish(in.of("parts"), output));
        }
        assertEquals("DATAINPARTS", written(output, from));
        ByteBuffer whole = out.of("....");
        from = whole.position();
        try (Decryptor decryptor = session.decryptor(AES, secret)) {
            ByteBuffer all = in.of("DATA");
            assertEquals(4, decryptor.finish(all, whole));
            assertEquals(0, all.remaining());
            assertEquals(0, whole.remaining());
        }
        assertEquals("data", written(whole, from));
    }

    @ParameterizedTest
    @MethodSource("kinds")
    void tooLittleRoomLosesNothing(Kind in, Kind out) {
        try (Encryptor encryptor = session.encryptor(AES, secret)) {
            ByteBuffer part = in.of("datadata");
            int remaining = part.remaining();
            assertThrows(BufferOverflowException.class, () -> encryptor.update(part, out.of("1234567")));
            assertEquals(remaining, part.remaining());
            ByteBuffer output = out.of("12345678");
            int from = output.position();
            assertEquals(8, encryptor.update(part, output));
            assertEquals("DATADATA", written(output, from));
            encryptor.finish();
        }
        try (Encryptor encryptor = session.encryptor(AES, secret)) {
            ByteBuffer all = in.of("data");
            assertThrows(BufferOverflowException.class, () -> encryptor.finish(all, out.of("123")));
            ByteBuffer output = out.of("1234");
            int from = output.position();
            encryptor.finish(all, output);
            assertEquals("DATA", written(output, from));
        }
        assertTrue(calls().stream().noneMatch(call -> call.equals("C_EncryptFinal CKR_OPERATION_NOT_INITIALIZED")));
    }

    @ParameterizedTest
    @MethodSource("kinds")
    void whatIsCollected(Kind in, Kind ignored) {
        try (Signer signer = session.signer(RSA, privateKey); Digester digester = session.digester(SHA256);
                Verifier verifier = session.verifier(RSA, publicKey)) {
            for (ByteBuffer data : List.of(in.of("da"), in.of(""), in.of("ta"))) {
                signer.update(data.duplicate());
                verifier.update(data.duplicate());
                digester.update(data);
                assertEquals(0, data.remaining());
            }
            assertEquals("SIG:atad", text(signer.sign()));
            assertTrue(verifier.isValid(bytes("SIG:atad")));
            assertTrue(text(digester.digest()).startsWith("data."));
        }
    }

    @Test
    void aLongPartOnTheHeapTravelsInSeveral() {
        byte[] data = new byte[150_000];
        ByteBuffer out = ByteBuffer.allocate(data.length);
        try (Encryptor encryptor = session.encryptor(AES, secret)) {
            assertEquals(data.length, encryptor.update(ByteBuffer.wrap(data), out));
            assertEquals(List.of("C_EncryptInit", "C_EncryptUpdate", "C_EncryptUpdate", "C_EncryptUpdate"), calls());
            assertEquals(data.length, encryptor.update(data).length);
            assertEquals(List.of("C_EncryptUpdate", "C_EncryptUpdate", "C_EncryptUpdate"), calls());
            encryptor.update(ByteBuffer.allocateDirect(data.length), ByteBuffer.allocateDirect(data.length));
            assertEquals(List.of("C_EncryptUpdate"), calls());
        }
    }

    @Test
    void inPlace() {
        ByteBuffer direct = Kind.DIRECT.of("data");
        ByteBuffer heap = ByteBuffer.wrap(bytes("data"));
        for (ByteBuffer buffer : List.of(direct, heap)) {
            int from = buffer.position();
            ByteBuffer out = buffer.duplicate();
            try (Encryptor encryptor = session.encryptor(AES, secret)) {
                encryptor.finish(buffer, out);
            }
            assertEquals("DATA", written(out, from));
        }
    }

    @Test
    void randomBytes() {
        ByteBuffer direct = ByteBuffer.allocateDirect(8);
        direct.position(2);
        session.random(direct);
        assertEquals(0, direct.remaining());
        assertEquals("RANDOM", written(direct, 2));
        ByteBuffer heap = ByteBuffer.allocate(4);
        session.random(heap);
        assertEquals("RAND", written(heap, 0));
        assertThrows(ReadOnlyBufferException.class, () -> session.random(ByteBuffer.allocateDirect(4).asReadOnlyBuffer()));
    }

    @Test
    void mistakes() {
        ByteBuffer some = ByteBuffer.allocate(4);
        assertThrows(ReadOnlyBufferException.class,
                () -> session.encryptor(AES, secret).update(some, some.asReadOnlyBuffer()));
        assertThrows(NullPointerException.class, () -> session.encryptor(AES, secret).update(null, some));
        assertThrows(NullPointerException.class, () -> session.encryptor(AES, secret).finish(some, null));
        assertThrows(NullPointerException.class, () -> session.digester(SHA256).update((ByteBuffer) null));
        assertEquals(List.of(), calls());
    }
}
