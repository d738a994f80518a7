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

constexpr const char* leftOut30 = "of version 3.0, and left out by both";
constexpr const char* since31 = "of version 3.1, which neither knows";
constexpr const char* since32 = "of version 3.2, which neither knows";

constexpr Unknown unknown[] = {
    {"CK_SKIPJACK_PRIVATE_WRAP_PARAMS_PTR", "size 8 align 8 is CK_SKIPJACK_PRIVATE_WRAP_PARAMS*",
     "NSS keeps an older name without PARAMS, p11-kit leaves SKIPJACK's structures out"},
    {"CK_EDDSA_PARAMS_PTR", "size 8 align 8 is CK_EDDSA_PARAMS*",
     "NSS has the structure without the pointer, p11-kit neither"},
    {"CK_TLS_KDF_PARAMS_PTR", "size 8 align 8 is CK_TLS_KDF_PARAMS*",
     "NSS has the structure without the pointer, p11-kit neither"},
    {"CKA_UNIQUE_ID", "value 0x4", leftOut30},
    {"CKR_AEAD_DECRYPT_FAILED", "value 0x42", leftOut30},
    {"CKM_AES_XTS", "value 0x1071", leftOut30},
    {"CKM_AES_XTS_KEY_GEN", "value 0x1072", leftOut30},
    {"CKF_EC_CURVENAME", "value 0x4000000", leftOut30},
    {"CKA_HSS_LEVELS", "value 0x617", since31},
    {"CKA_HSS_LMS_TYPE", "value 0x618", since31},
    {"CKA_HSS_LMOTS_TYPE", "value 0x619", since31},
    {"CKA_HSS_LMS_TYPES", "value 0x61a", since31},
    {"CKA_HSS_LMOTS_TYPES", "value 0x61b", since31},
    {"CKA_HSS_KEYS_REMAINING", "value 0x61c", since31},
    {"CKR_KEY_EXHAUSTED", "value 0x203", since31},
    {"CKK_HSS", "value 0x46", since31},
    {"CKM_AES_KEY_WRAP_PKCS7", "value 0x210c", since31},
    {"CKM_IKE2_PRF_PLUS_DERIVE", "value 0x402e", since31},
    {"CKM_IKE_PRF_DERIVE", "value 0x402f", since31},
    {"CKM_IKE1_PRF_DERIVE", "value 0x4030", since31},
    {"CKM_IKE1_EXTENDED_DERIVE", "value 0x4031", since31},
    {"CKM_HSS_KEY_PAIR_GEN", "value 0x4032", since31},
    {"CKM_HSS", "value 0x4033", since31},
    {"CKA_PARAMETER_SET", "value 0x61d", since32},
    {"CKA_ENCAPSULATE", "value 0x633", since32},
    {"CKA_DECAPSULATE", "value 0x634", since32},
    {"CKA_SEED", "value 0x637", since32},
    {"CKO_VALIDATION", "value 0xa", since32},
    {"CKO_TRUST", "value 0xb", since32},
    {"CKK_XMSS", "value 0x47", since32},
    {"CKK_XMSSMT", "value 0x48", since32},
    {"CKK_ML_KEM", "value 0x49", since32},
    {"CKK_ML_DSA", "value 0x4a", since32},
    {"CKK_SLH_DSA", "value 0x4b", since32},
    {"CKM_ML_KEM_KEY_PAIR_GEN", "value 0xf", since32},
    {"CKM_ML_KEM", "value 0x17", since32},
    {"CKM_ML_DSA_KEY_PAIR_GEN", "value 0x1c", since32},
    {"CKM_ML_DSA", "value 0x1d", since32},
    {"CKM_HASH_ML_DSA", "value 0x1f", since32},
    {"CKM_HASH_ML_DSA_SHA224", "value 0x23", since32},
    {"CKM_HASH_ML_DSA_SHA256", "value 0x24", since32},
    {"CKM_HASH_ML_DSA_SHA384", "value 0x25", since32},
    {"CKM_HASH_ML_DSA_SHA512", "value 0x26", since32},
    {"CKM_HASH_ML_DSA_SHA3_224", "value 0x27", since32},
    {"CKM_HASH_ML_DSA_SHA3_256", "value 0x28", since32},
    {"CKM_HASH_ML_DSA_SHA3_384", "value 0x29", since32},
    {"CKM_HASH_ML_DSA_SHA3_512", "value 0x2a", since32},
    {"CKM_HASH_ML_DSA_SHAKE128", "value 0x2b", since32},
    {"CKM_HASH_ML_DSA_SHAKE256", "value 0x2c", since32},
    {"CKM_SLH_DSA_KEY_PAIR_GEN", "value 0x2d", since32},
    {"CKM_SLH_DSA", "value 0x2e", since32},
    {"CKM_HASH_SLH_DSA", "value 0x34", since32},
    {"CKM_HASH_SLH_DSA_SHA224", "value 0x36", since32},
    {"CKM_HASH_SLH_DSA_SHA256", "value 0x37", since32},
    {"CKM_HASH_SLH_DSA_SHA384", "value 0x38", since32},
    {"CKM_HASH_SLH_DSA_SHA512", "value 0x39", since32},
    {"CKM_HASH_SLH_DSA_SHA3_224", "value 0x3a", since32},
    {"CKM_HASH_SLH_DSA_SHA3_256", "value 0x3b", since32},
    {"CKM_HASH_SLH_DSA_SHA3_384", "value 0x3c", since32},
    {"CKM_HASH_SLH_DSA_SHA3_512", "value 0x3d", since32},
    {"CKM_HASH_SLH_DSA_SHAKE128", "value 0x3e", since32},
    {"CKM_HASH_SLH_DSA_SHAKE256", "value 0x3f", since32},
    {"CKM_XMSS_KEY_PAIR_GEN", "value 0x4034", since32},
    {"CKM_XMSSMT_KEY_PAIR_GEN", "value 0x4035", since32},
    {"CKM_XMSS", "value 0x4036", since32},
    {"CKM_XMSSMT", "value 0x4037", since32},
    {"CKF_ENCAPSULATE", "value 0x10000000", since32},
    {"CKF_DECAPSULATE", "value 0x20000000", since32},
    {"CKP_ML_KEM_512", "value 0x1", since32},
    {"CKP_ML_KEM_768", "value 0x2", since32},
    {"CKP_ML_KEM_1024", "value 0x3", since32},
    {"CKP_ML_DSA_44", "value 0x1", since32},
    {"CKP_ML_DSA_65", "value 0x2", since32},
    {"CKP_ML_DSA_87", "value 0x3", since32},
    {"CKP_SLH_DSA_SHA2_128S", "value 0x1", since32},
    {"CKP_SLH_DSA_SHAKE_128S", "value 0x2", since32},
    {"CKP_SLH_DSA_SHA2_128F", "value 0x3", since32},
    {"CKP_SLH_DSA_SHAKE_128F", "value 0x4", since32},
    {"CKP_SLH_DSA_SHA2_192S", "value 0x5", since32},
    {"CKP_SLH_DSA_SHAKE_192S", "value 0x6", since32},
    {"CKP_SLH_DSA_SHA2_192F", "value 0x7", since32},
    {"CKP_SLH_DSA_SHAKE_192F", "value 0x8", since32},
    {"CKP_SLH_DSA_SHA2_256S", "value 0x9", since32},
    {"CKP_SLH_DSA_SHAKE_256S", "value 0xa", since32},
    {"CKP_SLH_DSA_SHA2_256F", "value 0xb", since32},
    {"CKP_SLH_DSA_SHAKE_256F", "value 0xc", since32},
    {"CK_ML_KEM_PARAMETER_SET_TYPE", "size 8 align 8 is unsigned long", since32},
    {"CK_ML_DSA_PARAMETER_SET_TYPE", "size 8 align 8 is unsigned long", since32},
    {"CK_SLH_DSA_PARAMETER_SET_TYPE", "size 8 align 8 is unsigned long", since32},
    {"CK_HEDGE_TYPE", "size 8 align 8 is unsigned long", since32},
    {"CK_SIGN_ADDITIONAL_CONTEXT", "size 24 align 8 is CK_SIGN_ADDITIONAL_CONTEXT", since32},
    {"CK_SIGN_ADDITIONAL_CONTEXT.hedgeVariant", "at 0 size 8 is unsigned long", since32},
    {"CK_SIGN_ADDITIONAL_CONTEXT.pContext", "at 8 size 8 is unsigned char*", since32},
    {"CK_SIGN_ADDITIONAL_CONTEXT.ulContextLen", "at 16 size 8 is unsigned long", since32},
    {"CK_SIGN_ADDITIONAL_CONTEXT_PTR", "size 8 align 8 is CK_SIGN_ADDITIONAL_CONTEXT*", since32},
    {"CK_HASH_SIGN_ADDITIONAL_CONTEXT", "size 32 align 8 is CK_HASH_SIGN_ADDITIONAL_CONTEXT", since32},
    {"CK_HASH_SIGN_ADDITIONAL_CONTEXT.hedgeVariant", "at 0 size 8 is unsigned long", since32},
    {"CK_HASH_SIGN_ADDITIONAL_CONTEXT.pContext", "at 8 size 8 is unsigned char*", since32},
    {"CK_HASH_SIGN_ADDITIONAL_CONTEXT.ulContextLen", "at 16 size 8 is unsigned long", since32},
    {"CK_HASH_SIGN_ADDITIONAL_CONTEXT.hash", "at 24 size 8 is unsigned long", since32},
    {"CK_HASH_SIGN_ADDITIONAL_CONTEXT_PTR", "size 8 align 8 is CK_HASH_SIGN_ADDITIONAL_CONTEXT*", since32},
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

constexpr const char* twoVersionsOfGcm = "NSS tells two versions of the structure apart by their names";

constexpr Deviation deviations[] = {
    {"CKR_EXCEEDED_MAX_ITERATIONS", "p11-kit", "value 0x1c0", newerReturnValues},
    {"CKR_FIPS_SELF_TEST_FAILED", "p11-kit", "value 0x1c1", newerReturnValues},
    {"CKR_LIBRARY_LOAD_FAILED", "p11-kit", "value 0x1c2", newerReturnValues},
    {"CKR_PIN_TOO_WEAK", "p11-kit", "value 0x1c3", newerReturnValues},
    {"CKR_PUBLIC_KEY_INVALID", "p11-kit", "value 0x1c4", newerReturnValues},
    {"CK_GCM_PARAMS", "NSS", "size 48 align 8 is CK_GCM_PARAMS_V3", twoVersionsOfGcm},
    {"CK_GCM_PARAMS_PTR", "NSS", "size 8 align 8 is CK_GCM_PARAMS_V3*", twoVersionsOfGcm},
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
static_assert(sizeof(CK_RSA_PKCS_PSS_PARAMS) == 24);
static_assert(sizeof(CK_RSA_AES_KEY_WRAP_PARAMS) == 16);
static_assert(sizeof(CK_ECDH1_DERIVE_PARAMS) == 40);
static_assert(sizeof(CK_ECDH_AES_KEY_WRAP_PARAMS) == 32);
static_assert(sizeof(CK_X9_42_DH1_DERIVE_PARAMS) == 40);
static_assert(sizeof(CK_EDDSA_PARAMS) == 24);
static_assert(sizeof(CK_AES_CTR_PARAMS) == 24);
static_assert(sizeof(CK_CAMELLIA_CTR_PARAMS) == 24);
static_assert(sizeof(CK_GCM_PARAMS) == 48);
static_assert(sizeof(CK_CCM_PARAMS) == 48);
static_assert(sizeof(CK_CHACHA20_PARAMS) == 32);
static_assert(sizeof(CK_SALSA20_PARAMS) == 24);
static_assert(sizeof(CK_SALSA20_CHACHA20_POLY1305_PARAMS) == 32);
static_assert(sizeof(CK_DES_CBC_ENCRYPT_DATA_PARAMS) == 24);
static_assert(sizeof(CK_AES_CBC_ENCRYPT_DATA_PARAMS) == 32);
static_assert(sizeof(CK_CAMELLIA_CBC_ENCRYPT_DATA_PARAMS) == 32);
static_assert(sizeof(CK_ARIA_CBC_ENCRYPT_DATA_PARAMS) == 32);
static_assert(sizeof(CK_SEED_CBC_ENCRYPT_DATA_PARAMS) == 32);
static_assert(sizeof(CK_PKCS5_PBKD2_PARAMS) == 72);
static_assert(sizeof(CK_PKCS5_PBKD2_PARAMS2) == 72);
static_assert(sizeof(CK_HKDF_PARAMS) == 64);
static_assert(sizeof(CK_TLS12_MASTER_KEY_DERIVE_PARAMS) == 48);
static_assert(sizeof(CK_TLS12_KEY_MAT_PARAMS) == 80);
static_assert(sizeof(CK_TLS_KDF_PARAMS) == 72);
static_assert(sizeof(CK_TLS_MAC_PARAMS) == 24);
static_assert(sizeof(CK_TLS_PRF_PARAMS) == 48);
static_assert(sizeof(CK_PRF_DATA_PARAM) == 24);
static_assert(sizeof(CK_SP800_108_COUNTER_FORMAT) == 16);
static_assert(sizeof(CK_SP800_108_DKM_LENGTH_FORMAT) == 24);
static_assert(sizeof(CK_DERIVED_KEY) == 24);
static_assert(sizeof(CK_SP800_108_KDF_PARAMS) == 40);
static_assert(sizeof(CK_SP800_108_FEEDBACK_KDF_PARAMS) == 56);
static_assert(sizeof(CK_SIGN_ADDITIONAL_CONTEXT) == 24);
static_assert(sizeof(CK_HASH_SIGN_ADDITIONAL_CONTEXT) == 32);

}  // namespace
