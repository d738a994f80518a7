/// What the methods of the operation families take from the allocator: given back on every path, wiped before that, and
/// never missed.
#include "allocations.h"
#include "operations.h"

namespace operations {
namespace {

constexpr char kSecretOutput[] = "secret output";
constexpr char kSecretParameter[] = "secretIV";

class OperationMemoryTest : public MethodTest {
protected:
  /// The method as it takes the most memory: with a mechanism parameter, and started by the same call.
  OperationMemoryTest() {
    arguments.bInit = JNI_TRUE;
    arguments.mechanism = env.mechanism("mechanism", CKM_DES3_CBC, env.bytes("iv", kSecretParameter));
  }

  void TearDown() override {
    expectOut(env.loans.out());  // the families' other tests tell which loans may stay out
    MethodTest::TearDown();
  }

  bool converts() const { return method.starts != Starts::Nothing || method.takesMechanismOnly; }
  void start(const std::string& startAnswer = "CKR_OK") {
    if (method.starts == Starts::ByInitFlag) {
      module.answer(method.worker->function + (" " + startAnswer) + " always");
    }
  }
  void succeed() {
    start();
    answer(std::string("CKR_OK") +
           (method.output == Output::None ? "" : " data=\"" + std::string(kSecretOutput) + "\"") + " always");
  }

  /// Calls the method under watch, which fails the test for what is not given back or not wiped; answers how often it
  /// allocated.
  unsigned watchedCall(unsigned failing = 0) {
    AllocationScope scope;
    scope.onFree([](const unsigned char* block, std::size_t size) {
      const std::string freed(reinterpret_cast<const char*>(block), size);
      for (const std::string secret : {kSecretOutput, kSecretParameter}) {
        EXPECT_EQ(freed.find(secret), std::string::npos) << "a block of " << size << " bytes was not wiped";
      }
    });
    if (failing != 0) {
      scope.failNth(failing);
    }
    call();
    EXPECT_EQ(scope.live(), 0U);
    EXPECT_FALSE(scope.failureLeft());
    return scope.count();
  }
  void forgetCall() {
    env.clear();
    env.clearException();
  }
};

TEST_P(OperationMemoryTest, IsGivenBackAfterASuccess) {
  succeed();
  EXPECT_EQ(watchedCall(), (converts() ? 1U : 0U) + (method.output == Output::NewArray ? 1U : 0U));
  EXPECT_EQ(env.pending(), "");
}

TEST_P(OperationMemoryTest, IsGivenBackWhenTheModuleFails) {
  start();
  answer("CKR_DEVICE_ERROR");
  watchedCall();
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).code, 0x30);
}

TEST_P(OperationMemoryTest, IsGivenBackAfterEveryRefusedJniCall) {
  succeed();
  watchedCall();
  const int calls = env.calls();
  for (int index = 1; index <= calls; ++index) {
    SCOPED_TRACE(index);
    forgetCall();
    env.failCall(index, jvm::Leaving::Exception);
    watchedCall();
  }
  forgetCall();
}

TEST_P(OperationMemoryTest, IsNeverMissed) {
  succeed();
  const unsigned allocations = watchedCall();
  for (unsigned n = 1; n <= allocations; ++n) {
    SCOPED_TRACE(n);
    forgetCall();
    watchedCall(n);
    EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).code, 2);
  }
}

INSTANTIATE_TEST_SUITE_P(All, OperationMemoryTest, ::testing::ValuesIn(methods()), title);

class RefusedStartMemoryTest : public OperationMemoryTest {};

TEST_P(RefusedStartMemoryTest, IsGivenBack) {
  start("CKR_KEY_HANDLE_INVALID");
  EXPECT_GE(watchedCall(), 1U);
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).function, method.worker->name);
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).code, 0x60);
}

INSTANTIATE_TEST_SUITE_P(All, RefusedStartMemoryTest, ::testing::ValuesIn(methodsWhere([](const Method& m) {
                           return m.starts == Starts::ByInitFlag;
                         })),
                         title);

class GrowingMemoryTest : public OperationMemoryTest {};

TEST_P(GrowingMemoryTest, IsWipedWhenTheBufferGrows) {
  const std::string written = " data=\"" + std::string(kSecretOutput) + "\"";
  answer("CKR_BUFFER_TOO_SMALL length=600" + written);
  answer("CKR_BUFFER_TOO_SMALL length=700" + written);
  succeed();
  watchedCall();
  EXPECT_EQ(env.pending(), "");
}

INSTANTIATE_TEST_SUITE_P(All, GrowingMemoryTest, ::testing::ValuesIn(methodsWhere([](const Method& m) {
                           return m.output == Output::NewArray && m.sizing == Sizing::Growing;
                         })),
                         title);

}  // namespace
}  // namespace operations
