#include "allocations.h"
#include "native_test.h"
#include "templates.h"

#include <cstdlib>
#include <gtest/gtest-spi.h>
#include <memory>

namespace {

/// Templates come and go through exported functions, so blocks can be mistreated here.
class AllocationScopeTest : public NativeTest {
protected:
  void make() { Attribute2CKAttribute(jni, env.attributes("template", {env.attribute(3, env.bytes("secret"))}), made); }
  void giveBack() { freeTemplate(made); }

  Template made = {};
};

TEST_F(AllocationScopeTest, CountsTheBlocksOfTheLibrary) {
  AllocationScope scope;
  make();
  EXPECT_EQ(scope.count(), 2U);
  EXPECT_EQ(scope.live(), 2U);
  const std::unique_ptr<int> notTheLibrarys = std::make_unique<int>(1);
  EXPECT_EQ(scope.live(), 2U);
  giveBack();
  EXPECT_EQ(scope.live(), 0U);
}

TEST_F(AllocationScopeTest, FindsABlockThatIsNeverGivenBack) {
  auto scope = std::make_unique<AllocationScope>();
  make();
  void* const kept = made.entries[0].pValue;
  made.entries[0].pValue = nullptr;
  giveBack();
  EXPECT_NONFATAL_FAILURE(scope.reset(), "a block of 6 bytes was never given back");
  std::free(kept);
}

TEST_F(AllocationScopeTest, FindsABlockThatIsGivenBackTwice) {
  auto scope = std::make_unique<AllocationScope>();
  make();
  std::free(made.entries[0].pValue);
  giveBack();
  EXPECT_NONFATAL_FAILURE(scope.reset(), "a block of 6 bytes was given back twice");
}

TEST_F(AllocationScopeTest, FindsAWriteAfterABlockWasGivenBack) {
  auto scope = std::make_unique<AllocationScope>();
  make();
  auto* const value = static_cast<volatile CK_BYTE*>(made.entries[0].pValue);
  giveBack();
  value[0] = 1;
  EXPECT_NONFATAL_FAILURE(scope.reset(), "written to after it was given back");
}

TEST_F(AllocationScopeTest, FailsTheAllocationThatATestNames) {
  AllocationScope scope;
  scope.failNth(1);
  EXPECT_EQ(Java_velnor_nat_NativeSession_J_1SignFinal__(jni, session), nullptr);
  EXPECT_FALSE(scope.failureLeft());
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_SignFinal\", 2, \"" + jvm::paddedDescription(2) + "\")");
}

TEST_F(AllocationScopeTest, ShowsABlockAsItIsGivenBack) {
  AllocationScope scope;
  make();
  bool wiped = false;
  scope.onFree([&wiped](const unsigned char* block, std::size_t size) {
    wiped = wiped || (size == 6 && std::string(block, block + size) == std::string(6, '\0'));
  });
  giveBack();
  EXPECT_TRUE(wiped);
}

}  // namespace
