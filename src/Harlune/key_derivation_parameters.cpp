/// The kinds of mechanism parameters that key derivation and key exchange use.
#include "mechanism_parameter_checks.h"
#include "mechanism_parameters.h"

namespace {

/// Fields whose text begins otherwise, and those that are told twice.
#define NAMED_FIELD(place, name, signature) findField(place, name, signature, {CONVERSION("Field " name " not found")})
#define TOLD_FIELD(place, name, signature)                                                                             \
  findField(place, name, signature, {CONVERSION("Field " name " not found"), "Field " name " not found"})

namespace key_derivation_string {
enum : Register { Data = 1 };
constexpr Step kSteps[] = {
    findClass("velnor/params/KEYDERIVATIONSTRINGDATA", {CONVERSION("Class 'Pkcs11KEYDERIVATIONSTRINGDATA' not found"),
                                                        "Class 'Pkcs11KEYDERIVATIONSTRINGDATA not found"}),
    TOLD_FIELD(Data, "data", "[B"),
    readObject(Data, {CONVERSION("jData  is NULL"), "jData is NULL"}),
};
constexpr Cell kCells[] = {
    bytes(Data, offsetof(CK_KEY_DERIVATION_STRING_DATA, pData), offsetof(CK_KEY_DERIVATION_STRING_DATA, ulLen)),
};
}  // namespace key_derivation_string

constexpr Failure kMissingReportedTwice = {CONVERSION("parameter value is NULL"), "parameter value is NULL"};

namespace extract {
enum : Register { BitIndex = 1 };
constexpr Step kSteps[] = {
    findClass("velnor/params/EXTRACTParams",
              {CONVERSION("Class 'Pkcs11EXTRACTParams' not found"), "Class 'Pkcs11EXTRACTParams not found"}),
    TOLD_FIELD(BitIndex, "parameter", "I"),
    readInt(BitIndex),
};
constexpr Cell kCells[] = {number(BitIndex, 0)};
}  // namespace extract

/// The randoms of both SSL 3 derivations lie in one Java class, under a name set of its own for each.
constexpr char kRandomDataClass[] = "velnor/params/SSL3RANDOMDATA";

namespace ssl3_master_key_derive {
using Params = CK_SSL3_MASTER_KEY_DERIVE_PARAMS;
enum : Register { Version = 1, RandomInfo, Major, Minor, ClientRandom, ServerRandom };
constexpr Step kSteps[] = {
    CLASS("velnor/params/SSL3MASTERKEYDERIVEParams"),
    NAMED_FIELD(Version, "m_version", "Lvelnor/Version;"),
    NAMED_FIELD(RandomInfo, "m_randomInfo", "Lquadrel/Pkcs11SSL3RANDOMDATA;"),
    readObject(Version, {CONVERSION("jVersion  is NULL")}),
    readObject(RandomInfo, {CONVERSION("jRandomInfo  is NULL")}),
    CLASS("velnor/Version"),
    NAMED_FIELD(Major, "m_majorVersion", "I"),
    NAMED_FIELD(Minor, "m_minorVersion", "I"),
    // Byte accessors on int fields: on this platform they give the low byte, which is all a version has room for.
    readByte(Major, Version),
    readByte(Minor, Version),
    findClass(kRandomDataClass, {CONVERSION("Class 'Pkcs11SSL3RANDOMDATA' not found")}),
    NAMED_FIELD(ClientRandom, "m_clientRandom", "[B"),
    NAMED_FIELD(ServerRandom, "m_serverRandom", "[B"),
    readObject(ClientRandom, {CONVERSION("jClientRandom  is NULL")}, RandomInfo),
    readObject(ServerRandom, {CONVERSION("jServerRandom  is NULL")}, RandomInfo),
};
constexpr Cell kCells[] = {
    byte(Major, offsetof(CK_VERSION, major), Block::Inner),
    byte(Minor, offsetof(CK_VERSION, minor), Block::Inner),
    bytes(ClientRandom, offsetof(Params, RandomInfo.pClientRandom), offsetof(Params, RandomInfo.ulClientRandomLen)),
    bytes(ServerRandom, offsetof(Params, RandomInfo.pServerRandom), offsetof(Params, RandomInfo.ulServerRandomLen)),
};
constexpr Pointer kFreed[] = {
    {offsetof(Params, pVersion)},
    {offsetof(Params, RandomInfo.pClientRandom)},
    {offsetof(Params, RandomInfo.pServerRandom)},
};
}  // namespace ssl3_master_key_derive

namespace ssl3_key_mat {
using Params = CK_SSL3_KEY_MAT_PARAMS;
using KeyMaterial = CK_SSL3_KEY_MAT_OUT;
enum : Register {
  ReturnedKeyMaterial = 1,
  RandomInfo,
  IsExport,
  KeySize,
  MacSize,
  IvSize,
  ClientRandom,
  ServerRandom,
  ClientKey,
  ClientMacSecret,
  ServerKey,
  ServerMacSecret,
  IvClient,
  IvServer,
};
constexpr Step kSteps[] = {
    findClass("velnor/params/SSL3KEYMATParams", {CONVERSION("Class 'Pkcs11SSL3KEYMATParams' not found")}),
    NAMED_FIELD(ReturnedKeyMaterial, "returnedKeyMaterial", "Lquadrel/Pkcs11SSL3KEYMATOUT;"),
    NAMED_FIELD(RandomInfo, "randomInfo", "Lquadrel/Pkcs11SSL3RANDOMDATA;"),
    NAMED_FIELD(IsExport, "isExport", "Ljava/lang/Boolean;"),
    NAMED_FIELD(KeySize, "keySizeInBits", "I"),
    NAMED_FIELD(MacSize, "macSizeInBits", "I"),
    NAMED_FIELD(IvSize, "ivSizeInBits", "I"),
    readObject(RandomInfo, {CONVERSION("jRandomInfo  is NULL")}),
    readObject(IsExport, {CONVERSION("jIsExport  is NULL")}),
    readObject(ReturnedKeyMaterial, {CONVERSION("jReturnedKeyMaterial  is NULL")}),
    readInt(KeySize),
    readInt(MacSize),
    readInt(IvSize),
    findClass("java/lang/Boolean", {CONVERSION("Class 'Boolean' not found")}),
    callBooleanValue(IsExport, {CONVERSION("boolValue is NULL")}),
    findClass(kRandomDataClass,
              {CONVERSION("Class 'Pkcs11SSL3RANDOMDATA' not found"), "Class 'Pkcs11SSL3RANDOMDATA not found"}),
    TOLD_FIELD(ClientRandom, "clientRandom", "[B"),
    TOLD_FIELD(ServerRandom, "serverRandom", "[B"),
    readObject(ClientRandom, {CONVERSION("jClientRandom  is NULL"), "jClientRandom is NULL"}, RandomInfo),
    readObject(ServerRandom, {CONVERSION("jServerRandom  is NULL"), "jServerRandom is NULL"}, RandomInfo),
    findClass("velnor/params/SSL3KEYMATOUT",
              {CONVERSION("Class 'Pkcs11SSL3KEYMATOUT' not found"), "Class 'Pkcs11SSL3KEYMATOUT not found"}),
    TOLD_FIELD(ClientKey, "hClientKey", "I"),
    TOLD_FIELD(ClientMacSecret, "hClientMacSecret", "I"),
    TOLD_FIELD(ServerKey, "hServerKey", "I"),
    TOLD_FIELD(ServerMacSecret, "hServerMacSecret", "I"),
    TOLD_FIELD(IvClient, "ivClient", "[B"),
    TOLD_FIELD(IvServer, "ivServer", "[B"),
    readInt(ClientKey, ReturnedKeyMaterial),
    readInt(ClientMacSecret, ReturnedKeyMaterial),
    readInt(ServerKey, ReturnedKeyMaterial),
    readInt(ServerMacSecret, ReturnedKeyMaterial),
    readNullable(IvClient, ReturnedKeyMaterial),
    readNullable(IvServer, ReturnedKeyMaterial),
};
constexpr Cell kCells[] = {
    number(MacSize, offsetof(Params, ulMacSizeInBits)),
    number(KeySize, offsetof(Params, ulKeySizeInBits)),
    number(IvSize, offsetof(Params, ulIVSizeInBits)),
    byte(IsExport, offsetof(Params, bIsExport)),
    // Modules derive from the lengths alone here; the random bytes have never been handed on.
    unfilledBytes(ClientRandom, offsetof(Params, RandomInfo.pClientRandom),
                  offsetof(Params, RandomInfo.ulClientRandomLen)),
    unfilledBytes(ServerRandom, offsetof(Params, RandomInfo.pServerRandom),
                  offsetof(Params, RandomInfo.ulServerRandomLen)),
    number(ClientMacSecret, offsetof(KeyMaterial, hClientMacSecret), Block::Inner),
    number(ServerMacSecret, offsetof(KeyMaterial, hServerMacSecret), Block::Inner),
    number(ClientKey, offsetof(KeyMaterial, hClientKey), Block::Inner),
    number(ServerKey, offsetof(KeyMaterial, hServerKey), Block::Inner),
    iv(IvClient, offsetof(KeyMaterial, pIVClient), Block::Inner),
    iv(IvServer, offsetof(KeyMaterial, pIVServer), Block::Inner),
};
}  // namespace ssl3_key_mat

namespace skipjack_private_wrap {
using Params = CK_SKIPJACK_PRIVATE_WRAP_PARAMS;
enum : Register { Password = 1, PublicData, RandomA, PrimeP, BaseG, SubPrimeQ };
constexpr Step kSteps[] = {
    CLASS("velnor/params/SKIPJACKPRIVATEWRAPParams"),
    FIELD(Password, "m_password", "[B"),
    FIELD(PublicData, "m_publicData", "[B"),
    FIELD(RandomA, "m_randomA", "[B"),
    FIELD(PrimeP, "m_primeP", "[B"),
    FIELD(BaseG, "m_baseG", "[B"),
    FIELD(SubPrimeQ, "m_subPrimeQ", "[B"),
    OBJECT(Password),
    OBJECT(PublicData),
    OBJECT(RandomA),
    OBJECT(PrimeP),
    OBJECT(SubPrimeQ),
    OBJECT(BaseG),
};
constexpr Cell kCells[] = {
    bytes(Password, offsetof(Params, pPassword), offsetof(Params, ulPasswordLen)),
    bytes(PublicData, offsetof(Params, pPublicData), offsetof(Params, ulPublicDataLen)),
    bytes(RandomA, offsetof(Params, pRandomA), offsetof(Params, ulRandomLen)),
    bytes(SubPrimeQ, offsetof(Params, pSubprimeQ), offsetof(Params, ulQLen)),
    bytes(BaseG, offsetof(Params, pBaseG), offsetof(Params, ulPAndGLen)),
    bytesMeasuredBy(BaseG, PrimeP, offsetof(Params, pPrimeP), offsetof(Params, ulPAndGLen)),
};
constexpr Pointer kFreed[] = {
    {offsetof(Params, pPassword)}, {offsetof(Params, pPublicData)}, {offsetof(Params, pRandomA)},
    {offsetof(Params, pBaseG)},    {offsetof(Params, pPrimeP)},     {offsetof(Params, pSubprimeQ)},
};
}  // namespace skipjack_private_wrap

namespace skipjack_relayx {
using Params = CK_SKIPJACK_RELAYX_PARAMS;
enum : Register { OldWrappedX = 1, OldPassword, OldPublicData, OldRandomA, NewPassword, NewPublicData, NewRandomA };
constexpr Step kSteps[] = {
    CLASS("velnor/params/SKIPJACKRELAYXParams"),
    FIELD(OldWrappedX, "m_oldWrappedX", "[B"),
    FIELD(OldPassword, "m_oldPassword", "[B"),
    FIELD(OldPublicData, "m_oldPublicData", "[B"),
    FIELD(OldRandomA, "m_oldRandomA", "[B"),
    FIELD(NewPassword, "m_newPassword", "[B"),
    FIELD(NewPublicData, "m_newPublicData", "[B"),
    FIELD(NewRandomA, "m_newRandomA", "[B"),
    readObject(OldPassword, {CONVERSION("jOldPassword  is NULL")}),
    OBJECT(OldPublicData),
    OBJECT(OldRandomA),
    OBJECT(OldWrappedX),
    OBJECT(NewPassword),
    OBJECT(NewPublicData),
    OBJECT(NewRandomA),
};
constexpr Cell kCells[] = {
    bytes(OldWrappedX, offsetof(Params, pOldWrappedX), offsetof(Params, ulOldWrappedXLen)),
    bytes(OldPassword, offsetof(Params, pOldPassword), offsetof(Params, ulOldPasswordLen)),
    bytes(OldPublicData, offsetof(Params, pOldPublicData), offsetof(Params, ulOldPublicDataLen)),
    bytes(OldRandomA, offsetof(Params, pOldRandomA), offsetof(Params, ulOldRandomLen)),
    bytes(NewPassword, offsetof(Params, pNewPassword), offsetof(Params, ulNewPasswordLen)),
    bytes(NewPublicData, offsetof(Params, pNewPublicData), offsetof(Params, ulNewPublicDataLen)),
    bytes(NewRandomA, offsetof(Params, pNewRandomA), offsetof(Params, ulNewRandomLen)),
};
constexpr Pointer kFreed[] = {
    {offsetof(Params, pNewPassword)}, {offsetof(Params, pNewPublicData)}, {offsetof(Params, pNewRandomA)},
    {offsetof(Params, pOldPassword)}, {offsetof(Params, pOldPublicData)}, {offsetof(Params, pOldRandomA)},
    {offsetof(Params, pOldWrappedX)},
};
}  // namespace skipjack_relayx

namespace kea_derive {
using Params = CK_KEA_DERIVE_PARAMS;
enum : Register { IsSender = 1, RandomA, RandomB, PublicData };
constexpr Step kSteps[] = {
    CLASS("velnor/params/KeaDeriveParams"),
    FIELD(IsSender, "isSender", "Ljava/lang/Boolean;"),
    FIELD(RandomA, "randomA", "[B"),
    FIELD(RandomB, "randomB", "[B"),
    FIELD(PublicData, "publicData", "[B"),
    OBJECT(IsSender),
    CLASS("java/lang/Boolean"),
    callBooleanValue(IsSender, {CONVERSION("boolValue method not found")}),
    readObject(RandomA, {CONVERSION("jRandomA  is NULL")}),
    OBJECT(RandomB),
    OBJECT(PublicData),
};
constexpr Cell kCells[] = {
    byte(IsSender, offsetof(Params, isSender)),
    bytes(RandomA, offsetof(Params, pRandomA), offsetof(Params, ulRandomLen)),
    bytesMeasuredBy(RandomA, RandomB, offsetof(Params, pRandomB), offsetof(Params, ulRandomLen)),
    bytes(PublicData, offsetof(Params, pPublicData), offsetof(Params, ulPublicDataLen)),
};
}  // namespace kea_derive

}  // namespace

constexpr ParameterKind kKeyDerivationStringParameter = {.size = sizeof(CK_KEY_DERIVATION_STRING_DATA),
                                                         .steps = key_derivation_string::kSteps,
                                                         .cells = key_derivation_string::kCells,
                                                         .missing = kMissingReportedTwice};
constexpr ParameterKind kExtractParameter = {.size = sizeof(CK_EXTRACT_PARAMS),
                                             .steps = extract::kSteps,
                                             .cells = extract::kCells,
                                             .missing = kMissingReportedTwice};
constexpr ParameterKind kSsl3MasterKeyDeriveParameter = {
    .size = sizeof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS),
    .steps = ssl3_master_key_derive::kSteps,
    .cells = ssl3_master_key_derive::kCells,
    .freed = ssl3_master_key_derive::kFreed,
    .inner = {sizeof(CK_VERSION), offsetof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS, pVersion)}};
constexpr ParameterKind kSsl3KeyMatParameter = {
    .size = sizeof(CK_SSL3_KEY_MAT_PARAMS),
    .steps = ssl3_key_mat::kSteps,
    .cells = ssl3_key_mat::kCells,
    .inner = {sizeof(CK_SSL3_KEY_MAT_OUT), offsetof(CK_SSL3_KEY_MAT_PARAMS, pReturnedKeyMaterial)}};
constexpr ParameterKind kSkipjackPrivateWrapParameter = {.size = sizeof(CK_SKIPJACK_PRIVATE_WRAP_PARAMS),
                                                         .steps = skipjack_private_wrap::kSteps,
                                                         .cells = skipjack_private_wrap::kCells,
                                                         .freed = skipjack_private_wrap::kFreed};
constexpr ParameterKind kSkipjackRelayxParameter = {.size = sizeof(CK_SKIPJACK_RELAYX_PARAMS),
                                                    .steps = skipjack_relayx::kSteps,
                                                    .cells = skipjack_relayx::kCells,
                                                    .freed = skipjack_relayx::kFreed};
constexpr ParameterKind kKeaDeriveParameter = {
    .size = sizeof(CK_KEA_DERIVE_PARAMS), .steps = kea_derive::kSteps, .cells = kea_derive::kCells};

static_assert(isSound(kKeyDerivationStringParameter));
static_assert(isSound(kExtractParameter));
static_assert(isSound(kSsl3MasterKeyDeriveParameter));
static_assert(isSound(kSsl3KeyMatParameter));
static_assert(isSound(kSkipjackPrivateWrapParameter));
static_assert(isSound(kSkipjackRelayxParameter));
static_assert(isSound(kKeaDeriveParameter));
