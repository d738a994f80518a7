/// Every native method as data: what its symbol says of it, the kinds of its parameters, and a way to call it with
/// them.
#pragma once

#include <jni.h>

#include <functional>
#include <string>
#include <vector>

namespace faults {

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

struct Method {
  std::string symbol;
  std::string className;  ///< NativeCryptoki, NativeSlot or NativeSession
  std::string javaName;   ///< without the mark of an overload, such as J_Sign
  std::string reportName;
  Kind result;
  bool isStatic;
  std::vector<Kind> parameters;
  std::function<jvalue(JNIEnv*, jobject, const std::vector<jvalue>&)> call;

  bool takes(Kind kind) const;
  /// Into an array that the caller brings, answering the length.
  bool fillsCallersArray() const { return result == Kind::Int && takes(Kind::ByteArray); }
  /// The symbol without what all symbols share.
  std::string label() const;
};

/// All that the library exports.
const std::vector<Method>& allMethods();

}  // namespace faults
