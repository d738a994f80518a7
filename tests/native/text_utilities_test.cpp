/// The console tracer, the log hook and the two text helpers.
#include "native_test.h"
#include "text_utilities.h"

#include <array>
#include <cstring>
#include <vector>

namespace {

// --- traceString -----------------------------------------------------------------------------------------------------

class TraceStringTest : public UnboundTest {
protected:
  /// The text that the call raises, empty when it raises none.
  std::string raisedBy(const char* FieldName, const char* message) {
    try {
      traceString(jni, FieldName, message);
    } catch (const char* text) {
      return text;
    }
    return "";
  }
};

const std::vector<std::string> kGoodPath = jvm::expectedLines(R"(
  FindClass java/io/PrintStream
  FindClass java/lang/System
  NewStringUTF "Slot"
  NewStringUTF " - "
  NewStringUTF "ready"
  GetStaticFieldID java/lang/System out Ljava/io/PrintStream;
  GetStaticObjectField java/lang/System out
  GetMethodID java/io/PrintStream println (Ljava/lang/String;)V
  GetMethodID java/io/PrintStream print (Ljava/lang/String;)V
  CallVoidMethod java/lang/System.out print ("Slot")
  CallVoidMethod java/lang/System.out print (" - ")
  CallVoidMethod java/lang/System.out println ("ready")
  DeleteLocalRef java/lang/System
  DeleteLocalRef java/io/PrintStream
)");

TEST_F(TraceStringTest, PrintsOneLineOnTheConsoleOfJava) {
  EXPECT_EQ(raisedBy("Slot", "ready"), "");
  EXPECT_EQ(jvm::joined(kGoodPath), takeTrace());
  EXPECT_EQ(env.pending(), "");
}

// In the order of the calls that fail.
constexpr const char* kTexts[] = {
    "traceString - Class 'java/io/PrintStream' not found",
    "traceString - Class 'java/lang/System' not found",
    "traceString - Name is NULL",
    "traceString - Sep is NULL",
    "traceString - Message is NULL",
    "traceString - out filed not found",
    "traceString - PrintStreamObject is NULL",
    "traceString - println method not found",
    "traceString - print method not found",
};

class TraceStringFailureTest : public TraceStringTest, public ::testing::WithParamInterface<std::size_t> {};

// Raised to the caller like the library's own texts, and never reported from here.
TEST_P(TraceStringFailureTest, RaisesItsText) {
  env.failCall(static_cast<int>(GetParam()) + 1);
  EXPECT_EQ(raisedBy("Slot", "ready"), kTexts[GetParam()]);
  std::vector<std::string> expected(kGoodPath.begin(), kGoodPath.begin() + static_cast<std::ptrdiff_t>(GetParam()) + 1);
  expected.back() += " -> null";
  EXPECT_EQ(jvm::joined(expected), takeTrace());
}

INSTANTIATE_TEST_SUITE_P(Steps, TraceStringFailureTest, ::testing::Range(std::size_t{0}, std::size(kTexts)));

TEST_F(TraceStringTest, TakesTextsAsModifiedUtf8) {
  EXPECT_EQ(raisedBy("Tr\xC3\xA4ger", ""), "");
  const std::string trace = takeTrace();
  EXPECT_NE(trace.find("NewStringUTF 5472C3A4676572\n"), std::string::npos) << trace;
}

// --- The log hook ----------------------------------------------------------------------------------------------------

TEST(LogFunctionTest, WritesNothingAndLooksAtNoArgument) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const char* const nowhere = reinterpret_cast<const char*>(1);
  LogFunction("stat for %s FAILED errno=%d", CKR_OK, nowhere, 2);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(LogFunctionTest, DefaultPathIsKeptForOtherCode) {
  EXPECT_STREQ(g_sLogPath, "~/hlf-libharlune_log_file.txt");
}

// --- rmTrailSpace ----------------------------------------------------------------------------------------------------

struct Trimmed {
  const char* name;
  std::string field;
  std::uint32_t length;
  std::string result;
};

void PrintTo(const Trimmed& trimmed, std::ostream* out) {
  *out << trimmed.name;
}

class RmTrailSpaceTest : public ::testing::TestWithParam<Trimmed> {};

TEST_P(RmTrailSpaceTest, ReplacesTrailingBlanksByZeroes) {
  std::string field = GetParam().field;
  rmTrailSpace(reinterpret_cast<CK_BYTE_PTR>(field.data()), GetParam().length);
  EXPECT_EQ(field, GetParam().result);
}

using namespace std::string_literals;

INSTANTIATE_TEST_SUITE_P(Fields, RmTrailSpaceTest,
                         ::testing::Values(Trimmed{"TwoBlanks", "AB  ", 4, "AB\0\0"s},
                                           Trimmed{"OnlyBlanksKeepTheFirst", "    ", 4, " \0\0\0"s},
                                           Trimmed{"OneByteIsLeftAlone", " ", 1, " "},
                                           Trimmed{"NoByteIsLeftAlone", "  ", 0, "  "},
                                           Trimmed{"NoBlanks", "ABCD", 4, "ABCD"},
                                           Trimmed{"InnerBlanksStay", "A B ", 4, "A B\0"s},
                                           Trimmed{"OtherWhiteSpaceStays", "AB\t\n", 4, "AB\t\n"},
                                           Trimmed{"ZeroesEndTheBlanks", "A \0"s, 3, "A \0"s},
                                           Trimmed{"BytesBehindTheLengthStay", "A    ", 3, "A\0\0  "s}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(RmTrailSpaceNullTest, DoesNotLookAtAnEmptyField) {
  rmTrailSpace(nullptr, 0);
  rmTrailSpace(nullptr, 1);
}

// --- EspandiDati -----------------------------------------------------------------------------------------------------

TEST(EspandiDatiTest, WritesUpperCaseDigitsHighHalfFirstAndAZero) {
  const CK_BYTE in[] = {0x00, 0xAB, 0x7F};
  std::array<char, 8> ou;
  ou.fill('#');
  EspandiDati(in, ou.data(), 3);
  EXPECT_EQ(std::string(ou.data(), ou.size()), "00AB7F\0#"s);
}

TEST(EspandiDatiTest, KnowsEveryByte) {
  CK_BYTE in[256];
  std::string expected;
  for (unsigned i = 0; i < 256; ++i) {
    in[i] = static_cast<CK_BYTE>(i);
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", i);
    expected += digits;
  }
  std::vector<char> ou(513, '#');
  EspandiDati(in, ou.data(), 256);
  EXPECT_EQ(std::string(ou.data()), expected);
}

class EspandiDatiOfNothingTest : public ::testing::TestWithParam<std::int64_t> {};

TEST_P(EspandiDatiOfNothingTest, WritesOnlyTheZero) {
  char ou[] = "##";
  EspandiDati(nullptr, ou, GetParam());
  EXPECT_EQ(std::string(ou, 2), "\0#"s);
}

INSTANTIATE_TEST_SUITE_P(Lengths, EspandiDatiOfNothingTest,
                         ::testing::Values(std::int64_t{0}, std::int64_t{-1},
                                           std::numeric_limits<std::int64_t>::min()));

}  // namespace
