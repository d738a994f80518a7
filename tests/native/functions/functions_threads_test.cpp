/// Eight threads at once, each with a session of its own, and eight that load the same module. No native locks: what
/// the thread sanitizer sees here would be the library's own.
///
///   cmake --preset threads && cmake --build --preset threads --target functions_threads_test
#include "calls.h"

#include <array>
#include <atomic>
#include <barrier>
#include <thread>

using namespace functions;

namespace {

constexpr std::size_t kThreads = 8;
constexpr int kRounds = 200;

/// A module that keeps nothing but a count, and signs with the session's number.
std::atomic<CK_ULONG> sessions;

CK_FUNCTION_LIST& lockFreeFunctions() {
  static CK_FUNCTION_LIST list = {};
  list.version = {2, 40};
  list.C_OpenSession = [](CK_SLOT_ID, CK_FLAGS, CK_VOID_PTR, CK_NOTIFY, CK_SESSION_HANDLE_PTR phSession) -> CK_RV {
    *phSession = 0xF000000000000000 + ++sessions;
    return CKR_OK;
  };
  list.C_CloseSession = [](CK_SESSION_HANDLE hSession) -> CK_RV {
    return hSession > 0xF000000000000000 ? CKR_OK : CKR_SESSION_HANDLE_INVALID;
  };
  list.C_Sign = [](CK_SESSION_HANDLE hSession, CK_BYTE_PTR pData, CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
                   CK_ULONG_PTR pulSignatureLen) -> CK_RV {
    const CK_ULONG room = *pulSignatureLen;
    *pulSignatureLen = ulDataLen;
    if (pSignature == nullptr || room < ulDataLen) {
      return pSignature == nullptr ? CKR_OK : CKR_BUFFER_TOO_SMALL;
    }
    for (CK_ULONG i = 0; i < ulDataLen; ++i) {
      pSignature[i] = static_cast<CK_BYTE>(pData[i] ^ hSession);
    }
    return CKR_OK;
  };
  list.C_SignInit = [](CK_SESSION_HANDLE hSession, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE) -> CK_RV {
    std::memcpy(pMechanism->pParameter, &hSession, sizeof hSession);
    return CKR_OK;
  };
  list.C_GetAttributeValue = [](CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR pTemplate,
                                CK_ULONG) -> CK_RV {
    std::memset(pTemplate->pValue, static_cast<int>(hSession & 0xFF), pTemplate->ulValueLen);
    return CKR_OK;
  };
  list.C_Logout = [](CK_SESSION_HANDLE) -> CK_RV { throw 5; };
  return list;
}

class Worker {
public:
  Worker(jlong module, std::size_t number) : module_(module), number_(number) {
    const jlongArray place = env_.longs("", {0});
    EXPECT_EQ(NATIVE(openSession)(jni(), nullptr, module_, 1, CKF_SERIAL_SESSION, place), 0);
    session_ = std::get<jvm::Longs>(env_.target(place)->contents).front();
  }

  void work(int round) {
    const std::string data(1 + (number_ * 371 + static_cast<std::size_t>(round) * 97) % 3000,
                           static_cast<char>('a' + number_));
    std::string expected = data;
    for (char& c : expected) {
      c = static_cast<char>(c ^ (session_ & 0xFF));
    }
    const auto length = static_cast<jint>(data.size());
    const jbyteArray out = env_.bytes("", std::string(data.size(), '-'));
    EXPECT_EQ(
        NATIVE(process)(jni(), nullptr, module_, sign_, session_, env_.bytes("", data), 0, length, out, 0, length),
        length);
    EXPECT_EQ(env_.bytesOf(out), expected);
    EXPECT_EQ(
        NATIVE(process)(jni(), nullptr, module_, sign_, session_, env_.bytes("", data), 0, length, out, 0, length - 1),
        failure(CKR_BUFFER_TOO_SMALL, static_cast<std::uint32_t>(length)));
    const jobject buffer = env_.directBuffer("", data);
    EXPECT_EQ(NATIVE(processDirect)(jni(), nullptr, module_, sign_, session_, buffer, 0, length, buffer, 0, length),
              length);
    EXPECT_EQ(env_.bytesOf(buffer), expected);

    const jobject jParameter = env_.directBuffer("", StructureBytes(8).bytes());
    EXPECT_EQ(NATIVE(keyedInit)(jni(), nullptr, module_, signInit_, session_, 1, jParameter, 1), 0);
    EXPECT_EQ(StructureBytes::number(env_.bytesOf(jParameter), 0), static_cast<std::uint64_t>(session_));

    StructureBytes read(24);
    read.comesBack();
    const std::size_t value = read.point(8, std::string(data.size(), '-'));
    read.number(16, data.size());
    const jbyteArray attributes = env_.bytes("", read.bytes());
    EXPECT_EQ(NATIVE(attributes)(jni(), nullptr, module_, getAttributeValue_, session_, 1, attributes), 0);
    EXPECT_EQ(StructureBytes::block(env_.bytesOf(attributes), value, data.size()),
              std::string(data.size(), static_cast<char>(session_ & 0xFF)));
    env_.clear();
  }

  void close() {
    EXPECT_EQ(NATIVE(number)(jni(), nullptr, module_, closeSession_, session_), 0);
    EXPECT_TRUE(env_.thrown().empty());
  }

private:
  JNIEnv* jni() { return env_.jni(); }

  jvm::RecordingEnv env_;
  const jlong module_;
  const std::size_t number_;
  const jint sign_ = indexOf("C_Sign");
  const jint signInit_ = indexOf("C_SignInit");
  const jint getAttributeValue_ = indexOf("C_GetAttributeValue");
  const jint closeSession_ = indexOf("C_CloseSession");
  jlong session_ = 0;
};

class FunctionsThreadsTest : public FunctionsTest {
protected:
  template <typename Body>
  static void onEveryThread(Body body) {
    std::barrier start(static_cast<std::ptrdiff_t>(kThreads));
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
      threads.emplace_back([&start, &body, i] {
        start.arrive_and_wait();
        body(i);
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
};

TEST_F(FunctionsThreadsTest, EachThreadGetsItsOwnResults) {
  puppet::Module module(copy(modules::kPuppet));
  module.list(lockFreeFunctions());
  const jlong id = load(module.path());
  onEveryThread([id](std::size_t number) {
    Worker worker(id, number);
    for (int round = 0; round < kRounds; ++round) {
      worker.work(round);
    }
    worker.close();
  });
}

TEST_F(FunctionsThreadsTest, AModuleThatManyLoadAtOnceIsOne) {
  for (int round = 0; round < 20; ++round) {
    puppet::Module module(copy(modules::kPuppet));
    module.list(lockFreeFunctions());
    std::array<jlong, kThreads> ids = {};
    onEveryThread([&](std::size_t number) {
      jvm::RecordingEnv own;
      ids[number] = NATIVE(load)(own.jni(), nullptr, own.bytes("", module.path()), nullptr);
      // What it was loaded by, it can be called by at once.
      EXPECT_EQ(NATIVE(number)(own.jni(), nullptr, ids[number], indexOf("C_CloseSession"), -1), 0);
    });
    for (const jlong id : ids) {
      EXPECT_GT(id, 0);
      EXPECT_EQ(id, ids.front());
    }
  }
}

TEST_F(FunctionsThreadsTest, ModulesThatAreLoadedAtOnceAreNotMixedUp) {
  std::array<std::string, kThreads> paths;
  std::array<jlong, kThreads> ids = {};
  puppet::Module any(copy(modules::kPuppet));
  for (std::string& path : paths) {
    path = copy(modules::kScripted);
  }
  onEveryThread([&](std::size_t number) {
    jvm::RecordingEnv own;
    ids[number] = NATIVE(load)(own.jni(), nullptr, own.bytes("", paths[number]), nullptr);
  });
  for (std::size_t i = 0; i < kThreads; ++i) {
    const jbyteArray path = env.bytes("", std::string(1000, '#'));
    const jint length = NATIVE(path)(jni, nullptr, ids[i], path);
    EXPECT_EQ(env.bytesOf(path).substr(0, static_cast<std::size_t>(length)), paths[i]);
  }
}

}  // namespace
