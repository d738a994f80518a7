/// Initialising a token, and setting and changing PINs.
#include "method_path.h"

namespace {

const std::string kLabel = "A label of exactly 32 characters";

void closeSessions(PathTest&) {
  functionList->C_CloseAllSessions(0x11);
}

void logInAsSo(PathTest&) {
  CK_UTF8CHAR pin[] = {'8', '7', '6', '5', '4', '3', '2', '1'};
  functionList->C_Login(0x5E51, CKU_SO, pin, sizeof pin);
}

std::vector<MethodPath> administrationPaths() {
  return {
      {"J_InitToken", "J_InitToken",
       [](PathTest& t) -> jobject {
         Java_velnor_nat_NativeSlot_J_1InitToken(t.jni, t.slot, t.env.string("soPin", "87654321"),
                                                 t.env.string("label", kLabel));
         return nullptr;
       },
       "null",
       std::vector<Step>{
           {"FindClass velnor/nat/NativeSlot", "Class 'velnor/nat/NativeSlot' not found", ""},
           {"GetFieldID velnor/nat/NativeSlot m_slotID I", "Field m_slotID not found", ""},
           {"GetIntField slot m_slotID", "", ""},
           {"GetStringUTFChars soPin", "pSOPin is NULL", "ReleaseStringUTFChars soPin"},
           // Without the "p" of the other length texts.
           {"GetStringUTFLength soPin", "SOPinLen = 0", ""},
           {"GetStringUTFChars label", "pTokenLabel is NULL", "ReleaseStringUTFChars label"},
           {"C_InitToken slot=0x11 pin=\"87654321\" label=\"" + kLabel + "\" -> CKR_OK", "", ""},
       },
       closeSessions},
      {"J_InitPIN", "J_InitPIN",
       [](PathTest& t) -> jobject {
         Java_velnor_nat_NativeSession_J_1InitPIN(t.jni, t.session, t.env.string("pin", "9999"));
         return nullptr;
       },
       "null",
       sessionThen({
           {"GetStringUTFChars pin", "pPin is NULL", "ReleaseStringUTFChars pin"},
           {"GetStringUTFLength pin", "pPinLen = 0", ""},
           {"C_InitPIN session=0x5E51 pin=\"9999\" -> CKR_OK", "", ""},
       }),
       logInAsSo},
      {"J_SetPIN", "J_SetPIN",
       [](PathTest& t) -> jobject {
         Java_velnor_nat_NativeSession_J_1SetPIN(t.jni, t.session, t.env.string("oldPin", "1234"),
                                                 t.env.string("newPin", "56789"));
         return nullptr;
       },
       "null",
       sessionThen({
           {"GetStringUTFChars oldPin", "pOldPin is NULL", "ReleaseStringUTFChars oldPin"},
           {"GetStringUTFLength oldPin", "pOldPinLen = 0", ""},
           {"GetStringUTFChars newPin", "pNewPin is NULL", "ReleaseStringUTFChars newPin"},
           {"GetStringUTFLength newPin", "pNewPinLen = 0", ""},
           {"C_SetPIN session=0x5E51 oldPin=\"1234\" newPin=\"56789\" -> CKR_OK", "", ""},
       })},
  };
}

INSTANTIATE_METHOD_PATHS(Administration, administrationPaths());

class AdministrationTest : public NativeTest {
protected:
  void initToken(jstring jSOPin, jstring jTokenlabel) {
    Java_velnor_nat_NativeSlot_J_1InitToken(jni, slot, jSOPin, jTokenlabel);
  }
  void initPin(jstring pin) { Java_velnor_nat_NativeSession_J_1InitPIN(jni, session, pin); }
  void setPin(jstring jOldPin, jstring jNewPin) {
    Java_velnor_nat_NativeSession_J_1SetPIN(jni, session, jOldPin, jNewPin);
  }

  jstring soPin = env.string("soPin", "87654321");
  jstring oldPin = env.string("oldPin", "1234");
  jstring newPin = env.string("newPin", "56789");
  jstring empty = env.string("empty", "");
};

// --- Null strings: each is reported as missing, in its place, and the JVM is not asked for what would kill it
// ----------

TEST_F(AdministrationTest, ReportsANullSoPinBeforeTheLabelIsLookedAt) {
  initToken(nullptr, env.string("label", kLabel));
  EXPECT_TRACE(R"(
    FindClass velnor/nat/NativeSlot
    GetFieldID velnor/nat/NativeSlot m_slotID I
    GetIntField slot m_slotID
    report "J_InitToken" 5 "pSOPin is NULL"
  )");
}

TEST_F(AdministrationTest, ReportsANullLabelAndGivesTheSoPinBack) {
  initToken(soPin, nullptr);
  EXPECT_TRACE(R"(
    FindClass velnor/nat/NativeSlot
    GetFieldID velnor/nat/NativeSlot m_slotID I
    GetIntField slot m_slotID
    GetStringUTFChars soPin
    GetStringUTFLength soPin
    report "J_InitToken" 5 "pTokenLabel is NULL"
    ReleaseStringUTFChars soPin
  )");
}

TEST_F(AdministrationTest, ReportsANullPin) {
  initPin(nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    report "J_InitPIN" 5 "pPin is NULL"
  )");
}

TEST_F(AdministrationTest, ReportsANullOldPinBeforeTheNewOneIsLookedAt) {
  setPin(nullptr, newPin);
  EXPECT_TRACE(R"(
    sessionOf session
    report "J_SetPIN" 5 "pOldPin is NULL"
  )");
}

TEST_F(AdministrationTest, ReportsANullNewPinAndGivesTheOldOneBack) {
  setPin(oldPin, nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    GetStringUTFChars oldPin
    GetStringUTFLength oldPin
    report "J_SetPIN" 5 "pNewPin is NULL"
    ReleaseStringUTFChars oldPin
  )");
}

// --- Empty PINs: refused before a module is asked
// ------------------------------------------------------------------------

TEST_F(AdministrationTest, RefusesAnEmptySoPinBeforeTheLabelIsLookedAt) {
  initToken(empty, nullptr);
  EXPECT_TRACE(R"(
    FindClass velnor/nat/NativeSlot
    GetFieldID velnor/nat/NativeSlot m_slotID I
    GetIntField slot m_slotID
    GetStringUTFChars empty
    GetStringUTFLength empty
    report "J_InitToken" 5 "SOPinLen = 0"
    ReleaseStringUTFChars empty
  )");
}

TEST_F(AdministrationTest, RefusesAnEmptyPin) {
  initPin(empty);
  EXPECT_TRACE(R"(
    sessionOf session
    GetStringUTFChars empty
    GetStringUTFLength empty
    report "J_InitPIN" 5 "pPinLen = 0"
    ReleaseStringUTFChars empty
  )");
}

TEST_F(AdministrationTest, RefusesAnEmptyOldPinBeforeTheNewOneIsLookedAt) {
  setPin(empty, nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    GetStringUTFChars empty
    GetStringUTFLength empty
    report "J_SetPIN" 5 "pOldPinLen = 0"
    ReleaseStringUTFChars empty
  )");
}

TEST_F(AdministrationTest, RefusesAnEmptyNewPinAndGivesBothBackInTheOrderInWhichTheyWereTaken) {
  setPin(oldPin, empty);
  EXPECT_TRACE(R"(
    sessionOf session
    GetStringUTFChars oldPin
    GetStringUTFLength oldPin
    GetStringUTFChars empty
    GetStringUTFLength empty
    report "J_SetPIN" 5 "pNewPinLen = 0"
    ReleaseStringUTFChars oldPin
    ReleaseStringUTFChars empty
  )");
}

// --- The label is always 32 bytes
// --------------------------------------------------------------------------------------

struct LabelCase {
  const char* name;
  std::u16string java;
  std::string seen;
};

class LabelTest : public AdministrationTest, public ::testing::WithParamInterface<LabelCase> {};

TEST_P(LabelTest, ReachesTheModule) {
  module.answer("C_InitToken CKR_OK");
  initToken(soPin, env.string("label", GetParam().java));
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(takeModuleTrace(), "C_InitToken slot=0x11 pin=\"87654321\" label=" + GetParam().seen + " -> CKR_OK\n");
}

std::string repeated(const char* digits, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += digits;
  }
  return result;
}

INSTANTIATE_TEST_SUITE_P(
    Administration, LabelTest,
    ::testing::Values(LabelCase{"Exact", std::u16string(32, u'x'), '"' + std::string(32, 'x') + '"'},
                      LabelCase{"Cut", std::u16string(32, u'x') + u"12345678", '"' + std::string(32, 'x') + '"'},
                      // Nobody reads behind the end of a short one, nor does a token get to see what lies there.
                      LabelCase{"Short", u"Token", "\"Token" + std::string(27, ' ') + '"'},
                      LabelCase{"OneShort", std::u16string(31, u'x'), '"' + std::string(31, 'x') + " \""},
                      LabelCase{"Empty", u"", '"' + std::string(32, ' ') + '"'},
                      LabelCase{"MeasuredInBytes", std::u16string(17, u'\u00e9'), repeated("C3A9", 16)},
                      LabelCase{"CutInsideACharacter", std::u16string(11, u'\u20ac'), repeated("E282AC", 10) + "E282"},
                      // Java's zero has two bytes in this form, so it does not end the label.
                      LabelCase{"WithAZero", std::u16string(u"A\0B", 3), "41C08042" + repeated("20", 28)}),
    [](const auto& tested) { return std::string(tested.param.name); });

// --- What the module sees of a PIN
// -------------------------------------------------------------------------------------

TEST_F(AdministrationTest, HandsOnBytesOfModifiedUtf8AndTheirCount) {
  const std::u16string pin(u"\u00e9\u20ac\0a", 4);
  for (const char* const function : {"C_InitToken", "C_InitPIN", "C_SetPIN"}) {
    module.answer(std::string(function) + " CKR_OK");
  }
  initToken(env.string("soPin", pin), env.string("label", kLabel));
  initPin(env.string("pin", pin));
  setPin(env.string("oldPin", pin), env.string("newPin", pin + u"b"));
  EXPECT_EQ(env.pending(), "");
  EXPECT_MODULE_TRACE(R"(
    C_InitToken slot=0x11 pin=C3A9E282ACC08061 label="A label of exactly 32 characters" -> CKR_OK
    C_InitPIN session=0x5E51 pin=C3A9E282ACC08061 -> CKR_OK
    C_SetPIN session=0x5E51 oldPin=C3A9E282ACC08061 newPin=C3A9E282ACC0806162 -> CKR_OK
  )");
}

TEST_F(AdministrationTest, SaysWhatTheModuleSaysOfATokenInUse) {
  initToken(soPin, env.string("label", kLabel));
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_InitToken\", 182, \"SESSION EXISTS                    \")");
}

}  // namespace
