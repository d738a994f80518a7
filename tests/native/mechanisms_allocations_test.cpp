/// The memory of mechanism parameters: every block freed once and in order, also when a conversion fails half-way, and
/// nothing of a key, a password or an IV left in what is freed.
#include "freed_blocks.h"
#include "marshalling_test.h"
#include "mechanism_kinds.h"
#include "mechanisms.h"

namespace {

class MechanismMemoryTest : public UnboundTest, public ::testing::WithParamInterface<const ParameterKind*> {
protected:
  jobject make() { return env.mechanism("mechanism", static_cast<jint>(kind.codes.front()), kind.make(env)); }
  std::string convert(jobject jMechanism) {
    return raisedBy([&] { Mechanism2CKMechanism(jni, jMechanism, &mechanism); });
  }
  unsigned blockCount() const { return static_cast<unsigned>(kind.freed.size()) + 1; }

  const ParameterKind& kind = *GetParam();
  CK_MECHANISM mechanism = {};
};

TEST_P(MechanismMemoryTest, EveryBlockIsWipedAndFreedInOrder) {
  const jobject jMechanism = make();
  for (const CK_MECHANISM_TYPE code : kind.codes) {
    env.set(jMechanism, "mechanism", static_cast<jint>(code));
    AllocationScope scope;
    EXPECT_EQ(convert(jMechanism), "");
    EXPECT_EQ(scope.live(), blockCount());
    const std::vector<const void*> blocks = blocksOf(kind, mechanism);
    EXPECT_EQ(blocks.size(), blockCount());
    FreedBlocks freed(scope);
    EXPECT_EQ(FreeMechanism(&mechanism), 0);
    EXPECT_EQ(freed.addresses(), blocks) << hex(code);
    EXPECT_EQ(freed.notWiped(), 0U) << hex(code);
  }
}

TEST_P(MechanismMemoryTest, EveryRefusedAllocationIsHostMemoryAndLeavesNothing) {
  const jobject jMechanism = make();
  for (unsigned n = 1; n <= blockCount(); ++n) {
    AllocationScope scope;
    FreedBlocks freed(scope);
    scope.failNth(n);
    EXPECT_EQ(convert(jMechanism), kHostMemory);
    EXPECT_FALSE(scope.failureLeft());
    EXPECT_EQ(mechanism.pParameter, nullptr);
    EXPECT_EQ(mechanism.ulParameterLen, 0U);
    FreeMechanism(&mechanism);
    EXPECT_EQ(scope.live(), 0U);
    EXPECT_EQ(freed.list().size(), n - 1) << "all that was attached by then";
    EXPECT_EQ(freed.notWiped(), 0U);
  }
}

// No kind needs memory before its last failing step, and none takes more than its blocks.
TEST_P(MechanismMemoryTest, EveryRaisedTextLeavesNothing) {
  const jobject jMechanism = make();
  const std::vector<Step> steps = stepsOf(kind);
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (!steps[i].raised.empty()) {
      env.clear();
      env.failCall(kFrameCalls + static_cast<int>(i) + 1);
      AllocationScope scope;
      EXPECT_EQ(convert(jMechanism), steps[i].raised);
      FreeMechanism(&mechanism);
      EXPECT_EQ(scope.live(), 0U) << steps[i].line;
    }
  }
}

// A length of 0 says that there is nothing to free, whatever the pointer says.
TEST_P(MechanismMemoryTest, NothingIsFreedForALengthOfZero) {
  const jobject jMechanism = make();
  AllocationScope scope;
  EXPECT_EQ(convert(jMechanism), "");
  mechanism.ulParameterLen = 0;
  EXPECT_EQ(FreeMechanism(&mechanism), 0);
  EXPECT_EQ(scope.live(), blockCount());
  mechanism.ulParameterLen = kind.size;
  FreeMechanism(&mechanism);
}

// Freeing goes by the code in the structure; a code without a row owns one block.
TEST_P(MechanismMemoryTest, ACodeWithoutARowFreesTheStructureAlone) {
  const jobject jMechanism = make();
  AllocationScope scope;
  EXPECT_EQ(convert(jMechanism), "");
  const std::vector<const void*> blocks = blocksOf(kind, mechanism);
  std::vector<void*> inner;
  for (const void* const block : blocks) {
    if (block != mechanism.pParameter) {
      inner.push_back(const_cast<void*>(block));
    }
  }
  mechanism.mechanism = CKM_AES_CBC;
  FreedBlocks freed(scope);
  FreeMechanism(&mechanism);
  EXPECT_EQ(freed.addresses(), std::vector<const void*>{blocks.back()});
  for (void* const block : inner) {
    free(block);
  }
}

INSTANTIATE_TEST_SUITE_P(Every, MechanismMemoryTest, ::testing::ValuesIn(everyKind()),
                         [](const auto& test) { return std::string(test.param->name); });

class OptionalBlocksTest : public UnboundTest {
protected:
  /// The sizes of all blocks that a conversion with an absent part gave back, in order.
  std::vector<std::size_t> freedSizes(CK_MECHANISM_TYPE code, jobject parameter) {
    const jobject jMechanism = env.mechanism("mechanism", static_cast<jint>(code), parameter);
    CK_MECHANISM mechanism = {};
    AllocationScope scope;
    FreedBlocks freed(scope);
    EXPECT_EQ(raisedBy([&] { Mechanism2CKMechanism(jni, jMechanism, &mechanism); }), "");
    FreeMechanism(&mechanism);
    EXPECT_EQ(freed.notWiped(), 0U);
    std::vector<std::size_t> sizes;
    for (const FreedBlock& block : freed.list()) {
      sizes.push_back(block.size);
    }
    return sizes;
  }
};

TEST_F(OptionalBlocksTest, AnAbsentPartHasNoBlock) {
  const jobject oaep = kindOf(0x9).make(env);
  EXPECT_EQ(freedSizes(0x9, env.setNull(oaep, "m_sourceData")), (std::vector<std::size_t>{40}));
  const jobject pbe = kindOf(0x3A0).make(env);
  EXPECT_EQ(freedSizes(0x3A0, env.setNull(pbe, "m_initVector")), (std::vector<std::size_t>{4, 6, 48}));
}

// The lengths that the module is told count chars: the blocks must hold two bytes for each, and for the eight of an IV.
TEST_F(OptionalBlocksTest, CharsHaveTwoBytesOfRoom) {
  EXPECT_EQ(freedSizes(0x3A0, kindOf(0x3A0).make(env)), (std::vector<std::size_t>{4, 6, 16, 48}));
}

// A module may drop the key material or the version from the structure it was lent.
TEST_F(OptionalBlocksTest, AStructureWithoutItsInnerOneIsFreedAllTheSame) {
  for (const auto& [code, size] : {std::pair<CK_MECHANISM_TYPE, CK_ULONG>{0x371, 40}, {0x372, 72}}) {
    CK_MECHANISM mechanism = {code, calloc(1, size), size};
    EXPECT_EQ(FreeMechanism(&mechanism), 0);
  }
}

}  // namespace
