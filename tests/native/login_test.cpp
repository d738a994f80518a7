/// Logging in and out.
#include "method_path.h"

namespace {

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
      sessionPath("J_Logout", Java_velnor_nat_NativeSession_J_1Logout, "C_Logout session=0x5E51 -> CKR_OK", logIn),
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

// --- J_Logout --------------------------------------------------------------------------------------------------------

TEST_F(LoginTest, LogsOutOnlyWhoIsLoggedIn) {
  Java_velnor_nat_NativeSession_J_1Logout(jni, session);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_Logout\", 257, \"USER NOT LOGGED IN                \")");
}

}  // namespace
