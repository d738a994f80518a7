package velnor;

import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.LongBuffer;
import java.time.LocalDate;
import java.util.HashMap;
import java.util.Map;

import velnor.nat.Structure;

/**
 * What an attribute can hold, and what becomes of the bytes that a token gives for it. A token that expects a number or
 * a flag may look for it where there is none (NSS).
 */
enum AttributeKind {
    NUMBER("an Integer or a Long") {
        @Override
        boolean takes(Object value) {
            return value instanceof Long;
        }

        @Override
        Object value(byte[] bytes) {
            return bytes.length == Structure.WORD ? (Object) numbers(bytes)[0] : bytes;
        }
    },
    TRUTH("a Boolean") {
        @Override
        boolean takes(Object value) {
            return value instanceof Boolean;
        }

        @Override
        Object value(byte[] bytes) {
            return bytes.length == 1 ? (Object) (bytes[0] != 0) : bytes;
        }
    },
    BYTES("a byte[] or a String") {
        @Override
        boolean takes(Object value) {
            return isBytes(value);
        }
    },
    /** Bytes of a number, the highest first. */
    BIG_NUMBER("a byte[], a String or a BigInteger") {
        @Override
        boolean takes(Object value) {
            return isBytes(value) || value instanceof BigInteger;
        }
    },
    DATE("a byte[], a String or a LocalDate") {
        @Override
        boolean takes(Object value) {
            return isBytes(value) || value instanceof LocalDate;
        }
    },
    NUMBERS("a long[], an int[], or a byte[] or a String of whole numbers") {
        @Override
        boolean takes(Object value) {
            return value instanceof long[] || isBytes(value);
        }

        @Override
        Object value(byte[] bytes) {
            return bytes.length % Structure.WORD == 0 ? numbers(bytes) : bytes;
        }
    },
    /** Pointers, which a token would follow wherever bytes of ours point. */
    TEMPLATE("an Attribute[]") {
        @Override
        boolean takes(Object value) {
            return value == null || value instanceof Attribute[];
        }
    },
    /** Not of the standard: whatever its vendor says. */
    UNKNOWN("anything") {
        @Override
        boolean takes(Object value) {
            return true;
        }
    };

    /** The attributes of the standard. */
    private static final Map<Long, AttributeKind> KINDS = new HashMap<>();

    static {
        hold(NUMBER, CKA.CLASS, CKA.CERTIFICATE_TYPE, CKA.CERTIFICATE_CATEGORY, CKA.JAVA_MIDP_SECURITY_DOMAIN,
                CKA.NAME_HASH_ALGORITHM, CKA.KEY_TYPE, CKA.MODULUS_BITS, CKA.PRIME_BITS, CKA.SUBPRIME_BITS,
                CKA.VALUE_BITS, CKA.VALUE_LEN, CKA.KEY_GEN_MECHANISM, CKA.AUTH_PIN_FLAGS, CKA.OTP_FORMAT,
                CKA.OTP_LENGTH, CKA.OTP_TIME_INTERVAL, CKA.OTP_CHALLENGE_REQUIREMENT, CKA.OTP_TIME_REQUIREMENT,
                CKA.OTP_COUNTER_REQUIREMENT, CKA.OTP_PIN_REQUIREMENT, CKA.HW_FEATURE_TYPE, CKA.PIXEL_X, CKA.PIXEL_Y,
                CKA.RESOLUTION, CKA.CHAR_ROWS, CKA.CHAR_COLUMNS, CKA.BITS_PER_PIXEL, CKA.MECHANISM_TYPE,
                CKA.PROFILE_ID, CKA.X2RATCHET_BAGSIZE, CKA.X2RATCHET_NR, CKA.X2RATCHET_NS, CKA.X2RATCHET_PNS,
                CKA.HSS_LEVELS, CKA.HSS_LMS_TYPE, CKA.HSS_LMOTS_TYPE, CKA.HSS_KEYS_REMAINING, CKA.PARAMETER_SET);
        hold(TRUTH, CKA.TOKEN, CKA.PRIVATE, CKA.TRUSTED, CKA.SENSITIVE, CKA.ENCRYPT, CKA.DECRYPT, CKA.WRAP, CKA.UNWRAP,
                CKA.SIGN, CKA.SIGN_RECOVER, CKA.VERIFY, CKA.VERIFY_RECOVER, CKA.DERIVE, CKA.EXTRACTABLE, CKA.LOCAL,
                CKA.NEVER_EXTRACTABLE, CKA.ALWAYS_SENSITIVE, CKA.MODIFIABLE, CKA.COPYABLE, CKA.DESTROYABLE,
                CKA.SECONDARY_AUTH, CKA.ALWAYS_AUTHENTICATE, CKA.WRAP_WITH_TRUSTED, CKA.OTP_USER_FRIENDLY_MODE,
                CKA.RESET_ON_INIT, CKA.HAS_RESET, CKA.COLOR, CKA.X2RATCHET_BOBS1STMSG, CKA.X2RATCHET_ISALICE,
                CKA.ENCAPSULATE, CKA.DECAPSULATE);
        hold(BYTES, CKA.LABEL, CKA.UNIQUE_ID, CKA.APPLICATION, CKA.OBJECT_ID, CKA.ISSUER, CKA.SERIAL_NUMBER,
                CKA.AC_ISSUER, CKA.OWNER, CKA.ATTR_TYPES, CKA.URL, CKA.HASH_OF_SUBJECT_PUBLIC_KEY,
                CKA.HASH_OF_ISSUER_PUBLIC_KEY, CKA.CHECK_VALUE, CKA.SUBJECT, CKA.ID, CKA.PUBLIC_KEY_INFO, CKA.EC_PARAMS,
                CKA.EC_POINT, CKA.OTP_USER_IDENTIFIER, CKA.OTP_SERVICE_IDENTIFIER, CKA.OTP_SERVICE_LOGO,
                CKA.OTP_SERVICE_LOGO_TYPE, CKA.OTP_COUNTER, CKA.OTP_TIME, CKA.GOSTR3410_PARAMS, CKA.GOSTR3411_PARAMS,
                CKA.GOST28147_PARAMS, CKA.CHAR_SETS, CKA.ENCODING_METHODS, CKA.MIME_TYPES,
                CKA.REQUIRED_CMS_ATTRIBUTES, CKA.DEFAULT_CMS_ATTRIBUTES, CKA.SUPPORTED_CMS_ATTRIBUTES,
                CKA.X2RATCHET_BAG, CKA.X2RATCHET_CKR, CKA.X2RATCHET_CKS, CKA.X2RATCHET_DHP, CKA.X2RATCHET_DHR,
                CKA.X2RATCHET_DHS, CKA.X2RATCHET_HKR, CKA.X2RATCHET_HKS, CKA.X2RATCHET_NHKR, CKA.X2RATCHET_NHKS,
                CKA.X2RATCHET_RK, CKA.SEED);
        hold(BIG_NUMBER, CKA.VALUE, CKA.MODULUS, CKA.PUBLIC_EXPONENT, CKA.PRIVATE_EXPONENT, CKA.PRIME_1, CKA.PRIME_2,
                CKA.EXPONENT_1, CKA.EXPONENT_2, CKA.COEFFICIENT, CKA.PRIME, CKA.SUBPRIME, CKA.BASE);
        hold(DATE, CKA.START_DATE, CKA.END_DATE);
        hold(NUMBERS, CKA.ALLOWED_MECHANISMS, CKA.HSS_LMS_TYPES, CKA.HSS_LMOTS_TYPES);
        hold(TEMPLATE, CKA.WRAP_TEMPLATE, CKA.UNWRAP_TEMPLATE, CKA.DERIVE_TEMPLATE);
    }

    private final String described;

    AttributeKind(String described) {
        this.described = described;
    }

    private static void hold(AttributeKind kind, int... types) {
        for (int type : types) {
            KINDS.put(Integer.toUnsignedLong(type), kind);
        }
    }

    static AttributeKind of(long type) {
        return KINDS.getOrDefault(type, UNKNOWN);
    }

    private static boolean isBytes(Object value) {
        return value == null || value instanceof byte[] || value instanceof String;
    }

    private static long[] numbers(byte[] bytes) {
        LongBuffer numbers = ByteBuffer.wrap(bytes).order(ByteOrder.LITTLE_ENDIAN).asLongBuffer();
        long[] array = new long[numbers.remaining()];
        numbers.get(array);
        return array;
    }

    /** What the kind takes, for a message. */
    String described() {
        return described;
    }

    /** Whether an attribute of the kind can hold the value, in the form that {@link Attribute} keeps it in. */
    abstract boolean takes(Object value);

    /** The value that a token's bytes are; the bytes where they cannot be that. */
    Object value(byte[] bytes) {
        return bytes;
    }
}
