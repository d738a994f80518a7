/// Encryption, decryption, digests, signatures, and the calls that do two of them at once.
#include "call.h"
#include "entries.h"

#include <algorithm>

namespace scripted {
namespace {

constexpr char kSignature[] = "SIG:";
constexpr char kRecoverable[] = "REC:";

void append(Bytes& to, const void* from, CK_ULONG size) {
  const auto* const bytes = static_cast<const CK_BYTE*>(from);
  if (bytes != nullptr) {
    to.insert(to.end(), bytes, bytes + size);
  }
}

Bytes copied(const void* from, CK_ULONG size) {
  Bytes result;
  append(result, from, size);
  return result;
}

CK_RV init(const char* function, Operation operation, CK_SESSION_HANDLE hSession, const CK_MECHANISM* pMechanism,
           const CK_OBJECT_HANDLE* hKey) {
  Call call(function);
  call.hex("session", hSession).mechanism(pMechanism);
  if (hKey != nullptr) {
    call.hex("key", *hKey);
  }
  CK_RV Rv = call.script.rv.value_or(call.token().initialised ? CKR_OK : CKR_CRYPTOKI_NOT_INITIALIZED);
  if (Rv == CKR_OK) {
    // A forced CKR_OK takes any key and any session, so that tests can hand over unlikely handles.
    const CK_RV started = pMechanism == nullptr ? CKR_ARGUMENTS_BAD
                                                : call.token().start(hSession, operation, pMechanism->mechanism,
                                                                     hKey == nullptr ? 0 : *hKey, call.forced());
    Rv = call.forced() ? Rv : started;
  }
  return call.finish(Rv);
}

/// One call that does the whole operation on `data` and hands out what `compute` makes of it.
template <typename Compute>
CK_RV whole(const char* function, Operation operation, const char* name, CK_SESSION_HANDLE hSession, const void* data,
            CK_ULONG size, CK_BYTE_PTR out, CK_ULONG_PTR outLength, Compute&& compute) {
  Call call(function);
  call.hex("session", hSession).bytes(name, data, size).room(out, outLength);
  return call.output(
      out, outLength,
      [&](Token& token, Bytes& result) {
        CK_RV Rv = CKR_OK;
        const Active* const active = token.active(hSession, operation, Rv);
        return active == nullptr ? Rv : compute(*active, call.unread() ? Bytes() : copied(data, size), result);
      },
      [&](Token& token) { token.end(hSession, operation); });
}

/// A part without output.
CK_RV collect(const char* function, Operation operation, CK_SESSION_HANDLE hSession, const void* part, CK_ULONG size) {
  Call call(function);
  call.hex("session", hSession).bytes("part", part, size);
  return call.answer([&](Token& token) {
    CK_RV Rv = CKR_OK;
    if (Active* const active = token.active(hSession, operation, Rv); active != nullptr && !call.unread()) {
      append(active->data, part, size);
    }
    return Rv;
  });
}

/// The end of a multi-part operation that hands out what `compute` makes of the collected data.
template <typename Compute>
CK_RV final(const char* function, Operation operation, CK_SESSION_HANDLE hSession, CK_BYTE_PTR out,
            CK_ULONG_PTR outLength, Compute&& compute) {
  Call call(function);
  call.hex("session", hSession).room(out, outLength);
  return call.output(
      out, outLength,
      [&](Token& token, Bytes& result) {
        CK_RV Rv = CKR_OK;
        const Active* const active = token.active(hSession, operation, Rv);
        return active == nullptr ? Rv : compute(*active, Bytes(), result);
      },
      [&](Token& token) { token.end(hSession, operation); });
}

/// A part with output, of encryption or decryption, that may feed a second operation: with what goes in (of an
/// encryption) or with what comes out (of a decryption).
CK_RV stream(const char* function, Operation operation, std::optional<Operation> second, CK_SESSION_HANDLE hSession,
             const void* part, CK_ULONG size, CK_BYTE_PTR out, CK_ULONG_PTR outLength) {
  Call call(function);
  call.hex("session", hSession).bytes("part", part, size).room(out, outLength);
  const Bytes in = call.unread() ? Bytes() : copied(part, size);
  std::optional<Bytes> clear;  // set when the part was taken
  return call.output(
      out, outLength,
      [&](Token& token, Bytes& result) {
        CK_RV Rv = CKR_OK;
        const Active* const active = token.active(hSession, operation, Rv);
        if (active == nullptr || (second && token.active(hSession, *second, Rv) == nullptr)) {
          return Rv;
        }
        result = toyBlocks(active->data, in);
        clear = operation == Operation::Encrypt ? in : result;
        return CKR_OK;
      },
      [&](Token& token) {
        CK_RV Rv = CKR_OK;
        Active* const active = token.active(hSession, operation, Rv);
        if (active == nullptr || !clear) {
          return;
        }
        append(active->data, in.data(), in.size());
        active->data.erase(active->data.begin(),
                           active->data.begin() + static_cast<std::ptrdiff_t>(toyBlocks(active->data, {}).size()));
        if (Active* const other = second ? token.active(hSession, *second, Rv) : nullptr) {
          append(other->data, clear->data(), clear->size());
        }
      });
}

CK_RV cipherWhole(const Active&, const Bytes& data, Bytes& result) {
  result = toyCipher(data);
  return CKR_OK;
}

CK_RV cipherRest(const Active& active, const Bytes&, Bytes& result) {
  result = toyCipher(active.data);
  return CKR_OK;
}

Bytes together(const Active& active, const Bytes& data) {
  Bytes all = active.data;
  all.insert(all.end(), data.begin(), data.end());
  return all;
}

CK_RV digest(const Active& active, const Bytes& data, Bytes& result) {
  result = toyDigest(active.mechanism, together(active, data));
  return CKR_OK;
}

CK_RV sign(const Active& active, const Bytes& data, Bytes& result) {
  result = toySignature(kSignature, together(active, data));
  return CKR_OK;
}

CK_RV signRecover(const Active&, const Bytes& data, Bytes& result) {
  result = toySignature(kRecoverable, data);
  return CKR_OK;
}

CK_RV recover(const Active&, const Bytes& signature, Bytes& result) {
  const Bytes prefix = bytesOf(kRecoverable);
  if (signature.size() < prefix.size() || !std::equal(prefix.begin(), prefix.end(), signature.begin())) {
    return CKR_SIGNATURE_INVALID;
  }
  result.assign(signature.rbegin(), signature.rend() - static_cast<std::ptrdiff_t>(prefix.size()));
  return CKR_OK;
}

CK_RV verify(Call& call, CK_SESSION_HANDLE hSession, const Bytes& data, const void* signature, CK_ULONG size) {
  return call.answer([&](Token& token) {
    CK_RV Rv = CKR_OK;
    const Active* const active = token.active(hSession, Operation::Verify, Rv);
    if (active == nullptr) {
      return Rv;
    }
    const Bytes right = toySignature(kSignature, together(*active, data));
    token.end(hSession, Operation::Verify);
    if (size != right.size()) {
      return CKR_SIGNATURE_LEN_RANGE;
    }
    return copied(signature, size) == right ? CKR_OK : CKR_SIGNATURE_INVALID;
  });
}

}  // namespace

CK_RV C_EncryptInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey) {
  return init("C_EncryptInit", Operation::Encrypt, hSession, pMechanism, &hKey);
}

CK_RV C_Encrypt(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pEncryptedData,
                CK_ULONG_PTR pulEncryptedDataLen) {
  return whole("C_Encrypt", Operation::Encrypt, "data", hSession, pData, ulDataLen, pEncryptedData, pulEncryptedDataLen,
               cipherWhole);
}

CK_RV C_EncryptUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen, CK_BYTE_PTR pEncryptedPart,
                      CK_ULONG_PTR pulEncryptedPartLen) {
  return stream("C_EncryptUpdate", Operation::Encrypt, {}, hSession, pPart, ulPartLen, pEncryptedPart,
                pulEncryptedPartLen);
}

CK_RV C_EncryptFinal(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pLastEncryptedPart, CK_ULONG_PTR pulLastEncryptedPartLen) {
  return final("C_EncryptFinal", Operation::Encrypt, hSession, pLastEncryptedPart, pulLastEncryptedPartLen, cipherRest);
}

CK_RV C_DecryptInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey) {
  return init("C_DecryptInit", Operation::Decrypt, hSession, pMechanism, &hKey);
}

CK_RV C_Decrypt(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedData, CK_ULONG ulEncryptedDataLen, CK_BYTE_PTR pData,
                CK_ULONG_PTR pulDataLen) {
  return whole("C_Decrypt", Operation::Decrypt, "encryptedData", hSession, pEncryptedData, ulEncryptedDataLen, pData,
               pulDataLen, cipherWhole);
}

CK_RV C_DecryptUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedPart, CK_ULONG ulEncryptedPartLen,
                      CK_BYTE_PTR pPart, CK_ULONG_PTR pulPartLen) {
  return stream("C_DecryptUpdate", Operation::Decrypt, {}, hSession, pEncryptedPart, ulEncryptedPartLen, pPart,
                pulPartLen);
}

CK_RV C_DecryptFinal(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pLastPart, CK_ULONG_PTR pulLastPartLen) {
  return final("C_DecryptFinal", Operation::Decrypt, hSession, pLastPart, pulLastPartLen, cipherRest);
}

CK_RV C_DigestInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism) {
  return init("C_DigestInit", Operation::Digest, hSession, pMechanism, nullptr);
}

CK_RV C_Digest(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pDigest,
               CK_ULONG_PTR pulDigestLen) {
  return whole("C_Digest", Operation::Digest, "data", hSession, pData, ulDataLen, pDigest, pulDigestLen, digest);
}

CK_RV C_DigestUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen) {
  return collect("C_DigestUpdate", Operation::Digest, hSession, pPart, ulPartLen);
}

CK_RV C_DigestKey(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hKey) {
  Call call("C_DigestKey");
  call.hex("session", hSession).hex("key", hKey);
  return call.answer([=](Token& token) {
    CK_RV Rv = CKR_OK;
    Active* const active = token.active(hSession, Operation::Digest, Rv);
    const auto key = token.objects.find(hKey);
    if (active == nullptr || key == token.objects.end()) {
      return active == nullptr ? Rv : CKR_KEY_HANDLE_INVALID;
    }
    const auto value = key->second.find(CKA_VALUE);
    if (isSensitive(key->second) || value == key->second.end()) {
      return CKR_KEY_INDIGESTIBLE;
    }
    append(active->data, value->second.data(), value->second.size());
    return CKR_OK;
  });
}

CK_RV C_DigestFinal(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pDigest, CK_ULONG_PTR pulDigestLen) {
  return final("C_DigestFinal", Operation::Digest, hSession, pDigest, pulDigestLen, digest);
}

CK_RV C_SignInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey) {
  return init("C_SignInit", Operation::Sign, hSession, pMechanism, &hKey);
}

CK_RV C_Sign(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
             CK_ULONG_PTR pulSignatureLen) {
  return whole("C_Sign", Operation::Sign, "data", hSession, pData, ulDataLen, pSignature, pulSignatureLen, sign);
}

CK_RV C_SignUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen) {
  return collect("C_SignUpdate", Operation::Sign, hSession, pPart, ulPartLen);
}

CK_RV C_SignFinal(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSignature, CK_ULONG_PTR pulSignatureLen) {
  return final("C_SignFinal", Operation::Sign, hSession, pSignature, pulSignatureLen, sign);
}

CK_RV C_SignRecoverInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey) {
  return init("C_SignRecoverInit", Operation::SignRecover, hSession, pMechanism, &hKey);
}

CK_RV C_SignRecover(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
                    CK_ULONG_PTR pulSignatureLen) {
  return whole("C_SignRecover", Operation::SignRecover, "data", hSession, pData, ulDataLen, pSignature, pulSignatureLen,
               signRecover);
}

CK_RV C_VerifyInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey) {
  return init("C_VerifyInit", Operation::Verify, hSession, pMechanism, &hKey);
}

CK_RV C_Verify(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
               CK_ULONG ulSignatureLen) {
  Call call("C_Verify");
  call.hex("session", hSession).bytes("data", pData, ulDataLen).bytes("signature", pSignature, ulSignatureLen);
  const bool look = !call.unread() && !call.forced();
  return verify(call, hSession, look ? copied(pData, ulDataLen) : Bytes(), look ? pSignature : nullptr, ulSignatureLen);
}

CK_RV C_VerifyUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen) {
  return collect("C_VerifyUpdate", Operation::Verify, hSession, pPart, ulPartLen);
}

CK_RV C_VerifyFinal(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSignature, CK_ULONG ulSignatureLen) {
  Call call("C_VerifyFinal");
  call.hex("session", hSession).bytes("signature", pSignature, ulSignatureLen);
  return verify(call, hSession, {}, call.unread() ? nullptr : pSignature, ulSignatureLen);
}

CK_RV C_VerifyRecoverInit(CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE hKey) {
  return init("C_VerifyRecoverInit", Operation::VerifyRecover, hSession, pMechanism, &hKey);
}

CK_RV C_VerifyRecover(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pSignature, CK_ULONG ulSignatureLen, CK_BYTE_PTR pData,
                      CK_ULONG_PTR pulDataLen) {
  return whole("C_VerifyRecover", Operation::VerifyRecover, "signature", hSession, pSignature, ulSignatureLen, pData,
               pulDataLen, recover);
}

CK_RV C_DigestEncryptUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen,
                            CK_BYTE_PTR pEncryptedPart, CK_ULONG_PTR pulEncryptedPartLen) {
  return stream("C_DigestEncryptUpdate", Operation::Encrypt, Operation::Digest, hSession, pPart, ulPartLen,
                pEncryptedPart, pulEncryptedPartLen);
}

CK_RV C_DecryptDigestUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedPart, CK_ULONG ulEncryptedPartLen,
                            CK_BYTE_PTR pPart, CK_ULONG_PTR pulPartLen) {
  return stream("C_DecryptDigestUpdate", Operation::Decrypt, Operation::Digest, hSession, pEncryptedPart,
                ulEncryptedPartLen, pPart, pulPartLen);
}

CK_RV C_SignEncryptUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pPart, CK_ULONG ulPartLen, CK_BYTE_PTR pEncryptedPart,
                          CK_ULONG_PTR pulEncryptedPartLen) {
  return stream("C_SignEncryptUpdate", Operation::Encrypt, Operation::Sign, hSession, pPart, ulPartLen, pEncryptedPart,
                pulEncryptedPartLen);
}

CK_RV C_DecryptVerifyUpdate(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pEncryptedPart, CK_ULONG ulEncryptedPartLen,
                            CK_BYTE_PTR pPart, CK_ULONG_PTR pulPartLen) {
  return stream("C_DecryptVerifyUpdate", Operation::Decrypt, Operation::Verify, hSession, pEncryptedPart,
                ulEncryptedPartLen, pPart, pulPartLen);
}

}  // namespace scripted
