/// The native methods of the operation families: the rows of the registry with the texts of their input and output.
/// What only these families share is tested over them; the columns show in what they differ.
#pragma once

#include "conversions.h"
#include "methods.h"
#include "native_test.h"
#include "registry/methods.h"

#include <optional>
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
  std::string name;
  std::string function;
  bool takesKey;
};

enum class Starts { Nothing, ByInitFlag, Always };
enum class Session { Argument, Object };
enum class Output { None, NewArray, CallersArray };
enum class Sizing { Growing, LengthQuery, Fixed };
enum class AfterFailure { CopiedBack, ReleasedDetached };

/// What only these families have.
struct Texts {
  const char* input = nullptr;         ///< the input's name in the module's journal, null without input
  const char* inputMissing = nullptr;  ///< null: the module judges
  const char* refused = nullptr;       ///< the text for a new array that cannot be made
  Sizing sizing = Sizing::Growing;
  const char* sample = "REC:";  ///< what the toy accepts as input
};

struct Method : Texts {
  /// Of the method `symbol` of NativeSession; whatever is not a text stands in its row of the registry.
  Method(const std::string& symbol, const Texts& texts);

  Result call(const Arguments& arguments) const;

  const registry::Method& row;
  std::string name;      ///< what failures are reported under
  std::string function;  ///< the module's
  Session session;
  Starts starts;
  std::optional<Worker> worker;
  Output output;
  AfterFailure afterFailure;
  bool takesMechanismOnly;  ///< converts a mechanism itself, without a worker
  std::string title;
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

/// The lines that convert the mechanism of the fixture above, which has no parameter.
inline const std::string kConversion = mechanismLines("mechanism");

inline constexpr char kTooMuch[] = "the pkcs#11 library reports more than it was given room for";

}  // namespace operations
