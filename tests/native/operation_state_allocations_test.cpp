/// The memory behind a saved operation state: a state may hold the key of the operation that it continues.
#include "freed_blocks.h"
#include "native_test.h"

#include <algorithm>

namespace {

class OperationStateMemoryTest : public NativeTest {
protected:
  OperationStateMemoryTest() {
    given([] {
      CK_MECHANISM mechanism = {CKM_SHA_1, nullptr, 0};
      functionList->C_DigestInit(hSession, &mechanism);
    });
  }

  jbyteArray getOperationState() { return Java_velnor_nat_NativeSession_J_1GetOperationState(jni, session); }

  /// The size of the one block that the method takes while the module tells `answer` twice; it must come back wiped.
  std::size_t blockFor(const std::string& answer) {
    module.answer("C_GetOperationState " + answer);
    module.answer("C_GetOperationState " + answer);
    AllocationScope memory;
    const FreedBlocks freed(memory);
    EXPECT_NE(getOperationState(), nullptr);
    EXPECT_EQ(freed.notWiped(), 0U) << answer;
    EXPECT_EQ(freed.list().size(), 1U) << answer;
    return freed.list().empty() ? 0 : freed.list().front().size;
  }
};

/// The block of a state of up to eight bytes. A raised failure has a block of its own, and a far larger one.
const FreedBlock* smallBlock(const FreedBlocks& freed) {
  const auto found = std::find_if(freed.list().begin(), freed.list().end(),
                                  [](const FreedBlock& block) { return block.size == sizeof(void*); });
  return found == freed.list().end() ? nullptr : &*found;
}

TEST_F(OperationStateMemoryTest, HasEightBytesForEveryStateThatFits) {
  EXPECT_EQ(blockFor("data=\"1\""), 8U);
  EXPECT_EQ(blockFor("data=\"1234567\""), 8U);
  EXPECT_EQ(blockFor("data=\"12345678\""), 8U);
}

TEST_F(OperationStateMemoryTest, HasTheReportedLengthForALongerState) {
  EXPECT_EQ(blockFor("size=9"), 9U);
  EXPECT_EQ(blockFor("size=324"), 324U);
}

TEST_F(OperationStateMemoryTest, IsNotTakenBeforeTheLengthIsKnown) {
  for (const char* const answer : {"CKR_STATE_UNSAVEABLE", "size=0"}) {
    module.answer(std::string("C_GetOperationState ") + answer);
    AllocationScope memory;
    const FreedBlocks freed(memory);
    EXPECT_EQ(getOperationState(), nullptr);
    EXPECT_EQ(smallBlock(freed), nullptr) << answer;
  }
}

// A null buffer would make the second call another length query, and the state one of nothing.
TEST_F(OperationStateMemoryTest, IsReportedWhenRefusedAndTheModuleIsNotAskedAgain) {
  AllocationScope memory;
  memory.failNth(1);
  EXPECT_EQ(getOperationState(), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_GetOperationState session=0x5E51 buffer=null length=0 -> CKR_OK length=8
    report "J_GetOperationState" 0x2
  )");
}

}  // namespace
