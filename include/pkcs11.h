/// PKCS#11 as the bridge and its tests see it: the types, structures, constants and the function lists of versions 2.40
/// and 3.0, the mechanisms and parameter structures of earlier versions that Java programs may still name, and the
/// constants and parameter structures that later versions brought.
///
/// Linux x86-64 only: natural alignment, `CK_ULONG` as wide as a pointer. Constants are typed objects instead of
/// macros, so they obey scopes and show up in a debugger; each keeps the name that the standard gives it.
#pragma once

// ---------------------------------------------------------------------------------------------------------------------
// Basic types
// ---------------------------------------------------------------------------------------------------------------------

using CK_BYTE = unsigned char;
using CK_CHAR = CK_BYTE;
using CK_UTF8CHAR = CK_BYTE;
using CK_BBOOL = CK_BYTE;
using CK_ULONG = unsigned long;
using CK_LONG = long;
using CK_FLAGS = CK_ULONG;

using CK_BYTE_PTR = CK_BYTE*;
using CK_CHAR_PTR = CK_CHAR*;
using CK_UTF8CHAR_PTR = CK_UTF8CHAR*;
using CK_ULONG_PTR = CK_ULONG*;
using CK_VOID_PTR = void*;
using CK_VOID_PTR_PTR = void**;

inline constexpr CK_BBOOL CK_FALSE = 0;
inline constexpr CK_BBOOL CK_TRUE = 1;

/// What a token reports for a number that it cannot or will not tell. The same value stands in `ulValueLen` after an
/// attribute could not be read.
inline constexpr CK_ULONG CK_UNAVAILABLE_INFORMATION = ~0UL;
/// A session limit that is no limit.
inline constexpr CK_ULONG CK_EFFECTIVELY_INFINITE = 0;
/// No object and no session ever has this handle.
inline constexpr CK_ULONG CK_INVALID_HANDLE = 0;

// ---------------------------------------------------------------------------------------------------------------------
// Handles, identifiers and kinds: all of them a CK_ULONG
// ---------------------------------------------------------------------------------------------------------------------

using CK_RV = CK_ULONG;
using CK_SLOT_ID = CK_ULONG;
using CK_SESSION_HANDLE = CK_ULONG;
using CK_OBJECT_HANDLE = CK_ULONG;
using CK_OBJECT_CLASS = CK_ULONG;
using CK_HW_FEATURE_TYPE = CK_ULONG;
using CK_KEY_TYPE = CK_ULONG;
using CK_CERTIFICATE_TYPE = CK_ULONG;
using CK_ATTRIBUTE_TYPE = CK_ULONG;
using CK_MECHANISM_TYPE = CK_ULONG;
using CK_USER_TYPE = CK_ULONG;
using CK_STATE = CK_ULONG;
using CK_NOTIFICATION = CK_ULONG;
using CK_RSA_PKCS_MGF_TYPE = CK_ULONG;
using CK_GENERATOR_FUNCTION = CK_ULONG;
using CK_RSA_PKCS_OAEP_SOURCE_TYPE = CK_ULONG;
using CK_EC_KDF_TYPE = CK_ULONG;
using CK_X9_42_DH_KDF_TYPE = CK_ULONG;
using CK_PKCS5_PBKDF2_SALT_SOURCE_TYPE = CK_ULONG;
using CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE = CK_ULONG;
using CK_ML_KEM_PARAMETER_SET_TYPE = CK_ULONG;
using CK_ML_DSA_PARAMETER_SET_TYPE = CK_ULONG;
using CK_SLH_DSA_PARAMETER_SET_TYPE = CK_ULONG;
using CK_PROFILE_ID = CK_ULONG;
using CK_SP800_108_PRF_TYPE = CK_MECHANISM_TYPE;
using CK_PRF_DATA_TYPE = CK_ULONG;
using CK_SP800_108_DKM_LENGTH_METHOD = CK_ULONG;
using CK_HEDGE_TYPE = CK_ULONG;

using CK_SLOT_ID_PTR = CK_SLOT_ID*;
using CK_SESSION_HANDLE_PTR = CK_SESSION_HANDLE*;
using CK_OBJECT_HANDLE_PTR = CK_OBJECT_HANDLE*;
using CK_OBJECT_CLASS_PTR = CK_OBJECT_CLASS*;
using CK_MECHANISM_TYPE_PTR = CK_MECHANISM_TYPE*;

// ---------------------------------------------------------------------------------------------------------------------
// Structures of the general, slot, token and session calls. Text fields are padded with blanks and carry no zero.
// ---------------------------------------------------------------------------------------------------------------------

struct CK_VERSION {
  CK_BYTE major;
  CK_BYTE minor;
};

struct CK_INFO {
  CK_VERSION cryptokiVersion;
  CK_UTF8CHAR manufacturerID[32];
  CK_FLAGS flags;
  CK_UTF8CHAR libraryDescription[32];
  CK_VERSION libraryVersion;
};

struct CK_SLOT_INFO {
  CK_UTF8CHAR slotDescription[64];
  CK_UTF8CHAR manufacturerID[32];
  CK_FLAGS flags;
  CK_VERSION hardwareVersion;
  CK_VERSION firmwareVersion;
};

struct CK_TOKEN_INFO {
  CK_UTF8CHAR label[32];
  CK_UTF8CHAR manufacturerID[32];
  CK_UTF8CHAR model[16];
  CK_CHAR serialNumber[16];
  CK_FLAGS flags;
  CK_ULONG ulMaxSessionCount;
  CK_ULONG ulSessionCount;
  CK_ULONG ulMaxRwSessionCount;
  CK_ULONG ulRwSessionCount;
  CK_ULONG ulMaxPinLen;
  CK_ULONG ulMinPinLen;
  CK_ULONG ulTotalPublicMemory;
  CK_ULONG ulFreePublicMemory;
  CK_ULONG ulTotalPrivateMemory;
  CK_ULONG ulFreePrivateMemory;
  CK_VERSION hardwareVersion;
  CK_VERSION firmwareVersion;
  CK_CHAR utcTime[16];  ///< "YYYYMMDDhhmmss00", meaningful only with CKF_CLOCK_ON_TOKEN
};

struct CK_SESSION_INFO {
  CK_SLOT_ID slotID;
  CK_STATE state;
  CK_FLAGS flags;
  CK_ULONG ulDeviceError;
};

/// One attribute of a template. With a null `pValue` a read asks for the length only.
struct CK_ATTRIBUTE {
  CK_ATTRIBUTE_TYPE type;
  CK_VOID_PTR pValue;
  CK_ULONG ulValueLen;
};

/// A date in ASCII digits.
struct CK_DATE {
  CK_CHAR year[4];
  CK_CHAR month[2];
  CK_CHAR day[2];
};

struct CK_MECHANISM {
  CK_MECHANISM_TYPE mechanism;
  CK_VOID_PTR pParameter;
  CK_ULONG ulParameterLen;
};

/// The unit of the key sizes, bits or bytes, depends on the mechanism.
struct CK_MECHANISM_INFO {
  CK_ULONG ulMinKeySize;
  CK_ULONG ulMaxKeySize;
  CK_FLAGS flags;
};

using CK_VERSION_PTR = CK_VERSION*;
using CK_INFO_PTR = CK_INFO*;
using CK_SLOT_INFO_PTR = CK_SLOT_INFO*;
using CK_TOKEN_INFO_PTR = CK_TOKEN_INFO*;
using CK_SESSION_INFO_PTR = CK_SESSION_INFO*;
using CK_ATTRIBUTE_PTR = CK_ATTRIBUTE*;
using CK_DATE_PTR = CK_DATE*;
using CK_MECHANISM_PTR = CK_MECHANISM*;
using CK_MECHANISM_INFO_PTR = CK_MECHANISM_INFO*;

// ---------------------------------------------------------------------------------------------------------------------
// Mechanism parameters
// ---------------------------------------------------------------------------------------------------------------------

using CK_MAC_GENERAL_PARAMS = CK_ULONG;  ///< bytes of MAC wanted
using CK_RC2_PARAMS = CK_ULONG;          ///< effective key bits
using CK_EXTRACT_PARAMS = CK_ULONG;      ///< index of the first bit taken, counted from the most significant of byte 0

struct CK_RC2_CBC_PARAMS {
  CK_ULONG ulEffectiveBits;
  CK_BYTE iv[8];
};

struct CK_RC2_MAC_GENERAL_PARAMS {
  CK_ULONG ulEffectiveBits;
  CK_ULONG ulMacLength;
};

/// The word size is in bits here and in the two structures that follow.
struct CK_RC5_PARAMS {
  CK_ULONG ulWordsize;
  CK_ULONG ulRounds;
};

struct CK_RC5_CBC_PARAMS {
  CK_ULONG ulWordsize;
  CK_ULONG ulRounds;
  CK_BYTE_PTR pIv;
  CK_ULONG ulIvLen;
};

struct CK_RC5_MAC_GENERAL_PARAMS {
  CK_ULONG ulWordsize;
  CK_ULONG ulRounds;
  CK_ULONG ulMacLength;
};

struct CK_RSA_PKCS_OAEP_PARAMS {
  CK_MECHANISM_TYPE hashAlg;
  CK_RSA_PKCS_MGF_TYPE mgf;
  CK_RSA_PKCS_OAEP_SOURCE_TYPE source;
  CK_VOID_PTR pSourceData;
  CK_ULONG ulSourceDataLen;
};

using CK_RSA_PKCS_OAEP_PARAMS_PTR = CK_RSA_PKCS_OAEP_PARAMS*;

struct CK_KEY_WRAP_SET_OAEP_PARAMS {
  CK_BYTE bBC;  ///< block contents byte
  CK_BYTE_PTR pX;
  CK_ULONG ulXLen;
};

/// The module writes the 8 bytes of the IV that it derived to `pInitVector`.
struct CK_PBE_PARAMS {
  CK_BYTE_PTR pInitVector;
  CK_UTF8CHAR_PTR pPassword;
  CK_ULONG ulPasswordLen;
  CK_BYTE_PTR pSalt;
  CK_ULONG ulSaltLen;
  CK_ULONG ulIteration;
};

struct CK_KEY_DERIVATION_STRING_DATA {
  CK_BYTE_PTR pData;
  CK_ULONG ulLen;
};

struct CK_SSL3_RANDOM_DATA {
  CK_BYTE_PTR pClientRandom;
  CK_ULONG ulClientRandomLen;
  CK_BYTE_PTR pServerRandom;
  CK_ULONG ulServerRandomLen;
};

/// The module writes the version found in the pre-master key to `pVersion`.
struct CK_SSL3_MASTER_KEY_DERIVE_PARAMS {
  CK_SSL3_RANDOM_DATA RandomInfo;
  CK_VERSION_PTR pVersion;
};

/// Filled by the module: the four derived keys, and the IVs into buffers of the caller.
struct CK_SSL3_KEY_MAT_OUT {
  CK_OBJECT_HANDLE hClientMacSecret;
  CK_OBJECT_HANDLE hServerMacSecret;
  CK_OBJECT_HANDLE hClientKey;
  CK_OBJECT_HANDLE hServerKey;
  CK_BYTE_PTR pIVClient;
  CK_BYTE_PTR pIVServer;
};

using CK_SSL3_KEY_MAT_OUT_PTR = CK_SSL3_KEY_MAT_OUT*;

struct CK_SSL3_KEY_MAT_PARAMS {
  CK_ULONG ulMacSizeInBits;
  CK_ULONG ulKeySizeInBits;
  CK_ULONG ulIVSizeInBits;
  CK_BBOOL bIsExport;
  CK_SSL3_RANDOM_DATA RandomInfo;
  CK_SSL3_KEY_MAT_OUT_PTR pReturnedKeyMaterial;
};

/// As that of SSL 3, with the digest of the pseudo-random function. The Diffie-Hellman form has no version.
struct CK_TLS12_MASTER_KEY_DERIVE_PARAMS {
  CK_SSL3_RANDOM_DATA RandomInfo;
  CK_VERSION_PTR pVersion;
  CK_MECHANISM_TYPE prfHashMechanism;
};

struct CK_TLS12_KEY_MAT_PARAMS {
  CK_ULONG ulMacSizeInBits;
  CK_ULONG ulKeySizeInBits;
  CK_ULONG ulIVSizeInBits;
  CK_BBOOL bIsExport;
  CK_SSL3_RANDOM_DATA RandomInfo;
  CK_SSL3_KEY_MAT_OUT_PTR pReturnedKeyMaterial;
  CK_MECHANISM_TYPE prfHashMechanism;
};

struct CK_TLS_KDF_PARAMS {
  CK_MECHANISM_TYPE prfMechanism;
  CK_BYTE_PTR pLabel;
  CK_ULONG ulLabelLength;
  CK_SSL3_RANDOM_DATA RandomInfo;
  CK_BYTE_PTR pContextData;
  CK_ULONG ulContextDataLength;
};

/// The MAC of a `Finished` message: `ulServerOrClient` is 1 for the server's label and 2 for the client's.
struct CK_TLS_MAC_PARAMS {
  CK_MECHANISM_TYPE prfHashMechanism;
  CK_ULONG ulMacLength;
  CK_ULONG ulServerOrClient;
};

/// The module writes to `pOutput`; there is no key that it makes.
struct CK_TLS_PRF_PARAMS {
  CK_BYTE_PTR pSeed;
  CK_ULONG ulSeedLen;
  CK_BYTE_PTR pLabel;
  CK_ULONG ulLabelLen;
  CK_BYTE_PTR pOutput;
  CK_ULONG_PTR pulOutputLen;
};

/// Prime p and base g share one length.
struct CK_SKIPJACK_PRIVATE_WRAP_PARAMS {
  CK_ULONG ulPasswordLen;
  CK_BYTE_PTR pPassword;
  CK_ULONG ulPublicDataLen;
  CK_BYTE_PTR pPublicData;
  CK_ULONG ulPAndGLen;
  CK_ULONG ulQLen;
  CK_ULONG ulRandomLen;
  CK_BYTE_PTR pRandomA;
  CK_BYTE_PTR pPrimeP;
  CK_BYTE_PTR pBaseG;
  CK_BYTE_PTR pSubprimeQ;
};

struct CK_SKIPJACK_RELAYX_PARAMS {
  CK_ULONG ulOldWrappedXLen;
  CK_BYTE_PTR pOldWrappedX;
  CK_ULONG ulOldPasswordLen;
  CK_BYTE_PTR pOldPassword;
  CK_ULONG ulOldPublicDataLen;
  CK_BYTE_PTR pOldPublicData;
  CK_ULONG ulOldRandomLen;
  CK_BYTE_PTR pOldRandomA;
  CK_ULONG ulNewPasswordLen;
  CK_BYTE_PTR pNewPassword;
  CK_ULONG ulNewPublicDataLen;
  CK_BYTE_PTR pNewPublicData;
  CK_ULONG ulNewRandomLen;
  CK_BYTE_PTR pNewRandomA;
};

/// Both random values share one length.
struct CK_KEA_DERIVE_PARAMS {
  CK_BBOOL isSender;
  CK_ULONG ulRandomLen;
  CK_BYTE_PTR pRandomA;
  CK_BYTE_PTR pRandomB;
  CK_ULONG ulPublicDataLen;
  CK_BYTE_PTR pPublicData;
};

struct CK_RSA_PKCS_PSS_PARAMS {
  CK_MECHANISM_TYPE hashAlg;
  CK_RSA_PKCS_MGF_TYPE mgf;
  CK_ULONG sLen;  ///< bytes of salt
};

/// The AES key that is made for the purpose wraps the key, and OAEP the AES key.
struct CK_RSA_AES_KEY_WRAP_PARAMS {
  CK_ULONG ulAESKeyBits;
  CK_RSA_PKCS_OAEP_PARAMS_PTR pOAEPParams;
};

struct CK_ECDH1_DERIVE_PARAMS {
  CK_EC_KDF_TYPE kdf;
  CK_ULONG ulSharedDataLen;
  CK_BYTE_PTR pSharedData;
  CK_ULONG ulPublicDataLen;
  CK_BYTE_PTR pPublicData;
};

struct CK_ECDH_AES_KEY_WRAP_PARAMS {
  CK_ULONG ulAESKeyBits;
  CK_EC_KDF_TYPE kdf;
  CK_ULONG ulSharedDataLen;
  CK_BYTE_PTR pSharedData;
};

struct CK_X9_42_DH1_DERIVE_PARAMS {
  CK_X9_42_DH_KDF_TYPE kdf;
  CK_ULONG ulOtherInfoLen;
  CK_BYTE_PTR pOtherInfo;
  CK_ULONG ulPublicDataLen;
  CK_BYTE_PTR pPublicData;
};

/// Left out, the mechanism is the plain one of RFC 8032, without context and without hashing beforehand.
struct CK_EDDSA_PARAMS {
  CK_BBOOL phFlag;
  CK_ULONG ulContextDataLen;
  CK_BYTE_PTR pContextData;
};

/// The counter is the last `ulCounterBits` bits of `cb`.
struct CK_AES_CTR_PARAMS {
  CK_ULONG ulCounterBits;
  CK_BYTE cb[16];
};

struct CK_CAMELLIA_CTR_PARAMS {
  CK_ULONG ulCounterBits;
  CK_BYTE cb[16];
};

struct CK_GCM_PARAMS {
  CK_BYTE_PTR pIv;
  CK_ULONG ulIvLen;
  CK_ULONG ulIvBits;
  CK_BYTE_PTR pAAD;
  CK_ULONG ulAADLen;
  CK_ULONG ulTagBits;
};

/// The length of the data must be known before the first of it is given.
struct CK_CCM_PARAMS {
  CK_ULONG ulDataLen;
  CK_BYTE_PTR pNonce;
  CK_ULONG ulNonceLen;
  CK_BYTE_PTR pAAD;
  CK_ULONG ulAADLen;
  CK_ULONG ulMACLen;
};

struct CK_CHACHA20_PARAMS {
  CK_BYTE_PTR pBlockCounter;
  CK_ULONG blockCounterBits;
  CK_BYTE_PTR pNonce;
  CK_ULONG ulNonceBits;
};

/// The block counter has always 64 bits.
struct CK_SALSA20_PARAMS {
  CK_BYTE_PTR pBlockCounter;
  CK_BYTE_PTR pNonce;
  CK_ULONG ulNonceBits;
};

struct CK_SALSA20_CHACHA20_POLY1305_PARAMS {
  CK_BYTE_PTR pNonce;
  CK_ULONG ulNonceLen;
  CK_BYTE_PTR pAAD;
  CK_ULONG ulAADLen;
};

// What belongs to one message: C_EncryptMessage and its like. The tag stands here and not behind the ciphertext.

struct CK_GCM_MESSAGE_PARAMS {
  CK_BYTE_PTR pIv;
  CK_ULONG ulIvLen;
  CK_ULONG ulIvFixedBits;
  CK_GENERATOR_FUNCTION ivGenerator;
  CK_BYTE_PTR pTag;
  CK_ULONG ulTagBits;
};

struct CK_CCM_MESSAGE_PARAMS {
  CK_ULONG ulDataLen;
  CK_BYTE_PTR pNonce;
  CK_ULONG ulNonceLen;
  CK_ULONG ulNonceFixedBits;
  CK_GENERATOR_FUNCTION nonceGenerator;
  CK_BYTE_PTR pMAC;
  CK_ULONG ulMACLen;
};

struct CK_SALSA20_CHACHA20_POLY1305_MSG_PARAMS {
  CK_BYTE_PTR pNonce;
  CK_ULONG ulNonceLen;
  CK_BYTE_PTR pTag;
};

struct CK_DES_CBC_ENCRYPT_DATA_PARAMS {
  CK_BYTE iv[8];
  CK_BYTE_PTR pData;
  CK_ULONG length;
};

struct CK_AES_CBC_ENCRYPT_DATA_PARAMS {
  CK_BYTE iv[16];
  CK_BYTE_PTR pData;
  CK_ULONG length;
};

struct CK_CAMELLIA_CBC_ENCRYPT_DATA_PARAMS {
  CK_BYTE iv[16];
  CK_BYTE_PTR pData;
  CK_ULONG length;
};

struct CK_ARIA_CBC_ENCRYPT_DATA_PARAMS {
  CK_BYTE iv[16];
  CK_BYTE_PTR pData;
  CK_ULONG length;
};

struct CK_SEED_CBC_ENCRYPT_DATA_PARAMS {
  CK_BYTE iv[16];
  CK_BYTE_PTR pData;
  CK_ULONG length;
};

/// The older of two structures for one mechanism: the length of the password is behind a pointer.
struct CK_PKCS5_PBKD2_PARAMS {
  CK_PKCS5_PBKDF2_SALT_SOURCE_TYPE saltSource;
  CK_VOID_PTR pSaltSourceData;
  CK_ULONG ulSaltSourceDataLen;
  CK_ULONG iterations;
  CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE prf;
  CK_VOID_PTR pPrfData;
  CK_ULONG ulPrfDataLen;
  CK_UTF8CHAR_PTR pPassword;
  CK_ULONG_PTR ulPasswordLen;
};

/// As long as the older one: a module cannot tell them apart and takes the one that it was written for.
struct CK_PKCS5_PBKD2_PARAMS2 {
  CK_PKCS5_PBKDF2_SALT_SOURCE_TYPE saltSource;
  CK_VOID_PTR pSaltSourceData;
  CK_ULONG ulSaltSourceDataLen;
  CK_ULONG iterations;
  CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE prf;
  CK_VOID_PTR pPrfData;
  CK_ULONG ulPrfDataLen;
  CK_UTF8CHAR_PTR pPassword;
  CK_ULONG ulPasswordLen;
};

/// The salt is nothing, `pSalt` or the key `hSaltKey`, as CKF_HKDF_SALT_... in `ulSaltType` says.
struct CK_HKDF_PARAMS {
  CK_BBOOL bExtract;
  CK_BBOOL bExpand;
  CK_MECHANISM_TYPE prfHashMechanism;
  CK_ULONG ulSaltType;
  CK_BYTE_PTR pSalt;
  CK_ULONG ulSaltLen;
  CK_OBJECT_HANDLE hSaltKey;
  CK_BYTE_PTR pInfo;
  CK_ULONG ulInfoLen;
};

/// One thing that the pseudo-random function is fed with: a counter, a length, the value before, or bytes.
struct CK_PRF_DATA_PARAM {
  CK_PRF_DATA_TYPE type;
  CK_VOID_PTR pValue;
  CK_ULONG ulValueLen;
};

using CK_PRF_DATA_PARAM_PTR = CK_PRF_DATA_PARAM*;

struct CK_SP800_108_COUNTER_FORMAT {
  CK_BBOOL bLittleEndian;
  CK_ULONG ulWidthInBits;
};

struct CK_SP800_108_DKM_LENGTH_FORMAT {
  CK_SP800_108_DKM_LENGTH_METHOD dkmLengthMethod;
  CK_BBOOL bLittleEndian;
  CK_ULONG ulWidthInBits;
};

/// A key that is derived along with the one that the call makes; the module writes its handle.
struct CK_DERIVED_KEY {
  CK_ATTRIBUTE_PTR pTemplate;
  CK_ULONG ulAttributeCount;
  CK_OBJECT_HANDLE_PTR phKey;
};

using CK_DERIVED_KEY_PTR = CK_DERIVED_KEY*;

struct CK_SP800_108_KDF_PARAMS {
  CK_SP800_108_PRF_TYPE prfType;
  CK_ULONG ulNumberOfDataParams;
  CK_PRF_DATA_PARAM_PTR pDataParams;
  CK_ULONG ulAdditionalDerivedKeys;
  CK_DERIVED_KEY_PTR pAdditionalDerivedKeys;
};

struct CK_SP800_108_FEEDBACK_KDF_PARAMS {
  CK_SP800_108_PRF_TYPE prfType;
  CK_ULONG ulNumberOfDataParams;
  CK_PRF_DATA_PARAM_PTR pDataParams;
  CK_ULONG ulIVLen;
  CK_BYTE_PTR pIV;
  CK_ULONG ulAdditionalDerivedKeys;
  CK_DERIVED_KEY_PTR pAdditionalDerivedKeys;
};

/// ML-DSA and SLH-DSA. Left out, the context is empty and randomness is used where the token has it.
struct CK_SIGN_ADDITIONAL_CONTEXT {
  CK_HEDGE_TYPE hedgeVariant;
  CK_BYTE_PTR pContext;
  CK_ULONG ulContextLen;
};

/// The same for a digest that was computed before.
struct CK_HASH_SIGN_ADDITIONAL_CONTEXT {
  CK_HEDGE_TYPE hedgeVariant;
  CK_BYTE_PTR pContext;
  CK_ULONG ulContextLen;
  CK_MECHANISM_TYPE hash;
};

using CK_MAC_GENERAL_PARAMS_PTR = CK_MAC_GENERAL_PARAMS*;
using CK_RC2_PARAMS_PTR = CK_RC2_PARAMS*;
using CK_EXTRACT_PARAMS_PTR = CK_EXTRACT_PARAMS*;
using CK_RC2_CBC_PARAMS_PTR = CK_RC2_CBC_PARAMS*;
using CK_RC2_MAC_GENERAL_PARAMS_PTR = CK_RC2_MAC_GENERAL_PARAMS*;
using CK_RC5_PARAMS_PTR = CK_RC5_PARAMS*;
using CK_RC5_CBC_PARAMS_PTR = CK_RC5_CBC_PARAMS*;
using CK_RC5_MAC_GENERAL_PARAMS_PTR = CK_RC5_MAC_GENERAL_PARAMS*;
using CK_KEY_WRAP_SET_OAEP_PARAMS_PTR = CK_KEY_WRAP_SET_OAEP_PARAMS*;
using CK_PBE_PARAMS_PTR = CK_PBE_PARAMS*;
using CK_KEY_DERIVATION_STRING_DATA_PTR = CK_KEY_DERIVATION_STRING_DATA*;
using CK_SSL3_MASTER_KEY_DERIVE_PARAMS_PTR = CK_SSL3_MASTER_KEY_DERIVE_PARAMS*;
using CK_SSL3_KEY_MAT_PARAMS_PTR = CK_SSL3_KEY_MAT_PARAMS*;
using CK_SKIPJACK_PRIVATE_WRAP_PARAMS_PTR = CK_SKIPJACK_PRIVATE_WRAP_PARAMS*;
using CK_SKIPJACK_RELAYX_PARAMS_PTR = CK_SKIPJACK_RELAYX_PARAMS*;
using CK_KEA_DERIVE_PARAMS_PTR = CK_KEA_DERIVE_PARAMS*;
using CK_RSA_PKCS_PSS_PARAMS_PTR = CK_RSA_PKCS_PSS_PARAMS*;
using CK_RSA_AES_KEY_WRAP_PARAMS_PTR = CK_RSA_AES_KEY_WRAP_PARAMS*;
using CK_ECDH1_DERIVE_PARAMS_PTR = CK_ECDH1_DERIVE_PARAMS*;
using CK_ECDH_AES_KEY_WRAP_PARAMS_PTR = CK_ECDH_AES_KEY_WRAP_PARAMS*;
using CK_X9_42_DH1_DERIVE_PARAMS_PTR = CK_X9_42_DH1_DERIVE_PARAMS*;
using CK_EDDSA_PARAMS_PTR = CK_EDDSA_PARAMS*;
using CK_AES_CTR_PARAMS_PTR = CK_AES_CTR_PARAMS*;
using CK_CAMELLIA_CTR_PARAMS_PTR = CK_CAMELLIA_CTR_PARAMS*;
using CK_GCM_PARAMS_PTR = CK_GCM_PARAMS*;
using CK_CCM_PARAMS_PTR = CK_CCM_PARAMS*;
using CK_CHACHA20_PARAMS_PTR = CK_CHACHA20_PARAMS*;
using CK_SALSA20_PARAMS_PTR = CK_SALSA20_PARAMS*;
using CK_SALSA20_CHACHA20_POLY1305_PARAMS_PTR = CK_SALSA20_CHACHA20_POLY1305_PARAMS*;
using CK_DES_CBC_ENCRYPT_DATA_PARAMS_PTR = CK_DES_CBC_ENCRYPT_DATA_PARAMS*;
using CK_AES_CBC_ENCRYPT_DATA_PARAMS_PTR = CK_AES_CBC_ENCRYPT_DATA_PARAMS*;
using CK_CAMELLIA_CBC_ENCRYPT_DATA_PARAMS_PTR = CK_CAMELLIA_CBC_ENCRYPT_DATA_PARAMS*;
using CK_ARIA_CBC_ENCRYPT_DATA_PARAMS_PTR = CK_ARIA_CBC_ENCRYPT_DATA_PARAMS*;
using CK_SEED_CBC_ENCRYPT_DATA_PARAMS_PTR = CK_SEED_CBC_ENCRYPT_DATA_PARAMS*;
using CK_PKCS5_PBKD2_PARAMS_PTR = CK_PKCS5_PBKD2_PARAMS*;
using CK_PKCS5_PBKD2_PARAMS2_PTR = CK_PKCS5_PBKD2_PARAMS2*;
using CK_HKDF_PARAMS_PTR = CK_HKDF_PARAMS*;
using CK_TLS12_MASTER_KEY_DERIVE_PARAMS_PTR = CK_TLS12_MASTER_KEY_DERIVE_PARAMS*;
using CK_TLS12_KEY_MAT_PARAMS_PTR = CK_TLS12_KEY_MAT_PARAMS*;
using CK_TLS_KDF_PARAMS_PTR = CK_TLS_KDF_PARAMS*;
using CK_TLS_MAC_PARAMS_PTR = CK_TLS_MAC_PARAMS*;
using CK_TLS_PRF_PARAMS_PTR = CK_TLS_PRF_PARAMS*;
using CK_SP800_108_COUNTER_FORMAT_PTR = CK_SP800_108_COUNTER_FORMAT*;
using CK_SP800_108_DKM_LENGTH_FORMAT_PTR = CK_SP800_108_DKM_LENGTH_FORMAT*;
using CK_SP800_108_KDF_PARAMS_PTR = CK_SP800_108_KDF_PARAMS*;
using CK_SP800_108_FEEDBACK_KDF_PARAMS_PTR = CK_SP800_108_FEEDBACK_KDF_PARAMS*;
using CK_SIGN_ADDITIONAL_CONTEXT_PTR = CK_SIGN_ADDITIONAL_CONTEXT*;
using CK_HASH_SIGN_ADDITIONAL_CONTEXT_PTR = CK_HASH_SIGN_ADDITIONAL_CONTEXT*;

// ---------------------------------------------------------------------------------------------------------------------
// Functions and callbacks
// ---------------------------------------------------------------------------------------------------------------------

struct CK_FUNCTION_LIST;
using CK_FUNCTION_LIST_PTR = CK_FUNCTION_LIST*;
using CK_FUNCTION_LIST_PTR_PTR = CK_FUNCTION_LIST**;

extern "C" {

using CK_NOTIFY = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_NOTIFICATION event, CK_VOID_PTR pApplication);
using CK_CREATEMUTEX = CK_RV (*)(CK_VOID_PTR_PTR ppMutex);
using CK_DESTROYMUTEX = CK_RV (*)(CK_VOID_PTR pMutex);
using CK_LOCKMUTEX = CK_RV (*)(CK_VOID_PTR pMutex);
using CK_UNLOCKMUTEX = CK_RV (*)(CK_VOID_PTR pMutex);

/// What C_Initialize may be given. The four mutex callbacks are all set or all null.
struct CK_C_INITIALIZE_ARGS {
  CK_CREATEMUTEX CreateMutex;
  CK_DESTROYMUTEX DestroyMutex;
  CK_LOCKMUTEX LockMutex;
  CK_UNLOCKMUTEX UnlockMutex;
  CK_FLAGS flags;
  CK_VOID_PTR pReserved;
};

using CK_C_INITIALIZE_ARGS_PTR = CK_C_INITIALIZE_ARGS*;

/// An interface of a module of version 3.0: a name, and a function list that belongs to the name.
struct CK_INTERFACE {
  CK_CHAR_PTR pInterfaceName;  ///< zero-terminated, "PKCS 11" for the standard's own
  CK_VOID_PTR pFunctionList;   ///< begins with a CK_VERSION
  CK_FLAGS flags;
};

using CK_INTERFACE_PTR = CK_INTERFACE*;
using CK_INTERFACE_PTR_PTR = CK_INTERFACE**;

// One pointer type per function. Where a result goes to a buffer with a length beside it, the length says on entry how
// much the buffer holds, and a null buffer asks for the length alone.

using CK_C_Initialize = CK_RV (*)(CK_VOID_PTR pInitArgs);
using CK_C_Finalize = CK_RV (*)(CK_VOID_PTR pReserved);
using CK_C_GetInfo = CK_RV (*)(CK_INFO_PTR pInfo);
using CK_C_GetFunctionList = CK_RV (*)(CK_FUNCTION_LIST_PTR_PTR ppFunctionList);

using CK_C_GetSlotList = CK_RV (*)(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR pSlotList, CK_ULONG_PTR pulCount);
using CK_C_GetSlotInfo = CK_RV (*)(CK_SLOT_ID slotID, CK_SLOT_INFO_PTR pInfo);
using CK_C_GetTokenInfo = CK_RV (*)(CK_SLOT_ID slotID, CK_TOKEN_INFO_PTR pInfo);
using CK_C_WaitForSlotEvent = CK_RV (*)(CK_FLAGS flags, CK_SLOT_ID_PTR pSlot, CK_VOID_PTR pReserved);
using CK_C_GetMechanismList = CK_RV (*)(CK_SLOT_ID slotID, CK_MECHANISM_TYPE_PTR pMechanismList, CK_ULONG_PTR pulCount);
using CK_C_GetMechanismInfo = CK_RV (*)(CK_SLOT_ID slotID, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR pInfo);
using CK_C_InitToken = CK_RV (*)(CK_SLOT_ID slotID, CK_UTF8CHAR_PTR pPin, CK_ULONG ulPinLen, CK_UTF8CHAR_PTR pLabel);
using CK_C_InitPIN = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_UTF8CHAR_PTR pPin, CK_ULONG ulPinLen);
using CK_C_SetPIN = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_UTF8CHAR_PTR pOldPin, CK_ULONG ulOldLen,
                              CK_UTF8CHAR_PTR pNewPin, CK_ULONG ulNewLen);

using CK_C_OpenSession = CK_RV (*)(CK_SLOT_ID slotID, CK_FLAGS flags, CK_VOID_PTR pApplication, CK_NOTIFY Notify,
                                   CK_SESSION_HANDLE_PTR phSession);
using CK_C_CloseSession = CK_RV (*)(CK_SESSION_HANDLE hSession);
using CK_C_CloseAllSessions = CK_RV (*)(CK_SLOT_ID slotID);
using CK_C_GetSessionInfo = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_SESSION_INFO_PTR pInfo);
using CK_C_GetOperationState = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pOperationState,
                                         CK_ULONG_PTR pulOperationStateLen);
using CK_C_SetOperationState = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pOperationState,
                                         CK_ULONG ulOperationStateLen, CK_OBJECT_HANDLE hEncryptionKey,
                                         CK_OBJECT_HANDLE hAuthenticationKey);
using CK_C_Login = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pPin,
                             CK_ULONG ulPinLen);
using CK_C_Logout = CK_RV (*)(CK_SESSION_HANDLE hSession);

using CK_C_CreateObject = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount,
                                    CK_OBJECT_HANDLE_PTR phObject);
using CK_C_CopyObject = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE_PTR pTemplate,
                                  CK_ULONG ulCount, CK_OBJECT_HANDLE_PTR phNewObject);
using CK_C_DestroyObject = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject);
using CK_C_GetObjectSize = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ULONG_PTR pulSize);
using CK_C_GetAttributeValue = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject,
                                         CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount);
using CK_C_SetAttributeValue = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject,
                                         CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount);
using CK_C_FindObjectsInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount);
using CK_C_FindObjects = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE_PTR phObject, CK_ULONG ulMaxObjectCount,
                                   CK_ULONG_PTR pulObjectCount);
using CK_C_FindObjectsFinal = CK_RV (*)(CK_SESSION_HANDLE hSession);

using CK_C_EncryptInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey);
using CK_C_Encrypt = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen,
                               CK_BYTE_PTR pEncryptedData, CK_ULONG_PTR pulEncryptedDataLen);
using CK_C_EncryptUpdate = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen,
                                     CK_BYTE_PTR pEncryptedPart, CK_ULONG_PTR pulEncryptedPartLen);
using CK_C_EncryptFinal = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pLastEncryptedPart,
                                    CK_ULONG_PTR pulLastEncryptedPartLen);
using CK_C_DecryptInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey);
using CK_C_Decrypt = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedData, CK_ULONG ulEncryptedDataLen,
                               CK_BYTE_PTR pData, CK_ULONG_PTR pulDataLen);
using CK_C_DecryptUpdate = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedPart,
                                     CK_ULONG ulEncryptedPartLen, CK_BYTE_PTR pPart, CK_ULONG_PTR pulPartLen);
using CK_C_DecryptFinal = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pLastPart, CK_ULONG_PTR pulLastPartLen);
using CK_C_DigestInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism);
using CK_C_Digest = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pDigest,
                              CK_ULONG_PTR pulDigestLen);
using CK_C_DigestUpdate = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen);
using CK_C_DigestKey = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hKey);
using CK_C_DigestFinal = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pDigest, CK_ULONG_PTR pulDigestLen);

using CK_C_SignInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey);
using CK_C_Sign = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
                            CK_ULONG_PTR pulSignatureLen);
using CK_C_SignUpdate = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen);
using CK_C_SignFinal = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSignature, CK_ULONG_PTR pulSignatureLen);
using CK_C_SignRecoverInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey);
using CK_C_SignRecover = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen,
                                   CK_BYTE_PTR pSignature, CK_ULONG_PTR pulSignatureLen);
using CK_C_VerifyInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey);
using CK_C_Verify = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
                              CK_ULONG ulSignatureLen);
using CK_C_VerifyUpdate = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen);
using CK_C_VerifyFinal = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSignature, CK_ULONG ulSignatureLen);
using CK_C_VerifyRecoverInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism,
                                         CK_OBJECT_HANDLE hKey);
using CK_C_VerifyRecover = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSignature, CK_ULONG ulSignatureLen,
                                     CK_BYTE_PTR pData, CK_ULONG_PTR pulDataLen);

using CK_C_DigestEncryptUpdate = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen,
                                           CK_BYTE_PTR pEncryptedPart, CK_ULONG_PTR pulEncryptedPartLen);
using CK_C_DecryptDigestUpdate = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedPart,
                                           CK_ULONG ulEncryptedPartLen, CK_BYTE_PTR pPart, CK_ULONG_PTR pulPartLen);
using CK_C_SignEncryptUpdate = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen,
                                         CK_BYTE_PTR pEncryptedPart, CK_ULONG_PTR pulEncryptedPartLen);
using CK_C_DecryptVerifyUpdate = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedPart,
                                           CK_ULONG ulEncryptedPartLen, CK_BYTE_PTR pPart, CK_ULONG_PTR pulPartLen);

using CK_C_GenerateKey = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_ATTRIBUTE_PTR pTemplate,
                                   CK_ULONG ulCount, CK_OBJECT_HANDLE_PTR phKey);
using CK_C_GenerateKeyPair = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism,
                                       CK_ATTRIBUTE_PTR pPublicKeyTemplate, CK_ULONG ulPublicKeyAttributeCount,
                                       CK_ATTRIBUTE_PTR pPrivateKeyTemplate, CK_ULONG ulPrivateKeyAttributeCount,
                                       CK_OBJECT_HANDLE_PTR phPublicKey, CK_OBJECT_HANDLE_PTR phPrivateKey);
using CK_C_WrapKey = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hWrappingKey,
                               CK_OBJECT_HANDLE hKey, CK_BYTE_PTR pWrappedKey, CK_ULONG_PTR pulWrappedKeyLen);
using CK_C_UnwrapKey = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism,
                                 CK_OBJECT_HANDLE hUnwrappingKey, CK_BYTE_PTR pWrappedKey, CK_ULONG ulWrappedKeyLen,
                                 CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulAttributeCount, CK_OBJECT_HANDLE_PTR phKey);
using CK_C_DeriveKey = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hBaseKey,
                                 CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulAttributeCount, CK_OBJECT_HANDLE_PTR phKey);

using CK_C_SeedRandom = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSeed, CK_ULONG ulSeedLen);
using CK_C_GenerateRandom = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pRandomData, CK_ULONG ulRandomLen);

using CK_C_GetFunctionStatus = CK_RV (*)(CK_SESSION_HANDLE hSession);
using CK_C_CancelFunction = CK_RV (*)(CK_SESSION_HANDLE hSession);

// Since version 3.0.

using CK_C_GetInterfaceList = CK_RV (*)(CK_INTERFACE_PTR pInterfacesList, CK_ULONG_PTR pulCount);
using CK_C_GetInterface = CK_RV (*)(CK_UTF8CHAR_PTR pInterfaceName, CK_VERSION_PTR pVersion,
                                    CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS flags);
using CK_C_LoginUser = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pPin,
                                 CK_ULONG ulPinLen, CK_UTF8CHAR_PTR pUsername, CK_ULONG ulUsernameLen);
using CK_C_SessionCancel = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_FLAGS flags);
using CK_C_MessageEncryptInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism,
                                          CK_OBJECT_HANDLE hKey);
using CK_C_EncryptMessage = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                      CK_BYTE_PTR pAssociatedData, CK_ULONG ulAssociatedDataLen, CK_BYTE_PTR pPlaintext,
                                      CK_ULONG ulPlaintextLen, CK_BYTE_PTR pCiphertext, CK_ULONG_PTR pulCiphertextLen);
using CK_C_EncryptMessageBegin = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                           CK_BYTE_PTR pAssociatedData, CK_ULONG ulAssociatedDataLen);
using CK_C_EncryptMessageNext = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                          CK_BYTE_PTR pPlaintextPart, CK_ULONG ulPlaintextPartLen,
                                          CK_BYTE_PTR pCiphertextPart, CK_ULONG_PTR pulCiphertextPartLen,
                                          CK_FLAGS flags);
using CK_C_MessageEncryptFinal = CK_RV (*)(CK_SESSION_HANDLE hSession);
using CK_C_MessageDecryptInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism,
                                          CK_OBJECT_HANDLE hKey);
using CK_C_DecryptMessage = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                      CK_BYTE_PTR pAssociatedData, CK_ULONG ulAssociatedDataLen,
                                      CK_BYTE_PTR pCiphertext, CK_ULONG ulCiphertextLen, CK_BYTE_PTR pPlaintext,
                                      CK_ULONG_PTR pulPlaintextLen);
using CK_C_DecryptMessageBegin = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                           CK_BYTE_PTR pAssociatedData, CK_ULONG ulAssociatedDataLen);
using CK_C_DecryptMessageNext = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                          CK_BYTE_PTR pCiphertextPart, CK_ULONG ulCiphertextPartLen,
                                          CK_BYTE_PTR pPlaintextPart, CK_ULONG_PTR pulPlaintextPartLen, CK_FLAGS flags);
using CK_C_MessageDecryptFinal = CK_RV (*)(CK_SESSION_HANDLE hSession);
using CK_C_MessageSignInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey);
using CK_C_SignMessage = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                   CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
                                   CK_ULONG_PTR pulSignatureLen);
using CK_C_SignMessageBegin = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen);
using CK_C_SignMessageNext = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                       CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
                                       CK_ULONG_PTR pulSignatureLen);
using CK_C_MessageSignFinal = CK_RV (*)(CK_SESSION_HANDLE hSession);
using CK_C_MessageVerifyInit = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism,
                                         CK_OBJECT_HANDLE hKey);
using CK_C_VerifyMessage = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                     CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
                                     CK_ULONG ulSignatureLen);
using CK_C_VerifyMessageBegin = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen);
using CK_C_VerifyMessageNext = CK_RV (*)(CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen,
                                         CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
                                         CK_ULONG ulSignatureLen);
using CK_C_MessageVerifyFinal = CK_RV (*)(CK_SESSION_HANDLE hSession);

}  // extern "C"

/// What a module's C_GetFunctionList hands out. C_WaitForSlotEvent came late and stands last for that reason.
struct CK_FUNCTION_LIST {
  CK_VERSION version;
  CK_C_Initialize C_Initialize;
  CK_C_Finalize C_Finalize;
  CK_C_GetInfo C_GetInfo;
  CK_C_GetFunctionList C_GetFunctionList;
  CK_C_GetSlotList C_GetSlotList;
  CK_C_GetSlotInfo C_GetSlotInfo;
  CK_C_GetTokenInfo C_GetTokenInfo;
  CK_C_GetMechanismList C_GetMechanismList;
  CK_C_GetMechanismInfo C_GetMechanismInfo;
  CK_C_InitToken C_InitToken;
  CK_C_InitPIN C_InitPIN;
  CK_C_SetPIN C_SetPIN;
  CK_C_OpenSession C_OpenSession;
  CK_C_CloseSession C_CloseSession;
  CK_C_CloseAllSessions C_CloseAllSessions;
  CK_C_GetSessionInfo C_GetSessionInfo;
  CK_C_GetOperationState C_GetOperationState;
  CK_C_SetOperationState C_SetOperationState;
  CK_C_Login C_Login;
  CK_C_Logout C_Logout;
  CK_C_CreateObject C_CreateObject;
  CK_C_CopyObject C_CopyObject;
  CK_C_DestroyObject C_DestroyObject;
  CK_C_GetObjectSize C_GetObjectSize;
  CK_C_GetAttributeValue C_GetAttributeValue;
  CK_C_SetAttributeValue C_SetAttributeValue;
  CK_C_FindObjectsInit C_FindObjectsInit;
  CK_C_FindObjects C_FindObjects;
  CK_C_FindObjectsFinal C_FindObjectsFinal;
  CK_C_EncryptInit C_EncryptInit;
  CK_C_Encrypt C_Encrypt;
  CK_C_EncryptUpdate C_EncryptUpdate;
  CK_C_EncryptFinal C_EncryptFinal;
  CK_C_DecryptInit C_DecryptInit;
  CK_C_Decrypt C_Decrypt;
  CK_C_DecryptUpdate C_DecryptUpdate;
  CK_C_DecryptFinal C_DecryptFinal;
  CK_C_DigestInit C_DigestInit;
  CK_C_Digest C_Digest;
  CK_C_DigestUpdate C_DigestUpdate;
  CK_C_DigestKey C_DigestKey;
  CK_C_DigestFinal C_DigestFinal;
  CK_C_SignInit C_SignInit;
  CK_C_Sign C_Sign;
  CK_C_SignUpdate C_SignUpdate;
  CK_C_SignFinal C_SignFinal;
  CK_C_SignRecoverInit C_SignRecoverInit;
  CK_C_SignRecover C_SignRecover;
  CK_C_VerifyInit C_VerifyInit;
  CK_C_Verify C_Verify;
  CK_C_VerifyUpdate C_VerifyUpdate;
  CK_C_VerifyFinal C_VerifyFinal;
  CK_C_VerifyRecoverInit C_VerifyRecoverInit;
  CK_C_VerifyRecover C_VerifyRecover;
  CK_C_DigestEncryptUpdate C_DigestEncryptUpdate;
  CK_C_DecryptDigestUpdate C_DecryptDigestUpdate;
  CK_C_SignEncryptUpdate C_SignEncryptUpdate;
  CK_C_DecryptVerifyUpdate C_DecryptVerifyUpdate;
  CK_C_GenerateKey C_GenerateKey;
  CK_C_GenerateKeyPair C_GenerateKeyPair;
  CK_C_WrapKey C_WrapKey;
  CK_C_UnwrapKey C_UnwrapKey;
  CK_C_DeriveKey C_DeriveKey;
  CK_C_SeedRandom C_SeedRandom;
  CK_C_GenerateRandom C_GenerateRandom;
  CK_C_GetFunctionStatus C_GetFunctionStatus;
  CK_C_CancelFunction C_CancelFunction;
  CK_C_WaitForSlotEvent C_WaitForSlotEvent;
};

/// What a module of version 3.0 hands out as the function list of its interface "PKCS 11": the list of version 2, and
/// behind it what is new.
struct CK_FUNCTION_LIST_3_0 : CK_FUNCTION_LIST {
  CK_C_GetInterfaceList C_GetInterfaceList;
  CK_C_GetInterface C_GetInterface;
  CK_C_LoginUser C_LoginUser;
  CK_C_SessionCancel C_SessionCancel;
  CK_C_MessageEncryptInit C_MessageEncryptInit;
  CK_C_EncryptMessage C_EncryptMessage;
  CK_C_EncryptMessageBegin C_EncryptMessageBegin;
  CK_C_EncryptMessageNext C_EncryptMessageNext;
  CK_C_MessageEncryptFinal C_MessageEncryptFinal;
  CK_C_MessageDecryptInit C_MessageDecryptInit;
  CK_C_DecryptMessage C_DecryptMessage;
  CK_C_DecryptMessageBegin C_DecryptMessageBegin;
  CK_C_DecryptMessageNext C_DecryptMessageNext;
  CK_C_MessageDecryptFinal C_MessageDecryptFinal;
  CK_C_MessageSignInit C_MessageSignInit;
  CK_C_SignMessage C_SignMessage;
  CK_C_SignMessageBegin C_SignMessageBegin;
  CK_C_SignMessageNext C_SignMessageNext;
  CK_C_MessageSignFinal C_MessageSignFinal;
  CK_C_MessageVerifyInit C_MessageVerifyInit;
  CK_C_VerifyMessage C_VerifyMessage;
  CK_C_VerifyMessageBegin C_VerifyMessageBegin;
  CK_C_VerifyMessageNext C_VerifyMessageNext;
  CK_C_MessageVerifyFinal C_MessageVerifyFinal;
};

using CK_FUNCTION_LIST_3_0_PTR = CK_FUNCTION_LIST_3_0*;

// ---------------------------------------------------------------------------------------------------------------------
// Return values
// ---------------------------------------------------------------------------------------------------------------------

inline constexpr CK_RV CKR_OK = 0x000;
inline constexpr CK_RV CKR_CANCEL = 0x001;
inline constexpr CK_RV CKR_HOST_MEMORY = 0x002;
inline constexpr CK_RV CKR_SLOT_ID_INVALID = 0x003;
inline constexpr CK_RV CKR_GENERAL_ERROR = 0x005;
inline constexpr CK_RV CKR_FUNCTION_FAILED = 0x006;
inline constexpr CK_RV CKR_ARGUMENTS_BAD = 0x007;
inline constexpr CK_RV CKR_NO_EVENT = 0x008;
inline constexpr CK_RV CKR_NEED_TO_CREATE_THREADS = 0x009;
inline constexpr CK_RV CKR_CANT_LOCK = 0x00A;
inline constexpr CK_RV CKR_ATTRIBUTE_READ_ONLY = 0x010;
inline constexpr CK_RV CKR_ATTRIBUTE_SENSITIVE = 0x011;
inline constexpr CK_RV CKR_ATTRIBUTE_TYPE_INVALID = 0x012;
inline constexpr CK_RV CKR_ATTRIBUTE_VALUE_INVALID = 0x013;
inline constexpr CK_RV CKR_ACTION_PROHIBITED = 0x01B;
inline constexpr CK_RV CKR_DATA_INVALID = 0x020;
inline constexpr CK_RV CKR_DATA_LEN_RANGE = 0x021;
inline constexpr CK_RV CKR_DEVICE_ERROR = 0x030;
inline constexpr CK_RV CKR_DEVICE_MEMORY = 0x031;
inline constexpr CK_RV CKR_DEVICE_REMOVED = 0x032;
inline constexpr CK_RV CKR_ENCRYPTED_DATA_INVALID = 0x040;
inline constexpr CK_RV CKR_ENCRYPTED_DATA_LEN_RANGE = 0x041;
inline constexpr CK_RV CKR_AEAD_DECRYPT_FAILED = 0x042;
inline constexpr CK_RV CKR_FUNCTION_CANCELED = 0x050;
inline constexpr CK_RV CKR_FUNCTION_NOT_PARALLEL = 0x051;
inline constexpr CK_RV CKR_FUNCTION_NOT_SUPPORTED = 0x054;
inline constexpr CK_RV CKR_KEY_HANDLE_INVALID = 0x060;
inline constexpr CK_RV CKR_KEY_SIZE_RANGE = 0x062;
inline constexpr CK_RV CKR_KEY_TYPE_INCONSISTENT = 0x063;
inline constexpr CK_RV CKR_KEY_NOT_NEEDED = 0x064;
inline constexpr CK_RV CKR_KEY_CHANGED = 0x065;
inline constexpr CK_RV CKR_KEY_NEEDED = 0x066;
inline constexpr CK_RV CKR_KEY_INDIGESTIBLE = 0x067;
inline constexpr CK_RV CKR_KEY_FUNCTION_NOT_PERMITTED = 0x068;
inline constexpr CK_RV CKR_KEY_NOT_WRAPPABLE = 0x069;
inline constexpr CK_RV CKR_KEY_UNEXTRACTABLE = 0x06A;
inline constexpr CK_RV CKR_MECHANISM_INVALID = 0x070;
inline constexpr CK_RV CKR_MECHANISM_PARAM_INVALID = 0x071;
inline constexpr CK_RV CKR_OBJECT_HANDLE_INVALID = 0x082;
inline constexpr CK_RV CKR_OPERATION_ACTIVE = 0x090;
inline constexpr CK_RV CKR_OPERATION_NOT_INITIALIZED = 0x091;
inline constexpr CK_RV CKR_PIN_INCORRECT = 0x0A0;
inline constexpr CK_RV CKR_PIN_INVALID = 0x0A1;
inline constexpr CK_RV CKR_PIN_LEN_RANGE = 0x0A2;
inline constexpr CK_RV CKR_PIN_EXPIRED = 0x0A3;
inline constexpr CK_RV CKR_PIN_LOCKED = 0x0A4;
inline constexpr CK_RV CKR_SESSION_CLOSED = 0x0B0;
inline constexpr CK_RV CKR_SESSION_COUNT = 0x0B1;
inline constexpr CK_RV CKR_SESSION_HANDLE_INVALID = 0x0B3;
inline constexpr CK_RV CKR_SESSION_PARALLEL_NOT_SUPPORTED = 0x0B4;
inline constexpr CK_RV CKR_SESSION_READ_ONLY = 0x0B5;
inline constexpr CK_RV CKR_SESSION_EXISTS = 0x0B6;
inline constexpr CK_RV CKR_SESSION_READ_ONLY_EXISTS = 0x0B7;
inline constexpr CK_RV CKR_SESSION_READ_WRITE_SO_EXISTS = 0x0B8;
inline constexpr CK_RV CKR_SIGNATURE_INVALID = 0x0C0;
inline constexpr CK_RV CKR_SIGNATURE_LEN_RANGE = 0x0C1;
inline constexpr CK_RV CKR_TEMPLATE_INCOMPLETE = 0x0D0;
inline constexpr CK_RV CKR_TEMPLATE_INCONSISTENT = 0x0D1;
inline constexpr CK_RV CKR_TOKEN_NOT_PRESENT = 0x0E0;
inline constexpr CK_RV CKR_TOKEN_NOT_RECOGNIZED = 0x0E1;
inline constexpr CK_RV CKR_TOKEN_WRITE_PROTECTED = 0x0E2;
inline constexpr CK_RV CKR_UNWRAPPING_KEY_HANDLE_INVALID = 0x0F0;
inline constexpr CK_RV CKR_UNWRAPPING_KEY_SIZE_RANGE = 0x0F1;
inline constexpr CK_RV CKR_UNWRAPPING_KEY_TYPE_INCONSISTENT = 0x0F2;
inline constexpr CK_RV CKR_USER_ALREADY_LOGGED_IN = 0x100;
inline constexpr CK_RV CKR_USER_NOT_LOGGED_IN = 0x101;
inline constexpr CK_RV CKR_USER_PIN_NOT_INITIALIZED = 0x102;
inline constexpr CK_RV CKR_USER_TYPE_INVALID = 0x103;
inline constexpr CK_RV CKR_USER_ANOTHER_ALREADY_LOGGED_IN = 0x104;
inline constexpr CK_RV CKR_USER_TOO_MANY_TYPES = 0x105;
inline constexpr CK_RV CKR_WRAPPED_KEY_INVALID = 0x110;
inline constexpr CK_RV CKR_WRAPPED_KEY_LEN_RANGE = 0x112;
inline constexpr CK_RV CKR_WRAPPING_KEY_HANDLE_INVALID = 0x113;
inline constexpr CK_RV CKR_WRAPPING_KEY_SIZE_RANGE = 0x114;
inline constexpr CK_RV CKR_WRAPPING_KEY_TYPE_INCONSISTENT = 0x115;
inline constexpr CK_RV CKR_RANDOM_SEED_NOT_SUPPORTED = 0x120;
inline constexpr CK_RV CKR_RANDOM_NO_RNG = 0x121;
inline constexpr CK_RV CKR_DOMAIN_PARAMS_INVALID = 0x130;
inline constexpr CK_RV CKR_CURVE_NOT_SUPPORTED = 0x140;
inline constexpr CK_RV CKR_BUFFER_TOO_SMALL = 0x150;
inline constexpr CK_RV CKR_SAVED_STATE_INVALID = 0x160;
inline constexpr CK_RV CKR_INFORMATION_SENSITIVE = 0x170;
inline constexpr CK_RV CKR_STATE_UNSAVEABLE = 0x180;
inline constexpr CK_RV CKR_CRYPTOKI_NOT_INITIALIZED = 0x190;
inline constexpr CK_RV CKR_CRYPTOKI_ALREADY_INITIALIZED = 0x191;
inline constexpr CK_RV CKR_MUTEX_BAD = 0x1A0;
inline constexpr CK_RV CKR_MUTEX_NOT_LOCKED = 0x1A1;
inline constexpr CK_RV CKR_NEW_PIN_MODE = 0x1B0;
inline constexpr CK_RV CKR_NEXT_OTP = 0x1B1;
inline constexpr CK_RV CKR_EXCEEDED_MAX_ITERATIONS = 0x1B5;
inline constexpr CK_RV CKR_FIPS_SELF_TEST_FAILED = 0x1B6;
inline constexpr CK_RV CKR_LIBRARY_LOAD_FAILED = 0x1B7;
inline constexpr CK_RV CKR_PIN_TOO_WEAK = 0x1B8;
inline constexpr CK_RV CKR_PUBLIC_KEY_INVALID = 0x1B9;
inline constexpr CK_RV CKR_FUNCTION_REJECTED = 0x200;
inline constexpr CK_RV CKR_TOKEN_RESOURCE_EXCEEDED = 0x201;
inline constexpr CK_RV CKR_OPERATION_CANCEL_FAILED = 0x202;
inline constexpr CK_RV CKR_KEY_EXHAUSTED = 0x203;
inline constexpr CK_RV CKR_VENDOR_DEFINED = 0x80000000;

// ---------------------------------------------------------------------------------------------------------------------
// Objects
// ---------------------------------------------------------------------------------------------------------------------

/// Of an object: CKA_CLASS.
inline constexpr CK_OBJECT_CLASS CKO_DATA = 0x00;
inline constexpr CK_OBJECT_CLASS CKO_CERTIFICATE = 0x01;
inline constexpr CK_OBJECT_CLASS CKO_PUBLIC_KEY = 0x02;
inline constexpr CK_OBJECT_CLASS CKO_PRIVATE_KEY = 0x03;
inline constexpr CK_OBJECT_CLASS CKO_SECRET_KEY = 0x04;
inline constexpr CK_OBJECT_CLASS CKO_HW_FEATURE = 0x05;
inline constexpr CK_OBJECT_CLASS CKO_DOMAIN_PARAMETERS = 0x06;
inline constexpr CK_OBJECT_CLASS CKO_MECHANISM = 0x07;
inline constexpr CK_OBJECT_CLASS CKO_OTP_KEY = 0x08;
inline constexpr CK_OBJECT_CLASS CKO_PROFILE = 0x09;
inline constexpr CK_OBJECT_CLASS CKO_VALIDATION = 0x0A;
inline constexpr CK_OBJECT_CLASS CKO_TRUST = 0x0B;
inline constexpr CK_OBJECT_CLASS CKO_VENDOR_DEFINED = 0x80000000;

/// Of a hardware feature: CKA_HW_FEATURE_TYPE.
inline constexpr CK_HW_FEATURE_TYPE CKH_MONOTONIC_COUNTER = 0x01;
inline constexpr CK_HW_FEATURE_TYPE CKH_CLOCK = 0x02;
inline constexpr CK_HW_FEATURE_TYPE CKH_USER_INTERFACE = 0x03;
inline constexpr CK_HW_FEATURE_TYPE CKH_VENDOR_DEFINED = 0x80000000;

/// Of a certificate: CKA_CERTIFICATE_TYPE.
inline constexpr CK_CERTIFICATE_TYPE CKC_X_509 = 0x00;
inline constexpr CK_CERTIFICATE_TYPE CKC_X_509_ATTR_CERT = 0x01;
inline constexpr CK_CERTIFICATE_TYPE CKC_WTLS = 0x02;
inline constexpr CK_CERTIFICATE_TYPE CKC_VENDOR_DEFINED = 0x80000000;

/// Of a key: CKA_KEY_TYPE. Some have two names, one of them older.
inline constexpr CK_KEY_TYPE CKK_RSA = 0x00;
inline constexpr CK_KEY_TYPE CKK_DSA = 0x01;
inline constexpr CK_KEY_TYPE CKK_DH = 0x02;
inline constexpr CK_KEY_TYPE CKK_EC = 0x03;
inline constexpr CK_KEY_TYPE CKK_ECDSA = 0x03;
inline constexpr CK_KEY_TYPE CKK_X9_42_DH = 0x04;
inline constexpr CK_KEY_TYPE CKK_KEA = 0x05;
inline constexpr CK_KEY_TYPE CKK_GENERIC_SECRET = 0x10;
inline constexpr CK_KEY_TYPE CKK_RC2 = 0x11;
inline constexpr CK_KEY_TYPE CKK_RC4 = 0x12;
inline constexpr CK_KEY_TYPE CKK_DES = 0x13;
inline constexpr CK_KEY_TYPE CKK_DES2 = 0x14;
inline constexpr CK_KEY_TYPE CKK_DES3 = 0x15;
inline constexpr CK_KEY_TYPE CKK_CAST = 0x16;
inline constexpr CK_KEY_TYPE CKK_CAST3 = 0x17;
inline constexpr CK_KEY_TYPE CKK_CAST128 = 0x18;
inline constexpr CK_KEY_TYPE CKK_CAST5 = 0x18;
inline constexpr CK_KEY_TYPE CKK_RC5 = 0x19;
inline constexpr CK_KEY_TYPE CKK_IDEA = 0x1A;
inline constexpr CK_KEY_TYPE CKK_SKIPJACK = 0x1B;
inline constexpr CK_KEY_TYPE CKK_BATON = 0x1C;
inline constexpr CK_KEY_TYPE CKK_JUNIPER = 0x1D;
inline constexpr CK_KEY_TYPE CKK_CDMF = 0x1E;
inline constexpr CK_KEY_TYPE CKK_AES = 0x1F;
inline constexpr CK_KEY_TYPE CKK_BLOWFISH = 0x20;
inline constexpr CK_KEY_TYPE CKK_TWOFISH = 0x21;
inline constexpr CK_KEY_TYPE CKK_SECURID = 0x22;
inline constexpr CK_KEY_TYPE CKK_HOTP = 0x23;
inline constexpr CK_KEY_TYPE CKK_ACTI = 0x24;
inline constexpr CK_KEY_TYPE CKK_CAMELLIA = 0x25;
inline constexpr CK_KEY_TYPE CKK_ARIA = 0x26;
inline constexpr CK_KEY_TYPE CKK_MD5_HMAC = 0x27;
inline constexpr CK_KEY_TYPE CKK_SHA_1_HMAC = 0x28;
inline constexpr CK_KEY_TYPE CKK_RIPEMD128_HMAC = 0x29;
inline constexpr CK_KEY_TYPE CKK_RIPEMD160_HMAC = 0x2A;
inline constexpr CK_KEY_TYPE CKK_SHA256_HMAC = 0x2B;
inline constexpr CK_KEY_TYPE CKK_SHA384_HMAC = 0x2C;
inline constexpr CK_KEY_TYPE CKK_SHA512_HMAC = 0x2D;
inline constexpr CK_KEY_TYPE CKK_SHA224_HMAC = 0x2E;
inline constexpr CK_KEY_TYPE CKK_SEED = 0x2F;
inline constexpr CK_KEY_TYPE CKK_GOSTR3410 = 0x30;
inline constexpr CK_KEY_TYPE CKK_GOSTR3411 = 0x31;
inline constexpr CK_KEY_TYPE CKK_GOST28147 = 0x32;
inline constexpr CK_KEY_TYPE CKK_CHACHA20 = 0x33;
inline constexpr CK_KEY_TYPE CKK_POLY1305 = 0x34;
inline constexpr CK_KEY_TYPE CKK_AES_XTS = 0x35;
inline constexpr CK_KEY_TYPE CKK_SHA3_224_HMAC = 0x36;
inline constexpr CK_KEY_TYPE CKK_SHA3_256_HMAC = 0x37;
inline constexpr CK_KEY_TYPE CKK_SHA3_384_HMAC = 0x38;
inline constexpr CK_KEY_TYPE CKK_SHA3_512_HMAC = 0x39;
inline constexpr CK_KEY_TYPE CKK_BLAKE2B_160_HMAC = 0x3A;
inline constexpr CK_KEY_TYPE CKK_BLAKE2B_256_HMAC = 0x3B;
inline constexpr CK_KEY_TYPE CKK_BLAKE2B_384_HMAC = 0x3C;
inline constexpr CK_KEY_TYPE CKK_BLAKE2B_512_HMAC = 0x3D;
inline constexpr CK_KEY_TYPE CKK_SALSA20 = 0x3E;
inline constexpr CK_KEY_TYPE CKK_X2RATCHET = 0x3F;
inline constexpr CK_KEY_TYPE CKK_EC_EDWARDS = 0x40;
inline constexpr CK_KEY_TYPE CKK_EC_MONTGOMERY = 0x41;
inline constexpr CK_KEY_TYPE CKK_HKDF = 0x42;
inline constexpr CK_KEY_TYPE CKK_SHA512_224_HMAC = 0x43;
inline constexpr CK_KEY_TYPE CKK_SHA512_256_HMAC = 0x44;
inline constexpr CK_KEY_TYPE CKK_SHA512_T_HMAC = 0x45;
inline constexpr CK_KEY_TYPE CKK_HSS = 0x46;
inline constexpr CK_KEY_TYPE CKK_XMSS = 0x47;
inline constexpr CK_KEY_TYPE CKK_XMSSMT = 0x48;
inline constexpr CK_KEY_TYPE CKK_ML_KEM = 0x49;
inline constexpr CK_KEY_TYPE CKK_ML_DSA = 0x4A;
inline constexpr CK_KEY_TYPE CKK_SLH_DSA = 0x4B;
inline constexpr CK_KEY_TYPE CKK_VENDOR_DEFINED = 0x80000000;

// ---------------------------------------------------------------------------------------------------------------------
// Attributes
// ---------------------------------------------------------------------------------------------------------------------

/// Marks the attributes whose value is itself an array of attributes or of mechanisms.
inline constexpr CK_ULONG CKF_ARRAY_ATTRIBUTE = 0x40000000;

inline constexpr CK_ATTRIBUTE_TYPE CKA_CLASS = 0x000;
inline constexpr CK_ATTRIBUTE_TYPE CKA_TOKEN = 0x001;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PRIVATE = 0x002;
inline constexpr CK_ATTRIBUTE_TYPE CKA_LABEL = 0x003;
inline constexpr CK_ATTRIBUTE_TYPE CKA_UNIQUE_ID = 0x004;
inline constexpr CK_ATTRIBUTE_TYPE CKA_APPLICATION = 0x010;
inline constexpr CK_ATTRIBUTE_TYPE CKA_VALUE = 0x011;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OBJECT_ID = 0x012;
inline constexpr CK_ATTRIBUTE_TYPE CKA_CERTIFICATE_TYPE = 0x080;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ISSUER = 0x081;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SERIAL_NUMBER = 0x082;
inline constexpr CK_ATTRIBUTE_TYPE CKA_AC_ISSUER = 0x083;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OWNER = 0x084;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ATTR_TYPES = 0x085;
inline constexpr CK_ATTRIBUTE_TYPE CKA_TRUSTED = 0x086;
inline constexpr CK_ATTRIBUTE_TYPE CKA_CERTIFICATE_CATEGORY = 0x087;
inline constexpr CK_ATTRIBUTE_TYPE CKA_JAVA_MIDP_SECURITY_DOMAIN = 0x088;
inline constexpr CK_ATTRIBUTE_TYPE CKA_URL = 0x089;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HASH_OF_SUBJECT_PUBLIC_KEY = 0x08A;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HASH_OF_ISSUER_PUBLIC_KEY = 0x08B;
inline constexpr CK_ATTRIBUTE_TYPE CKA_NAME_HASH_ALGORITHM = 0x08C;
inline constexpr CK_ATTRIBUTE_TYPE CKA_CHECK_VALUE = 0x090;
inline constexpr CK_ATTRIBUTE_TYPE CKA_KEY_TYPE = 0x100;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SUBJECT = 0x101;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ID = 0x102;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SENSITIVE = 0x103;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ENCRYPT = 0x104;
inline constexpr CK_ATTRIBUTE_TYPE CKA_DECRYPT = 0x105;
inline constexpr CK_ATTRIBUTE_TYPE CKA_WRAP = 0x106;
inline constexpr CK_ATTRIBUTE_TYPE CKA_UNWRAP = 0x107;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SIGN = 0x108;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SIGN_RECOVER = 0x109;
inline constexpr CK_ATTRIBUTE_TYPE CKA_VERIFY = 0x10A;
inline constexpr CK_ATTRIBUTE_TYPE CKA_VERIFY_RECOVER = 0x10B;
inline constexpr CK_ATTRIBUTE_TYPE CKA_DERIVE = 0x10C;
inline constexpr CK_ATTRIBUTE_TYPE CKA_START_DATE = 0x110;
inline constexpr CK_ATTRIBUTE_TYPE CKA_END_DATE = 0x111;
inline constexpr CK_ATTRIBUTE_TYPE CKA_MODULUS = 0x120;
inline constexpr CK_ATTRIBUTE_TYPE CKA_MODULUS_BITS = 0x121;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PUBLIC_EXPONENT = 0x122;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PRIVATE_EXPONENT = 0x123;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PRIME_1 = 0x124;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PRIME_2 = 0x125;
inline constexpr CK_ATTRIBUTE_TYPE CKA_EXPONENT_1 = 0x126;
inline constexpr CK_ATTRIBUTE_TYPE CKA_EXPONENT_2 = 0x127;
inline constexpr CK_ATTRIBUTE_TYPE CKA_COEFFICIENT = 0x128;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PUBLIC_KEY_INFO = 0x129;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PRIME = 0x130;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SUBPRIME = 0x131;
inline constexpr CK_ATTRIBUTE_TYPE CKA_BASE = 0x132;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PRIME_BITS = 0x133;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SUBPRIME_BITS = 0x134;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SUB_PRIME_BITS = 0x134;
inline constexpr CK_ATTRIBUTE_TYPE CKA_VALUE_BITS = 0x160;
inline constexpr CK_ATTRIBUTE_TYPE CKA_VALUE_LEN = 0x161;
inline constexpr CK_ATTRIBUTE_TYPE CKA_EXTRACTABLE = 0x162;
inline constexpr CK_ATTRIBUTE_TYPE CKA_LOCAL = 0x163;
inline constexpr CK_ATTRIBUTE_TYPE CKA_NEVER_EXTRACTABLE = 0x164;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ALWAYS_SENSITIVE = 0x165;
inline constexpr CK_ATTRIBUTE_TYPE CKA_KEY_GEN_MECHANISM = 0x166;
inline constexpr CK_ATTRIBUTE_TYPE CKA_MODIFIABLE = 0x170;
inline constexpr CK_ATTRIBUTE_TYPE CKA_COPYABLE = 0x171;
inline constexpr CK_ATTRIBUTE_TYPE CKA_DESTROYABLE = 0x172;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ECDSA_PARAMS = 0x180;
inline constexpr CK_ATTRIBUTE_TYPE CKA_EC_PARAMS = 0x180;
inline constexpr CK_ATTRIBUTE_TYPE CKA_EC_POINT = 0x181;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SECONDARY_AUTH = 0x200;
inline constexpr CK_ATTRIBUTE_TYPE CKA_AUTH_PIN_FLAGS = 0x201;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ALWAYS_AUTHENTICATE = 0x202;
inline constexpr CK_ATTRIBUTE_TYPE CKA_WRAP_WITH_TRUSTED = 0x210;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_FORMAT = 0x220;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_LENGTH = 0x221;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_TIME_INTERVAL = 0x222;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_USER_FRIENDLY_MODE = 0x223;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_CHALLENGE_REQUIREMENT = 0x224;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_TIME_REQUIREMENT = 0x225;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_COUNTER_REQUIREMENT = 0x226;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_PIN_REQUIREMENT = 0x227;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_USER_IDENTIFIER = 0x22A;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_SERVICE_IDENTIFIER = 0x22B;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_SERVICE_LOGO = 0x22C;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_SERVICE_LOGO_TYPE = 0x22D;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_COUNTER = 0x22E;
inline constexpr CK_ATTRIBUTE_TYPE CKA_OTP_TIME = 0x22F;
inline constexpr CK_ATTRIBUTE_TYPE CKA_GOSTR3410_PARAMS = 0x250;
inline constexpr CK_ATTRIBUTE_TYPE CKA_GOSTR3411_PARAMS = 0x251;
inline constexpr CK_ATTRIBUTE_TYPE CKA_GOST28147_PARAMS = 0x252;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HW_FEATURE_TYPE = 0x300;
inline constexpr CK_ATTRIBUTE_TYPE CKA_RESET_ON_INIT = 0x301;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HAS_RESET = 0x302;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PIXEL_X = 0x400;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PIXEL_Y = 0x401;
inline constexpr CK_ATTRIBUTE_TYPE CKA_RESOLUTION = 0x402;
inline constexpr CK_ATTRIBUTE_TYPE CKA_CHAR_ROWS = 0x403;
inline constexpr CK_ATTRIBUTE_TYPE CKA_CHAR_COLUMNS = 0x404;
inline constexpr CK_ATTRIBUTE_TYPE CKA_COLOR = 0x405;
inline constexpr CK_ATTRIBUTE_TYPE CKA_BITS_PER_PIXEL = 0x406;
inline constexpr CK_ATTRIBUTE_TYPE CKA_CHAR_SETS = 0x480;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ENCODING_METHODS = 0x481;
inline constexpr CK_ATTRIBUTE_TYPE CKA_MIME_TYPES = 0x482;
inline constexpr CK_ATTRIBUTE_TYPE CKA_MECHANISM_TYPE = 0x500;
inline constexpr CK_ATTRIBUTE_TYPE CKA_REQUIRED_CMS_ATTRIBUTES = 0x501;
inline constexpr CK_ATTRIBUTE_TYPE CKA_DEFAULT_CMS_ATTRIBUTES = 0x502;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SUPPORTED_CMS_ATTRIBUTES = 0x503;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PROFILE_ID = 0x601;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_BAG = 0x602;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_BAGSIZE = 0x603;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_BOBS1STMSG = 0x604;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_CKR = 0x605;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_CKS = 0x606;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_DHP = 0x607;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_DHR = 0x608;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_DHS = 0x609;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_HKR = 0x60A;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_HKS = 0x60B;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_ISALICE = 0x60C;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_NHKR = 0x60D;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_NHKS = 0x60E;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_NR = 0x60F;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_NS = 0x610;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_PNS = 0x611;
inline constexpr CK_ATTRIBUTE_TYPE CKA_X2RATCHET_RK = 0x612;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HSS_LEVELS = 0x617;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HSS_LMS_TYPE = 0x618;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HSS_LMOTS_TYPE = 0x619;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HSS_LMS_TYPES = 0x61A;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HSS_LMOTS_TYPES = 0x61B;
inline constexpr CK_ATTRIBUTE_TYPE CKA_HSS_KEYS_REMAINING = 0x61C;
inline constexpr CK_ATTRIBUTE_TYPE CKA_PARAMETER_SET = 0x61D;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ENCAPSULATE = 0x633;
inline constexpr CK_ATTRIBUTE_TYPE CKA_DECAPSULATE = 0x634;
inline constexpr CK_ATTRIBUTE_TYPE CKA_SEED = 0x637;
inline constexpr CK_ATTRIBUTE_TYPE CKA_WRAP_TEMPLATE = 0x40000211;
inline constexpr CK_ATTRIBUTE_TYPE CKA_UNWRAP_TEMPLATE = 0x40000212;
inline constexpr CK_ATTRIBUTE_TYPE CKA_DERIVE_TEMPLATE = 0x40000213;
inline constexpr CK_ATTRIBUTE_TYPE CKA_ALLOWED_MECHANISMS = 0x40000600;
inline constexpr CK_ATTRIBUTE_TYPE CKA_VENDOR_DEFINED = 0x80000000;

// ---------------------------------------------------------------------------------------------------------------------
// Sessions and users
// ---------------------------------------------------------------------------------------------------------------------

inline constexpr CK_USER_TYPE CKU_SO = 0x0;
inline constexpr CK_USER_TYPE CKU_USER = 0x1;
inline constexpr CK_USER_TYPE CKU_CONTEXT_SPECIFIC = 0x2;

inline constexpr CK_STATE CKS_RO_PUBLIC_SESSION = 0x0;
inline constexpr CK_STATE CKS_RO_USER_FUNCTIONS = 0x1;
inline constexpr CK_STATE CKS_RW_PUBLIC_SESSION = 0x2;
inline constexpr CK_STATE CKS_RW_USER_FUNCTIONS = 0x3;
inline constexpr CK_STATE CKS_RW_SO_FUNCTIONS = 0x4;

inline constexpr CK_NOTIFICATION CKN_SURRENDER = 0x0;
inline constexpr CK_NOTIFICATION CKN_OTP_CHANGED = 0x1;

// ---------------------------------------------------------------------------------------------------------------------
// Flags. The same bit means different things in different structures.
// ---------------------------------------------------------------------------------------------------------------------

// CK_SLOT_INFO
inline constexpr CK_FLAGS CKF_TOKEN_PRESENT = 0x00000001;
inline constexpr CK_FLAGS CKF_REMOVABLE_DEVICE = 0x00000002;
inline constexpr CK_FLAGS CKF_HW_SLOT = 0x00000004;

// CK_TOKEN_INFO
inline constexpr CK_FLAGS CKF_RNG = 0x00000001;
inline constexpr CK_FLAGS CKF_WRITE_PROTECTED = 0x00000002;
inline constexpr CK_FLAGS CKF_LOGIN_REQUIRED = 0x00000004;
inline constexpr CK_FLAGS CKF_USER_PIN_INITIALIZED = 0x00000008;
inline constexpr CK_FLAGS CKF_RESTORE_KEY_NOT_NEEDED = 0x00000020;
inline constexpr CK_FLAGS CKF_CLOCK_ON_TOKEN = 0x00000040;
inline constexpr CK_FLAGS CKF_PROTECTED_AUTHENTICATION_PATH = 0x00000100;
inline constexpr CK_FLAGS CKF_DUAL_CRYPTO_OPERATIONS = 0x00000200;
inline constexpr CK_FLAGS CKF_TOKEN_INITIALIZED = 0x00000400;
inline constexpr CK_FLAGS CKF_SECONDARY_AUTHENTICATION = 0x00000800;
inline constexpr CK_FLAGS CKF_USER_PIN_COUNT_LOW = 0x00010000;
inline constexpr CK_FLAGS CKF_USER_PIN_FINAL_TRY = 0x00020000;
inline constexpr CK_FLAGS CKF_USER_PIN_LOCKED = 0x00040000;
inline constexpr CK_FLAGS CKF_USER_PIN_TO_BE_CHANGED = 0x00080000;
inline constexpr CK_FLAGS CKF_SO_PIN_COUNT_LOW = 0x00100000;
inline constexpr CK_FLAGS CKF_SO_PIN_FINAL_TRY = 0x00200000;
inline constexpr CK_FLAGS CKF_SO_PIN_LOCKED = 0x00400000;
inline constexpr CK_FLAGS CKF_SO_PIN_TO_BE_CHANGED = 0x00800000;
inline constexpr CK_FLAGS CKF_ERROR_STATE = 0x01000000;

// CK_SESSION_INFO and C_OpenSession, which demands CKF_SERIAL_SESSION
inline constexpr CK_FLAGS CKF_RW_SESSION = 0x00000002;
inline constexpr CK_FLAGS CKF_SERIAL_SESSION = 0x00000004;

// CK_MECHANISM_INFO
inline constexpr CK_FLAGS CKF_HW = 0x00000001;
inline constexpr CK_FLAGS CKF_MESSAGE_ENCRYPT = 0x00000002;
inline constexpr CK_FLAGS CKF_MESSAGE_DECRYPT = 0x00000004;
inline constexpr CK_FLAGS CKF_MESSAGE_SIGN = 0x00000008;
inline constexpr CK_FLAGS CKF_MESSAGE_VERIFY = 0x00000010;
inline constexpr CK_FLAGS CKF_MULTI_MESSAGE = 0x00000020;
inline constexpr CK_FLAGS CKF_FIND_OBJECTS = 0x00000040;
inline constexpr CK_FLAGS CKF_ENCRYPT = 0x00000100;
inline constexpr CK_FLAGS CKF_DECRYPT = 0x00000200;
inline constexpr CK_FLAGS CKF_DIGEST = 0x00000400;
inline constexpr CK_FLAGS CKF_SIGN = 0x00000800;
inline constexpr CK_FLAGS CKF_SIGN_RECOVER = 0x00001000;
inline constexpr CK_FLAGS CKF_VERIFY = 0x00002000;
inline constexpr CK_FLAGS CKF_VERIFY_RECOVER = 0x00004000;
inline constexpr CK_FLAGS CKF_GENERATE = 0x00008000;
inline constexpr CK_FLAGS CKF_GENERATE_KEY_PAIR = 0x00010000;
inline constexpr CK_FLAGS CKF_WRAP = 0x00020000;
inline constexpr CK_FLAGS CKF_UNWRAP = 0x00040000;
inline constexpr CK_FLAGS CKF_DERIVE = 0x00080000;
inline constexpr CK_FLAGS CKF_EC_F_P = 0x00100000;
inline constexpr CK_FLAGS CKF_EC_F_2M = 0x00200000;
inline constexpr CK_FLAGS CKF_EC_ECPARAMETERS = 0x00400000;
inline constexpr CK_FLAGS CKF_EC_NAMEDCURVE = 0x00800000;
inline constexpr CK_FLAGS CKF_EC_OID = 0x00800000;
inline constexpr CK_FLAGS CKF_EC_UNCOMPRESS = 0x01000000;
inline constexpr CK_FLAGS CKF_EC_COMPRESS = 0x02000000;
inline constexpr CK_FLAGS CKF_EC_CURVENAME = 0x04000000;
inline constexpr CK_FLAGS CKF_ENCAPSULATE = 0x10000000;
inline constexpr CK_FLAGS CKF_DECAPSULATE = 0x20000000;
inline constexpr CK_FLAGS CKF_EXTENSION = 0x80000000;

// C_Initialize
inline constexpr CK_FLAGS CKF_LIBRARY_CANT_CREATE_OS_THREADS = 0x00000001;
inline constexpr CK_FLAGS CKF_OS_LOCKING_OK = 0x00000002;

// CK_INTERFACE
inline constexpr CK_FLAGS CKF_INTERFACE_FORK_SAFE = 0x00000001;

// C_EncryptMessageNext and C_DecryptMessageNext
inline constexpr CK_FLAGS CKF_END_OF_MESSAGE = 0x00000001;

// C_WaitForSlotEvent
inline constexpr CK_FLAGS CKF_DONT_BLOCK = 0x00000001;

// One-time passwords
inline constexpr CK_FLAGS CKF_NEXT_OTP = 0x00000001;
inline constexpr CK_FLAGS CKF_EXCLUDE_TIME = 0x00000002;
inline constexpr CK_FLAGS CKF_EXCLUDE_COUNTER = 0x00000004;
inline constexpr CK_FLAGS CKF_EXCLUDE_CHALLENGE = 0x00000008;
inline constexpr CK_FLAGS CKF_EXCLUDE_PIN = 0x00000010;
inline constexpr CK_FLAGS CKF_USER_FRIENDLY_OTP = 0x00000020;

// ---------------------------------------------------------------------------------------------------------------------
// Mechanisms. CAST5 and CAST128 are two names of one cipher.
// ---------------------------------------------------------------------------------------------------------------------

inline constexpr CK_MECHANISM_TYPE CKM_RSA_PKCS_KEY_PAIR_GEN = 0x0000;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_PKCS = 0x0001;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_9796 = 0x0002;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_X_509 = 0x0003;
inline constexpr CK_MECHANISM_TYPE CKM_MD2_RSA_PKCS = 0x0004;
inline constexpr CK_MECHANISM_TYPE CKM_MD5_RSA_PKCS = 0x0005;
inline constexpr CK_MECHANISM_TYPE CKM_SHA1_RSA_PKCS = 0x0006;
inline constexpr CK_MECHANISM_TYPE CKM_RIPEMD128_RSA_PKCS = 0x0007;
inline constexpr CK_MECHANISM_TYPE CKM_RIPEMD160_RSA_PKCS = 0x0008;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_PKCS_OAEP = 0x0009;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_X9_31_KEY_PAIR_GEN = 0x000A;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_X9_31 = 0x000B;
inline constexpr CK_MECHANISM_TYPE CKM_SHA1_RSA_X9_31 = 0x000C;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_PKCS_PSS = 0x000D;
inline constexpr CK_MECHANISM_TYPE CKM_SHA1_RSA_PKCS_PSS = 0x000E;
inline constexpr CK_MECHANISM_TYPE CKM_ML_KEM_KEY_PAIR_GEN = 0x000F;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_KEY_PAIR_GEN = 0x0010;
inline constexpr CK_MECHANISM_TYPE CKM_DSA = 0x0011;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHA1 = 0x0012;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHA224 = 0x0013;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHA256 = 0x0014;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHA384 = 0x0015;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHA512 = 0x0016;
inline constexpr CK_MECHANISM_TYPE CKM_ML_KEM = 0x0017;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHA3_224 = 0x0018;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHA3_256 = 0x0019;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHA3_384 = 0x001A;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHA3_512 = 0x001B;
inline constexpr CK_MECHANISM_TYPE CKM_ML_DSA_KEY_PAIR_GEN = 0x001C;
inline constexpr CK_MECHANISM_TYPE CKM_ML_DSA = 0x001D;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA = 0x001F;
inline constexpr CK_MECHANISM_TYPE CKM_DH_PKCS_KEY_PAIR_GEN = 0x0020;
inline constexpr CK_MECHANISM_TYPE CKM_DH_PKCS_DERIVE = 0x0021;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHA224 = 0x0023;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHA256 = 0x0024;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHA384 = 0x0025;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHA512 = 0x0026;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHA3_224 = 0x0027;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHA3_256 = 0x0028;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHA3_384 = 0x0029;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHA3_512 = 0x002A;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHAKE128 = 0x002B;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_ML_DSA_SHAKE256 = 0x002C;
inline constexpr CK_MECHANISM_TYPE CKM_SLH_DSA_KEY_PAIR_GEN = 0x002D;
inline constexpr CK_MECHANISM_TYPE CKM_SLH_DSA = 0x002E;
inline constexpr CK_MECHANISM_TYPE CKM_X9_42_DH_KEY_PAIR_GEN = 0x0030;
inline constexpr CK_MECHANISM_TYPE CKM_X9_42_DH_DERIVE = 0x0031;
inline constexpr CK_MECHANISM_TYPE CKM_X9_42_DH_HYBRID_DERIVE = 0x0032;
inline constexpr CK_MECHANISM_TYPE CKM_X9_42_MQV_DERIVE = 0x0033;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA = 0x0034;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHA224 = 0x0036;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHA256 = 0x0037;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHA384 = 0x0038;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHA512 = 0x0039;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHA3_224 = 0x003A;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHA3_256 = 0x003B;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHA3_384 = 0x003C;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHA3_512 = 0x003D;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHAKE128 = 0x003E;
inline constexpr CK_MECHANISM_TYPE CKM_HASH_SLH_DSA_SHAKE256 = 0x003F;
inline constexpr CK_MECHANISM_TYPE CKM_SHA256_RSA_PKCS = 0x0040;
inline constexpr CK_MECHANISM_TYPE CKM_SHA384_RSA_PKCS = 0x0041;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_RSA_PKCS = 0x0042;
inline constexpr CK_MECHANISM_TYPE CKM_SHA256_RSA_PKCS_PSS = 0x0043;
inline constexpr CK_MECHANISM_TYPE CKM_SHA384_RSA_PKCS_PSS = 0x0044;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_RSA_PKCS_PSS = 0x0045;
inline constexpr CK_MECHANISM_TYPE CKM_SHA224_RSA_PKCS = 0x0046;
inline constexpr CK_MECHANISM_TYPE CKM_SHA224_RSA_PKCS_PSS = 0x0047;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_224 = 0x0048;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_224_HMAC = 0x0049;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_224_HMAC_GENERAL = 0x004A;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_224_KEY_DERIVATION = 0x004B;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_256 = 0x004C;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_256_HMAC = 0x004D;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_256_HMAC_GENERAL = 0x004E;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_256_KEY_DERIVATION = 0x004F;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_T = 0x0050;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_T_HMAC = 0x0051;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_T_HMAC_GENERAL = 0x0052;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_T_KEY_DERIVATION = 0x0053;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_256_RSA_PKCS = 0x0060;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_384_RSA_PKCS = 0x0061;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_512_RSA_PKCS = 0x0062;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_256_RSA_PKCS_PSS = 0x0063;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_384_RSA_PKCS_PSS = 0x0064;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_512_RSA_PKCS_PSS = 0x0065;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_224_RSA_PKCS = 0x0066;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_224_RSA_PKCS_PSS = 0x0067;
inline constexpr CK_MECHANISM_TYPE CKM_RC2_KEY_GEN = 0x0100;
inline constexpr CK_MECHANISM_TYPE CKM_RC2_ECB = 0x0101;
inline constexpr CK_MECHANISM_TYPE CKM_RC2_CBC = 0x0102;
inline constexpr CK_MECHANISM_TYPE CKM_RC2_MAC = 0x0103;
inline constexpr CK_MECHANISM_TYPE CKM_RC2_MAC_GENERAL = 0x0104;
inline constexpr CK_MECHANISM_TYPE CKM_RC2_CBC_PAD = 0x0105;
inline constexpr CK_MECHANISM_TYPE CKM_RC4_KEY_GEN = 0x0110;
inline constexpr CK_MECHANISM_TYPE CKM_RC4 = 0x0111;
inline constexpr CK_MECHANISM_TYPE CKM_DES_KEY_GEN = 0x0120;
inline constexpr CK_MECHANISM_TYPE CKM_DES_ECB = 0x0121;
inline constexpr CK_MECHANISM_TYPE CKM_DES_CBC = 0x0122;
inline constexpr CK_MECHANISM_TYPE CKM_DES_MAC = 0x0123;
inline constexpr CK_MECHANISM_TYPE CKM_DES_MAC_GENERAL = 0x0124;
inline constexpr CK_MECHANISM_TYPE CKM_DES_CBC_PAD = 0x0125;
inline constexpr CK_MECHANISM_TYPE CKM_DES2_KEY_GEN = 0x0130;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_KEY_GEN = 0x0131;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_ECB = 0x0132;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_CBC = 0x0133;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_MAC = 0x0134;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_MAC_GENERAL = 0x0135;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_CBC_PAD = 0x0136;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_CMAC_GENERAL = 0x0137;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_CMAC = 0x0138;
inline constexpr CK_MECHANISM_TYPE CKM_CDMF_KEY_GEN = 0x0140;
inline constexpr CK_MECHANISM_TYPE CKM_CDMF_ECB = 0x0141;
inline constexpr CK_MECHANISM_TYPE CKM_CDMF_CBC = 0x0142;
inline constexpr CK_MECHANISM_TYPE CKM_CDMF_MAC = 0x0143;
inline constexpr CK_MECHANISM_TYPE CKM_CDMF_MAC_GENERAL = 0x0144;
inline constexpr CK_MECHANISM_TYPE CKM_CDMF_CBC_PAD = 0x0145;
inline constexpr CK_MECHANISM_TYPE CKM_DES_OFB64 = 0x0150;
inline constexpr CK_MECHANISM_TYPE CKM_DES_OFB8 = 0x0151;
inline constexpr CK_MECHANISM_TYPE CKM_DES_CFB64 = 0x0152;
inline constexpr CK_MECHANISM_TYPE CKM_DES_CFB8 = 0x0153;
inline constexpr CK_MECHANISM_TYPE CKM_MD2 = 0x0200;
inline constexpr CK_MECHANISM_TYPE CKM_MD2_HMAC = 0x0201;
inline constexpr CK_MECHANISM_TYPE CKM_MD2_HMAC_GENERAL = 0x0202;
inline constexpr CK_MECHANISM_TYPE CKM_MD5 = 0x0210;
inline constexpr CK_MECHANISM_TYPE CKM_MD5_HMAC = 0x0211;
inline constexpr CK_MECHANISM_TYPE CKM_MD5_HMAC_GENERAL = 0x0212;
inline constexpr CK_MECHANISM_TYPE CKM_SHA_1 = 0x0220;
inline constexpr CK_MECHANISM_TYPE CKM_SHA_1_HMAC = 0x0221;
inline constexpr CK_MECHANISM_TYPE CKM_SHA_1_HMAC_GENERAL = 0x0222;
inline constexpr CK_MECHANISM_TYPE CKM_RIPEMD128 = 0x0230;
inline constexpr CK_MECHANISM_TYPE CKM_RIPEMD128_HMAC = 0x0231;
inline constexpr CK_MECHANISM_TYPE CKM_RIPEMD128_HMAC_GENERAL = 0x0232;
inline constexpr CK_MECHANISM_TYPE CKM_RIPEMD160 = 0x0240;
inline constexpr CK_MECHANISM_TYPE CKM_RIPEMD160_HMAC = 0x0241;
inline constexpr CK_MECHANISM_TYPE CKM_RIPEMD160_HMAC_GENERAL = 0x0242;
inline constexpr CK_MECHANISM_TYPE CKM_SHA256 = 0x0250;
inline constexpr CK_MECHANISM_TYPE CKM_SHA256_HMAC = 0x0251;
inline constexpr CK_MECHANISM_TYPE CKM_SHA256_HMAC_GENERAL = 0x0252;
inline constexpr CK_MECHANISM_TYPE CKM_SHA224 = 0x0255;
inline constexpr CK_MECHANISM_TYPE CKM_SHA224_HMAC = 0x0256;
inline constexpr CK_MECHANISM_TYPE CKM_SHA224_HMAC_GENERAL = 0x0257;
inline constexpr CK_MECHANISM_TYPE CKM_SHA384 = 0x0260;
inline constexpr CK_MECHANISM_TYPE CKM_SHA384_HMAC = 0x0261;
inline constexpr CK_MECHANISM_TYPE CKM_SHA384_HMAC_GENERAL = 0x0262;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512 = 0x0270;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_HMAC = 0x0271;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_HMAC_GENERAL = 0x0272;
inline constexpr CK_MECHANISM_TYPE CKM_SECURID_KEY_GEN = 0x0280;
inline constexpr CK_MECHANISM_TYPE CKM_SECURID = 0x0282;
inline constexpr CK_MECHANISM_TYPE CKM_HOTP_KEY_GEN = 0x0290;
inline constexpr CK_MECHANISM_TYPE CKM_HOTP = 0x0291;
inline constexpr CK_MECHANISM_TYPE CKM_ACTI = 0x02A0;
inline constexpr CK_MECHANISM_TYPE CKM_ACTI_KEY_GEN = 0x02A1;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_256 = 0x02B0;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_256_HMAC = 0x02B1;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_256_HMAC_GENERAL = 0x02B2;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_256_KEY_GEN = 0x02B3;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_224 = 0x02B5;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_224_HMAC = 0x02B6;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_224_HMAC_GENERAL = 0x02B7;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_224_KEY_GEN = 0x02B8;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_384 = 0x02C0;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_384_HMAC = 0x02C1;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_384_HMAC_GENERAL = 0x02C2;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_384_KEY_GEN = 0x02C3;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_512 = 0x02D0;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_512_HMAC = 0x02D1;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_512_HMAC_GENERAL = 0x02D2;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_512_KEY_GEN = 0x02D3;
inline constexpr CK_MECHANISM_TYPE CKM_CAST_KEY_GEN = 0x0300;
inline constexpr CK_MECHANISM_TYPE CKM_CAST_ECB = 0x0301;
inline constexpr CK_MECHANISM_TYPE CKM_CAST_CBC = 0x0302;
inline constexpr CK_MECHANISM_TYPE CKM_CAST_MAC = 0x0303;
inline constexpr CK_MECHANISM_TYPE CKM_CAST_MAC_GENERAL = 0x0304;
inline constexpr CK_MECHANISM_TYPE CKM_CAST_CBC_PAD = 0x0305;
inline constexpr CK_MECHANISM_TYPE CKM_CAST3_KEY_GEN = 0x0310;
inline constexpr CK_MECHANISM_TYPE CKM_CAST3_ECB = 0x0311;
inline constexpr CK_MECHANISM_TYPE CKM_CAST3_CBC = 0x0312;
inline constexpr CK_MECHANISM_TYPE CKM_CAST3_MAC = 0x0313;
inline constexpr CK_MECHANISM_TYPE CKM_CAST3_MAC_GENERAL = 0x0314;
inline constexpr CK_MECHANISM_TYPE CKM_CAST3_CBC_PAD = 0x0315;
inline constexpr CK_MECHANISM_TYPE CKM_CAST128_KEY_GEN = 0x0320;
inline constexpr CK_MECHANISM_TYPE CKM_CAST5_KEY_GEN = 0x0320;
inline constexpr CK_MECHANISM_TYPE CKM_CAST128_ECB = 0x0321;
inline constexpr CK_MECHANISM_TYPE CKM_CAST5_ECB = 0x0321;
inline constexpr CK_MECHANISM_TYPE CKM_CAST128_CBC = 0x0322;
inline constexpr CK_MECHANISM_TYPE CKM_CAST5_CBC = 0x0322;
inline constexpr CK_MECHANISM_TYPE CKM_CAST128_MAC = 0x0323;
inline constexpr CK_MECHANISM_TYPE CKM_CAST5_MAC = 0x0323;
inline constexpr CK_MECHANISM_TYPE CKM_CAST128_MAC_GENERAL = 0x0324;
inline constexpr CK_MECHANISM_TYPE CKM_CAST5_MAC_GENERAL = 0x0324;
inline constexpr CK_MECHANISM_TYPE CKM_CAST128_CBC_PAD = 0x0325;
inline constexpr CK_MECHANISM_TYPE CKM_CAST5_CBC_PAD = 0x0325;
inline constexpr CK_MECHANISM_TYPE CKM_RC5_KEY_GEN = 0x0330;
inline constexpr CK_MECHANISM_TYPE CKM_RC5_ECB = 0x0331;
inline constexpr CK_MECHANISM_TYPE CKM_RC5_CBC = 0x0332;
inline constexpr CK_MECHANISM_TYPE CKM_RC5_MAC = 0x0333;
inline constexpr CK_MECHANISM_TYPE CKM_RC5_MAC_GENERAL = 0x0334;
inline constexpr CK_MECHANISM_TYPE CKM_RC5_CBC_PAD = 0x0335;
inline constexpr CK_MECHANISM_TYPE CKM_IDEA_KEY_GEN = 0x0340;
inline constexpr CK_MECHANISM_TYPE CKM_IDEA_ECB = 0x0341;
inline constexpr CK_MECHANISM_TYPE CKM_IDEA_CBC = 0x0342;
inline constexpr CK_MECHANISM_TYPE CKM_IDEA_MAC = 0x0343;
inline constexpr CK_MECHANISM_TYPE CKM_IDEA_MAC_GENERAL = 0x0344;
inline constexpr CK_MECHANISM_TYPE CKM_IDEA_CBC_PAD = 0x0345;
inline constexpr CK_MECHANISM_TYPE CKM_GENERIC_SECRET_KEY_GEN = 0x0350;
inline constexpr CK_MECHANISM_TYPE CKM_CONCATENATE_BASE_AND_KEY = 0x0360;
inline constexpr CK_MECHANISM_TYPE CKM_CONCATENATE_BASE_AND_DATA = 0x0362;
inline constexpr CK_MECHANISM_TYPE CKM_CONCATENATE_DATA_AND_BASE = 0x0363;
inline constexpr CK_MECHANISM_TYPE CKM_XOR_BASE_AND_DATA = 0x0364;
inline constexpr CK_MECHANISM_TYPE CKM_EXTRACT_KEY_FROM_KEY = 0x0365;
inline constexpr CK_MECHANISM_TYPE CKM_SSL3_PRE_MASTER_KEY_GEN = 0x0370;
inline constexpr CK_MECHANISM_TYPE CKM_SSL3_MASTER_KEY_DERIVE = 0x0371;
inline constexpr CK_MECHANISM_TYPE CKM_SSL3_KEY_AND_MAC_DERIVE = 0x0372;
inline constexpr CK_MECHANISM_TYPE CKM_SSL3_MASTER_KEY_DERIVE_DH = 0x0373;
inline constexpr CK_MECHANISM_TYPE CKM_TLS_PRE_MASTER_KEY_GEN = 0x0374;
inline constexpr CK_MECHANISM_TYPE CKM_TLS_MASTER_KEY_DERIVE = 0x0375;
inline constexpr CK_MECHANISM_TYPE CKM_TLS_KEY_AND_MAC_DERIVE = 0x0376;
inline constexpr CK_MECHANISM_TYPE CKM_TLS_MASTER_KEY_DERIVE_DH = 0x0377;
inline constexpr CK_MECHANISM_TYPE CKM_TLS_PRF = 0x0378;
inline constexpr CK_MECHANISM_TYPE CKM_SSL3_MD5_MAC = 0x0380;
inline constexpr CK_MECHANISM_TYPE CKM_SSL3_SHA1_MAC = 0x0381;
inline constexpr CK_MECHANISM_TYPE CKM_MD5_KEY_DERIVATION = 0x0390;
inline constexpr CK_MECHANISM_TYPE CKM_MD2_KEY_DERIVATION = 0x0391;
inline constexpr CK_MECHANISM_TYPE CKM_SHA1_KEY_DERIVATION = 0x0392;
inline constexpr CK_MECHANISM_TYPE CKM_SHA256_KEY_DERIVATION = 0x0393;
inline constexpr CK_MECHANISM_TYPE CKM_SHA384_KEY_DERIVATION = 0x0394;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_KEY_DERIVATION = 0x0395;
inline constexpr CK_MECHANISM_TYPE CKM_SHA224_KEY_DERIVATION = 0x0396;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_256_KEY_DERIVATION = 0x0397;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_224_KEY_DERIVATION = 0x0398;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_384_KEY_DERIVATION = 0x0399;
inline constexpr CK_MECHANISM_TYPE CKM_SHA3_512_KEY_DERIVATION = 0x039A;
inline constexpr CK_MECHANISM_TYPE CKM_SHAKE_128_KEY_DERIVATION = 0x039B;
inline constexpr CK_MECHANISM_TYPE CKM_SHAKE_256_KEY_DERIVATION = 0x039C;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_MD2_DES_CBC = 0x03A0;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_MD5_DES_CBC = 0x03A1;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_MD5_CAST_CBC = 0x03A2;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_MD5_CAST3_CBC = 0x03A3;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_MD5_CAST128_CBC = 0x03A4;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_MD5_CAST5_CBC = 0x03A4;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_SHA1_CAST128_CBC = 0x03A5;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_SHA1_CAST5_CBC = 0x03A5;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_SHA1_RC4_128 = 0x03A6;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_SHA1_RC4_40 = 0x03A7;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_SHA1_DES3_EDE_CBC = 0x03A8;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_SHA1_DES2_EDE_CBC = 0x03A9;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_SHA1_RC2_128_CBC = 0x03AA;
inline constexpr CK_MECHANISM_TYPE CKM_PBE_SHA1_RC2_40_CBC = 0x03AB;
inline constexpr CK_MECHANISM_TYPE CKM_SP800_108_COUNTER_KDF = 0x03AC;
inline constexpr CK_MECHANISM_TYPE CKM_SP800_108_FEEDBACK_KDF = 0x03AD;
inline constexpr CK_MECHANISM_TYPE CKM_SP800_108_DOUBLE_PIPELINE_KDF = 0x03AE;
inline constexpr CK_MECHANISM_TYPE CKM_PKCS5_PBKD2 = 0x03B0;
inline constexpr CK_MECHANISM_TYPE CKM_PBA_SHA1_WITH_SHA1_HMAC = 0x03C0;
inline constexpr CK_MECHANISM_TYPE CKM_WTLS_PRE_MASTER_KEY_GEN = 0x03D0;
inline constexpr CK_MECHANISM_TYPE CKM_WTLS_MASTER_KEY_DERIVE = 0x03D1;
inline constexpr CK_MECHANISM_TYPE CKM_WTLS_MASTER_KEY_DERIVE_DH_ECC = 0x03D2;
inline constexpr CK_MECHANISM_TYPE CKM_WTLS_PRF = 0x03D3;
inline constexpr CK_MECHANISM_TYPE CKM_WTLS_SERVER_KEY_AND_MAC_DERIVE = 0x03D4;
inline constexpr CK_MECHANISM_TYPE CKM_WTLS_CLIENT_KEY_AND_MAC_DERIVE = 0x03D5;
inline constexpr CK_MECHANISM_TYPE CKM_TLS10_MAC_SERVER = 0x03D6;
inline constexpr CK_MECHANISM_TYPE CKM_TLS10_MAC_CLIENT = 0x03D7;
inline constexpr CK_MECHANISM_TYPE CKM_TLS12_MAC = 0x03D8;
inline constexpr CK_MECHANISM_TYPE CKM_TLS12_KDF = 0x03D9;
inline constexpr CK_MECHANISM_TYPE CKM_TLS12_MASTER_KEY_DERIVE = 0x03E0;
inline constexpr CK_MECHANISM_TYPE CKM_TLS12_KEY_AND_MAC_DERIVE = 0x03E1;
inline constexpr CK_MECHANISM_TYPE CKM_TLS12_MASTER_KEY_DERIVE_DH = 0x03E2;
inline constexpr CK_MECHANISM_TYPE CKM_TLS12_KEY_SAFE_DERIVE = 0x03E3;
inline constexpr CK_MECHANISM_TYPE CKM_TLS_MAC = 0x03E4;
inline constexpr CK_MECHANISM_TYPE CKM_TLS_KDF = 0x03E5;
inline constexpr CK_MECHANISM_TYPE CKM_KEY_WRAP_LYNKS = 0x0400;
inline constexpr CK_MECHANISM_TYPE CKM_KEY_WRAP_SET_OAEP = 0x0401;
inline constexpr CK_MECHANISM_TYPE CKM_CMS_SIG = 0x0500;
inline constexpr CK_MECHANISM_TYPE CKM_KIP_DERIVE = 0x0510;
inline constexpr CK_MECHANISM_TYPE CKM_KIP_WRAP = 0x0511;
inline constexpr CK_MECHANISM_TYPE CKM_KIP_MAC = 0x0512;
inline constexpr CK_MECHANISM_TYPE CKM_CAMELLIA_KEY_GEN = 0x0550;
inline constexpr CK_MECHANISM_TYPE CKM_CAMELLIA_ECB = 0x0551;
inline constexpr CK_MECHANISM_TYPE CKM_CAMELLIA_CBC = 0x0552;
inline constexpr CK_MECHANISM_TYPE CKM_CAMELLIA_MAC = 0x0553;
inline constexpr CK_MECHANISM_TYPE CKM_CAMELLIA_MAC_GENERAL = 0x0554;
inline constexpr CK_MECHANISM_TYPE CKM_CAMELLIA_CBC_PAD = 0x0555;
inline constexpr CK_MECHANISM_TYPE CKM_CAMELLIA_ECB_ENCRYPT_DATA = 0x0556;
inline constexpr CK_MECHANISM_TYPE CKM_CAMELLIA_CBC_ENCRYPT_DATA = 0x0557;
inline constexpr CK_MECHANISM_TYPE CKM_CAMELLIA_CTR = 0x0558;
inline constexpr CK_MECHANISM_TYPE CKM_ARIA_KEY_GEN = 0x0560;
inline constexpr CK_MECHANISM_TYPE CKM_ARIA_ECB = 0x0561;
inline constexpr CK_MECHANISM_TYPE CKM_ARIA_CBC = 0x0562;
inline constexpr CK_MECHANISM_TYPE CKM_ARIA_MAC = 0x0563;
inline constexpr CK_MECHANISM_TYPE CKM_ARIA_MAC_GENERAL = 0x0564;
inline constexpr CK_MECHANISM_TYPE CKM_ARIA_CBC_PAD = 0x0565;
inline constexpr CK_MECHANISM_TYPE CKM_ARIA_ECB_ENCRYPT_DATA = 0x0566;
inline constexpr CK_MECHANISM_TYPE CKM_ARIA_CBC_ENCRYPT_DATA = 0x0567;
inline constexpr CK_MECHANISM_TYPE CKM_SEED_KEY_GEN = 0x0650;
inline constexpr CK_MECHANISM_TYPE CKM_SEED_ECB = 0x0651;
inline constexpr CK_MECHANISM_TYPE CKM_SEED_CBC = 0x0652;
inline constexpr CK_MECHANISM_TYPE CKM_SEED_MAC = 0x0653;
inline constexpr CK_MECHANISM_TYPE CKM_SEED_MAC_GENERAL = 0x0654;
inline constexpr CK_MECHANISM_TYPE CKM_SEED_CBC_PAD = 0x0655;
inline constexpr CK_MECHANISM_TYPE CKM_SEED_ECB_ENCRYPT_DATA = 0x0656;
inline constexpr CK_MECHANISM_TYPE CKM_SEED_CBC_ENCRYPT_DATA = 0x0657;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_KEY_GEN = 0x1000;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_ECB64 = 0x1001;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_CBC64 = 0x1002;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_OFB64 = 0x1003;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_CFB64 = 0x1004;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_CFB32 = 0x1005;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_CFB16 = 0x1006;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_CFB8 = 0x1007;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_WRAP = 0x1008;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_PRIVATE_WRAP = 0x1009;
inline constexpr CK_MECHANISM_TYPE CKM_SKIPJACK_RELAYX = 0x100A;
inline constexpr CK_MECHANISM_TYPE CKM_KEA_KEY_PAIR_GEN = 0x1010;
inline constexpr CK_MECHANISM_TYPE CKM_KEA_KEY_DERIVE = 0x1011;
inline constexpr CK_MECHANISM_TYPE CKM_FORTEZZA_TIMESTAMP = 0x1020;
inline constexpr CK_MECHANISM_TYPE CKM_BATON_KEY_GEN = 0x1030;
inline constexpr CK_MECHANISM_TYPE CKM_BATON_ECB128 = 0x1031;
inline constexpr CK_MECHANISM_TYPE CKM_BATON_ECB96 = 0x1032;
inline constexpr CK_MECHANISM_TYPE CKM_BATON_CBC128 = 0x1033;
inline constexpr CK_MECHANISM_TYPE CKM_BATON_COUNTER = 0x1034;
inline constexpr CK_MECHANISM_TYPE CKM_BATON_SHUFFLE = 0x1035;
inline constexpr CK_MECHANISM_TYPE CKM_BATON_WRAP = 0x1036;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_KEY_PAIR_GEN = 0x1040;
inline constexpr CK_MECHANISM_TYPE CKM_EC_KEY_PAIR_GEN = 0x1040;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA = 0x1041;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_SHA1 = 0x1042;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_SHA224 = 0x1043;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_SHA256 = 0x1044;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_SHA384 = 0x1045;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_SHA512 = 0x1046;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_SHA3_224 = 0x1047;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_SHA3_256 = 0x1048;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_SHA3_384 = 0x1049;
inline constexpr CK_MECHANISM_TYPE CKM_ECDSA_SHA3_512 = 0x104A;
inline constexpr CK_MECHANISM_TYPE CKM_ECDH1_DERIVE = 0x1050;
inline constexpr CK_MECHANISM_TYPE CKM_ECDH1_COFACTOR_DERIVE = 0x1051;
inline constexpr CK_MECHANISM_TYPE CKM_ECMQV_DERIVE = 0x1052;
inline constexpr CK_MECHANISM_TYPE CKM_ECDH_AES_KEY_WRAP = 0x1053;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_AES_KEY_WRAP = 0x1054;
inline constexpr CK_MECHANISM_TYPE CKM_EC_EDWARDS_KEY_PAIR_GEN = 0x1055;
inline constexpr CK_MECHANISM_TYPE CKM_EC_MONTGOMERY_KEY_PAIR_GEN = 0x1056;
inline constexpr CK_MECHANISM_TYPE CKM_EDDSA = 0x1057;
inline constexpr CK_MECHANISM_TYPE CKM_JUNIPER_KEY_GEN = 0x1060;
inline constexpr CK_MECHANISM_TYPE CKM_JUNIPER_ECB128 = 0x1061;
inline constexpr CK_MECHANISM_TYPE CKM_JUNIPER_CBC128 = 0x1062;
inline constexpr CK_MECHANISM_TYPE CKM_JUNIPER_COUNTER = 0x1063;
inline constexpr CK_MECHANISM_TYPE CKM_JUNIPER_SHUFFLE = 0x1064;
inline constexpr CK_MECHANISM_TYPE CKM_JUNIPER_WRAP = 0x1065;
inline constexpr CK_MECHANISM_TYPE CKM_FASTHASH = 0x1070;
inline constexpr CK_MECHANISM_TYPE CKM_AES_XTS = 0x1071;
inline constexpr CK_MECHANISM_TYPE CKM_AES_XTS_KEY_GEN = 0x1072;
inline constexpr CK_MECHANISM_TYPE CKM_AES_KEY_GEN = 0x1080;
inline constexpr CK_MECHANISM_TYPE CKM_AES_ECB = 0x1081;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CBC = 0x1082;
inline constexpr CK_MECHANISM_TYPE CKM_AES_MAC = 0x1083;
inline constexpr CK_MECHANISM_TYPE CKM_AES_MAC_GENERAL = 0x1084;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CBC_PAD = 0x1085;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CTR = 0x1086;
inline constexpr CK_MECHANISM_TYPE CKM_AES_GCM = 0x1087;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CCM = 0x1088;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CTS = 0x1089;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CMAC = 0x108A;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CMAC_GENERAL = 0x108B;
inline constexpr CK_MECHANISM_TYPE CKM_AES_XCBC_MAC = 0x108C;
inline constexpr CK_MECHANISM_TYPE CKM_AES_XCBC_MAC_96 = 0x108D;
inline constexpr CK_MECHANISM_TYPE CKM_AES_GMAC = 0x108E;
inline constexpr CK_MECHANISM_TYPE CKM_BLOWFISH_KEY_GEN = 0x1090;
inline constexpr CK_MECHANISM_TYPE CKM_BLOWFISH_CBC = 0x1091;
inline constexpr CK_MECHANISM_TYPE CKM_TWOFISH_KEY_GEN = 0x1092;
inline constexpr CK_MECHANISM_TYPE CKM_TWOFISH_CBC = 0x1093;
inline constexpr CK_MECHANISM_TYPE CKM_BLOWFISH_CBC_PAD = 0x1094;
inline constexpr CK_MECHANISM_TYPE CKM_TWOFISH_CBC_PAD = 0x1095;
inline constexpr CK_MECHANISM_TYPE CKM_DES_ECB_ENCRYPT_DATA = 0x1100;
inline constexpr CK_MECHANISM_TYPE CKM_DES_CBC_ENCRYPT_DATA = 0x1101;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_ECB_ENCRYPT_DATA = 0x1102;
inline constexpr CK_MECHANISM_TYPE CKM_DES3_CBC_ENCRYPT_DATA = 0x1103;
inline constexpr CK_MECHANISM_TYPE CKM_AES_ECB_ENCRYPT_DATA = 0x1104;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CBC_ENCRYPT_DATA = 0x1105;
inline constexpr CK_MECHANISM_TYPE CKM_GOSTR3410_KEY_PAIR_GEN = 0x1200;
inline constexpr CK_MECHANISM_TYPE CKM_GOSTR3410 = 0x1201;
inline constexpr CK_MECHANISM_TYPE CKM_GOSTR3410_WITH_GOSTR3411 = 0x1202;
inline constexpr CK_MECHANISM_TYPE CKM_GOSTR3410_KEY_WRAP = 0x1203;
inline constexpr CK_MECHANISM_TYPE CKM_GOSTR3410_DERIVE = 0x1204;
inline constexpr CK_MECHANISM_TYPE CKM_GOSTR3411 = 0x1210;
inline constexpr CK_MECHANISM_TYPE CKM_GOSTR3411_HMAC = 0x1211;
inline constexpr CK_MECHANISM_TYPE CKM_GOST28147_KEY_GEN = 0x1220;
inline constexpr CK_MECHANISM_TYPE CKM_GOST28147_ECB = 0x1221;
inline constexpr CK_MECHANISM_TYPE CKM_GOST28147 = 0x1222;
inline constexpr CK_MECHANISM_TYPE CKM_GOST28147_MAC = 0x1223;
inline constexpr CK_MECHANISM_TYPE CKM_GOST28147_KEY_WRAP = 0x1224;
inline constexpr CK_MECHANISM_TYPE CKM_CHACHA20_KEY_GEN = 0x1225;
inline constexpr CK_MECHANISM_TYPE CKM_CHACHA20 = 0x1226;
inline constexpr CK_MECHANISM_TYPE CKM_POLY1305_KEY_GEN = 0x1227;
inline constexpr CK_MECHANISM_TYPE CKM_POLY1305 = 0x1228;
inline constexpr CK_MECHANISM_TYPE CKM_EC_KEY_PAIR_GEN_W_EXTRA_BITS = 0x140B;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_PARAMETER_GEN = 0x2000;
inline constexpr CK_MECHANISM_TYPE CKM_DH_PKCS_PARAMETER_GEN = 0x2001;
inline constexpr CK_MECHANISM_TYPE CKM_X9_42_DH_PARAMETER_GEN = 0x2002;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_PROBABILISTIC_PARAMETER_GEN = 0x2003;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_PROBABLISTIC_PARAMETER_GEN = 0x2003;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_SHAWE_TAYLOR_PARAMETER_GEN = 0x2004;
inline constexpr CK_MECHANISM_TYPE CKM_DSA_FIPS_G_GEN = 0x2005;
inline constexpr CK_MECHANISM_TYPE CKM_AES_OFB = 0x2104;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CFB64 = 0x2105;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CFB8 = 0x2106;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CFB128 = 0x2107;
inline constexpr CK_MECHANISM_TYPE CKM_AES_CFB1 = 0x2108;
inline constexpr CK_MECHANISM_TYPE CKM_AES_KEY_WRAP = 0x2109;
inline constexpr CK_MECHANISM_TYPE CKM_AES_KEY_WRAP_PAD = 0x210A;
inline constexpr CK_MECHANISM_TYPE CKM_AES_KEY_WRAP_KWP = 0x210B;
inline constexpr CK_MECHANISM_TYPE CKM_AES_KEY_WRAP_PKCS7 = 0x210C;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_PKCS_TPM_1_1 = 0x4001;
inline constexpr CK_MECHANISM_TYPE CKM_RSA_PKCS_OAEP_TPM_1_1 = 0x4002;
inline constexpr CK_MECHANISM_TYPE CKM_SHA_1_KEY_GEN = 0x4003;
inline constexpr CK_MECHANISM_TYPE CKM_SHA224_KEY_GEN = 0x4004;
inline constexpr CK_MECHANISM_TYPE CKM_SHA256_KEY_GEN = 0x4005;
inline constexpr CK_MECHANISM_TYPE CKM_SHA384_KEY_GEN = 0x4006;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_KEY_GEN = 0x4007;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_224_KEY_GEN = 0x4008;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_256_KEY_GEN = 0x4009;
inline constexpr CK_MECHANISM_TYPE CKM_SHA512_T_KEY_GEN = 0x400A;
inline constexpr CK_MECHANISM_TYPE CKM_NULL = 0x400B;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_160 = 0x400C;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_160_HMAC = 0x400D;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_160_HMAC_GENERAL = 0x400E;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_160_KEY_DERIVE = 0x400F;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_160_KEY_GEN = 0x4010;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_256 = 0x4011;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_256_HMAC = 0x4012;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_256_HMAC_GENERAL = 0x4013;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_256_KEY_DERIVE = 0x4014;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_256_KEY_GEN = 0x4015;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_384 = 0x4016;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_384_HMAC = 0x4017;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_384_HMAC_GENERAL = 0x4018;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_384_KEY_DERIVE = 0x4019;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_384_KEY_GEN = 0x401A;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_512 = 0x401B;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_512_HMAC = 0x401C;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_512_HMAC_GENERAL = 0x401D;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_512_KEY_DERIVE = 0x401E;
inline constexpr CK_MECHANISM_TYPE CKM_BLAKE2B_512_KEY_GEN = 0x401F;
inline constexpr CK_MECHANISM_TYPE CKM_SALSA20 = 0x4020;
inline constexpr CK_MECHANISM_TYPE CKM_CHACHA20_POLY1305 = 0x4021;
inline constexpr CK_MECHANISM_TYPE CKM_SALSA20_POLY1305 = 0x4022;
inline constexpr CK_MECHANISM_TYPE CKM_X3DH_INITIALIZE = 0x4023;
inline constexpr CK_MECHANISM_TYPE CKM_X3DH_RESPOND = 0x4024;
inline constexpr CK_MECHANISM_TYPE CKM_X2RATCHET_INITIALIZE = 0x4025;
inline constexpr CK_MECHANISM_TYPE CKM_X2RATCHET_RESPOND = 0x4026;
inline constexpr CK_MECHANISM_TYPE CKM_X2RATCHET_ENCRYPT = 0x4027;
inline constexpr CK_MECHANISM_TYPE CKM_X2RATCHET_DECRYPT = 0x4028;
inline constexpr CK_MECHANISM_TYPE CKM_XEDDSA = 0x4029;
inline constexpr CK_MECHANISM_TYPE CKM_HKDF_DERIVE = 0x402A;
inline constexpr CK_MECHANISM_TYPE CKM_HKDF_DATA = 0x402B;
inline constexpr CK_MECHANISM_TYPE CKM_HKDF_KEY_GEN = 0x402C;
inline constexpr CK_MECHANISM_TYPE CKM_SALSA20_KEY_GEN = 0x402D;
inline constexpr CK_MECHANISM_TYPE CKM_IKE2_PRF_PLUS_DERIVE = 0x402E;
inline constexpr CK_MECHANISM_TYPE CKM_IKE_PRF_DERIVE = 0x402F;
inline constexpr CK_MECHANISM_TYPE CKM_IKE1_PRF_DERIVE = 0x4030;
inline constexpr CK_MECHANISM_TYPE CKM_IKE1_EXTENDED_DERIVE = 0x4031;
inline constexpr CK_MECHANISM_TYPE CKM_HSS_KEY_PAIR_GEN = 0x4032;
inline constexpr CK_MECHANISM_TYPE CKM_HSS = 0x4033;
inline constexpr CK_MECHANISM_TYPE CKM_XMSS_KEY_PAIR_GEN = 0x4034;
inline constexpr CK_MECHANISM_TYPE CKM_XMSSMT_KEY_PAIR_GEN = 0x4035;
inline constexpr CK_MECHANISM_TYPE CKM_XMSS = 0x4036;
inline constexpr CK_MECHANISM_TYPE CKM_XMSSMT = 0x4037;
inline constexpr CK_MECHANISM_TYPE CKM_VENDOR_DEFINED = 0x80000000;

// ---------------------------------------------------------------------------------------------------------------------
// Values inside mechanism parameters
// ---------------------------------------------------------------------------------------------------------------------

inline constexpr CK_RSA_PKCS_MGF_TYPE CKG_MGF1_SHA1 = 0x1;
inline constexpr CK_RSA_PKCS_MGF_TYPE CKG_MGF1_SHA256 = 0x2;
inline constexpr CK_RSA_PKCS_MGF_TYPE CKG_MGF1_SHA384 = 0x3;
inline constexpr CK_RSA_PKCS_MGF_TYPE CKG_MGF1_SHA512 = 0x4;
inline constexpr CK_RSA_PKCS_MGF_TYPE CKG_MGF1_SHA224 = 0x5;
inline constexpr CK_RSA_PKCS_MGF_TYPE CKG_MGF1_SHA3_224 = 0x6;
inline constexpr CK_RSA_PKCS_MGF_TYPE CKG_MGF1_SHA3_256 = 0x7;
inline constexpr CK_RSA_PKCS_MGF_TYPE CKG_MGF1_SHA3_384 = 0x8;
inline constexpr CK_RSA_PKCS_MGF_TYPE CKG_MGF1_SHA3_512 = 0x9;

/// Who makes the vector of a message.
inline constexpr CK_GENERATOR_FUNCTION CKG_NO_GENERATE = 0x0;
inline constexpr CK_GENERATOR_FUNCTION CKG_GENERATE = 0x1;
inline constexpr CK_GENERATOR_FUNCTION CKG_GENERATE_COUNTER = 0x2;
inline constexpr CK_GENERATOR_FUNCTION CKG_GENERATE_RANDOM = 0x3;
inline constexpr CK_GENERATOR_FUNCTION CKG_GENERATE_COUNTER_XOR = 0x4;

/// Where OAEP takes its encoding parameter from, and PKCS #5 its salt.
inline constexpr CK_RSA_PKCS_OAEP_SOURCE_TYPE CKZ_DATA_SPECIFIED = 0x1;
inline constexpr CK_ULONG CKZ_SALT_SPECIFIED = 0x1;

inline constexpr CK_PRF_DATA_TYPE CK_SP800_108_ITERATION_VARIABLE = 0x1;
inline constexpr CK_PRF_DATA_TYPE CK_SP800_108_OPTIONAL_COUNTER = 0x2;
inline constexpr CK_PRF_DATA_TYPE CK_SP800_108_DKM_LENGTH = 0x3;
inline constexpr CK_PRF_DATA_TYPE CK_SP800_108_BYTE_ARRAY = 0x4;
inline constexpr CK_SP800_108_DKM_LENGTH_METHOD CK_SP800_108_DKM_LENGTH_SUM_OF_KEYS = 0x1;
inline constexpr CK_SP800_108_DKM_LENGTH_METHOD CK_SP800_108_DKM_LENGTH_SUM_OF_SEGMENTS = 0x2;

/// What ulSaltType of HKDF says.
inline constexpr CK_FLAGS CKF_HKDF_SALT_NULL = 0x00000001;
inline constexpr CK_FLAGS CKF_HKDF_SALT_DATA = 0x00000002;
inline constexpr CK_FLAGS CKF_HKDF_SALT_KEY = 0x00000004;

/// What makes a key out of an agreed value.
inline constexpr CK_EC_KDF_TYPE CKD_NULL = 0x01;
inline constexpr CK_EC_KDF_TYPE CKD_SHA1_KDF = 0x02;
inline constexpr CK_EC_KDF_TYPE CKD_SHA1_KDF_ASN1 = 0x03;
inline constexpr CK_EC_KDF_TYPE CKD_SHA1_KDF_CONCATENATE = 0x04;
inline constexpr CK_EC_KDF_TYPE CKD_SHA224_KDF = 0x05;
inline constexpr CK_EC_KDF_TYPE CKD_SHA256_KDF = 0x06;
inline constexpr CK_EC_KDF_TYPE CKD_SHA384_KDF = 0x07;
inline constexpr CK_EC_KDF_TYPE CKD_SHA512_KDF = 0x08;
inline constexpr CK_EC_KDF_TYPE CKD_CPDIVERSIFY_KDF = 0x09;
inline constexpr CK_EC_KDF_TYPE CKD_SHA3_224_KDF = 0x0A;
inline constexpr CK_EC_KDF_TYPE CKD_SHA3_256_KDF = 0x0B;
inline constexpr CK_EC_KDF_TYPE CKD_SHA3_384_KDF = 0x0C;
inline constexpr CK_EC_KDF_TYPE CKD_SHA3_512_KDF = 0x0D;
inline constexpr CK_EC_KDF_TYPE CKD_SHA1_KDF_SP800 = 0x0E;
inline constexpr CK_EC_KDF_TYPE CKD_SHA224_KDF_SP800 = 0x0F;
inline constexpr CK_EC_KDF_TYPE CKD_SHA256_KDF_SP800 = 0x10;
inline constexpr CK_EC_KDF_TYPE CKD_SHA384_KDF_SP800 = 0x11;
inline constexpr CK_EC_KDF_TYPE CKD_SHA512_KDF_SP800 = 0x12;
inline constexpr CK_EC_KDF_TYPE CKD_SHA3_224_KDF_SP800 = 0x13;
inline constexpr CK_EC_KDF_TYPE CKD_SHA3_256_KDF_SP800 = 0x14;
inline constexpr CK_EC_KDF_TYPE CKD_SHA3_384_KDF_SP800 = 0x15;
inline constexpr CK_EC_KDF_TYPE CKD_SHA3_512_KDF_SP800 = 0x16;
inline constexpr CK_EC_KDF_TYPE CKD_BLAKE2B_160_KDF = 0x17;
inline constexpr CK_EC_KDF_TYPE CKD_BLAKE2B_256_KDF = 0x18;
inline constexpr CK_EC_KDF_TYPE CKD_BLAKE2B_384_KDF = 0x19;
inline constexpr CK_EC_KDF_TYPE CKD_BLAKE2B_512_KDF = 0x1A;

/// The pseudo-random function of PKCS #5.
inline constexpr CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE CKP_PKCS5_PBKD2_HMAC_SHA1 = 0x1;
inline constexpr CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE CKP_PKCS5_PBKD2_HMAC_GOSTR3411 = 0x2;
inline constexpr CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE CKP_PKCS5_PBKD2_HMAC_SHA224 = 0x3;
inline constexpr CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE CKP_PKCS5_PBKD2_HMAC_SHA256 = 0x4;
inline constexpr CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE CKP_PKCS5_PBKD2_HMAC_SHA384 = 0x5;
inline constexpr CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE CKP_PKCS5_PBKD2_HMAC_SHA512 = 0x6;
inline constexpr CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE CKP_PKCS5_PBKD2_HMAC_SHA512_224 = 0x7;
inline constexpr CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE CKP_PKCS5_PBKD2_HMAC_SHA512_256 = 0x8;

// ---------------------------------------------------------------------------------------------------------------------
// Profiles and parameter sets
// ---------------------------------------------------------------------------------------------------------------------

/// What a module says that it can: CKA_PROFILE_ID of a profile object.
inline constexpr CK_PROFILE_ID CKP_INVALID_ID = 0x0;
inline constexpr CK_PROFILE_ID CKP_BASELINE_PROVIDER = 0x1;
inline constexpr CK_PROFILE_ID CKP_EXTENDED_PROVIDER = 0x2;
inline constexpr CK_PROFILE_ID CKP_AUTHENTICATION_TOKEN = 0x3;
inline constexpr CK_PROFILE_ID CKP_PUBLIC_CERTIFICATES_TOKEN = 0x4;
inline constexpr CK_PROFILE_ID CKP_VENDOR_DEFINED = 0x80000000;

/// Of a key: CKA_PARAMETER_SET.
inline constexpr CK_ML_KEM_PARAMETER_SET_TYPE CKP_ML_KEM_512 = 0x1;
inline constexpr CK_ML_KEM_PARAMETER_SET_TYPE CKP_ML_KEM_768 = 0x2;
inline constexpr CK_ML_KEM_PARAMETER_SET_TYPE CKP_ML_KEM_1024 = 0x3;
inline constexpr CK_ML_DSA_PARAMETER_SET_TYPE CKP_ML_DSA_44 = 0x1;
inline constexpr CK_ML_DSA_PARAMETER_SET_TYPE CKP_ML_DSA_65 = 0x2;
inline constexpr CK_ML_DSA_PARAMETER_SET_TYPE CKP_ML_DSA_87 = 0x3;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHA2_128S = 0x1;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHAKE_128S = 0x2;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHA2_128F = 0x3;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHAKE_128F = 0x4;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHA2_192S = 0x5;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHAKE_192S = 0x6;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHA2_192F = 0x7;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHAKE_192F = 0x8;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHA2_256S = 0x9;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHAKE_256S = 0xA;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHA2_256F = 0xB;
inline constexpr CK_SLH_DSA_PARAMETER_SET_TYPE CKP_SLH_DSA_SHAKE_256F = 0xC;
