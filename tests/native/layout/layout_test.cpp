/// Holds include/pkcs11.h against the PKCS#11 headers that NSS and p11-kit install: a wrong value, offset or signature
/// would make the bridge speak a dialect that no module understands, and no compiler would notice.
#include "facts.h"
#include "pkcs11.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cxxabi.h>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>

std::string plainTypeName(const char* mangled) {
  int status = 0;
  std::unique_ptr<char, decltype(&std::free)> demangled{abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                        &std::free};
  const std::string name = status == 0 ? demangled.get() : mangled;

  // p11-kit tags its structures `ck_info` or `_CK_INFO`, NSS and we `CK_INFO`.
  std::string plain;
  bool inTag = false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (const auto scope = name.find("::", i); scope != std::string::npos) {
      const std::string word = name.substr(i, scope - i);
      if (word == "harlune" || word == "nss" || word == "p11kit") {
        i = scope + 1;
        if (name[i + 1] == '_')
          ++i;
        inTag = true;
        continue;
      }
    }
    const auto c = static_cast<unsigned char>(name[i]);
    inTag = inTag && (std::isalnum(c) || c == '_');
    plain += inTag ? static_cast<char>(std::toupper(c)) : static_cast<char>(c);
  }
  return plain;
}

namespace {

/// A name that neither of the two headers knows, held against what the standard says.
struct Unknown {
  const char* name;
  const char* fact;
  const char* reason;
};

constexpr Unknown unknown[] = {
    {"CK_SKIPJACK_PRIVATE_WRAP_PARAMS_PTR", "size 8 align 8 is CK_SKIPJACK_PRIVATE_WRAP_PARAMS*",
     "NSS keeps an older name without PARAMS, p11-kit leaves SKIPJACK's structures out"},
};

/// A name of which one header says something else than the standard. The other one must side with us.
struct Deviation {
  const char* name;
  const char* header;
  const char* fact;
  const char* reason;
};

constexpr const char* newerReturnValues = "p11-kit numbers these on from 0x1C0, the standard goes on after 0x1B1";
constexpr const char* libraryParameters = "NSS inserts a member of its own before the reserved one";

constexpr Deviation deviations[] = {
    {"CKR_EXCEEDED_MAX_ITERATIONS", "p11-kit", "value 0x1c0", newerReturnValues},
    {"CKR_FIPS_SELF_TEST_FAILED", "p11-kit", "value 0x1c1", newerReturnValues},
    {"CKR_LIBRARY_LOAD_FAILED", "p11-kit", "value 0x1c2", newerReturnValues},
    {"CKR_PIN_TOO_WEAK", "p11-kit", "value 0x1c3", newerReturnValues},
    {"CKR_PUBLIC_KEY_INVALID", "p11-kit", "value 0x1c4", newerReturnValues},
    {"CK_C_INITIALIZE_ARGS", "NSS", "size 56 align 8 is CK_C_INITIALIZE_ARGS", libraryParameters},
    {"CK_C_INITIALIZE_ARGS.pReserved", "NSS", "at 48 size 8 is void*", libraryParameters},
};

bool isKnownDeviation(const std::string& name, const std::string& header, const std::string& fact) {
  return std::any_of(std::begin(deviations), std::end(deviations), [&](const Deviation& deviation) {
    return deviation.name == name && deviation.header == header && deviation.fact == fact;
  });
}

class Layout : public testing::Test {
protected:
  const Facts ours = harluneFacts();
  const std::map<std::string, Facts> others{{"NSS", nssFacts()}, {"p11-kit", p11kitFacts()}};

  bool isInAnother(const std::string& name) const {
    return std::any_of(others.begin(), others.end(), [&](const auto& other) { return other.second.count(name) != 0; });
  }
};

TEST_F(Layout, EveryNameOfTheHeaderIsRead) {
  std::size_t names = 0;
#define CONSTANT(name)                                                                                                 \
  ++names;                                                                                                             \
  EXPECT_EQ(ours.count(#name), 1u) << #name;
#define TYPE(name) CONSTANT(name)
#define FIELD(structure, member) CONSTANT(structure.member)
#include "pkcs11_names.inc"
#undef CONSTANT
#undef TYPE
#undef FIELD
  EXPECT_EQ(ours.size(), names);
}

TEST_F(Layout, EveryNameMeansWhatAnotherHeaderSays) {
  for (const auto& [name, fact] : ours) {
    bool confirmed = false;
    for (const auto& [header, facts] : others) {
      const auto found = facts.find(name);
      if (found == facts.end() || isKnownDeviation(name, header, found->second))
        continue;
      EXPECT_EQ(fact, found->second) << name << " in " << header;
      confirmed = true;
    }
    for (const Unknown& entry : unknown) {
      if (name == entry.name) {
        EXPECT_EQ(fact, entry.fact) << name << ": " << entry.reason;
        confirmed = true;
      }
    }
    EXPECT_TRUE(confirmed) << name << " has nothing to be held against";
  }
}

TEST_F(Layout, UnknownNamesAreOursAloneStill) {
  for (const Unknown& entry : unknown) {
    EXPECT_EQ(ours.count(entry.name), 1u) << entry.name;
    EXPECT_FALSE(isInAnother(entry.name)) << entry.name;
  }
}

TEST_F(Layout, DeviationsAreThereStill) {
  for (const auto& [name, header, fact, reason] : deviations) {
    const Facts& facts = others.at(header);
    ASSERT_EQ(facts.count(name), 1u) << name << " in " << header;
    EXPECT_EQ(facts.at(name), fact) << name << ": " << reason;
    ASSERT_EQ(ours.count(name), 1u) << name;
    EXPECT_NE(ours.at(name), fact) << name << ": " << reason;
  }
}

/// Names that all hid behind the stand-ins would leave a header without a say.
TEST_F(Layout, BothOtherHeadersDescribeTheFunctionList) {
  for (const auto& [header, facts] : others) {
    std::size_t entries = 0;
    for (const auto& [name, fact] : facts)
      entries += name.starts_with("CK_FUNCTION_LIST.C_");
    EXPECT_EQ(entries, 68u) << header;
  }
}

// The lengths that modules compare `ulParameterLen` with.
static_assert(sizeof(CK_MAC_GENERAL_PARAMS) == 8);
static_assert(sizeof(CK_RC2_PARAMS) == 8);
static_assert(sizeof(CK_RC2_CBC_PARAMS) == 16);
static_assert(sizeof(CK_RC2_MAC_GENERAL_PARAMS) == 16);
static_assert(sizeof(CK_RC5_PARAMS) == 16);
static_assert(sizeof(CK_RC5_CBC_PARAMS) == 32);
static_assert(sizeof(CK_RC5_MAC_GENERAL_PARAMS) == 24);
static_assert(sizeof(CK_RSA_PKCS_OAEP_PARAMS) == 40);
static_assert(sizeof(CK_KEY_WRAP_SET_OAEP_PARAMS) == 24);
static_assert(sizeof(CK_PBE_PARAMS) == 48);
static_assert(sizeof(CK_KEY_DERIVATION_STRING_DATA) == 16);
static_assert(sizeof(CK_EXTRACT_PARAMS) == 8);
static_assert(sizeof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS) == 40);
static_assert(sizeof(CK_SSL3_KEY_MAT_OUT) == 48);
static_assert(sizeof(CK_SSL3_KEY_MAT_PARAMS) == 72);
static_assert(sizeof(CK_SKIPJACK_PRIVATE_WRAP_PARAMS) == 88);
static_assert(sizeof(CK_SKIPJACK_RELAYX_PARAMS) == 112);
static_assert(sizeof(CK_KEA_DERIVE_PARAMS) == 48);

}  // namespace
