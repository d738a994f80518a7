package velnor;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.HashMap;
import java.util.Map;
import java.util.Objects;

import velnor.nat.Structure;

/** Templates as native code can take them. */
final class Templates {
    /**
     * The values that are possible. Native code goes by their classes alone and would write eight bytes for a flag; a
     * token that expects a number or a flag may look for it where there is none (NSS).
     */
    private enum Kind {
        NUMBER("an Integer") {
            @Override
            boolean takes(Object value) {
                return value instanceof Integer;
            }
        },
        TRUTH("a Boolean") {
            @Override
            boolean takes(Object value) {
                return value instanceof Boolean;
            }
        },
        BYTES("a byte[] or a String") {
            @Override
            boolean takes(Object value) {
                return value == null || value instanceof byte[] || value instanceof String;
            }
        },
        /** Templates within templates hold pointers, which a token would follow wherever bytes of ours point. */
        NOTHING("nothing but null, as it cannot be passed on") {
            @Override
            boolean takes(Object value) {
                return value == null;
            }
        };

        private final String described;

        Kind(String described) {
            this.described = described;
        }

        abstract boolean takes(Object value);
    }

    /** The attributes of the standard. */
    private static final Map<Integer, Kind> KINDS = new HashMap<>();

    static {
        hold(Kind.NUMBER, CKA.CLASS, CKA.CERTIFICATE_TYPE, CKA.CERTIFICATE_CATEGORY, CKA.JAVA_MIDP_SECURITY_DOMAIN,
                CKA.NAME_HASH_ALGORITHM, CKA.KEY_TYPE, CKA.MODULUS_BITS, CKA.PRIME_BITS, CKA.SUBPRIME_BITS,
                CKA.VALUE_BITS, CKA.VALUE_LEN, CKA.KEY_GEN_MECHANISM, CKA.AUTH_PIN_FLAGS, CKA.OTP_FORMAT,
                CKA.OTP_LENGTH, CKA.OTP_TIME_INTERVAL, CKA.OTP_CHALLENGE_REQUIREMENT, CKA.OTP_TIME_REQUIREMENT,
                CKA.OTP_COUNTER_REQUIREMENT, CKA.OTP_PIN_REQUIREMENT, CKA.HW_FEATURE_TYPE, CKA.PIXEL_X, CKA.PIXEL_Y,
                CKA.RESOLUTION, CKA.CHAR_ROWS, CKA.CHAR_COLUMNS, CKA.BITS_PER_PIXEL, CKA.MECHANISM_TYPE);
        hold(Kind.TRUTH, CKA.TOKEN, CKA.PRIVATE, CKA.TRUSTED, CKA.SENSITIVE, CKA.ENCRYPT, CKA.DECRYPT, CKA.WRAP,
                CKA.UNWRAP, CKA.SIGN, CKA.SIGN_RECOVER, CKA.VERIFY, CKA.VERIFY_RECOVER, CKA.DERIVE, CKA.EXTRACTABLE,
                CKA.LOCAL, CKA.NEVER_EXTRACTABLE, CKA.ALWAYS_SENSITIVE, CKA.MODIFIABLE, CKA.COPYABLE, CKA.DESTROYABLE,
                CKA.SECONDARY_AUTH, CKA.ALWAYS_AUTHENTICATE, CKA.WRAP_WITH_TRUSTED, CKA.OTP_USER_FRIENDLY_MODE,
                CKA.RESET_ON_INIT, CKA.HAS_RESET, CKA.COLOR);
        hold(Kind.BYTES, CKA.LABEL, CKA.APPLICATION, CKA.VALUE, CKA.OBJECT_ID, CKA.ISSUER, CKA.SERIAL_NUMBER,
                CKA.AC_ISSUER, CKA.OWNER, CKA.ATTR_TYPES, CKA.URL, CKA.HASH_OF_SUBJECT_PUBLIC_KEY,
                CKA.HASH_OF_ISSUER_PUBLIC_KEY, CKA.CHECK_VALUE, CKA.SUBJECT, CKA.ID, CKA.START_DATE, CKA.END_DATE,
                CKA.MODULUS, CKA.PUBLIC_EXPONENT, CKA.PRIVATE_EXPONENT, CKA.PRIME_1, CKA.PRIME_2, CKA.EXPONENT_1,
                CKA.EXPONENT_2, CKA.COEFFICIENT, CKA.PUBLIC_KEY_INFO, CKA.PRIME, CKA.SUBPRIME, CKA.BASE, CKA.EC_PARAMS,
                CKA.EC_POINT, CKA.OTP_USER_IDENTIFIER, CKA.OTP_SERVICE_IDENTIFIER, CKA.OTP_SERVICE_LOGO,
                CKA.OTP_SERVICE_LOGO_TYPE, CKA.OTP_COUNTER, CKA.OTP_TIME, CKA.GOSTR3410_PARAMS, CKA.GOSTR3411_PARAMS,
                CKA.GOST28147_PARAMS, CKA.CHAR_SETS, CKA.ENCODING_METHODS, CKA.MIME_TYPES,
                CKA.REQUIRED_CMS_ATTRIBUTES, CKA.DEFAULT_CMS_ATTRIBUTES, CKA.SUPPORTED_CMS_ATTRIBUTES,
                CKA.ALLOWED_MECHANISMS);
        hold(Kind.NOTHING, CKA.WRAP_TEMPLATE, CKA.UNWRAP_TEMPLATE, CKA.DERIVE_TEMPLATE);
    }

    private Templates() {
    }

    private static void hold(Kind kind, int... types) {
        for (int type : types) {
            KINDS.put(type, kind);
        }
    }

    /** A template of its own with texts in UTF-8, after a check of each value against its type. */
    static Attribute[] checked(Attribute... template) {
        Objects.requireNonNull(template, "template");
        Attribute[] checked = new Attribute[template.length];
        for (int i = 0; i < template.length; i++) {
            checked[i] = checked(Objects.requireNonNull(template[i], "an attribute of the template"));
        }
        return checked;
    }

    /** A template for native code, after a check of each value against its type. Wipe it after use. */
    static Structure structure(Attribute... template) {
        Attribute[] checked = checked(template);
        Structure structure = new Structure(checked.length * Structure.ATTRIBUTE);
        for (int i = 0; i < checked.length; i++) {
            int at = i * Structure.ATTRIBUTE;
            structure.putNumber(at, checked[i].type());
            structure.putCounted(at + 8, at + 16, bytes(checked[i].uncopiedValue()));
        }
        return structure;
    }

    private static byte[] bytes(Object value) {
        if (value instanceof Integer) {
            return ByteBuffer.allocate(8).order(ByteOrder.LITTLE_ENDIAN)
                    .putLong(Integer.toUnsignedLong((Integer) value)).array();
        }
        return value instanceof Boolean ? new byte[] {(byte) ((Boolean) value ? 1 : 0)} : (byte[]) value;
    }

    private static Attribute checked(Attribute attribute) {
        Object value = attribute.uncopiedValue();
        Kind kind = KINDS.get(attribute.type());
        if (kind != null && !kind.takes(value)) {
            throw new IllegalArgumentException(CKA.name(attribute.type()) + " holds " + kind.described + ", not "
                    + (value == null ? "null" : value.getClass().getTypeName()));
        }
        return value instanceof String
                ? new Attribute(attribute.type(), ((String) value).getBytes(StandardCharsets.UTF_8)) : attribute;
    }
}
