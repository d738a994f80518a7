#include "describe.h"

#include "text.h"

#include <cstring>

namespace scripted {
namespace {

constexpr CK_ULONG kUnbelievable = 0x1000000;

/// Collects `name=value` pairs in braces.
class Fields {
public:
  Fields& hex(const char* name, CK_ULONG value) { return add(name, text::hex(value)); }
  Fields& number(const char* name, CK_ULONG value) { return add(name, text::length(value)); }
  Fields& bytes(const char* name, const void* bytes, CK_ULONG length) {
    return add(name, bytes == nullptr ? "null:" + text::length(length) : input(bytes, length, false));
  }
  Fields& add(const char* name, const std::string& value) {
    text_ += (text_.empty() ? "" : " ") + std::string(name) + "=" + value;
    return *this;
  }
  std::string text() const { return "{" + text_ + "}"; }

private:
  std::string text_;
};

std::string show(const CK_RSA_PKCS_OAEP_PARAMS& p) {
  return Fields()
      .hex("hashAlg", p.hashAlg)
      .hex("mgf", p.mgf)
      .hex("source", p.source)
      .bytes("sourceData", p.pSourceData, p.ulSourceDataLen)
      .text();
}

std::string show(const CK_RC5_CBC_PARAMS& p) {
  return Fields().number("wordsize", p.ulWordsize).number("rounds", p.ulRounds).bytes("iv", p.pIv, p.ulIvLen).text();
}

std::string show(const CK_KEY_WRAP_SET_OAEP_PARAMS& p) {
  return Fields().hex("bBC", p.bBC).bytes("x", p.pX, p.ulXLen).text();
}

std::string show(const CK_PBE_PARAMS& p) {
  return Fields()
      .bytes("initVector", p.pInitVector, p.pInitVector == nullptr ? 0 : 8)
      .bytes("password", p.pPassword, p.ulPasswordLen)
      .bytes("salt", p.pSalt, p.ulSaltLen)
      .number("iteration", p.ulIteration)
      .text();
}

std::string show(const CK_KEY_DERIVATION_STRING_DATA& p) {
  return Fields().bytes("data", p.pData, p.ulLen).text();
}

void addRandom(Fields& fields, const CK_SSL3_RANDOM_DATA& p) {
  fields.bytes("clientRandom", p.pClientRandom, p.ulClientRandomLen)
      .bytes("serverRandom", p.pServerRandom, p.ulServerRandomLen);
}

std::string show(const CK_SSL3_MASTER_KEY_DERIVE_PARAMS& p) {
  Fields fields;
  addRandom(fields, p.RandomInfo);
  return fields
      .add("version",
           p.pVersion == nullptr ? "null" : std::to_string(p.pVersion->major) + "." + std::to_string(p.pVersion->minor))
      .text();
}

std::string show(const CK_SSL3_KEY_MAT_OUT& p) {
  return Fields()
      .hex("clientMacSecret", p.hClientMacSecret)
      .hex("serverMacSecret", p.hServerMacSecret)
      .hex("clientKey", p.hClientKey)
      .hex("serverKey", p.hServerKey)
      .bytes("ivClient", p.pIVClient, p.pIVClient == nullptr ? 0 : 8)
      .bytes("ivServer", p.pIVServer, p.pIVServer == nullptr ? 0 : 8)
      .text();
}

std::string show(const CK_SSL3_KEY_MAT_PARAMS& p) {
  Fields fields;
  fields.number("macSizeInBits", p.ulMacSizeInBits)
      .number("keySizeInBits", p.ulKeySizeInBits)
      .number("ivSizeInBits", p.ulIVSizeInBits)
      .number("isExport", p.bIsExport);
  addRandom(fields, p.RandomInfo);
  return fields.add("returned", p.pReturnedKeyMaterial == nullptr ? "null" : show(*p.pReturnedKeyMaterial)).text();
}

std::string show(const CK_SKIPJACK_PRIVATE_WRAP_PARAMS& p) {
  return Fields()
      .bytes("password", p.pPassword, p.ulPasswordLen)
      .bytes("publicData", p.pPublicData, p.ulPublicDataLen)
      .bytes("randomA", p.pRandomA, p.ulRandomLen)
      .bytes("primeP", p.pPrimeP, p.ulPAndGLen)
      .bytes("baseG", p.pBaseG, p.ulPAndGLen)
      .bytes("subprimeQ", p.pSubprimeQ, p.ulQLen)
      .text();
}

std::string show(const CK_SKIPJACK_RELAYX_PARAMS& p) {
  return Fields()
      .bytes("oldWrappedX", p.pOldWrappedX, p.ulOldWrappedXLen)
      .bytes("oldPassword", p.pOldPassword, p.ulOldPasswordLen)
      .bytes("oldPublicData", p.pOldPublicData, p.ulOldPublicDataLen)
      .bytes("oldRandomA", p.pOldRandomA, p.ulOldRandomLen)
      .bytes("newPassword", p.pNewPassword, p.ulNewPasswordLen)
      .bytes("newPublicData", p.pNewPublicData, p.ulNewPublicDataLen)
      .bytes("newRandomA", p.pNewRandomA, p.ulNewRandomLen)
      .text();
}

std::string show(const CK_KEA_DERIVE_PARAMS& p) {
  return Fields()
      .number("isSender", p.isSender)
      .bytes("randomA", p.pRandomA, p.ulRandomLen)
      .bytes("randomB", p.pRandomB, p.ulRandomLen)
      .bytes("publicData", p.pPublicData, p.ulPublicDataLen)
      .text();
}

template <typename Params>
std::string structure(const void* parameter) {
  Params p;
  std::memcpy(&p, parameter, sizeof p);
  return show(p);
}

struct PointingStructure {
  CK_MECHANISM_TYPE first;
  CK_MECHANISM_TYPE last;
  CK_ULONG size;
  std::string (*show)(const void*);
};

template <typename Params>
constexpr PointingStructure row(CK_MECHANISM_TYPE first, CK_MECHANISM_TYPE last) {
  return {first, last, sizeof(Params), structure<Params>};
}

constexpr PointingStructure kPointing[] = {
    row<CK_RSA_PKCS_OAEP_PARAMS>(0x9, 0x9),
    row<CK_RC5_CBC_PARAMS>(0x332, 0x332),
    row<CK_RC5_CBC_PARAMS>(0x335, 0x335),
    row<CK_KEY_DERIVATION_STRING_DATA>(0x362, 0x364),
    row<CK_SSL3_MASTER_KEY_DERIVE_PARAMS>(0x371, 0x371),
    row<CK_SSL3_KEY_MAT_PARAMS>(0x372, 0x372),
    row<CK_PBE_PARAMS>(0x3A0, 0x3AB),
    row<CK_KEY_WRAP_SET_OAEP_PARAMS>(0x401, 0x401),
    row<CK_SKIPJACK_PRIVATE_WRAP_PARAMS>(0x1009, 0x1009),
    row<CK_SKIPJACK_RELAYX_PARAMS>(0x100A, 0x100A),
    row<CK_KEA_DERIVE_PARAMS>(0x1011, 0x1011),
};

template <typename Show>
std::string listed(const CK_ATTRIBUTE* pTemplate, CK_ULONG ulCount, Show&& show) {
  if (pTemplate == nullptr || ulCount > kUnbelievable) {
    return (pTemplate == nullptr ? "null:" : "non-null:") + text::length(ulCount);
  }
  std::string result;
  for (CK_ULONG i = 0; i < ulCount; ++i) {
    result += (i == 0 ? "" : ", ") + text::hex(pTemplate[i].type) + " " + text::length(pTemplate[i].ulValueLen) + ":" +
              show(pTemplate[i]);
  }
  return "[" + result + "]";
}

}  // namespace

std::string input(const void* bytes, CK_ULONG length, bool unread) {
  if (bytes == nullptr) {
    return "null";
  }
  return unread || length > kUnbelievable ? "non-null" : text::bytes(bytes, length);
}

std::string valueTemplate(const CK_ATTRIBUTE* pTemplate, CK_ULONG ulCount, bool unread) {
  return listed(pTemplate, ulCount,
                [unread](const CK_ATTRIBUTE& entry) { return input(entry.pValue, entry.ulValueLen, unread); });
}

std::string readTemplate(const CK_ATTRIBUTE* pTemplate, CK_ULONG ulCount) {
  return listed(pTemplate, ulCount,
                [](const CK_ATTRIBUTE& entry) { return entry.pValue == nullptr ? "null" : "non-null"; });
}

std::string mechanism(const CK_MECHANISM* pMechanism, bool unread) {
  if (pMechanism == nullptr) {
    return "null";
  }
  const std::string code = text::hex(pMechanism->mechanism);
  if (pMechanism->pParameter == nullptr && pMechanism->ulParameterLen == 0) {
    return code;
  }
  std::string shown = input(pMechanism->pParameter, pMechanism->ulParameterLen, unread);
  for (const PointingStructure& known : kPointing) {
    if (!unread && pMechanism->pParameter != nullptr && pMechanism->mechanism >= known.first &&
        pMechanism->mechanism <= known.last && pMechanism->ulParameterLen == known.size) {
      shown = known.show(pMechanism->pParameter);
    }
  }
  return code + " parameter=" + text::length(pMechanism->ulParameterLen) + ":" + shown;
}

}  // namespace scripted
