/// Which methods call the log hook, and when. The hook of the shipped library does nothing, so this test is linked from
/// the library's own objects with a hook that listens.
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
using Method = std::function<void(JNIEnv*)>;

/// Calls a native method with nothing but zeroes and nulls; a library that is not initialised looks at none of them.
template <typename Result, typename Self, typename... Arguments>
Method method(Result (*native)(JNIEnv*, Self, Arguments...)) {
  return [native](JNIEnv* env) { native(env, Self{}, Arguments{}...); };
}

enum class Hook { None, Entry, EntryAndExit };

struct Row {
  const char* name;
  Method call;
  Hook hook;
};

const Row kRows[] = {
    {"GetInfo", method(Java_velnor_nat_NativeCryptoki_GetInfo), Hook::EntryAndExit},
    {"GetSlotList", method(Java_velnor_nat_NativeCryptoki_GetSlotList), Hook::EntryAndExit},
    {"WaitForSlotEvent", method(Java_velnor_nat_NativeCryptoki_WaitForSlotEvent), Hook::EntryAndExit},
    {"J_GetSlotInfo", method(Java_velnor_nat_NativeSlot_J_1GetSlotInfo), Hook::EntryAndExit},
    {"J_GetTokenInfo", method(Java_velnor_nat_NativeSlot_J_1GetTokenInfo), Hook::EntryAndExit},
    {"J_GetMechanismList", method(Java_velnor_nat_NativeSlot_J_1GetMechanismList), Hook::EntryAndExit},
    {"J_GetMechanismInfo", method(Java_velnor_nat_NativeSlot_J_1GetMechanismInfo), Hook::EntryAndExit},
    {"J_OpenSession", method(Java_velnor_nat_NativeSlot_J_1OpenSession__I), Hook::EntryAndExit},
    {"J_OpenSession", method(Java_velnor_nat_NativeSlot_J_1OpenSession__IBLjava_lang_String_2), Hook::EntryAndExit},
    {"J_CloseAllSessions", method(Java_velnor_nat_NativeSlot_J_1CloseAllSessions), Hook::EntryAndExit},
    {"J_InitToken", method(Java_velnor_nat_NativeSlot_J_1InitToken), Hook::EntryAndExit},
    {"J_Login", method(Java_velnor_nat_NativeSession_J_1Login), Hook::EntryAndExit},
    {"J_Logout", method(Java_velnor_nat_NativeSession_J_1Logout), Hook::EntryAndExit},
    {"J_GetSessionInfo", method(Java_velnor_nat_NativeSession_J_1GetSessionInfo), Hook::EntryAndExit},
    {"J_InitPIN", method(Java_velnor_nat_NativeSession_J_1InitPIN), Hook::Entry},
    {"J_SetPIN", method(Java_velnor_nat_NativeSession_J_1SetPIN), Hook::Entry},
    {"J_GetOperationState", method(Java_velnor_nat_NativeSession_J_1GetOperationState), Hook::None},
    {"J_SetOperationState", method(Java_velnor_nat_NativeSession_J_1SetOperationState), Hook::None},
    {"J_GetFunctionStatus", method(Java_velnor_nat_NativeSession_J_1GetFunctionStatus), Hook::None},
    {"J_CancelFunction", method(Java_velnor_nat_NativeSession_J_1CancelFunction), Hook::None},
    {"J_GenerateRandom", method(Java_velnor_nat_NativeSession_J_1GenerateRandom), Hook::None},
    {"J_CreateObject", method(Java_velnor_nat_NativeSession_J_1CreateObject), Hook::EntryAndExit},
    {"J_CopyObject", method(Java_velnor_nat_NativeSession_J_1CopyObject), Hook::None},
    {"J_DestroyObject", method(Java_velnor_nat_NativeSession_J_1DestroyObject), Hook::EntryAndExit},
    {"J_GetObjectSize", method(Java_velnor_nat_NativeSession_J_1GetObjectSize), Hook::EntryAndExit},
    {"J_GetAttributeValue", method(Java_velnor_nat_NativeSession_J_1GetAttributeValue__JI), Hook::EntryAndExit},
    {"J_GetAttributeValue", method(Java_velnor_nat_NativeSession_J_1GetAttributeValue__J_3I), Hook::EntryAndExit},
    {"J_SetAttributeValue", method(Java_velnor_nat_NativeSession_J_1SetAttributeValue), Hook::EntryAndExit},
    {"J_FindObjects", method(Java_velnor_nat_NativeSession_J_1FindObjects___3Lvelnor_Attribute_2), Hook::EntryAndExit},
    {"J_FindObjects", method(Java_velnor_nat_NativeSession_J_1FindObjects___3Lvelnor_Attribute_2_3I),
     Hook::EntryAndExit},
    {"J_EncryptUpdate", method(Java_velnor_nat_NativeSession_J_1EncryptUpdate__JZLvelnor_Mechanism_2J_3BII),
     Hook::None},
    {"J_EncryptUpdate", method(Java_velnor_nat_NativeSession_J_1EncryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI),
     Hook::None},
    {"J_Encrypt", method(Java_velnor_nat_NativeSession_J_1Encrypt__JZLvelnor_Mechanism_2J_3BII), Hook::None},
    {"J_Encrypt", method(Java_velnor_nat_NativeSession_J_1Encrypt__JZLvelnor_Mechanism_2J_3BII_3BI),
     Hook::EntryAndExit},
    {"J_EncryptFinal", method(Java_velnor_nat_NativeSession_J_1EncryptFinal__), Hook::None},
    {"J_EncryptFinal", method(Java_velnor_nat_NativeSession_J_1EncryptFinal___3BI), Hook::None},
    {"J_DecryptInit", method(Java_velnor_nat_NativeSession_J_1DecryptInit), Hook::None},
    {"J_DecryptUpdate", method(Java_velnor_nat_NativeSession_J_1DecryptUpdate__JZLvelnor_Mechanism_2J_3BII),
     Hook::None},
    {"J_DecryptUpdate", method(Java_velnor_nat_NativeSession_J_1DecryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI),
     Hook::None},
    {"J_Decrypt", method(Java_velnor_nat_NativeSession_J_1Decrypt), Hook::None},
    {"J_DecryptFinal", method(Java_velnor_nat_NativeSession_J_1DecryptFinal__), Hook::None},
    {"J_DecryptFinal", method(Java_velnor_nat_NativeSession_J_1DecryptFinal___3BI), Hook::None},
    {"J_DigestKey", method(Java_velnor_nat_NativeSession_J_1DigestKey), Hook::None},
    {"J_DigestUpdate", method(Java_velnor_nat_NativeSession_J_1DigestUpdate), Hook::None},
    {"J_Digest", method(Java_velnor_nat_NativeSession_J_1Digest__JZLvelnor_Mechanism_2_3BII), Hook::None},
    {"J_Digest", method(Java_velnor_nat_NativeSession_J_1Digest__JZLvelnor_Mechanism_2_3BII_3BI), Hook::None},
    {"J_DigestFinal", method(Java_velnor_nat_NativeSession_J_1DigestFinal__), Hook::None},
    {"J_DigestFinal", method(Java_velnor_nat_NativeSession_J_1DigestFinal___3BI), Hook::None},
    {"J_SignInit", method(Java_velnor_nat_NativeSession_J_1SignInit), Hook::None},
    {"J_SignUpdate", method(Java_velnor_nat_NativeSession_J_1SignUpdate), Hook::EntryAndExit},
    {"J_Sign", method(Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII), Hook::EntryAndExit},
    {"J_Sign", method(Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII_3BI), Hook::EntryAndExit},
    {"J_SignFinal", method(Java_velnor_nat_NativeSession_J_1SignFinal__), Hook::EntryAndExit},
    {"J_SignFinal", method(Java_velnor_nat_NativeSession_J_1SignFinal___3BI), Hook::EntryAndExit},
    {"J_SignRecoverInit", method(Java_velnor_nat_NativeSession_J_1SignRecoverInit), Hook::None},
    {"J_SignRecover", method(Java_velnor_nat_NativeSession_J_1SignRecover___3BII), Hook::None},
    {"J_SignRecover", method(Java_velnor_nat_NativeSession_J_1SignRecover___3BII_3BI), Hook::None},
    {"J_VerifyUpdate", method(Java_velnor_nat_NativeSession_J_1VerifyUpdate), Hook::None},
    {"J_Verify", method(Java_velnor_nat_NativeSession_J_1Verify), Hook::None},
    {"J_VerifyFinal", method(Java_velnor_nat_NativeSession_J_1VerifyFinal), Hook::None},
    {"J_VerifyRecoverInit", method(Java_velnor_nat_NativeSession_J_1VerifyRecoverInit), Hook::None},
    {"J_VerifyRecover", method(Java_velnor_nat_NativeSession_J_1VerifyRecover___3BII), Hook::None},
    {"J_VerifyRecover", method(Java_velnor_nat_NativeSession_J_1VerifyRecover___3BII_3BI), Hook::None},
    {"J_DecryptDigestUpdate", method(Java_velnor_nat_NativeSession_J_1DecryptDigestUpdate), Hook::None},
    {"J_DigestEncryptUpdate", method(Java_velnor_nat_NativeSession_J_1DigestEncryptUpdate), Hook::None},
    {"J_SignEncryptUpdate", method(Java_velnor_nat_NativeSession_J_1SignEncryptUpdate), Hook::None},
    {"J_DecryptVerifyUpdate", method(Java_velnor_nat_NativeSession_J_1DecryptVerifyUpdate), Hook::None},
    {"J_GenerateKey", method(Java_velnor_nat_NativeSession_J_1GenerateKey), Hook::Entry},
    {"J_GenerateKeyPair", method(Java_velnor_nat_NativeSession_J_1GenerateKeyPair), Hook::Entry},
    {"J_WrapKey", method(Java_velnor_nat_NativeSession_J_1WrapKey), Hook::None},
    {"J_UnwrapKey", method(Java_velnor_nat_NativeSession_J_1UnwrapKey), Hook::None},
    {"J_DeriveKey", method(Java_velnor_nat_NativeSession_J_1DeriveKey), Hook::None},
};

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

TEST_F(UnboundLogHookTest, HearsEntryAndExitOfTheMethodsThatCallItAndNothingOfTheOthers) {
  for (const Row& row : kRows) {
    row.call(jni);
    const std::string name = row.name;
    Texts expected;
    if (row.hook != Hook::None) {
      expected.push_back(name + " - entry");
    }
    if (row.hook == Hook::EntryAndExit) {
      expected.push_back(name + " - exit");
    }
    EXPECT_EQ(expected, takeHeard()) << name;
  }
}

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
