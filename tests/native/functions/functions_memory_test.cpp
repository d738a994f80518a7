/// The heap: how much of it the natives take, what they do without, and that no secret is left in it.
#include "allocations.h"
#include "calls.h"

#include <gtest/gtest-spi.h>
#include <set>
#include <string_view>

using namespace functions;

namespace {

/// So many times as long, every range is too large for the stack.
constexpr std::size_t kLarge = 300;

/// Looks for pieces of what the calls carry in blocks that are given back.
class Secrets {
public:
  explicit Secrets(AllocationScope& scope) {
    scope.onFree([this](const unsigned char* block, std::size_t size) {
      const std::string_view bytes(reinterpret_cast<const char*>(block), size);
      ++blocks_;
      found_ = found_ || bytes.find("secret") != std::string_view::npos || bytes.find("<C_") != std::string_view::npos;
    });
  }
  bool found() const { return found_; }
  unsigned blocks() const { return blocks_; }

private:
  bool found_ = false;
  unsigned blocks_ = 0;
};

class FunctionsMemoryTest : public FunctionsTest, public ::testing::WithParamInterface<Call> {
protected:
  Arguments arguments(std::size_t times) { return {env, puppetModule(), GetParam().index(), times}; }

  unsigned allocationsOf(std::size_t times) {
    Arguments given = arguments(times);
    const AllocationScope scope;
    GetParam().make(given);
    return scope.count();
  }
  /// Lists are no secrets: the memory that they had may be anything.
  static void expectNone(const Secrets& secrets) {
    EXPECT_TRUE(!secrets.found() || GetParam().native == "list" || GetParam().native == "find");
  }
};

INSTANTIATE_TEST_SUITE_P(Every, FunctionsMemoryTest, ::testing::ValuesIn(calls()), callName);

TEST_P(FunctionsMemoryTest, SmallRangesTakeNoneOfIt) {
  EXPECT_EQ(allocationsOf(1), 0U);
}

TEST_P(FunctionsMemoryTest, EveryLargeRangeTakesOneBlock) {
  std::size_t expected = 0;
  Arguments given = arguments(kLarge);
  GetParam().make(given);
  for (const std::string& name : given.names()) {
    static const std::set<std::string> kSmall = {"arguments", "structure", "label", "session", "slot",
                                                 "size",      "object",    "copy",  "key",     "keys"};
    expected += kSmall.count(name) == 0 && !given.isDirect(name) ? 1 : 0;
  }
  EXPECT_EQ(allocationsOf(kLarge), expected);
}

TEST_P(FunctionsMemoryTest, WithoutMemoryNoModuleIsCalled) {
  const unsigned count = allocationsOf(kLarge);
  takeTold();
  for (unsigned n = 1; n <= count; ++n) {
    SCOPED_TRACE(n);
    Arguments given = arguments(kLarge);
    AllocationScope scope;
    const Secrets secrets(scope);
    scope.failNth(n);
    const jlong result = GetParam().make(given);
    EXPECT_FALSE(scope.failureLeft());
    EXPECT_EQ(GetParam().answer(result), CKR_HOST_MEMORY);
    if (GetParam().lengths) {
      EXPECT_EQ(result, failure(CKR_HOST_MEMORY));
    }
    EXPECT_EQ(takeTold().size(), 0U);
    EXPECT_EQ(given.contents(), given.before());
    EXPECT_EQ(scope.live(), 0U);
    expectNone(secrets);
  }
}

TEST_P(FunctionsMemoryTest, NoSecretIsLeftWhateverTheModuleAnswers) {
  puppet::answer.size = 500;
  for (const CK_RV Rv : {CKR_OK, CKR_DEVICE_ERROR, CKR_BUFFER_TOO_SMALL}) {
    SCOPED_TRACE(puppet::hex(Rv));
    puppet::answer.Rv = Rv;
    Arguments given = arguments(kLarge);
    AllocationScope scope;
    const Secrets secrets(scope);
    GetParam().make(given);
    expectNone(secrets);
    EXPECT_EQ(secrets.blocks(), scope.count());
    EXPECT_EQ(scope.live(), 0U);
  }
}

TEST_P(FunctionsMemoryTest, NoSecretIsLeftWhenTheModuleLetsAnExceptionOut) {
  puppet::answer.then = [] { throw 5; };
  Arguments given = arguments(kLarge);
  AllocationScope scope;
  const Secrets secrets(scope);
  EXPECT_EQ(GetParam().answer(GetParam().make(given)), CKR_GENERAL_ERROR);
  expectNone(secrets);
  EXPECT_EQ(scope.live(), 0U);
}

// Structures that are refused have been copied before.
TEST_P(FunctionsMemoryTest, NoSecretIsLeftOfARefusedArgument) {
  for (const jint bad : {0, 1, 2, 3}) {
    // An index outside of the shape, no module, an unknown one, and a function that is not there.
    Arguments given(env, bad == 0 ? puppetModule() : bad - 2, bad == 0 ? -1 : GetParam().index(), kLarge);
    AllocationScope scope;
    const Secrets secrets(scope);
    GetParam().make(given);
    expectNone(secrets);
    EXPECT_EQ(scope.live(), 0U);
  }
}

// --- Every call of the JVM that does not go well ---------------------------------------------------------------------

TEST_P(FunctionsMemoryTest, WhatTheJvmRefusesLeavesNothingBehind) {
  for (const std::size_t times : {std::size_t(1), kLarge}) {
    Arguments good = arguments(times);
    env.clear();
    GetParam().make(good);
    const std::vector<std::string> journal = env.journal();
    for (std::size_t i = 0; i < journal.size(); ++i) {
      const bool cannotFail = journal[i].find("ArrayRegion") != std::string::npos;
      for (const jvm::Leaving leaving : {jvm::Leaving::Nothing, jvm::Leaving::Exception}) {
        if (cannotFail) {
          continue;
        }
        SCOPED_TRACE(journal[i]);
        Arguments given = arguments(times);
        env.clear();
        takeTold();
        env.failCall(static_cast<int>(i) + 1, leaving);
        AllocationScope scope;
        const Secrets secrets(scope);
        const jlong result = GetParam().make(given);
        EXPECT_FALSE(env.faultsLeft());
        EXPECT_EQ(scope.live(), 0U);
        expectNone(secrets);
        if (journal[i].find("Direct") != std::string::npos) {
          EXPECT_EQ(GetParam().answer(result), CKR_ARGUMENTS_BAD);
          EXPECT_EQ(takeTold().size(), 0U);
        }
        env.clearException();
      }
    }
  }
}

// Without this the absence of secrets would prove nothing: a list is no secret, and not wiped.
TEST_F(FunctionsTest, SecretsInFreedBlocksAreSeen) {
  puppet::Entry<& puppet::FunctionList::C_FindObjects>::behaviour = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE_PTR phObject,
                                                                       CK_ULONG, CK_ULONG_PTR pulObjectCount) {
    std::memcpy(phObject, "a secret", 8);
    *pulObjectCount = 1;
    return CKR_OK;
  };
  const jlong id = puppetModule();
  const jlongArray objects = env.longs("", jvm::Longs(1000));
  AllocationScope scope;
  const Secrets secrets(scope);
  EXPECT_EQ(NATIVE(find)(jni, nullptr, id, kSession, objects), 1);
  EXPECT_TRUE(secrets.found());
}

// --- Loading ---------------------------------------------------------------------------------------------------------

class FunctionsLoadMemoryTest : public FunctionsTest {
protected:
  struct Outcome {
    jlong id;
    bool happened;
    int blocksKept;
  };

  Outcome loadWithout(unsigned n, jbyteArray path) {
    Outcome outcome = {};
    ::testing::TestPartResultArray kept;
    {
      const ::testing::ScopedFakeTestPartResultReporter reporter(
          ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &kept);
      AllocationScope scope;
      scope.failNth(n);
      outcome.id = NATIVE(load)(jni, nullptr, path, nullptr);
      outcome.happened = !scope.failureLeft();
    }
    outcome.blocksKept = kept.size();
    return outcome;
  }
};

TEST_F(FunctionsLoadMemoryTest, WithoutMemoryAModuleIsNotLoadedOrIsWhole) {
  unsigned refused = 0;
  Outcome outcome = {};
  for (unsigned n = 1; n == 1 || outcome.happened; ++n) {
    SCOPED_TRACE(n);
    ASSERT_LT(n, 50U);
    puppet::Module module(copy(modules::kPuppet));
    module.list(puppet::functions());
    outcome = loadWithout(n, env.bytes("", module.path()));
    if (outcome.id < 0) {
      EXPECT_EQ(answerOf(outcome.id), CKR_HOST_MEMORY);
      EXPECT_EQ(outcome.blocksKept, 0);
      ++refused;
      EXPECT_GT(load(module.path()), 0) << "later there is memory";
    } else {
      EXPECT_EQ(outcome.blocksKept, 1) << "the record of the module";
      EXPECT_EQ(NATIVE(number)(jni, nullptr, outcome.id, indexOf("C_Logout"), kSession), 0);
    }
  }
  EXPECT_GT(refused, 0U);
}

TEST_F(FunctionsLoadMemoryTest, ALoadOfALoadedModuleKeepsNothing) {
  puppet::Module module(copy(modules::kPuppet));
  module.list(puppet::functions());
  const jlong id = load(module.path());
  const Outcome again = loadWithout(1000, env.bytes("", module.path()));
  EXPECT_EQ(again.id, id);
  EXPECT_EQ(again.blocksKept, 0);
}

// As when another thread was faster.
TEST_F(FunctionsLoadMemoryTest, AModuleThatLoadsItselfMeanwhileHasOneRecord) {
  puppet::Module module(copy(modules::kPuppet));
  jlong first = 0;
  bool isOuter = true;
  module.list([&](CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
    if (isOuter) {
      isOuter = false;
      first = load(module.path());
    }
    *ppFunctionList = &puppet::functions();
    return CKR_OK;
  });
  const Outcome outer = loadWithout(1000, env.bytes("", module.path()));
  EXPECT_GT(first, 0);
  EXPECT_EQ(outer.id, first);
  EXPECT_EQ(outer.blocksKept, 1) << "the record of the module";
}

TEST_F(FunctionsLoadMemoryTest, FailedLoadsKeepNothing) {
  for (const char* const failing :
       {modules::kNoFunctionList, modules::kListFails, modules::kListNull, "/no/such/module.so"}) {
    const Outcome failed = loadWithout(1000, env.bytes("", failing));
    EXPECT_LT(failed.id, 0);
    EXPECT_EQ(failed.blocksKept, 0);
  }
}

}  // namespace
