/// The signer PIN: the callback that hands it out, and its installation when a session is opened.
#include "native_test.h"

#include <cstring>
#include <thread>

namespace {

constexpr CK_ULONG kUntouched = 0xEEEEEEEE;

void fillSignerPin(const std::string& pin) {
  std::memset(g_SignerPin, 0, sizeof g_SignerPin);
  std::memcpy(g_SignerPin, pin.data(), pin.size());
}

// --- GetPIN ----------------------------------------------------------------------------------------------------------

class GetPinTest : public ::testing::TestWithParam<std::string> {
protected:
  ~GetPinTest() override { fillSignerPin(""); }
};

TEST_P(GetPinTest, TellsTheLengthWhenAskedForNothingElse) {
  fillSignerPin(GetParam());
  CK_ULONG length = kUntouched;
  EXPECT_EQ(GetPIN(nullptr, &length), CKR_OK);
  EXPECT_EQ(length, GetParam().size());
}

// Modules ask for the length first and then offer just that many bytes: there is no room for a zero.
TEST_P(GetPinTest, CopiesThePinWithoutATerminatingZero) {
  fillSignerPin(GetParam());
  std::string destination(32, '#');
  CK_ULONG length = kUntouched;
  EXPECT_EQ(GetPIN(reinterpret_cast<CK_CHAR_PTR>(destination.data()), &length), CKR_OK);
  EXPECT_EQ(length, GetParam().size());
  EXPECT_EQ(destination, GetParam() + std::string(32 - GetParam().size(), '#'));
}

TEST_P(GetPinTest, LeavesThePinInPlace) {
  fillSignerPin(GetParam());
  CK_BYTE before[sizeof g_SignerPin];
  std::memcpy(before, g_SignerPin, sizeof before);
  CK_CHAR destination[32];
  CK_ULONG length = 0;
  GetPIN(destination, &length);
  EXPECT_EQ(std::memcmp(before, g_SignerPin, sizeof before), 0);
}

// The last one fills the buffer without a zero; what lies behind the buffer is nobody's PIN.
INSTANTIATE_TEST_SUITE_P(Pins, GetPinTest,
                         ::testing::Values("", "1", "1234", "\xC3\xA9\xFF", "0123456789012345678",
                                           "01234567890123456789"),
                         [](const auto& test) { return "OfLength" + std::to_string(test.param.size()); });

TEST(GetPinOfLengthTest, MeasuresUpToTheFirstZero) {
  using namespace std::string_literals;
  fillSignerPin("12\0"
                "34"s);
  CK_ULONG length = 0;
  GetPIN(nullptr, &length);
  EXPECT_EQ(length, 2U);
  fillSignerPin("\0"
                "1234"s);
  EXPECT_EQ(GetPIN(nullptr, &length), CKR_OK);
  EXPECT_EQ(length, 0U);
  fillSignerPin("");
}

TEST(SignerPinTest, BufferHasTheSizeThatOtherComponentsWriteTo) {
  static_assert(sizeof g_SignerPin == 20);
}

// --- The module's side -----------------------------------------------------------------------------------------------

class SignerPinSessionTest : public UnboundTest {
protected:
  void bind(const char* library) {
    load(library);
    initialize();
    fillSignerPin("1234");
  }
  void openSession() {
    EXPECT_NE(Java_velnor_nat_NativeSlot_J_1OpenSession__I(jni, slot, 6), nullptr);
    EXPECT_EQ(env.pending(), "");
  }
  void openSessionWithPin() {
    EXPECT_NE(Java_velnor_nat_NativeSlot_J_1OpenSession__IBLjava_lang_String_2(jni, slot, 6, 1,
                                                                               env.string("Pin", std::string("1234"))),
              nullptr);
    EXPECT_EQ(env.pending(), "");
  }
  static bool isPinEmpty() {
    constexpr CK_BYTE empty[sizeof g_SignerPin] = {};
    return std::memcmp(g_SignerPin, empty, sizeof empty) == 0;
  }

  jobject slot = env.slot("slot", 0x11);
};

class CallbackModuleTest : public SignerPinSessionTest {
protected:
  CallbackModuleTest() {
    bind(sissp11.path());
    sissp11.clearJournal();
  }

  ScriptedModule sissp11{modules::kSissp11};
};

TEST_F(CallbackModuleTest, IsGivenTheCallbackWithEverySession) {
  for (int i = 0; i < 2; ++i) {
    sissp11.clearJournal();
    openSession();
    EXPECT_NE(sissp11.journal().find("-> CKR_OK handle="), std::string::npos);
    EXPECT_NE(sissp11.journal().find("\nC_SetCallBack kind=0 callback=non-null -> CKR_OK\n"), std::string::npos)
        << sissp11.journal();
    EXPECT_EQ(sissp11.callback(), reinterpret_cast<void*>(&GetPIN));
  }
}

TEST_F(CallbackModuleTest, IsGivenTheCallbackBetweenOpeningAndLogin) {
  openSessionWithPin();
  const std::string journal = sissp11.journal();
  const std::size_t opening = journal.find("C_OpenSession");
  const std::size_t installing = journal.find("C_SetCallBack");
  const std::size_t login = journal.find("C_Login");
  EXPECT_LT(opening, installing) << journal;
  EXPECT_LT(installing, login) << journal;
  EXPECT_NE(login, std::string::npos) << journal;
}

TEST_F(CallbackModuleTest, FindsNoPinAfterASessionWasOpened) {
  openSession();
  CK_ULONG length = kUntouched;
  EXPECT_EQ(sissp11.callCallback(nullptr, &length), CKR_OK);
  EXPECT_EQ(length, 0U);
}

// A module asks on a thread of its own, which no JVM knows.
TEST_F(CallbackModuleTest, IsHandedThePinOnItsOwnThread) {
  openSession();
  fillSignerPin("9876");
  env.clear();
  std::thread([this] {
    CK_ULONG length = 0;
    EXPECT_EQ(sissp11.callCallback(nullptr, &length), CKR_OK);
    ASSERT_EQ(length, 4U);
    CK_CHAR pin[] = "######";
    EXPECT_EQ(sissp11.callCallback(pin, &length), CKR_OK);
    EXPECT_STREQ(reinterpret_cast<const char*>(pin), "9876##");
  }).join();
  EXPECT_TRACE("");
}

TEST_F(CallbackModuleTest, AsksForThePinInTheMiddleOfACall) {
  openSession();
  for (const char* pin : {"9876", ""}) {
    fillSignerPin(pin);
    sissp11.clearJournal();
    sissp11.answer("C_GetInfo asks");
    CK_INFO info;
    EXPECT_EQ(functionList->C_GetInfo(&info), *pin == '\0' ? CKR_PIN_INCORRECT : CKR_OK);
    EXPECT_NE(sissp11.journal().find("signerPin=\"" + std::string(pin) + "\""), std::string::npos) << sissp11.journal();
  }
}

TEST_F(CallbackModuleTest, IsLeftAloneWhenTheSessionIsRefused) {
  sissp11.answer("C_OpenSession CKR_SESSION_COUNT");
  EXPECT_EQ(Java_velnor_nat_NativeSlot_J_1OpenSession__I(jni, slot, 6), nullptr);
  EXPECT_EQ(sissp11.journal().find("C_SetCallBack"), std::string::npos);
  EXPECT_EQ(std::memcmp(g_SignerPin, "1234", 5), 0);
}

// The session is open and the callback in place by then, and both stay.
TEST_F(CallbackModuleTest, KeepsTheCallbackWhenTheJavaSessionCannotBeMade) {
  env.failNext("NewObject");
  EXPECT_EQ(Java_velnor_nat_NativeSlot_J_1OpenSession__I(jni, slot, 6), nullptr);
  EXPECT_EQ(sissp11.callback(), reinterpret_cast<void*>(&GetPIN));
  EXPECT_TRUE(isPinEmpty());
}

struct Seen {
  CK_LONG kind;
  CK_VOID_PTR callback;
  bool pinEmpty;
  int calls;
};

Seen seen;

TEST_F(SignerPinSessionTest, PinIsClearedBeforeTheModuleIsGivenTheCallback) {
  for (const bool withPin : {false, true}) {
    bind(module.path());
    seen = {-1, nullptr, false, 0};
    pC_SetCallBack = [](CK_LONG kind, CK_VOID_PTR callback) -> CK_RV {
      seen = {kind, callback, isPinEmpty(), seen.calls + 1};
      return CKR_OK;
    };
    withPin ? openSessionWithPin() : openSession();
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.kind, 0);
    EXPECT_EQ(seen.callback, reinterpret_cast<CK_VOID_PTR>(&GetPIN));
    EXPECT_TRUE(seen.pinEmpty);
  }
}

TEST_F(SignerPinSessionTest, ModuleThatRefusesTheCallbackOpensSessionsAllTheSame) {
  bind(modules::kSissp11FailingCallback);
  ASSERT_NE(pC_SetCallBack, nullptr);
  openSession();
  openSessionWithPin();
  EXPECT_TRUE(isPinEmpty());
}

class WithoutCallbackTest : public SignerPinSessionTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(WithoutCallbackTest, PinIsClearedWithEverySession) {
  const ScriptedModule scripted(GetParam());
  bind(scripted.path());
  ASSERT_EQ(pC_SetCallBack, nullptr);
  openSession();
  EXPECT_TRUE(isPinEmpty());
  fillSignerPin("01234567890123456789");
  openSessionWithPin();
  EXPECT_TRUE(isPinEmpty());
  EXPECT_EQ(scripted.journal().find("C_SetCallBack"), std::string::npos);
}

// Without the entry, and with an entry that the module's name hides.
INSTANTIATE_TEST_SUITE_P(Modules, WithoutCallbackTest,
                         ::testing::Values(modules::kScripted, modules::kSissp11NoCallback,
                                           modules::kCallbackOtherName),
                         [](const auto& test) { return "Module" + std::to_string(test.index); });

}  // namespace
