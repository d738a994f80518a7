package harlune.support;

/** The constants of PKCS#11 that the tests use. */
public final class Ck {
    public static final int CKF_DONT_BLOCK = 0x1;
    public static final int CKF_TOKEN_PRESENT = 0x1;
    public static final int CKF_RW_SESSION = 0x2;
    public static final int CKF_SERIAL_SESSION = 0x4;
    public static final int CKF_LOGIN_REQUIRED = 0x4;
    public static final int CKF_USER_PIN_INITIALIZED = 0x8;
    public static final int CKF_ENCRYPT = 0x100;
    public static final int CKF_DECRYPT = 0x200;
    public static final int CKF_TOKEN_INITIALIZED = 0x400;
    public static final int CKF_DIGEST = 0x400;
    public static final int CKF_SIGN = 0x800;
    public static final int CKF_SIGN_RECOVER = 0x1000;
    public static final int CKF_VERIFY = 0x2000;
    public static final int CKF_VERIFY_RECOVER = 0x4000;
    public static final int CKF_GENERATE = 0x8000;
    public static final int CKF_GENERATE_KEY_PAIR = 0x10000;
    public static final int CKF_WRAP = 0x20000;
    public static final int CKF_UNWRAP = 0x40000;
    public static final int CKF_DERIVE = 0x80000;

    public static final byte CKU_SO = 0;
    public static final byte CKU_USER = 1;
    public static final byte CKU_CONTEXT_SPECIFIC = 2;

    public static final int CKS_RW_PUBLIC_SESSION = 2;
    public static final int CKS_RW_USER_FUNCTIONS = 3;

    public static final int CKO_DATA = 0;
    public static final int CKO_CERTIFICATE = 1;
    public static final int CKO_PUBLIC_KEY = 2;
    public static final int CKO_PRIVATE_KEY = 3;
    public static final int CKO_SECRET_KEY = 4;

    public static final int CKK_RSA = 0;
    public static final int CKK_EC = 3;
    public static final int CKK_GENERIC_SECRET = 0x10;
    public static final int CKK_RC2 = 0x11;
    public static final int CKK_DES3 = 0x15;
    public static final int CKK_AES = 0x1F;

    public static final int CKA_CLASS = 0x0;
    public static final int CKA_TOKEN = 0x1;
    public static final int CKA_PRIVATE = 0x2;
    public static final int CKA_LABEL = 0x3;
    public static final int CKA_VALUE = 0x11;
    public static final int CKA_KEY_TYPE = 0x100;
    public static final int CKA_ID = 0x102;
    public static final int CKA_SENSITIVE = 0x103;
    public static final int CKA_ENCRYPT = 0x104;
    public static final int CKA_DECRYPT = 0x105;
    public static final int CKA_WRAP = 0x106;
    public static final int CKA_UNWRAP = 0x107;
    public static final int CKA_SIGN = 0x108;
    public static final int CKA_SIGN_RECOVER = 0x109;
    public static final int CKA_VERIFY = 0x10A;
    public static final int CKA_VERIFY_RECOVER = 0x10B;
    public static final int CKA_DERIVE = 0x10C;
    public static final int CKA_MODULUS = 0x120;
    public static final int CKA_MODULUS_BITS = 0x121;
    public static final int CKA_PUBLIC_EXPONENT = 0x122;
    public static final int CKA_PRIVATE_EXPONENT = 0x123;
    public static final int CKA_PRIME_1 = 0x124;
    public static final int CKA_PRIME_2 = 0x125;
    public static final int CKA_EXPONENT_1 = 0x126;
    public static final int CKA_EXPONENT_2 = 0x127;
    public static final int CKA_COEFFICIENT = 0x128;
    public static final int CKA_VALUE_LEN = 0x161;
    public static final int CKA_EXTRACTABLE = 0x162;
    public static final int CKA_EC_PARAMS = 0x180;
    public static final int CKA_EC_POINT = 0x181;
    public static final int CKA_ALWAYS_AUTHENTICATE = 0x202;

    public static final int CKM_RSA_PKCS_KEY_PAIR_GEN = 0x0;
    public static final int CKM_RSA_PKCS = 0x1;
    public static final int CKM_RSA_PKCS_OAEP = 0x9;
    public static final int CKM_SHA256_RSA_PKCS = 0x40;
    public static final int CKM_RC2_ECB = 0x101;
    public static final int CKM_RC2_CBC = 0x102;
    public static final int CKM_DES3_ECB = 0x132;
    public static final int CKM_DES3_CBC = 0x133;
    public static final int CKM_DES3_MAC_GENERAL = 0x135;
    public static final int CKM_DES3_CBC_PAD = 0x136;
    public static final int CKM_MD5 = 0x210;
    public static final int CKM_SHA_1 = 0x220;
    public static final int CKM_SHA_1_HMAC = 0x221;
    public static final int CKM_SHA256 = 0x250;
    public static final int CKM_SHA256_HMAC = 0x251;
    public static final int CKM_SHA224 = 0x255;
    public static final int CKM_SHA384 = 0x260;
    public static final int CKM_SHA512 = 0x270;
    public static final int CKM_GENERIC_SECRET_KEY_GEN = 0x350;
    public static final int CKM_CONCATENATE_BASE_AND_DATA = 0x362;
    public static final int CKM_CONCATENATE_DATA_AND_BASE = 0x363;
    public static final int CKM_XOR_BASE_AND_DATA = 0x364;
    public static final int CKM_EXTRACT_KEY_FROM_KEY = 0x365;
    public static final int CKM_SSL3_MASTER_KEY_DERIVE = 0x371;
    public static final int CKM_SSL3_KEY_AND_MAC_DERIVE = 0x372;
    public static final int CKM_EC_KEY_PAIR_GEN = 0x1040;
    public static final int CKM_ECDSA = 0x1041;
    public static final int CKM_ECDH1_DERIVE = 0x1050;
    public static final int CKM_AES_KEY_GEN = 0x1080;
    public static final int CKM_AES_ECB = 0x1081;
    public static final int CKM_AES_CBC = 0x1082;
    public static final int CKM_AES_KEY_WRAP = 0x2109;
    public static final int CKM_AES_KEY_WRAP_PAD = 0x210A;

    public static final int CKG_MGF1_SHA1 = 1;

    public static final int CKZ_DATA_SPECIFIED = 1;

    public static final int CKR_GENERAL_ERROR = 0x5;
    public static final int CKR_ARGUMENTS_BAD = 0x7;
    public static final int CKR_NO_EVENT = 0x8;
    public static final int CKR_ATTRIBUTE_READ_ONLY = 0x10;
    public static final int CKR_ATTRIBUTE_SENSITIVE = 0x11;
    public static final int CKR_ATTRIBUTE_TYPE_INVALID = 0x12;
    public static final int CKR_DATA_LEN_RANGE = 0x21;
    public static final int CKR_DEVICE_ERROR = 0x30;
    public static final int CKR_ENCRYPTED_DATA_LEN_RANGE = 0x41;
    public static final int CKR_FUNCTION_NOT_PARALLEL = 0x51;
    public static final int CKR_FUNCTION_NOT_SUPPORTED = 0x54;
    public static final int CKR_KEY_HANDLE_INVALID = 0x60;
    public static final int CKR_KEY_TYPE_INCONSISTENT = 0x63;
    public static final int CKR_KEY_UNEXTRACTABLE = 0x6A;
    public static final int CKR_MECHANISM_INVALID = 0x70;
    public static final int CKR_MECHANISM_PARAM_INVALID = 0x71;
    public static final int CKR_OBJECT_HANDLE_INVALID = 0x82;
    public static final int CKR_OPERATION_NOT_INITIALIZED = 0x91;
    public static final int CKR_PIN_INCORRECT = 0xA0;
    public static final int CKR_PIN_LEN_RANGE = 0xA2;
    public static final int CKR_SESSION_HANDLE_INVALID = 0xB3;
    public static final int CKR_SESSION_PARALLEL_NOT_SUPPORTED = 0xB4;
    public static final int CKR_SESSION_EXISTS = 0xB6;
    public static final int CKR_SIGNATURE_INVALID = 0xC0;
    public static final int CKR_SIGNATURE_LEN_RANGE = 0xC1;
    public static final int CKR_TEMPLATE_INCOMPLETE = 0xD0;
    public static final int CKR_TOKEN_NOT_PRESENT = 0xE0;
    public static final int CKR_UNWRAPPING_KEY_HANDLE_INVALID = 0xF0;
    public static final int CKR_USER_ALREADY_LOGGED_IN = 0x100;
    public static final int CKR_USER_NOT_LOGGED_IN = 0x101;
    public static final int CKR_USER_PIN_NOT_INITIALIZED = 0x102;
    public static final int CKR_WRAPPING_KEY_HANDLE_INVALID = 0x113;
    public static final int CKR_BUFFER_TOO_SMALL = 0x150;
    public static final int CKR_SAVED_STATE_INVALID = 0x160;
    public static final int CKR_CRYPTOKI_NOT_INITIALIZED = 0x190;
    public static final int CKR_CRYPTOKI_ALREADY_INITIALIZED = 0x191;

    private Ck() {
    }
}
