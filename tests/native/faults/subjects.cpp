#include "subjects.h"

#include "java_model.h"
#include "world.h"

#include <algorithm>
#include <sstream>

namespace faults {
namespace {

// Unmistakable in memory, and a multiple of the toy's block of 4.
const std::string kPlain = "secret plaintext";
const std::string kSigned = "SIG:txetnialp terces";
const std::string kRecoverable = "REC:txetnialp terces";
const std::string kPart = "some";

constexpr CK_OBJECT_HANDLE kKey = World::hSecretKey;

void encrypting(World& world) {
  world.start(&CK_FUNCTION_LIST::C_EncryptInit, kKey);
}
void decrypting(World& world) {
  world.start(&CK_FUNCTION_LIST::C_DecryptInit, kKey);
}
void digesting(World& world) {
  world.start(&CK_FUNCTION_LIST::C_DigestInit);
}
void signing(World& world) {
  world.start(&CK_FUNCTION_LIST::C_SignInit, kKey);
}
void verifying(World& world) {
  world.start(&CK_FUNCTION_LIST::C_VerifyInit, kKey);
}

const std::vector<Tweak> kTweaks = {
    {.javaName = "Initialize",
     .before = [](World& w) { Java_velnor_nat_NativeCryptoki_Finalize(w.jni, w.cryptoki, nullptr); }},
    {.javaName = "J_InitToken",
     .before = [](World& w) { World::expectOk(functionList->C_CloseSession(w.hSession)); },
     .strings = {World::kSOPin, "label"}},
    {.javaName = "J_InitPIN", .before = [](World& w) { w.login(CKU_SO); }, .strings = {"PIN to be set"}},
    {.javaName = "J_SetPIN", .strings = {World::kUserPin, "PIN to be set"}},
    {.javaName = "J_Logout", .before = [](World& w) { w.login(CKU_USER); }},
    {.javaName = "J_OpenSession", .ints = {CKF_SERIAL_SESSION | CKF_RW_SESSION}},
    {.javaName = "J_GetMechanismInfo", .ints = {CKM_SHA_1}},
    {.javaName = "J_GetAttributeValue", .ints = {CKA_VALUE}},
    {.javaName = "J_GetFunctionStatus", .answers = {"C_GetFunctionStatus CKR_OK"}},
    {.javaName = "J_CancelFunction", .answers = {"C_CancelFunction CKR_OK"}},
    {.javaName = "J_GetOperationState", .before = digesting},
    {.javaName = "J_SetOperationState", .bytes = {"OPSTATE!"}},
    {.javaName = "J_GenerateRandom", .bytes = {"seed of random"}, .fillsLastArray = true},
    {.javaName = "J_Encrypt", .bytes = {kPlain}},
    {.javaName = "J_EncryptUpdate", .bytes = {kPlain}},
    {.javaName = "J_EncryptFinal",
     .before =
         [](World& w) {
           encrypting(w);
           w.stream(&CK_FUNCTION_LIST::C_EncryptUpdate, "remains");
         }},
    {.javaName = "J_Decrypt", .bytes = {kPlain}},
    {.javaName = "J_DecryptUpdate", .bytes = {kPlain}},
    {.javaName = "J_DecryptFinal",
     .before =
         [](World& w) {
           decrypting(w);
           w.stream(&CK_FUNCTION_LIST::C_DecryptUpdate, "remains");
         }},
    {.javaName = "J_Digest", .bytes = {kPlain}},
    {.javaName = "J_DigestUpdate", .bytes = {kPlain}},
    {.javaName = "J_DigestFinal",
     .before =
         [](World& w) {
           digesting(w);
           w.feed(&CK_FUNCTION_LIST::C_DigestUpdate, kPlain);
         }},
    {.javaName = "J_Sign", .bytes = {kPlain}},
    {.javaName = "J_SignUpdate", .bytes = {kPlain}},
    {.javaName = "J_SignFinal",
     .before =
         [](World& w) {
           signing(w);
           w.feed(&CK_FUNCTION_LIST::C_SignUpdate, kPlain);
         }},
    {.javaName = "J_SignRecover",
     .before = [](World& w) { w.start(&CK_FUNCTION_LIST::C_SignRecoverInit, kKey); },
     .bytes = {kPlain}},
    {.javaName = "J_Verify", .bytes = {kPlain, kSigned}},
    {.javaName = "J_VerifyUpdate", .bytes = {kPlain}},
    {.javaName = "J_VerifyFinal",
     .before =
         [](World& w) {
           verifying(w);
           w.feed(&CK_FUNCTION_LIST::C_VerifyUpdate, kPlain);
         },
     .bytes = {kSigned}},
    {.javaName = "J_VerifyRecover",
     .before = [](World& w) { w.start(&CK_FUNCTION_LIST::C_VerifyRecoverInit, kKey); },
     .bytes = {kRecoverable}},
    {.javaName = "J_DecryptDigestUpdate", .before = [](World& w) { decrypting(w), digesting(w); }, .bytes = {kPlain}},
    {.javaName = "J_DigestEncryptUpdate", .before = [](World& w) { encrypting(w), digesting(w); }, .bytes = {kPlain}},
    {.javaName = "J_SignEncryptUpdate", .before = [](World& w) { encrypting(w), signing(w); }, .bytes = {kPlain}},
    {.javaName = "J_DecryptVerifyUpdate", .before = [](World& w) { decrypting(w), verifying(w); }, .bytes = {kPlain}},
    {.javaName = "J_UnwrapKey", .bytes = {"WRAP:wrapped secret key"}},
};

/// The password-based kind has the most secrets of all kinds; digests take none of them.
constexpr jint kMechanism = CKM_PBE_SHA1_DES3_EDE_CBC;
constexpr jint kDigestMechanism = CKM_SHA_1;

/// One code of every parameter kind; a test compares their classes with those that the library may look up.
constexpr jint kMechanismOfEveryKind[] = {
    CKM_DES3_CBC,
    CKM_SHA_1_HMAC_GENERAL,
    CKM_RC2_ECB,
    CKM_RC2_CBC,
    CKM_RC2_MAC_GENERAL,
    CKM_RC5_ECB,
    CKM_RC5_CBC,
    CKM_RC5_MAC_GENERAL,
    CKM_RSA_PKCS_OAEP,
    CKM_KEY_WRAP_SET_OAEP,
    CKM_PBE_MD5_DES_CBC,
    CKM_XOR_BASE_AND_DATA,
    CKM_EXTRACT_KEY_FROM_KEY,
    CKM_SSL3_MASTER_KEY_DERIVE,
    CKM_SSL3_KEY_AND_MAC_DERIVE,
    CKM_SKIPJACK_PRIVATE_WRAP,
    CKM_SKIPJACK_RELAYX,
    CKM_KEA_KEY_DERIVE,
};

Tweak tweakOf(const Method& method) {
  const auto found = std::find_if(kTweaks.begin(), kTweaks.end(),
                                  [&method](const Tweak& tweak) { return tweak.javaName == method.javaName; });
  return found == kTweaks.end() ? Tweak{.javaName = method.javaName} : *found;
}

std::vector<Subject> makeSubjects() {
  std::vector<Subject> subjects;
  for (const Method& method : allMethods()) {
    const Tweak tweak = tweakOf(method);
    const bool digests = method.javaName.rfind("J_Digest", 0) == 0;
    subjects.push_back({&method, "", tweak, digests ? kDigestMechanism : kMechanism});
    if (method.javaName == "loadCryptokiLibrary3") {
      subjects.push_back({&method, "byRelativePath", tweak, kMechanism});
    }
    if (method.javaName == "J_FindObjects") {
      // So many matches that the buffer of the method grows twice.
      Tweak many = tweak;
      many.answers = {"C_FindObjects list=1..2100"};
      const bool reads = method.takes(Kind::IntArray);
      if (!reads) {
        subjects.push_back({&method, "manyMatches", many, kMechanism});
      }
    }
    if (method.javaName == "J_SignRecoverInit") {
      for (const jint code : kMechanismOfEveryKind) {
        std::ostringstream name;
        name << "mechanism0x" << std::hex << code;
        subjects.push_back({&method, name.str(), tweak, code});
      }
    }
  }
  return subjects;
}

}  // namespace

const std::vector<Subject>& allSubjects() {
  static const std::vector<Subject> subjects = makeSubjects();
  return subjects;
}

std::vector<std::string> tweakedMethods() {
  std::vector<std::string> names;
  for (const Tweak& tweak : kTweaks) {
    names.push_back(tweak.javaName);
  }
  return names;
}

std::vector<std::string> parameterClasses() {
  std::vector<std::string> classes;
  std::istringstream contract(jvm::kContract);
  for (std::string line; std::getline(contract, line);) {
    if (line.rfind("velnor/params/", 0) == 0) {
      classes.push_back(line.substr(0, line.find(' ')));
    }
  }
  return classes;
}

}  // namespace faults
