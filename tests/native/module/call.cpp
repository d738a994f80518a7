#include "call.h"

#include "scripted_module.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace scripted {
namespace {

using PinCallback = CK_RV (*)(CK_CHAR_PTR, CK_ULONG_PTR);

struct Module {
  Module() = default;
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  /// Lets blocked calls go on: a process that ends would wait for them.
  ~Module() {
    const std::lock_guard<std::mutex> lock(mutex);
    ++releases;
    released.notify_all();
  }

  std::mutex mutex;
  std::condition_variable released;
  Token token;
  Script script;
  std::string journal;
  std::string error;
  scripted_listener_t listener = nullptr;
  unsigned long calls = 0;
  unsigned long failAt = 0;
  CK_RV failWith = CKR_OK;
  unsigned long releases = 0;
  int blocked = 0;
};

// Destroyed with the module: tests load and unload several, and what they leave behind would count as a leak.
Module& module() {
  static Module instance;
  return instance;
}

[[noreturn]] void raise(const std::string& kind) {
  if (kind == "int") {
    throw 7;
  }
  if (kind == "code") {
    throw CK_RV{CKR_PIN_INCORRECT};
  }
  if (kind == "text") {
    throw "a text of the module's";
  }
  throw std::runtime_error(kind);
}

const char* keep(const std::string& text) {
  thread_local std::string kept;
  kept = text;
  return kept.c_str();
}

}  // namespace

Call::Call(const char* function) : function_(function), lock_(module().mutex), line_(function) {
  Module& m = module();
  ++m.calls;
  script = m.script.next(function_);
  if (m.failAt != 0 && --m.failAt == 0) {
    script.rv = m.failWith;
  }
  if (script.says("block")) {
    ++m.blocked;
    const unsigned long before = m.releases;
    m.released.wait(lock_, [&m, before] { return m.releases != before; });
    --m.blocked;
  }
  if (const auto delay = script.number("delay")) {
    lock_.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(*delay));
    lock_.lock();
  }
  if (script.says("asks")) {
    askForPin();
  }
  if (const auto thrown = script.texts.find("throws"); thrown != script.texts.end()) {
    raise(thrown->second);
  }
}

/// On a thread that knows nothing of the caller's JVM, as modules with a window of their own do.
void Call::askForPin() {
  std::string pin;
  std::thread([&pin, callback = reinterpret_cast<PinCallback>(token().callback)] {
    CK_ULONG length = 0;
    if (callback != nullptr && callback(nullptr, &length) == CKR_OK) {
      pin.resize(length);
      callback(reinterpret_cast<CK_CHAR_PTR>(pin.data()), &length);
    }
  }).join();
  result("signerPin", input(pin.data(), pin.size(), false));
  if (pin.empty() && !forced()) {
    script.rv = CKR_PIN_INCORRECT;
  }
}

Call& Call::add(const char* name, const std::string& value) {
  line_ += " " + std::string(name) + "=" + value;
  return *this;
}

Call& Call::bytes(const char* name, const void* bytes, CK_ULONG length) {
  const std::string shown = input(bytes, length, unread());
  add(name, shown);
  if (shown == "null" || shown == "non-null") {
    number((std::string(name) + "Length").c_str(), length);
  }
  return *this;
}

Call& Call::room(const void* buffer, const CK_ULONG* length) {
  pointer("buffer", buffer);
  return length == nullptr ? add("length", "null") : number("length", *length);
}

Call& Call::result(const char* name, const std::string& value) {
  results_ += " " + std::string(name) + "=" + value;
  return *this;
}

void Call::store(CK_ULONG_PTR place, CK_ULONG value, const char* key) {
  if (place == nullptr) {
    return;
  }
  if (const auto scriptedValue = script.number(key)) {
    value = *scriptedValue;
  } else if (forced()) {
    return;
  }
  *place = value;
  result(key, text::hex(value));
}

Token& Call::token() {
  return module().token;
}

bool Call::needsInitialising() {
  return !token().initialised && function_ != "C_Initialize" && function_ != "C_SetCallBack";
}

CK_RV Call::handOut(CK_BYTE_PTR buffer, CK_ULONG_PTR length, const Bytes& toyBytes, bool& over) {
  if (length == nullptr) {
    return CKR_ARGUMENTS_BAD;
  }
  CK_RV Rv = script.rv.value_or(CKR_OK);
  const std::optional<Bytes> wanted = script.output();
  if (!forced() || wanted) {
    const Bytes& bytes = wanted ? *wanted : toyBytes;
    const CK_ULONG offered = *length;
    *length = bytes.size();
    if (buffer != nullptr && offered < bytes.size() && !script.has("write")) {
      Rv = forced() ? Rv : CKR_BUFFER_TOO_SMALL;
    } else if (buffer != nullptr) {
      const CK_ULONG written = std::min<CK_ULONG>(script.number("write").value_or(bytes.size()), bytes.size());
      if (written > 0) {
        std::memcpy(buffer, bytes.data(), written);
      }
      over = true;
    }
  }
  if (const auto lie = script.number("length")) {
    *length = *lie;
  }
  if (Rv == CKR_OK || Rv == CKR_BUFFER_TOO_SMALL || script.has("length")) {
    result("length", text::length(*length));
  }
  return Rv;
}

CK_RV Call::finish(CK_RV Rv) {
  Module& m = module();
  line_ += " -> " + nameOf(Rv) + results_;
  m.journal += line_ + "\n";
  if (m.listener != nullptr) {
    m.listener(line_.c_str());
  }
  return Rv;
}

}  // namespace scripted

using namespace scripted;

extern "C" {

#define EXPORTED __attribute__((visibility("default")))

EXPORTED void scripted_reset() {
  Module& m = module();
  const std::lock_guard<std::mutex> lock(m.mutex);
  m.token = Token();
  m.script = Script();
  m.journal.clear();
  m.error.clear();
  m.listener = nullptr;
  m.calls = 0;
  m.failAt = 0;
}

EXPORTED int scripted_answer(const char* line) {
  Module& m = module();
  const std::lock_guard<std::mutex> lock(m.mutex);
  Answer answer;
  m.error = parse(line, answer);
  if (!m.error.empty()) {
    return 1;
  }
  m.script.queue(answer);
  return 0;
}

EXPORTED const char* scripted_error() {
  const std::lock_guard<std::mutex> lock(module().mutex);
  return keep(module().error);
}

EXPORTED const char* scripted_unused() {
  const std::lock_guard<std::mutex> lock(module().mutex);
  return keep(module().script.unused());
}

EXPORTED const char* scripted_journal() {
  const std::lock_guard<std::mutex> lock(module().mutex);
  return keep(module().journal);
}

EXPORTED void scripted_clear_journal() {
  const std::lock_guard<std::mutex> lock(module().mutex);
  module().journal.clear();
}

EXPORTED void scripted_set_listener(scripted_listener_t listener) {
  const std::lock_guard<std::mutex> lock(module().mutex);
  module().listener = listener;
}

EXPORTED void scripted_fail_call(unsigned long n, CK_RV Rv) {
  const std::lock_guard<std::mutex> lock(module().mutex);
  module().failAt = n;
  module().failWith = Rv;
}

EXPORTED unsigned long scripted_calls() {
  const std::lock_guard<std::mutex> lock(module().mutex);
  return module().calls;
}

EXPORTED void scripted_release() {
  const std::lock_guard<std::mutex> lock(module().mutex);
  ++module().releases;
  module().released.notify_all();
}

EXPORTED int scripted_blocked() {
  const std::lock_guard<std::mutex> lock(module().mutex);
  return module().blocked;
}

EXPORTED CK_VOID_PTR scripted_callback() {
  const std::lock_guard<std::mutex> lock(module().mutex);
  return module().token.callback;
}

EXPORTED CK_RV scripted_call_callback(CK_CHAR_PTR pPin, CK_ULONG_PTR pulPinLen) {
  const auto callback = reinterpret_cast<PinCallback>(scripted_callback());
  return callback == nullptr ? CKR_GENERAL_ERROR : callback(pPin, pulPinLen);
}

}  // extern "C"
