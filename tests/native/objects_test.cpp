/// Creating, copying, destroying and sizing objects.
#include "conversions.h"
#include "native_test.h"

namespace {

class ObjectsTest : public NativeTest {
protected:
  static constexpr jlong kWide = 0x123456789;
  static constexpr jlong kHigh = static_cast<jlong>(0xFFFFFFFF80000001);

  jlong create(jobjectArray attributes) {
    return Java_velnor_nat_NativeSession_J_1CreateObject(jni, session, attributes);
  }
  jlong copy(jlong object, jobjectArray attributes) {
    return Java_velnor_nat_NativeSession_J_1CopyObject(jni, session, object, attributes);
  }
  void destroy(jlong object) { Java_velnor_nat_NativeSession_J_1DestroyObject(jni, session, object); }
  jint sizeOf(jlong object) { return Java_velnor_nat_NativeSession_J_1GetObjectSize(jni, session, object); }

  jobjectArray none = env.attributes("none", {});
};

// --- Creating --------------------------------------------------------------------------------------------------------

TEST_F(ObjectsTest, CreatesConvertingFirstAndReadingTheSessionThen) {
  EXPECT_EQ(create(none), 0xB06);
  EXPECT_TRACE(templateLines("none") + R"(
    sessionOf session
    C_CreateObject session=0x5E51 template=[] -> CKR_OK handle=0xB06
  )");
}

TEST_F(ObjectsTest, CreatesFromEveryKindOfValue) {
  create(env.attributes("template",
                        {env.attribute(CKA_CLASS, env.integer(CKO_DATA)), env.attribute(CKA_TOKEN, env.boolean(true)),
                         env.attribute(CKA_LABEL, env.string("", std::string("label"))),
                         env.attribute(CKA_VALUE, env.bytes("contents")), env.attribute(CKA_ID, nullptr)}));
  EXPECT_MODULE_TRACE(R"(
    C_CreateObject session=0x5E51 template=[0x0 8:0000000000000000, 0x1 1:01, 0x3 5:"label", 0x11 8:"contents", 0x102 0:null] -> CKR_OK handle=0xB06
  )");
}

// A token counts bytes, the library characters: of a label beyond ASCII the token sees the first bytes only.
TEST_F(ObjectsTest, CreatesWithTheLabelsCharacterCountAsItsLength) {
  create(env.attributes("template", {env.attribute(CKA_LABEL, env.string("", std::string("\u00E8\u00E9ab")))}));
  EXPECT_MODULE_TRACE(R"(
    C_CreateObject session=0x5E51 template=[0x3 4:C3A8C3A9] -> CKR_OK handle=0xB06
  )");
}

// Vendor-defined types keep their sign on the way: callers write them as negative ints.
TEST_F(ObjectsTest, CreatesWithATypeWhoseSignIsSpread) {
  create(env.attributes("template", {env.attribute(static_cast<jint>(0x80000001), env.boolean(false))}));
  EXPECT_MODULE_TRACE(R"(
    C_CreateObject session=0x5E51 template=[0xFFFFFFFF80000001 1:00] -> CKR_OK handle=0xB06
  )");
}

TEST_F(ObjectsTest, CreatesFromNullWithoutATemplate) {
  EXPECT_EQ(create(nullptr), 0xB06);
  EXPECT_TRACE(R"(
    sessionOf session
    C_CreateObject session=0x5E51 template=null:0 -> CKR_OK handle=0xB06
  )");
}

TEST_F(ObjectsTest, ReportsAConversionUnderItsOwnNameAndLeavesTheSessionAlone) {
  env.declareMissing("velnor/Attribute", "value");
  EXPECT_EQ(create(none), 0);
  EXPECT_TRACE(R"(
    FindClass velnor/Attribute
    GetFieldID velnor/Attribute type I
    GetFieldID velnor/Attribute value Ljava/lang/Object; -> null
    report "J_CreateObject" 5 "Field value not found"
  )");
}

TEST_F(ObjectsTest, ReportsANullAttributeInsteadOfReadingIt) {
  EXPECT_EQ(create(env.attributes("template", {nullptr})), 0);
  EXPECT_EQ(env.pendingReport()->function, "J_CreateObject");
  EXPECT_EQ(env.pendingReport()->code, 5);
  EXPECT_EQ(module.journal(), "");
}

// --- Copying ---------------------------------------------------------------------------------------------------------

TEST_F(ObjectsTest, CopiesConvertingFirstAndReadingTheSessionThen) {
  EXPECT_EQ(copy(hData, none), 0xB06);
  EXPECT_TRACE(templateLines("none") + R"(
    sessionOf session
    C_CopyObject session=0x5E51 object=0xB04 template=[] -> CKR_OK handle=0xB06
  )");
}

TEST_F(ObjectsTest, CopiesWithNullWithoutATemplate) {
  EXPECT_EQ(copy(hData, nullptr), 0xB06);
  EXPECT_TRACE(R"(
    sessionOf session
    C_CopyObject session=0x5E51 object=0xB04 template=null:0 -> CKR_OK handle=0xB06
  )");
}

TEST_F(ObjectsTest, CopiesWithWhatTheTemplateChanges) {
  copy(hData, env.attributes("template", {env.attribute(CKA_LABEL, env.string("", std::string("copy")))}));
  EXPECT_MODULE_TRACE(R"(
    C_CopyObject session=0x5E51 object=0xB04 template=[0x3 4:"copy"] -> CKR_OK handle=0xB06
  )");
}

TEST_F(ObjectsTest, CopyReportsAConversionUnderItsOwnName) {
  env.declareMissing("velnor/Attribute");
  EXPECT_EQ(copy(hData, none), 0);
  EXPECT_TRACE(R"(
    FindClass velnor/Attribute -> null
    report "J_CopyObject" 5 "Class 'velnor/Attribute' not found"
  )");
}

// --- Handles ---------------------------------------------------------------------------------------------------------

TEST_F(ObjectsTest, NewHandlesKeepAllTheirBits) {
  module.answer("C_CreateObject handle=0x123456789");
  module.answer("C_CreateObject handle=0xFFFFFFFF80000001");
  module.answer("C_CopyObject handle=0x80000000");
  EXPECT_EQ(create(nullptr), kWide);
  EXPECT_EQ(create(nullptr), kHigh);
  EXPECT_EQ(copy(hData, nullptr), 0x80000000);
}

TEST_F(ObjectsTest, GivenHandlesKeepAllTheirBits) {
  module.answer("C_CopyObject CKR_OK handle=1");
  module.answer("C_DestroyObject CKR_OK");
  module.answer("C_GetObjectSize CKR_OK size=9");
  copy(kWide, nullptr);
  destroy(kHigh);
  sizeOf(kHigh);
  EXPECT_MODULE_TRACE(R"(
    C_CopyObject session=0x5E51 object=0x123456789 template=null:0 -> CKR_OK handle=0x1
    C_DestroyObject session=0x5E51 object=0xFFFFFFFF80000001 -> CKR_OK
    C_GetObjectSize session=0x5E51 object=0xFFFFFFFF80000001 -> CKR_OK size=0x9
  )");
}

TEST_F(ObjectsTest, AnObjectThatTheModuleGivesNoSizeHasNone) {
  module.answer("C_GetObjectSize CKR_OK");
  EXPECT_EQ(sizeOf(hData), 0);
}

TEST_F(ObjectsTest, AHandleThatAFailureLeftBehindIsNoHandle) {
  module.answer("C_CreateObject CKR_TEMPLATE_INCOMPLETE handle=0x77");
  module.answer("C_CopyObject CKR_DEVICE_MEMORY handle=0x77");
  EXPECT_EQ(create(nullptr), 0);
  EXPECT_EQ(copy(hData, nullptr), 0);
  EXPECT_TRACE(R"(
    sessionOf session
    C_CreateObject session=0x5E51 template=null:0 -> CKR_TEMPLATE_INCOMPLETE handle=0x77
    report "J_CreateObject" 0xD0
    sessionOf session
    C_CopyObject session=0x5E51 object=0xB04 template=null:0 -> CKR_DEVICE_MEMORY handle=0x77
    report "J_CopyObject" 0x31
  )");
}

// --- Destroying and sizing -------------------------------------------------------------------------------------------

TEST_F(ObjectsTest, DestroysOnce) {
  destroy(hData);
  destroy(hData);
  EXPECT_TRACE(R"(
    sessionOf session
    C_DestroyObject session=0x5E51 object=0xB04 -> CKR_OK
    sessionOf session
    C_DestroyObject session=0x5E51 object=0xB04 -> CKR_OBJECT_HANDLE_INVALID
    report "J_DestroyObject" 0x82
  )");
}

TEST_F(ObjectsTest, TellsTheSize) {
  EXPECT_EQ(sizeOf(hData), 0x512E);
  EXPECT_TRACE(R"(
    sessionOf session
    C_GetObjectSize session=0x5E51 object=0xB04 -> CKR_OK size=0x512E
  )");
}

struct Size {
  const char* test;
  const char* size;
  jint result;
  bool reported;
};

class ObjectSizeTest : public NativeTest, public ::testing::WithParamInterface<Size> {};

INSTANTIATE_TEST_SUITE_P(Sizes, ObjectSizeTest,
                         ::testing::Values(Size{"None", "0", 0, false},
                                           Size{"Largest", "0x7FFFFFFF", 0x7FFFFFFF, false},
                                           Size{"TooLarge", "0x80000000", INT32_MIN, true},
                                           Size{"FarTooLarge", "0x500000007", 7, true},
                                           // what a token answers that cannot tell
                                           Size{"AllOnes", "-1", -1, false}),
                         [](const auto& instance) { return std::string(instance.param.test); });

TEST_P(ObjectSizeTest, IsCutToAnIntAndReportedWhenThatLosesSomething) {
  module.answer(std::string("C_GetObjectSize CKR_OK size=") + GetParam().size);
  EXPECT_EQ(Java_velnor_nat_NativeSession_J_1GetObjectSize(jni, session, hData), GetParam().result);
  EXPECT_EQ(env.pending(), GetParam().reported
                               ? R"x(CryptokiException("Check64BitLen", 5, "Value out of size for 32 bit (jint)"))x"
                               : "");
}

TEST_F(ObjectsTest, ASizeThatAFailureLeftBehindIsNoSize) {
  module.answer("C_GetObjectSize CKR_INFORMATION_SENSITIVE size=0x500000007");
  EXPECT_EQ(sizeOf(hData), 0);
  EXPECT_TRACE(R"(
    sessionOf session
    C_GetObjectSize session=0x5E51 object=0xB04 -> CKR_INFORMATION_SENSITIVE size=0x500000007
    report "J_GetObjectSize" 0x170
  )");
}

}  // namespace
