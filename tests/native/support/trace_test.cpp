#include "native_test.h"

#include <gtest/gtest-spi.h>

namespace jvm {
namespace {

using Lines = std::vector<std::string>;

class TraceTest : public ::testing::Test {
protected:
  Lines report(jint code, const std::string& message) {
    RecordingEnv env;
    JNIEnv* const jni = env.jni();
    const jclass type = jni->FindClass("velnor/CryptokiException");
    const jclass stringType = jni->FindClass("java/lang/String");
    const jmethodID constructor = jni->GetMethodID(type, "<init>", "(Ljava/lang/String;ILjava/lang/String;)V");
    const jmethodID stringConstructor = jni->GetMethodID(stringType, "<init>", "([B)V");
    const auto bytes = [jni](const std::string& text) {
      const auto size = static_cast<jsize>(text.size());
      const jbyteArray array = jni->NewByteArray(size);
      jni->SetByteArrayRegion(array, 0, size, reinterpret_cast<const jbyte*>(text.data()));
      return array;
    };
    const jbyteArray nameBytes = bytes("J_Sign");
    const jbyteArray messageBytes = bytes(message);
    const jobject name = jni->NewObject(stringType, stringConstructor, nameBytes);
    const jobject text = jni->NewObject(stringType, stringConstructor, messageBytes);
    const jobject exception = jni->NewObject(type, constructor, name, code, text);
    jni->DeleteLocalRef(type);
    jni->DeleteLocalRef(stringType);
    jni->Throw(static_cast<jthrowable>(exception));
    return env.journal();
  }
};

TEST_F(TraceTest, FoldsTheReportOfAText) {
  EXPECT_EQ(folded(report(5, "It's \"NULL\"")), Lines{R"(report "J_Sign" 5 "It's \"NULL\"")"});
}

TEST_F(TraceTest, FoldsTheReportOfAReturnValue) {
  EXPECT_EQ(folded(report(0x91, "OPERATION NOT INITIALIZED         ")), Lines{R"(report "J_Sign" 0x91)"});
  EXPECT_EQ(folded(report(-1, "VENDOR DEFINED                    ")), Lines{R"(report "J_Sign" 0xFFFFFFFF)"});
  EXPECT_EQ(folded(report(99, "NO ERROR DESC FOUND               ")), Lines{R"(report "J_Sign" 0x63)"});
}

TEST_F(TraceTest, ShowsAMessageThatDoesNotBelongToTheReturnValue) {
  EXPECT_EQ(folded(report(0x91, "OPERATION NOT INITIALIZED")),
            Lines{R"(report "J_Sign" 145 "OPERATION NOT INITIALIZED")"});
}

TEST_F(TraceTest, LeavesAReportExpandedThatIsNotExactlyRight) {
  const Lines right = report(5, "Data is NULL");
  ASSERT_EQ(right.size(), 14U);
  for (std::size_t i = 0; i < right.size(); ++i) {
    Lines missing = right;
    missing.erase(missing.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_EQ(folded(missing), missing) << "without " << right[i];
    Lines changed = right;
    changed[i] += "x";
    EXPECT_EQ(folded(changed), changed) << "changed " << right[i];
  }
}

TEST_F(TraceTest, FoldsTheHandleReadOfASession) {
  EXPECT_EQ(folded({"FindClass velnor/nat/NativeSession", "GetFieldID velnor/nat/NativeSession m_sessionHandle J",
                    "GetIntField session m_sessionHandle", "GetArrayLength data"}),
            (Lines{"sessionOf session", "GetArrayLength data"}));
  const Lines wrong = {"FindClass velnor/nat/NativeSession", "GetFieldID velnor/nat/NativeSession m_sessionHandle J",
                       "GetLongField session m_sessionHandle"};
  EXPECT_EQ(folded(wrong), wrong);
}

TEST_F(TraceTest, ReadsExpectationsWithoutTheirLayout) {
  EXPECT_EQ(expectedLines("\n    a b \n\n  # why\n  c\n"), (Lines{"a b", "c"}));
}

class FixtureTest : public NativeTest {};

TEST_F(FixtureTest, StartsFromAnInitialisedLibraryAndAnEmptyJournal) {
  EXPECT_TRUE(bInitialized);
  EXPECT_STREQ(sLibFullPath, module.path());
  EXPECT_EQ(env.trace(), "");
  EXPECT_EQ(module.journal(), "");
}

TEST_F(FixtureTest, PutsModuleCallsIntoTheSameJournal) {
  env.note("before");
  functionList->C_CloseSession(hSession);
  env.note("after");
  EXPECT_EQ(env.trace(), "before\nC_CloseSession session=0x5E51 -> CKR_OK\nafter\n");
  EXPECT_NONFATAL_FAILURE(EXPECT_TRACE("before"), "after");
}

TEST_F(FixtureTest, FindsWhatATestForgot) {
  const jbyteArray data = env.bytes("data", "abc");
  jbyte* const elements = jni->GetByteArrayElements(data, nullptr);
  EXPECT_NONFATAL_FAILURE(FixtureTest::TearDown(), "still lent");
  jni->ReleaseByteArrayElements(data, elements, 0);
  module.answer("C_Sign");
  EXPECT_NONFATAL_FAILURE(FixtureTest::TearDown(), "scripted answers that no call used");
  module.reset();
  env.failNext("FindClass");
  EXPECT_NONFATAL_FAILURE(FixtureTest::TearDown(), "a planned failure never happened");
  env.clear();
}

TEST_F(FixtureTest, AcceptsLoansThatAreMeantToStayOut) {
  jni->GetByteArrayElements(env.bytes("data", "abc"), nullptr);
  expectOut({"data"});
}

class UnboundFixtureTest : public UnboundTest {};

TEST_F(UnboundFixtureTest, StartsWithNoModuleBound) {
  EXPECT_EQ(functionList, nullptr);
  EXPECT_EQ(hLibModule, nullptr);
  EXPECT_FALSE(bInitialized);
  EXPECT_TRUE(g_bIsSecondAuthenticationRequired);
  EXPECT_STREQ(sLibName, "");
}

}  // namespace
}  // namespace jvm
