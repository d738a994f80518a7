#include "recording_env.h"

#include <cstring>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace jvm {
namespace {

class LoansTest : public ::testing::Test {
protected:
  RecordingEnv env;
  JNIEnv* const jni = env.jni();
  jbyteArray data = env.bytes("data", "abcd");
};

TEST_F(LoansTest, LendsCopiesThatAreWrittenBackByMode) {
  jbyte* elements = jni->GetByteArrayElements(data, nullptr);
  elements[0] = 'A';
  EXPECT_EQ(env.bytesOf(data), "abcd");
  jni->ReleaseByteArrayElements(data, elements, JNI_COMMIT);
  EXPECT_EQ(env.bytesOf(data), "Abcd");
  EXPECT_EQ(env.loans.out(), std::vector<std::string>{"data"});
  elements[1] = 'B';
  jni->ReleaseByteArrayElements(data, elements, 0);
  EXPECT_EQ(env.bytesOf(data), "ABcd");
  EXPECT_TRUE(env.loans.out().empty());

  elements = jni->GetByteArrayElements(data, nullptr);
  elements[2] = 'C';
  jni->ReleaseByteArrayElements(data, elements, JNI_ABORT);
  EXPECT_EQ(env.bytesOf(data), "ABcd");
  EXPECT_EQ(env.trace(), "GetByteArrayElements data\n"
                         "ReleaseByteArrayElements data mode 1\n"
                         "ReleaseByteArrayElements data mode 0\n"
                         "GetByteArrayElements data\n"
                         "ReleaseByteArrayElements data mode 2\n");
}

/// A write outside of a loan is found when the loan is looked at; AddressSanitizer, for which the guard zones are
/// poisoned, finds the write itself.
template <typename Write, typename Look>
void expectFound(Write&& write, [[maybe_unused]] Look&& look, [[maybe_unused]] const char* text) {
#ifdef HARLUNE_SANITIZED
  EXPECT_DEATH(write(), "use-after-poison");
#else
  write();
  EXPECT_NONFATAL_FAILURE(look(), text);
#endif
}

TEST_F(LoansTest, FindsAWriteBehindTheElements) {
  jbyte* const elements = jni->GetByteArrayElements(data, nullptr);
  expectFound([=] { elements[4] = 0; }, [=, this] { jni->ReleaseByteArrayElements(data, elements, JNI_ABORT); },
              "written outside the 4 bytes of the elements of data");
}

TEST_F(LoansTest, FindsAWriteBeforeElementsThatAreStillOut) {
  jbyte* const elements = jni->GetByteArrayElements(data, nullptr);
  expectFound([=] { elements[-1] = 0; }, [this] { env.loans.checkGuards(); },
              "written outside the 4 bytes of the elements of data");
}

TEST_F(LoansTest, FindsAWriteBehindTheCharacters) {
  const jstring pin = env.string("pin", std::string("1234"));
  const char* const characters = jni->GetStringUTFChars(pin, nullptr);
  EXPECT_STREQ(characters, "1234");
  expectFound([=] { const_cast<char*>(characters)[5] = 'x'; },
              [=, this] { jni->ReleaseStringUTFChars(pin, characters); },
              "written outside the 5 bytes of the characters of pin");
}

TEST_F(LoansTest, FindsASecondRelease) {
  jbyte* const elements = jni->GetByteArrayElements(data, nullptr);
  jni->ReleaseByteArrayElements(data, elements, 0);
  EXPECT_NONFATAL_FAILURE(jni->ReleaseByteArrayElements(data, elements, 0), "elements of data given back twice");
}

TEST_F(LoansTest, FindsAReleaseAgainstAnotherArray) {
  const jbyteArray other = env.bytes("other", "abcd");
  jbyte* const elements = jni->GetByteArrayElements(data, nullptr);
  EXPECT_NONFATAL_FAILURE(jni->ReleaseByteArrayElements(other, elements, 0),
                          "elements of data given back as elements of other");
  EXPECT_EQ(env.loans.out(), std::vector<std::string>{"data"});
}

TEST_F(LoansTest, FindsAReleaseOfForeignMemory) {
  jbyte foreign[4] = {};
  EXPECT_NONFATAL_FAILURE(jni->ReleaseByteArrayElements(data, foreign, 0), "never lent");
}

TEST_F(LoansTest, KeepsALoanThatIsReleasedAgainstNull) {
  jbyte* const elements = jni->GetByteArrayElements(data, nullptr);
  jni->ReleaseByteArrayElements(nullptr, elements, 0);
  jni->ReleaseByteArrayElements(nullptr, nullptr, 2);
  jni->ReleaseByteArrayElements(data, nullptr, 2);
  EXPECT_EQ(env.loans.out(), std::vector<std::string>{"data"});
  EXPECT_EQ(env.trace(), "GetByteArrayElements data\n"
                         "ReleaseByteArrayElements null mode 0\n"
                         "ReleaseByteArrayElements null elements=null mode 2\n"
                         "ReleaseByteArrayElements data elements=null mode 2\n");
}

TEST_F(LoansTest, LendsNothingOfAnEmptyArrayAtAnAddressOfItsOwn) {
  const jbyteArray empty = env.bytes("empty", "");
  jbyte* const elements = jni->GetByteArrayElements(empty, nullptr);
  EXPECT_NE(elements, nullptr);
  jni->ReleaseByteArrayElements(empty, elements, 0);
  EXPECT_TRUE(env.loans.out().empty());
}

}  // namespace
}  // namespace jvm
