/// What the tests of both executables share: one subject, its good run, its judge, and the count of faults.
#pragma once

#include "verdict.h"

#include <cstdio>
#include <memory>

namespace faults {

inline std::string nameOfSubject(const ::testing::TestParamInfo<Subject>& tested) {
  return tested.param.label();
}

/// Tells at the end of a process how many faults there were.
class Totals : public ::testing::Environment {
public:
  void TearDown() override {
    std::printf("faults: %u JNI calls, %u module calls, %u allocations; %u JNI calls cannot fail\n", jni, module,
                allocations, infallible);
  }
  unsigned& of(Source source) { return source == Source::Jni ? jni : source == Source::Module ? module : allocations; }

  unsigned jni = 0;
  unsigned module = 0;
  unsigned allocations = 0;
  unsigned infallible = 0;
};

inline Totals& totals() {
  static auto* const environment =
      static_cast<Totals*>(::testing::AddGlobalTestEnvironment(new Totals));  // gtest owns it
  return *environment;
}

/// Known to the test program before its first test.
inline Totals& kTotals = totals();

class SubjectTest : public ::testing::TestWithParam<Subject> {
protected:
  explicit SubjectTest(Watch& watch) : watch_(watch) {}

  void SetUp() override {
    good_ = run(GetParam(), Injection{}, watch_);
    judge_ = std::make_unique<Judge>(GetParam(), good_);
    // Every fault would only repeat why the good run is not good.
    ASSERT_FALSE(HasFailure());
  }
  void TearDown() override {
    std::printf("%s: %u faults, %u calls that cannot fail\n", GetParam().label().c_str(), injected_, infallible_);
    RecordProperty("faults", static_cast<int>(injected_));
  }

  void injectAll(const std::vector<Injection>& injections) {
    for (const Injection& injection : injections) {
      const Outcome outcome = run(GetParam(), injection, watch_);
      if (!outcome.happened) {
        EXPECT_EQ(injection.source, Source::Jni) << "never met: " << injection.label();
        ++infallible_;
        ++totals().infallible;
        continue;
      }
      ++injected_;
      ++totals().of(injection.source);
      judge_->judge(injection, outcome);
    }
  }

  const Outcome& good() const { return good_; }
  Judge& judge() { return *judge_; }
  unsigned injected() const { return injected_; }

private:
  Watch& watch_;
  Outcome good_;
  std::unique_ptr<Judge> judge_;
  unsigned injected_ = 0;
  unsigned infallible_ = 0;
};

}  // namespace faults
