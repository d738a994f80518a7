/// Every native method of the contract as a row of one table: what its symbol and its signature say of it, what it
/// reports and asks the module, what brings it to a good end, and in what it differs from the others. The rules of
/// tests/native/rules run over these rows; `exports.txt` says which methods there are.
#pragma once

#include <jni.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace registry {

class World;

enum class Kind {
  Void,
  Boolean,
  Byte,
  Int,
  Long,
  Object,
  Class,
  String,
  ByteArray,
  IntArray,
  LongArray,
  ObjectArray,
};

struct Signature {
  Kind result;
  bool isStatic;
  std::vector<Kind> parameters;
  std::function<jvalue(JNIEnv*, jobject, const std::vector<jvalue>&)> call;
};

/// Where a method finds the session or the slot that it hands to the module.
enum class Handle {
  None,
  SessionArgument,  ///< its first argument, of which all 64 bits count
  SessionObject,    ///< a field of the receiver, of which the low 32 bits count
  SlotObject,       ///< a field of the receiver, an int
};

/// What a method tells the log hook.
enum class Log {
  Nothing,
  Entry,
  EntryAndExit,
  Steps,  ///< entry, exit, and what it does in between
};

/// What a method needs to go well, beyond arguments of the right types.
struct Preparation {
  void (*before)(World&) = nullptr;     ///< brings the token into the state that the method needs
  std::vector<std::string> bytes = {};  ///< of the arrays that the method reads, in their order
  std::vector<std::string> strings = {};
  std::vector<jint> ints = {};  ///< of the parameters that are neither an offset nor a length
  std::vector<std::string> answers = {};
  bool fillsLastArray = false;  ///< the last byte[] is for output, although the method answers no length
};

struct Method {
  std::string symbol;
  Signature signature;
  std::string reportName = "";              ///< what its failures carry; empty for the methods that report none
  std::vector<std::string> functions = {};  ///< of the module, in the order of their first calls of a good run
  Handle handle = Handle::SessionObject;
  Log log = Log::Nothing;
  unsigned blocks = 0;  ///< how many it takes from the allocator in a good run
  Preparation good = {};

  // In what it differs from the others.
  bool needsInitialisation = true;
  jint preset = 0;                ///< the length that it answers when the library is not initialised
  bool keepsInput = false;        ///< for ever
  bool detachesOutput = false;    ///< gives it back against a null array after a failure
  std::string emptyRelease = "";  ///< gives back what it never borrowed; JVMs take the null

  std::string className() const;  ///< NativeCryptoki, NativeSlot or NativeSession
  std::string javaName() const;   ///< without the mark of an overload, such as J_Sign
  std::string label() const;      ///< the symbol without what all symbols share
  std::string logName() const;    ///< the name under which the log hook hears of it
  bool takes(Kind kind) const;
  /// Into an array that the caller brings, answering the length.
  bool fillsCallersArray() const { return signature.result == Kind::Int && takes(Kind::ByteArray); }
  /// By a worker that reports under its own name, if a flag asks for it.
  bool startsByFlag() const;
};

inline std::ostream& operator<<(std::ostream& out, const Method& method) {
  return out << method.label();
}

const std::vector<Method>& allMethods();
const Method& methodOf(const std::string& symbol);

/// The methods of these three classes that `exports.txt` lists. Other classes hold other families, with other rules.
const std::vector<std::string>& exportedMethods();

/// The module's functions with workers that report for themselves, and let the method go on unless the module refused.
bool hasWorker(const std::string& moduleFunction);

}  // namespace registry
