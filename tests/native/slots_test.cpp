/// Slot lists, slot events, and the information of slots and tokens.
#include "method_path.h"

#include <future>

namespace {

const std::string kTokenInfoSignature =
    "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;IIIIIIIIIILvelnor/Version;"
    "Lvelnor/Version;Ljava/lang/String;)V";

/// What the two information methods look up, and what comes behind it.
std::vector<Step> infoLookupsThen(const std::string& info, const std::string& signature,
                                  const std::vector<Step>& rest) {
  std::vector<Step> steps = {
      {"FindClass velnor/nat/NativeSlot", "Class 'velnor/nat/NativeSlot' not found", ""},
      {"FindClass velnor/" + info, "Class 'velnor/" + info + "' not found", ""},
      {"FindClass velnor/Version", "Class 'velnor/Version' not found", ""},
      {"GetFieldID velnor/nat/NativeSlot m_slotID I", "m_slotID field not found", ""},
      {"GetMethodID velnor/" + info + " <init> " + signature, info + " constructor not found", ""},
      {"GetMethodID velnor/Version <init> (II)V", "Version constructor not found", ""},
      {"GetIntField slot m_slotID", "", ""},
  };
  steps.insert(steps.end(), rest.begin(), rest.end());
  return steps;
}

/// The field's text with the blanks that it has to its full width.
std::string padded(std::string text, std::size_t width) {
  text.resize(width, ' ');
  return '"' + text + '"';
}

const std::string kLabel = padded("Scripted token", 32);
const std::string kManufacturer = padded("Manufacturer of token", 32);
const std::string kModel = padded("Model", 16);
const std::string kSerial = padded("Serial 1234", 16);
const std::string kUtcTime = "\"2001020304050600\"";
const std::string kDescription = padded("Description of slot", 64);
const std::string kSlotManufacturer = padded("Manufacturer of slot", 32);

/// Flags, then nine of the ten counts that the scripted token answers with: 102, the session count, is not shown.
const std::vector<jlong> kTokenNumbers = {0x40D, 101, 103, 104, 105, 106, 107, 108, 109, 110};

std::string tokenInfo(const std::vector<jlong>& numbers, const std::string& hardware, const std::string& firmware,
                      const std::string& label = kLabel) {
  std::string text = "(" + label + ", " + kManufacturer + ", " + kModel + ", " + kSerial;
  for (const jlong number : numbers) {
    text += ", " + std::to_string(number);
  }
  return text + ", " + hardware + ", " + firmware + ", " + kUtcTime + ")";
}

std::vector<MethodPath> slotPaths() {
  return {
      {"GetSlotList",
       "J_GetSlotList",
       [](PathTest& t) -> jobject { return Java_velnor_nat_NativeCryptoki_GetSlotList(t.jni, t.cryptoki, JNI_FALSE); },
       "[NativeSlot(17), NativeSlot(34)]",
       {
           {"FindClass velnor/nat/NativeSlot", "Class 'velnor/nat/NativeSlot' not found", ""},
           {"GetMethodID velnor/nat/NativeSlot <init> (I)V", "NativeSlot constructor not found", ""},
           {"C_GetSlotList tokenPresent=0 list=null count=0 -> CKR_OK count=2", "", ""},
           {"C_GetSlotList tokenPresent=0 list=non-null count=2 -> CKR_OK count=2", "", ""},
           // The spelling that log filters of callers look for.
           {"NewObjectArray 2 velnor/nat/NativeSlot null", "SlotLis is NULL", ""},
           {"NewObject velnor/nat/NativeSlot (17)", "Slot object is NULL", ""},
           {"SetObjectArrayElement NativeSlot[]#1 0 NativeSlot#1", "", ""},
           {"NewObject velnor/nat/NativeSlot (34)", "Slot object is NULL", ""},
           {"SetObjectArrayElement NativeSlot[]#1 1 NativeSlot#2", "", ""},
       }},
      {"WaitForSlotEvent",
       "J_WaitForSlotEvent",
       [](PathTest& t) { return Java_velnor_nat_NativeCryptoki_WaitForSlotEvent(t.jni, t.cryptoki, 0, t.cryptoki); },
       "NativeSlot(17)",
       {
           // Nothing is looked up before the event: what a caller waits for is the module.
           {"C_WaitForSlotEvent flags=0x0 slot=non-null reserved=null -> CKR_OK slot=0x11", "", ""},
           {"FindClass velnor/nat/NativeSlot", "Class 'velnor/nat/NativeSlot' not found", ""},
           {"GetMethodID velnor/nat/NativeSlot <init> (I)V", "NativeSlot constructor not found", ""},
           {"NewObject velnor/nat/NativeSlot (17)", "NativeSlot object is NULL", ""},
       }},
      {"J_GetSlotInfo", "J_GetSlotInfo",
       [](PathTest& t) { return Java_velnor_nat_NativeSlot_J_1GetSlotInfo(t.jni, t.slot); },
       "SlotInfo(" + kDescription + ", " + kSlotManufacturer + ", 7, Version(12, 11), Version(14, 13))",
       infoLookupsThen(
           "SlotInfo", "(Ljava/lang/String;Ljava/lang/String;ILvelnor/Version;Lvelnor/Version;)V",
           {
               {"C_GetSlotInfo slot=0x11 info=non-null -> CKR_OK", "", ""},
               {"NewStringUTF " + kDescription, "jslotDescription object is NULL", ""},
               {"NewStringUTF " + kSlotManufacturer, "jmanufacturerID object is NULL", ""},
               {"NewObject velnor/Version (12, 11)", "HardwareVersion object is NULL", ""},
               {"NewObject velnor/Version (14, 13)", "FirmwareVersion object is NULL", ""},
               {"NewObject velnor/SlotInfo (" + kDescription + ", " + kSlotManufacturer + ", 7, Version#1, Version#2)",
                "SlotInfo object is NULL", ""},
           })},
      {"J_GetTokenInfo", "J_GetTokenInfo",
       [](PathTest& t) { return Java_velnor_nat_NativeSlot_J_1GetTokenInfo(t.jni, t.slot); },
       "TokenInfo" + tokenInfo(kTokenNumbers, "Version(22, 21)", "Version(24, 23)"),
       infoLookupsThen("TokenInfo", kTokenInfoSignature,
                       {
                           {"C_GetTokenInfo slot=0x11 info=non-null -> CKR_OK", "", ""},
                           {"NewStringUTF " + kLabel, "jlabel object is NULL", ""},
                           {"NewStringUTF " + kManufacturer, "jmanufacturerID object is NULL", ""},
                           {"NewStringUTF " + kModel, "jmodel object is NULL", ""},
                           {"NewStringUTF " + kSerial, "jserialnumber object is NULL", ""},
                           {"NewStringUTF " + kUtcTime, "jutctime object is NULL", ""},
                           {"NewObject velnor/Version (22, 21)", "HardwareVersion object is NULL", ""},
                           {"NewObject velnor/Version (24, 23)", "FirmwareVersion object is NULL", ""},
                           {"NewObject velnor/TokenInfo " + tokenInfo(kTokenNumbers, "Version#1", "Version#2"),
                            "Pkcs11TokenInfo object is NULL", ""},
                       })},
  };
}

INSTANTIATE_METHOD_PATHS(Slots, slotPaths());

// --- GetSlotList -----------------------------------------------------------------------------------------------------

class SlotListTest : public NativeTest {
protected:
  jobjectArray getSlotList(jboolean tokenPresent = JNI_TRUE) {
    return Java_velnor_nat_NativeCryptoki_GetSlotList(jni, cryptoki, tokenPresent);
  }
};

TEST_F(SlotListTest, AsksForSlotsWithATokenWhateverTrueIs) {
  for (const jboolean flag : {jboolean{1}, jboolean{2}, jboolean{255}}) {
    EXPECT_EQ(env.show(getSlotList(flag)), "[NativeSlot(17)]");
    EXPECT_MODULE_TRACE(R"(
      C_GetSlotList tokenPresent=1 list=null count=0 -> CKR_OK count=1
      C_GetSlotList tokenPresent=1 list=non-null count=1 -> CKR_OK count=1
    )");
  }
}

TEST_F(SlotListTest, IsEmptyWithoutSlots) {
  module.answer("C_GetSlotList CKR_OK count=0");
  module.answer("C_GetSlotList CKR_OK count=0");
  EXPECT_EQ(env.show(getSlotList()), "[]");
  EXPECT_EQ(env.pending(), "");
  // Two calls also here, and never with a null list the second time: that would be another length query.
  EXPECT_MODULE_TRACE(R"(
    C_GetSlotList tokenPresent=1 list=null count=0 -> CKR_OK count=0
    C_GetSlotList tokenPresent=1 list=non-null count=0 -> CKR_OK count=0
  )");
}

TEST_F(SlotListTest, CutsSlotIdsTo32BitsWithoutAReport) {
  module.answer("C_GetSlotList list=0x100000001,0xFFFFFFFF,0x80000000,0xFFFFFFFFFFFFFFFF");
  module.answer("C_GetSlotList list=0x100000001,0xFFFFFFFF,0x80000000,0xFFFFFFFFFFFFFFFF");
  EXPECT_EQ(env.show(getSlotList()), "[NativeSlot(1), NativeSlot(-1), NativeSlot(-2147483648), NativeSlot(-1)]");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(SlotListTest, KeepsTheModulesOrder) {
  module.answer("C_GetSlotList list=9,3,7");
  module.answer("C_GetSlotList list=9,3,7");
  EXPECT_EQ(env.show(getSlotList()), "[NativeSlot(9), NativeSlot(3), NativeSlot(7)]");
}

TEST_F(SlotListTest, IsShorterWhenASlotWentAway) {
  module.answer("C_GetSlotList list=1,2,3");
  module.answer("C_GetSlotList list=1,3");
  EXPECT_EQ(env.show(getSlotList()), "[NativeSlot(1), NativeSlot(3)]");
}

// No retry: a caller that polls for slots asks again anyway.
TEST_F(SlotListTest, FailsWhenASlotAppearedInBetween) {
  module.answer("C_GetSlotList list=1,2");
  module.answer("C_GetSlotList list=1,2,3");
  EXPECT_EQ(getSlotList(), nullptr);
  EXPECT_TRACE(R"(
    FindClass velnor/nat/NativeSlot
    GetMethodID velnor/nat/NativeSlot <init> (I)V
    C_GetSlotList tokenPresent=1 list=null count=0 -> CKR_OK count=2
    C_GetSlotList tokenPresent=1 list=non-null count=2 -> CKR_BUFFER_TOO_SMALL count=3
    report "J_GetSlotList" 0x150
  )");
}

// Without the refusal the list would go on with whatever lies behind the library's own memory.
TEST_F(SlotListTest, RefusesACountBeyondWhatTheModuleWasOffered) {
  module.answer("C_GetSlotList CKR_OK count=2");
  module.answer("C_GetSlotList CKR_OK count=3");
  EXPECT_EQ(getSlotList(), nullptr);
  EXPECT_TRACE(R"(
    FindClass velnor/nat/NativeSlot
    GetMethodID velnor/nat/NativeSlot <init> (I)V
    C_GetSlotList tokenPresent=1 list=null count=0 -> CKR_OK count=2
    C_GetSlotList tokenPresent=1 list=non-null count=2 -> CKR_OK count=3
    NewObjectArray 3 velnor/nat/NativeSlot null
    report "J_GetSlotList" 5 "the pkcs#11 library reports more than it was given room for"
  )");
}

TEST_F(SlotListTest, RefusesACountThatNoMemoryHolds) {
  for (const char* const count : {"-1", "0x2000000000000000", "0x1000000000000000"}) {
    module.answer(std::string("C_GetSlotList CKR_OK count=") + count);
    EXPECT_EQ(getSlotList(), nullptr);
    EXPECT_EQ(env.pending(), "CryptokiException(\"J_GetSlotList\", 2, \"HOST MEMORY                       \")");
    EXPECT_EQ(module.unused(), "");
  }
}

TEST_F(SlotListTest, ReportsANegativeCountAsAMissingList) {
  module.answer("C_GetSlotList CKR_OK count=2");
  module.answer("C_GetSlotList CKR_OK count=-1");
  EXPECT_EQ(getSlotList(), nullptr);
  EXPECT_TRACE(R"(
    FindClass velnor/nat/NativeSlot
    GetMethodID velnor/nat/NativeSlot <init> (I)V
    C_GetSlotList tokenPresent=1 list=null count=0 -> CKR_OK count=2
    C_GetSlotList tokenPresent=1 list=non-null count=2 -> CKR_OK count=0xFFFFFFFFFFFFFFFF
    NewObjectArray -1 velnor/nat/NativeSlot null -> null
    report "J_GetSlotList" 5 "SlotLis is NULL"
  )");
}

TEST_F(SlotListTest, ReportsACountBeyondAJavaIntAndGoesOnWithItsLowHalf) {
  module.answer("C_GetSlotList list=5,6");
  module.answer("C_GetSlotList list=5,6 count=0x100000001");
  EXPECT_EQ(env.show(getSlotList()), "[NativeSlot(5)]");
  EXPECT_TRACE(R"-(
    FindClass velnor/nat/NativeSlot
    GetMethodID velnor/nat/NativeSlot <init> (I)V
    C_GetSlotList tokenPresent=1 list=null count=0 -> CKR_OK count=2
    C_GetSlotList tokenPresent=1 list=non-null count=2 -> CKR_OK count=0x100000001
    report "Check64BitLen" 5 "Value out of size for 32 bit (jint)"
    NewObjectArray 1 velnor/nat/NativeSlot null
    NewObject velnor/nat/NativeSlot (5)
    SetObjectArrayElement NativeSlot[]#1 0 NativeSlot#1
  )-");
}

// --- WaitForSlotEvent ------------------------------------------------------------------------------------------------

class SlotEventTest : public NativeTest {
protected:
  jobject waitForSlotEvent(jint flags) {
    return Java_velnor_nat_NativeCryptoki_WaitForSlotEvent(jni, cryptoki, flags, nullptr);
  }
};

TEST_F(SlotEventTest, TellsThatThereIsNoEvent) {
  EXPECT_EQ(waitForSlotEvent(CKF_DONT_BLOCK), nullptr);
  EXPECT_TRACE(R"(
    C_WaitForSlotEvent flags=0x1 slot=non-null reserved=null -> CKR_NO_EVENT
    report "J_WaitForSlotEvent" 0x8
  )");
}

TEST_F(SlotEventTest, WidensFlagsBySign) {
  for (const auto& [flags, seen] : {std::pair{-1, "0xFFFFFFFFFFFFFFFF"}, std::pair{INT32_MIN, "0xFFFFFFFF80000000"}}) {
    module.answer("C_WaitForSlotEvent CKR_NO_EVENT");
    EXPECT_EQ(waitForSlotEvent(flags), nullptr);
    EXPECT_EQ(takeModuleTrace(),
              std::string("C_WaitForSlotEvent flags=") + seen + " slot=non-null reserved=null -> CKR_NO_EVENT\n");
  }
}

TEST_F(SlotEventTest, CutsTheSlotTo32BitsWithoutAReport) {
  module.answer("C_WaitForSlotEvent slot=0x180000000");
  EXPECT_EQ(env.show(waitForSlotEvent(CKF_DONT_BLOCK)), "NativeSlot(-2147483648)");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(SlotEventTest, NamesSlotZeroWhenTheModuleNamesNone) {
  module.answer("C_WaitForSlotEvent CKR_OK");
  EXPECT_EQ(env.show(waitForSlotEvent(0)), "NativeSlot(0)");
}

TEST_F(SlotEventTest, MakesNoSlotOfWhatAFailingModuleLeftBehind) {
  module.answer("C_WaitForSlotEvent CKR_DEVICE_REMOVED slot=0x11");
  EXPECT_EQ(waitForSlotEvent(0), nullptr);
  EXPECT_TRACE(R"(
    C_WaitForSlotEvent flags=0x0 slot=non-null reserved=null -> CKR_DEVICE_REMOVED slot=0x11
    report "J_WaitForSlotEvent" 0x32
  )");
}

TEST_F(SlotEventTest, LetsOtherMethodsRunWhileItBlocks) {
  module.answer("C_WaitForSlotEvent block");
  jvm::RecordingEnv waiting;
  auto event = std::async(std::launch::async, [&] {
    return waiting.show(Java_velnor_nat_NativeCryptoki_WaitForSlotEvent(waiting.jni(), cryptoki, 0, nullptr));
  });
  while (module.blocked() == 0) {
    ASSERT_EQ(event.wait_for(std::chrono::milliseconds(1)), std::future_status::timeout) << "it did not block";
  }
  EXPECT_EQ(env.show(Java_velnor_nat_NativeCryptoki_GetSlotList(jni, cryptoki, JNI_TRUE)), "[NativeSlot(17)]");
  EXPECT_EQ(module.blocked(), 1);
  module.release();
  EXPECT_EQ(event.get(), "NativeSlot(17)");
}

// --- J_GetSlotInfo and J_GetTokenInfo --------------------------------------------------------------------------------

class SlotInfoTest : public NativeTest {
protected:
  jobject getSlotInfo() { return Java_velnor_nat_NativeSlot_J_1GetSlotInfo(jni, slot); }
  jobject getTokenInfo() { return Java_velnor_nat_NativeSlot_J_1GetTokenInfo(jni, slot); }
};

TEST_F(SlotInfoTest, HandsOnTextFieldsThatFillTheirWholeWidth) {
  const std::string description(64, 'd');
  const std::string manufacturer(32, 'm');
  module.answer("C_GetSlotInfo slotDescription=\"" + description + "\" manufacturerID=\"" + manufacturer + "\"");
  EXPECT_EQ(env.show(getSlotInfo()),
            "SlotInfo(\"" + description + "\", \"" + manufacturer + "\", 7, Version(12, 11), Version(14, 13))");
}

TEST_F(SlotInfoTest, HandsOnTokenTextsThatFillTheirWholeWidth) {
  const auto quoted = [](std::size_t width, char c) { return '"' + std::string(width, c) + '"'; };
  module.answer("C_GetTokenInfo label=" + quoted(32, 'l') + " manufacturerID=" + quoted(32, 'm') +
                " model=" + quoted(16, 'o') + " serialNumber=" + quoted(16, 's') + " utcTime=" + quoted(16, 'u'));
  const std::string info = env.show(getTokenInfo());
  EXPECT_EQ(info, "TokenInfo(" + quoted(32, 'l') + ", " + quoted(32, 'm') + ", " + quoted(16, 'o') + ", " +
                      quoted(16, 's') +
                      ", 1037, 101, 103, 104, 105, 106, 107, 108, 109, 110, Version(22, 21), Version(24, 23), " +
                      quoted(16, 'u') + ")");
}

// Callers compare labels with what they wrote, blanks included; who wants them trimmed does so in Java.
TEST_F(SlotInfoTest, KeepsThePaddingOfALabel) {
  module.answer(R"(C_GetTokenInfo label="Token")");
  EXPECT_EQ(env.show(getTokenInfo()),
            "TokenInfo" + tokenInfo(kTokenNumbers, "Version(22, 21)", "Version(24, 23)", padded("Token", 32)));
}

TEST_F(SlotInfoTest, ReadsTextFieldsAsModifiedUtf8) {
  module.answer("C_GetTokenInfo label=C3A9E282AC");
  EXPECT_EQ(env.show(getTokenInfo()), "TokenInfo" + tokenInfo(kTokenNumbers, "Version(22, 21)", "Version(24, 23)",
                                                              "\"\u00e9\u20ac" + std::string(27, ' ') + '"'));
}

TEST_F(SlotInfoTest, EndsATextAtAZero) {
  module.answer("C_GetTokenInfo label=414200434445");
  EXPECT_EQ(env.show(getTokenInfo()),
            "TokenInfo" + tokenInfo(kTokenNumbers, "Version(22, 21)", "Version(24, 23)", "\"AB\""));
}

TEST_F(SlotInfoTest, AsksTheModuleForASlotWithoutAToken) {
  EXPECT_EQ(Java_velnor_nat_NativeSlot_J_1GetTokenInfo(jni, env.slot("empty", 0x22)), nullptr);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_GetTokenInfo\", 224, \"TOKEN NOT PRESENT                 \")");
}

TEST_F(SlotInfoTest, ReportsSlotFlagsBeyondAJavaIntBehindTheVersions) {
  module.answer("C_GetSlotInfo flags=0x100000007");
  EXPECT_EQ(env.show(getSlotInfo()),
            "SlotInfo(" + kDescription + ", " + kSlotManufacturer + ", 7, Version(12, 11), Version(14, 13))");
  const std::string trace = takeTrace();
  const std::string end = trace.substr(trace.find("NewObject velnor/Version (14, 13)"));
  EXPECT_EQ(end, "NewObject velnor/Version (14, 13)\n"
                 "report \"Check64BitLen\" 5 \"Value out of size for 32 bit (jint)\"\n"
                 "NewObject velnor/SlotInfo (" +
                     kDescription + ", " + kSlotManufacturer + ", 7, Version#1, Version#2)\n");
}

TEST_F(SlotInfoTest, HandsOnSlotFlagsOfAllOnesAsMinusOne) {
  module.answer("C_GetSlotInfo flags=-1");
  EXPECT_EQ(env.show(getSlotInfo()),
            "SlotInfo(" + kDescription + ", " + kSlotManufacturer + ", -1, Version(12, 11), Version(14, 13))");
  EXPECT_EQ(env.pending(), "");
}

struct TokenNumber {
  const char* field;
  int place;  ///< among the ten ints of a TokenInfo, -1 when it has none
};

class TokenNumberTest : public SlotInfoTest, public ::testing::WithParamInterface<TokenNumber> {
protected:
  void isShownAs(const std::string& number, jlong shown) {
    SCOPED_TRACE(number);
    module.answer(std::string("C_GetTokenInfo ") + GetParam().field + "=" + number);
    std::vector<jlong> numbers = kTokenNumbers;
    if (GetParam().place >= 0) {
      numbers[static_cast<std::size_t>(GetParam().place)] = shown;
    }
    EXPECT_EQ(env.show(getTokenInfo()), "TokenInfo" + tokenInfo(numbers, "Version(22, 21)", "Version(24, 23)"));
  }
};

TEST_P(TokenNumberTest, ArrivesInItsPlace) {
  isShownAs("0x7FFFFFFF", 0x7FFFFFFF);
  isShownAs("-1", -1);  // CK_UNAVAILABLE_INFORMATION
  isShownAs("-2147483648", INT32_MIN);
  EXPECT_EQ(env.pending(), "");
}

TEST_P(TokenNumberTest, IsReportedWhenNoJavaIntHoldsIt) {
  std::vector<std::string> reports;
  for (const auto& [number, low] :
       {std::pair{"0x80000000", INT32_MIN}, std::pair{"0x100000001", 1}, std::pair{"-2147483649", INT32_MAX}}) {
    isShownAs(number, low);
    reports.push_back(kTooWide);
    EXPECT_EQ(env.thrown(), reports);
    EXPECT_EQ(env.pending(), kTooWide);
  }
}

INSTANTIATE_TEST_SUITE_P(Slots, TokenNumberTest,
                         ::testing::Values(TokenNumber{"flags", 0}, TokenNumber{"ulMaxSessionCount", 1},
                                           // No place in the Java class, yet callers hear of one out of range.
                                           TokenNumber{"ulSessionCount", -1}, TokenNumber{"ulMaxRwSessionCount", 2},
                                           TokenNumber{"ulRwSessionCount", 3}, TokenNumber{"ulMaxPinLen", 4},
                                           TokenNumber{"ulMinPinLen", 5}, TokenNumber{"ulTotalPublicMemory", 6},
                                           TokenNumber{"ulFreePublicMemory", 7}, TokenNumber{"ulTotalPrivateMemory", 8},
                                           TokenNumber{"ulFreePrivateMemory", 9}),
                         [](const auto& tested) { return std::string(tested.param.field); });

TEST_F(SlotInfoTest, ConvertsTheNumbersOfATokenBeforeItMakesAnyString) {
  module.answer("C_GetTokenInfo ulFreePrivateMemory=0x80000000");
  env.failNext("NewStringUTF");
  EXPECT_EQ(getTokenInfo(), nullptr);
  const std::vector<std::string> thrown = {kTooWide,
                                           R"(CryptokiException("J_GetTokenInfo", 5, "jlabel object is NULL"))"};
  EXPECT_EQ(env.thrown(), thrown);
}

}  // namespace
