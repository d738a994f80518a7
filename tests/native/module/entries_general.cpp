/// General purpose, slots, tokens, sessions.
#include "call.h"
#include "entries.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace scripted {
namespace {

// --- Information structures: defaults come from the toy, and a script may replace any field by its name. -------------

struct Field {
  const char* name;
  std::size_t offset;
  std::size_t textSize;  ///< 0 for a CK_ULONG
};

#define NUMBER(structure, field) numberField(#field, offsetof(structure, field))
#define TEXT(structure, field) textField(#field, offsetof(structure, field), sizeof(structure::field))

constexpr Field numberField(const char* name, std::size_t offset) {
  return {name, offset, 0};
}
constexpr Field textField(const char* name, std::size_t offset, std::size_t size) {
  return {name, offset, size};
}

constexpr Field kInfoFields[] = {TEXT(CK_INFO, manufacturerID), NUMBER(CK_INFO, flags),
                                 TEXT(CK_INFO, libraryDescription)};
constexpr Field kSlotFields[] = {TEXT(CK_SLOT_INFO, slotDescription), TEXT(CK_SLOT_INFO, manufacturerID),
                                 NUMBER(CK_SLOT_INFO, flags)};
constexpr Field kTokenFields[] = {TEXT(CK_TOKEN_INFO, label),
                                  TEXT(CK_TOKEN_INFO, manufacturerID),
                                  TEXT(CK_TOKEN_INFO, model),
                                  TEXT(CK_TOKEN_INFO, serialNumber),
                                  NUMBER(CK_TOKEN_INFO, flags),
                                  NUMBER(CK_TOKEN_INFO, ulMaxSessionCount),
                                  NUMBER(CK_TOKEN_INFO, ulSessionCount),
                                  NUMBER(CK_TOKEN_INFO, ulMaxRwSessionCount),
                                  NUMBER(CK_TOKEN_INFO, ulRwSessionCount),
                                  NUMBER(CK_TOKEN_INFO, ulMaxPinLen),
                                  NUMBER(CK_TOKEN_INFO, ulMinPinLen),
                                  NUMBER(CK_TOKEN_INFO, ulTotalPublicMemory),
                                  NUMBER(CK_TOKEN_INFO, ulFreePublicMemory),
                                  NUMBER(CK_TOKEN_INFO, ulTotalPrivateMemory),
                                  NUMBER(CK_TOKEN_INFO, ulFreePrivateMemory),
                                  TEXT(CK_TOKEN_INFO, utcTime)};
constexpr Field kSessionFields[] = {NUMBER(CK_SESSION_INFO, slotID), NUMBER(CK_SESSION_INFO, state),
                                    NUMBER(CK_SESSION_INFO, flags), NUMBER(CK_SESSION_INFO, ulDeviceError)};
constexpr Field kMechanismFields[] = {NUMBER(CK_MECHANISM_INFO, ulMinKeySize), NUMBER(CK_MECHANISM_INFO, ulMaxKeySize),
                                      NUMBER(CK_MECHANISM_INFO, flags)};

template <std::size_t Size>
void pad(CK_BYTE (&field)[Size], const std::string& text) {
  std::memset(field, ' ', Size);
  std::memcpy(field, text.data(), std::min(Size, text.size()));
}

/// Answers with an information structure. A script's text is padded with blanks; a failing call leaves the caller's
/// structure alone.
template <typename Info, std::size_t Count, typename Fill>
CK_RV inform(Call& call, Info* pInfo, const Field (&fields)[Count], Fill&& fill) {
  call.pointer("info", pInfo);
  Info info{};
  const auto filled = [&](Token& token) { return pInfo == nullptr ? CKR_ARGUMENTS_BAD : fill(token, info); };
  const CK_RV Rv = call.forced()               ? *call.script.rv
                   : !call.token().initialised ? CKR_CRYPTOKI_NOT_INITIALIZED
                                               : filled(call.token());
  if (Rv == CKR_OK && pInfo != nullptr) {
    for (const Field& field : fields) {
      auto* const place = reinterpret_cast<CK_BYTE*>(&info) + field.offset;
      if (const auto text = call.script.texts.find(field.name); text != call.script.texts.end()) {
        std::memset(place, ' ', field.textSize);
        std::memcpy(place, text->second.data(), std::min(field.textSize, text->second.size()));
      } else if (const auto number = call.script.number(field.name); number && field.textSize == 0) {
        std::memcpy(place, &*number, sizeof *number);
      }
    }
    *pInfo = info;
  }
  return call.finish(Rv);
}

/// Answers with a list of numbers by the rules of the standard; a scripted `count` lies about it.
template <typename Toy>
CK_RV listed(Call& call, CK_ULONG* list, CK_ULONG* pulCount, Toy&& toy) {
  call.pointer("list", list).number("count", pulCount == nullptr ? 0 : *pulCount);
  const auto deliver = [&](Token& token) -> CK_RV {
    std::vector<CK_ULONG> values;
    CK_RV Rv = pulCount == nullptr ? CKR_ARGUMENTS_BAD : toy(token, values);
    if (Rv != CKR_OK) {
      return Rv;
    }
    values = call.script.list.value_or(values);
    if (list != nullptr && *pulCount < values.size()) {
      Rv = CKR_BUFFER_TOO_SMALL;
    } else if (list != nullptr) {
      std::copy(values.begin(), values.end(), list);
    }
    *pulCount = values.size();
    return Rv;
  };
  const CK_RV Rv = call.forced()               ? *call.script.rv
                   : !call.token().initialised ? CKR_CRYPTOKI_NOT_INITIALIZED
                                               : deliver(call.token());
  if (pulCount != nullptr) {
    *pulCount = call.script.number("count").value_or(*pulCount);
    call.result("count", text::length(*pulCount));
  }
  return call.finish(Rv);
}

std::string pinText(const CK_BYTE* pPin, CK_ULONG ulPinLen) {
  return pPin == nullptr ? "" : std::string(reinterpret_cast<const char*>(pPin), ulPinLen);
}

}  // namespace

CK_RV C_Initialize(CK_VOID_PTR pInitArgs) {
  Call call("C_Initialize");
  call.pointer("args", pInitArgs);
  const CK_RV Rv = call.forced()              ? *call.script.rv
                   : call.token().initialised ? CKR_CRYPTOKI_ALREADY_INITIALIZED
                                              : CKR_OK;
  if (Rv == CKR_OK) {
    call.token().initialised = true;
  }
  return call.finish(Rv);
}

CK_RV C_Finalize(CK_VOID_PTR pReserved) {
  Call call("C_Finalize");
  call.pointer("reserved", pReserved);
  return call.answer([](Token& token) {
    const CK_VOID_PTR callback = token.callback;
    token = Token();
    token.callback = callback;
    return CKR_OK;
  });
}

CK_RV C_GetInfo(CK_INFO_PTR pInfo) {
  Call call("C_GetInfo");
  return inform(call, pInfo, kInfoFields, [](Token&, CK_INFO& info) {
    info.cryptokiVersion = {2, 40};
    info.libraryVersion = {7, 9};
    pad(info.manufacturerID, "Manufacturer of module");
    pad(info.libraryDescription, "Scripted module");
    return CKR_OK;
  });
}

CK_RV C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR pSlotList, CK_ULONG_PTR pulCount) {
  Call call("C_GetSlotList");
  call.number("tokenPresent", tokenPresent);
  return listed(call, pSlotList, pulCount, [tokenPresent](Token&, std::vector<CK_ULONG>& slots) {
    slots = {kTokenSlot};
    if (tokenPresent == CK_FALSE) {
      slots.push_back(kEmptySlot);
    }
    return CKR_OK;
  });
}

CK_RV C_GetSlotInfo(CK_SLOT_ID slotID, CK_SLOT_INFO_PTR pInfo) {
  Call call("C_GetSlotInfo");
  call.hex("slot", slotID);
  return inform(call, pInfo, kSlotFields, [slotID](Token& token, CK_SLOT_INFO& info) {
    const CK_RV Rv = token.checkToken(slotID);
    pad(info.slotDescription, "Description of slot");
    pad(info.manufacturerID, "Manufacturer of slot");
    info.flags = CKF_HW_SLOT | CKF_REMOVABLE_DEVICE | (Rv == CKR_OK ? CKF_TOKEN_PRESENT : 0);
    info.hardwareVersion = {11, 12};
    info.firmwareVersion = {13, 14};
    return Rv == CKR_TOKEN_NOT_PRESENT ? CKR_OK : Rv;
  });
}

CK_RV C_GetTokenInfo(CK_SLOT_ID slotID, CK_TOKEN_INFO_PTR pInfo) {
  Call call("C_GetTokenInfo");
  call.hex("slot", slotID);
  return inform(call, pInfo, kTokenFields, [slotID](Token& token, CK_TOKEN_INFO& info) {
    pad(info.label, token.label);
    pad(info.manufacturerID, "Manufacturer of token");
    pad(info.model, "Model");
    pad(info.serialNumber, "Serial 1234");
    pad(info.utcTime, "2001020304050600");
    info.flags = CKF_RNG | CKF_LOGIN_REQUIRED | CKF_USER_PIN_INITIALIZED | CKF_TOKEN_INITIALIZED;
    CK_ULONG value = 101;
    for (CK_ULONG* number : {&info.ulMaxSessionCount, &info.ulSessionCount, &info.ulMaxRwSessionCount,
                             &info.ulRwSessionCount, &info.ulMaxPinLen, &info.ulMinPinLen, &info.ulTotalPublicMemory,
                             &info.ulFreePublicMemory, &info.ulTotalPrivateMemory, &info.ulFreePrivateMemory}) {
      *number = value++;
    }
    info.hardwareVersion = {21, 22};
    info.firmwareVersion = {23, 24};
    return token.checkToken(slotID);
  });
}

CK_RV C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR pSlot, CK_VOID_PTR pReserved) {
  Call call("C_WaitForSlotEvent");
  call.hex("flags", flags).pointer("slot", pSlot).pointer("reserved", pReserved);
  const bool event = call.script.has("slot") || (flags & CKF_DONT_BLOCK) == 0;
  const CK_RV Rv = call.script.rv.value_or(!call.token().initialised ? CKR_CRYPTOKI_NOT_INITIALIZED
                                           : event                   ? CKR_OK
                                                                     : CKR_NO_EVENT);
  if (Rv == CKR_OK || call.script.has("slot")) {
    call.store(pSlot, kTokenSlot, "slot");
  }
  return call.finish(Rv);
}

CK_RV C_GetMechanismList(CK_SLOT_ID slotID, CK_MECHANISM_TYPE_PTR pMechanismList, CK_ULONG_PTR pulCount) {
  Call call("C_GetMechanismList");
  call.hex("slot", slotID);
  return listed(call, pMechanismList, pulCount, [slotID](Token& token, std::vector<CK_ULONG>& mechanisms) {
    mechanisms = {CKM_RSA_PKCS, CKM_SHA_1, CKM_DES3_CBC};
    return token.checkToken(slotID);
  });
}

CK_RV C_GetMechanismInfo(CK_SLOT_ID slotID, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR pInfo) {
  Call call("C_GetMechanismInfo");
  call.hex("slot", slotID).hex("type", type);
  return inform(call, pInfo, kMechanismFields, [=](Token& token, CK_MECHANISM_INFO& info) {
    info = {501, 502, CKF_SIGN | CKF_VERIFY};
    const bool known = type == CKM_RSA_PKCS || type == CKM_SHA_1 || type == CKM_DES3_CBC;
    const CK_RV Rv = token.checkToken(slotID);
    return Rv == CKR_OK && !known ? CKR_MECHANISM_INVALID : Rv;
  });
}

CK_RV C_InitToken(CK_SLOT_ID slotID, CK_UTF8CHAR_PTR pPin, CK_ULONG ulPinLen, CK_UTF8CHAR_PTR pLabel) {
  constexpr CK_ULONG kLabelSize = 32;
  Call call("C_InitToken");
  call.hex("slot", slotID).bytes("pin", pPin, ulPinLen).bytes("label", pLabel, kLabelSize);
  return call.answer([=](Token& token) {
    if (const CK_RV Rv = token.checkToken(slotID); Rv != CKR_OK) {
      return Rv;
    }
    if (!token.sessions.empty()) {
      return CKR_SESSION_EXISTS;
    }
    if (pinText(pPin, ulPinLen) != token.soPin) {
      return CKR_PIN_INCORRECT;
    }
    token.objects.clear();
    token.label = pinText(pLabel, kLabelSize);
    return CKR_OK;
  });
}

CK_RV C_InitPIN(CK_SESSION_HANDLE hSession, CK_UTF8CHAR_PTR pPin, CK_ULONG ulPinLen) {
  Call call("C_InitPIN");
  call.hex("session", hSession).bytes("pin", pPin, ulPinLen);
  return call.answer([=](Token& token) {
    if (token.session(hSession) == nullptr) {
      return CKR_SESSION_HANDLE_INVALID;
    }
    if (token.user != CKU_SO) {
      return CKR_USER_NOT_LOGGED_IN;
    }
    token.userPin = pinText(pPin, ulPinLen);
    return CKR_OK;
  });
}

CK_RV C_SetPIN(CK_SESSION_HANDLE hSession, CK_UTF8CHAR_PTR pOldPin, CK_ULONG ulOldLen, CK_UTF8CHAR_PTR pNewPin,
               CK_ULONG ulNewLen) {
  Call call("C_SetPIN");
  call.hex("session", hSession).bytes("oldPin", pOldPin, ulOldLen).bytes("newPin", pNewPin, ulNewLen);
  return call.answer(
      [=](Token& token) { return token.setPin(hSession, pinText(pOldPin, ulOldLen), pinText(pNewPin, ulNewLen)); });
}

CK_RV C_OpenSession(CK_SLOT_ID slotID, CK_FLAGS flags, CK_VOID_PTR pApplication, CK_NOTIFY Notify,
                    CK_SESSION_HANDLE_PTR phSession) {
  Call call("C_OpenSession");
  call.hex("slot", slotID)
      .hex("flags", flags)
      .pointer("application", pApplication)
      .pointer("notify", reinterpret_cast<const void*>(Notify));
  CK_RV Rv = call.script.rv.value_or(call.token().checkToken(slotID));
  if (!call.forced() && !call.token().initialised) {
    Rv = CKR_CRYPTOKI_NOT_INITIALIZED;
  } else if (!call.forced() && Rv == CKR_OK && (flags & CKF_SERIAL_SESSION) == 0) {
    Rv = CKR_SESSION_PARALLEL_NOT_SUPPORTED;
  }
  if (Rv == CKR_OK) {
    const CK_SESSION_HANDLE opened = call.script.number("handle").value_or(call.token().nextSession++);
    call.token().sessions[opened] = Session{slotID, flags, {}, {}};
    call.store(phSession, opened, "handle");
  } else if (call.script.has("handle")) {
    call.store(phSession, 0, "handle");
  }
  return call.finish(Rv);
}

CK_RV C_CloseSession(CK_SESSION_HANDLE hSession) {
  Call call("C_CloseSession");
  call.hex("session", hSession);
  return call.answer([hSession](Token& token) {
    const bool known = token.sessions.erase(hSession) != 0;
    if (token.sessions.empty()) {
      token.user.reset();
    }
    return known ? CKR_OK : CKR_SESSION_HANDLE_INVALID;
  });
}

CK_RV C_CloseAllSessions(CK_SLOT_ID slotID) {
  Call call("C_CloseAllSessions");
  call.hex("slot", slotID);
  return call.answer([slotID](Token& token) {
    const CK_RV Rv = token.checkToken(slotID);
    if (Rv == CKR_OK) {
      token.sessions.clear();
      token.user.reset();
    }
    return Rv;
  });
}

CK_RV C_GetSessionInfo(CK_SESSION_HANDLE hSession, CK_SESSION_INFO_PTR pInfo) {
  Call call("C_GetSessionInfo");
  call.hex("session", hSession);
  return inform(call, pInfo, kSessionFields, [hSession](Token& token, CK_SESSION_INFO& info) {
    const Session* const session = token.session(hSession);
    if (session == nullptr) {
      return CKR_SESSION_HANDLE_INVALID;
    }
    const bool writable = (session->flags & CKF_RW_SESSION) != 0;
    const CK_STATE open = writable ? CKS_RW_PUBLIC_SESSION : CKS_RO_PUBLIC_SESSION;
    const CK_STATE user = writable ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS;
    info = {session->slotID,
            !token.user             ? open
            : *token.user == CKU_SO ? CKS_RW_SO_FUNCTIONS
                                    : user,
            session->flags, 0x5E0};
    return CKR_OK;
  });
}

CK_RV C_GetOperationState(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pOperationState, CK_ULONG_PTR pulOperationStateLen) {
  Call call("C_GetOperationState");
  call.hex("session", hSession).room(pOperationState, pulOperationStateLen);
  return call.output(
      pOperationState, pulOperationStateLen,
      [hSession](Token& token, Bytes& out) {
        out = bytesOf("OPSTATE!");
        const Session* const session = token.session(hSession);
        return session == nullptr            ? CKR_SESSION_HANDLE_INVALID
               : session->operations.empty() ? CKR_OPERATION_NOT_INITIALIZED
                                             : CKR_OK;
      },
      [](Token&) {});
}

CK_RV C_SetOperationState(CK_SESSION_HANDLE hSession, CK_BYTE_PTR pOperationState, CK_ULONG ulOperationStateLen,
                          CK_OBJECT_HANDLE hEncryptionKey, CK_OBJECT_HANDLE hAuthenticationKey) {
  Call call("C_SetOperationState");
  call.hex("session", hSession)
      .bytes("state", pOperationState, ulOperationStateLen)
      .hex("encryptionKey", hEncryptionKey)
      .hex("authenticationKey", hAuthenticationKey);
  return call.answer([=](Token& token) {
    return token.session(hSession) == nullptr                            ? CKR_SESSION_HANDLE_INVALID
           : pinText(pOperationState, ulOperationStateLen) == "OPSTATE!" ? CKR_OK
                                                                         : CKR_SAVED_STATE_INVALID;
  });
}

CK_RV C_Login(CK_SESSION_HANDLE hSession, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pPin, CK_ULONG ulPinLen) {
  Call call("C_Login");
  call.hex("session", hSession).hex("userType", userType).bytes("pin", pPin, ulPinLen);
  return call.answer([=](Token& token) { return token.login(hSession, userType, pinText(pPin, ulPinLen)); });
}

CK_RV C_Logout(CK_SESSION_HANDLE hSession) {
  Call call("C_Logout");
  call.hex("session", hSession);
  return call.answer([hSession](Token& token) {
    if (token.session(hSession) == nullptr) {
      return CKR_SESSION_HANDLE_INVALID;
    }
    const bool loggedIn = token.user.has_value();
    token.user.reset();
    return loggedIn ? CKR_OK : CKR_USER_NOT_LOGGED_IN;
  });
}

namespace {

CK_RV notParallel(const char* function, CK_SESSION_HANDLE hSession) {
  Call call(function);
  call.hex("session", hSession);
  return call.answer([hSession](Token& token) {
    return token.session(hSession) == nullptr ? CKR_SESSION_HANDLE_INVALID : CKR_FUNCTION_NOT_PARALLEL;
  });
}

}  // namespace

CK_RV C_GetFunctionStatus(CK_SESSION_HANDLE hSession) {
  return notParallel("C_GetFunctionStatus", hSession);
}

CK_RV C_CancelFunction(CK_SESSION_HANDLE hSession) {
  return notParallel("C_CancelFunction", hSession);
}

}  // namespace scripted
