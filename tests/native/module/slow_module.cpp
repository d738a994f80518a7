/// A token of which only time is interesting: a signature takes 10 ms, however many are made at once. It locks by
/// itself (there is nothing to lock), and has what is needed to come to a signature: one slot, sessions, one RSA key
/// that tells nothing but its class and type.
#include "pkcs11.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

constexpr CK_ULONG SIGNATURE_BYTES = 256;
constexpr std::chrono::milliseconds SIGNING_TIME{10};

std::atomic<CK_SESSION_HANDLE> lastSession{0};

CK_RV initialize(CK_VOID_PTR) {
  return CKR_OK;
}

CK_RV finalize(CK_VOID_PTR) {
  return CKR_OK;
}

CK_RV getInfo(CK_INFO_PTR pInfo) {
  *pInfo = CK_INFO{};
  pInfo->cryptokiVersion = {2, 40};
  return CKR_OK;
}

CK_RV getSlotList(CK_BBOOL, CK_SLOT_ID_PTR pSlotList, CK_ULONG_PTR pulCount) {
  if (pSlotList != nullptr) {
    pSlotList[0] = 0;
  }
  *pulCount = 1;
  return CKR_OK;
}

CK_RV getTokenInfo(CK_SLOT_ID, CK_TOKEN_INFO_PTR pInfo) {
  *pInfo = CK_TOKEN_INFO{};
  std::memset(pInfo->label, ' ', sizeof pInfo->label);
  std::memcpy(pInfo->label, "slow", 4);
  return CKR_OK;
}

CK_RV openSession(CK_SLOT_ID, CK_FLAGS, CK_VOID_PTR, CK_NOTIFY, CK_SESSION_HANDLE_PTR phSession) {
  *phSession = ++lastSession;
  return CKR_OK;
}

CK_RV closeSession(CK_SESSION_HANDLE) {
  return CKR_OK;
}

CK_RV closeAllSessions(CK_SLOT_ID) {
  return CKR_OK;
}

CK_RV getAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
  CK_RV answer = CKR_OK;
  for (CK_ULONG i = 0; i < ulCount; ++i) {
    CK_ATTRIBUTE& attribute = pTemplate[i];
    if (attribute.type != CKA_CLASS && attribute.type != CKA_KEY_TYPE) {
      attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
      answer = CKR_ATTRIBUTE_TYPE_INVALID;
      continue;
    }
    if (attribute.pValue != nullptr) {
      const CK_ULONG value = attribute.type == CKA_CLASS ? CKO_PRIVATE_KEY : CKK_RSA;
      std::memcpy(attribute.pValue, &value, sizeof value);
    }
    attribute.ulValueLen = sizeof(CK_ULONG);
  }
  return answer;
}

CK_RV signInit(CK_SESSION_HANDLE, CK_MECHANISM_PTR, CK_OBJECT_HANDLE) {
  return CKR_OK;
}

CK_RV sign(CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR pSignature, CK_ULONG_PTR pulSignatureLen) {
  const CK_ULONG room = *pulSignatureLen;
  *pulSignatureLen = SIGNATURE_BYTES;
  if (pSignature == nullptr) {
    return CKR_OK;
  }
  if (room < SIGNATURE_BYTES) {
    return CKR_BUFFER_TOO_SMALL;
  }
  std::this_thread::sleep_for(SIGNING_TIME);
  std::memset(pSignature, 'S', SIGNATURE_BYTES);
  return CKR_OK;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
  static CK_FUNCTION_LIST list{};
  list.version = {2, 40};
  list.C_Initialize = initialize;
  list.C_Finalize = finalize;
  list.C_GetInfo = getInfo;
  list.C_GetFunctionList = C_GetFunctionList;
  list.C_GetSlotList = getSlotList;
  list.C_GetTokenInfo = getTokenInfo;
  list.C_OpenSession = openSession;
  list.C_CloseSession = closeSession;
  list.C_CloseAllSessions = closeAllSessions;
  list.C_GetAttributeValue = getAttributeValue;
  list.C_SignInit = signInit;
  list.C_Sign = sign;
  *ppFunctionList = &list;
  return CKR_OK;
}
