/// Wrapping and unwrapping keys.
#include "conversions.h"
#include "native_test.h"

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;

class KeyWrappingTest : public NativeTest {
protected:
  static constexpr jlong kWide = 0x123456789;
  static constexpr jlong kHigh = static_cast<jlong>(0xFFFFFFFF80000001);

  jbyteArray wrap(jobject mechanism, jlong wrappingKey = hSecretKey, jlong key = hSecretKey) {
    return Java_velnor_nat_NativeSession_J_1WrapKey(jni, session, mechanism, wrappingKey, key);
  }
  jlong unwrap(jobject mechanism, jlong unwrappingKey, jbyteArray wrapped, jint offset, jint length,
               jobjectArray attributes = nullptr) {
    return Java_velnor_nat_NativeSession_J_1UnwrapKey(jni, session, mechanism, unwrappingKey, wrapped, offset, length,
                                                      attributes);
  }

  jobject aes = env.mechanism("mechanism", CKM_AES_CBC);
  jobjectArray none = env.attributes("none", {});
  jbyteArray blob = env.bytes("blob", "WRAP:the key's octets");
};

// --- Wrapping --------------------------------------------------------------------------------------------------------

TEST_F(KeyWrappingTest, WrapsWithOneCallAndNoRoomToSpare) {
  EXPECT_EQ(env.show(wrap(aes)), R"("WRAP:0123456789abcdef")");
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    sessionOf session
    C_WrapKey session=0x5E51 mechanism=0x1082 wrappingKey=0xB01 key=0xB01 buffer=non-null length=1024 -> CKR_OK length=21
    NewByteArray 21
    SetByteArrayRegion byte[]#1 0 21 "WRAP:0123456789abcdef"
  )");
}

TEST_F(KeyWrappingTest, HandsOverTheMechanismsParameter) {
  wrap(env.mechanism("mechanism", CKM_DES3_CBC, env.bytes("the-iv-8")));
  EXPECT_THAT(module.journal(), HasSubstr(R"(mechanism=0x133 parameter=8:"the-iv-8" wrappingKey)"));
}

TEST_F(KeyWrappingTest, KeysToWrapKeepAllTheirBits) {
  module.answer("C_WrapKey CKR_OK length=0");
  wrap(aes, kWide, kHigh);
  EXPECT_THAT(module.journal(), HasSubstr("wrappingKey=0x123456789 key=0xFFFFFFFF80000001"));
}

struct WrappedSize {
  int size;
  const char* secondCall;  ///< null when one is enough
};

std::ostream& operator<<(std::ostream& out, const WrappedSize& wrapped) {
  return out << wrapped.size;
}

class WrappedSizeTest : public KeyWrappingTest, public ::testing::WithParamInterface<WrappedSize> {};

INSTANTIATE_TEST_SUITE_P(Bytes, WrappedSizeTest,
                         ::testing::Values(WrappedSize{0, nullptr}, WrappedSize{1, nullptr}, WrappedSize{1023, nullptr},
                                           WrappedSize{1024, nullptr}, WrappedSize{1025, "1025"},
                                           WrappedSize{2000, "2000"}, WrappedSize{100000, "100000"}),
                         ::testing::PrintToStringParamName());

TEST_P(WrappedSizeTest, IsTheLengthOfTheArray) {
  const std::string size = std::to_string(GetParam().size);
  module.answer("C_WrapKey size=" + size + " always");
  EXPECT_EQ(env.bytesOf(wrap(aes)).size(), static_cast<std::size_t>(GetParam().size));
  const std::string call =
      "C_WrapKey session=0x5E51 mechanism=0x1082 wrappingKey=0xB01 key=0xB01 buffer=non-null length=";
  EXPECT_MODULE_TRACE(GetParam().secondCall == nullptr ? call + "1024 -> CKR_OK length=" + size
                                                       : call + "1024 -> CKR_BUFFER_TOO_SMALL length=" + size + "\n" +
                                                             call + size + " -> CKR_OK length=" + size);
}

// The module may change its mind as often as it likes, and also ask for less.
TEST_F(KeyWrappingTest, AsksAgainForAsLongAsTheModuleAsksForMore) {
  module.answer("C_WrapKey CKR_BUFFER_TOO_SMALL length=2000");
  module.answer("C_WrapKey CKR_BUFFER_TOO_SMALL length=5000");
  module.answer("C_WrapKey CKR_BUFFER_TOO_SMALL length=5000");
  module.answer("C_WrapKey CKR_BUFFER_TOO_SMALL length=1");
  module.answer(R"(C_WrapKey data="x")");
  EXPECT_EQ(env.show(wrap(aes)), R"("x")");
  std::string lengths;
  for (const std::string& line : jvm::expectedLines(module.journal())) {
    lengths += line.substr(line.find("length="), line.find(" ->") - line.find("length=")) + " ";
  }
  EXPECT_EQ(lengths, "length=1024 length=2000 length=5000 length=5000 length=1 ");
}

TEST_F(KeyWrappingTest, GivesUpWhenTheModuleAsksForNothing) {
  module.answer("C_WrapKey CKR_BUFFER_TOO_SMALL length=2000");
  module.answer("C_WrapKey CKR_BUFFER_TOO_SMALL length=0");
  EXPECT_EQ(wrap(aes), nullptr);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    sessionOf session
    C_WrapKey session=0x5E51 mechanism=0x1082 wrappingKey=0xB01 key=0xB01 buffer=non-null length=1024 -> CKR_BUFFER_TOO_SMALL length=2000
    C_WrapKey session=0x5E51 mechanism=0x1082 wrappingKey=0xB01 key=0xB01 buffer=non-null length=2000 -> CKR_BUFFER_TOO_SMALL length=0
    report "J_WrapKey" 0x150
  )");
}

TEST_F(KeyWrappingTest, AnyOtherRefusalEndsIt) {
  module.answer("C_WrapKey CKR_KEY_UNEXTRACTABLE length=2000");
  EXPECT_EQ(wrap(aes), nullptr);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    sessionOf session
    C_WrapKey session=0x5E51 mechanism=0x1082 wrappingKey=0xB01 key=0xB01 buffer=non-null length=1024 -> CKR_KEY_UNEXTRACTABLE length=2000
    report "J_WrapKey" 0x6A
  )");
}

TEST_F(KeyWrappingTest, ReportsARefusedArray) {
  env.failNext("NewByteArray", jvm::Leaving::Exception);
  EXPECT_EQ(wrap(aes), nullptr);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    sessionOf session
    C_WrapKey session=0x5E51 mechanism=0x1082 wrappingKey=0xB01 key=0xB01 buffer=non-null length=1024 -> CKR_OK length=21
    NewByteArray 21 -> null
    report "J_WrapKey" 5 "jWrappedKey is NULL"
  )");
}

TEST_F(KeyWrappingTest, ALengthOfAllOnesIsARefusedArray) {
  module.answer("C_WrapKey CKR_OK length=-1");
  EXPECT_EQ(wrap(aes), nullptr);
  EXPECT_THAT(env.trace(), HasSubstr("NewByteArray -1 -> null\nreport \"J_WrapKey\" 5 \"jWrappedKey is NULL\""));
}

TEST_F(KeyWrappingTest, ALengthBeyondTheBufferIsNeverRead) {
  module.answer("C_WrapKey CKR_OK length=1025");
  EXPECT_EQ(wrap(aes), nullptr);
  EXPECT_EQ(env.pendingReport()->function, "J_WrapKey");
  EXPECT_EQ(env.pendingReport()->code, 5);
  EXPECT_EQ(env.calls("SetByteArrayRegion"), 2) << "only the report's own two texts";
}

TEST_F(KeyWrappingTest, ALengthWiderThanAnIntIsReportedAndCut) {
  module.answer(R"(C_WrapKey data="abc" length=0x100000003)");
  EXPECT_EQ(env.show(wrap(aes)), R"("abc")");
  EXPECT_EQ(env.pending(), R"x(CryptokiException("Check64BitLen", 5, "Value out of size for 32 bit (jint)"))x");
}

TEST_F(KeyWrappingTest, WrapReportsTheMechanismBeforeTheSession) {
  env.declareMissing("velnor/Mechanism");
  env.declareMissing("velnor/nat/NativeSession");
  EXPECT_EQ(wrap(aes), nullptr);
  EXPECT_TRACE(R"(
    FindClass velnor/Mechanism -> null
    report "J_WrapKey" 5 "Class 'velnor/Mechanism' not found"
  )");
}

// --- Unwrapping ------------------------------------------------------------------------------------------------------

// The elements are never given back: the blob of a caller has always stayed held.
TEST_F(KeyWrappingTest, UnwrapsAndKeepsTheBlobsElements) {
  EXPECT_EQ(unwrap(aes, hSecretKey, blob, 0, 21, none), 0xB06);
  EXPECT_TRACE(templateLines("none") + mechanismLines("mechanism") + R"(
    GetByteArrayElements blob
    sessionOf session
    C_UnwrapKey session=0x5E51 mechanism=0x1082 unwrappingKey=0xB01 wrappedKey="WRAP:the key's octets" template=[] -> CKR_OK handle=0xB06
  )");
  expectOut({"blob"});
}

TEST_F(KeyWrappingTest, UnwrapsTheRegionThatBeginsAtTheOffset) {
  const jbyteArray framed = env.bytes("framed", "headWRAP:0123456789ABtail");
  unwrap(aes, hSecretKey, framed, 4, 16);
  EXPECT_MODULE_TRACE(R"(
    C_UnwrapKey session=0x5E51 mechanism=0x1082 unwrappingKey=0xB01 wrappedKey="WRAP:0123456789A" template=null:0 -> CKR_OK handle=0xB06
  )");
  expectOut({"framed"});
}

TEST_F(KeyWrappingTest, UnwrapHandsOverTheTemplateAndTheMechanismsParameter) {
  unwrap(env.mechanism("mechanism", CKM_DES3_CBC, env.bytes("the-iv-8")), hSecretKey, blob, 0, 5,
         env.attributes("template", {env.attribute(CKA_TOKEN, env.boolean(false)), env.attribute(CKA_ID, nullptr)}));
  EXPECT_MODULE_TRACE(R"(
    C_UnwrapKey session=0x5E51 mechanism=0x133 parameter=8:"the-iv-8" unwrappingKey=0xB01 wrappedKey="WRAP:" template=[0x1 1:00, 0x102 0:null] -> CKR_OK handle=0xB06
  )");
  expectOut({"blob"});
}

struct WildRegion {
  const char* test;
  jint offset;
  jint length;
  const char* shownLength;
};

std::ostream& operator<<(std::ostream& out, const WildRegion& region) {
  return out << region.test;
}

class WildRegionTest : public KeyWrappingTest, public ::testing::WithParamInterface<WildRegion> {};

// A caller's offsets and lengths go to the module as they are, ints with their sign spread: checking them is Java's
// business.
INSTANTIATE_TEST_SUITE_P(Of, WildRegionTest,
                         ::testing::Values(WildRegion{"OffsetBehindTheEnd", 1000, 4, "4"},
                                           WildRegion{"NegativeOffset", -8, 4, "4"},
                                           WildRegion{"LengthBeyondTheEnd", 0, 1000, "1000"},
                                           WildRegion{"NegativeLength", 0, -1, "0xFFFFFFFFFFFFFFFF"},
                                           WildRegion{"SmallestLength", 0, INT32_MIN, "0xFFFFFFFF80000000"}),
                         [](const auto& instance) { return std::string(instance.param.test); });

TEST_P(WildRegionTest, IsNotComparedWithTheArray) {
  module.answer("C_UnwrapKey CKR_WRAPPED_KEY_LEN_RANGE unread");
  EXPECT_EQ(unwrap(aes, hSecretKey, blob, GetParam().offset, GetParam().length), 0);
  EXPECT_THAT(module.journal(),
              HasSubstr(std::string("wrappedKey=non-null wrappedKeyLength=") + GetParam().shownLength + " "));
  EXPECT_EQ(env.calls("GetArrayLength"), 0);
  expectOut({"blob"});
}

TEST_F(KeyWrappingTest, ANegativeOffsetPointsBeforeTheElements) {
  OwnFunctionList list;
  static CK_BYTE eightBehind;
  list->C_UnwrapKey = [](CK_SESSION_HANDLE, CK_MECHANISM_PTR, CK_OBJECT_HANDLE, CK_BYTE_PTR pWrappedKey, CK_ULONG,
                         CK_ATTRIBUTE_PTR, CK_ULONG, CK_OBJECT_HANDLE_PTR) -> CK_RV {
    eightBehind = pWrappedKey[8];
    return CKR_WRAPPED_KEY_INVALID;
  };
  unwrap(aes, hSecretKey, blob, -8, 4);
  EXPECT_EQ(eightBehind, 'W');
  expectOut({"blob"});
}

TEST_F(KeyWrappingTest, HandlesToUnwrapKeepAllTheirBits) {
  module.answer("C_UnwrapKey CKR_OK handle=0x80000000");
  module.answer("C_UnwrapKey CKR_OK handle=0x7FFFFFFFFFFFFFFF");
  EXPECT_EQ(unwrap(aes, kWide, blob, 0, 4), 0x80000000);
  EXPECT_EQ(unwrap(aes, kHigh, blob, 0, 4), INT64_MAX);
  EXPECT_MODULE_TRACE(R"(
    C_UnwrapKey session=0x5E51 mechanism=0x1082 unwrappingKey=0x123456789 wrappedKey="WRAP" template=null:0 -> CKR_OK handle=0x80000000
    C_UnwrapKey session=0x5E51 mechanism=0x1082 unwrappingKey=0xFFFFFFFF80000001 wrappedKey="WRAP" template=null:0 -> CKR_OK handle=0x7FFFFFFFFFFFFFFF
  )");
  expectOut({"blob", "blob"});
}

TEST_F(KeyWrappingTest, AFailedUnwrapIsNoHandleAndKeepsTheBlobToo) {
  module.answer("C_UnwrapKey CKR_WRAPPED_KEY_INVALID handle=0x77");
  EXPECT_EQ(unwrap(aes, hSecretKey, blob, 0, 4), 0);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    GetByteArrayElements blob
    sessionOf session
    C_UnwrapKey session=0x5E51 mechanism=0x1082 unwrappingKey=0xB01 wrappedKey="WRAP" template=null:0 -> CKR_WRAPPED_KEY_INVALID handle=0x77
    report "J_UnwrapKey" 0x110
  )");
  expectOut({"blob"});
}

TEST_F(KeyWrappingTest, AMissingSessionKeepsTheBlobToo) {
  env.declareMissing("velnor/nat/NativeSession");
  EXPECT_EQ(unwrap(aes, hSecretKey, blob, 0, 4), 0);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    GetByteArrayElements blob
    FindClass velnor/nat/NativeSession -> null
    report "J_UnwrapKey" 5 "Class 'velnor/nat/NativeSession' not found"
  )");
  expectOut({"blob"});
}

// The text speaks of the module's argument, not of the caller's.
TEST_F(KeyWrappingTest, ReportsANullBlobAfterBothConversionsAndBeforeTheSession) {
  EXPECT_EQ(unwrap(aes, hSecretKey, nullptr, 0, 4, none), 0);
  EXPECT_TRACE(templateLines("none") + mechanismLines("mechanism") + R"(
    report "J_UnwrapKey" 5 "pWrappedKey is NULL"
  )");
}

TEST_F(KeyWrappingTest, ReportsRefusedElementsOfTheBlobInTheSameWords) {
  env.failNext("GetByteArrayElements", jvm::Leaving::Exception);
  EXPECT_EQ(unwrap(aes, hSecretKey, blob, 0, 4), 0);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    GetByteArrayElements blob -> null
    report "J_UnwrapKey" 5 "pWrappedKey is NULL"
  )");
}

TEST_F(KeyWrappingTest, UnwrapReportsTheTemplateThenTheMechanismThenTheBlob) {
  env.failNth("FindClass", 2);
  EXPECT_EQ(unwrap(nullptr, hSecretKey, nullptr, 0, 4, none), 0);
  EXPECT_EQ(env.pendingReport()->message, "Attribute2CKAttribute - Class 'java/lang/Integer' not found");
  env.declareMissing("velnor/Mechanism", "mechanism");
  EXPECT_EQ(unwrap(aes, hSecretKey, nullptr, 0, 4, none), 0);
  EXPECT_EQ(env.pendingReport()->function, "J_UnwrapKey");
  EXPECT_EQ(env.pendingReport()->message, "Field mechanism not found");
  EXPECT_EQ(module.journal(), "");
}

}  // namespace
