/// The signer PIN, which works as for the other natives, and the state of these, which stays theirs.
#include "calls.h"
#include "native_test.h"

using namespace functions;

namespace {

constexpr CK_FLAGS kReadWrite = CKF_SERIAL_SESSION | CKF_RW_SESSION;

void fillSignerPin(const std::string& pin) {
  std::memset(g_SignerPin, 0, sizeof g_SignerPin);
  std::memcpy(g_SignerPin, pin.data(), pin.size());
}

class FunctionsSignerPinTest : public FunctionsTest {
protected:
  ~FunctionsSignerPinTest() override { fillSignerPin(""); }

  /// The answer of opening a session on the scripted token of a module that was loaded and initialised.
  jint open(jlong id) { return NATIVE(openSession)(jni, nullptr, id, 0x11, kReadWrite, env.longs("", {7})); }
  jlong initialized(ScriptedModule& module) {
    const jlong id = load(module.path());
    EXPECT_EQ(NATIVE(initialize)(jni, nullptr, id, nullptr), 0);
    module.clearJournal();
    return id;
  }
};

TEST_F(FunctionsSignerPinTest, AModuleOfTheFamilyIsHandedTheCallbackAndNoPin) {
  for (const char* const file : {modules::kSissp11, modules::kSissp11Capitals}) {
    ScriptedModule module(file);
    const jlong id = initialized(module);
    fillSignerPin("stale");
    EXPECT_EQ(open(id), 0);
    EXPECT_EQ(module.journal(),
              "C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x5E51\n"
              "C_SetCallBack kind=0 callback=non-null -> CKR_OK\n");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(g_SignerPin), sizeof g_SignerPin),
              std::string(sizeof g_SignerPin, '\0'));
    fillSignerPin("fresh PIN");
    CK_CHAR pin[32] = {};
    CK_ULONG length = sizeof pin;
    EXPECT_EQ(module.callCallback(pin, &length), CKR_OK);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(pin), length), "fresh PIN");
    EXPECT_EQ(NATIVE(finish)(jni, nullptr, id), 0);
  }
}

TEST_F(FunctionsSignerPinTest, NoOtherModuleIs) {
  for (const char* const file : {modules::kCallbackOtherName, modules::kSissp11NoCallback, modules::kScripted}) {
    ScriptedModule module(file);
    const jlong id = initialized(module);
    fillSignerPin("kept");
    EXPECT_EQ(open(id), 0);
    EXPECT_EQ(module.journal().find("C_SetCallBack"), std::string::npos) << file;
    EXPECT_STREQ(reinterpret_cast<char*>(g_SignerPin), "kept");
    EXPECT_EQ(NATIVE(finish)(jni, nullptr, id), 0);
  }
}

TEST_F(FunctionsSignerPinTest, ASessionThatWasRefusedHasNoCallback) {
  ScriptedModule module(modules::kSissp11);
  const jlong id = initialized(module);
  module.answer("C_OpenSession CKR_DEVICE_ERROR");
  EXPECT_EQ(open(id), jint(CKR_DEVICE_ERROR));
  EXPECT_EQ(module.journal().find("C_SetCallBack"), std::string::npos);
  EXPECT_EQ(NATIVE(finish)(jni, nullptr, id), 0);
}

TEST_F(FunctionsSignerPinTest, AModuleThatRefusesTheCallbackHasItsSession) {
  ScriptedModule module(modules::kSissp11FailingCallback);
  const jlong id = initialized(module);
  EXPECT_EQ(open(id), 0);
  EXPECT_NE(module.journal().find("C_SetCallBack"), std::string::npos);
  EXPECT_EQ(NATIVE(finish)(jni, nullptr, id), 0);
}

TEST_F(FunctionsSignerPinTest, AnExceptionOfTheVendorEntryStaysHere) {
  puppet::Module module(copy(modules::kPuppetWithCallback, "libsissp11"));
  module.list(puppet::functions());
  int called = 0;
  module.callback([&called](CK_LONG, CK_VOID_PTR) -> CK_RV {
    ++called;
    throw 5;
  });
  open(load(module.path()));
  EXPECT_EQ(called, 1);
}

// The other natives have a module of their own, or none.
TEST_F(FunctionsSignerPinTest, TheStateOfTheProcessIsNotTouched) {
  functionList = nullptr;
  hLibModule = nullptr;
  bInitialized = false;
  pC_SetCallBack = nullptr;
  g_bIsSecondAuthenticationRequired = true;
  freeLibrary = 7;
  std::memset(sLibName, 'n', sizeof sLibName);
  std::memset(sLibFullPath, 'p', sizeof sLibFullPath);
  for (const char* const file : {modules::kSissp11, modules::kScripted}) {
    ScriptedModule module(file);
    const jlong id = initialized(module);
    EXPECT_EQ(open(id), 0);
    EXPECT_FALSE(bInitialized);
    EXPECT_EQ(NATIVE(finish)(jni, nullptr, id), 0);
  }
  NATIVE(load)(jni, nullptr, env.bytes("/no/such/module.so"), nullptr);
  EXPECT_EQ(functionList, nullptr);
  EXPECT_EQ(hLibModule, nullptr);
  EXPECT_FALSE(bInitialized);
  EXPECT_EQ(pC_SetCallBack, nullptr);
  EXPECT_TRUE(g_bIsSecondAuthenticationRequired);
  EXPECT_EQ(freeLibrary, 7);
  EXPECT_EQ(std::string(sLibName, sizeof sLibName), std::string(sizeof sLibName, 'n'));
  EXPECT_EQ(std::string(sLibFullPath, sizeof sLibFullPath), std::string(sizeof sLibFullPath, 'p'));
  freeLibrary = 0;
  sLibName[0] = '\0';
  sLibFullPath[0] = '\0';
}

}  // namespace
