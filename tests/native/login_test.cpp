/// Logging in and out, closing a session, and what a session says of itself.
#include "method_path.h"

namespace {

using SessionMethod = void(JNICALL*)(JNIEnv*, jobject);

/// A method that takes the session alone and hands its handle to one entry of the module.
MethodPath plainPath(const std::string& name, SessionMethod method, const std::string& moduleCall,
                     std::function<void(PathTest&)> before = nullptr) {
  return {name,
          name,
          [method](PathTest& t) -> jobject {
            method(t.jni, t.session);
            return nullptr;
          },
          "null",
          sessionThen({{moduleCall, "", ""}}),
          std::move(before)};
}

void logIn(PathTest&) {
  CK_UTF8CHAR pin[] = {'1', '2', '3', '4'};
  functionList->C_Login(0x5E51, CKU_USER, pin, sizeof pin);
}

std::vector<MethodPath> loginPaths() {
  return {
      {"J_Login", "J_Login",
       [](PathTest& t) -> jobject {
         Java_velnor_nat_NativeSession_J_1Login(t.jni, t.session, CKU_USER, t.env.string("pin", "1234"));
         return nullptr;
       },
       "null",
       sessionThen({
           {"GetStringUTFChars pin", "Pin is NULL", "ReleaseStringUTFChars pin"},
           {"GetStringUTFLength pin", "invalid pPinLen (0)", ""},
           {"C_Login session=0x5E51 userType=0x1 pin=\"1234\" -> CKR_OK", "", ""},
       })},
      plainPath("J_Logout", Java_velnor_nat_NativeSession_J_1Logout, "C_Logout session=0x5E51 -> CKR_OK", logIn),
      plainPath("J_CloseSession", Java_velnor_nat_NativeSession_J_1CloseSession,
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

INSTANTIATE_METHOD_PATHS(Login, loginPaths());

// --- J_Login ---------------------------------------------------------------------------------------------------------

class LoginTest : public NativeTest {
protected:
  void login(jbyte userType, jstring pin) { Java_velnor_nat_NativeSession_J_1Login(jni, session, userType, pin); }
};

TEST_F(LoginTest, ReportsANullPinWithoutAskingForItsCharacters) {
  login(CKU_USER, nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    report "J_Login" 5 "Pin is NULL"
  )");
}

// An empty PIN means "ask at the reader" to some modules and "no PIN" to others; nobody gets there by accident.
TEST_F(LoginTest, RefusesAnEmptyPinAndGivesItsCharactersBack) {
  login(CKU_USER, env.string("pin", ""));
  EXPECT_TRACE(R"-(
    sessionOf session
    GetStringUTFChars pin
    GetStringUTFLength pin
    report "J_Login" 5 "invalid pPinLen (0)"
    ReleaseStringUTFChars pin
  )-");
}

// Opening with a PIN accepts this answer; who logs in by name wants to know that somebody was there before.
TEST_F(LoginTest, ReportsThatTheUserIsAlreadyLoggedIn) {
  login(CKU_USER, env.string("pin", "1234"));
  EXPECT_EQ(env.pending(), "");
  env.clear();
  login(CKU_USER, env.string("pin", "1234"));
  EXPECT_TRACE(R"(
    sessionOf session
    GetStringUTFChars pin
    GetStringUTFLength pin
    C_Login session=0x5E51 userType=0x1 pin="1234" -> CKR_USER_ALREADY_LOGGED_IN
    report "J_Login" 0x100
    ReleaseStringUTFChars pin
  )");
}

TEST_F(LoginTest, HandsOnBytesOfModifiedUtf8AndTheirCount) {
  module.answer("C_Login CKR_OK");
  login(CKU_USER, env.string("pin", std::u16string(u"\u00e9\u20ac\0a", 4)));
  EXPECT_EQ(env.pending(), "");
  EXPECT_MODULE_TRACE("C_Login session=0x5E51 userType=0x1 pin=C3A9E282ACC08061 -> CKR_OK");
}

TEST_F(LoginTest, WidensTheUserTypeBySign) {
  for (const auto& [type, seen] :
       {std::pair{jbyte{0}, "0x0"}, std::pair{jbyte{2}, "0x2"}, std::pair{jbyte{127}, "0x7F"},
        std::pair{jbyte{-1}, "0xFFFFFFFFFFFFFFFF"}, std::pair{jbyte{-128}, "0xFFFFFFFFFFFFFF80"}}) {
    module.answer("C_Login CKR_OK");
    login(type, env.string("pin", "1234"));
    EXPECT_EQ(takeModuleTrace(), std::string("C_Login session=0x5E51 userType=") + seen + " pin=\"1234\" -> CKR_OK\n");
  }
}

TEST_F(LoginTest, TellsAWrongPin) {
  login(CKU_SO, env.string("pin", "1234"));
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_Login\", 160, \"PIN INCORRECT                     \")");
}

// --- J_Logout and J_CloseSession -------------------------------------------------------------------------------------

TEST_F(LoginTest, LogsOutOnlyWhoIsLoggedIn) {
  Java_velnor_nat_NativeSession_J_1Logout(jni, session);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_Logout\", 257, \"USER NOT LOGGED IN                \")");
}

TEST_F(LoginTest, LeavesTheJavaObjectOfAClosedSessionWithItsHandle) {
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

INSTANTIATE_TEST_SUITE_P(Login, SessionNumberTest,
                         ::testing::Values(InfoNumber{"slotID", "", ", 2, 6, 1504"},
                                           InfoNumber{"state", "17, ", ", 6, 1504"},
                                           InfoNumber{"flags", "17, 2, ", ", 1504"},
                                           InfoNumber{"ulDeviceError", "17, 2, 6, ", ""}),
                         [](const auto& tested) { return std::string(tested.param.field); });

}  // namespace
