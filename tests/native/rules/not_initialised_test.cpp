/// Every native method before the library is initialised, and after it was finalised: 400 under its own report name,
/// and nothing else happens.
#include "world.h"

using namespace registry;

namespace {

std::vector<Subject> subjectsThat(bool needInitialisation) {
  std::vector<Subject> chosen;
  for (const Subject& subject : plainSubjects()) {
    if (subject.method->needsInitialisation == needInitialisation) {
      chosen.push_back(subject);
    }
  }
  return chosen;
}

std::string nameOf(const ::testing::TestParamInfo<Subject>& tested) {
  return tested.param.label();
}

class NotInitialisedTest : public ::testing::TestWithParam<Subject> {
protected:
  static void expectRefusal(World& world) {
    const Method& method = *GetParam().method;
    world.run();
    EXPECT_EQ(world.result.j, method.preset) << "callers see it beside the exception";
    EXPECT_EQ(jvm::joined(jvm::expectedLines("report \"" + method.reportName + "\" 0x190\n" + method.emptyRelease)),
              world.env.trace());
    EXPECT_EQ(world.token.journal(), "");
    const auto report = world.env.pendingReport();
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->code, 400);
    EXPECT_EQ(report->message, "CRYPTOKI NOT INITIALIZED          ");
  }
};

TEST_P(NotInitialisedTest, WithoutAModule) {
  World world(GetParam(), Stage::Unbound);
  expectRefusal(world);
}

TEST_P(NotInitialisedTest, WithAModuleThatIsOnlyLoaded) {
  World world(GetParam(), Stage::Loaded);
  expectRefusal(world);
}

TEST_P(NotInitialisedTest, WithAModuleThatWasFinalised) {
  World world(GetParam());
  Java_velnor_nat_NativeCryptoki_Finalize(world.jni, world.cryptoki, nullptr);
  EXPECT_EQ(world.env.pending(), "");
  world.env.clear();
  world.token.clearJournal();
  expectRefusal(world);
}

INSTANTIATE_TEST_SUITE_P(Every, NotInitialisedTest, ::testing::ValuesIn(subjectsThat(true)), nameOf);

class WithoutInitialisationTest : public ::testing::TestWithParam<Subject> {};

TEST_P(WithoutInitialisationTest, IsNotRefusedForThat) {
  for (const Stage stage : {Stage::Unbound, Stage::Loaded}) {
    World world(GetParam(), stage);
    world.run();
    EXPECT_EQ(world.env.trace().find("0x190"), std::string::npos) << world.env.trace();
  }
}

INSTANTIATE_TEST_SUITE_P(Every, WithoutInitialisationTest, ::testing::ValuesIn(subjectsThat(false)), nameOf);

}  // namespace
