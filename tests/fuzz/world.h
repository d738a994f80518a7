/// The library, a Java side and a scripted token for one input, and the judgement of what came of it. Whatever the
/// recording environment takes for a failed test ends the process, which is how a fuzzer learns of it.
#pragma once

#include "../native/registry/methods.h"
#include "../native/support/native_test.h"

#include <string>
#include <vector>

namespace fuzz {

/// Ends the process for a reason that no instrument has seen.
[[noreturn]] void found(const std::string& what);

/// What the arguments of a method are made of, each used where the method's signature has a place for its kind.
struct Arguments {
  jobject mechanism = nullptr;
  std::vector<jobjectArray> templates = {nullptr, nullptr};
  jintArray types = nullptr;
  jbyteArray input = nullptr;
  jint offset = 0;
  jint length = 0;
  jbyteArray output = nullptr;
  jint outputOffset = 0;
  jint outputLength = 0;
  jstring text = nullptr;
  jlong handle = 0;
  jint number = 0;
  bool flag = true;
};

class World {
public:
  static constexpr CK_SESSION_HANDLE hSession = 0x5E51;
  static constexpr CK_OBJECT_HANDLE hSecretKey = 0xB01;

  World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World();

  /// Queues an answer of the token; see scripted_module.h for the lines.
  void answer(const std::string& line);
  /// Starts an operation of every kind.
  void startEverything();
  /// Makes the n-th allocation of the library (from 1) fail.
  void refuseAllocation(std::uint64_t n);

  /// Calls the method and judges what it leaves behind: guard zones, loans, reports.
  void call(const registry::Method& method, const Arguments& arguments);

  /// What the module was asked during the call, one line each.
  std::vector<std::string> moduleLines() const;

  jvm::RecordingEnv env;

private:
  jvalue argument(const registry::Method& method, const Arguments& arguments, std::size_t index);
  void judgeLoans(const registry::Method& method) const;
  void judgeReports(const registry::Method& method) const;

  JNINativeInterface_ table_;
  std::size_t templates_ = 0;
};

/// The methods that a predicate holds for.
template <typename Predicate>
std::vector<const registry::Method*> methodsWhere(Predicate&& predicate) {
  std::vector<const registry::Method*> chosen;
  for (const registry::Method& method : registry::allMethods()) {
    if (predicate(method)) {
      chosen.push_back(&method);
    }
  }
  return chosen;
}

/// The method that a word names, with or without the mark of its overload; else any of them.
const registry::Method& choose(const std::vector<const registry::Method*>& methods, std::string_view word);

}  // namespace fuzz
