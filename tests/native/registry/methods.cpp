#include "methods.h"

#include "signature.h"
#include "velnor_nat_NativeCryptoki.h"
#include "velnor_nat_NativeSession.h"
#include "velnor_nat_NativeSlot.h"
#include "world.h"

#include <algorithm>
#include <stdexcept>

namespace registry {
namespace {

constexpr char kPackage[] = "Java_velnor_nat_";

// Unmistakable in memory, and a multiple of the toy's block of 4.
constexpr char kPlain[] = "secret plaintext";
constexpr char kSigned[] = "SIG:txetnialp terces";
constexpr char kRecoverable[] = "REC:txetnialp terces";
constexpr char kRest[] = "remains";

constexpr CK_OBJECT_HANDLE kKey = World::hSecretKey;
constexpr jint kReadWrite = CKF_SERIAL_SESSION | CKF_RW_SESSION;

// --- What methods find when they are called -------------------------------------------------------------------------

void finalized(World& world) {
  Java_velnor_nat_NativeCryptoki_Finalize(world.jni, world.cryptoki, nullptr);
}
void withoutSession(World& /*world*/) {
  World::expectOk(functionList->C_CloseSession(World::hSession));
}
void officerLoggedIn(World& world) {
  world.login(CKU_SO);
}
void userLoggedIn(World& world) {
  world.login(CKU_USER);
}

void signingWithRecovery(World& world) {
  world.start(&CK_FUNCTION_LIST::C_SignRecoverInit, kKey);
}
void verifyingWithRecovery(World& world) {
  world.start(&CK_FUNCTION_LIST::C_VerifyRecoverInit, kKey);
}

void encryptingAPart(World& world) {
  World::startEncrypting(world);
  world.stream(&CK_FUNCTION_LIST::C_EncryptUpdate, kRest);
}
void decryptingAPart(World& world) {
  World::startDecrypting(world);
  world.stream(&CK_FUNCTION_LIST::C_DecryptUpdate, kRest);
}
void digestingAPart(World& world) {
  World::startDigesting(world);
  world.feed(&CK_FUNCTION_LIST::C_DigestUpdate, kPlain);
}
void signingAPart(World& world) {
  World::startSigning(world);
  world.feed(&CK_FUNCTION_LIST::C_SignUpdate, kPlain);
}
void verifyingAPart(World& world) {
  World::startVerifying(world);
  world.feed(&CK_FUNCTION_LIST::C_VerifyUpdate, kPlain);
}

void decryptingAndDigesting(World& world) {
  World::startDecrypting(world);
  World::startDigesting(world);
}
void encryptingAndDigesting(World& world) {
  World::startEncrypting(world);
  World::startDigesting(world);
}
void encryptingAndSigning(World& world) {
  World::startEncrypting(world);
  World::startSigning(world);
}
void decryptingAndVerifying(World& world) {
  World::startDecrypting(world);
  World::startVerifying(world);
}

// --- The rows, in the order of exports.txt --------------------------------------------------------------------------

#define NATIVE(name) .symbol = #name, .signature = signatureOf(name)
#define CRYPTOKI(name) NATIVE(Java_velnor_nat_NativeCryptoki_##name)
#define SLOT(name) NATIVE(Java_velnor_nat_NativeSlot_J_1##name)
#define SESSION(name) NATIVE(Java_velnor_nat_NativeSession_J_1##name)

// clang-format off
const std::vector<Method>& rows() {
  static const std::vector<Method> rows = {
    // module.cpp
    {CRYPTOKI(loadCryptokiLibrary), .reportName = "loadCryptokiLibrary",
     .functions = {"C_Finalize", "C_GetFunctionList"}, .handle = Handle::None, .log = Log::Steps, .blocks = 2,
     .needsInitialisation = false},
    {CRYPTOKI(loadCryptokiLibrary2), .reportName = "loadCryptokiLibrary",
     .functions = {"C_Finalize", "C_GetFunctionList"}, .handle = Handle::None, .log = Log::Steps, .blocks = 2,
     .needsInitialisation = false},
    {CRYPTOKI(loadCryptokiLibrary3), .reportName = "loadCryptokiLibrary",
     .functions = {"C_Finalize", "C_GetFunctionList"}, .handle = Handle::None, .log = Log::Steps, .blocks = 2,
     .needsInitialisation = false},
    {CRYPTOKI(getLastLoadedLibraryFullPath), .handle = Handle::None, .needsInitialisation = false},
    {CRYPTOKI(IsSecondAuthenticationRequired), .handle = Handle::None, .needsInitialisation = false},

    // lifecycle.cpp
    {CRYPTOKI(Initialize), .reportName = "J_Initialize", .functions = {"C_GetFunctionList", "C_Initialize"},
     .handle = Handle::None, .log = Log::Steps, .blocks = 2, .good = {.before = finalized},
     .needsInitialisation = false},
    {CRYPTOKI(Finalize), .reportName = "J_Finalize", .functions = {"C_Finalize"}, .handle = Handle::None,
     .log = Log::Steps},
    {CRYPTOKI(GetInfo), .reportName = "J_GetInfo", .functions = {"C_GetInfo"}, .handle = Handle::None,
     .log = Log::EntryAndExit},

    // slots.cpp
    {CRYPTOKI(GetSlotList), .reportName = "J_GetSlotList", .functions = {"C_GetSlotList"}, .handle = Handle::None,
     .log = Log::EntryAndExit, .blocks = 1},
    {CRYPTOKI(WaitForSlotEvent), .reportName = "J_WaitForSlotEvent", .functions = {"C_WaitForSlotEvent"},
     .handle = Handle::None, .log = Log::EntryAndExit},
    {SLOT(GetSlotInfo), .reportName = "J_GetSlotInfo", .functions = {"C_GetSlotInfo"}, .handle = Handle::SlotObject,
     .log = Log::EntryAndExit},
    {SLOT(GetTokenInfo), .reportName = "J_GetTokenInfo", .functions = {"C_GetTokenInfo"},
     .handle = Handle::SlotObject, .log = Log::EntryAndExit},

    // mechanism_queries.cpp
    {SLOT(GetMechanismList), .reportName = "J_GetMechanismList", .functions = {"C_GetMechanismList"},
     .handle = Handle::SlotObject, .log = Log::EntryAndExit, .blocks = 1},
    {SLOT(GetMechanismInfo), .reportName = "J_GetMechanismInfo", .functions = {"C_GetMechanismInfo"},
     .handle = Handle::SlotObject, .log = Log::EntryAndExit, .good = {.ints = {CKM_SHA_1}}},

    // administration.cpp
    {SLOT(InitToken), .reportName = "J_InitToken", .functions = {"C_InitToken"}, .handle = Handle::SlotObject,
     .log = Log::EntryAndExit, .good = {.before = withoutSession, .strings = {World::kSOPin, "label"}}},
    {SESSION(InitPIN), .reportName = "J_InitPIN", .functions = {"C_InitPIN"}, .log = Log::Entry,
     .good = {.before = officerLoggedIn, .strings = {"PIN to be set"}}},
    {SESSION(SetPIN), .reportName = "J_SetPIN", .functions = {"C_SetPIN"}, .log = Log::Entry,
     .good = {.strings = {World::kUserPin, "PIN to be set"}}},

    // sessions.cpp
    {SLOT(OpenSession__I), .reportName = "J_OpenSession", .functions = {"C_OpenSession", "C_SetCallBack"},
     .handle = Handle::SlotObject, .log = Log::EntryAndExit, .good = {.ints = {kReadWrite}}},
    {SLOT(OpenSession__IBLjava_lang_String_2), .reportName = "J_OpenSession",
     .functions = {"C_OpenSession", "C_SetCallBack", "C_Login"}, .handle = Handle::SlotObject,
     .log = Log::EntryAndExit, .good = {.ints = {kReadWrite}},
     .emptyRelease = "ReleaseStringUTFChars string0 characters=null"},
    {SESSION(CloseSession), .reportName = "J_CloseSession", .functions = {"C_CloseSession"}, .log = Log::Steps},
    {SLOT(CloseAllSessions), .reportName = "J_CloseAllSessions", .functions = {"C_CloseAllSessions"},
     .handle = Handle::SlotObject, .log = Log::EntryAndExit},
    {SESSION(GetSessionInfo), .reportName = "J_GetSessionInfo", .functions = {"C_GetSessionInfo"},
     .log = Log::EntryAndExit},

    // login.cpp
    {SESSION(Login), .reportName = "J_Login", .functions = {"C_Login"}, .log = Log::EntryAndExit},
    {SESSION(Logout), .reportName = "J_Logout", .functions = {"C_Logout"}, .log = Log::EntryAndExit,
     .good = {.before = userLoggedIn}},

    // operation_state.cpp
    {SESSION(GetOperationState), .reportName = "J_GetOperationState", .functions = {"C_GetOperationState"},
     .blocks = 1, .good = {.before = World::startDigesting}},
    {SESSION(SetOperationState), .reportName = "J_SetOperationState", .functions = {"C_SetOperationState"},
     .good = {.bytes = {"OPSTATE!"}}},

    // parallel_functions.cpp
    {SESSION(GetFunctionStatus), .reportName = "J_GetFunctionStatus", .functions = {"C_GetFunctionStatus"},
     .good = {.answers = {"C_GetFunctionStatus CKR_OK"}}},
    {SESSION(CancelFunction), .reportName = "J_CancelFunction", .functions = {"C_CancelFunction"},
     .good = {.answers = {"C_CancelFunction CKR_OK"}}},

    // objects.cpp
    {SESSION(CreateObject), .reportName = "J_CreateObject", .functions = {"C_CreateObject"}, .log = Log::EntryAndExit,
     .blocks = 5},
    {SESSION(CopyObject), .reportName = "J_CopyObject", .functions = {"C_CopyObject"}, .blocks = 5},
    {SESSION(DestroyObject), .reportName = "J_DestroyObject", .functions = {"C_DestroyObject"},
     .log = Log::EntryAndExit},
    {SESSION(GetObjectSize), .reportName = "J_GetObjectSize", .functions = {"C_GetObjectSize"},
     .log = Log::EntryAndExit},

    // attribute_access.cpp
    {SESSION(GetAttributeValue__JI), .reportName = "J_GetAttributeValue", .functions = {"C_GetAttributeValue"},
     .log = Log::EntryAndExit, .blocks = 1, .good = {.ints = {CKA_VALUE}}},
    {SESSION(GetAttributeValue__J_3I), .reportName = "J_GetAttributeValue", .functions = {"C_GetAttributeValue"},
     .log = Log::EntryAndExit, .blocks = 2},
    {SESSION(SetAttributeValue), .reportName = "J_SetAttributeValue", .functions = {"C_SetAttributeValue"},
     .log = Log::EntryAndExit, .blocks = 5},

    // search.cpp
    {SESSION(FindObjects___3Lvelnor_Attribute_2), .reportName = "J_FindObjects",
     .functions = {"C_FindObjectsInit", "C_FindObjects", "C_FindObjectsFinal"}, .log = Log::EntryAndExit, .blocks = 5},
    {SESSION(FindObjects___3Lvelnor_Attribute_2_3I), .reportName = "J_FindObjects",
     .functions = {"C_FindObjectsInit", "C_FindObjects", "C_FindObjectsFinal", "C_GetAttributeValue"},
     .log = Log::EntryAndExit, .blocks = 7},

    // encryption.cpp
    {SESSION(EncryptUpdate__JZLvelnor_Mechanism_2J_3BII), .reportName = "J_EncryptUpdate",
     .functions = {"C_EncryptInit", "C_EncryptUpdate"}, .handle = Handle::SessionArgument, .blocks = 5,
     .good = {.bytes = {kPlain}}},
    {SESSION(EncryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI), .reportName = "J_EncryptUpdate",
     .functions = {"C_EncryptInit", "C_EncryptUpdate"}, .handle = Handle::SessionArgument, .blocks = 4,
     .good = {.bytes = {kPlain}}},
    {SESSION(Encrypt__JZLvelnor_Mechanism_2J_3BII), .reportName = "J_Encrypt",
     .functions = {"C_EncryptInit", "C_Encrypt"}, .handle = Handle::SessionArgument, .blocks = 5,
     .good = {.bytes = {kPlain}}},
    {SESSION(Encrypt__JZLvelnor_Mechanism_2J_3BII_3BI), .reportName = "J_Encrypt",
     .functions = {"C_EncryptInit", "C_Encrypt"}, .handle = Handle::SessionArgument, .log = Log::EntryAndExit,
     .blocks = 4, .good = {.bytes = {kPlain}}},
    {SESSION(EncryptFinal__), .reportName = "J_EncryptFinal", .functions = {"C_EncryptFinal"}, .blocks = 1,
     .good = {.before = encryptingAPart}},
    {SESSION(EncryptFinal___3BI), .reportName = "J_EncryptFinal", .functions = {"C_EncryptFinal"},
     .good = {.before = encryptingAPart}},

    // decryption.cpp
    {SESSION(DecryptInit), .reportName = "J_DecryptInit", .functions = {"C_DecryptInit"},
     .handle = Handle::SessionArgument, .blocks = 4},
    {SESSION(DecryptUpdate__JZLvelnor_Mechanism_2J_3BII), .reportName = "J_DecryptUpdate",
     .functions = {"C_DecryptInit", "C_DecryptUpdate"}, .handle = Handle::SessionArgument, .blocks = 5,
     .good = {.bytes = {kPlain}}},
    {SESSION(DecryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI), .reportName = "J_DecryptUpdate",
     .functions = {"C_DecryptInit", "C_DecryptUpdate"}, .handle = Handle::SessionArgument, .blocks = 4,
     .good = {.bytes = {kPlain}}},
    {SESSION(Decrypt), .reportName = "J_Decrypt", .functions = {"C_DecryptInit", "C_Decrypt"},
     .handle = Handle::SessionArgument, .blocks = 5, .good = {.bytes = {kPlain}}},
    {SESSION(DecryptFinal__), .reportName = "J_DecryptFinal", .functions = {"C_DecryptFinal"}, .blocks = 1,
     .good = {.before = decryptingAPart}},
    {SESSION(DecryptFinal___3BI), .reportName = "J_DecryptFinal", .functions = {"C_DecryptFinal"},
     .good = {.before = decryptingAPart}, .preset = 512},

    // digesting.cpp
    {SESSION(DigestKey), .reportName = "J_DigestKey", .functions = {"C_DigestInit", "C_DigestKey"},
     .handle = Handle::SessionArgument},
    {SESSION(DigestUpdate), .reportName = "J_DigestUpdate", .functions = {"C_DigestInit", "C_DigestUpdate"},
     .handle = Handle::SessionArgument, .good = {.bytes = {kPlain}}},
    {SESSION(Digest__JZLvelnor_Mechanism_2_3BII), .reportName = "J_Digest", .functions = {"C_DigestInit", "C_Digest"},
     .handle = Handle::SessionArgument, .blocks = 1, .good = {.bytes = {kPlain}}},
    {SESSION(Digest__JZLvelnor_Mechanism_2_3BII_3BI), .reportName = "J_Digest",
     .functions = {"C_DigestInit", "C_Digest"}, .handle = Handle::SessionArgument, .good = {.bytes = {kPlain}}},
    {SESSION(DigestFinal__), .reportName = "J_DigestFinal", .functions = {"C_DigestFinal"}, .blocks = 1,
     .good = {.before = digestingAPart}},
    {SESSION(DigestFinal___3BI), .reportName = "J_DigestFinal", .functions = {"C_DigestFinal"},
     .good = {.before = digestingAPart}, .preset = 512, .detachesOutput = true},

    // signing.cpp
    {SESSION(SignInit), .reportName = "J_SignInit", .functions = {"C_SignInit"}, .handle = Handle::SessionArgument,
     .blocks = 4},
    {SESSION(SignUpdate), .reportName = "J_SignUpdate", .functions = {"C_SignInit", "C_SignUpdate"},
     .handle = Handle::SessionArgument, .log = Log::EntryAndExit, .blocks = 4, .good = {.bytes = {kPlain}}},
    {SESSION(Sign__JZLvelnor_Mechanism_2J_3BII), .reportName = "J_Sign", .functions = {"C_SignInit", "C_Sign"},
     .handle = Handle::SessionArgument, .log = Log::EntryAndExit, .blocks = 5, .good = {.bytes = {kPlain}}},
    {SESSION(Sign__JZLvelnor_Mechanism_2J_3BII_3BI), .reportName = "J_Sign", .functions = {"C_SignInit", "C_Sign"},
     .handle = Handle::SessionArgument, .log = Log::EntryAndExit, .blocks = 4, .good = {.bytes = {kPlain}}},
    {SESSION(SignFinal__), .reportName = "J_SignFinal", .functions = {"C_SignFinal"}, .log = Log::EntryAndExit,
     .blocks = 1, .good = {.before = signingAPart}},
    {SESSION(SignFinal___3BI), .reportName = "J_SignFinal", .functions = {"C_SignFinal"}, .log = Log::EntryAndExit,
     .good = {.before = signingAPart}},
    {SESSION(SignRecoverInit), .reportName = "J_SignRecoverInit", .functions = {"C_SignRecoverInit"}, .blocks = 4},
    {SESSION(SignRecover___3BII), .reportName = "J_SignRecover", .functions = {"C_SignRecover"}, .blocks = 1,
     .good = {.before = signingWithRecovery, .bytes = {kPlain}}},
    {SESSION(SignRecover___3BII_3BI), .reportName = "J_SignRecover", .functions = {"C_SignRecover"},
     .good = {.before = signingWithRecovery, .bytes = {kPlain}}, .detachesOutput = true},

    // verification.cpp
    {SESSION(VerifyUpdate), .reportName = "J_VerifyUpdate", .functions = {"C_VerifyInit", "C_VerifyUpdate"},
     .handle = Handle::SessionArgument, .blocks = 4, .good = {.bytes = {kPlain}},
     .emptyRelease = "ReleaseByteArrayElements input0 elements=null mode 2"},
    {SESSION(Verify), .reportName = "J_Verify", .functions = {"C_VerifyInit", "C_Verify"},
     .handle = Handle::SessionArgument, .blocks = 4, .good = {.bytes = {kPlain, kSigned}}},
    {SESSION(VerifyFinal), .reportName = "J_VerifyFinal", .functions = {"C_VerifyFinal"},
     .good = {.before = verifyingAPart, .bytes = {kSigned}}, .keepsInput = true},
    {SESSION(VerifyRecoverInit), .reportName = "J_VerifyRecoverInit", .functions = {"C_VerifyRecoverInit"},
     .blocks = 4},
    {SESSION(VerifyRecover___3BII), .reportName = "J_VerifyRecover", .functions = {"C_VerifyRecover"}, .blocks = 1,
     .good = {.before = verifyingWithRecovery, .bytes = {kRecoverable}}},
    {SESSION(VerifyRecover___3BII_3BI), .reportName = "J_VerifyRecover", .functions = {"C_VerifyRecover"},
     .good = {.before = verifyingWithRecovery, .bytes = {kRecoverable}}, .detachesOutput = true},

    // dual_functions.cpp
    {SESSION(DecryptDigestUpdate), .reportName = "J_DecryptDigestUpdate", .functions = {"C_DecryptDigestUpdate"},
     .good = {.before = decryptingAndDigesting, .bytes = {kPlain}}, .detachesOutput = true},
    {SESSION(DigestEncryptUpdate), .reportName = "J_DigestEncryptUpdate", .functions = {"C_DigestEncryptUpdate"},
     .good = {.before = encryptingAndDigesting, .bytes = {kPlain}}, .detachesOutput = true},
    {SESSION(SignEncryptUpdate), .reportName = "J_SignEncryptUpdate", .functions = {"C_SignEncryptUpdate"},
     .good = {.before = encryptingAndSigning, .bytes = {kPlain}}, .detachesOutput = true},
    {SESSION(DecryptVerifyUpdate), .reportName = "J_DecryptVerifyUpdate", .functions = {"C_DecryptVerifyUpdate"},
     .good = {.before = decryptingAndVerifying, .bytes = {kPlain}}, .detachesOutput = true},

    // random.cpp
    {SESSION(GenerateRandom), .reportName = "J_GenerateRandom", .functions = {"C_SeedRandom", "C_GenerateRandom"},
     .handle = Handle::SessionArgument, .good = {.bytes = {"seed of random"}, .fillsLastArray = true}},

    // key_generation.cpp
    {SESSION(GenerateKey), .reportName = "J_GenerateKey", .functions = {"C_GenerateKey"}, .log = Log::Entry,
     .blocks = 9},
    {SESSION(GenerateKeyPair), .reportName = "J_GenerateKeyPair", .functions = {"C_GenerateKeyPair"},
     .log = Log::Entry, .blocks = 14},

    // key_wrapping.cpp
    {SESSION(WrapKey), .reportName = "J_WrapKey", .functions = {"C_WrapKey"}, .blocks = 5},
    {SESSION(UnwrapKey), .reportName = "J_UnwrapKey", .functions = {"C_UnwrapKey"}, .blocks = 9,
     .good = {.bytes = {"WRAP:wrapped secret key"}}, .keepsInput = true},

    // key_derivation.cpp
    {SESSION(DeriveKey), .reportName = "J_DeriveKey", .functions = {"C_DeriveKey"}, .blocks = 9},
  };
  return rows;
}
// clang-format on

}  // namespace

std::string Method::className() const {
  const std::string path = label();
  return path.substr(0, path.find('_'));
}

/// The first underscore of a symbol's own part is spelled `_1`, an overload begins at `__`.
std::string Method::javaName() const {
  const std::string path = label();
  const std::string own = path.substr(path.find('_') + 1);
  std::string name = own.substr(0, own.find("__"));
  if (const std::size_t escaped = name.find("_1"); escaped != std::string::npos) {
    name.erase(escaped + 1, 1);
  }
  return name;
}

std::string Method::label() const {
  return symbol.substr(sizeof kPackage - 1);
}

/// Methods of the library itself report with a prefix that their log lines lack.
std::string Method::logName() const {
  return handle == Handle::None && reportName.rfind("J_", 0) == 0 ? reportName.substr(2) : reportName;
}

bool Method::takes(Kind kind) const {
  return std::find(signature.parameters.begin(), signature.parameters.end(), kind) != signature.parameters.end();
}

bool Method::startsByFlag() const {
  return takes(Kind::Boolean) && !functions.empty() && hasWorker(functions.front());
}

const std::vector<Method>& allMethods() {
  return rows();
}

const Method& methodOf(const std::string& symbol) {
  const std::vector<Method>& all = rows();
  const auto found = std::find_if(all.begin(), all.end(), [&symbol](const Method& m) { return m.symbol == symbol; });
  if (found == all.end()) {
    throw std::out_of_range("no row for " + symbol);
  }
  return *found;
}

const std::vector<std::string>& exportedMethods() {
  static const std::vector<std::string> symbols = {
#define X(symbol) #symbol,
#include "natives.inc"
#undef X
  };
  return symbols;
}

bool hasWorker(const std::string& moduleFunction) {
  constexpr const char* kFunctions[] = {"C_EncryptInit", "C_DecryptInit", "C_DigestInit",
                                        "C_SignInit",    "C_VerifyInit",  "C_SeedRandom"};
  return std::find(std::begin(kFunctions), std::end(kFunctions), moduleFunction) != std::end(kFunctions);
}

}  // namespace registry
