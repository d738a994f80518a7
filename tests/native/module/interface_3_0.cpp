/// The interface of version 3.0, for a module that has it: the functions of the list, and what version 3.0 added that a
/// test needs.
#include "call.h"
#include "entries.h"
#include "messages_3_0.h"

#include <string>

namespace scripted {
namespace {

CK_RV C_LoginUser(CK_SESSION_HANDLE hSession, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pPin, CK_ULONG ulPinLen,
                  CK_UTF8CHAR_PTR pUsername, CK_ULONG ulUsernameLen) {
  Call call("C_LoginUser");
  call.hex("session", hSession)
      .hex("userType", userType)
      .bytes("pin", pPin, ulPinLen)
      .bytes("name", pUsername, ulUsernameLen);
  return call.answer([=](Token& token) {
    return token.login(hSession, userType, std::string(reinterpret_cast<const char*>(pPin), ulPinLen));
  });
}

CK_RV C_SessionCancel(CK_SESSION_HANDLE hSession, CK_FLAGS flags) {
  struct Flagged {
    CK_FLAGS flag;
    Operation operation;
  };
  constexpr Flagged kOperations[] = {{CKF_ENCRYPT, Operation::Encrypt},
                                     {CKF_DECRYPT, Operation::Decrypt},
                                     {CKF_DIGEST, Operation::Digest},
                                     {CKF_SIGN, Operation::Sign},
                                     {CKF_SIGN_RECOVER, Operation::SignRecover},
                                     {CKF_VERIFY, Operation::Verify},
                                     {CKF_VERIFY_RECOVER, Operation::VerifyRecover},
                                     {CKF_MESSAGE_ENCRYPT, Operation::MessageEncrypt},
                                     {CKF_MESSAGE_DECRYPT, Operation::MessageDecrypt},
                                     {CKF_MESSAGE_SIGN, Operation::MessageSign},
                                     {CKF_MESSAGE_VERIFY, Operation::MessageVerify}};
  Call call("C_SessionCancel");
  call.hex("session", hSession).hex("flags", flags);
  return call.answer([&](Token& token) -> CK_RV {
    Session* const session = token.session(hSession);
    if (session == nullptr) {
      return CKR_SESSION_HANDLE_INVALID;
    }
    for (const Flagged& flagged : kOperations) {
      if ((flags & flagged.flag) != 0) {
        session->operations.erase(flagged.operation);
      }
    }
    return CKR_OK;
  });
}

CK_FUNCTION_LIST_3_0 list = {};
CK_UTF8CHAR name[] = "PKCS 11";
CK_INTERFACE interface = {name, &list, 0};

}  // namespace
}  // namespace scripted

extern "C" __attribute__((visibility("default"))) CK_RV C_GetInterface(CK_UTF8CHAR_PTR /*pInterfaceName*/,
                                                                       CK_VERSION_PTR /*pVersion*/,
                                                                       CK_INTERFACE_PTR_PTR ppInterface,
                                                                       CK_FLAGS /*flags*/) {
  using namespace scripted;
  list.version = {3, 0};
#define X(name) list.name = scripted::name;
#include "functions.inc"
#undef X
  list.C_LoginUser = C_LoginUser;
  list.C_SessionCancel = C_SessionCancel;
  addMessages(list);
  *ppInterface = &scripted::interface;
  return CKR_OK;
}
