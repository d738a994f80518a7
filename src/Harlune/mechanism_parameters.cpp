/// The kinds of mechanism parameters that encryption, signing and key wrapping use.
#include "mechanism_parameters.h"

namespace {

constexpr Cell kIvCells[] = {inlineIv(Parameter, 0)};

/// The kinds that are one CK_ULONG.
constexpr Cell kSingleNumberCells[] = {number(1, 0)};

constexpr Step kMacGeneralSteps[] = {
    findClass("velnor/params/MACGENERALParams", {CONVERSION("Class 'velnor/params/MACGENERALParams' not found")}),
    findField(1, "m_parameter", "I", {CONVERSION("m_parameter field not found")}),
    readInt(1),
};

constexpr Step kRc2Steps[] = {
    findClass("velnor/params/RC2Params", {CONVERSION("Class 'velnor/params/RC2Params' not found")}),
    findField(1, "parameter", "I", {CONVERSION("parameter field not found")}),
    readInt(1),
};

namespace rc2_cbc {
enum : Slot { EffectiveBits = 1, Iv };
constexpr Step kSteps[] = {
    findClass("velnor/params/RC2CBCParams", {CONVERSION("Class 'velnor/params/RC2CBCParams' not found")}),
    findField(EffectiveBits, "m_effectiveBits", "I", {CONVERSION("m_effectiveBits field not found")}),
    findField(Iv, "m_iv", "[B", {CONVERSION("m_iv field not found")}),
    readObject(Iv, {CONVERSION("jIv  is NULL")}),
    readInt(EffectiveBits),
};
constexpr Cell kCells[] = {
    number(EffectiveBits, offsetof(CK_RC2_CBC_PARAMS, ulEffectiveBits)),
    inlineIv(Iv, offsetof(CK_RC2_CBC_PARAMS, iv)),
};
}  // namespace rc2_cbc

namespace rc2_mac_general {
enum : Slot { EffectiveBits = 1, MacLength };
constexpr Step kSteps[] = {
    findClass("velnor/params/RC2MACGENERALParams", {CONVERSION("Class 'velnor/params/RC2MACGENERALParams' not found")}),
    findField(EffectiveBits, "m_effectiveBits", "I", {CONVERSION("m_effectiveBits field not found")}),
    findField(MacLength, "m_macLength", "I", {CONVERSION("m_macLength field not found")}),
    readInt(EffectiveBits),
    readInt(MacLength),
};
constexpr Cell kCells[] = {
    number(EffectiveBits, offsetof(CK_RC2_MAC_GENERAL_PARAMS, ulEffectiveBits)),
    number(MacLength, offsetof(CK_RC2_MAC_GENERAL_PARAMS, ulMacLength)),
};
}  // namespace rc2_mac_general

namespace rc5 {
enum : Slot { WordSize = 1, Rounds };
constexpr Step kSteps[] = {
    findClass("velnor/params/RC5Params", {CONVERSION("Class 'velnor/params/RC5Params' not found")}),
    findField(WordSize, "m_wordSize", "I", {CONVERSION("m_wordSize field' not found")}),
    findField(Rounds, "m_rounds", "I", {CONVERSION("m_rounds field not found")}),
    readInt(WordSize),
    readInt(Rounds),
};
constexpr Cell kCells[] = {
    number(WordSize, offsetof(CK_RC5_PARAMS, ulWordsize)),
    number(Rounds, offsetof(CK_RC5_PARAMS, ulRounds)),
};
}  // namespace rc5

namespace rc5_cbc {
enum : Slot { WordSize = 1, Rounds, Iv };
constexpr Step kSteps[] = {
    findClass("velnor/params/RC5CBCParams", {CONVERSION("Class 'velnor/params/RC5CBCParams' not found")}),
    findField(WordSize, "m_wordSize", "I", {CONVERSION("m_wordSize field not found")}),
    findField(Rounds, "m_rounds", "I", {CONVERSION("m_rounds field not found")}),
    findField(Iv, "m_iv", "[B", {CONVERSION("m_iv field not found")}),
    readObject(Iv, {CONVERSION("jIv  is NULL")}),
    readInt(WordSize),
    readInt(Rounds),
};
constexpr Cell kCells[] = {
    number(WordSize, offsetof(CK_RC5_CBC_PARAMS, ulWordsize)),
    number(Rounds, offsetof(CK_RC5_CBC_PARAMS, ulRounds)),
    bytes(Iv, offsetof(CK_RC5_CBC_PARAMS, pIv), offsetof(CK_RC5_CBC_PARAMS, ulIvLen)),
};
constexpr Pointer kFreed[] = {{offsetof(CK_RC5_CBC_PARAMS, pIv)}};
}  // namespace rc5_cbc

namespace rc5_mac_general {
enum : Slot { WordSize = 1, Rounds, MacLength };
constexpr Step kSteps[] = {
    findClass("velnor/params/RC5MACGENERALParams", {CONVERSION("Class 'velnor/params/RC5MACGENERALParams' not found")}),
    findField(WordSize, "m_wordSize", "I", {CONVERSION("m_wordSize field not found")}),
    findField(Rounds, "m_rounds", "I", {CONVERSION("m_rounds field not found")}),
    findField(MacLength, "m_macLength", "I", {CONVERSION("m_macLength field not found")}),
    readInt(WordSize),
    readInt(Rounds),
    readInt(MacLength),
};
constexpr Cell kCells[] = {
    number(WordSize, offsetof(CK_RC5_MAC_GENERAL_PARAMS, ulWordsize)),
    number(Rounds, offsetof(CK_RC5_MAC_GENERAL_PARAMS, ulRounds)),
    number(MacLength, offsetof(CK_RC5_MAC_GENERAL_PARAMS, ulMacLength)),
};
}  // namespace rc5_mac_general

namespace oaep {
enum : Slot { HashAlg = 1, Mgf, Source, SourceData };
constexpr Step kSteps[] = {
    findClass("velnor/params/OAEPParams", {CONVERSION("Class 'velnor/params/OAEPParams' not found")}),
    requireInstance({CONVERSION("parameter must be instance of 'velnor/params/OAEPParams'")}),
    findField(HashAlg, "m_hashAlg", "I", {CONVERSION("m_hashAlg field not found")}),
    findField(Mgf, "m_mgf", "I", {CONVERSION("m_mgf field not found")}),
    findField(Source, "m_source", "I", {CONVERSION("m_source field not found")}),
    findField(SourceData, "m_sourceData", "[B", {CONVERSION("m_sourceData field not found")}),
    readNullable(SourceData),
    readInt(HashAlg),
    readInt(Mgf),
    readInt(Source),
};
constexpr Cell kCells[] = {
    number(HashAlg, offsetof(CK_RSA_PKCS_OAEP_PARAMS, hashAlg)),
    number(Mgf, offsetof(CK_RSA_PKCS_OAEP_PARAMS, mgf)),
    number(Source, offsetof(CK_RSA_PKCS_OAEP_PARAMS, source)),
    bytes(SourceData, offsetof(CK_RSA_PKCS_OAEP_PARAMS, pSourceData),
          offsetof(CK_RSA_PKCS_OAEP_PARAMS, ulSourceDataLen)),
};
constexpr Pointer kFreed[] = {{offsetof(CK_RSA_PKCS_OAEP_PARAMS, pSourceData)}};
}  // namespace oaep

namespace key_wrap_set_oaep {
enum : Slot { BlockContents = 1, XData };
constexpr Step kSteps[] = {
    findClass("velnor/params/KEYWRAPSETOAEPParams",
              {CONVERSION("Class 'velnor/params/KEYWRAPSETOAEPParams' not found")}),
    findField(BlockContents, "m_bBC", "B", {CONVERSION("m_bBC field not found")}),
    findField(XData, "m_xData", "[B", {CONVERSION("m_xData field not found")}),
    readObject(XData, {CONVERSION("jXData is NULL")}),
    readByte(BlockContents),
};
constexpr Cell kCells[] = {
    byte(BlockContents, offsetof(CK_KEY_WRAP_SET_OAEP_PARAMS, bBC)),
    bytes(XData, offsetof(CK_KEY_WRAP_SET_OAEP_PARAMS, pX), offsetof(CK_KEY_WRAP_SET_OAEP_PARAMS, ulXLen)),
};
constexpr Pointer kFreed[] = {{offsetof(CK_KEY_WRAP_SET_OAEP_PARAMS, pX)}};
}  // namespace key_wrap_set_oaep

namespace pbe {
enum : Slot { InitVector = 1, Password, Salt, Iteration };
constexpr Step kSteps[] = {
    findClass("velnor/params/PBEParams", {CONVERSION("Class 'velnor/params/PBEParams' not found")}),
    findField(InitVector, "m_initVector", "[C", {CONVERSION("m_initVector field not found")}),
    findField(Password, "m_password", "[C", {CONVERSION("m_password field not found")}),
    findField(Salt, "m_salt", "[C", {CONVERSION("m_salt field not found")}),
    findField(Iteration, "m_iteration", "I", {CONVERSION("m_iteration field not found")}),
    readNullable(InitVector),
    readObject(Password, {CONVERSION("jPassword is NULL")}),
    readObject(Salt, {CONVERSION("jSalt is NULL")}),
    readInt(Iteration),
};
// The lengths count chars while the buffers hold two bytes for each: modules have always been given it so.
constexpr Cell kCells[] = {
    chars(Password, offsetof(CK_PBE_PARAMS, pPassword), offsetof(CK_PBE_PARAMS, ulPasswordLen)),
    chars(Salt, offsetof(CK_PBE_PARAMS, pSalt), offsetof(CK_PBE_PARAMS, ulSaltLen)),
    number(Iteration, offsetof(CK_PBE_PARAMS, ulIteration)),
    wideIv(InitVector, offsetof(CK_PBE_PARAMS, pInitVector)),
};
constexpr Pointer kFreed[] = {
    {offsetof(CK_PBE_PARAMS, pPassword)},
    {offsetof(CK_PBE_PARAMS, pSalt)},
    {offsetof(CK_PBE_PARAMS, pInitVector)},
};
}  // namespace pbe

}  // namespace

const ParameterKind kIvParameter = {.size = kIvLength, .steps = {}, .cells = kIvCells};
const ParameterKind kMacGeneralParameter = {
    .size = sizeof(CK_MAC_GENERAL_PARAMS), .steps = kMacGeneralSteps, .cells = kSingleNumberCells};
const ParameterKind kRc2Parameter = {
    .size = sizeof(CK_RC2_PARAMS), .steps = kRc2Steps, .cells = kSingleNumberCells, .deletesClass = true};
const ParameterKind kRc2CbcParameter = {
    .size = sizeof(CK_RC2_CBC_PARAMS), .steps = rc2_cbc::kSteps, .cells = rc2_cbc::kCells, .deletesClass = true};
const ParameterKind kRc2MacGeneralParameter = {.size = sizeof(CK_RC2_MAC_GENERAL_PARAMS),
                                               .steps = rc2_mac_general::kSteps,
                                               .cells = rc2_mac_general::kCells,
                                               .deletesClass = true};
const ParameterKind kRc5Parameter = {
    .size = sizeof(CK_RC5_PARAMS), .steps = rc5::kSteps, .cells = rc5::kCells, .deletesClass = true};
const ParameterKind kRc5CbcParameter = {
    .size = sizeof(CK_RC5_CBC_PARAMS), .steps = rc5_cbc::kSteps, .cells = rc5_cbc::kCells, .freed = rc5_cbc::kFreed};
const ParameterKind kRc5MacGeneralParameter = {
    .size = sizeof(CK_RC5_MAC_GENERAL_PARAMS), .steps = rc5_mac_general::kSteps, .cells = rc5_mac_general::kCells};
const ParameterKind kOaepParameter = {.size = sizeof(CK_RSA_PKCS_OAEP_PARAMS),
                                      .steps = oaep::kSteps,
                                      .cells = oaep::kCells,
                                      .freed = oaep::kFreed,
                                      .deletesClass = true};
const ParameterKind kKeyWrapSetOaepParameter = {.size = sizeof(CK_KEY_WRAP_SET_OAEP_PARAMS),
                                                .steps = key_wrap_set_oaep::kSteps,
                                                .cells = key_wrap_set_oaep::kCells,
                                                .freed = key_wrap_set_oaep::kFreed};
const ParameterKind kPbeParameter = {
    .size = sizeof(CK_PBE_PARAMS), .steps = pbe::kSteps, .cells = pbe::kCells, .freed = pbe::kFreed};
