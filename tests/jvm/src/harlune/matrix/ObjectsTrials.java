package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.token.RsaKeys;

import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.util.Arrays;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.CryptokiObject;
import velnor.nat.NativeCryptoki;

/** Objects: made, copied, changed, read, found and destroyed. */
final class ObjectsTrials extends NativeTrials {
    private static final byte[] NEW_LABEL = "another label".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] VALUE = bytes(100);
    private static int objects;

    /** Of each trial's object its own: a TPM keeps session objects. */
    private byte[] label;

    ObjectsTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        trial("created and destroyed", "data object", () -> createdAndDestroyed(false));
        trial("created and destroyed", "private data object", () -> createdAndDestroyed(true));
        trial("created", "AES key", () -> call("J_CreateObject", () -> secretKey(CKK_AES, bytes(16))));
        trial("created", "RSA public key",
                () -> call("J_CreateObject", () -> jdkKeys().createPublicKey(session)));
        trial("created", "RSA private key",
                () -> call("J_CreateObject", () -> jdkKeys().createPrivateKey(session)));
        trial("copied", "data object", this::copied);
        trial("measured", "data object", () -> {
            long object = dataObject();
            int size = call("J_GetObjectSize", () -> session.J_GetObjectSize(object));
            assertTrue(size >= -1, () -> "size " + size);
        });
        trial("changed", "data object", this::changed);
        trial("read", "data object", this::readOneByOne);
        trial("read", "data object", this::readAtOnce);
        trial("found", "data object", this::found);
        trial("found with attributes", "data object", this::foundWithAttributes);
        trial("what is there already", "key pair", this::keyPair);
    }

    private static RsaKeys jdkKeys() {
        try {
            return new RsaKeys();
        } catch (GeneralSecurityException e) {
            throw new IllegalStateException(e);
        }
    }

    private Attribute[] dataTemplate(boolean isPrivate) {
        label = ("object " + ++objects).getBytes(StandardCharsets.US_ASCII);
        return new Attribute[] {
            attribute(CKA_CLASS, CKO_DATA),
            attribute(CKA_TOKEN, false),
            attribute(CKA_PRIVATE, isPrivate),
            attribute(CKA_LABEL, label),
            attribute(CKA_VALUE, VALUE),
        };
    }

    /** A public one, or on tokens that have none, a private one. */
    private long dataObject() {
        try {
            return session.J_CreateObject(dataTemplate(false));
        } catch (CryptokiException e) {
            return session.J_CreateObject(dataTemplate(true));
        }
    }

    private byte[] read(long object, int type) {
        return session.J_GetAttributeValue(object, type).bytesValue();
    }

    private void createdAndDestroyed(boolean isPrivate) {
        long object = call("J_CreateObject", () -> session.J_CreateObject(dataTemplate(isPrivate)));
        assertArrayEquals(VALUE, read(object, CKA_VALUE));
        run("J_DestroyObject", () -> session.J_DestroyObject(object));
        assertNull(session.J_FindObjects(new Attribute[] {attribute(CKA_LABEL, label)}));
        mustRefuse("J_DestroyObject", "an object that is gone", () -> session.J_DestroyObject(object));
    }

    private void copied() {
        long object = dataObject();
        long copy = call("J_CopyObject",
                () -> session.J_CopyObject(object, new Attribute[] {attribute(CKA_LABEL, NEW_LABEL)}));
        assertArrayEquals(VALUE, read(copy, CKA_VALUE));
        assertArrayEquals(NEW_LABEL, read(copy, CKA_LABEL));
        assertArrayEquals(label, read(object, CKA_LABEL));
    }

    private void changed() {
        long object = dataObject();
        run("J_SetAttributeValue",
                () -> session.J_SetAttributeValue(object, new Attribute[] {attribute(CKA_LABEL, NEW_LABEL)}));
        assertArrayEquals(NEW_LABEL, read(object, CKA_LABEL));
        assertArrayEquals(VALUE, read(object, CKA_VALUE));
    }

    private void readOneByOne() {
        long object = dataObject();
        assertArrayEquals(VALUE,
                call("Attribute J_GetAttributeValue", () -> session.J_GetAttributeValue(object, CKA_VALUE))
                        .bytesValue());
        assertEquals(CKO_DATA, session.J_GetAttributeValue(object, CKA_CLASS).intValue());
        assertEquals(false, session.J_GetAttributeValue(object, CKA_TOKEN).booleanValue());
    }

    private void readAtOnce() {
        long object = dataObject();
        Attribute[] read = call("Attribute[] J_GetAttributeValue",
                () -> session.J_GetAttributeValue(object, new int[] {CKA_LABEL, CKA_CLASS, CKA_MODULUS}));
        assertArrayEquals(new Attribute[] {attribute(CKA_LABEL, label), attribute(CKA_CLASS, CKO_DATA),
            attribute(CKA_MODULUS, null)}, read);
    }

    private void found() {
        long object = dataObject();
        Attribute[] template = {attribute(CKA_CLASS, CKO_DATA), attribute(CKA_LABEL, label)};
        assertArrayEquals(new long[] {object}, call("long[] J_FindObjects", () -> session.J_FindObjects(template)));
        assertTrue(Arrays.stream(session.J_FindObjects(null)).anyMatch(each -> each == object));
    }

    private void foundWithAttributes() {
        long object = dataObject();
        Attribute[] template = {attribute(CKA_CLASS, CKO_DATA), attribute(CKA_LABEL, label)};
        CryptokiObject[] found = call("CryptokiObject[] J_FindObjects",
                () -> session.J_FindObjects(template, new int[] {CKA_VALUE, CKA_CLASS}));
        assertEquals(1, found.length);
        assertEquals(object & 0xFFFFFFFFL, found[0].handle());
        assertArrayEquals(VALUE, found[0].attribute(CKA_VALUE).bytesValue());
        assertEquals(CKO_DATA, found[0].attribute(CKA_CLASS).intValue());
    }

    /** For tokens that take no data objects too: there is a key pair on every token, or one is made. */
    private void keyPair() throws GeneralSecurityException {
        RsaPair pair = RsaPair.in(session);
        byte[] modulus = call("Attribute J_GetAttributeValue",
                () -> session.J_GetAttributeValue(pair.publicKey(), CKA_MODULUS)).bytesValue();
        assertEquals(pair.jdkPublicKey().getModulus(), new BigInteger(1, modulus));
        Attribute[] read = call("Attribute[] J_GetAttributeValue",
                () -> session.J_GetAttributeValue(pair.publicKey(), new int[] {CKA_KEY_TYPE, CKA_MODULUS}));
        assertArrayEquals(new Attribute[] {attribute(CKA_KEY_TYPE, CKK_RSA), attribute(CKA_MODULUS, modulus)}, read);
        Attribute[] template = {attribute(CKA_CLASS, CKO_PUBLIC_KEY), attribute(CKA_MODULUS, modulus)};
        assertArrayEquals(new long[] {pair.publicKey()},
                call("long[] J_FindObjects", () -> session.J_FindObjects(template)));
        CryptokiObject[] found = call("CryptokiObject[] J_FindObjects",
                () -> session.J_FindObjects(template, new int[] {CKA_CLASS}));
        assertEquals(CKO_PUBLIC_KEY, found[0].attribute(CKA_CLASS).intValue());
        run("J_SetAttributeValue", () -> session.J_SetAttributeValue(pair.publicKey(),
                new Attribute[] {attribute(CKA_LABEL, NEW_LABEL)}));
        assertArrayEquals(NEW_LABEL, read(pair.publicKey(), CKA_LABEL));
    }
}
