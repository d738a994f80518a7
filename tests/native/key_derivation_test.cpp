/// Deriving keys.
#include "conversions.h"
#include "native_test.h"

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;

class KeyDerivationTest : public NativeTest {
protected:
  static constexpr jlong kWide = 0x123456789;
  static constexpr jlong kHigh = static_cast<jlong>(0xFFFFFFFF80000001);

  jlong derive(jobject mechanism, jlong baseKey, jobjectArray attributes) {
    return Java_velnor_nat_NativeSession_J_1DeriveKey(jni, session, mechanism, baseKey, attributes);
  }

  jobject aes = env.mechanism("mechanism", CKM_AES_CBC);
  jobjectArray none = env.attributes("none", {});
  jobjectArray three =
      env.attributes("three", {env.attribute(CKA_CLASS, env.integer(CKO_SECRET_KEY)),
                               env.attribute(CKA_TOKEN, env.boolean(false)), env.attribute(CKA_ID, nullptr)});
  const std::string derived = R"(
    sessionOf session
    C_DeriveKey session=0x5E51 mechanism=0x1082 baseKey=0xB01 template=null:0 -> CKR_OK handle=0xB06
)";
};

// What comes back is the length of the template. The handle goes to Java only through the constructor of an object that
// is dropped, and that constructor takes the session under its older name.
TEST_F(KeyDerivationTest, AnnouncesTheHandleAndReturnsTheTemplatesLength) {
  EXPECT_EQ(derive(aes, hSecretKey, none), 0);
  EXPECT_TRACE(templateLines("none") + mechanismLines("mechanism") + R"(
    sessionOf session
    C_DeriveKey session=0x5E51 mechanism=0x1082 baseKey=0xB01 template=[] -> CKR_OK handle=0xB06
    FindClass velnor/nat/NativeObject
    GetMethodID velnor/nat/NativeObject <init> (Lquadrel/Pkcs11Session;I)V
    NewObject velnor/nat/NativeObject (session, 2822)
  )");
}

TEST_F(KeyDerivationTest, ReturnsThreeForAThreeEntryTemplateWhateverTheHandle) {
  module.answer("C_DeriveKey handle=0x99");
  EXPECT_EQ(derive(aes, hSecretKey, three), 3);
  EXPECT_MODULE_TRACE(R"(
    C_DeriveKey session=0x5E51 mechanism=0x1082 baseKey=0xB01 template=[0x0 8:0400000000000000, 0x1 1:00, 0x102 0:null] -> CKR_OK handle=0x99
  )");
}

TEST_F(KeyDerivationTest, ReturnsZeroForANullTemplate) {
  EXPECT_EQ(derive(aes, hSecretKey, nullptr), 0);
  EXPECT_EQ(env.pending(), "");
}

TEST_F(KeyDerivationTest, HandsOverTheMechanismsParameter) {
  derive(env.mechanism("mechanism", CKM_CONCATENATE_BASE_AND_DATA,
                       env.set(env.object("parameter", "velnor/params/KEYDERIVATIONSTRINGDATA"), "data",
                               env.bytes("salt and pepper"))),
         hSecretKey, nullptr);
  EXPECT_THAT(module.journal(), HasSubstr(R"(mechanism=0x362 parameter=16:{data="salt and pepper"} baseKey)"));
}

struct Announced {
  const char* handle;
  const char* number;
};

std::ostream& operator<<(std::ostream& out, const Announced& announced) {
  return out << announced.handle;
}

class AnnouncedHandleTest : public KeyDerivationTest, public ::testing::WithParamInterface<Announced> {};

INSTANTIATE_TEST_SUITE_P(Of, AnnouncedHandleTest,
                         ::testing::Values(Announced{"0x7FFFFFFF", "2147483647"},
                                           Announced{"0x80000000", "-2147483648"}, Announced{"0x1FFFFFFFE", "-2"},
                                           Announced{"0x500000000", "0"}));

TEST_P(AnnouncedHandleTest, IsCutToAnIntWithoutAReport) {
  module.answer(std::string("C_DeriveKey handle=") + GetParam().handle);
  derive(aes, hSecretKey, nullptr);
  EXPECT_THAT(env.trace(),
              HasSubstr(std::string("NewObject velnor/nat/NativeObject (session, ") + GetParam().number + ")"));
  EXPECT_EQ(env.pending(), "");
}

TEST_F(KeyDerivationTest, BaseKeysKeepAllTheirBits) {
  module.answer("C_DeriveKey CKR_OK always");
  derive(aes, kWide, nullptr);
  derive(aes, kHigh, nullptr);
  EXPECT_THAT(module.journal(), HasSubstr("baseKey=0x123456789 "));
  EXPECT_THAT(module.journal(), HasSubstr("baseKey=0xFFFFFFFF80000001 "));
}

TEST_F(KeyDerivationTest, ReturnsTheTemplatesLengthAlsoWhenTheModuleFails) {
  module.answer("C_DeriveKey CKR_KEY_TYPE_INCONSISTENT handle=0x77");
  EXPECT_EQ(derive(aes, hSecretKey, three), 3);
  EXPECT_EQ(env.pendingReport()->function, "J_DeriveKey");
  EXPECT_EQ(env.pendingReport()->code, CKR_KEY_TYPE_INCONSISTENT);
  EXPECT_EQ(env.calls("NewObject"), 3) << "the report's two strings and its exception, and nothing else";
}

TEST_F(KeyDerivationTest, ReturnsTheTemplatesLengthAlsoWhenTheMechanismFails) {
  EXPECT_EQ(derive(nullptr, hSecretKey, three), 3);
  EXPECT_EQ(env.pendingReport()->function, "J_DeriveKey");
  EXPECT_EQ(module.journal(), "");
}

TEST_F(KeyDerivationTest, ReturnsTheTemplatesLengthAlsoWhenAnEntryFails) {
  env.declareMissing("java/lang/Boolean", "booleanValue");
  EXPECT_EQ(derive(aes, hSecretKey, three), 3);
  EXPECT_EQ(env.pendingReport()->message, "Attribute2CKAttribute - boolValue method not found");
}

TEST_F(KeyDerivationTest, ReturnsZeroWhenTheTemplateWasNeverMeasured) {
  env.failNext("FindClass");
  EXPECT_EQ(derive(aes, hSecretKey, three), 0);
  bInitialized = false;
  EXPECT_EQ(derive(aes, hSecretKey, three), 0);
}

TEST_F(KeyDerivationTest, ReportsTheTemplateThenTheMechanismThenTheSession) {
  env.declareMissing("velnor/Mechanism");
  env.declareMissing("velnor/nat/NativeSession");
  derive(aes, hSecretKey, none);
  EXPECT_TRACE(templateLines("none") + R"(
    FindClass velnor/Mechanism -> null
    report "J_DeriveKey" 5 "Class 'velnor/Mechanism' not found"
  )");
}

// The three below come after the module has made the key: it exists although Java receives an exception. The texts
// speak of the class by its older name.
TEST_F(KeyDerivationTest, ReportsAMissingObjectClassByItsOlderName) {
  env.declareMissing("velnor/nat/NativeObject");
  EXPECT_EQ(derive(aes, hSecretKey, three), 3);
  EXPECT_THAT(takeTrace(), HasSubstr("-> CKR_OK handle=0xB06\n"
                                     "FindClass velnor/nat/NativeObject -> null\n"
                                     "report \"J_DeriveKey\" 5 \"Class 'Pkcs11Object' not found\"\n"));
}

TEST_F(KeyDerivationTest, ReportsAMissingObjectConstructorByItsOlderName) {
  env.declareMissing("velnor/nat/NativeObject", "<init>", "(Lquadrel/Pkcs11Session;I)V");
  derive(aes, hSecretKey, nullptr);
  EXPECT_TRACE(mechanismLines("mechanism") + derived + R"(
    FindClass velnor/nat/NativeObject
    GetMethodID velnor/nat/NativeObject <init> (Lquadrel/Pkcs11Session;I)V -> null
    report "J_DeriveKey" 5 "Pkcs11Object constructor not found"
  )");
}

TEST_F(KeyDerivationTest, ReportsARefusedObjectByItsOlderName) {
  env.failNext("NewObject", jvm::Leaving::Exception);
  derive(aes, hSecretKey, nullptr);
  EXPECT_TRACE(mechanismLines("mechanism") + derived + R"(
    FindClass velnor/nat/NativeObject
    GetMethodID velnor/nat/NativeObject <init> (Lquadrel/Pkcs11Session;I)V
    NewObject velnor/nat/NativeObject (session, 2822) -> null
    report "J_DeriveKey" 5 "Pkcs11Object object is NULL"
  )");
}

}  // namespace
