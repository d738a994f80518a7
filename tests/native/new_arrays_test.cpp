/// Methods that put a module's output into a new Java array by way of a buffer that grows when the module asks for
/// more.
#include "operations.h"

namespace operations {
namespace {

class GrowingTest : public MethodTest {
protected:
  GrowingTest() { startEverything(); }

  /// Room for 512 bytes more than the input has.
  static constexpr jint kGuess = 512;
  std::string offered() const { return std::to_string(kGuess + (method.input == nullptr ? 0 : 4)); }
  std::string offer(const std::string& length, const std::string& answer) const {
    return moduleCall("buffer=non-null length=" + length + " -> " + answer);
  }
  std::string before() const { return borrowInput() + sessionLine(); }
};

TEST_P(GrowingTest, TakesOneModuleCallWhileTheOutputFits) {
  answer(R"(data="RESULT")");
  EXPECT_EQ(env.show(call().array), R"("RESULT")");
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(before() + offer(offered(), "CKR_OK length=6") +
               "NewByteArray 6\nSetByteArrayRegion byte[]#1 0 6 \"RESULT\"\n" + giveBackInput());
}

TEST_P(GrowingTest, AnEmptyOutputIsAnEmptyArray) {
  answer("size=0");
  const jbyteArray result = call().array;
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(env.bytesOf(result), "");
  EXPECT_TRACE(before() + offer(offered(), "CKR_OK length=0") +
               "NewByteArray 0\nSetByteArrayRegion byte[]#1 0 0 \"\"\n" + giveBackInput());
}

TEST_P(GrowingTest, GrowsToExactlyWhatTheModuleAsksFor) {
  answer("size=2000 always");
  EXPECT_EQ(env.bytesOf(call().array).size(), 2000U);
  EXPECT_MODULE_TRACE(offer(offered(), "CKR_BUFFER_TOO_SMALL length=2000") + offer("2000", "CKR_OK length=2000"));
}

TEST_P(GrowingTest, GrowsAsOftenAsTheModuleAsks) {
  answer("CKR_BUFFER_TOO_SMALL length=600");
  answer("CKR_BUFFER_TOO_SMALL length=300");
  answer("size=300");
  EXPECT_EQ(env.bytesOf(call().array).size(), 300U);
  EXPECT_MODULE_TRACE(offer(offered(), "CKR_BUFFER_TOO_SMALL length=600") +
                      offer("600", "CKR_BUFFER_TOO_SMALL length=300") + offer("300", "CKR_OK length=300"));
}

TEST_P(GrowingTest, AModuleThatAsksForEverIsRefused) {
  answer("CKR_BUFFER_TOO_SMALL length=600 always");
  EXPECT_EQ(call().array, nullptr);
  EXPECT_NE(env.pending().find(", 336, \"BUFFER TOO SMALL"), std::string::npos) << env.pending();
}

TEST_P(GrowingTest, TheArrayIsAsLongAsTheLastAnswer) {
  answer("CKR_BUFFER_TOO_SMALL length=2000");
  answer(R"(data="RESULT")");
  EXPECT_EQ(env.show(call().array), R"("RESULT")");
}

TEST_P(GrowingTest, GivesUpWhenTheModuleAsksForNothing) {
  answer("CKR_BUFFER_TOO_SMALL length=0");
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE(before() + offer(offered(), "CKR_BUFFER_TOO_SMALL length=0") + report("0x150") + giveBackInput());
}

TEST_P(GrowingTest, GivesUpWhenTheSecondCallFails) {
  answer("CKR_BUFFER_TOO_SMALL length=600");
  answer("CKR_DEVICE_REMOVED length=9");
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE(before() + offer(offered(), "CKR_BUFFER_TOO_SMALL length=600") +
               offer("600", "CKR_DEVICE_REMOVED length=9") + report("0x32") + giveBackInput());
}

TEST_P(GrowingTest, ReportsThatTheArrayCouldNotBeMade) {
  answer(R"(data="RESULT")");
  env.failNext("NewByteArray", jvm::Leaving::Exception);
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE(before() + offer(offered(), "CKR_OK length=6") + "NewByteArray 6 -> null\n" +
               report("5 \"" + std::string(method.refused) + "\"") + giveBackInput());
}

TEST_P(GrowingTest, AModuleThatClaimsAllOnesGetsNoArray) {
  // All ones fit a Java int as -1, so nothing is reported about the length; the JVM refuses the array.
  answer("CKR_OK length=-1");
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE(before() + offer(offered(), "CKR_OK length=0xFFFFFFFFFFFFFFFF") + "NewByteArray -1 -> null\n" +
               report("5 \"" + std::string(method.refused) + "\"") + giveBackInput());
}

TEST_P(GrowingTest, GoesOnWithTheLowBitsOfALengthBeyondAJavaInt) {
  answer("CKR_OK length=0x100000004");
  const jbyteArray result = call().array;
  EXPECT_EQ(env.bytesOf(result).size(), 4U);
  EXPECT_EQ(env.pending(), "CryptokiException(\"Check64BitLen\", 5, \"Value out of size for 32 bit (jint)\")");
}

TEST_P(GrowingTest, NothingBeyondTheBufferReachesJava) {
  answer("CKR_OK length=5000");
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE(before() + offer(offered(), "CKR_OK length=5000") + "NewByteArray 5000\n" +
               report("5 \"" + std::string(kTooMuch) + "\"") + giveBackInput());
}

TEST_P(GrowingTest, AModuleThatAsksForMoreThanThereIsGetsNoSecondCall) {
  answer("CKR_BUFFER_TOO_SMALL length=0x7FFFFFFFFFFFFFF0");
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE(before() + offer(offered(), "CKR_BUFFER_TOO_SMALL length=0x7FFFFFFFFFFFFFF0") + report("0x2") +
               giveBackInput());
}

const auto growing = [](const Method& m) { return m.output == Output::NewArray && m.sizing == Sizing::Growing; };

INSTANTIATE_TEST_SUITE_P(All, GrowingTest, ::testing::ValuesIn(methodsWhere(growing)), title);

/// The first guess is a Java int sum, and lengths that come out negative are more than there is.
class GuessTest : public GrowingTest {};

TEST_P(GuessTest, ASumThatOverflowsAJavaIntIsMoreThanThereIs) {
  arguments.input.length = 0x7FFFFFFF;
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE(before() + report("0x2") + giveBackInput());
}

TEST_P(GuessTest, ALengthTooNegativeForTheGuessIsMoreThanThereIs) {
  arguments.input.length = -513;
  EXPECT_EQ(call().array, nullptr);
  EXPECT_TRACE(before() + report("0x2") + giveBackInput());
}

TEST_P(GuessTest, ANegativeLengthReachesTheModuleWidened) {
  arguments.input.length = -1;
  answer("CKR_DATA_LEN_RANGE unread");
  EXPECT_EQ(call().array, nullptr);
  const std::string name = method.input;
  EXPECT_MODULE_TRACE(moduleCall(name + "=non-null " + name + "Length=0xFFFFFFFFFFFFFFFF",
                                 "buffer=non-null length=511 -> CKR_DATA_LEN_RANGE"));
}

TEST_P(GuessTest, AGuessOfNothingIsStillABuffer) {
  // A null buffer would make the call a length query, and its answer would pass for output.
  arguments.input.length = -512;
  answer("CKR_DATA_LEN_RANGE unread");
  EXPECT_EQ(call().array, nullptr);
  const std::string name = method.input;
  EXPECT_MODULE_TRACE(moduleCall(name + "=non-null " + name + "Length=0xFFFFFFFFFFFFFE00",
                                 "buffer=non-null length=0 -> CKR_DATA_LEN_RANGE"));
}

TEST_P(GuessTest, GrowsWithItsInput) {
  arguments.input = {env.bytes("input", std::string(1000, 'x')), 0, 1000};
  answer("CKR_DATA_INVALID");
  call();
  const std::string trace = takeModuleTrace();
  EXPECT_NE(trace.find(" buffer=non-null length=1512 -> CKR_DATA_INVALID"), std::string::npos) << trace;
}

INSTANTIATE_TEST_SUITE_P(All, GuessTest, ::testing::ValuesIn(methodsWhere([](const Method& m) {
                           return growing(m) && m.input != nullptr;
                         })),
                         title);

}  // namespace
}  // namespace operations
