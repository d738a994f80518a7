/// The native methods that create, read, search, make and move token objects, as one table: what all of them promise is
/// tested once for every row. Also the journal lines of the conversions that most of them begin with.
#pragma once

#include "native_test.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

/// The Java side of a call; every method takes what it needs.
struct JavaArguments {
  jvm::RecordingEnv& env;
  jobject session;
  jlong object;
  jobjectArray attributes;
  jintArray types;
  jobject mechanism;
  jbyteArray blob;
};

struct ObjectMethod {
  const char* test;
  const char* reportName;
  const char* moduleFunction;  ///< the first one called
  void (*forgetEntry)(CK_FUNCTION_LIST& list);
  std::string (*call)(const JavaArguments& java);  ///< answers the result as text
  const char* failed;      ///< the result after a failure; null for the one method that counts its template
  bool keepsBlob = false;  ///< the elements of the blob are never given back
  bool toleratesFailedReads = false;
};

inline std::ostream& operator<<(std::ostream& out, const ObjectMethod& method) {
  return out << method.test;
}

extern const std::vector<ObjectMethod> kObjectMethods;

/// A token object with a secret value, and arguments full of secrets, for whichever method the test is about.
class ObjectMethodTest : public NativeTest, public ::testing::WithParamInterface<ObjectMethod> {
protected:
  ObjectMethodTest();
  /// Accepts, of all loans, only the blob of the method that keeps it.
  void TearDown() override;

  std::string call() { return GetParam().call(java); }
  /// Forgets exceptions and journals, and closes a search that a failure left open.
  void startOver();
  /// Runs `body` once for every single call of the method that a JVM may refuse, with that refusal planned; answers how
  /// many there were.
  int forEveryRefusal(jvm::Leaving leaving, const std::function<void()>& body);
  /// Whether the result of a failed call is the stated one.
  void expectFailed(const std::string& result) const;
  void expectReport(jint code) const;

  jobject PBEParams();

  JavaArguments java;
};

/// Every byte sequence that the arguments keep secret, as it lies in memory.
extern const std::vector<std::string> kSecrets;

/// Readable names for the instances.
inline std::string nameOfMethod(const ::testing::TestParamInfo<ObjectMethod>& info) {
  return info.param.test;
}

/// The journal of converting an `Attribute[]` without elements.
std::string templateLines(const std::string& name);
/// The journal of converting a mechanism without a parameter.
std::string mechanismLines(const std::string& name);

/// A copy of the bound function list, in its place for as long as this lives: a test may spoil it.
class OwnFunctionList {
public:
  OwnFunctionList() : list_(*functionList), original_(functionList) { functionList = &list_; }
  OwnFunctionList(const OwnFunctionList&) = delete;
  OwnFunctionList& operator=(const OwnFunctionList&) = delete;
  ~OwnFunctionList() { functionList = original_; }
  CK_FUNCTION_LIST* operator->() { return &list_; }
  CK_FUNCTION_LIST& operator*() { return list_; }

private:
  CK_FUNCTION_LIST list_;
  CK_FUNCTION_LIST_PTR original_;
};
