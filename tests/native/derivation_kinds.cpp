/// Key derivation and key exchange.
#include "mechanism_kinds.h"

using namespace std::string_literals;
using jvm::RecordingEnv;

namespace {

jobject randomData(RecordingEnv& env, const char* clientField, const char* serverField) {
  const jobject random = env.object("", "velnor/params/SSL3RANDOMDATA");
  env.set(random, clientField, env.bytes("the client's random of 32 bytes."));
  return env.set(random, serverField, env.bytes("the server's"));
}

}  // namespace

const std::vector<ParameterKind> kDerivationKinds = {
    {"KeyDerivationString",
     {0x362, 0x363, 0x364},
     [](RecordingEnv& env) {
       return env.set(env.object("parameter", "velnor/params/KEYDERIVATIONSTRINGDATA"), "data", env.bytes("string"));
     },
     R"(
       FindClass velnor/params/KEYDERIVATIONSTRINGDATA
         reporting Class 'Pkcs11KEYDERIVATIONSTRINGDATA not found
         else Mechanism2CKMechanism - Class 'Pkcs11KEYDERIVATIONSTRINGDATA' not found
       GetFieldID velnor/params/KEYDERIVATIONSTRINGDATA data [B
         reporting Field data not found
         else Mechanism2CKMechanism - Field data not found
       GetObjectField parameter data
         reporting jData is NULL
         else Mechanism2CKMechanism - jData  is NULL
       GetArrayLength parameter.data
       GetByteArrayRegion parameter.data 0 6
     )",
     16,
     {pointer(0, "string"), number(8, 6)},
     {{0}},
     "parameter value is NULL"},

    {"Extract",
     {0x365},
     [](RecordingEnv& env) {
       return env.set(env.object("parameter", "velnor/params/EXTRACTParams"), "parameter", -21);
     },
     R"(
       FindClass velnor/params/EXTRACTParams
         reporting Class 'Pkcs11EXTRACTParams not found
         else Mechanism2CKMechanism - Class 'Pkcs11EXTRACTParams' not found
       GetFieldID velnor/params/EXTRACTParams parameter I
         reporting Field parameter not found
         else Mechanism2CKMechanism - Field parameter not found
       GetIntField parameter parameter
     )",
     8,
     {number(0, 0xFFFFFFFFFFFFFFEB)},
     {},
     "parameter value is NULL"},

    // The version's ints are read as bytes: only their low bytes have room in the structure.
    {"Ssl3MasterKeyDerive",
     {0x371},
     [](RecordingEnv& env) {
       const jobject version = env.object("", "velnor/Version");
       env.set(env.set(version, "m_majorVersion", 0x0103), "m_minorVersion", -2);
       const jobject parameter = env.object("parameter", "velnor/params/SSL3MASTERKEYDERIVEParams");
       env.set(parameter, "m_version", version);
       return env.set(parameter, "m_randomInfo", randomData(env, "m_clientRandom", "m_serverRandom"));
     },
     R"(
       FindClass velnor/params/SSL3MASTERKEYDERIVEParams
         else Mechanism2CKMechanism - Class 'velnor/params/SSL3MASTERKEYDERIVEParams' not found
       GetFieldID velnor/params/SSL3MASTERKEYDERIVEParams m_version Lvelnor/Version;
         else Mechanism2CKMechanism - Field m_version not found
       GetFieldID velnor/params/SSL3MASTERKEYDERIVEParams m_randomInfo Lquadrel/Pkcs11SSL3RANDOMDATA;
         else Mechanism2CKMechanism - Field m_randomInfo not found
       GetObjectField parameter m_version
         else Mechanism2CKMechanism - jVersion  is NULL
       GetObjectField parameter m_randomInfo
         else Mechanism2CKMechanism - jRandomInfo  is NULL
       FindClass velnor/Version
         else Mechanism2CKMechanism - Class 'velnor/Version' not found
       GetFieldID velnor/Version m_majorVersion I
         else Mechanism2CKMechanism - Field m_majorVersion not found
       GetFieldID velnor/Version m_minorVersion I
         else Mechanism2CKMechanism - Field m_minorVersion not found
       GetByteField parameter.m_version m_majorVersion
       GetByteField parameter.m_version m_minorVersion
       FindClass velnor/params/SSL3RANDOMDATA
         else Mechanism2CKMechanism - Class 'Pkcs11SSL3RANDOMDATA' not found
       GetFieldID velnor/params/SSL3RANDOMDATA m_clientRandom [B
         else Mechanism2CKMechanism - Field m_clientRandom not found
       GetFieldID velnor/params/SSL3RANDOMDATA m_serverRandom [B
         else Mechanism2CKMechanism - Field m_serverRandom not found
       GetObjectField parameter.m_randomInfo m_clientRandom
         else Mechanism2CKMechanism - jClientRandom  is NULL
       GetObjectField parameter.m_randomInfo m_serverRandom
         else Mechanism2CKMechanism - jServerRandom  is NULL
       GetArrayLength parameter.m_randomInfo.m_clientRandom
       GetByteArrayRegion parameter.m_randomInfo.m_clientRandom 0 32
       GetArrayLength parameter.m_randomInfo.m_serverRandom
       GetByteArrayRegion parameter.m_randomInfo.m_serverRandom 0 12
     )",
     40,
     {pointer(0, "the client's random of 32 bytes."), number(8, 32), pointer(16, "the server's"), number(24, 12),
      block(32, 2, {bytes(0, "\x03\xFE")})},
     {{32}, {0}, {16}}},

    // The random buffers have their lengths but none of the bytes; the IVs are always 8 bytes, whatever the size says.
    {"Ssl3KeyMat",
     {0x372},
     [](RecordingEnv& env) {
       const jobject material = env.object("", "velnor/params/SSL3KEYMATOUT");
       env.set(env.set(material, "hClientKey", 0x11), "hClientMacSecret", 0x22);
       env.set(env.set(material, "hServerKey", -3), "hServerMacSecret", 0x44);
       env.set(material, "ivClient", env.bytes("clientIV, and no more"));
       env.set(material, "ivServer", env.bytes("serverIV"));
       const jobject parameter = env.object("parameter", "velnor/params/SSL3KEYMATParams");
       env.set(parameter, "returnedKeyMaterial", material);
       env.set(parameter, "randomInfo", randomData(env, "clientRandom", "serverRandom"));
       env.set(parameter, "isExport", env.boolean(true));
       return env.set(env.set(env.set(parameter, "keySizeInBits", 128), "macSizeInBits", -160), "ivSizeInBits", 16);
     },
     R"(
       FindClass velnor/params/SSL3KEYMATParams
         else Mechanism2CKMechanism - Class 'Pkcs11SSL3KEYMATParams' not found
       GetFieldID velnor/params/SSL3KEYMATParams returnedKeyMaterial Lquadrel/Pkcs11SSL3KEYMATOUT;
         else Mechanism2CKMechanism - Field returnedKeyMaterial not found
       GetFieldID velnor/params/SSL3KEYMATParams randomInfo Lquadrel/Pkcs11SSL3RANDOMDATA;
         else Mechanism2CKMechanism - Field randomInfo not found
       GetFieldID velnor/params/SSL3KEYMATParams isExport Ljava/lang/Boolean;
         else Mechanism2CKMechanism - Field isExport not found
       GetFieldID velnor/params/SSL3KEYMATParams keySizeInBits I
         else Mechanism2CKMechanism - Field keySizeInBits not found
       GetFieldID velnor/params/SSL3KEYMATParams macSizeInBits I
         else Mechanism2CKMechanism - Field macSizeInBits not found
       GetFieldID velnor/params/SSL3KEYMATParams ivSizeInBits I
         else Mechanism2CKMechanism - Field ivSizeInBits not found
       GetObjectField parameter randomInfo
         else Mechanism2CKMechanism - jRandomInfo  is NULL
       GetObjectField parameter isExport
         else Mechanism2CKMechanism - jIsExport  is NULL
       GetObjectField parameter returnedKeyMaterial
         else Mechanism2CKMechanism - jReturnedKeyMaterial  is NULL
       GetIntField parameter keySizeInBits
       GetIntField parameter macSizeInBits
       GetIntField parameter ivSizeInBits
       FindClass java/lang/Boolean
         else Mechanism2CKMechanism - Class 'Boolean' not found
       GetMethodID java/lang/Boolean booleanValue ()Z
         else Mechanism2CKMechanism - boolValue is NULL
       CallBooleanMethod parameter.isExport booleanValue
       FindClass velnor/params/SSL3RANDOMDATA
         reporting Class 'Pkcs11SSL3RANDOMDATA not found
         else Mechanism2CKMechanism - Class 'Pkcs11SSL3RANDOMDATA' not found
       GetFieldID velnor/params/SSL3RANDOMDATA clientRandom [B
         reporting Field clientRandom not found
         else Mechanism2CKMechanism - Field clientRandom not found
       GetFieldID velnor/params/SSL3RANDOMDATA serverRandom [B
         reporting Field serverRandom not found
         else Mechanism2CKMechanism - Field serverRandom not found
       GetObjectField parameter.randomInfo clientRandom
         reporting jClientRandom is NULL
         else Mechanism2CKMechanism - jClientRandom  is NULL
       GetObjectField parameter.randomInfo serverRandom
         reporting jServerRandom is NULL
         else Mechanism2CKMechanism - jServerRandom  is NULL
       FindClass velnor/params/SSL3KEYMATOUT
         reporting Class 'Pkcs11SSL3KEYMATOUT not found
         else Mechanism2CKMechanism - Class 'Pkcs11SSL3KEYMATOUT' not found
       GetFieldID velnor/params/SSL3KEYMATOUT hClientKey I
         reporting Field hClientKey not found
         else Mechanism2CKMechanism - Field hClientKey not found
       GetFieldID velnor/params/SSL3KEYMATOUT hClientMacSecret I
         reporting Field hClientMacSecret not found
         else Mechanism2CKMechanism - Field hClientMacSecret not found
       GetFieldID velnor/params/SSL3KEYMATOUT hServerKey I
         reporting Field hServerKey not found
         else Mechanism2CKMechanism - Field hServerKey not found
       GetFieldID velnor/params/SSL3KEYMATOUT hServerMacSecret I
         reporting Field hServerMacSecret not found
         else Mechanism2CKMechanism - Field hServerMacSecret not found
       GetFieldID velnor/params/SSL3KEYMATOUT ivClient [B
         reporting Field ivClient not found
         else Mechanism2CKMechanism - Field ivClient not found
       GetFieldID velnor/params/SSL3KEYMATOUT ivServer [B
         reporting Field ivServer not found
         else Mechanism2CKMechanism - Field ivServer not found
       GetIntField parameter.returnedKeyMaterial hClientKey
       GetIntField parameter.returnedKeyMaterial hClientMacSecret
       GetIntField parameter.returnedKeyMaterial hServerKey
       GetIntField parameter.returnedKeyMaterial hServerMacSecret
       GetObjectField parameter.returnedKeyMaterial ivClient
       GetObjectField parameter.returnedKeyMaterial ivServer
       GetArrayLength parameter.randomInfo.clientRandom
       GetArrayLength parameter.randomInfo.serverRandom
       GetByteArrayRegion parameter.returnedKeyMaterial.ivClient 0 8
       GetByteArrayRegion parameter.returnedKeyMaterial.ivServer 0 8
     )",
     72,
     {number(0, 0xFFFFFFFFFFFFFF60), number(8, 128), number(16, 16), bytes(24, "\x01"), pointer(32, std::string(32, 0)),
      number(40, 32), pointer(48, std::string(12, 0)), number(56, 12),
      block(64, 48,
            {number(0, 0x22), number(8, 0x44), number(16, 0x11), number(24, 0xFFFFFFFFFFFFFFFD),
             pointer(32, "clientIV"), pointer(40, "serverIV")})},
     {{32}, {48}, {64, 32}, {64, 40}, {64}}},

    // Base G's length counts for prime P as well.
    {"SkipjackPrivateWrap",
     {0x1009},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/SKIPJACKPRIVATEWRAPParams");
       env.set(parameter, "m_password", env.bytes("password"));
       env.set(parameter, "m_publicData", env.bytes("public"));
       env.set(parameter, "m_randomA", env.bytes("random A"));
       env.set(parameter, "m_primeP", env.bytes("the prime is longer"));
       env.set(parameter, "m_baseG", env.bytes("base G."));
       return env.set(parameter, "m_subPrimeQ", env.bytes("Q"));
     },
     R"(
       FindClass velnor/params/SKIPJACKPRIVATEWRAPParams
         else Mechanism2CKMechanism - Class 'velnor/params/SKIPJACKPRIVATEWRAPParams' not found
       GetFieldID velnor/params/SKIPJACKPRIVATEWRAPParams m_password [B
         else Mechanism2CKMechanism - m_password field not found
       GetFieldID velnor/params/SKIPJACKPRIVATEWRAPParams m_publicData [B
         else Mechanism2CKMechanism - m_publicData field not found
       GetFieldID velnor/params/SKIPJACKPRIVATEWRAPParams m_randomA [B
         else Mechanism2CKMechanism - m_randomA field not found
       GetFieldID velnor/params/SKIPJACKPRIVATEWRAPParams m_primeP [B
         else Mechanism2CKMechanism - m_primeP field not found
       GetFieldID velnor/params/SKIPJACKPRIVATEWRAPParams m_baseG [B
         else Mechanism2CKMechanism - m_baseG field not found
       GetFieldID velnor/params/SKIPJACKPRIVATEWRAPParams m_subPrimeQ [B
         else Mechanism2CKMechanism - m_subPrimeQ field not found
       GetObjectField parameter m_password
         else Mechanism2CKMechanism - jPassword is NULL
       GetObjectField parameter m_publicData
         else Mechanism2CKMechanism - jPublicData is NULL
       GetObjectField parameter m_randomA
         else Mechanism2CKMechanism - jRandomA is NULL
       GetObjectField parameter m_primeP
         else Mechanism2CKMechanism - jPrimeP is NULL
       GetObjectField parameter m_subPrimeQ
         else Mechanism2CKMechanism - jSubPrimeQ is NULL
       GetObjectField parameter m_baseG
         else Mechanism2CKMechanism - jBaseG is NULL
       GetArrayLength parameter.m_password
       GetByteArrayRegion parameter.m_password 0 8
       GetArrayLength parameter.m_publicData
       GetByteArrayRegion parameter.m_publicData 0 6
       GetArrayLength parameter.m_randomA
       GetByteArrayRegion parameter.m_randomA 0 8
       GetArrayLength parameter.m_subPrimeQ
       GetByteArrayRegion parameter.m_subPrimeQ 0 1
       GetArrayLength parameter.m_baseG
       GetByteArrayRegion parameter.m_baseG 0 7
       GetArrayLength parameter.m_baseG
       GetByteArrayRegion parameter.m_primeP 0 7
     )",
     88,
     {number(0, 8), pointer(8, "password"), number(16, 6), pointer(24, "public"), number(32, 7), number(40, 1),
      number(48, 8), pointer(56, "random A"), pointer(64, "the pri"), pointer(72, "base G."), pointer(80, "Q")},
     {{8}, {24}, {56}, {72}, {64}, {80}}},

    {"SkipjackRelayx",
     {0x100A},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/SKIPJACKRELAYXParams");
       env.set(parameter, "m_oldWrappedX", env.bytes("old wrapped X"));
       env.set(parameter, "m_oldPassword", env.bytes("old password"));
       env.set(parameter, "m_oldPublicData", env.bytes("old public"));
       env.set(parameter, "m_oldRandomA", env.bytes("old rand."));
       env.set(parameter, "m_newPassword", env.bytes("new pwd"));
       env.set(parameter, "m_newPublicData", env.bytes("newpub"));
       return env.set(parameter, "m_newRandomA", env.bytes("new A"));
     },
     R"(
       FindClass velnor/params/SKIPJACKRELAYXParams
         else Mechanism2CKMechanism - Class 'velnor/params/SKIPJACKRELAYXParams' not found
       GetFieldID velnor/params/SKIPJACKRELAYXParams m_oldWrappedX [B
         else Mechanism2CKMechanism - m_oldWrappedX field not found
       GetFieldID velnor/params/SKIPJACKRELAYXParams m_oldPassword [B
         else Mechanism2CKMechanism - m_oldPassword field not found
       GetFieldID velnor/params/SKIPJACKRELAYXParams m_oldPublicData [B
         else Mechanism2CKMechanism - m_oldPublicData field not found
       GetFieldID velnor/params/SKIPJACKRELAYXParams m_oldRandomA [B
         else Mechanism2CKMechanism - m_oldRandomA field not found
       GetFieldID velnor/params/SKIPJACKRELAYXParams m_newPassword [B
         else Mechanism2CKMechanism - m_newPassword field not found
       GetFieldID velnor/params/SKIPJACKRELAYXParams m_newPublicData [B
         else Mechanism2CKMechanism - m_newPublicData field not found
       GetFieldID velnor/params/SKIPJACKRELAYXParams m_newRandomA [B
         else Mechanism2CKMechanism - m_newRandomA field not found
       GetObjectField parameter m_oldPassword
         else Mechanism2CKMechanism - jOldPassword  is NULL
       GetObjectField parameter m_oldPublicData
         else Mechanism2CKMechanism - jOldPublicData is NULL
       GetObjectField parameter m_oldRandomA
         else Mechanism2CKMechanism - jOldRandomA is NULL
       GetObjectField parameter m_oldWrappedX
         else Mechanism2CKMechanism - jOldWrappedX is NULL
       GetObjectField parameter m_newPassword
         else Mechanism2CKMechanism - jNewPassword is NULL
       GetObjectField parameter m_newPublicData
         else Mechanism2CKMechanism - jNewPublicData is NULL
       GetObjectField parameter m_newRandomA
         else Mechanism2CKMechanism - jNewRandomA is NULL
       GetArrayLength parameter.m_oldWrappedX
       GetByteArrayRegion parameter.m_oldWrappedX 0 13
       GetArrayLength parameter.m_oldPassword
       GetByteArrayRegion parameter.m_oldPassword 0 12
       GetArrayLength parameter.m_oldPublicData
       GetByteArrayRegion parameter.m_oldPublicData 0 10
       GetArrayLength parameter.m_oldRandomA
       GetByteArrayRegion parameter.m_oldRandomA 0 9
       GetArrayLength parameter.m_newPassword
       GetByteArrayRegion parameter.m_newPassword 0 7
       GetArrayLength parameter.m_newPublicData
       GetByteArrayRegion parameter.m_newPublicData 0 6
       GetArrayLength parameter.m_newRandomA
       GetByteArrayRegion parameter.m_newRandomA 0 5
     )",
     112,
     {number(0, 13), pointer(8, "old wrapped X"), number(16, 12), pointer(24, "old password"), number(32, 10),
      pointer(40, "old public"), number(48, 9), pointer(56, "old rand."), number(64, 7), pointer(72, "new pwd"),
      number(80, 6), pointer(88, "newpub"), number(96, 5), pointer(104, "new A")},
     {{72}, {88}, {104}, {24}, {40}, {56}, {8}}},

    // Random A's length counts for random B as well.
    {"KeaDerive",
     {0x1011},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/KeaDeriveParams");
       env.set(parameter, "isSender", env.boolean(true));
       env.set(parameter, "randomA", env.bytes("random A"));
       env.set(parameter, "randomB", env.bytes("random B is longer"));
       return env.set(parameter, "publicData", env.bytes("public"));
     },
     R"(
       FindClass velnor/params/KeaDeriveParams
         else Mechanism2CKMechanism - Class 'velnor/params/KeaDeriveParams' not found
       GetFieldID velnor/params/KeaDeriveParams isSender Ljava/lang/Boolean;
         else Mechanism2CKMechanism - isSender field not found
       GetFieldID velnor/params/KeaDeriveParams randomA [B
         else Mechanism2CKMechanism - randomA field not found
       GetFieldID velnor/params/KeaDeriveParams randomB [B
         else Mechanism2CKMechanism - randomB field not found
       GetFieldID velnor/params/KeaDeriveParams publicData [B
         else Mechanism2CKMechanism - publicData field not found
       GetObjectField parameter isSender
         else Mechanism2CKMechanism - jIsSender is NULL
       FindClass java/lang/Boolean
         else Mechanism2CKMechanism - Class 'java/lang/Boolean' not found
       GetMethodID java/lang/Boolean booleanValue ()Z
         else Mechanism2CKMechanism - boolValue method not found
       CallBooleanMethod parameter.isSender booleanValue
       GetObjectField parameter randomA
         else Mechanism2CKMechanism - jRandomA  is NULL
       GetObjectField parameter randomB
         else Mechanism2CKMechanism - jRandomB is NULL
       GetObjectField parameter publicData
         else Mechanism2CKMechanism - jPublicData is NULL
       GetArrayLength parameter.randomA
       GetByteArrayRegion parameter.randomA 0 8
       GetArrayLength parameter.randomA
       GetByteArrayRegion parameter.randomB 0 8
       GetArrayLength parameter.publicData
       GetByteArrayRegion parameter.publicData 0 6
     )",
     48,
     {bytes(0, "\x01"), number(8, 8), pointer(16, "random A"), pointer(24, "random B"), number(32, 6),
      pointer(40, "public")},
     {{16}, {24}, {40}}},
};
