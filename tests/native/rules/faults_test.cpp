/// Every native method with every JNI call and every module call failing in turn. Runs under sanitizers too; what the
/// allocator has to say to the same faults is in faults_memory_test.cpp.
#include "suite.h"

#include <algorithm>

using namespace faults;

namespace {

class FaultsTest : public SubjectTest {
protected:
  FaultsTest() : SubjectTest(plain_) {}

private:
  Watch plain_;
};

INSTANTIATE_TEST_SUITE_P(Every, FaultsTest, ::testing::ValuesIn(allSubjects()), nameOfSubject);

TEST_P(FaultsTest, RefusedJniCalls) {
  injectAll(jniInjections(good()));
  const auto& calls = good().jniCalls;
  const auto fallible = std::count_if(calls.begin(), calls.end(), [this](const std::string& call) {
    return !cannotFail(call.substr(0, call.find(' '))) && !measuresAgain(good(), call);
  });
  EXPECT_EQ(injected(), 2 * fallible) << "every call that can fail, with and without an exception";
  if (GetParam().method->className() != "NativeCryptoki" && GetParam().variant.empty()) {
    EXPECT_GT(injected(), 0U) << "no slot and no session is read without the JVM";
  }
  judge().expectEveryException(Source::Jni);
}

TEST_P(FaultsTest, FailingModuleCalls) {
  injectAll(moduleInjections(GetParam(), good()));
  if (GetParam().method->className() != "NativeCryptoki") {
    EXPECT_GE(injected(), std::size(errorDescriptions)) << "every method of a slot or a session asks the module";
  }
  judge().expectEveryException(Source::Module);
}

// The reporter cannot report for itself: what it cannot build ends the process, lest a failure pass for a success. Its
// calls come behind a first fault, so no single fault meets them; one method stands for all, as there is one reporter.
TEST(ReporterFaultsDeathTest, EndTheProcess) {
  const auto subject = std::find_if(allSubjects().begin(), allSubjects().end(),
                                    [](const Subject& s) { return s.method->javaName() == "J_Logout"; });
  ASSERT_NE(subject, allSubjects().end());
  const auto runToTheReporter = [subject](int refused) {
    World world(*subject);
    world.token.failCall(1, CKR_DEVICE_ERROR);
    world.env.failCall(refused);
    world.run();
    const std::vector<std::string> journal = world.env.journal();
    world.env.clear();
    return journal;
  };
  int call = 0;
  bool reporting = false;
  unsigned deaths = 0;
  for (const std::string& line : runToTheReporter(0)) {
    reporting = reporting || line.rfind("C_", 0) == 0;
    call += line.rfind("C_", 0) == 0 ? 0 : 1;
    const std::string function = line.substr(0, line.find(' '));
    if (reporting && function.rfind("C_", 0) != 0 && !cannotFail(function) && function != "Throw") {
      EXPECT_DEATH(runToTheReporter(call), "throwPkcs11Exception") << line;
      ++deaths;
    }
  }
  EXPECT_EQ(deaths, 9U) << "two classes, two constructors, two arrays, two strings, the exception";
}

// A new kind of mechanism parameter must be added to the subjects.
TEST(FaultsSubjectsTest, HaveEveryClassOfMechanismParameters) {
  std::string journals;
  Watch plain;
  for (const Subject& subject : allSubjects()) {
    if (subject.method->javaName() == "J_SignRecoverInit") {
      journals += jvm::joined(run(subject, Injection{}, plain).lines);
    }
  }
  for (const std::string& className : parameterClasses()) {
    EXPECT_NE(journals.find("FindClass " + className + "\n"), std::string::npos) << className;
  }
  EXPECT_NE(journals.find("GetByteArrayRegion parameter 0 8"), std::string::npos) << "plain bytes";
}

template <typename Rows>
void expectMethodsOf(const Rows& rows) {
  for (const auto& row : rows) {
    EXPECT_TRUE(std::any_of(allMethods().begin(), allMethods().end(), row.of)) << row.reason;
  }
}

TEST(FaultsSubjectsTest, HaveAMethodForEveryException) {
  expectMethodsOf(kKeptLoans);
  expectMethodsOf(kToleratedCalls);
  expectMethodsOf(kToleratedCodes);
  expectMethodsOf(kToleratedAllocations);
}

}  // namespace
