/// The descriptions of return values, the two reporters, and the guard for values that must fit a Java int.
#include "native_test.h"

#include <csignal>
#include <cstddef>
#include <cstring>
#include <gmock/gmock.h>
#include <limits>

namespace {

constexpr std::size_t kWidth = 34;
constexpr CK_RV kAllOnes = ~CK_RV{0};

struct Description {
  CK_RV value;
  const char* text;
};

const Description kDescriptions[] = {
#define X(value, text) {value, text},
#include "error_descriptions.inc"
#undef X
};

std::string padded(const char* text) {
  std::string result = text;
  result.resize(kWidth, ' ');
  return result;
}

// --- Descriptions ----------------------------------------------------------------------------------------------------

TEST(ErrorDescriptionsTest, RowsAreATextAndAValue) {
  static_assert(std::size(errorDescriptions) == 84);
  static_assert(offsetof(ErrorDesc, Descr) == 0 && offsetof(ErrorDesc, Value) == sizeof(const char*));
  static_assert(sizeof(ErrorDesc) == sizeof(const char*) + sizeof(CK_RV));
}

TEST(ErrorDescriptionsTest, TableIsTheOneThatJavaIsPromised) {
  ASSERT_EQ(std::size(kDescriptions), std::size(errorDescriptions));
  for (std::size_t i = 0; i < std::size(kDescriptions); ++i) {
    EXPECT_EQ(errorDescriptions[i].Value, kDescriptions[i].value) << "row " << i;
    EXPECT_EQ(errorDescriptions[i].Descr, padded(kDescriptions[i].text)) << "row " << i;
  }
}

TEST(ErrorDescriptionsTest, RowsAscendAndEndWithTheSentinel) {
  for (std::size_t i = 1; i < std::size(errorDescriptions); ++i) {
    EXPECT_LT(errorDescriptions[i - 1].Value, errorDescriptions[i].Value) << "row " << i;
  }
  EXPECT_EQ(std::rbegin(errorDescriptions)->Value, 0xFFFFFFFFU);
}

// Java shows the blanks; programs that compare messages rely on the width.
TEST(ErrorDescriptionsTest, EveryTextIsPaddedToTheSameWidth) {
  for (const ErrorDesc& row : errorDescriptions) {
    EXPECT_EQ(std::strlen(row.Descr), kWidth) << row.Descr;
  }
}

TEST(ErrorDescriptionsTest, EveryValueHasTheTextOfItsRowOrTheSentinels) {
  for (CK_RV value = 0; value <= 0x400; ++value) {
    EXPECT_EQ(getCryptokiErrorDesc(value), jvm::paddedDescription(value)) << std::hex << value;
  }
}

TEST(ErrorDescriptionsTest, ValuesWithoutARowReadAsTheSentinel) {
  for (const CK_RV value : {CK_RV{0x4}, CK_RV{0x63}, CK_RV{0x192}, CK_RV{0x7FFFFFFF}}) {
    EXPECT_EQ(getCryptokiErrorDesc(value), padded("NO ERROR DESC FOUND")) << std::hex << value;
  }
}

// The sentinel's own value and everything above 32 bits lie above the vendor limit, so they never reach the sentinel.
TEST(ErrorDescriptionsTest, EveryValueFromTheVendorLimitOnIsVendorDefined) {
  for (const CK_RV value : {CK_RV{0x80000000}, CK_RV{0x80000001}, CK_RV{0xFFFFFFFE}, CK_RV{0xFFFFFFFF},
                            CK_RV{0x100000000}, CK_RV{0x100000190}, CK_RV{0x8000000000000000}, kAllOnes}) {
    EXPECT_EQ(getCryptokiErrorDesc(value), padded("VENDOR DEFINED")) << std::hex << value;
  }
}

// --- The reporters ---------------------------------------------------------------------------------------------------

class ReporterTest : public UnboundTest {
protected:
  std::string takeUnfolded() {
    const std::string lines = jvm::joined(env.journal());
    env.clearJournal();
    return lines;
  }
};

#define EXPECT_UNFOLDED(text) EXPECT_EQ(::jvm::joined(::jvm::expectedLines(text)), takeUnfolded())

TEST_F(ReporterTest, ReportsATextInTenSteps) {
  throwPkcs11Exception(jni, "J_Sign", "Data is NULL");
  EXPECT_UNFOLDED(R"(
    FindClass velnor/CryptokiException
    FindClass java/lang/String
    GetMethodID velnor/CryptokiException <init> (Ljava/lang/String;ILjava/lang/String;)V
    GetMethodID java/lang/String <init> ([B)V
    NewByteArray 6
    SetByteArrayRegion byte[]#1 0 6 "J_Sign"
    NewByteArray 12
    SetByteArrayRegion byte[]#2 0 12 "Data is NULL"
    NewObject java/lang/String (byte[]#1)
    NewObject java/lang/String (byte[]#2)
    NewObject velnor/CryptokiException ("J_Sign", 5, "Data is NULL")
    DeleteLocalRef velnor/CryptokiException
    DeleteLocalRef java/lang/String
    Throw CryptokiException("J_Sign", 5, "Data is NULL")
  )");
  EXPECT_EQ(env.pending(), R"(CryptokiException("J_Sign", 5, "Data is NULL"))");
}

TEST_F(ReporterTest, ReportsAReturnValueInTenSteps) {
  throwPkcs11Exception(jni, "J_Login", CKR_PIN_INCORRECT);
  EXPECT_UNFOLDED(R"(
    FindClass velnor/CryptokiException
    FindClass java/lang/String
    GetMethodID velnor/CryptokiException <init> (Ljava/lang/String;ILjava/lang/String;)V
    GetMethodID java/lang/String <init> ([B)V
    NewByteArray 7
    SetByteArrayRegion byte[]#1 0 7 "J_Login"
    NewByteArray 34
    SetByteArrayRegion byte[]#2 0 34 "PIN INCORRECT                     "
    NewObject java/lang/String (byte[]#1)
    NewObject java/lang/String (byte[]#2)
    NewObject velnor/CryptokiException ("J_Login", 160, "PIN INCORRECT                     ")
    DeleteLocalRef velnor/CryptokiException
    DeleteLocalRef java/lang/String
    Throw CryptokiException("J_Login", 160, "PIN INCORRECT                     ")
  )");
}

// The arrays, the strings and the exception are left to the end of the native call.
TEST_F(ReporterTest, DeletesTheReferencesOfTheTwoClassesOnly) {
  throwPkcs11Exception(jni, "J_Sign", "Data is NULL");
  EXPECT_EQ(env.localReferencesCreated(), 7);
  EXPECT_EQ(env.localReferencesDeleted(), 2);
}

// A class loader that went away would leave cached identifiers dangling.
TEST_F(ReporterTest, LooksEverythingUpAgainForEveryReport) {
  for (int i = 0; i < 2; ++i) {
    throwPkcs11Exception(jni, "J_Sign", CKR_DATA_INVALID);
    throwPkcs11Exception(jni, "J_Sign", "Data is NULL");
    EXPECT_TRACE(R"(
      report "J_Sign" 0x20
      report "J_Sign" 5 "Data is NULL"
    )");
  }
}

TEST_F(ReporterTest, TakesThePlaceOfAnExceptionThatIsPending) {
  env.failNext("NewStringUTF", jvm::Leaving::Exception);
  EXPECT_EQ(jni->NewStringUTF("x"), nullptr);
  ASSERT_EQ(env.pendingClass(), "java/lang/OutOfMemoryError");
  throwPkcs11Exception(jni, "J_Sign", "Data is NULL");
  EXPECT_EQ(env.pending(), R"(CryptokiException("J_Sign", 5, "Data is NULL"))");
}

// A text of the dynamic loader is in the platform's charset and need not be modified UTF-8: its bytes reach Java as
// they are.
TEST_F(ReporterTest, HandsTheBytesOfATextToJavaAsTheyAre) {
  throwPkcs11Exception(jni, "f", "Tr\xC3\xA4ger");
  EXPECT_THAT(takeUnfolded(), ::testing::HasSubstr("SetByteArrayRegion byte[]#2 0 7 5472C3A4676572\n"));
  EXPECT_EQ(env.pendingReport()->message, "Tr\xC3\xA4ger");
  throwPkcs11Exception(jni, "f", "Tr\xE4ger");
  EXPECT_THAT(takeUnfolded(), ::testing::HasSubstr("SetByteArrayRegion byte[]#4 0 6 5472E4676572\n"));
}

TEST_F(ReporterTest, AcceptsEmptyTexts) {
  throwPkcs11Exception(jni, "", "");
  EXPECT_TRACE(R"(report "" 5 "")");
}

struct Code {
  const char* name;
  CK_RV Rv;
  jint code;
  const char* description;
};

void PrintTo(const Code& code, std::ostream* out) {
  *out << code.name;
}

class ReportedCodeTest : public ReporterTest, public ::testing::WithParamInterface<Code> {};

TEST_P(ReportedCodeTest, CarriesTheLow32BitsAndTheDescription) {
  throwPkcs11Exception(jni, "J_Sign", GetParam().Rv);
  const auto report = env.pendingReport();
  ASSERT_TRUE(report.has_value());
  EXPECT_EQ(report->function, "J_Sign");
  EXPECT_EQ(report->code, GetParam().code);
  EXPECT_EQ(report->message, padded(GetParam().description));
}

INSTANTIATE_TEST_SUITE_P(
    Codes, ReportedCodeTest,
    ::testing::Values(Code{"Ok", 0, 0, "OK"}, Code{"WithoutRow", 0x63, 99, "NO ERROR DESC FOUND"},
                      Code{"NotInitialized", 0x190, 400, "CRYPTOKI NOT INITIALIZED"},
                      Code{"LargestBelowTheVendors", 0x7FFFFFFF, 2147483647, "NO ERROR DESC FOUND"},
                      Code{"FirstOfTheVendors", 0x80000000, std::numeric_limits<jint>::min(), "VENDOR DEFINED"},
                      Code{"SecondOfTheVendors", 0x80000001, -2147483647, "VENDOR DEFINED"},
                      Code{"ValueOfTheSentinel", 0xFFFFFFFF, -1, "VENDOR DEFINED"},
                      Code{"AllOnes", kAllOnes, -1, "VENDOR DEFINED"},
                      Code{"LowHalfOfAnotherCode", 0x1000000A0, 0xA0, "VENDOR DEFINED"}),
    [](const auto& test) { return std::string(test.param.name); });

// --- A report that cannot be made ------------------------------------------------------------------------------------

struct Step {
  const char* result;
  const char* function;
  int call;
};

constexpr Step kSteps[] = {
    {"CryptokiExceptionClass", "FindClass", 1}, {"StringClass", "FindClass", 2},
    {"jConstructor", "GetMethodID", 1},         {"jConstructorString", "GetMethodID", 2},
    {"FunctionNameArray", "NewByteArray", 1},   {"MessageArray", "NewByteArray", 2},
    {"FunctionNameString", "NewObject", 1},     {"MessageString", "NewObject", 2},
    {"jPkcs11Exception", "NewObject", 3},
};

enum class Form { Text, ReturnValue };

void PrintTo(const Step& step, std::ostream* out) {
  *out << step.result;
}

/// A failure that cannot be told to Java must not pass for a success, so the process ends, in every kind of build. The
/// names in the message are what crash reports are searched for.
class ReporterDeathTest : public ReporterTest, public ::testing::WithParamInterface<std::tuple<Step, Form>> {};

TEST_P(ReporterDeathTest, EndsTheProcess) {
  const auto [step, form] = GetParam();
  const std::string reporter = form == Form::Text ? "const char*" : "CK_RV";
  const auto report = [&, which = form, failing = step] {
    env.failNth(failing.function, failing.call, jvm::Leaving::Exception);
    if (which == Form::Text) {
      throwPkcs11Exception(jni, "J_Sign", "Data is NULL");
    } else {
      throwPkcs11Exception(jni, "J_Sign", CKR_DATA_INVALID);
    }
  };
  EXPECT_EXIT(report(), ::testing::KilledBySignal(SIGABRT),
              ::testing::AllOf(::testing::ContainsRegex(" Harlune:[0-9]+: "),
                               ::testing::HasSubstr(": void throwPkcs11Exception(JNIEnv*, const char*, " + reporter +
                                                    "): Assertion `" + step.result + " != nullptr' failed")));
}

INSTANTIATE_TEST_SUITE_P(Steps, ReporterDeathTest,
                         ::testing::Combine(::testing::ValuesIn(kSteps),
                                            ::testing::Values(Form::Text, Form::ReturnValue)),
                         [](const auto& test) {
                           return std::string(std::get<0>(test.param).result) +
                                  (std::get<1>(test.param) == Form::Text ? "OfAText" : "OfAReturnValue");
                         });

// A class path without the exception class is how this is met in practice: a native method that fails ends the process.
TEST_F(ReporterTest, EndsTheProcessWhenANativeMethodFailsWithoutTheExceptionClass) {
  env.declareMissing("velnor/CryptokiException");
  EXPECT_EXIT(Java_velnor_nat_NativeCryptoki_GetInfo(jni, cryptoki), ::testing::KilledBySignal(SIGABRT),
              "CryptokiExceptionClass != nullptr");
}

// --- Values that must fit a Java int ---------------------------------------------------------------------------------

struct Guarded {
  jlong value;
  jint result;
};

void PrintTo(const Guarded& guarded, std::ostream* out) {
  *out << guarded.value;
}

constexpr jlong kLongMin = std::numeric_limits<jlong>::min();
constexpr jlong kLongMax = std::numeric_limits<jlong>::max();
constexpr jint kIntMin = std::numeric_limits<jint>::min();
constexpr jint kIntMax = std::numeric_limits<jint>::max();

class FittingLengthTest : public ReporterTest, public ::testing::WithParamInterface<jlong> {};

TEST_P(FittingLengthTest, ComesBackAndReportsNothing) {
  EXPECT_EQ(Check64BitLen(jni, GetParam()), GetParam());
  EXPECT_TRACE("");
  EXPECT_EQ(env.pending(), "");
}

INSTANTIATE_TEST_SUITE_P(Values, FittingLengthTest,
                         ::testing::Values(jlong{0}, jlong{1}, jlong{-1}, jlong{kIntMax}, jlong{kIntMin}));

class OversizedLengthTest : public ReporterTest, public ::testing::WithParamInterface<Guarded> {};

TEST_P(OversizedLengthTest, IsReportedAndGoesOnWithItsLow32Bits) {
  EXPECT_EQ(Check64BitLen(jni, GetParam().value), GetParam().result);
  EXPECT_TRACE(R"-(
    report "Check64BitLen" 5 "Value out of size for 32 bit (jint)"
  )-");
}

INSTANTIATE_TEST_SUITE_P(Values, OversizedLengthTest,
                         ::testing::Values(Guarded{jlong{kIntMax} + 1, kIntMin}, Guarded{jlong{kIntMin} - 1, kIntMax},
                                           Guarded{jlong{1} << 32, 0}, Guarded{(jlong{1} << 32) + 7, 7},
                                           Guarded{kLongMax, -1}, Guarded{kLongMin, 0}));

}  // namespace
