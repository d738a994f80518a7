/// The kinds of mechanism parameters that encryption, signing and key wrapping use.
#include "mechanism_parameters.h"

#include "mechanism_parameter_checks.h"

namespace {

constexpr Cell kIvCells[] = {inlineIv(Parameter, 0)};

/// The kinds that are one CK_ULONG.
constexpr Cell kSingleNumberCells[] = {number(1, 0)};

constexpr Step kMacGeneralSteps[] = {
    CLASS("velnor/params/MACGENERALParams"),
    FIELD(1, "m_parameter", "I"),
    readInt(1),
};

constexpr Step kRc2Steps[] = {
    CLASS("velnor/params/RC2Params"),
    FIELD(1, "parameter", "I"),
    readInt(1),
};

namespace rc2_cbc {
enum : Register { EffectiveBits = 1, Iv };
constexpr Step kSteps[] = {
    CLASS("velnor/params/RC2CBCParams"),
    FIELD(EffectiveBits, "m_effectiveBits", "I"),
    FIELD(Iv, "m_iv", "[B"),
    readObject(Iv, {CONVERSION("jIv  is NULL")}),
    readInt(EffectiveBits),
};
constexpr Cell kCells[] = {
    number(EffectiveBits, offsetof(CK_RC2_CBC_PARAMS, ulEffectiveBits)),
    inlineIv(Iv, offsetof(CK_RC2_CBC_PARAMS, iv)),
};
}  // namespace rc2_cbc

namespace rc2_mac_general {
enum : Register { EffectiveBits = 1, MacLength };
constexpr Step kSteps[] = {
    CLASS("velnor/params/RC2MACGENERALParams"),
    FIELD(EffectiveBits, "m_effectiveBits", "I"),
    FIELD(MacLength, "m_macLength", "I"),
    readInt(EffectiveBits),
    readInt(MacLength),
};
constexpr Cell kCells[] = {
    number(EffectiveBits, offsetof(CK_RC2_MAC_GENERAL_PARAMS, ulEffectiveBits)),
    number(MacLength, offsetof(CK_RC2_MAC_GENERAL_PARAMS, ulMacLength)),
};
}  // namespace rc2_mac_general

namespace rc5 {
enum : Register { WordSize = 1, Rounds };
constexpr Step kSteps[] = {
    CLASS("velnor/params/RC5Params"),
    findField(WordSize, "m_wordSize", "I", {CONVERSION("m_wordSize field' not found")}),
    FIELD(Rounds, "m_rounds", "I"),
    readInt(WordSize),
    readInt(Rounds),
};
constexpr Cell kCells[] = {
    number(WordSize, offsetof(CK_RC5_PARAMS, ulWordsize)),
    number(Rounds, offsetof(CK_RC5_PARAMS, ulRounds)),
};
}  // namespace rc5

namespace rc5_cbc {
enum : Register { WordSize = 1, Rounds, Iv };
constexpr Step kSteps[] = {
    CLASS("velnor/params/RC5CBCParams"),
    FIELD(WordSize, "m_wordSize", "I"),
    FIELD(Rounds, "m_rounds", "I"),
    FIELD(Iv, "m_iv", "[B"),
    readObject(Iv, {CONVERSION("jIv  is NULL")}),
    readInt(WordSize),
    readInt(Rounds),
};
constexpr Cell kCells[] = {
    number(WordSize, offsetof(CK_RC5_CBC_PARAMS, ulWordsize)),
    number(Rounds, offsetof(CK_RC5_CBC_PARAMS, ulRounds)),
    bytes(Iv, offsetof(CK_RC5_CBC_PARAMS, pIv), offsetof(CK_RC5_CBC_PARAMS, ulIvLen)),
};
}  // namespace rc5_cbc

namespace rc5_mac_general {
enum : Register { WordSize = 1, Rounds, MacLength };
constexpr Step kSteps[] = {
    CLASS("velnor/params/RC5MACGENERALParams"),
    FIELD(WordSize, "m_wordSize", "I"),
    FIELD(Rounds, "m_rounds", "I"),
    FIELD(MacLength, "m_macLength", "I"),
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
enum : Register { HashAlg = 1, Mgf, Source, SourceData };
constexpr Step kSteps[] = {
    CLASS("velnor/params/OAEPParams"),
    requireInstance({CONVERSION("parameter must be instance of 'velnor/params/OAEPParams'")}),
    FIELD(HashAlg, "m_hashAlg", "I"),
    FIELD(Mgf, "m_mgf", "I"),
    FIELD(Source, "m_source", "I"),
    FIELD(SourceData, "m_sourceData", "[B"),
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
}  // namespace oaep

namespace key_wrap_set_oaep {
enum : Register { BlockContents = 1, XData };
constexpr Step kSteps[] = {
    CLASS("velnor/params/KEYWRAPSETOAEPParams"),
    FIELD(BlockContents, "m_bBC", "B"),
    FIELD(XData, "m_xData", "[B"),
    OBJECT(XData),
    readByte(BlockContents),
};
constexpr Cell kCells[] = {
    byte(BlockContents, offsetof(CK_KEY_WRAP_SET_OAEP_PARAMS, bBC)),
    bytes(XData, offsetof(CK_KEY_WRAP_SET_OAEP_PARAMS, pX), offsetof(CK_KEY_WRAP_SET_OAEP_PARAMS, ulXLen)),
};
}  // namespace key_wrap_set_oaep

namespace pbe {
enum : Register { InitVector = 1, Password, Salt, Iteration };
constexpr Step kSteps[] = {
    CLASS("velnor/params/PBEParams"),
    FIELD(InitVector, "m_initVector", "[C"),
    FIELD(Password, "m_password", "[C"),
    FIELD(Salt, "m_salt", "[C"),
    FIELD(Iteration, "m_iteration", "I"),
    readNullable(InitVector),
    OBJECT(Password),
    OBJECT(Salt),
    readInt(Iteration),
};
// The lengths count chars while the buffers hold two bytes for each: modules have always been given it so.
constexpr Cell kCells[] = {
    chars(Password, offsetof(CK_PBE_PARAMS, pPassword), offsetof(CK_PBE_PARAMS, ulPasswordLen)),
    chars(Salt, offsetof(CK_PBE_PARAMS, pSalt), offsetof(CK_PBE_PARAMS, ulSaltLen)),
    number(Iteration, offsetof(CK_PBE_PARAMS, ulIteration)),
    wideIv(InitVector, offsetof(CK_PBE_PARAMS, pInitVector)),
};
}  // namespace pbe

}  // namespace

constexpr ParameterKind kIvParameter = {.size = kIvLength, .steps = {}, .cells = kIvCells};
constexpr ParameterKind kMacGeneralParameter = {
    .size = sizeof(CK_MAC_GENERAL_PARAMS), .steps = kMacGeneralSteps, .cells = kSingleNumberCells};
constexpr ParameterKind kRc2Parameter = {
    .size = sizeof(CK_RC2_PARAMS), .steps = kRc2Steps, .cells = kSingleNumberCells, .deletesClass = true};
constexpr ParameterKind kRc2CbcParameter = {
    .size = sizeof(CK_RC2_CBC_PARAMS), .steps = rc2_cbc::kSteps, .cells = rc2_cbc::kCells, .deletesClass = true};
constexpr ParameterKind kRc2MacGeneralParameter = {.size = sizeof(CK_RC2_MAC_GENERAL_PARAMS),
                                                   .steps = rc2_mac_general::kSteps,
                                                   .cells = rc2_mac_general::kCells,
                                                   .deletesClass = true};
constexpr ParameterKind kRc5Parameter = {
    .size = sizeof(CK_RC5_PARAMS), .steps = rc5::kSteps, .cells = rc5::kCells, .deletesClass = true};
constexpr ParameterKind kRc5CbcParameter = {
    .size = sizeof(CK_RC5_CBC_PARAMS), .steps = rc5_cbc::kSteps, .cells = rc5_cbc::kCells};
constexpr ParameterKind kRc5MacGeneralParameter = {
    .size = sizeof(CK_RC5_MAC_GENERAL_PARAMS), .steps = rc5_mac_general::kSteps, .cells = rc5_mac_general::kCells};
constexpr ParameterKind kOaepParameter = {
    .size = sizeof(CK_RSA_PKCS_OAEP_PARAMS), .steps = oaep::kSteps, .cells = oaep::kCells, .deletesClass = true};
constexpr ParameterKind kKeyWrapSetOaepParameter = {.size = sizeof(CK_KEY_WRAP_SET_OAEP_PARAMS),
                                                    .steps = key_wrap_set_oaep::kSteps,
                                                    .cells = key_wrap_set_oaep::kCells};
constexpr ParameterKind kPbeParameter = {.size = sizeof(CK_PBE_PARAMS), .steps = pbe::kSteps, .cells = pbe::kCells};

static_assert(isSound(kIvParameter));
static_assert(isSound(kMacGeneralParameter));
static_assert(isSound(kRc2Parameter));
static_assert(isSound(kRc2CbcParameter));
static_assert(isSound(kRc2MacGeneralParameter));
static_assert(isSound(kRc5Parameter));
static_assert(isSound(kRc5CbcParameter));
static_assert(isSound(kRc5MacGeneralParameter));
static_assert(isSound(kOaepParameter));
static_assert(isSound(kKeyWrapSetOaepParameter));
static_assert(isSound(kPbeParameter));
