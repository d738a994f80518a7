/// What the log hook hears beyond the entry and the exit of a method. The hook of the shipped library does nothing, so
/// this test is linked from the library's own objects with a hook that listens.
#include "native_test.h"
#include "templates.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

struct Heard {
  std::string text;
  CK_RV Rv;
  std::size_t thrown;  ///< how many exceptions `watched` had seen by then
};

const jvm::RecordingEnv* watched = nullptr;

std::vector<Heard>& heard() {
  static std::vector<Heard> all;
  return all;
}

}  // namespace

void LogFunction(const char* sFuncName, CK_RV Rv, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, Rv);
  std::vsnprintf(text, sizeof text, sFuncName, arguments);
  va_end(arguments);
  heard().push_back({text, Rv, watched == nullptr ? 0 : watched->thrown().size()});
}

const char* g_sLogPath = nullptr;

namespace {

/// What the hook heard since the last look, without the calls of the error reporter.
std::vector<std::string> takeHeard() {
  std::vector<std::string> texts;
  for (const Heard& call : heard()) {
    if (call.text.rfind("throwPkcs11Exception", 0) != 0) {
      texts.push_back(call.text);
    }
  }
  heard().clear();
  return texts;
}

using Texts = std::vector<std::string>;
class LogHookTest : public NativeTest {
protected:
  LogHookTest() { heard().clear(); }

  jobject mechanism = env.mechanism("mechanism", static_cast<jint>(CKM_SHA1_RSA_PKCS));
  jbyteArray data = env.bytes("data", "data");
};

class UnboundLogHookTest : public UnboundTest {
protected:
  UnboundLogHookTest() { heard().clear(); }
};

TEST_F(UnboundLogHookTest, HearsTheReporterTwiceOfAReturnValueAndNeverOfAText) {
  throwPkcs11Exception(jni, "J_Sign", CK_RV{0x30});
  ASSERT_EQ(heard().size(), 2U);
  EXPECT_EQ(heard()[0].Rv, 0x30U);
  EXPECT_EQ(heard()[1].Rv, 0x30U);
  heard().clear();
  throwPkcs11Exception(jni, "J_Sign", "Data is NULL");
  EXPECT_TRUE(heard().empty());
}

TEST_F(UnboundLogHookTest, HearsALoadAndTheMissingConfigurationFile) {
  load(modules::kScripted);
  EXPECT_EQ(
      (Texts{"loadCryptokiLibrary - entry", "stat for " + std::string(modules::kScripted) + ".conf FAILED errno=2",
             "loadCryptokiLibrary - exit"}),
      takeHeard());
}

TEST_F(UnboundLogHookTest, HearsTheStepsOfALifecycle) {
  load(modules::kScripted);
  takeHeard();
  Java_velnor_nat_NativeCryptoki_Initialize(jni, cryptoki, nullptr);
  EXPECT_EQ((Texts{"Initialize - entry", "Initialize : before Token call.", "Initialize : after Token call.",
                   "Initialize - exit"}),
            takeHeard());
  Java_velnor_nat_NativeCryptoki_Initialize(jni, cryptoki, nullptr);
  EXPECT_EQ((Texts{"Initialize - entry", "Initialize : exception.", "Initialize - exit"}), takeHeard());
  Java_velnor_nat_NativeCryptoki_Finalize(jni, cryptoki, nullptr);
  EXPECT_EQ((Texts{"Finalize - entry", "Finalize : before C_Finalize call", "Finalize : C_Finalize call passed.",
                   "Finalize - exit"}),
            takeHeard());
}

class FailingInitializeTest : public UnboundLogHookTest {
protected:
  ~FailingInitializeTest() override { watched = nullptr; }

  void expectExceptionHeardBeforeTheReport() {
    watched = &env;
    Java_velnor_nat_NativeCryptoki_Initialize(jni, cryptoki, nullptr);
    ASSERT_EQ(env.thrown().size(), 1U);
    std::size_t told = 0;
    for (const Heard& call : heard()) {
      if (call.text == "Initialize : exception.") {
        EXPECT_EQ(call.thrown, 0U);
        ++told;
      }
    }
    EXPECT_EQ(told, 1U);
  }
};

TEST_F(FailingInitializeTest, HearsOfAReturnValueBeforeItIsReported) {
  bInitialized = true;
  expectExceptionHeardBeforeTheReport();
}

TEST_F(FailingInitializeTest, HearsOfATextBeforeItIsReported) {
  std::strcpy(sLibName, "/no/such/module.so");
  expectExceptionHeardBeforeTheReport();
}

TEST_F(LogHookTest, HearsTheModuleCallsOfASignature) {
  Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII(jni, session, hSession, JNI_TRUE, mechanism,
                                                                     hPrivateKey, data, 0, 4);
  EXPECT_EQ((Texts{"J_Sign - entry", "J_SignInit - entry", "J_SignInit - exit", "J_Sign : before C_Sign",
                   "J_Sign : after C_Sign", "J_Sign : before C_Sign", "J_Sign : after C_Sign", "J_Sign - exit"}),
            takeHeard());
}

TEST_F(LogHookTest, HearsTheInitWorkersOfSigningAndEncryptionOnly) {
  J_SignInit(jni, hSession, mechanism, hPrivateKey);
  EXPECT_EQ((Texts{"J_SignInit - entry", "J_SignInit - exit"}), takeHeard());
  J_EncryptInit(jni, hSession, mechanism, hSecretKey);
  EXPECT_EQ((Texts{"J_EncryptInit - entry", "J_EncryptInit - exit"}), takeHeard());
  J_DecryptInit(jni, hSession, mechanism, hSecretKey);
  J_VerifyInit(jni, hSession, mechanism, hPublicKey);
  J_DigestInit(jni, hSession, mechanism);
  J_SeedRandom(jni, hSession, data);
  EXPECT_EQ(Texts{}, takeHeard());
}

TEST_F(LogHookTest, HearsTheStepsOfClosingASession) {
  Java_velnor_nat_NativeSession_J_1CloseSession(jni, session);
  EXPECT_EQ((Texts{"J_CloseSession - entry", "J_CloseSession : before C_CloseSession",
                   "J_CloseSession : after C_CloseSession", "J_CloseSession - exit"}),
            takeHeard());
  Java_velnor_nat_NativeSession_J_1CloseSession(jni, session);
  EXPECT_EQ((Texts{"J_CloseSession - entry", "J_CloseSession : before C_CloseSession",
                   "J_CloseSession : after C_CloseSession", "J_CloseSession : C_CloseSession failed",
                   "J_CloseSession : exception", "J_CloseSession - exit"}),
            takeHeard());
}

TEST_F(LogHookTest, HearsOfTheSignerPinButNeverThePin) {
  std::memcpy(g_SignerPin, "1234", 4);
  CK_CHAR pin[8] = {};
  CK_ULONG length = 0;
  GetPIN(pin, &length);
  EXPECT_EQ((Texts{"GetPIN - Entering function", "GetPIN - Copying signer pin (4 bytes)"}), takeHeard());
  std::memset(g_SignerPin, 0, sizeof g_SignerPin);
  GetPIN(nullptr, &length);
  EXPECT_EQ((Texts{"GetPIN - Entering function", "GetPIN - No defined signer pin"}), takeHeard());
}

TEST_F(LogHookTest, HearsTheAnswerOfTheVendorEntryAndNothingElseDoes) {
  pC_SetCallBack = [](CK_LONG, CK_VOID_PTR) -> CK_RV { return 0x54; };
  Java_velnor_nat_NativeSlot_J_1OpenSession__I(jni, slot, 6);
  pC_SetCallBack = nullptr;
  ASSERT_EQ(heard().size(), 3U);
  EXPECT_EQ(heard()[1].text, "C_SetCallBack");
  EXPECT_EQ(heard()[1].Rv, 0x54U);
  EXPECT_EQ(env.pending(), "");
}

TEST_F(LogHookTest, HearsTheConversionOfEachKindOfAttribute) {
  CK_ULONG number = 7;
  for (const CK_ATTRIBUTE_TYPE type : {CKA_CLASS, CKA_TOKEN, CKA_LABEL}) {
    CkAttribute2Pkcs11Attribute(jni, {type, &number, 1});
    EXPECT_EQ(takeHeard().size(), 2U) << type;
  }
}

}  // namespace
