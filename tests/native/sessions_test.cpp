/// Opening and closing sessions, what a session says of itself, and which session a Java object stands for.
#include "lookups.h"
#include "method_path.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr jint kReadWrite = CKF_SERIAL_SESSION | CKF_RW_SESSION;

const std::string kOpened = "C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x5E52";

/// All look-ups come before the module is asked, so that a broken class path never leaves a session open.
std::vector<Step> openingThen(const std::vector<Step>& rest) {
  std::vector<Step> steps = {
      {"FindClass velnor/nat/NativeSession", "Class 'velnor/nat/NativeSession' not found", ""},
      {"FindClass velnor/nat/NativeSlot", "Class 'velnor/nat/NativeSlot' not found", ""},
      {"GetMethodID velnor/nat/NativeSession <init> (Lvelnor/Slot;I)V", "NativeSession constructor not found", ""},
      {"GetFieldID velnor/nat/NativeSlot m_slotID I", "m_slotID field not found", ""},
      {"GetIntField slot m_slotID", "", ""},
      {kOpened, "", ""},
  };
  steps.insert(steps.end(), rest.begin(), rest.end());
  steps.push_back({"NewObject velnor/nat/NativeSession (slot, 24146)", "NativeSession object is NULL", ""});
  return steps;
}

jobject openAndLogIn(PathTest& t, jstring pin) {
  return Java_velnor_nat_NativeSlot_J_1OpenSession__IBLjava_lang_String_2(t.jni, t.slot, kReadWrite, CKU_USER, pin);
}

std::vector<MethodPath> sessionPaths() {
  return {
      {"J_OpenSession", "J_OpenSession",
       [](PathTest& t) { return Java_velnor_nat_NativeSlot_J_1OpenSession__I(t.jni, t.slot, kReadWrite); },
       "NativeSession(slot, 24146)", openingThen({})},
      // The characters are given back on every way out, also when none were ever borrowed: JVMs do not mind.
      {"J_OpenSessionWithPin", "J_OpenSession",
       [](PathTest& t) { return openAndLogIn(t, t.env.string("pin", "1234")); }, "NativeSession(slot, 24146)",
       openingThen({
           {"GetStringUTFLength pin", "", ""},
           {"GetStringUTFChars pin", "Pin is NULL", "ReleaseStringUTFChars pin"},
           {"C_Login session=0x5E52 userType=0x1 pin=\"1234\" -> CKR_OK", "", ""},
       }),
       nullptr, "ReleaseStringUTFChars pin characters=null"},
      {"J_OpenSessionWithEmptyPin", "J_OpenSession",
       [](PathTest& t) { return openAndLogIn(t, t.env.string("pin", "")); }, "NativeSession(slot, 24146)",
       openingThen({{"GetStringUTFLength pin", "", ""}}), nullptr, "ReleaseStringUTFChars pin characters=null"},
      {"J_OpenSessionWithoutPin", "J_OpenSession", [](PathTest& t) { return openAndLogIn(t, nullptr); },
       "NativeSession(slot, 24146)", openingThen({})},
      {"J_CloseAllSessions",
       "J_CloseAllSessions",
       [](PathTest& t) -> jobject {
         Java_velnor_nat_NativeSlot_J_1CloseAllSessions(t.jni, t.slot);
         return nullptr;
       },
       "null",
       {
           {"FindClass velnor/nat/NativeSlot", "Class 'velnor/nat/NativeSlot' not found", ""},
           // Not the words in which J_OpenSession misses the same field; callers match both.
           {"GetFieldID velnor/nat/NativeSlot m_slotID I", "Field m_slotID not found", ""},
           {"GetIntField slot m_slotID", "", ""},
           {"C_CloseAllSessions slot=0x11 -> CKR_OK", "", ""},
       }},
      sessionPath("J_CloseSession", Java_velnor_nat_NativeSession_J_1CloseSession,
                  "C_CloseSession session=0x5E51 -> CKR_OK"),
      {"J_GetSessionInfo", "J_GetSessionInfo",
       [](PathTest& t) { return Java_velnor_nat_NativeSession_J_1GetSessionInfo(t.jni, t.session); },
       "SessionInfo(17, 2, 6, 1504)",
       sessionThen({
           {"FindClass velnor/SessionInfo", "Class 'velnor/SessionInfo' not found", ""},
           {"GetMethodID velnor/SessionInfo <init> (IIII)V", "SessionInfo constructor not found", ""},
           {"C_GetSessionInfo session=0x5E51 info=non-null -> CKR_OK", "", ""},
           {"NewObject velnor/SessionInfo (17, 2, 6, 1504)", "SessionInfo object is NULL", ""},
       })},
  };
}

INSTANTIATE_METHOD_PATHS(Sessions, sessionPaths());

// --- What both overloads have in common ------------------------------------------------------------------------------

class OpeningTest : public NativeTest {
protected:
  OpeningTest() { std::memset(g_SignerPin, 'p', sizeof g_SignerPin); }

  jobject open(jint flags = kReadWrite) { return Java_velnor_nat_NativeSlot_J_1OpenSession__I(jni, slot, flags); }
  jobject open(jbyte userType, jstring pin) {
    return Java_velnor_nat_NativeSlot_J_1OpenSession__IBLjava_lang_String_2(jni, slot, kReadWrite, userType, pin);
  }
  jobject openAsUser() { return open(CKU_USER, env.string("pin", "1234")); }

  static std::string signerPin() { return std::string(reinterpret_cast<const char*>(g_SignerPin), sizeof g_SignerPin); }
  static inline const std::string kStalePin = std::string(20, 'p');
  static inline const std::string kNoPin = std::string(20, '\0');
};

/// Both overloads, told apart by their name only.
class EitherOverloadTest : public OpeningTest, public ::testing::WithParamInterface<const char*> {
protected:
  jobject openEither() { return GetParam() == std::string("WithPin") ? openAsUser() : open(); }
};

INSTANTIATE_TEST_SUITE_P(Sessions, EitherOverloadTest, ::testing::Values("Plain", "WithPin"),
                         [](const auto& tested) { return tested.param; });

TEST_P(EitherOverloadTest, EmptiesTheSignerPinOfTheWholeProcess) {
  EXPECT_NE(openEither(), nullptr);
  EXPECT_EQ(signerPin(), kNoPin);
}

TEST_P(EitherOverloadTest, KeepsTheSignerPinWhenNoSessionWasOpened) {
  module.answer("C_OpenSession CKR_SESSION_COUNT");
  EXPECT_EQ(openEither(), nullptr);
  EXPECT_EQ(signerPin(), kStalePin);
}

TEST_P(EitherOverloadTest, EmptiesTheSignerPinBeforeTheJavaObjectIsMade) {
  env.failNext("NewObject");
  EXPECT_EQ(openEither(), nullptr);
  EXPECT_EQ(env.pending(), R"(CryptokiException("J_OpenSession", 5, "NativeSession object is NULL"))");
  EXPECT_EQ(signerPin(), kNoPin);
}

// The module has opened it and nobody knows its handle: only closing all sessions of the slot reclaims it.
TEST_P(EitherOverloadTest, LeavesASessionOpenForWhichNoJavaObjectCouldBeMade) {
  env.failNext("NewObject");
  openEither();
  EXPECT_EQ(takeModuleTrace().find("C_CloseSession"), std::string::npos);
  CK_SESSION_INFO info = {};
  EXPECT_EQ(functionList->C_GetSessionInfo(0x5E52, &info), CKR_OK);
}

TEST_P(EitherOverloadTest, CutsTheHandleTo32BitsWithoutAReport) {
  for (const auto& [handle, shown] :
       {std::pair{"0x7FFFFFFF", "2147483647"}, std::pair{"0x80000000", "-2147483648"}, std::pair{"0x100000001", "1"},
        std::pair{"0xFFFFFFFF80000007", "-2147483641"}, std::pair{"0", "0"}}) {
    module.answer(std::string("C_OpenSession handle=") + handle);
    if (GetParam() == std::string("WithPin")) {
      module.answer("C_Login CKR_OK");
    }
    EXPECT_EQ(env.show(openEither()), std::string("NativeSession(slot, ") + shown + ")");
    EXPECT_EQ(env.pending(), "");
  }
}

TEST_P(EitherOverloadTest, MakesNoObjectOfAHandleThatAFailingModuleLeftBehind) {
  module.answer("C_OpenSession CKR_DEVICE_ERROR handle=0x77");
  EXPECT_EQ(openEither(), nullptr);
  EXPECT_EQ(env.calls("NewObject"), 3) << "two texts and an exception";
}

class CallbackTest : public UnboundTest {
protected:
  jobject slot = env.slot("slot", 0x11);

  jobject open() { return Java_velnor_nat_NativeSlot_J_1OpenSession__I(jni, slot, kReadWrite); }
  jobject openAsUser() {
    return Java_velnor_nat_NativeSlot_J_1OpenSession__IBLjava_lang_String_2(jni, slot, kReadWrite, CKU_USER,
                                                                            env.string("pin", "1234"));
  }
  void bind(ScriptedModule& bound) {
    load(bound.path());
    initialize();
    bound.clearJournal();
  }
};

TEST_F(CallbackTest, IsRegisteredAnewByEveryOpen) {
  ScriptedModule sissp11(modules::kSissp11);
  bind(sissp11);
  EXPECT_EQ(env.show(open()), "NativeSession(slot, 24145)");
  EXPECT_EQ(env.show(openAsUser()), "NativeSession(slot, 24146)");
  EXPECT_EQ(sissp11.journal(),
            "C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x5E51\n"
            "C_SetCallBack kind=0 callback=non-null -> CKR_OK\n"
            "C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x5E52\n"
            "C_SetCallBack kind=0 callback=non-null -> CKR_OK\n"
            "C_Login session=0x5E52 userType=0x1 pin=\"1234\" -> CKR_OK\n");
  EXPECT_EQ(sissp11.callback(), reinterpret_cast<void*>(&GetPIN));
}

TEST_F(CallbackTest, IsNotRegisteredWhenNoSessionWasOpened) {
  ScriptedModule sissp11(modules::kSissp11);
  bind(sissp11);
  sissp11.answer("C_OpenSession CKR_SESSION_COUNT");
  EXPECT_EQ(open(), nullptr);
  EXPECT_EQ(sissp11.callback(), nullptr);
}

// A card without the service signs without a callback, so its refusal is no reason to refuse the session.
TEST_F(CallbackTest, IsNotMissedByAModuleThatRefusesIt) {
  ScriptedModule sissp11(modules::kSissp11FailingCallback);
  bind(sissp11);
  EXPECT_EQ(env.show(open()), "NativeSession(slot, 24145)");
  EXPECT_EQ(env.show(openAsUser()), "NativeSession(slot, 24146)");
  EXPECT_EQ(env.pending(), "");
  EXPECT_NE(sissp11.journal().find("C_SetCallBack kind=0 callback=non-null -> CKR_FUNCTION_FAILED"), std::string::npos);
}

TEST_F(CallbackTest, StaysWhenAllSessionsAreClosed) {
  ScriptedModule sissp11(modules::kSissp11);
  bind(sissp11);
  open();
  std::memset(g_SignerPin, 'p', sizeof g_SignerPin);
  Java_velnor_nat_NativeSlot_J_1CloseAllSessions(jni, slot);
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRUE(std::all_of(std::begin(g_SignerPin), std::end(g_SignerPin), [](CK_BYTE c) { return c == 'p'; }));
  EXPECT_EQ(sissp11.callback(), reinterpret_cast<void*>(&GetPIN));
}

// What a vendor entry sees when it is called: the session is open, the signer PIN is gone, no Java object is made yet.
// It is also free to put a PIN there.
jvm::RecordingEnv* noted = nullptr;

CK_RV noteCallback(CK_LONG kind, CK_VOID_PTR callback) {
  const bool empty = std::all_of(std::begin(g_SignerPin), std::end(g_SignerPin), [](CK_BYTE c) { return c == 0; });
  noted->note("callback kind=" + std::to_string(kind) +
              (callback == reinterpret_cast<void*>(&GetPIN) ? " GetPIN" : "") + (empty ? " signer PIN empty" : ""));
  g_SignerPin[0] = 'v';
  return CKR_FUNCTION_FAILED;
}

TEST_P(EitherOverloadTest, RegistersTheCallbackBetweenTheOpenAndAllThatFollows) {
  noted = &env;
  pC_SetCallBack = noteCallback;
  EXPECT_NE(openEither(), nullptr);
  const std::string trace = takeTrace();
  const std::string follows = GetParam() == std::string("WithPin") ? "GetStringUTFLength pin" : "NewObject";
  EXPECT_NE(trace.find(kOpened + "\ncallback kind=0 GetPIN signer PIN empty\n" + follows), std::string::npos) << trace;
  EXPECT_EQ(g_SignerPin[0], 'v') << "what the entry put there was lost";
}

// --- J_OpenSession (int) ---------------------------------------------------------------------------------------------

// The flags are the caller's whole affair: a serial session is what everybody wants, and nobody gets it unasked.
TEST_F(OpeningTest, AddsNoFlag) {
  EXPECT_EQ(open(0), nullptr);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_OpenSession\", 180, \"SESSION PARALLEL NOT SUPPORTED    \")");
  EXPECT_MODULE_TRACE(R"(
    C_OpenSession slot=0x11 flags=0x0 application=null notify=null -> CKR_SESSION_PARALLEL_NOT_SUPPORTED
  )");
}

TEST_F(OpeningTest, WidensTheFlagsBySign) {
  for (const auto& [flags, seen] : {std::pair{-1, "0xFFFFFFFFFFFFFFFF"}, std::pair{INT32_MIN, "0xFFFFFFFF80000000"},
                                    std::pair{INT32_MAX, "0x7FFFFFFF"}}) {
    module.answer("C_OpenSession CKR_SESSION_COUNT");
    EXPECT_EQ(open(flags), nullptr);
    EXPECT_EQ(takeModuleTrace(), std::string("C_OpenSession slot=0x11 flags=") + seen +
                                     " application=null notify=null -> CKR_SESSION_COUNT\n");
  }
}

TEST_F(OpeningTest, GivesAnObjectFromWhichTheSessionIsReadBack) {
  module.answer("C_OpenSession handle=0xFFFFFFFF80000007");
  EXPECT_EQ(getSessionHandle(jni, open()), 0xFFFFFFFF80000007U);
}

// --- J_OpenSession (int, byte, String) -------------------------------------------------------------------------------

// An application that opens its sessions one by one with the PIN is logged in after the first.
TEST_F(OpeningTest, AcceptsThatTheUserIsAlreadyLoggedIn) {
  EXPECT_NE(openAsUser(), nullptr);
  env.clear();
  EXPECT_EQ(env.show(openAsUser()), "NativeSession(slot, 24147)");
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(R"(
    FindClass velnor/nat/NativeSession
    FindClass velnor/nat/NativeSlot
    GetMethodID velnor/nat/NativeSession <init> (Lvelnor/Slot;I)V
    GetFieldID velnor/nat/NativeSlot m_slotID I
    GetIntField slot m_slotID
    C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x5E53
    GetStringUTFLength pin
    GetStringUTFChars pin
    C_Login session=0x5E53 userType=0x1 pin="1234" -> CKR_USER_ALREADY_LOGGED_IN
    NewObject velnor/nat/NativeSession (slot, 24147)
    ReleaseStringUTFChars pin
  )");
}

TEST_F(OpeningTest, AcceptsNoOtherLogin) {
  for (const char* const answer :
       {"CKR_USER_ANOTHER_ALREADY_LOGGED_IN", "CKR_USER_PIN_NOT_INITIALIZED", "0x100000100"}) {
    module.answer(std::string("C_Login ") + answer);
    EXPECT_EQ(openAsUser(), nullptr) << answer;
  }
}

TEST_F(OpeningTest, LeavesTheSessionOpenWhenThePinIsWrong) {
  EXPECT_EQ(open(CKU_USER, env.string("pin", "wrong")), nullptr);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_OpenSession\", 160, \"PIN INCORRECT                     \")");
  EXPECT_MODULE_TRACE(R"(
    C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x5E52
    C_Login session=0x5E52 userType=0x1 pin="wrong" -> CKR_PIN_INCORRECT
  )");
  CK_SESSION_INFO info = {};
  EXPECT_EQ(functionList->C_GetSessionInfo(0x5E52, &info), CKR_OK);
}

TEST_F(OpeningTest, LeavesTheSessionOpenWhenThePinsCharactersAreRefused) {
  env.failNext("GetStringUTFChars");
  EXPECT_EQ(openAsUser(), nullptr);
  EXPECT_EQ(env.pending(), R"(CryptokiException("J_OpenSession", 5, "Pin is NULL"))");
  EXPECT_MODULE_TRACE("C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x5E52");
}

TEST_F(OpeningTest, IgnoresTheUserTypeWithoutAPin) {
  EXPECT_NE(open(77, nullptr), nullptr);
  EXPECT_NE(open(-1, env.string("pin", "")), nullptr);
  EXPECT_EQ(env.pending(), "");
}

TEST_F(OpeningTest, WidensTheUserTypeBySign) {
  for (const auto& [type, seen] :
       {std::pair{jbyte{0}, "0x0"}, std::pair{jbyte{2}, "0x2"}, std::pair{jbyte{-1}, "0xFFFFFFFFFFFFFFFF"},
        std::pair{jbyte{-128}, "0xFFFFFFFFFFFFFF80"}}) {
    module.answer("C_OpenSession handle=7");
    module.answer("C_Login CKR_OK");
    EXPECT_NE(open(type, env.string("pin", "1234")), nullptr);
    EXPECT_EQ(takeModuleTrace(), "C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x7\n"
                                 "C_Login session=0x7 userType=" +
                                     std::string(seen) + " pin=\"1234\" -> CKR_OK\n");
  }
}

TEST_F(OpeningTest, LogsInWithTheModulesWholeHandle) {
  module.answer("C_OpenSession handle=0x100000001");
  EXPECT_EQ(env.show(openAsUser()), "NativeSession(slot, 1)");
  EXPECT_MODULE_TRACE(R"(
    C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x100000001
    C_Login session=0x100000001 userType=0x1 pin="1234" -> CKR_OK
  )");
}

TEST_F(OpeningTest, HasHandleZeroWhenTheModuleNamesNone) {
  module.answer("C_OpenSession CKR_OK");
  EXPECT_EQ(env.show(open()), "NativeSession(slot, 0)");
}

TEST_F(OpeningTest, OneCharacterIsAPin) {
  module.answer("C_Login CKR_PIN_INCORRECT");
  EXPECT_EQ(open(CKU_USER, env.string("pin", "1")), nullptr);
  EXPECT_MODULE_TRACE(R"(
    C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x5E52
    C_Login session=0x5E52 userType=0x1 pin="1" -> CKR_PIN_INCORRECT
  )");
}

TEST_F(OpeningTest, MeasuresThePinInBytesOfModifiedUtf8) {
  module.answer("C_Login CKR_OK");
  EXPECT_NE(open(CKU_USER, env.string("pin", std::u16string(u"\u00e9\u20ac\0a", 4))), nullptr);
  EXPECT_MODULE_TRACE(R"(
    C_OpenSession slot=0x11 flags=0x6 application=null notify=null -> CKR_OK handle=0x5E52
    C_Login session=0x5E52 userType=0x1 pin=C3A9E282ACC08061 -> CKR_OK
  )");
}

// --- J_CloseSession --------------------------------------------------------------------------------------------------

TEST_F(OpeningTest, LeavesTheJavaObjectOfAClosedSessionWithItsHandle) {
  Java_velnor_nat_NativeSession_J_1CloseSession(jni, session);
  EXPECT_EQ(env.pending(), "");
  env.clear();
  Java_velnor_nat_NativeSession_J_1CloseSession(jni, session);
  EXPECT_TRACE(R"(
    sessionOf session
    C_CloseSession session=0x5E51 -> CKR_SESSION_HANDLE_INVALID
    report "J_CloseSession" 0xB3
  )");
}

// --- J_CloseAllSessions ----------------------------------------------------------------------------------------------

TEST_F(OpeningTest, ClosesAllSessionsOfASlotThatHasNone) {
  for (int i = 0; i < 2; ++i) {
    Java_velnor_nat_NativeSlot_J_1CloseAllSessions(jni, slot);
    EXPECT_EQ(env.pending(), "");
  }
  EXPECT_EQ(signerPin(), kStalePin);
}

TEST_F(OpeningTest, LeavesTheJavaObjectsOfClosedSessionsAsTheyAre) {
  const jobject opened = open();
  Java_velnor_nat_NativeSlot_J_1CloseAllSessions(jni, slot);
  EXPECT_EQ(getSessionHandle(jni, opened), 0x5E52U);
  Java_velnor_nat_NativeSession_J_1Logout(jni, opened);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_Logout\", 179, \"SESSION HANDLE INVALID            \")");
}

// --- J_GetSessionInfo ------------------------------------------------------------------------------------------------

class SessionInfoTest : public NativeTest {
protected:
  jobject getSessionInfo() { return Java_velnor_nat_NativeSession_J_1GetSessionInfo(jni, session); }
};

TEST_F(SessionInfoTest, HandsOnWhatTheModuleSays) {
  module.answer("C_GetSessionInfo slotID=1 state=3 flags=6 ulDeviceError=9");
  EXPECT_EQ(env.show(getSessionInfo()), "SessionInfo(1, 3, 6, 9)");
}

struct InfoNumber {
  const char* field;
  const char* before;
  const char* after;
};

class SessionNumberTest : public SessionInfoTest, public ::testing::WithParamInterface<InfoNumber> {
protected:
  void isShownAs(const std::string& number, const std::string& shown) {
    SCOPED_TRACE(number);
    const auto& [field, before, after] = GetParam();
    module.answer(std::string("C_GetSessionInfo ") + field + "=" + number);
    EXPECT_EQ(env.show(getSessionInfo()), "SessionInfo(" + std::string(before) + shown + after + ")");
  }
};

TEST_P(SessionNumberTest, ArrivesInItsPlace) {
  isShownAs("0x7FFFFFFF", "2147483647");
  isShownAs("-1", "-1");
  isShownAs("-2147483648", "-2147483648");
  EXPECT_EQ(env.pending(), "");
}

TEST_P(SessionNumberTest, IsReportedWhenNoJavaIntHoldsItBeforeTheObjectIsMadeOfItsLowHalf) {
  isShownAs("0x80000001", "-2147483647");
  EXPECT_EQ(env.pending(), kTooWide);
  const std::string trace = takeTrace();
  EXPECT_LT(trace.find("report \"Check64BitLen\""), trace.find("NewObject velnor/SessionInfo"));
  isShownAs("0x100000003", "3");
  isShownAs("-2147483649", "2147483647");
  EXPECT_EQ(env.thrown(), std::vector<std::string>(3, kTooWide));
}

INSTANTIATE_TEST_SUITE_P(Sessions, SessionNumberTest,
                         ::testing::Values(InfoNumber{"slotID", "", ", 2, 6, 1504"},
                                           InfoNumber{"state", "17, ", ", 6, 1504"},
                                           InfoNumber{"flags", "17, 2, ", ", 1504"},
                                           InfoNumber{"ulDeviceError", "17, 2, 6, ", ""}),
                         [](const auto& tested) { return std::string(tested.param.field); });

}  // namespace
