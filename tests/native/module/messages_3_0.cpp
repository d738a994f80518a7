/// Messages of version 3.0. A message is enciphered as any data, and its tag is `tag of 16 bytes.`, which is written
/// where the parameter has room for it; a vector that the token is to make is `token's IV n`. All of a message must
/// come with the parameter in the same place, since a module may keep that.
#include "messages_3_0.h"

#include "call.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace scripted {
namespace {

constexpr char kTag[] = "tag of 16 bytes.";
constexpr CK_ULONG kTagBytes = sizeof kTag - 1;

int vectors = 0;

/// The message that goes on in parts, and where its parameter is.
struct Parts {
  const void* parameter = nullptr;
  Bytes data;
};
std::map<std::pair<CK_SESSION_HANDLE, Operation>, Parts> parts;

CK_GCM_MESSAGE_PARAMS* gcm(CK_VOID_PTR pParameter, CK_ULONG ulParameterLen) {
  return ulParameterLen == sizeof(CK_GCM_MESSAGE_PARAMS) ? static_cast<CK_GCM_MESSAGE_PARAMS*>(pParameter) : nullptr;
}

std::string shown(CK_VOID_PTR pParameter, CK_ULONG ulParameterLen) {
  const CK_GCM_MESSAGE_PARAMS* const params = gcm(pParameter, ulParameterLen);
  return params == nullptr ? input(pParameter, ulParameterLen, false)
                           : input(params->pIv, params->ulIvLen, false) + "/" + text::length(params->ulIvFixedBits) +
                                 "/" + text::length(params->ivGenerator) + "/" + text::length(params->ulTagBits);
}

void makeVector(CK_VOID_PTR pParameter, CK_ULONG ulParameterLen) {
  CK_GCM_MESSAGE_PARAMS* const params = gcm(pParameter, ulParameterLen);
  if (params != nullptr && params->ivGenerator != CKG_NO_GENERATE) {
    const std::string made = "token's IV " + std::to_string(++vectors % 10);
    std::copy_n(made.begin(), std::min<CK_ULONG>(made.size(), params->ulIvLen), params->pIv);
  }
}

void writeTag(CK_VOID_PTR pParameter, CK_ULONG ulParameterLen) {
  if (CK_GCM_MESSAGE_PARAMS* const params = gcm(pParameter, ulParameterLen)) {
    std::copy_n(kTag, std::min<CK_ULONG>(kTagBytes, params->ulTagBits / 8), params->pTag);
  }
}

bool isTagGood(CK_VOID_PTR pParameter, CK_ULONG ulParameterLen) {
  const CK_GCM_MESSAGE_PARAMS* const params = gcm(pParameter, ulParameterLen);
  return params == nullptr || std::equal(params->pTag, params->pTag + params->ulTagBits / 8, kTag, kTag + kTagBytes);
}

CK_RV begin(const char* function, Operation operation, CK_SESSION_HANDLE hSession, const CK_MECHANISM* pMechanism,
            CK_OBJECT_HANDLE hKey) {
  Call call(function);
  call.hex("session", hSession).mechanism(pMechanism).hex("key", hKey);
  return call.answer([&](Token& token) {
    parts.erase({hSession, operation});
    return token.start(hSession, operation, pMechanism->mechanism, hKey, false);
  });
}

CK_RV end(const char* function, Operation operation, CK_SESSION_HANDLE hSession) {
  Call call(function);
  call.hex("session", hSession);
  return call.answer([&](Token& token) {
    CK_RV Rv = CKR_OK;
    if (token.active(hSession, operation, Rv) != nullptr) {
      token.end(hSession, operation);
    }
    return Rv;
  });
}

/// Whether the operation goes on, and whether it is at a message in parts with its parameter there.
CK_RV state(Token& token, CK_SESSION_HANDLE hSession, Operation operation, const void* pParameter, bool inParts) {
  CK_RV Rv = CKR_OK;
  if (token.active(hSession, operation, Rv) == nullptr) {
    return Rv;
  }
  const auto found = parts.find({hSession, operation});
  if ((found != parts.end()) != inParts) {
    return CKR_OPERATION_ACTIVE;
  }
  return inParts && found->second.parameter != pParameter ? CKR_MECHANISM_PARAM_INVALID : CKR_OK;
}

CK_RV beginParts(const char* function, Operation operation, CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter,
                 CK_ULONG ulParameterLen, const void* aad, CK_ULONG aadLength) {
  Call call(function);
  call.hex("session", hSession).add("parameter", shown(pParameter, ulParameterLen));
  if (aad != nullptr) {
    call.bytes("aad", aad, aadLength);
  }
  return call.answer([&](Token& token) {
    const CK_RV Rv = state(token, hSession, operation, pParameter, false);
    if (Rv == CKR_OK) {
      makeVector(pParameter, ulParameterLen);
      parts[{hSession, operation}] = {pParameter, {}};
    }
    return Rv;
  });
}

enum class Which { Whole, Part, Last };

CK_RV cipher(const char* function, Operation operation, Which which, CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter,
             CK_ULONG ulParameterLen, const CK_BYTE* aad, CK_ULONG aadLength, const CK_BYTE* data, CK_ULONG length,
             CK_BYTE_PTR out, CK_ULONG_PTR outLength) {
  Call call(function);
  call.hex("session", hSession).add("parameter", shown(pParameter, ulParameterLen));
  if (aad != nullptr) {
    call.bytes("aad", aad, aadLength);
  }
  call.bytes("data", data, length).room(out, outLength).add("part", std::to_string(static_cast<int>(which)));
  return call.output(
      out, outLength,
      [&](Token& token, Bytes& result) -> CK_RV {
        const CK_RV Rv = state(token, hSession, operation, pParameter, which != Which::Whole);
        if (Rv != CKR_OK) {
          return Rv;
        }
        if (operation == Operation::MessageDecrypt && which != Which::Part && !isTagGood(pParameter, ulParameterLen)) {
          parts.erase({hSession, operation});
          return CKR_AEAD_DECRYPT_FAILED;
        }
        result = toyCipher(Bytes(data, data + length));
        return CKR_OK;
      },
      [&](Token&) {
        if (operation == Operation::MessageEncrypt && which == Which::Whole) {
          makeVector(pParameter, ulParameterLen);
        }
        if (which != Which::Part) {
          if (operation == Operation::MessageEncrypt) {
            writeTag(pParameter, ulParameterLen);
          }
          parts.erase({hSession, operation});
        }
      });
}

Bytes together(CK_SESSION_HANDLE hSession, Operation operation, const CK_BYTE* data, CK_ULONG length) {
  const auto found = parts.find({hSession, operation});
  Bytes all = found == parts.end() ? Bytes() : found->second.data;
  all.insert(all.end(), data, data + length);
  return toySignature("MSG:", all);
}

CK_RV collect(Call& call, Operation operation, CK_SESSION_HANDLE hSession, const void* pParameter, const CK_BYTE* data,
              CK_ULONG length) {
  return call.answer([&](Token& token) {
    const CK_RV Rv = state(token, hSession, operation, pParameter, true);
    if (Rv == CKR_OK) {
      Bytes& all = parts[{hSession, operation}].data;
      all.insert(all.end(), data, data + length);
    }
    return Rv;
  });
}

CK_RV sign(const char* function, bool isWhole, CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter,
           CK_ULONG ulParameterLen, const CK_BYTE* data, CK_ULONG length, CK_BYTE_PTR out, CK_ULONG_PTR outLength) {
  constexpr Operation kSign = Operation::MessageSign;
  Call call(function);
  call.hex("session", hSession).add("parameter", shown(pParameter, ulParameterLen)).bytes("data", data, length);
  if (outLength == nullptr) {
    return collect(call, kSign, hSession, pParameter, data, length);
  }
  call.room(out, outLength);
  return call.output(
      out, outLength,
      [&](Token& token, Bytes& result) {
        result = together(hSession, kSign, data, length);
        return state(token, hSession, kSign, pParameter, !isWhole);
      },
      [&](Token&) {
        parts.erase({hSession, kSign});
      });
}

CK_RV verify(const char* function, bool isWhole, CK_SESSION_HANDLE hSession, CK_VOID_PTR pParameter,
             CK_ULONG ulParameterLen, const CK_BYTE* data, CK_ULONG length, const CK_BYTE* signature,
             CK_ULONG signatureLength) {
  constexpr Operation kVerify = Operation::MessageVerify;
  Call call(function);
  call.hex("session", hSession).add("parameter", shown(pParameter, ulParameterLen)).bytes("data", data, length);
  if (signature == nullptr) {
    return collect(call, kVerify, hSession, pParameter, data, length);
  }
  call.bytes("signature", signature, signatureLength);
  return call.answer([&](Token& token) -> CK_RV {
    const CK_RV Rv = state(token, hSession, kVerify, pParameter, !isWhole);
    const bool isValid = together(hSession, kVerify, data, length) == Bytes(signature, signature + signatureLength);
    parts.erase({hSession, kVerify});
    return Rv != CKR_OK || isValid ? Rv : CKR_SIGNATURE_INVALID;
  });
}

}  // namespace

void addMessages(CK_FUNCTION_LIST_3_0& list) {
  using Handle = CK_SESSION_HANDLE;
#define BEGINS_AND_ENDS(name)                                                                                          \
  list.C_Message##name##Init = [](Handle hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey) {               \
    return begin("C_Message" #name "Init", Operation::Message##name, hSession, pMechanism, hKey);                      \
  };                                                                                                                   \
  list.C_Message##name##Final = [](Handle hSession) {                                                                  \
    return end("C_Message" #name "Final", Operation::Message##name, hSession);                                         \
  };
  BEGINS_AND_ENDS(Encrypt)
  BEGINS_AND_ENDS(Decrypt)
  BEGINS_AND_ENDS(Sign)
  BEGINS_AND_ENDS(Verify)
#define CIPHERS(name)                                                                                                  \
  list.C_##name##Message = [](Handle hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen, CK_BYTE_PTR pAad,      \
                              CK_ULONG ulAadLen, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pOut,              \
                              CK_ULONG_PTR pulOutLen) {                                                                \
    return cipher("C_" #name "Message", Operation::Message##name, Which::Whole, hSession, pParameter, ulParameterLen,  \
                  pAad, ulAadLen, pData, ulDataLen, pOut, pulOutLen);                                                  \
  };                                                                                                                   \
  list.C_##name##MessageBegin = [](Handle hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen, CK_BYTE_PTR pAad, \
                                   CK_ULONG ulAadLen) {                                                                \
    return beginParts("C_" #name "MessageBegin", Operation::Message##name, hSession, pParameter, ulParameterLen, pAad, \
                      ulAadLen);                                                                                       \
  };                                                                                                                   \
  list.C_##name##MessageNext = [](Handle hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen, CK_BYTE_PTR pData, \
                                  CK_ULONG ulDataLen, CK_BYTE_PTR pOut, CK_ULONG_PTR pulOutLen, CK_FLAGS flags) {      \
    return cipher("C_" #name "MessageNext", Operation::Message##name,                                                  \
                  flags == CKF_END_OF_MESSAGE ? Which::Last : Which::Part, hSession, pParameter, ulParameterLen,       \
                  nullptr, 0, pData, ulDataLen, pOut, pulOutLen);                                                      \
  };
  CIPHERS(Encrypt)
  CIPHERS(Decrypt)
#define SIGNED(name, work, Out, Length)                                                                                \
  list.C_##name##Message = [](Handle hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen, CK_BYTE_PTR pData,     \
                              CK_ULONG ulDataLen, Out pSignature, Length signatureLength) {                            \
    return work("C_" #name "Message", true, hSession, pParameter, ulParameterLen, pData, ulDataLen, pSignature,        \
                signatureLength);                                                                                      \
  };                                                                                                                   \
  list.C_##name##MessageBegin = [](Handle hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen) {                 \
    return beginParts("C_" #name "MessageBegin", Operation::Message##name, hSession, pParameter, ulParameterLen,       \
                      nullptr, 0);                                                                                     \
  };                                                                                                                   \
  list.C_##name##MessageNext = [](Handle hSession, CK_VOID_PTR pParameter, CK_ULONG ulParameterLen, CK_BYTE_PTR pData, \
                                  CK_ULONG ulDataLen, Out pSignature, Length signatureLength) {                        \
    return work("C_" #name "MessageNext", false, hSession, pParameter, ulParameterLen, pData, ulDataLen, pSignature,   \
                signatureLength);                                                                                      \
  };
  SIGNED(Sign, sign, CK_BYTE_PTR, CK_ULONG_PTR)
  SIGNED(Verify, verify, CK_BYTE_PTR, CK_ULONG)
#undef SIGNED
#undef CIPHERS
#undef BEGINS_AND_ENDS
}

}  // namespace scripted
