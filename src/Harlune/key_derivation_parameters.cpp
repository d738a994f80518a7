/// The kinds of mechanism parameters that key derivation and key exchange use.
#include "mechanism_parameters.h"

namespace {

namespace key_derivation_string {
enum : Slot { Data = 1 };
constexpr Step kSteps[] = {
    findClass("velnor/params/KEYDERIVATIONSTRINGDATA", {CONVERSION("Class 'Pkcs11KEYDERIVATIONSTRINGDATA' not found"),
                                                        "Class 'Pkcs11KEYDERIVATIONSTRINGDATA not found"}),
    findField(Data, "data", "[B", {CONVERSION("Field data not found"), "Field data not found"}),
    readObject(Data, {CONVERSION("jData  is NULL"), "jData is NULL"}),
};
constexpr Cell kCells[] = {
    bytes(Data, offsetof(CK_KEY_DERIVATION_STRING_DATA, pData), offsetof(CK_KEY_DERIVATION_STRING_DATA, ulLen)),
};
constexpr Pointer kFreed[] = {{offsetof(CK_KEY_DERIVATION_STRING_DATA, pData)}};
}  // namespace key_derivation_string

constexpr Failure kMissingReportedTwice = {CONVERSION("parameter value is NULL"), "parameter value is NULL"};

namespace extract {
enum : Slot { BitIndex = 1 };
constexpr Step kSteps[] = {
    findClass("velnor/params/EXTRACTParams",
              {CONVERSION("Class 'Pkcs11EXTRACTParams' not found"), "Class 'Pkcs11EXTRACTParams not found"}),
    findField(BitIndex, "parameter", "I", {CONVERSION("Field parameter not found"), "Field parameter not found"}),
    readInt(BitIndex),
};
constexpr Cell kCells[] = {number(BitIndex, 0)};
}  // namespace extract

/// The randoms of both SSL 3 derivations lie in one Java class, under a name set of its own for each.
constexpr char kRandomDataClass[] = "velnor/params/SSL3RANDOMDATA";

namespace ssl3_master_key_derive {
using Params = CK_SSL3_MASTER_KEY_DERIVE_PARAMS;
enum : Slot { Version = 1, RandomInfo, Major, Minor, ClientRandom, ServerRandom };
constexpr Step kSteps[] = {
    findClass("velnor/params/SSL3MASTERKEYDERIVEParams",
              {CONVERSION("Class 'velnor/params/SSL3MASTERKEYDERIVEParams' not found")}),
    findField(Version, "m_version", "Lvelnor/Version;", {CONVERSION("Field m_version not found")}),
    findField(RandomInfo, "m_randomInfo", "Lquadrel/Pkcs11SSL3RANDOMDATA;",
              {CONVERSION("Field m_randomInfo not found")}),
    readObject(Version, {CONVERSION("jVersion  is NULL")}),
    readObject(RandomInfo, {CONVERSION("jRandomInfo  is NULL")}),
    findClass("velnor/Version", {CONVERSION("Class 'velnor/Version' not found")}),
    findField(Major, "m_majorVersion", "I", {CONVERSION("Field m_majorVersion not found")}),
    findField(Minor, "m_minorVersion", "I", {CONVERSION("Field m_minorVersion not found")}),
    // Byte accessors on int fields: on this platform they give the low byte, which is all a version has room for.
    readByte(Major, Version),
    readByte(Minor, Version),
    findClass(kRandomDataClass, {CONVERSION("Class 'Pkcs11SSL3RANDOMDATA' not found")}),
    findField(ClientRandom, "m_clientRandom", "[B", {CONVERSION("Field m_clientRandom not found")}),
    findField(ServerRandom, "m_serverRandom", "[B", {CONVERSION("Field m_serverRandom not found")}),
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
enum : Slot {
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
    findField(ReturnedKeyMaterial, "returnedKeyMaterial", "Lquadrel/Pkcs11SSL3KEYMATOUT;",
              {CONVERSION("Field returnedKeyMaterial not found")}),
    findField(RandomInfo, "randomInfo", "Lquadrel/Pkcs11SSL3RANDOMDATA;", {CONVERSION("Field randomInfo not found")}),
    findField(IsExport, "isExport", "Ljava/lang/Boolean;", {CONVERSION("Field isExport not found")}),
    findField(KeySize, "keySizeInBits", "I", {CONVERSION("Field keySizeInBits not found")}),
    findField(MacSize, "macSizeInBits", "I", {CONVERSION("Field macSizeInBits not found")}),
    findField(IvSize, "ivSizeInBits", "I", {CONVERSION("Field ivSizeInBits not found")}),
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
    findField(ClientRandom, "clientRandom", "[B",
              {CONVERSION("Field clientRandom not found"), "Field clientRandom not found"}),
    findField(ServerRandom, "serverRandom", "[B",
              {CONVERSION("Field serverRandom not found"), "Field serverRandom not found"}),
    readObject(ClientRandom, {CONVERSION("jClientRandom  is NULL"), "jClientRandom is NULL"}, RandomInfo),
    readObject(ServerRandom, {CONVERSION("jServerRandom  is NULL"), "jServerRandom is NULL"}, RandomInfo),
    findClass("velnor/params/SSL3KEYMATOUT",
              {CONVERSION("Class 'Pkcs11SSL3KEYMATOUT' not found"), "Class 'Pkcs11SSL3KEYMATOUT not found"}),
    findField(ClientKey, "hClientKey", "I", {CONVERSION("Field hClientKey not found"), "Field hClientKey not found"}),
    findField(ClientMacSecret, "hClientMacSecret", "I",
              {CONVERSION("Field hClientMacSecret not found"), "Field hClientMacSecret not found"}),
    findField(ServerKey, "hServerKey", "I", {CONVERSION("Field hServerKey not found"), "Field hServerKey not found"}),
    findField(ServerMacSecret, "hServerMacSecret", "I",
              {CONVERSION("Field hServerMacSecret not found"), "Field hServerMacSecret not found"}),
    findField(IvClient, "ivClient", "[B", {CONVERSION("Field ivClient not found"), "Field ivClient not found"}),
    findField(IvServer, "ivServer", "[B", {CONVERSION("Field ivServer not found"), "Field ivServer not found"}),
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
constexpr Pointer kFreed[] = {
    {offsetof(Params, RandomInfo.pClientRandom)},     {offsetof(Params, RandomInfo.pServerRandom)},
    {offsetof(KeyMaterial, pIVClient), Block::Inner}, {offsetof(KeyMaterial, pIVServer), Block::Inner},
    {offsetof(Params, pReturnedKeyMaterial)},
};
}  // namespace ssl3_key_mat

namespace skipjack_private_wrap {
using Params = CK_SKIPJACK_PRIVATE_WRAP_PARAMS;
enum : Slot { Password = 1, PublicData, RandomA, PrimeP, BaseG, SubPrimeQ };
constexpr Step kSteps[] = {
    findClass("velnor/params/SKIPJACKPRIVATEWRAPParams",
              {CONVERSION("Class 'velnor/params/SKIPJACKPRIVATEWRAPParams' not found")}),
    findField(Password, "m_password", "[B", {CONVERSION("m_password field not found")}),
    findField(PublicData, "m_publicData", "[B", {CONVERSION("m_publicData field not found")}),
    findField(RandomA, "m_randomA", "[B", {CONVERSION("m_randomA field not found")}),
    findField(PrimeP, "m_primeP", "[B", {CONVERSION("m_primeP field not found")}),
    findField(BaseG, "m_baseG", "[B", {CONVERSION("m_baseG field not found")}),
    findField(SubPrimeQ, "m_subPrimeQ", "[B", {CONVERSION("m_subPrimeQ field not found")}),
    readObject(Password, {CONVERSION("jPassword is NULL")}),
    readObject(PublicData, {CONVERSION("jPublicData is NULL")}),
    readObject(RandomA, {CONVERSION("jRandomA is NULL")}),
    readObject(PrimeP, {CONVERSION("jPrimeP is NULL")}),
    readObject(SubPrimeQ, {CONVERSION("jSubPrimeQ is NULL")}),
    readObject(BaseG, {CONVERSION("jBaseG is NULL")}),
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
enum : Slot { OldWrappedX = 1, OldPassword, OldPublicData, OldRandomA, NewPassword, NewPublicData, NewRandomA };
constexpr Step kSteps[] = {
    findClass("velnor/params/SKIPJACKRELAYXParams",
              {CONVERSION("Class 'velnor/params/SKIPJACKRELAYXParams' not found")}),
    findField(OldWrappedX, "m_oldWrappedX", "[B", {CONVERSION("m_oldWrappedX field not found")}),
    findField(OldPassword, "m_oldPassword", "[B", {CONVERSION("m_oldPassword field not found")}),
    findField(OldPublicData, "m_oldPublicData", "[B", {CONVERSION("m_oldPublicData field not found")}),
    findField(OldRandomA, "m_oldRandomA", "[B", {CONVERSION("m_oldRandomA field not found")}),
    findField(NewPassword, "m_newPassword", "[B", {CONVERSION("m_newPassword field not found")}),
    findField(NewPublicData, "m_newPublicData", "[B", {CONVERSION("m_newPublicData field not found")}),
    findField(NewRandomA, "m_newRandomA", "[B", {CONVERSION("m_newRandomA field not found")}),
    readObject(OldPassword, {CONVERSION("jOldPassword  is NULL")}),
    readObject(OldPublicData, {CONVERSION("jOldPublicData is NULL")}),
    readObject(OldRandomA, {CONVERSION("jOldRandomA is NULL")}),
    readObject(OldWrappedX, {CONVERSION("jOldWrappedX is NULL")}),
    readObject(NewPassword, {CONVERSION("jNewPassword is NULL")}),
    readObject(NewPublicData, {CONVERSION("jNewPublicData is NULL")}),
    readObject(NewRandomA, {CONVERSION("jNewRandomA is NULL")}),
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
enum : Slot { IsSender = 1, RandomA, RandomB, PublicData };
constexpr Step kSteps[] = {
    findClass("velnor/params/KeaDeriveParams", {CONVERSION("Class 'velnor/params/KeaDeriveParams' not found")}),
    findField(IsSender, "isSender", "Ljava/lang/Boolean;", {CONVERSION("isSender field not found")}),
    findField(RandomA, "randomA", "[B", {CONVERSION("randomA field not found")}),
    findField(RandomB, "randomB", "[B", {CONVERSION("randomB field not found")}),
    findField(PublicData, "publicData", "[B", {CONVERSION("publicData field not found")}),
    readObject(IsSender, {CONVERSION("jIsSender is NULL")}),
    findClass("java/lang/Boolean", {CONVERSION("Class 'java/lang/Boolean' not found")}),
    callBooleanValue(IsSender, {CONVERSION("boolValue method not found")}),
    readObject(RandomA, {CONVERSION("jRandomA  is NULL")}),
    readObject(RandomB, {CONVERSION("jRandomB is NULL")}),
    readObject(PublicData, {CONVERSION("jPublicData is NULL")}),
};
constexpr Cell kCells[] = {
    byte(IsSender, offsetof(Params, isSender)),
    bytes(RandomA, offsetof(Params, pRandomA), offsetof(Params, ulRandomLen)),
    bytesMeasuredBy(RandomA, RandomB, offsetof(Params, pRandomB), offsetof(Params, ulRandomLen)),
    bytes(PublicData, offsetof(Params, pPublicData), offsetof(Params, ulPublicDataLen)),
};
constexpr Pointer kFreed[] = {
    {offsetof(Params, pRandomA)},
    {offsetof(Params, pRandomB)},
    {offsetof(Params, pPublicData)},
};
}  // namespace kea_derive

}  // namespace

const ParameterKind kKeyDerivationStringParameter = {.size = sizeof(CK_KEY_DERIVATION_STRING_DATA),
                                                     .steps = key_derivation_string::kSteps,
                                                     .cells = key_derivation_string::kCells,
                                                     .freed = key_derivation_string::kFreed,
                                                     .missing = kMissingReportedTwice};
const ParameterKind kExtractParameter = {.size = sizeof(CK_EXTRACT_PARAMS),
                                         .steps = extract::kSteps,
                                         .cells = extract::kCells,
                                         .missing = kMissingReportedTwice};
const ParameterKind kSsl3MasterKeyDeriveParameter = {
    .size = sizeof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS),
    .steps = ssl3_master_key_derive::kSteps,
    .cells = ssl3_master_key_derive::kCells,
    .freed = ssl3_master_key_derive::kFreed,
    .inner = {sizeof(CK_VERSION), offsetof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS, pVersion)}};
const ParameterKind kSsl3KeyMatParameter = {
    .size = sizeof(CK_SSL3_KEY_MAT_PARAMS),
    .steps = ssl3_key_mat::kSteps,
    .cells = ssl3_key_mat::kCells,
    .freed = ssl3_key_mat::kFreed,
    .inner = {sizeof(CK_SSL3_KEY_MAT_OUT), offsetof(CK_SSL3_KEY_MAT_PARAMS, pReturnedKeyMaterial)}};
const ParameterKind kSkipjackPrivateWrapParameter = {.size = sizeof(CK_SKIPJACK_PRIVATE_WRAP_PARAMS),
                                                     .steps = skipjack_private_wrap::kSteps,
                                                     .cells = skipjack_private_wrap::kCells,
                                                     .freed = skipjack_private_wrap::kFreed};
const ParameterKind kSkipjackRelayxParameter = {.size = sizeof(CK_SKIPJACK_RELAYX_PARAMS),
                                                .steps = skipjack_relayx::kSteps,
                                                .cells = skipjack_relayx::kCells,
                                                .freed = skipjack_relayx::kFreed};
const ParameterKind kKeaDeriveParameter = {.size = sizeof(CK_KEA_DERIVE_PARAMS),
                                           .steps = kea_derive::kSteps,
                                           .cells = kea_derive::kCells,
                                           .freed = kea_derive::kFreed};
