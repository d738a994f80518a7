package velnor.cli;

import java.math.BigInteger;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKC;
import velnor.CKK;
import velnor.CKO;
import velnor.TokenObject;

/** What is told about objects. */
final class ObjectFields {
    private static final Map<Integer, String> USES = new LinkedHashMap<>();

    static {
        USES.put(CKA.ENCRYPT, "encrypt");
        USES.put(CKA.DECRYPT, "decrypt");
        USES.put(CKA.SIGN, "sign");
        USES.put(CKA.VERIFY, "verify");
        USES.put(CKA.WRAP, "wrap");
        USES.put(CKA.UNWRAP, "unwrap");
        USES.put(CKA.DERIVE, "derive");
    }

    private ObjectFields() {
    }

    static Fields of(TokenObject object) {
        int objectClass = object.objectClass();
        return new Fields()
                .with("handle", Hex.of(object.handle()))
                .with("class", CKO.name(objectClass))
                .with("type", type(object, objectClass))
                .with("bits", bits(object))
                .with("label", object.label())
                .with("id", Hex.of(object.id()))
                .with("private", value(object, CKA.PRIVATE))
                .with("sensitive", value(object, CKA.SENSITIVE))
                .with("extractable", value(object, CKA.EXTRACTABLE))
                .with("uses", uses(object));
    }

    static String table(List<Fields> objects) {
        return objects.isEmpty() ? "There is no object to be seen.\n"
                : Text.table(objects, "class", "type", "bits", "label", "id", "uses");
    }

    private static String type(TokenObject object, int objectClass) {
        if (objectClass == CKO.CERTIFICATE) {
            Object type = value(object, CKA.CERTIFICATE_TYPE);
            return type == null ? null : CKC.name((Integer) type);
        }
        Object type = value(object, CKA.KEY_TYPE);
        return type == null ? null : CKK.name((Integer) type);
    }

    private static Integer bits(TokenObject object) {
        byte[] modulus = (byte[]) value(object, CKA.MODULUS);
        if (modulus != null) {
            return new BigInteger(1, modulus).bitLength();
        }
        Integer bytes = (Integer) value(object, CKA.VALUE_LEN);
        return bytes == null ? null : Integer.valueOf(bytes * Byte.SIZE);
    }

    private static List<String> uses(TokenObject object) {
        List<String> uses = new ArrayList<>();
        USES.forEach((type, use) -> {
            if (Boolean.TRUE.equals(value(object, type))) {
                uses.add(use);
            }
        });
        return uses;
    }

    private static Object value(TokenObject object, int type) {
        List<Attribute> read = object.attributes(type);
        return read.get(0).value();
    }
}
