/// Every native method with every allocation failing in turn, and all other faults once more with an eye on the heap:
/// each block is given back exactly once, and none with a secret in it.
#include "allocations.h"
#include "suite.h"
#include "templates.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest-spi.h>
#include <unordered_set>

using namespace faults;

namespace {

/// So many bytes in a row of a secret are never met by chance.
constexpr std::size_t kTelling = 6;

std::uint64_t tellingBytes(const void* bytes) {
  std::uint64_t key = 0;
  std::memcpy(&key, bytes, kTelling);
  return key;
}

/// What the module puts out, in the toy's own ways and in the answers of the tests.
constexpr const char* kOutputs[] = {
    "SECRET\0PLAINTEXT",     "SIG:txetnialp terces", "REC:txetnialp terces",
    "WRAP:0123456789abcdef", "hidden output 16",     "OPSTATE!",
};

class MemoryWatch : public Watch {
public:
  bool around(const World& world, unsigned failingAllocation, const std::function<void()>& method) override {
    rememberSecrets(world);
    AllocationScope scope;
    scope.onFree([this](const unsigned char* block, std::size_t size) { look(block, size); });
    if (failingAllocation != 0) {
      scope.failNth(failingAllocation);
    }
    method();
    const bool failed = !scope.failureLeft();
    scope.failNth(0);
    allocations_ = scope.count();
    if (found_) {
      ADD_FAILURE() << "a block was given back with a piece of a secret: \"" << piece_ << "\"";
    }
    return failed;
  }
  unsigned allocations() const { return allocations_; }
  /// From now on, not one byte may be left in a block.
  void expectEmptyBlocks() { emptyBlocks_ = true; }

private:
  void rememberSecrets(const World& world) {
    telling_.clear();
    found_ = false;
    std::vector<std::string> secrets = world.secrets();
    secrets.insert(secrets.end(), std::begin(kOutputs), std::end(kOutputs));
    for (const std::string& secret : secrets) {
      for (std::size_t at = 0; at + kTelling <= secret.size(); ++at) {
        telling_.insert(tellingBytes(secret.data() + at));
      }
    }
  }
  void look(const unsigned char* block, std::size_t size) {
    if (emptyBlocks_) {
      EXPECT_TRUE(std::all_of(block, block + size, [](unsigned char c) { return c == 0; })) << size << " bytes";
    }
    for (std::size_t at = 0; !found_ && at + kTelling <= size; ++at) {
      if (telling_.count(tellingBytes(block + at)) != 0) {
        found_ = true;
        piece_.assign(reinterpret_cast<const char*>(block) + at, kTelling);
      }
    }
  }

  std::unordered_set<std::uint64_t> telling_;
  bool found_ = false;
  std::string piece_;
  unsigned allocations_ = 0;
  bool emptyBlocks_ = false;
};

class FaultsMemoryTest : public SubjectTest {
protected:
  FaultsMemoryTest() : SubjectTest(memory_) {}

  unsigned allocationsOfGoodRun() {
    run(GetParam(), Injection{}, memory_);
    return memory_.allocations();
  }
  MemoryWatch& memory() { return memory_; }

private:
  MemoryWatch memory_;
};

INSTANTIATE_TEST_SUITE_P(Every, FaultsMemoryTest, ::testing::ValuesIn(allSubjects()), nameOfSubject);

TEST_P(FaultsMemoryTest, FailedAllocations) {
  const unsigned count = allocationsOfGoodRun();
  std::vector<Injection> injections;
  for (unsigned index = 1; index <= count; ++index) {
    injections.push_back({.source = Source::Allocation, .index = index, .answers = {}});
  }
  injectAll(injections);
  EXPECT_EQ(injected(), count);
  if (GetParam().variant.empty()) {
    EXPECT_EQ(count, GetParam().method->blocks);
  }
  judge().expectEveryException(Source::Allocation);
}

// Without a failure there is no exception among the blocks, so that every byte of every block can be asked for.
TEST_P(FaultsMemoryTest, WholeBlocksAreWipedInAGoodRun) {
  memory().expectEmptyBlocks();
  run(GetParam(), Injection{}, memory());
}

TEST_P(FaultsMemoryTest, BlocksAfterRefusedJniCalls) {
  injectAll(jniInjections(good()));
}

TEST_P(FaultsMemoryTest, BlocksAfterFailingModuleCalls) {
  injectAll(moduleInjections(GetParam(), good()));
}

// Without this the absence of secrets in freed blocks would prove nothing.
TEST(FaultsMemoryWatchTest, SeesASecret) {
  const auto withValue = std::find_if(allSubjects().begin(), allSubjects().end(), [](const Subject& subject) {
    return subject.method->javaName() == "J_CreateObject";
  });
  ASSERT_NE(withValue, allSubjects().end());
  MemoryWatch memory;
  World world(*withValue);
  EXPECT_NONFATAL_FAILURE(
      memory.around(
          world, 0,
          [&world] {
            Template made = {};
            Attribute2CKAttribute(
                world.jni,
                world.env.attributes("", {world.env.attribute(CKA_VALUE, world.env.bytes("0123456789abcdef"))}), made);
            std::free(made.entries[0].pValue);
            made.entries[0].pValue = nullptr;
            freeTemplate(made);
          }),
      "a piece of a secret");
}

}  // namespace
