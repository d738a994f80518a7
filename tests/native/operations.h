/// The native methods of the operation families as one table. What they share is tested over its rows; the columns show
/// in what they differ.
#pragma once

#include "native_test.h"

#include <ostream>
#include <string>
#include <vector>

namespace operations {

struct Region {
  jbyteArray array;
  jint offset;
  jint length;
};

/// Everything that a method may be given; each takes what its signature has.
struct Arguments {
  JNIEnv* env;
  jobject session;
  jlong hSession;
  jboolean bInit;
  jobject mechanism;
  jlong hKey;
  Region input;
  Region second;  ///< the caller's output array, or J_Verify's signature
};

struct Result {
  jbyteArray array;
  jint length;
};

/// The worker that starts an operation and reports under a name of its own.
struct Worker {
  const char* name;
  const char* function;
  bool takesKey;
};

enum class Starts { Nothing, ByInitFlag, Always };
enum class Session { Argument, Object };
enum class Output { None, NewArray, CallersArray };
enum class Sizing { Growing, LengthQuery, Fixed };
enum class AfterFailure { CopiedBack, ReleasedDetached };

struct Method {
  const char* title;
  const char* name;      ///< what failures are reported under
  const char* function;  ///< the module's
  Result (*call)(const Arguments&);
  Session session = Session::Argument;
  Starts starts = Starts::Nothing;
  const Worker* worker = nullptr;
  const char* input = nullptr;         ///< the input's name in the module's journal, null without input
  const char* inputMissing = nullptr;  ///< null: the module judges
  const char* sample = "REC:";         ///< what the toy accepts as input
  Output output = Output::None;
  const char* refused = nullptr;  ///< the text for a new array that cannot be made
  Sizing sizing = Sizing::Growing;
  AfterFailure afterFailure = AfterFailure::CopiedBack;
  jint preset = 0;                  ///< the length that an uninitialised library answers
  bool releasesUnguarded = false;   ///< the input, whether it was borrowed or not
  bool keepsInput = false;          ///< for ever
  bool takesMechanismOnly = false;  ///< converts a mechanism itself, without a worker
};

void PrintTo(const Method& method, std::ostream* out);
std::string title(const ::testing::TestParamInfo<Method>& info);

std::vector<Method> methods();

template <typename Predicate>
std::vector<Method> methodsWhere(Predicate&& predicate) {
  std::vector<Method> chosen;
  for (const Method& method : methods()) {
    if (predicate(method)) {
      chosen.push_back(method);
    }
  }
  return chosen;
}

/// One method with arguments that the toy is content with: the input is the four bytes of the sample behind an offset
/// of 2, the output goes behind an offset of 3 of 24.
class MethodTest : public NativeTest, public ::testing::WithParamInterface<Method> {
protected:
  MethodTest();

  /// Starts every kind of operation in the module's session.
  void startEverything();
  Result call() { return method.call(arguments); }

  /// The method's one call of the module, as the journal shows it.
  std::string moduleCall(const std::string& roomAndAnswer) const;
  std::string moduleCall(const std::string& input, const std::string& roomAndAnswer) const;
  /// The lines that read the session, empty when it is an argument.
  std::string sessionLine() const { return method.session == Session::Object ? "sessionOf session\n" : ""; }
  /// The lines that borrow and give back the input; empty for a method without.
  std::string borrowInput() const { return method.input == nullptr ? "" : "GetByteArrayElements input\n"; }
  std::string giveBackInput() const { return method.input == nullptr ? "" : "ReleaseByteArrayElements input mode 2\n"; }
  /// How the borrowed output goes back after a failure; a detached release leaves it lent.
  std::string giveBackOutputAfterFailure();
  std::string report(const std::string& codeAndText) const {
    return "report \"" + std::string(method.name) + "\" " + codeAndText + "\n";
  }
  void answer(const std::string& answer) { module.answer(method.function + (" " + answer)); }

  const Method& method = GetParam();
  Arguments arguments;
};

/// The five lines that convert the mechanism of the fixture above, which has no parameter.
extern const char* const kConversion;

inline constexpr char kTooMuch[] = "the pkcs#11 library reports more than it was given room for";

}  // namespace operations
