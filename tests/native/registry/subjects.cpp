#include "subjects.h"

#include "java_model.h"
#include "world.h"

#include <sstream>

namespace registry {
namespace {

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

Subject plain(const Method& method) {
  const bool digests = method.javaName().rfind("J_Digest", 0) == 0;
  return {&method, "", method.good, digests ? kDigestMechanism : kMechanism};
}

/// The operation that a method's flag would start is under way already.
Subject continued(const Method& method) {
  Subject subject = plain(method);
  subject.variant = "continued";
  subject.flag = false;
  const std::string& start = method.functions.front();
  subject.preparation.before = start == "C_EncryptInit"   ? World::startEncrypting
                               : start == "C_DecryptInit" ? World::startDecrypting
                               : start == "C_DigestInit"  ? World::startDigesting
                               : start == "C_SignInit"    ? World::startSigning
                               : start == "C_VerifyInit"  ? World::startVerifying
                                                          : nullptr;
  return subject;
}

std::vector<Subject> variantsOf(const Method& method) {
  std::vector<Subject> variants;
  const auto add = [&](const std::string& name) -> Subject& {
    variants.push_back(plain(method));
    variants.back().variant = name;
    return variants.back();
  };
  const std::string name = method.javaName();
  if (method.startsByFlag()) {
    variants.push_back(continued(method));
  }
  if (name == "loadCryptokiLibrary3") {
    add("byRelativePath");
  }
  if (name == "J_OpenSession" && method.takes(Kind::String)) {
    add("withEmptyPin").preparation.strings = {""};
    add("withoutPin");
  }
  if (name == "J_FindObjects" && !method.takes(Kind::IntArray)) {
    // So many matches that the buffer of the method grows twice.
    add("manyMatches").preparation.answers = {"C_FindObjects list=1..2100"};
  }
  if (name == "J_SignRecoverInit") {
    for (const jint code : kMechanismOfEveryKind) {
      std::ostringstream kind;
      kind << "mechanism0x" << std::hex << code;
      add(kind.str()).mechanism = code;
    }
  }
  return variants;
}

}  // namespace

const std::vector<Subject>& plainSubjects() {
  static const std::vector<Subject> subjects = [] {
    std::vector<Subject> all;
    for (const Method& method : allMethods()) {
      all.push_back(plain(method));
    }
    return all;
  }();
  return subjects;
}

const std::vector<Subject>& allSubjects() {
  static const std::vector<Subject> subjects = [] {
    std::vector<Subject> all = plainSubjects();
    for (const Method& method : allMethods()) {
      const std::vector<Subject> variants = variantsOf(method);
      all.insert(all.end(), variants.begin(), variants.end());
    }
    return all;
  }();
  return subjects;
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

}  // namespace registry
