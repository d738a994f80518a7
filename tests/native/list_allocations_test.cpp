/// The memory behind the two lists that a module fills: slots and mechanisms.
#include "allocations.h"
#include "native_test.h"

namespace {

struct ListMethod {
  const char* name;
  const char* entry;
};

class ListMemoryTest : public NativeTest, public ::testing::WithParamInterface<ListMethod> {
protected:
  jobject list() {
    if (GetParam().name == std::string("J_GetSlotList")) {
      return Java_velnor_nat_NativeCryptoki_GetSlotList(jni, cryptoki, JNI_FALSE);
    }
    return Java_velnor_nat_NativeSlot_J_1GetMechanismList(jni, slot);
  }
  void answer(const std::string& answer) { module.answer(GetParam().entry + (" " + answer)); }
};

INSTANTIATE_TEST_SUITE_P(Lists, ListMemoryTest,
                         ::testing::Values(ListMethod{"J_GetSlotList", "C_GetSlotList"},
                                           ListMethod{"J_GetMechanismList", "C_GetMechanismList"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_P(ListMemoryTest, HasEightBytesForEachEntry) {
  answer("list=1..50");
  answer("list=1..50");
  std::size_t size = 0;
  AllocationScope memory;
  memory.onFree([&](const unsigned char*, std::size_t blockSize) { size = blockSize; });
  EXPECT_NE(list(), nullptr);
  EXPECT_EQ(memory.count(), 1U);
  EXPECT_EQ(size, 400U);
}

TEST_P(ListMemoryTest, IsThereAlsoForAnEmptyList) {
  answer("CKR_OK count=0");
  answer("CKR_OK count=0");
  const AllocationScope memory;
  EXPECT_EQ(env.show(list()), "[]");
  EXPECT_EQ(memory.count(), 1U);
}

TEST_P(ListMemoryTest, IsReportedWhenRefusedAndTheModuleIsNotAskedAgain) {
  const unsigned long before = module.calls();
  AllocationScope memory;
  memory.failNth(1);
  EXPECT_EQ(list(), nullptr);
  EXPECT_EQ(env.pending(),
            std::string("CryptokiException(\"") + GetParam().name + "\", 2, \"HOST MEMORY                       \")");
  EXPECT_EQ(module.calls() - before, 1U) << "only the length query was to come";
}

}  // namespace
