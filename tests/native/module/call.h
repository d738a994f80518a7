/// One call of the module: takes its scripted answer, shows its arguments, and writes its line when it is answered.
///
///   Call call("C_CloseSession");
///   call.hex("session", hSession);
///   return call.answer([&](Token& token) { return token.sessions.erase(hSession) != 0 ? CKR_OK : ...; });
#pragma once

#include "describe.h"
#include "text.h"
#include "token.h"

#include <mutex>
#include <utility>

namespace scripted {

class Call {
public:
  /// Takes the module's lock, after any scripted waiting.
  explicit Call(const char* function);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  Call& hex(const char* name, CK_ULONG value) { return add(name, text::hex(value)); }
  Call& number(const char* name, CK_ULONG value) { return add(name, text::length(value)); }
  Call& pointer(const char* name, const void* pointer) { return add(name, pointer == nullptr ? "null" : "non-null"); }
  /// Bytes whose length shows from the text; where they cannot be shown the length is given beside them.
  Call& bytes(const char* name, const void* bytes, CK_ULONG length);
  Call& mechanism(const CK_MECHANISM* pMechanism) {
    return add("mechanism", scripted::mechanism(pMechanism, unread()));
  }
  Call& values(const char* name, const CK_ATTRIBUTE* pTemplate, CK_ULONG ulCount) {
    return add(name, valueTemplate(pTemplate, ulCount, unread()));
  }
  /// A buffer that the module is to fill, and the length it is offered.
  Call& room(const void* buffer, const CK_ULONG* length);
  Call& add(const char* name, const std::string& value);
  /// Something that the line tells after the return value.
  Call& result(const char* name, const std::string& value);

  /// Answers: the forced return value of the script, else what `toy` answers. Every call but the first ones of a module
  /// needs it to be initialised.
  template <typename Toy>
  CK_RV answer(Toy&& toy) {
    return finish(forced() ? *script.rv : needsInitialising() ? CKR_CRYPTOKI_NOT_INITIALIZED : toy(token()));
  }

  /// Answers with output: `toy` gives the return value and the bytes and changes nothing; `end` runs when the bytes
  /// were handed out or the operation failed.
  template <typename Toy, typename End>
  CK_RV output(CK_BYTE_PTR buffer, CK_ULONG_PTR length, Toy&& toy, End&& end) {
    Bytes bytes;
    CK_RV Rv = CKR_OK;
    if (!forced()) {
      Rv = needsInitialising() ? CKR_CRYPTOKI_NOT_INITIALIZED : toy(token(), bytes);
    }
    bool over = Rv != CKR_OK;
    if (Rv == CKR_OK) {
      Rv = handOut(buffer, length, bytes, over);
    }
    if (over && !forced()) {
      end(token());
    }
    return finish(Rv);
  }

  /// Stores a handle, unless the toy failed; the script's number of this key goes before, also with a failure.
  void store(CK_ULONG_PTR place, CK_ULONG value, const char* key);

  bool forced() const { return script.rv.has_value(); }
  bool unread() const { return script.says("unread"); }
  Token& token();
  CK_RV finish(CK_RV Rv);

  Answer script;

private:
  CK_RV handOut(CK_BYTE_PTR buffer, CK_ULONG_PTR length, const Bytes& toyBytes, bool& over);
  void askForPin();
  bool needsInitialising();

  std::string function_;
  std::unique_lock<std::mutex> lock_;
  std::string line_;
  std::string results_;
};

}  // namespace scripted
