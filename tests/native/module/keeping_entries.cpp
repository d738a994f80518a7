/// What a module does that keeps the address of a mechanism's parameter, as tokens do: every function of the operation
/// reads it there once more, and refuses when it is not what it was. Of a CK_GCM_PARAMS the vector is written, every
/// time another one, as by a token that makes its own. Around the usual entries of the scripted module.
#include "keeping_entries.h"

#include "entries.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <tuple>

namespace scripted {
namespace {

enum class Kind { Encryption, Decryption, Digest, Signature, Recoverable, Verification, Recovery };

struct Kept {
  CK_MECHANISM mechanism;
  std::string image;
};

std::mutex mutex;
/// By session and kind; they stay when the operation has ended, so that a test can look at the memory then.
std::map<std::tuple<CK_SESSION_HANDLE, Kind>, Kept> kept;
int uses = 0;

std::string bytesAt(const void* at, CK_ULONG length) {
  return at == nullptr ? "" : std::string(static_cast<const char*>(at), length);
}

CK_GCM_PARAMS* gcm(const CK_MECHANISM& mechanism) {
  return mechanism.mechanism == CKM_AES_GCM ? static_cast<CK_GCM_PARAMS*>(mechanism.pParameter) : nullptr;
}

/// All that a module may read of a parameter, but for what it writes.
std::string imageOf(const CK_MECHANISM& mechanism) {
  const CK_GCM_PARAMS* const params = gcm(mechanism);
  return bytesAt(mechanism.pParameter, mechanism.ulParameterLen) +
         (params == nullptr ? "" : bytesAt(params->pAAD, params->ulAADLen));
}

void keep(CK_SESSION_HANDLE hSession, Kind kind, const CK_MECHANISM* pMechanism) {
  const std::lock_guard guard(mutex);
  if (pMechanism != nullptr && pMechanism->pParameter != nullptr) {
    kept[{hSession, kind}] = {*pMechanism, imageOf(*pMechanism)};
  } else {
    kept.erase({hSession, kind});
  }
}

/// Whether a parameter is where it was, as it was.
bool stands(const Kept& one) {
  const CK_MECHANISM& mechanism = one.mechanism;
  // Pointers are followed when they are what they were.
  return one.image.compare(0, mechanism.ulParameterLen, bytesAt(mechanism.pParameter, mechanism.ulParameterLen)) == 0 &&
         imageOf(mechanism) == one.image;
}

bool isBlank(const Kept& one) {
  const CK_ULONG length = one.mechanism.ulParameterLen;
  return bytesAt(one.mechanism.pParameter, length) == std::string(length, '\0');
}

/// Reads the parameter once more, and writes its vector.
bool use(CK_SESSION_HANDLE hSession, Kind kind) {
  const std::lock_guard guard(mutex);
  const auto found = kept.find({hSession, kind});
  if (found == kept.end()) {
    return true;
  }
  if (!stands(found->second)) {
    return false;
  }
  ++uses;
  if (const CK_GCM_PARAMS* const params = gcm(found->second.mechanism)) {
    std::memset(params->pIv, '0' + uses % 10, params->ulIvLen);
  }
  return true;
}

int count(bool (*is)(const Kept&)) {
  const std::lock_guard guard(mutex);
  return static_cast<int>(
      std::count_if(kept.begin(), kept.end(), [is](const auto& entry) { return is(entry.second); }));
}

template <Kind kind, auto entry>
struct Begins;

template <Kind kind, typename... Rest, CK_RV (*entry)(CK_SESSION_HANDLE, CK_MECHANISM_PTR, Rest...)>
struct Begins<kind, entry> {
  static CK_RV call(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, Rest... rest) {
    const CK_RV Rv = entry(hSession, pMechanism, rest...);
    if (Rv == CKR_OK) {
      keep(hSession, kind, pMechanism);
    }
    return Rv;
  }
};

template <Kind kind, auto entry>
struct Uses;

template <Kind kind, typename... Rest, CK_RV (*entry)(CK_SESSION_HANDLE, Rest...)>
struct Uses<kind, entry> {
  static CK_RV call(CK_SESSION_HANDLE hSession, Rest... rest) {
    return use(hSession, kind) ? entry(hSession, rest...) : CKR_MECHANISM_PARAM_INVALID;
  }
};

}  // namespace

void keepParameters(CK_FUNCTION_LIST& list) {
#define BEGINS(kind, name) list.name = Begins<Kind::kind, name>::call
#define USES(kind, name) list.name = Uses<Kind::kind, name>::call
  BEGINS(Encryption, C_EncryptInit);
  USES(Encryption, C_Encrypt);
  USES(Encryption, C_EncryptUpdate);
  USES(Encryption, C_EncryptFinal);
  USES(Encryption, C_DigestEncryptUpdate);
  BEGINS(Decryption, C_DecryptInit);
  USES(Decryption, C_Decrypt);
  USES(Decryption, C_DecryptUpdate);
  USES(Decryption, C_DecryptFinal);
  USES(Decryption, C_DecryptDigestUpdate);
  USES(Decryption, C_DecryptVerifyUpdate);
  BEGINS(Digest, C_DigestInit);
  USES(Digest, C_Digest);
  USES(Digest, C_DigestUpdate);
  USES(Digest, C_DigestFinal);
  BEGINS(Signature, C_SignInit);
  USES(Signature, C_Sign);
  USES(Signature, C_SignUpdate);
  USES(Signature, C_SignFinal);
  USES(Signature, C_SignEncryptUpdate);
  BEGINS(Recoverable, C_SignRecoverInit);
  USES(Recoverable, C_SignRecover);
  BEGINS(Verification, C_VerifyInit);
  USES(Verification, C_Verify);
  USES(Verification, C_VerifyUpdate);
  USES(Verification, C_VerifyFinal);
  BEGINS(Recovery, C_VerifyRecoverInit);
  USES(Recovery, C_VerifyRecover);
#undef USES
#undef BEGINS
}

}  // namespace scripted

extern "C" {

#define EXPORTED __attribute__((visibility("default")))

/// Forgets what was kept and counted.
EXPORTED void keeping_reset() {
  const std::lock_guard guard(scripted::mutex);
  scripted::kept.clear();
  scripted::uses = 0;
}

/// How often a parameter was read once more and was what it had been.
EXPORTED int keeping_uses() {
  const std::lock_guard guard(scripted::mutex);
  return scripted::uses;
}

/// How many parameters are as they were, and how many lie in memory that is blank now. It must be there still.
EXPORTED int keeping_standing() {
  return scripted::count(scripted::stands);
}

EXPORTED int keeping_blank() {
  return scripted::count(scripted::isBlank);
}
}
