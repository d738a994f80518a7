/// The toy token: sessions, objects, and cryptography that a reader can check by eye. Functions that have output
/// compute it without changing anything; the caller ends the operation once the output was really handed out.
#pragma once

#include "script.h"

namespace scripted {

using Attributes = std::map<CK_ATTRIBUTE_TYPE, Bytes>;

enum class Operation {
  Encrypt,
  Decrypt,
  Digest,
  Sign,
  SignRecover,
  Verify,
  VerifyRecover,
  MessageEncrypt,
  MessageDecrypt,
  MessageSign,
  MessageVerify
};

struct Active {
  CK_MECHANISM_TYPE mechanism;
  Bytes data;
  bool updated = false;
};

struct Session {
  CK_SLOT_ID slotID;
  CK_FLAGS flags;
  std::map<Operation, Active> operations;
  std::optional<std::deque<CK_OBJECT_HANDLE>> search;
};

inline constexpr CK_SLOT_ID kTokenSlot = 0x11;
inline constexpr CK_SLOT_ID kEmptySlot = 0x22;

struct Token {
  Token();

  bool initialised = false;
  std::optional<CK_USER_TYPE> user;
  std::string userPin = "1234";
  std::string soPin = "87654321";
  std::string label = "Scripted token";
  CK_SESSION_HANDLE nextSession = 0x5E51;
  CK_OBJECT_HANDLE nextObject = 0xB01;
  std::map<CK_SESSION_HANDLE, Session> sessions;
  std::map<CK_OBJECT_HANDLE, Attributes> objects;
  CK_VOID_PTR callback = nullptr;

  /// The return value for a slot that is not there, or has no token.
  CK_RV checkToken(CK_SLOT_ID slotID) const;
  Session* session(CK_SESSION_HANDLE handle);
  CK_OBJECT_HANDLE add(const Attributes& attributes);

  CK_RV login(CK_SESSION_HANDLE handle, CK_USER_TYPE type, const std::string& pin);
  CK_RV setPin(CK_SESSION_HANDLE handle, const std::string& oldPin, const std::string& newPin);
  /// Starts an operation; `forced` skips the checks.
  CK_RV start(CK_SESSION_HANDLE handle, Operation operation, CK_MECHANISM_TYPE mechanism, CK_OBJECT_HANDLE hKey,
              bool forced);
  /// The running operation, or null and the return value why not.
  Active* active(CK_SESSION_HANDLE handle, Operation operation, CK_RV& Rv);
  void end(CK_SESSION_HANDLE handle, Operation operation);
};

Attributes attributesOf(const CK_ATTRIBUTE* pTemplate, CK_ULONG ulCount);
bool isSensitive(const Attributes& object);

Bytes toyCipher(const Bytes& data);
Bytes toySignature(const std::string& prefix, const Bytes& data);
Bytes toyDigest(CK_MECHANISM_TYPE mechanism, const Bytes& data);
/// The whole blocks that an update hands out when `more` follows what was held back.
Bytes toyBlocks(const Bytes& heldBack, const Bytes& more);

inline Bytes bytesOf(const std::string& text) {
  return Bytes(text.begin(), text.end());
}

}  // namespace scripted
