#include "token.h"

#include <algorithm>

namespace scripted {
namespace {

Bytes ulong(CK_ULONG value) {
  Bytes bytes(sizeof value);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<CK_BYTE>(value >> (8 * i));
  }
  return bytes;
}

constexpr CK_ULONG kBlock = 4;

}  // namespace

Token::Token() {
  const Bytes yes = {CK_TRUE};
  const Bytes no = {CK_FALSE};
  add({{CKA_CLASS, ulong(CKO_SECRET_KEY)},
       {CKA_KEY_TYPE, ulong(CKK_GENERIC_SECRET)},
       {CKA_LABEL, bytesOf("secret")},
       {CKA_SENSITIVE, no},
       {CKA_EXTRACTABLE, yes},
       {CKA_VALUE, bytesOf("0123456789abcdef")},
       {CKA_VALUE_LEN, ulong(16)}});
  add({{CKA_CLASS, ulong(CKO_PUBLIC_KEY)},
       {CKA_KEY_TYPE, ulong(CKK_RSA)},
       {CKA_LABEL, bytesOf("pair")},
       {CKA_VERIFY, yes},
       {CKA_MODULUS_BITS, ulong(1024)},
       {CKA_MODULUS, bytesOf("modulus")},
       {CKA_PUBLIC_EXPONENT, {1, 0, 1}}});
  add({{CKA_CLASS, ulong(CKO_PRIVATE_KEY)},
       {CKA_KEY_TYPE, ulong(CKK_RSA)},
       {CKA_LABEL, bytesOf("pair")},
       {CKA_SIGN, yes},
       {CKA_SENSITIVE, yes},
       {CKA_EXTRACTABLE, no},
       {CKA_MODULUS, bytesOf("modulus")},
       {CKA_PRIVATE_EXPONENT, bytesOf("never shown")}});
  add({{CKA_CLASS, ulong(CKO_DATA)},
       {CKA_TOKEN, yes},
       {CKA_LABEL, bytesOf("data")},
       {CKA_APPLICATION, bytesOf("harlune")},
       {CKA_VALUE, bytesOf("contents")}});
  add({{CKA_CLASS, ulong(CKO_CERTIFICATE)},
       {CKA_CERTIFICATE_TYPE, ulong(CKC_X_509)},
       {CKA_LABEL, bytesOf("pair")},
       {CKA_ISSUER, bytesOf("CN=issuer")},
       {CKA_SUBJECT, bytesOf("CN=subject")},
       {CKA_SERIAL_NUMBER, {2, 1, 7}},
       {CKA_VALUE, bytesOf("certificate")}});
}

CK_RV Token::checkToken(CK_SLOT_ID slotID) const {
  return slotID == kTokenSlot ? CKR_OK : slotID == kEmptySlot ? CKR_TOKEN_NOT_PRESENT : CKR_SLOT_ID_INVALID;
}

Session* Token::session(CK_SESSION_HANDLE handle) {
  const auto found = sessions.find(handle);
  return found == sessions.end() ? nullptr : &found->second;
}

CK_OBJECT_HANDLE Token::add(const Attributes& attributes) {
  objects[nextObject] = attributes;
  return nextObject++;
}

CK_RV Token::login(CK_SESSION_HANDLE handle, CK_USER_TYPE type, const std::string& pin) {
  if (session(handle) == nullptr) {
    return CKR_SESSION_HANDLE_INVALID;
  }
  if (type != CKU_SO && type != CKU_USER) {
    return CKR_USER_TYPE_INVALID;
  }
  if (user) {
    return *user == type ? CKR_USER_ALREADY_LOGGED_IN : CKR_USER_ANOTHER_ALREADY_LOGGED_IN;
  }
  if (pin != (type == CKU_SO ? soPin : userPin)) {
    return CKR_PIN_INCORRECT;
  }
  user = type;
  return CKR_OK;
}

CK_RV Token::setPin(CK_SESSION_HANDLE handle, const std::string& oldPin, const std::string& newPin) {
  if (session(handle) == nullptr) {
    return CKR_SESSION_HANDLE_INVALID;
  }
  std::string& pin = user == CKU_SO ? soPin : userPin;
  if (oldPin != pin) {
    return CKR_PIN_INCORRECT;
  }
  pin = newPin;
  return CKR_OK;
}

CK_RV Token::start(CK_SESSION_HANDLE handle, Operation operation, CK_MECHANISM_TYPE mechanism, CK_OBJECT_HANDLE hKey,
                   bool forced) {
  Session* const s = session(handle);
  if (s == nullptr) {
    return CKR_SESSION_HANDLE_INVALID;
  }
  if (!forced && operation != Operation::Digest && objects.count(hKey) == 0) {
    return CKR_KEY_HANDLE_INVALID;
  }
  if (!forced && operation == Operation::Digest && toyDigest(mechanism, {}).empty()) {
    return CKR_MECHANISM_INVALID;
  }
  if (!forced && s->operations.count(operation) != 0) {
    return CKR_OPERATION_ACTIVE;
  }
  s->operations[operation] = Active{mechanism, {}};
  return CKR_OK;
}

Active* Token::active(CK_SESSION_HANDLE handle, Operation operation, CK_RV& Rv) {
  Session* const s = session(handle);
  if (s == nullptr) {
    Rv = CKR_SESSION_HANDLE_INVALID;
    return nullptr;
  }
  const auto found = s->operations.find(operation);
  if (found == s->operations.end()) {
    Rv = CKR_OPERATION_NOT_INITIALIZED;
    return nullptr;
  }
  Rv = CKR_OK;
  return &found->second;
}

void Token::end(CK_SESSION_HANDLE handle, Operation operation) {
  if (Session* const s = session(handle)) {
    s->operations.erase(operation);
  }
}

Attributes attributesOf(const CK_ATTRIBUTE* pTemplate, CK_ULONG ulCount) {
  Attributes attributes;
  for (CK_ULONG i = 0; pTemplate != nullptr && i < ulCount; ++i) {
    const auto* const bytes = static_cast<const CK_BYTE*>(pTemplate[i].pValue);
    attributes[pTemplate[i].type] = bytes == nullptr ? Bytes() : Bytes(bytes, bytes + pTemplate[i].ulValueLen);
  }
  return attributes;
}

bool isSensitive(const Attributes& object) {
  const auto found = object.find(CKA_SENSITIVE);
  return found != object.end() && found->second == Bytes{CK_TRUE};
}

Bytes toyCipher(const Bytes& data) {
  Bytes result = data;
  for (CK_BYTE& byte : result) {
    byte = static_cast<CK_BYTE>(byte ^ 0x20);
  }
  return result;
}

Bytes toySignature(const std::string& prefix, const Bytes& data) {
  Bytes result = bytesOf(prefix);
  result.insert(result.end(), data.rbegin(), data.rend());
  return result;
}

Bytes toyDigest(CK_MECHANISM_TYPE mechanism, const Bytes& data) {
  static const std::map<CK_MECHANISM_TYPE, std::size_t> sizes = {
      {CKM_MD2, 16},       {CKM_MD5, 16},    {CKM_SHA_1, 20},  {CKM_RIPEMD128, 16},
      {CKM_RIPEMD160, 20}, {CKM_SHA256, 32}, {CKM_SHA384, 48}, {CKM_SHA512, 64}};
  const auto found = sizes.find(mechanism);
  Bytes result = data;
  result.resize(found == sizes.end() ? 0 : found->second, '.');
  return result;
}

Bytes toyBlocks(const Bytes& heldBack, const Bytes& more) {
  Bytes all = heldBack;
  all.insert(all.end(), more.begin(), more.end());
  all.resize(all.size() / kBlock * kBlock);
  return toyCipher(all);
}

}  // namespace scripted
