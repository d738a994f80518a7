/// Fixtures for tests of the native methods, and the way they state what must happen.
///
///   TEST_F(NativeTest, SignsIntoANewArray) {
///     jobject result = Java_velnor_nat_NativeSession_J_1SignFinal__(jni, session);
///     EXPECT_EQ(env.show(result), R"("SIG:")");
///     EXPECT_TRACE(R"(
///       sessionOf session
///       C_SignFinal session=0x5E51 buffer=non-null length=512 -> CKR_OK length=4
///       NewByteArray 4
///       SetByteArrayRegion byte[]#1 0 4 "SIG:"
///     )");
///   }
///
/// At its end a test fails when elements or characters are still lent that it did not announce with `expectOut`, when
/// native code wrote outside of them, and when a scripted answer or a planned failure was never used.
#pragma once

#include "../module/scripted_module.h"
#include "harlune.h"
#include "modules.h"
#include "recording_env.h"
#include "trace.h"
#include "velnor_nat_NativeCryptoki.h"
#include "velnor_nat_NativeSession.h"
#include "velnor_nat_NativeSlot.h"

#include <gtest/gtest.h>

/// A scripted module, opened beside the library so that it stays mapped and can be told what to answer.
class ScriptedModule {
public:
  explicit ScriptedModule(const char* path);
  ScriptedModule(const ScriptedModule&) = delete;
  ScriptedModule& operator=(const ScriptedModule&) = delete;
  ~ScriptedModule();

  const char* path() const { return path_; }
  /// Queues an answer; see scripted_module.h for the lines. A line that is not understood fails the test.
  void answer(const std::string& line);
  std::string journal() const { return call<const char*()>("scripted_journal")(); }
  std::string unused() const { return call<const char*()>("scripted_unused")(); }
  void reset() { call<void()>("scripted_reset")(); }
  void clearJournal() { call<void()>("scripted_clear_journal")(); }
  void listen(scripted_listener_t listener) { call<void(scripted_listener_t)>("scripted_set_listener")(listener); }
  void failCall(unsigned long n, CK_RV Rv) { call<void(unsigned long, CK_RV)>("scripted_fail_call")(n, Rv); }
  unsigned long calls() const { return call<unsigned long()>("scripted_calls")(); }
  void release() { call<void()>("scripted_release")(); }
  int blocked() const { return call<int()>("scripted_blocked")(); }
  void* callback() const { return call<void*()>("scripted_callback")(); }
  CK_RV callCallback(CK_CHAR_PTR pPin, CK_ULONG_PTR pulPinLen) {
    return call<CK_RV(CK_CHAR_PTR, CK_ULONG_PTR)>("scripted_call_callback")(pPin, pulPinLen);
  }

private:
  void* symbol(const char* name) const;
  template <typename Function>
  Function* call(const char* name) const {
    return reinterpret_cast<Function*>(symbol(name));
  }

  const char* path_;
  void* handle_;
};

/// The library in the state in which a JVM loads it: no module bound.
class UnboundTest : public ::testing::Test {
public:
  UnboundTest();
  ~UnboundTest() override;
  UnboundTest(const UnboundTest&) = delete;
  UnboundTest& operator=(const UnboundTest&) = delete;

protected:
  void TearDown() override;

  /// Loads through the Java loader, keeping what it does out of the journal.
  void load(const char* path, bool freeLib = true);
  void initialize();
  /// The journal so far, folded; forgets it.
  std::string takeTrace();
  /// Only the module's lines; forgets the whole journal.
  std::string takeModuleTrace();
  /// Announces that these objects' elements or characters will still be lent at the end, in the order of lending.
  void expectOut(const std::vector<std::string>& names) { expectedOut_ = names; }

  jvm::RecordingEnv env;
  JNIEnv* const jni = env.jni();
  ScriptedModule module{modules::kScripted};
  jobject cryptoki = env.object("cryptoki", "velnor/nat/NativeCryptoki");

private:
  std::vector<std::string> expectedOut_;
};

/// The scripted module loaded and initialised, a read/write session open on slot 0x11, nobody logged in.
class NativeTest : public UnboundTest {
protected:
  NativeTest();

  static constexpr CK_SESSION_HANDLE hSession = 0x5E51;
  static constexpr CK_OBJECT_HANDLE hSecretKey = 0xB01;
  static constexpr CK_OBJECT_HANDLE hPublicKey = 0xB02;
  static constexpr CK_OBJECT_HANDLE hPrivateKey = 0xB03;
  static constexpr CK_OBJECT_HANDLE hData = 0xB04;
  static constexpr CK_OBJECT_HANDLE hCertificate = 0xB05;

  /// Runs `setup` and forgets what it left in the journal; fails when it left an exception.
  template <typename Setup>
  void given(Setup&& setup) {
    setup();
    EXPECT_EQ(env.pending(), "");
    env.clear();
  }

  jobject session = env.session("session", static_cast<jlong>(hSession));
  jobject slot = env.slot("slot", 0x11);
};

/// A copy of the bound function list, in its place for as long as this lives: a test may spoil it.
class OwnFunctionList {
public:
  OwnFunctionList() : list_(*functionList), original_(functionList) { functionList = &list_; }
  OwnFunctionList(const OwnFunctionList&) = delete;
  OwnFunctionList& operator=(const OwnFunctionList&) = delete;
  ~OwnFunctionList() { functionList = original_; }
  CK_FUNCTION_LIST* operator->() { return &list_; }

private:
  CK_FUNCTION_LIST list_;
  CK_FUNCTION_LIST_PTR original_;
};

/// Compares the journal since the last look with the expected lines: indentation, empty lines and `#` lines are for the
/// reader only; well-formed reports and session look-ups read as one line each (see trace.h).
#define EXPECT_TRACE(text) EXPECT_EQ(::jvm::joined(::jvm::expectedLines(text)), this->takeTrace())
/// The same with the calls of the module only.
#define EXPECT_MODULE_TRACE(text) EXPECT_EQ(::jvm::joined(::jvm::expectedLines(text)), this->takeModuleTrace())
