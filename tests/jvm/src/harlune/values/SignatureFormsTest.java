package harlune.values;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.Signature;
import java.security.spec.ECGenParameterSpec;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

import velnor.EcdsaSignatures;

/** The two forms of a signature, against the JDK, which makes and takes both. */
class SignatureFormsTest {
    @ParameterizedTest
    @CsvSource({"secp256r1, 32", "secp384r1, 48", "secp521r1, 66"})
    void eachFormIsTheOther(String curve, int length) throws Exception {
        KeyPairGenerator generator = KeyPairGenerator.getInstance("EC");
        generator.initialize(new ECGenParameterSpec(curve));
        KeyPair pair = generator.generateKeyPair();
        byte[] message = curve.getBytes();
        for (int i = 0; i < 40; i++) {
            Signature raw = Signature.getInstance("SHA256withECDSAinP1363Format");
            raw.initSign(pair.getPrivate());
            raw.update(message);
            byte[] signature = raw.sign();
            assertEquals(2 * length, signature.length);

            byte[] der = EcdsaSignatures.toDer(signature);
            Signature verifier = Signature.getInstance("SHA256withECDSA");
            verifier.initVerify(pair.getPublic());
            verifier.update(message);
            assertTrue(verifier.verify(der));
            assertArrayEquals(signature, EcdsaSignatures.fromDer(der, length));
        }
    }

    @Test
    void smallNumbersKeepTheirPlaces() {
        byte[] raw = new byte[64];
        raw[31] = 1;
        raw[32] = (byte) 0x80;
        byte[] der = EcdsaSignatures.toDer(raw);
        assertArrayEquals(new byte[] {0x30, 38, 2, 1, 1, 2, 33, 0, (byte) 0x80},
                java.util.Arrays.copyOf(der, 9));
        assertArrayEquals(raw, EcdsaSignatures.fromDer(der, 32));
        assertArrayEquals(new byte[] {0x30, 6, 2, 1, 0, 2, 1, 0}, EcdsaSignatures.toDer(new byte[64]));
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 63})
    void halvesAreOfOneLength(int length) {
        assertThrows(IllegalArgumentException.class, () -> EcdsaSignatures.toDer(new byte[length]));
    }

    @Test
    void whatIsNoSignatureIsRefused() {
        byte[] good = {0x30, 6, 2, 1, 1, 2, 1, 1};
        assertArrayEquals(new byte[] {1, 1}, EcdsaSignatures.fromDer(good, 1));
        for (byte[] bad : List.of(new byte[0], new byte[] {0x30}, new byte[] {0x30, 0},
                new byte[] {0x30, 7, 2, 1, 1, 2, 1, 1}, new byte[] {0x30, 6, 2, 1, 1, 2, 1, 1, 0},
                new byte[] {0x31, 6, 2, 1, 1, 2, 1, 1}, new byte[] {0x30, 6, 2, 1, -1, 2, 1, 1},
                new byte[] {0x30, 7, 2, 2, 0, 1, 2, 1, 1}, new byte[] {0x30, (byte) 0x81, 6, 2, 1, 1, 2, 1, 1},
                new byte[] {0x30, 9, 2, 1, 1, 2, 1, 1, 2, 1, 1}, new byte[] {0x30, 5, 2, 0, 2, 1, 1},
                new byte[] {0x30, (byte) 0x80, 2, 1, 1, 2, 1, 1, 0, 0},
                new byte[] {0x30, (byte) 0x84, -1, -1, -1, -1, 2, 1, 1}, new byte[] {0x30, 8, 2, 2, 1, 1, 2, 2, 1, 1})) {
            assertThrows(IllegalArgumentException.class, () -> EcdsaSignatures.fromDer(bad, 1),
                    () -> java.util.Arrays.toString(bad));
        }
        assertThrows(IllegalArgumentException.class, () -> EcdsaSignatures.fromDer(good, 0));
    }
}
