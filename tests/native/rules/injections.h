/// One call of a native method with at most one thing going wrong, and what came of it.
#pragma once

#include "world.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace faults {

using namespace registry;

enum class Source { None, Jni, Module, Allocation };

struct Injection {
  Source source = Source::None;
  unsigned index = 0;  ///< of the JNI call, module call or allocation, from 1
  jvm::Leaving leaving = jvm::Leaving::Nothing;
  CK_RV Rv = CKR_OK;                 ///< of the module call, unless `answers` say it
  std::vector<std::string> answers;  ///< for the module, by which a call may also lie about its output
  std::string label() const;
  bool lies() const { return !answers.empty(); }
};

struct Outcome {
  std::vector<std::string> lines;  ///< the journal with reports and session look-ups folded
  std::vector<std::string> thrown;
  std::string pending;
  jvalue result;
  std::string shown;
  std::vector<std::string> out;  ///< what is still lent
  std::vector<std::string> secrets;
  std::vector<std::string> jniCalls;  ///< one line each, none folded
  unsigned moduleCalls;
  bool happened;  ///< the fault was met; a JNI call that returns nothing cannot fail
};

/// What watches the library's memory while the method runs.
class Watch {
public:
  virtual ~Watch() = default;
  /// Calls `method`; answers whether a planned failure of the n-th allocation happened.
  virtual bool around(const World& world, unsigned failingAllocation, const std::function<void()>& method);
};

Outcome run(const Subject& subject, const Injection& injection, Watch& watch);

/// One line of the module's journal.
struct ModuleLine {
  std::string function;
  CK_RV Rv;
  bool queries;                     ///< asks for a size only
  std::optional<CK_ULONG> offered;  ///< the room it was told of
  std::string output;               ///< the name of what it answered, empty for nothing but a return value
  std::optional<CK_ULONG> claimed;  ///< the length or count that it answered
};
std::optional<ModuleLine> readModuleLine(const std::string& line);
/// A JNI call that returns nothing, or nothing that could tell of a failure.
bool cannotFail(const std::string& jniFunction);

/// Whether a JNI call asks for a size that another call of the run asks for, too. A refusal would have the JVM
/// contradict itself on an object that never changes, and buffers are sized by the one answer and filled by the other.
bool measuresAgain(const Outcome& good, const std::string& call);
/// Every JNI call of a good run failing, each leaving nothing and leaving an exception; but for the measuring ones
/// above.
std::vector<Injection> jniInjections(const Outcome& good);
/// Every module call of a good run failing with every code, and lying about its output in every way.
std::vector<Injection> moduleInjections(const Subject& subject, const Outcome& good);

}  // namespace faults
