/// What every method of the operation families does alike, and how their operations start.
#include "operations.h"

namespace operations {
namespace {

class OperationTest : public MethodTest {
protected:
  /// Announces what a method that failed in the module's call does not give back.
  void expectLoansAfterFailure() {
    if (method.row.keepsInput) {
      expectOut({"input"});
    } else if (method.output == Output::CallersArray) {
      giveBackOutputAfterFailure();
    }
  }
};

class InputTest : public OperationTest {};

TEST_P(InputTest, NeedsAnArray) {
  arguments.input.array = nullptr;
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE(report("5 \"" + std::string(method.inputMissing) + "\"") +
               (!method.row.emptyRelease.empty() ? "ReleaseByteArrayElements null elements=null mode 2" : ""));
}

TEST_P(InputTest, NeedsItsElements) {
  env.failNext("GetByteArrayElements", jvm::Leaving::Exception);
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE("GetByteArrayElements input -> null\n" + report("5 \"" + std::string(method.inputMissing) + "\"") +
               (!method.row.emptyRelease.empty() ? "ReleaseByteArrayElements input elements=null mode 2" : ""));
}

INSTANTIATE_TEST_SUITE_P(All, InputTest,
                         ::testing::ValuesIn(methodsWhere([](const Method& m) { return m.inputMissing != nullptr; })),
                         title);

/// Methods whose init flag starts the operation in the same call.
class InitFlagTest : public OperationTest {
protected:
  InitFlagTest() {
    arguments.bInit = JNI_TRUE;
    if (method.name == std::string("J_Verify")) {
      arguments.second = {env.bytes("signature", "..SIG::CER"), 2, 8};
    }
  }

  std::string start(const std::string& answer) const { return start("0x5E51", "0xB01", answer); }
  std::string start(const std::string& onSession, const std::string& withKey, const std::string& answer) const {
    return std::string(method.worker->function) + " session=" + onSession + " mechanism=0x220" +
           (method.worker->takesKey ? " key=" + withKey : "") + " -> " + answer + "\n";
  }
  std::string reportOfWorker(const std::string& codeAndText) const {
    return "report \"" + std::string(method.worker->name) + "\" " + codeAndText + "\n";
  }
};

TEST_P(InitFlagTest, StartsTheOperationBeforeAnythingIsBorrowed) {
  call();
  EXPECT_EQ(env.pending(), "");
  const std::string trace = takeTrace();
  const std::string started = jvm::joined(jvm::expectedLines(kConversion + start("CKR_OK")));
  EXPECT_EQ(trace.compare(0, started.size(), started), 0) << trace;
  EXPECT_NE(trace.find(method.function + std::string(" session=0x5E51"), started.size()), std::string::npos) << trace;
}

TEST_P(InitFlagTest, AnyNonZeroFlagCounts) {
  arguments.bInit = 2;
  module.answer(method.worker->function + std::string(" CKR_KEY_HANDLE_INVALID"));
  call();
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).function, method.worker->name);
}

TEST_P(InitFlagTest, LeavesMechanismAndKeyAloneWithoutTheFlag) {
  startEverything();
  arguments.bInit = JNI_FALSE;
  arguments.mechanism = nullptr;
  call();
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(env.calls("FindClass"), 0);
  const std::string trace = takeModuleTrace();
  EXPECT_EQ(trace.find(method.worker->function), std::string::npos) << trace;
  EXPECT_NE(trace.find(method.function + std::string(" session=0x5E51")), std::string::npos) << trace;
}

TEST_P(InitFlagTest, ReturnsAtOnceWhenTheModuleRefuses) {
  // The worker has reported by then, so the method does not, and nothing was borrowed that had to be given back.
  module.answer(method.worker->function + std::string(" CKR_KEY_HANDLE_INVALID"));
  const Result result = call();
  EXPECT_EQ(result.array, nullptr);
  EXPECT_EQ(result.length, 0);
  EXPECT_TRACE(kConversion + start("CKR_KEY_HANDLE_INVALID") + reportOfWorker("0x60"));
}

TEST_P(InitFlagTest, GoesOnAfterAConversionThatFailed) {
  // Callers rely on the module being asked all the same: the call uses up an operation that was active before.
  startEverything();
  arguments.mechanism = env.mechanism("mechanism", CKM_DES_CBC);
  const std::string text = R"("Mechanism2CKMechanism - parameter value is NULL")";
  call();
  EXPECT_EQ(env.thrown().size(), 1U);
  EXPECT_EQ(env.pending(), "CryptokiException(\"" + std::string(method.worker->name) + "\", 5, " + text + ")");
  const std::string trace = takeTrace();
  const std::string started = jvm::joined(jvm::expectedLines(kConversion + reportOfWorker("5 " + text)));
  EXPECT_EQ(trace.compare(0, started.size(), started), 0) << trace;
  EXPECT_NE(trace.find(method.function + std::string(" session=0x5E51"), started.size()), std::string::npos) << trace;
  EXPECT_EQ(trace.find(method.worker->function), std::string::npos) << trace;
}

TEST_P(InitFlagTest, ReportsAgainWhenTheModuleFailsAfterAConversionThatFailed) {
  arguments.mechanism = nullptr;
  answer("CKR_DEVICE_ERROR");
  expectLoansAfterFailure();
  call();
  ASSERT_EQ(env.thrown().size(), 2U);
  EXPECT_EQ(env.thrown().front().find("CryptokiException(\"" + std::string(method.worker->name) + "\", 5, "), 0U);
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).function, method.name);
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).code, 0x30);
}

TEST_P(InitFlagTest, HandsWideHandlesToTheStart) {
  arguments.hSession = 0x123456789ABCDEF0;
  arguments.hKey = static_cast<jlong>(0x8000000000000007);
  module.answer(method.worker->function + std::string(" CKR_KEY_HANDLE_INVALID"));
  call();
  EXPECT_MODULE_TRACE(start("0x123456789ABCDEF0", "0x8000000000000007", "CKR_KEY_HANDLE_INVALID"));
}

INSTANTIATE_TEST_SUITE_P(All, InitFlagTest, ::testing::ValuesIn(methodsWhere([](const Method& m) {
                           return m.starts == Starts::ByInitFlag;
                         })),
                         title);

/// Methods that only start an operation: by way of a worker, or by themselves for the recovery operations.
class StartTest : public OperationTest {
protected:
  bool hasWorker() const { return method.starts == Starts::Always; }
  std::string start(const std::string& answer) const {
    return (hasWorker() ? "" : sessionLine()) + method.function + " session=0x5E51 mechanism=0x220 key=0xB01 -> " +
           answer + "\n";
  }
};

TEST_P(StartTest, ConvertsTheMechanismAndAsksTheModule) {
  call();
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(kConversion + start("CKR_OK"));
}

TEST_P(StartTest, ReportsARefusalTwiceWhereAWorkerAsks) {
  // Both exceptions read the same and the second replaces the first: a Java caller sees one.
  answer("CKR_KEY_HANDLE_INVALID");
  call();
  EXPECT_TRACE(kConversion + start("CKR_KEY_HANDLE_INVALID") + report("0x60") + (hasWorker() ? report("0x60") : ""));
}

TEST_P(StartTest, ReportsAFailedConversionOnce) {
  // A worker answers 0 to a conversion that failed, and so there is nothing to raise again.
  arguments.mechanism = env.mechanism("mechanism", CKM_DES_CBC);
  call();
  EXPECT_TRACE(kConversion + report(R"(5 "Mechanism2CKMechanism - parameter value is NULL")"));
}

TEST_P(StartTest, HandsParametersOver) {
  arguments.mechanism = env.mechanism("mechanism", CKM_DES_CBC, env.bytes("iv", "12345678"));
  call();
  EXPECT_EQ(env.pending(), "");
  EXPECT_MODULE_TRACE(std::string(method.function) +
                      " session=0x5E51 mechanism=0x122 parameter=8:\"12345678\" key=0xB01 -> CKR_OK");
}

TEST_P(StartTest, WidensTheMechanismCodeAndTakesTheWholeKeyHandle) {
  arguments.mechanism = env.mechanism("mechanism", -2147483647);
  arguments.hKey = static_cast<jlong>(0x8000000000000007);
  answer("CKR_OK");
  call();
  EXPECT_MODULE_TRACE(std::string(method.function) +
                      " session=0x5E51 mechanism=0xFFFFFFFF80000001 key=0x8000000000000007 -> CKR_OK");
}

INSTANTIATE_TEST_SUITE_P(All, StartTest, ::testing::ValuesIn(methodsWhere([](const Method& m) {
                           return m.starts == Starts::Always || m.takesMechanismOnly;
                         })),
                         title);

}  // namespace
}  // namespace operations
