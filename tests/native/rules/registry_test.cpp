/// The rows of the registry are the methods that the library exports, and say of each what it does.
#include "world.h"

#include <algorithm>
#include <set>

using namespace registry;

namespace {

TEST(RegistryTest, HasOneRowForEveryExportedMethod) {
  std::vector<std::string> rows;
  for (const Method& method : allMethods()) {
    rows.push_back(method.symbol);
  }
  std::vector<std::string> exported = exportedMethods();
  std::sort(rows.begin(), rows.end());
  std::sort(exported.begin(), exported.end());
  EXPECT_FALSE(exported.empty());
  EXPECT_EQ(rows, exported);
}

class RowTest : public ::testing::TestWithParam<Subject> {};

TEST_P(RowTest, NamesTheFunctionsThatTheMethodCalls) {
  World world(GetParam());
  world.run();
  std::vector<std::string> called;
  for (const std::string& line : jvm::moduleLines(world.env.journal())) {
    const std::string function = line.substr(0, line.find(' '));
    if (std::find(called.begin(), called.end(), function) == called.end()) {
      called.push_back(function);
    }
  }
  EXPECT_EQ(called, GetParam().method->functions);
}

INSTANTIATE_TEST_SUITE_P(Every, RowTest, ::testing::ValuesIn(plainSubjects()),
                         [](const auto& tested) { return tested.param.label(); });

}  // namespace
