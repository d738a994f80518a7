/// What every method on objects and keys promises.
#include "object_methods.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <utility>

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

INSTANTIATE_TEST_SUITE_P(Every, ObjectMethodTest, ::testing::ValuesIn(kObjectMethods), nameOfMethod);

TEST_P(ObjectMethodTest, Succeeds) {
  const std::string result = call();
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(env.thrown().size(), 0U);
  if (GetParam().failed != nullptr && *GetParam().failed != '\0') {
    EXPECT_NE(result, GetParam().failed);
  }
}

TEST_P(ObjectMethodTest, TouchesNothingBeforeInitialisation) {
  bInitialized = false;
  const std::string result = call();
  EXPECT_TRACE(std::string("report \"") + GetParam().reportName + "\" 0x190");
  EXPECT_EQ(result, GetParam().failed == nullptr ? "0" : GetParam().failed);
}

TEST_P(ObjectMethodTest, ReportsAMissingSessionClassBeforeTheModuleIsAsked) {
  env.declareMissing("velnor/nat/NativeSession");
  expectFailed(call());
  EXPECT_THAT(takeTrace(), HasSubstr(std::string("FindClass velnor/nat/NativeSession -> null\nreport \"") +
                                     GetParam().reportName + "\" 5 \"Class 'velnor/nat/NativeSession' not found\"\n"));
  EXPECT_EQ(module.journal(), "");
}

// The stray apostrophe is part of the text: applications match it.
TEST_P(ObjectMethodTest, ReportsAMissingSessionFieldBeforeTheModuleIsAsked) {
  env.declareMissing("velnor/nat/NativeSession", "m_sessionHandle");
  expectFailed(call());
  EXPECT_THAT(takeTrace(), HasSubstr(std::string("m_sessionHandle J -> null\nreport \"") + GetParam().reportName +
                                     "\" 5 \"Field m_sessionHandle' not found\"\n"));
  EXPECT_EQ(module.journal(), "");
}

// A long field read as an int: only sessions of 32 bits reach the module, with their sign spread.
TEST_P(ObjectMethodTest, HandsTheModuleTheLowHalfOfTheSessionHandle) {
  env.set(session, "m_sessionHandle", 0x1'8000'0007);
  expectFailed(call());
  EXPECT_THAT(module.journal(), StartsWith(std::string(GetParam().moduleFunction) + " session=0xFFFFFFFF80000007"));
  expectReport(CKR_SESSION_HANDLE_INVALID);
}

TEST_P(ObjectMethodTest, ReportsWhatTheModuleAnswers) {
  const std::pair<CK_RV, const char*> answers[] = {
      {CKR_DEVICE_ERROR, "0x30"}, {0x63, "0x63"}, {0x80000001, "0x80000001"}, {~CK_RV{0}, "0xFFFFFFFF"}};
  for (const auto& [Rv, reported] : answers) {
    module.failCall(1, Rv);
    expectFailed(call());
    EXPECT_THAT(takeTrace(), HasSubstr(std::string("report \"") + GetParam().reportName + "\" " + reported));
    startOver();
  }
}

TEST_P(ObjectMethodTest, CountsAModuleWithoutAFunctionListAsNotInitialised) {
  const CK_FUNCTION_LIST_PTR bound = functionList;
  functionList = nullptr;
  expectFailed(call());
  expectReport(CKR_CRYPTOKI_NOT_INITIALIZED);
  functionList = bound;
}

TEST_P(ObjectMethodTest, NeverCallsAnEmptyEntry) {
  OwnFunctionList list;
  GetParam().forgetEntry(*list);
  expectFailed(call());
  expectReport(CKR_FUNCTION_NOT_SUPPORTED);
}

/// The one creation that goes untested, see search_test.cpp.
bool mayGoUnnoticed(const std::string& trace) {
  const std::vector<std::string> lines = jvm::expectedLines(trace);
  return std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    return line.rfind("NewObject velnor/CryptokiObject ", 0) == 0 && line.find(" -> null") != std::string::npos;
  });
}

class JniFaultTest : public ObjectMethodTest {
protected:
  void failEveryCall(jvm::Leaving leaving) {
    const int refused = forEveryRefusal(leaving, [this] {
      const std::string result = call();
      const std::string trace = takeTrace();
      SCOPED_TRACE(trace);
      if (!env.faultsLeft() && !mayGoUnnoticed(trace)) {
        expectFailed(result);
        expectReport(CKR_GENERAL_ERROR);
      }
      if (!GetParam().keepsBlob) {
        EXPECT_THAT(env.loans.out(), IsEmpty());
      }
    });
    EXPECT_GE(refused, 2);
  }
};

INSTANTIATE_TEST_SUITE_P(Every, JniFaultTest, ::testing::ValuesIn(kObjectMethods), nameOfMethod);

TEST_P(JniFaultTest, ReportsEveryRefusedCall) {
  failEveryCall(jvm::Leaving::Nothing);
}

TEST_P(JniFaultTest, ReportsOverWhatTheJvmLeftPending) {
  failEveryCall(jvm::Leaving::Exception);
}

}  // namespace
