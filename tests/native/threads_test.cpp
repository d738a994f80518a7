/// Many threads at once on one module that locks, as applications use the library: each with a session and objects of
/// its own. Every result must be the thread's own, and none may touch what another one uses.
///
/// The thread sanitizer sees what the results cannot show:
///   cmake --preset threads && cmake --build --preset threads && ctest --preset threads
#include "native_test.h"

#include <barrier>
#include <chrono>
#include <functional>
#include <thread>

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 25;

constexpr CK_FLAGS kReadWrite = CKF_SERIAL_SESSION | CKF_RW_SESSION;

std::string reversed(const std::string& text) {
  return {text.rbegin(), text.rend()};
}

std::string swappedCase(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(c ^ 0x20);
  }
  return text;
}

std::string padded(std::string text, std::size_t size) {
  text.resize(size, '.');
  return text;
}

/// What one thread does, with a JVM environment that no other thread sees.
class Worker {
public:
  explicit Worker(int number) : number_(number) {}

  void open() {
    session_ = Java_velnor_nat_NativeSlot_J_1OpenSession__I(jni_, env_.slot("slot", 0x11), kReadWrite);
    expectNothingPending();
    const jvm::Object* const opened = env_.target(session_);
    ASSERT_NE(opened, nullptr);
    hSession_ = opened->fields.at("m_sessionHandle").number;
    hObject_ = Java_velnor_nat_NativeSession_J_1CreateObject(
        jni_, session_,
        env_.attributes("", {env_.attribute(CKA_LABEL, env_.bytes(label())),
                             env_.attribute(CKA_VALUE, env_.bytes(label() + "'s value"))}));
    expectNothingPending();
  }

  void work(int round) {
    // Lengths differ between threads and rounds, so that a buffer that two threads share has the wrong size for one.
    const std::string data =
        label() + std::string(static_cast<std::size_t>((number_ * 37 + round * 11) % 90), 'x') + std::to_string(round);
    sign(data);
    verify(data);
    encrypt(data);
    digest(data);
    readAttributes();
    find();
    generateRandom();
    fail();
    env_.clear();
  }

  void close() {
    Java_velnor_nat_NativeSession_J_1DestroyObject(jni_, session_, hObject_);
    Java_velnor_nat_NativeSession_J_1CloseSession(jni_, session_);
    expectNothingPending();
    env_.loans.checkGuards();
    EXPECT_EQ(env_.loans.out(), std::vector<std::string>()) << label();
    EXPECT_EQ(env_.thrown().size(), expectedFailures_) << label();
  }

private:
  std::string label() const { return "thread " + std::to_string(number_); }
  jint length(const std::string& text) const { return static_cast<jint>(text.size()); }
  jobject mechanism(CK_MECHANISM_TYPE type) { return env_.mechanism("", static_cast<jint>(type)); }

  void expectNothingPending() { EXPECT_EQ(env_.pending(), "") << label(); }

  void expectFailure(const std::string& report) {
    EXPECT_EQ(env_.pending(), "CryptokiException(" + report + ")") << label();
    env_.clearException();
    ++expectedFailures_;
  }

  /// The report of a return value.
  void expectRefused(const std::string& function, CK_RV Rv) {
    expectFailure("\"" + function + "\", " + std::to_string(Rv) + ", \"" + jvm::paddedDescription(Rv) + "\"");
  }

  void sign(const std::string& data) {
    const jbyteArray jSignature = Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII(
        jni_, session_, hSession_, JNI_TRUE, mechanism(CKM_SHA1_RSA_PKCS), kKey, env_.bytes(data), 0, length(data));
    expectNothingPending();
    EXPECT_EQ(env_.bytesOf(jSignature), "SIG:" + reversed(data));

    const jbyteArray callers = env_.bytes(std::string(data.size() + 8, '-'));
    Java_velnor_nat_NativeSession_J_1SignUpdate(jni_, session_, hSession_, JNI_TRUE, mechanism(CKM_SHA1_RSA_PKCS), kKey,
                                                env_.bytes(data), 0, length(data));
    const jint signatureLen = Java_velnor_nat_NativeSession_J_1SignFinal___3BI(jni_, session_, callers, 2);
    expectNothingPending();
    EXPECT_EQ(signatureLen, length(data) + 4);
    EXPECT_EQ(env_.bytesOf(callers), "--SIG:" + reversed(data) + "--");
  }

  void verify(const std::string& data) {
    const auto verifies = [&](const std::string& signature) {
      Java_velnor_nat_NativeSession_J_1Verify(jni_, session_, hSession_, JNI_TRUE, mechanism(CKM_SHA1_RSA_PKCS), kKey,
                                              env_.bytes(data), 0, length(data), env_.bytes(signature), 0,
                                              length(signature));
    };
    verifies("SIG:" + reversed(data));
    expectNothingPending();
    verifies("SIG?" + reversed(data));
    expectRefused("J_Verify", CKR_SIGNATURE_INVALID);
  }

  void encrypt(const std::string& data) {
    const jobject vector = env_.bytes(padded(label(), 8));
    const jbyteArray encrypted = Java_velnor_nat_NativeSession_J_1Encrypt__JZLvelnor_Mechanism_2J_3BII(
        jni_, session_, hSession_, JNI_TRUE, env_.mechanism("", CKM_DES3_CBC, vector), kKey, env_.bytes(data), 0,
        length(data));
    expectNothingPending();
    EXPECT_EQ(env_.bytesOf(encrypted), swappedCase(data));

    const jbyteArray first = Java_velnor_nat_NativeSession_J_1DecryptUpdate__JZLvelnor_Mechanism_2J_3BII(
        jni_, session_, hSession_, JNI_TRUE, env_.mechanism("", CKM_DES3_CBC, vector), kKey, encrypted, 0,
        length(data));
    const jbyteArray last = Java_velnor_nat_NativeSession_J_1DecryptFinal__(jni_, session_);
    expectNothingPending();
    EXPECT_EQ(env_.bytesOf(first) + env_.bytesOf(last), data);
  }

  void digest(const std::string& data) {
    const jbyteArray whole = Java_velnor_nat_NativeSession_J_1Digest__JZLvelnor_Mechanism_2_3BII(
        jni_, session_, hSession_, JNI_TRUE, mechanism(CKM_SHA_1), env_.bytes(data), 0, length(data));
    Java_velnor_nat_NativeSession_J_1DigestUpdate(jni_, session_, hSession_, JNI_TRUE, mechanism(CKM_SHA512),
                                                  env_.bytes(data), 0, length(data));
    const jbyteArray parts = Java_velnor_nat_NativeSession_J_1DigestFinal__(jni_, session_);
    expectNothingPending();
    EXPECT_EQ(env_.bytesOf(whole), padded(data, 20));
    EXPECT_EQ(env_.bytesOf(parts), padded(data, 64));
  }

  void readAttributes() {
    const jobject one = Java_velnor_nat_NativeSession_J_1GetAttributeValue__JI(jni_, session_, hObject_, CKA_VALUE);
    const jobjectArray both = Java_velnor_nat_NativeSession_J_1GetAttributeValue__J_3I(
        jni_, session_, hObject_, env_.ints("", {CKA_VALUE, CKA_LABEL}));
    expectNothingPending();
    const std::string value = "Attribute(17, \"" + label() + "'s value\")";
    EXPECT_EQ(env_.show(one), value);
    EXPECT_EQ(env_.show(both), "[" + value + ", Attribute(3, \"" + label() + "\")]");
  }

  void find() {
    const jlongArray found = Java_velnor_nat_NativeSession_J_1FindObjects___3Lvelnor_Attribute_2(
        jni_, session_, env_.attributes("", {env_.attribute(CKA_LABEL, env_.bytes(label()))}));
    expectNothingPending();
    EXPECT_EQ(env_.show(found), "[" + std::to_string(hObject_) + "]");
  }

  void generateRandom() {
    const jbyteArray random = env_.bytes("----------");
    Java_velnor_nat_NativeSession_J_1GenerateRandom(jni_, session_, hSession_, JNI_TRUE, env_.bytes(label()), random, 2,
                                                    6);
    expectNothingPending();
    EXPECT_EQ(env_.bytesOf(random), "--RANDOM--");
  }

  /// Each thread raises other texts and codes than its neighbours, at the same time.
  void fail() {
    if (number_ % 2 == 0) {
      Java_velnor_nat_NativeSession_J_1GenerateRandom(jni_, session_, hSession_, JNI_FALSE, nullptr, nullptr, 0, 0);
      expectFailure(R"("J_GenerateRandom", 5, "Random is NULL")");
      EXPECT_EQ(Java_velnor_nat_NativeSession_J_1EncryptFinal__(jni_, session_), nullptr);
      expectRefused("J_EncryptFinal", CKR_OPERATION_NOT_INITIALIZED);
    } else {
      Java_velnor_nat_NativeSession_J_1GetAttributeValue__JI(jni_, session_, hObject_, CKA_MODULUS);
      expectRefused("J_GetAttributeValue", CKR_ATTRIBUTE_TYPE_INVALID);
      Java_velnor_nat_NativeSlot_J_1GetTokenInfo(jni_, env_.slot("", 0x22));
      expectRefused("J_GetTokenInfo", CKR_TOKEN_NOT_PRESENT);
    }
  }

  static constexpr jlong kKey = 0xB01;

  const int number_;
  jvm::RecordingEnv env_;
  JNIEnv* const jni_ = env_.jni();
  jobject session_ = nullptr;
  jlong hSession_ = 0;
  jlong hObject_ = 0;
  std::size_t expectedFailures_ = 0;
};

class ThreadsTest : public UnboundTest {
protected:
  ThreadsTest() {
    load(module.path());
    initialize();
    module.listen(nullptr);
  }

  /// Runs the threads from a common start, so that they meet from the first call on.
  void runThreads(const std::function<void(Worker&)>& body) {
    std::vector<std::unique_ptr<Worker>> workers;
    std::vector<std::thread> threads;
    std::barrier start(kThreads);
    for (int number = 0; number < kThreads; ++number) {
      workers.push_back(std::make_unique<Worker>(number));
      threads.emplace_back([&start, &body, &worker = *workers.back()] {
        start.arrive_and_wait();
        body(worker);
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
};

TEST_F(ThreadsTest, EachThreadGetsItsOwnResults) {
  const CK_FUNCTION_LIST_PTR boundList = functionList;
  void* const boundModule = hLibModule;
  runThreads([](Worker& worker) {
    ASSERT_NO_FATAL_FAILURE(worker.open());
    for (int round = 0; round < kRounds; ++round) {
      worker.work(round);
    }
    worker.close();
  });
  EXPECT_EQ(functionList, boundList);
  EXPECT_EQ(hLibModule, boundModule);
  EXPECT_TRUE(bInitialized);
  EXPECT_STREQ(sLibName, module.path());
  // All of it went through the module, and nothing of it to waste.
  EXPECT_GT(module.calls(), static_cast<unsigned long>(kThreads * kRounds * 20));
}

TEST_F(ThreadsTest, AWaitForASlotEventHoldsNobodyUp) {
  module.answer("C_WaitForSlotEvent block slot=0x22");
  jvm::RecordingEnv waiting;
  std::string slot;
  std::thread waiter([&] {
    slot = waiting.show(Java_velnor_nat_NativeCryptoki_WaitForSlotEvent(
        waiting.jni(), waiting.object("cryptoki", "velnor/nat/NativeCryptoki"), 0, nullptr));
  });
  while (module.blocked() == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  runThreads([](Worker& worker) {
    ASSERT_NO_FATAL_FAILURE(worker.open());
    worker.work(0);
    worker.close();
  });
  EXPECT_EQ(module.blocked(), 1);
  module.release();
  waiter.join();
  EXPECT_EQ(slot, "NativeSlot(34)");
  EXPECT_EQ(waiting.pending(), "");
}

}  // namespace
