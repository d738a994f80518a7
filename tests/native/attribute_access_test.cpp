/// Reading and writing the attributes of one object.
#include "conversions.h"
#include "native_test.h"

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class AttributeAccessTest : public NativeTest {
protected:
  static constexpr jint kVendorType = static_cast<jint>(0x80000001);

  jobject read(jlong object, jint type) {
    return Java_velnor_nat_NativeSession_J_1GetAttributeValue__JI(jni, session, object, type);
  }
  jobjectArray read(jlong object, jintArray types) {
    return Java_velnor_nat_NativeSession_J_1GetAttributeValue__J_3I(jni, session, object, types);
  }
  jobjectArray read(jlong object, const jvm::Ints& types) { return read(object, env.ints("types", types)); }
  void write(jlong object, jobjectArray attributes) {
    Java_velnor_nat_NativeSession_J_1SetAttributeValue(jni, session, object, attributes);
  }
  void expectReport(jint code, const std::string& message = "") {
    ASSERT_TRUE(env.pendingReport()) << env.pending();
    EXPECT_EQ(env.pendingReport()->function, "J_GetAttributeValue");
    EXPECT_EQ(env.pendingReport()->code, code);
    if (!message.empty()) {
      EXPECT_EQ(env.pendingReport()->message, message);
    }
  }
};

// --- One attribute ---------------------------------------------------------------------------------------------------

TEST_F(AttributeAccessTest, ReadsALabelIntoAByteArrayOfItsLength) {
  const jobject label = read(hSecretKey, CKA_LABEL);
  EXPECT_EQ(env.show(label), R"(Attribute(3, "secret"))");
  EXPECT_TRACE(R"(
    sessionOf session
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    C_GetAttributeValue session=0x5E51 object=0xB01 template=[0x3 2048:non-null] -> CKR_OK length=6
    NewByteArray 6
    SetByteArrayRegion byte[]#1 0 6 "secret"
    NewObject velnor/Attribute (3, byte[]#1)
  )");
}

// Whatever of them comes out as bytes is not counted by the module's word alone.
TEST_F(AttributeAccessTest, NoTypeIsCopiedBeyondTheBuffer) {
  int bytes = 0;
  for (jint type = 0; type < 0x300; ++type) {
    module.answer("C_GetAttributeValue CKR_OK length=8");
    const jobject given = read(hSecretKey, type);
    const std::string shown = given == nullptr ? "" : env.show(given);
    module.answer("C_GetAttributeValue CKR_OK length=2049");
    env.clear();
    const jobject tooLong = read(hSecretKey, type);
    if (shown.find("null") == std::string::npos && shown.find("Integer(") == std::string::npos &&
        shown.find("Boolean(") == std::string::npos) {
      ++bytes;
      EXPECT_EQ(tooLong, nullptr) << shown;
      expectReport(CKR_GENERAL_ERROR, "the pkcs#11 library reports more than it was given room for");
    } else {
      EXPECT_NE(tooLong, nullptr) << shown;
    }
    env.clear();
    env.clearException();
  }
  EXPECT_GE(bytes, 19);
}

TEST_F(AttributeAccessTest, ReadsANumberThatIsOfferedEightBytes) {
  EXPECT_EQ(env.show(read(hPublicKey, CKA_MODULUS_BITS)), "Attribute(289, Integer(1024))");
  EXPECT_TRACE(R"(
    sessionOf session
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    C_GetAttributeValue session=0x5E51 object=0xB02 template=[0x121 8:non-null] -> CKR_OK length=8
    FindClass java/lang/Integer
    GetMethodID java/lang/Integer <init> (I)V
    NewObject java/lang/Integer (1024)
    DeleteLocalRef java/lang/Integer
    NewObject velnor/Attribute (289, Integer(1024))
  )");
}

TEST_F(AttributeAccessTest, ReadsABooleanThatIsOfferedOneByte) {
  EXPECT_EQ(env.show(read(hPrivateKey, CKA_SIGN)), "Attribute(264, Boolean(true))");
  EXPECT_TRACE(R"(
    sessionOf session
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    C_GetAttributeValue session=0x5E51 object=0xB03 template=[0x108 1:non-null] -> CKR_OK length=1
    FindClass java/lang/Boolean
    GetMethodID java/lang/Boolean <init> (Z)V
    NewObject java/lang/Boolean (true)
    DeleteLocalRef java/lang/Boolean
    NewObject velnor/Attribute (264, Boolean(true))
  )");
}

TEST_F(AttributeAccessTest, ReadsTheLowHalfOfANumber) {
  module.answer("C_GetAttributeValue data=0700008001000000");
  EXPECT_EQ(env.show(read(hSecretKey, CKA_CLASS)), "Attribute(0, Integer(-2147483641))");
}

// Asked with the whole buffer, though it converts as a boolean: modules have always been asked so.
TEST_F(AttributeAccessTest, OffersAlwaysAuthenticateTheWholeBuffer) {
  module.answer("C_GetAttributeValue data=01");
  EXPECT_EQ(env.show(read(hPrivateKey, CKA_ALWAYS_AUTHENTICATE)), "Attribute(514, Boolean(true))");
  EXPECT_THAT(module.journal(), HasSubstr("template=[0x202 2048:non-null]"));
}

// Existing callers take the null for "no such conversion" and ask elsewhere for the issuer.
TEST_F(AttributeAccessTest, ReadsAnAttributeWithoutAConversionAsNull) {
  EXPECT_EQ(env.show(read(hCertificate, CKA_ISSUER)), "Attribute(129, null)");
  EXPECT_TRACE(R"(
    sessionOf session
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    C_GetAttributeValue session=0x5E51 object=0xB05 template=[0x81 2048:non-null] -> CKR_OK length=9
    NewObject velnor/Attribute (129, null)
  )");
}

TEST_F(AttributeAccessTest, SpreadsTheSignOfATypeAndCutsItAgain) {
  module.answer("C_GetAttributeValue CKR_OK");
  EXPECT_EQ(env.show(read(hData, kVendorType)), "Attribute(-2147483647, null)");
  EXPECT_THAT(module.journal(), HasSubstr("template=[0xFFFFFFFF80000001 2048:non-null]"));
}

TEST_F(AttributeAccessTest, HandlesKeepAllTheirBits) {
  module.answer("C_GetAttributeValue CKR_OK length=0 always");
  read(0x123456789, CKA_LABEL);
  read(static_cast<jlong>(0xFFFFFFFF80000001), jvm::Ints{CKA_LABEL});
  write(0x900000001, nullptr);
  EXPECT_MODULE_TRACE(R"(
    C_GetAttributeValue session=0x5E51 object=0x123456789 template=[0x3 2048:non-null] -> CKR_OK length=0
    C_GetAttributeValue session=0x5E51 object=0xFFFFFFFF80000001 template=[0x3 2048:non-null] -> CKR_OK length=0
    C_SetAttributeValue session=0x5E51 object=0x900000001 template=null:0 -> CKR_OBJECT_HANDLE_INVALID
  )");
}

// Unlike the list and the search, the single read tolerates nothing.
TEST_F(AttributeAccessTest, ASingleReadFailsForAnAttributeThatTheObjectLacks) {
  EXPECT_EQ(read(hData, CKA_MODULUS), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    C_GetAttributeValue session=0x5E51 object=0xB04 template=[0x120 2048:non-null] -> CKR_ATTRIBUTE_TYPE_INVALID length=0xFFFFFFFFFFFFFFFF
    report "J_GetAttributeValue" 0x12
  )");
}

// The stray apostrophe and the older class name are part of the text, and differ from the list's.
TEST_F(AttributeAccessTest, ASingleReadReportsAMissingConstructorInItsOwnWords) {
  env.declareMissing("velnor/Attribute", "<init>");
  EXPECT_EQ(read(hData, CKA_LABEL), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V -> null
    report "J_GetAttributeValue" 5 "Pkcs11Attribute constructor' not found"
  )");
}

TEST_F(AttributeAccessTest, ASingleReadReportsAMissingAttributeClassAfterTheSession) {
  env.declareMissing("velnor/Attribute");
  EXPECT_EQ(read(hData, CKA_LABEL), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    FindClass velnor/Attribute -> null
    report "J_GetAttributeValue" 5 "Class 'velnor/Attribute' not found"
  )");
}

// "Template" is what the text says, although it is the attribute that could not be made.
TEST_F(AttributeAccessTest, ASingleReadReportsARefusedAttribute) {
  env.failNext("NewObject", jvm::Leaving::Exception);
  EXPECT_EQ(read(hCertificate, CKA_ISSUER), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    C_GetAttributeValue session=0x5E51 object=0xB05 template=[0x81 2048:non-null] -> CKR_OK length=9
    NewObject velnor/Attribute (129, null) -> null
    report "J_GetAttributeValue" 5 "Template is NULL"
  )");
}

TEST_F(AttributeAccessTest, ASingleReadReportsAFailedConversion) {
  env.failNext("NewByteArray");
  EXPECT_EQ(read(hData, CKA_LABEL), nullptr);
  expectReport(5, "CkAttribute2Pkcs11Attribute - byteArrayValue is NULL");
}

// --- A list ----------------------------------------------------------------------------------------------------------

TEST_F(AttributeAccessTest, ReadsAListOneByOneInTheOrderAsked) {
  const jobjectArray list = read(hData, jvm::Ints{CKA_VALUE, CKA_LABEL});
  EXPECT_EQ(env.show(list), R"([Attribute(17, "contents"), Attribute(3, "data")])");
  EXPECT_TRACE(R"(
    GetIntArrayElements types
    GetArrayLength types
    ReleaseIntArrayElements types mode 0
    sessionOf session
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    NewObjectArray 2 velnor/Attribute null
    C_GetAttributeValue session=0x5E51 object=0xB04 template=[0x11 2048:non-null] -> CKR_OK length=8
    NewByteArray 8
    SetByteArrayRegion byte[]#1 0 8 "contents"
    NewObject velnor/Attribute (17, byte[]#1)
    SetObjectArrayElement Attribute[]#1 0 Attribute#1
    C_GetAttributeValue session=0x5E51 object=0xB04 template=[0x3 2048:non-null] -> CKR_OK length=4
    NewByteArray 4
    SetByteArrayRegion byte[]#2 0 4 "data"
    NewObject velnor/Attribute (3, byte[]#2)
    SetObjectArrayElement Attribute[]#1 1 Attribute#2
  )");
}

TEST_F(AttributeAccessTest, OffersEveryEntryTheLengthOfItsKindAgain) {
  read(hSecretKey, jvm::Ints{CKA_LABEL, CKA_CLASS, CKA_SENSITIVE, CKA_LABEL});
  EXPECT_MODULE_TRACE(R"(
    C_GetAttributeValue session=0x5E51 object=0xB01 template=[0x3 2048:non-null] -> CKR_OK length=6
    C_GetAttributeValue session=0x5E51 object=0xB01 template=[0x0 8:non-null] -> CKR_OK length=8
    C_GetAttributeValue session=0x5E51 object=0xB01 template=[0x103 1:non-null] -> CKR_OK length=1
    C_GetAttributeValue session=0x5E51 object=0xB01 template=[0x3 2048:non-null] -> CKR_OK length=6
  )");
}

TEST_F(AttributeAccessTest, AListReadsAnAttributeThatTheObjectLacksAsNull) {
  const jobjectArray list = read(hData, jvm::Ints{CKA_MODULUS, CKA_LABEL});
  EXPECT_EQ(env.show(list), R"([Attribute(288, null), Attribute(3, "data")])");
  EXPECT_EQ(env.pending(), "");
}

// Only "type invalid" is tolerated, on purpose: the search tolerates everything, see search_test.cpp.
TEST_F(AttributeAccessTest, AListFailsForASensitiveAttribute) {
  EXPECT_EQ(read(hPrivateKey, jvm::Ints{CKA_LABEL, CKA_PRIVATE_EXPONENT, CKA_MODULUS}), nullptr);
  EXPECT_THAT(takeModuleTrace(), Not(HasSubstr("0x120")));
  expectReport(CKR_ATTRIBUTE_SENSITIVE);
}

class ListRefusalTest : public AttributeAccessTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Answers, ListRefusalTest,
                         ::testing::Values("CKR_BUFFER_TOO_SMALL", "CKR_OBJECT_HANDLE_INVALID", "CKR_HOST_MEMORY",
                                           "CKR_ATTRIBUTE_VALUE_INVALID", "CKR_ATTRIBUTE_READ_ONLY"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST_P(ListRefusalTest, FailsTheListAtOnce) {
  module.answer("C_GetAttributeValue");
  module.answer(std::string("C_GetAttributeValue ") + GetParam());
  EXPECT_EQ(read(hData, jvm::Ints{CKA_LABEL, CKA_VALUE, CKA_APPLICATION}), nullptr);
  EXPECT_THAT(takeModuleTrace(), Not(HasSubstr("0x10 ")));
  EXPECT_TRUE(env.pendingReport());
}

TEST_F(AttributeAccessTest, AnEmptyListReadsAsAnEmptyArrayWithoutTheModule) {
  EXPECT_EQ(env.show(read(hData, jvm::Ints{})), "[]");
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(module.journal(), "");
}

TEST_F(AttributeAccessTest, ANullListCountsAsEmpty) {
  EXPECT_EQ(env.show(read(hData, static_cast<jintArray>(nullptr))), "[]");
  EXPECT_TRACE(R"(
    sessionOf session
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    NewObjectArray 0 velnor/Attribute null
  )");
}

TEST_F(AttributeAccessTest, AListReportsAMissingConstructorInItsOwnWords) {
  env.declareMissing("velnor/Attribute", "<init>");
  EXPECT_EQ(read(hData, jvm::Ints{CKA_LABEL}), nullptr);
  expectReport(5, "Attribute constructor' not found");
  EXPECT_EQ(module.journal(), "");
}

TEST_F(AttributeAccessTest, AListReportsAMissingAttributeClass) {
  env.declareMissing("velnor/Attribute");
  EXPECT_EQ(read(hData, jvm::Ints{CKA_LABEL}), nullptr);
  expectReport(5, "Class 'velnor/Attribute' not found");
}

TEST_F(AttributeAccessTest, AListReportsARefusedArrayBeforeTheModuleIsAsked) {
  env.failNext("NewObjectArray", jvm::Leaving::Exception);
  EXPECT_EQ(read(hData, jvm::Ints{CKA_LABEL}), nullptr);
  expectReport(5, "jTemplate is NULL");
  EXPECT_EQ(module.journal(), "");
}

TEST_F(AttributeAccessTest, AListReportsARefusedAttribute) {
  env.failNth("NewObject", 2);
  EXPECT_EQ(read(hCertificate, jvm::Ints{CKA_ISSUER, CKA_LABEL}), nullptr);
  expectReport(5, "Pkcs11Attribute object is NULL");
}

// --- Modules that lie ------------------------------------------------------------------------------------------------

/// What both ways of reading do with the answer of a module.
struct Lie {
  const char* test;
  jint type;
  const char* answer;
  const char* value;   ///< of the attribute; null when the read must fail
  const char* report;  ///< the text that must be pending; null for any, empty for none
};

std::ostream& operator<<(std::ostream& out, const Lie& lie) {
  return out << lie.answer;
}

class LyingModuleTest : public AttributeAccessTest, public ::testing::WithParamInterface<Lie> {
protected:
  void expectReport() const {
    const char* const wanted = GetParam().report;
    if (wanted != nullptr && *wanted == '\0') {
      EXPECT_EQ(env.pending(), "");
    } else {
      ASSERT_TRUE(env.pendingReport());
      EXPECT_EQ(env.pendingReport()->code, 5);
      if (wanted != nullptr) {
        EXPECT_EQ(env.pendingReport()->message, wanted);
      }
    }
  }
};

constexpr char kUnavailable[] = "CkAttribute2Pkcs11Attribute - byteArrayValue is NULL";
constexpr char kTooWide[] = "Value out of size for 32 bit (jint)";

INSTANTIATE_TEST_SUITE_P(
    Of, LyingModuleTest,
    ::testing::Values(Lie{"BytesUnavailable", CKA_LABEL, "CKR_OK length=-1", nullptr, kUnavailable},
                      Lie{"BytesBeyondTheBuffer", CKA_LABEL, "CKR_OK length=2049", nullptr, nullptr},
                      Lie{"BytesFarBeyondTheBuffer", CKA_LABEL, "CKR_OK length=0x7FFFFFFF", nullptr, nullptr},
                      Lie{"BytesUpToTheEnd", CKA_APPLICATION, "size=2048", "2048", ""},
                      // Reported, but read with what remains of the length.
                      Lie{"BytesWiderThanAnInt", CKA_LABEL, R"(data="abc" length=0x100000003)", R"("abc")", kTooWide},
                      // A number or a truth is read by its type alone, whatever length the module gives it.
                      Lie{"NumberUnavailable", CKA_CLASS, "data=0300000000000000 length=-1", "Integer(3)", ""},
                      Lie{"NumberTooLong", CKA_CLASS, "data=0300000000000000 length=5000", "Integer(3)", ""},
                      Lie{"NumberTooShort", CKA_KEY_TYPE, "data=1F00000000000000 length=1", "Integer(31)", ""},
                      Lie{"TruthUnavailable", CKA_TOKEN, "data=01 length=-1", "Boolean(true)", ""},
                      Lie{"TruthTooLong", CKA_TOKEN, "data=01 length=5000", "Boolean(true)", ""},
                      Lie{"TruthWiderThanAnInt", CKA_TOKEN, "data=01 length=0x100000003", "Boolean(true)", ""},
                      Lie{"TruthThatIsNeither", CKA_TOKEN, "data=07", "Boolean(boolean 7)", ""},
                      Lie{"NoConversionTooLong", CKA_ISSUER, "CKR_OK length=5000", "null", ""}),
    [](const auto& instance) { return std::string(instance.param.test); });

TEST_P(LyingModuleTest, SingleRead) {
  module.answer(std::string("C_GetAttributeValue ") + GetParam().answer);
  const jobject attribute = read(hData, GetParam().type);
  if (GetParam().value == nullptr) {
    EXPECT_EQ(attribute, nullptr);
  } else if (std::string(GetParam().value) == "2048") {
    EXPECT_THAT(env.show(attribute), HasSubstr("(2048 bytes"));
  } else {
    EXPECT_EQ(env.show(attribute), "Attribute(" + std::to_string(GetParam().type) + ", " + GetParam().value + ")");
  }
  expectReport();
}

TEST_P(LyingModuleTest, ListRead) {
  module.answer(std::string("C_GetAttributeValue ") + GetParam().answer);
  const jobjectArray list = read(hData, jvm::Ints{GetParam().type});
  EXPECT_EQ(list == nullptr, GetParam().value == nullptr);
  expectReport();
}

// --- Writing ---------------------------------------------------------------------------------------------------------

TEST_F(AttributeAccessTest, WritesConvertingFirstAndReadingTheSessionThen) {
  write(hData, env.attributes("none", {}));
  EXPECT_TRACE(templateLines("none") + R"(
    sessionOf session
    C_SetAttributeValue session=0x5E51 object=0xB04 template=[] -> CKR_OK
  )");
}

TEST_F(AttributeAccessTest, WritesWhatIsReadAfterwards) {
  write(hData, env.attributes("template", {env.attribute(CKA_LABEL, env.string("", std::string("renamed"))),
                                           env.attribute(CKA_VALUE, nullptr)}));
  EXPECT_MODULE_TRACE(R"(
    C_SetAttributeValue session=0x5E51 object=0xB04 template=[0x3 7:"renamed", 0x11 0:null] -> CKR_OK
  )");
  EXPECT_EQ(env.show(read(hData, CKA_LABEL)), R"(Attribute(3, "renamed"))");
}

TEST_F(AttributeAccessTest, WritesNullAsAnEmptyTemplate) {
  write(hData, nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_SetAttributeValue session=0x5E51 object=0xB04 template=null:0 -> CKR_OK
  )");
}

TEST_F(AttributeAccessTest, WriteReportsTheModulesRefusal) {
  module.answer("C_SetAttributeValue CKR_ATTRIBUTE_READ_ONLY");
  write(hData, nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_SetAttributeValue session=0x5E51 object=0xB04 template=null:0 -> CKR_ATTRIBUTE_READ_ONLY
    report "J_SetAttributeValue" 0x10
  )");
}

TEST_F(AttributeAccessTest, WriteReportsAConversionUnderItsOwnName) {
  env.declareMissing("java/lang/Integer");
  write(hData, env.attributes("none", {}));
  EXPECT_TRACE(R"(
    FindClass velnor/Attribute
    GetFieldID velnor/Attribute type I
    GetFieldID velnor/Attribute value Ljava/lang/Object;
    FindClass java/lang/Integer -> null
    report "J_SetAttributeValue" 5 "Attribute2CKAttribute - Class 'java/lang/Integer' not found"
  )");
}

}  // namespace
