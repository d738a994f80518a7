/// Objects, keys and random numbers.
#include "call.h"
#include "entries.h"

#include <algorithm>
#include <cstring>

namespace scripted {
namespace {

/// Answers with a new object made of `attributes`, unless `check` refuses.
template <typename Check>
CK_RV newObject(Call& call, CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE_PTR phObject, const Attributes& attributes,
                Check&& check) {
  CK_RV Rv = CKR_OK;
  if (call.forced()) {
    Rv = *call.script.rv;
    call.store(phObject, 0, "handle");
  } else {
    Rv = !call.token().initialised                   ? CKR_CRYPTOKI_NOT_INITIALIZED
         : call.token().session(hSession) == nullptr ? CKR_SESSION_HANDLE_INVALID
                                                     : check(call.token());
    if (Rv == CKR_OK) {
      call.store(phObject, call.token().add(attributes), "handle");
    }
  }
  return call.finish(Rv);
}

Attributes with(Attributes attributes, CK_ATTRIBUTE_TYPE type, const Bytes& value) {
  attributes[type] = value;
  return attributes;
}

CK_RV checkKey(const Token& token, CK_OBJECT_HANDLE hKey) {
  return token.objects.count(hKey) != 0 ? CKR_OK : CKR_KEY_HANDLE_INVALID;
}

CK_RV checkObject(Token& token, CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject) {
  return token.session(hSession) == nullptr  ? CKR_SESSION_HANDLE_INVALID
         : token.objects.count(hObject) == 0 ? CKR_OBJECT_HANDLE_INVALID
                                             : CKR_OK;
}

const Bytes& valueOf(const Token& token, CK_OBJECT_HANDLE hKey) {
  static const Bytes none;
  const auto object = token.objects.find(hKey);
  if (object == token.objects.end()) {
    return none;
  }
  const auto value = object->second.find(CKA_VALUE);
  return value == object->second.end() ? none : value->second;
}

CK_RV readAttribute(const Attributes& object, CK_ATTRIBUTE& entry) {
  const auto found = object.find(entry.type);
  if (found == object.end()) {
    entry.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_ATTRIBUTE_TYPE_INVALID;
  }
  const bool secret = entry.type == CKA_VALUE || entry.type == CKA_PRIVATE_EXPONENT;
  if (secret && isSensitive(object)) {
    entry.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_ATTRIBUTE_SENSITIVE;
  }
  const Bytes& value = found->second;
  if (entry.pValue == nullptr) {
    entry.ulValueLen = value.size();
    return CKR_OK;
  }
  if (entry.ulValueLen < value.size()) {
    entry.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_BUFFER_TOO_SMALL;
  }
  if (!value.empty()) {
    std::memcpy(entry.pValue, value.data(), value.size());
  }
  entry.ulValueLen = value.size();
  return CKR_OK;
}

}  // namespace

CK_RV C_CreateObject(CK_SESSION_HANDLE hSession, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount,
                     CK_OBJECT_HANDLE_PTR phObject) {
  Call call("C_CreateObject");
  call.hex("session", hSession).values("template", pTemplate, ulCount);
  return newObject(call, hSession, phObject, call.unread() ? Attributes() : attributesOf(pTemplate, ulCount),
                   [](Token&) { return CKR_OK; });
}

CK_RV C_CopyObject(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount,
                   CK_OBJECT_HANDLE_PTR phNewObject) {
  Call call("C_CopyObject");
  call.hex("session", hSession).hex("object", hObject).values("template", pTemplate, ulCount);
  Attributes attributes = call.unread() ? Attributes() : attributesOf(pTemplate, ulCount);
  if (call.token().objects.count(hObject) != 0) {
    attributes.insert(call.token().objects[hObject].begin(), call.token().objects[hObject].end());
  }
  return newObject(call, hSession, phNewObject, attributes,
                   [=](Token& token) { return checkObject(token, hSession, hObject); });
}

CK_RV C_DestroyObject(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject) {
  Call call("C_DestroyObject");
  call.hex("session", hSession).hex("object", hObject);
  return call.answer([=](Token& token) {
    const CK_RV Rv = checkObject(token, hSession, hObject);
    if (Rv == CKR_OK) {
      token.objects.erase(hObject);
    }
    return Rv;
  });
}

CK_RV C_GetObjectSize(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ULONG_PTR pulSize) {
  Call call("C_GetObjectSize");
  call.hex("session", hSession).hex("object", hObject);
  const CK_RV Rv = call.script.rv.value_or(!call.token().initialised ? CKR_CRYPTOKI_NOT_INITIALIZED
                                                                     : checkObject(call.token(), hSession, hObject));
  if (Rv == CKR_OK || call.script.has("size")) {
    call.store(pulSize, 0x512E, "size");
  }
  return call.finish(Rv);
}

CK_RV C_GetAttributeValue(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE_PTR pTemplate,
                          CK_ULONG ulCount) {
  Call call("C_GetAttributeValue");
  call.hex("session", hSession).hex("object", hObject).add("template", readTemplate(pTemplate, ulCount));
  CK_RV Rv = call.script.rv.value_or(!call.token().initialised ? CKR_CRYPTOKI_NOT_INITIALIZED
                                                               : checkObject(call.token(), hSession, hObject));
  if (pTemplate == nullptr) {
    return call.finish(Rv);
  }
  const std::optional<Bytes> wanted = call.script.output();
  std::string lengths;
  for (CK_ULONG i = 0; i < ulCount; ++i) {
    CK_ATTRIBUTE& entry = pTemplate[i];
    if (wanted) {
      const CK_RV one = readAttribute({{entry.type, *wanted}}, entry);
      Rv = call.forced() || Rv != CKR_OK ? Rv : one;
    } else if (!call.forced() && call.token().objects.count(hObject) != 0) {
      const CK_RV one = readAttribute(call.token().objects[hObject], entry);
      Rv = Rv != CKR_OK ? Rv : one;
    }
    entry.ulValueLen = call.script.number("length").value_or(entry.ulValueLen);
    lengths += (i == 0 ? "" : ",") + text::length(entry.ulValueLen);
  }
  call.result("length", lengths);
  return call.finish(Rv);
}

CK_RV C_SetAttributeValue(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE_PTR pTemplate,
                          CK_ULONG ulCount) {
  Call call("C_SetAttributeValue");
  call.hex("session", hSession).hex("object", hObject).values("template", pTemplate, ulCount);
  return call.answer([=](Token& token) {
    const CK_RV Rv = checkObject(token, hSession, hObject);
    if (Rv == CKR_OK) {
      for (const auto& [type, value] : attributesOf(pTemplate, ulCount)) {
        token.objects[hObject][type] = value;
      }
    }
    return Rv;
  });
}

CK_RV C_FindObjectsInit(CK_SESSION_HANDLE hSession, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
  Call call("C_FindObjectsInit");
  call.hex("session", hSession).values("template", pTemplate, ulCount);
  return call.answer([=](Token& token) {
    Session* const session = token.session(hSession);
    if (session == nullptr) {
      return CKR_SESSION_HANDLE_INVALID;
    }
    if (session->search) {
      return CKR_OPERATION_ACTIVE;
    }
    const Attributes wanted = attributesOf(pTemplate, ulCount);
    session->search.emplace();
    for (const auto& [handle, object] : token.objects) {
      const Attributes& candidate = object;
      const bool all = std::all_of(wanted.begin(), wanted.end(), [&candidate](const auto& attribute) {
        const auto found = candidate.find(attribute.first);
        return found != candidate.end() && found->second == attribute.second;
      });
      if (all) {
        session->search->push_back(handle);
      }
    }
    return CKR_OK;
  });
}

CK_RV C_FindObjects(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE_PTR phObject, CK_ULONG ulMaxObjectCount,
                    CK_ULONG_PTR pulObjectCount) {
  Call call("C_FindObjects");
  call.hex("session", hSession).pointer("objects", phObject).number("max", ulMaxObjectCount);
  const auto deliver = [&](Token& token) -> CK_RV {
    Session* const session = token.session(hSession);
    if (session == nullptr || !session->search) {
      return session == nullptr ? CKR_SESSION_HANDLE_INVALID : CKR_OPERATION_NOT_INITIALIZED;
    }
    std::deque<CK_OBJECT_HANDLE>& matches = *session->search;
    if (call.script.list) {
      matches.assign(call.script.list->begin(), call.script.list->end());
    }
    const auto count = static_cast<std::ptrdiff_t>(std::min<CK_ULONG>(ulMaxObjectCount, matches.size()));
    std::copy(matches.begin(), matches.begin() + count, phObject);
    matches.erase(matches.begin(), matches.begin() + count);
    *pulObjectCount = static_cast<CK_ULONG>(count);
    return CKR_OK;
  };
  const CK_RV Rv = call.forced()               ? *call.script.rv
                   : !call.token().initialised ? CKR_CRYPTOKI_NOT_INITIALIZED
                                               : deliver(call.token());
  if (Rv == CKR_OK || call.script.has("count")) {
    *pulObjectCount = call.script.number("count").value_or(*pulObjectCount);
    call.result("count", text::length(*pulObjectCount));
  }
  return call.finish(Rv);
}

CK_RV C_FindObjectsFinal(CK_SESSION_HANDLE hSession) {
  Call call("C_FindObjectsFinal");
  call.hex("session", hSession);
  return call.answer([hSession](Token& token) {
    Session* const session = token.session(hSession);
    if (session == nullptr || !session->search) {
      return session == nullptr ? CKR_SESSION_HANDLE_INVALID : CKR_OPERATION_NOT_INITIALIZED;
    }
    session->search.reset();
    return CKR_OK;
  });
}

CK_RV C_GenerateKey(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_ATTRIBUTE_PTR pTemplate,
                    CK_ULONG ulCount, CK_OBJECT_HANDLE_PTR phKey) {
  Call call("C_GenerateKey");
  call.hex("session", hSession).mechanism(pMechanism).values("template", pTemplate, ulCount);
  return newObject(call, hSession, phKey, with(attributesOf(pTemplate, ulCount), CKA_VALUE, bytesOf("generated")),
                   [](Token&) { return CKR_OK; });
}

CK_RV C_GenerateKeyPair(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_ATTRIBUTE_PTR pPublicKeyTemplate,
                        CK_ULONG ulPublicKeyAttributeCount, CK_ATTRIBUTE_PTR pPrivateKeyTemplate,
                        CK_ULONG ulPrivateKeyAttributeCount, CK_OBJECT_HANDLE_PTR phPublicKey,
                        CK_OBJECT_HANDLE_PTR phPrivateKey) {
  Call call("C_GenerateKeyPair");
  call.hex("session", hSession)
      .mechanism(pMechanism)
      .values("public", pPublicKeyTemplate, ulPublicKeyAttributeCount)
      .values("private", pPrivateKeyTemplate, ulPrivateKeyAttributeCount);
  if (call.forced()) {
    call.store(phPrivateKey, 0, "private");
  } else if (call.token().initialised && call.token().session(hSession) != nullptr) {
    const Attributes privateKey = attributesOf(pPrivateKeyTemplate, ulPrivateKeyAttributeCount);
    call.store(phPrivateKey, call.token().add(privateKey), "private");
  }
  return newObject(call, hSession, phPublicKey, attributesOf(pPublicKeyTemplate, ulPublicKeyAttributeCount),
                   [](Token&) { return CKR_OK; });
}

CK_RV C_WrapKey(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hWrappingKey,
                CK_OBJECT_HANDLE hKey, CK_BYTE_PTR pWrappedKey, CK_ULONG_PTR pulWrappedKeyLen) {
  Call call("C_WrapKey");
  call.hex("session", hSession)
      .mechanism(pMechanism)
      .hex("wrappingKey", hWrappingKey)
      .hex("key", hKey)
      .room(pWrappedKey, pulWrappedKeyLen);
  return call.output(
      pWrappedKey, pulWrappedKeyLen,
      [=](Token& token, Bytes& out) {
        out = bytesOf("WRAP:");
        const Bytes& value = valueOf(token, hKey);
        out.insert(out.end(), value.begin(), value.end());
        return token.session(hSession) == nullptr                  ? CKR_SESSION_HANDLE_INVALID
               : checkKey(token, hWrappingKey) != CKR_OK           ? CKR_WRAPPING_KEY_HANDLE_INVALID
               : checkKey(token, hKey) != CKR_OK                   ? CKR_KEY_HANDLE_INVALID
               : isSensitive(token.objects[hKey]) && value.empty() ? CKR_KEY_UNEXTRACTABLE
                                                                   : CKR_OK;
      },
      [](Token&) {});
}

CK_RV C_UnwrapKey(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hUnwrappingKey,
                  CK_BYTE_PTR pWrappedKey, CK_ULONG ulWrappedKeyLen, CK_ATTRIBUTE_PTR pTemplate,
                  CK_ULONG ulAttributeCount, CK_OBJECT_HANDLE_PTR phKey) {
  const std::string prefix = "WRAP:";
  Call call("C_UnwrapKey");
  call.hex("session", hSession)
      .mechanism(pMechanism)
      .hex("unwrappingKey", hUnwrappingKey)
      .bytes("wrappedKey", pWrappedKey, ulWrappedKeyLen)
      .values("template", pTemplate, ulAttributeCount);
  const std::string wrapped = call.forced() || call.unread() || pWrappedKey == nullptr
                                  ? ""
                                  : std::string(reinterpret_cast<const char*>(pWrappedKey), ulWrappedKeyLen);
  const bool valid = wrapped.rfind(prefix, 0) == 0;
  const Attributes attributes =
      with(attributesOf(pTemplate, ulAttributeCount), CKA_VALUE, bytesOf(valid ? wrapped.substr(prefix.size()) : ""));
  return newObject(call, hSession, phKey, attributes, [=](Token& token) {
    return checkKey(token, hUnwrappingKey) != CKR_OK ? CKR_UNWRAPPING_KEY_HANDLE_INVALID
           : valid                                   ? CKR_OK
                                                     : CKR_WRAPPED_KEY_INVALID;
  });
}

CK_RV C_DeriveKey(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hBaseKey,
                  CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulAttributeCount, CK_OBJECT_HANDLE_PTR phKey) {
  Call call("C_DeriveKey");
  call.hex("session", hSession)
      .mechanism(pMechanism)
      .hex("baseKey", hBaseKey)
      .values("template", pTemplate, ulAttributeCount);
  return newObject(call, hSession, phKey,
                   with(attributesOf(pTemplate, ulAttributeCount), CKA_VALUE, bytesOf("derived")),
                   [hBaseKey](Token& token) { return checkKey(token, hBaseKey); });
}

CK_RV C_SeedRandom(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSeed, CK_ULONG ulSeedLen) {
  Call call("C_SeedRandom");
  call.hex("session", hSession).bytes("seed", pSeed, ulSeedLen);
  return call.answer(
      [hSession](Token& token) { return token.session(hSession) == nullptr ? CKR_SESSION_HANDLE_INVALID : CKR_OK; });
}

CK_RV C_GenerateRandom(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pRandomData, CK_ULONG ulRandomLen) {
  constexpr char kRandom[] = "RANDOM";
  Call call("C_GenerateRandom");
  call.hex("session", hSession).pointer("buffer", pRandomData).number("length", ulRandomLen);
  return call.answer([=, &call](Token& token) {
    if (token.session(hSession) == nullptr) {
      return CKR_SESSION_HANDLE_INVALID;
    }
    const CK_ULONG written = std::min(ulRandomLen, call.script.number("write").value_or(ulRandomLen));
    for (CK_ULONG i = 0; pRandomData != nullptr && !call.unread() && i < written; ++i) {
      pRandomData[i] = static_cast<CK_BYTE>(kRandom[i % (sizeof kRandom - 1)]);
    }
    return CKR_OK;
  });
}

}  // namespace scripted
