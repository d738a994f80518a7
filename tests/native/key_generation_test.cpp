/// Generating keys and key pairs.
#include "conversions.h"
#include "native_test.h"

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;

class KeyGenerationTest : public NativeTest {
protected:
  jlong generate(jobject mechanism, jobjectArray attributes) {
    return Java_velnor_nat_NativeSession_J_1GenerateKey(jni, session, mechanism, attributes);
  }
  jlongArray generatePair(jobject mechanism, jobjectArray publicKey, jobjectArray privateKey) {
    return Java_velnor_nat_NativeSession_J_1GenerateKeyPair(jni, session, mechanism, publicKey, privateKey);
  }
  jobjectArray labelled(const char* name, const char* label) {
    return env.attributes(name, {env.attribute(CKA_LABEL, env.string("", std::string(label)))});
  }

  jobject aes = env.mechanism("mechanism", CKM_AES_KEY_GEN);
  jobject rsa = env.mechanism("mechanism", CKM_RSA_PKCS_KEY_PAIR_GEN);
  jobjectArray none = env.attributes("none", {});
};

// --- Secret keys -----------------------------------------------------------------------------------------------------

TEST_F(KeyGenerationTest, ConvertsTheTemplateThenTheMechanismThenReadsTheSession) {
  EXPECT_EQ(generate(aes, none), 0xB06);
  EXPECT_TRACE(templateLines("none") + mechanismLines("mechanism") + R"(
    sessionOf session
    C_GenerateKey session=0x5E51 mechanism=0x1080 template=[] -> CKR_OK handle=0xB06
  )");
}

TEST_F(KeyGenerationTest, NullIsNoTemplate) {
  generate(aes, nullptr);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    sessionOf session
    C_GenerateKey session=0x5E51 mechanism=0x1080 template=null:0 -> CKR_OK handle=0xB06
  )");
}

TEST_F(KeyGenerationTest, HandsOverTheTemplateAndTheMechanismsParameter) {
  generate(env.mechanism("mechanism", CKM_DES3_CBC, env.bytes("8 octetsand more")),
           env.attributes("template", {env.attribute(CKA_VALUE_LEN, env.integer(-2)),
                                       env.attribute(CKA_SENSITIVE, env.boolean(true))}));
  EXPECT_MODULE_TRACE(R"(
    C_GenerateKey session=0x5E51 mechanism=0x133 parameter=8:"8 octets" template=[0x161 8:FEFFFFFF00000000, 0x103 1:01] -> CKR_OK handle=0xB06
  )");
}

TEST_F(KeyGenerationTest, SpreadsTheSignOfAVendorMechanism) {
  generate(env.mechanism("mechanism", static_cast<jint>(0x80000001)), nullptr);
  EXPECT_THAT(module.journal(), HasSubstr("mechanism=0xFFFFFFFF80000001 template"));
}

TEST_F(KeyGenerationTest, HandlesKeepAllTheirBits) {
  module.answer("C_GenerateKey handle=0x80000000");
  module.answer("C_GenerateKey handle=0x123456789ABCDEF0");
  EXPECT_EQ(generate(aes, nullptr), 0x80000000);
  EXPECT_EQ(generate(aes, nullptr), 0x123456789ABCDEF0);
}

TEST_F(KeyGenerationTest, AHandleThatAFailureLeftBehindIsNoHandle) {
  module.answer("C_GenerateKey CKR_MECHANISM_INVALID handle=0x77");
  EXPECT_EQ(generate(aes, nullptr), 0);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    sessionOf session
    C_GenerateKey session=0x5E51 mechanism=0x1080 template=null:0 -> CKR_MECHANISM_INVALID handle=0x77
    report "J_GenerateKey" 0x70
  )");
}

TEST_F(KeyGenerationTest, ReportsTheTemplateBeforeTheMechanism) {
  env.declareMissing("velnor/Attribute", "type");
  env.declareMissing("velnor/Mechanism");
  EXPECT_EQ(generate(aes, none), 0);
  EXPECT_TRACE(R"(
    FindClass velnor/Attribute
    GetFieldID velnor/Attribute type I -> null
    report "J_GenerateKey" 5 "Field type not found"
  )");
}

TEST_F(KeyGenerationTest, ReportsTheMechanismBeforeTheSession) {
  env.declareMissing("velnor/Mechanism");
  env.declareMissing("velnor/nat/NativeSession");
  EXPECT_EQ(generate(aes, none), 0);
  EXPECT_TRACE(templateLines("none") + R"(
    FindClass velnor/Mechanism -> null
    report "J_GenerateKey" 5 "Class 'velnor/Mechanism' not found"
  )");
}

TEST_F(KeyGenerationTest, ReportsANullMechanismInsteadOfReadingIt) {
  EXPECT_EQ(generate(nullptr, nullptr), 0);
  EXPECT_EQ(env.pendingReport()->function, "J_GenerateKey");
  EXPECT_EQ(env.pendingReport()->code, 5);
  EXPECT_EQ(module.journal(), "");
}

TEST_F(KeyGenerationTest, ReportsAMissingParameterUnderItsOwnName) {
  EXPECT_EQ(generate(env.mechanism("mechanism", CKM_DES3_CBC), nullptr), 0);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    report "J_GenerateKey" 5 "Mechanism2CKMechanism - parameter value is NULL"
  )");
}

// --- Key pairs -------------------------------------------------------------------------------------------------------

TEST_F(KeyGenerationTest, ConvertsThePublicThenThePrivateTemplateThenTheMechanism) {
  const jlongArray pair = generatePair(rsa, env.attributes("public", {}), env.attributes("private", {}));
  EXPECT_EQ(env.show(pair), "[2823, 2822]");
  EXPECT_TRACE(templateLines("public") + templateLines("private") + mechanismLines("mechanism") + R"(
    sessionOf session
    C_GenerateKeyPair session=0x5E51 mechanism=0x0 public=[] private=[] -> CKR_OK private=0xB06 handle=0xB07
    NewLongArray 2
    GetLongArrayElements long[]#1
    ReleaseLongArrayElements long[]#1 mode 0
  )");
}

TEST_F(KeyGenerationTest, HandsOverBothTemplates) {
  generatePair(rsa, labelled("public", "for all"), labelled("private", "mine"));
  EXPECT_MODULE_TRACE(R"(
    C_GenerateKeyPair session=0x5E51 mechanism=0x0 public=[0x3 7:"for all"] private=[0x3 4:"mine"] -> CKR_OK private=0xB06 handle=0xB07
  )");
}

TEST_F(KeyGenerationTest, EitherTemplateMayBeNull) {
  generatePair(rsa, nullptr, labelled("private", "mine"));
  generatePair(rsa, labelled("public", "for all"), nullptr);
  EXPECT_MODULE_TRACE(R"(
    C_GenerateKeyPair session=0x5E51 mechanism=0x0 public=null:0 private=[0x3 4:"mine"] -> CKR_OK private=0xB06 handle=0xB07
    C_GenerateKeyPair session=0x5E51 mechanism=0x0 public=[0x3 7:"for all"] private=null:0 -> CKR_OK private=0xB08 handle=0xB09
  )");
}

TEST_F(KeyGenerationTest, ThePublicKeyComesFirstWithAllItsBits) {
  module.answer("C_GenerateKeyPair handle=0x80000001 private=0x123456789");
  EXPECT_EQ(env.show(generatePair(rsa, nullptr, nullptr)), "[2147483649, 4886718345]");
}

TEST_F(KeyGenerationTest, AFailedPairIsNull) {
  module.answer("C_GenerateKeyPair CKR_TEMPLATE_INCONSISTENT handle=1 private=2");
  EXPECT_EQ(generatePair(rsa, nullptr, nullptr), nullptr);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    sessionOf session
    C_GenerateKeyPair session=0x5E51 mechanism=0x0 public=null:0 private=null:0 -> CKR_TEMPLATE_INCONSISTENT private=0x2 handle=0x1
    report "J_GenerateKeyPair" 0xD1
  )");
}

// The texts speak of RSA whatever the mechanism. The two new keys stay on the token: nobody destroys them.
TEST_F(KeyGenerationTest, ReportsARefusedPairArrayInTheWordsOfRsa) {
  env.failNext("NewLongArray", jvm::Leaving::Exception);
  EXPECT_EQ(generatePair(env.mechanism("mechanism", CKM_EC_KEY_PAIR_GEN), nullptr, nullptr), nullptr);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    sessionOf session
    C_GenerateKeyPair session=0x5E51 mechanism=0x1040 public=null:0 private=null:0 -> CKR_OK private=0xB06 handle=0xB07
    NewLongArray 2 -> null
    report "J_GenerateKeyPair" 5 "jhRSAKey is NULL"
  )");
}

TEST_F(KeyGenerationTest, ReportsRefusedElementsOfThePairInTheWordsOfRsa) {
  env.failNext("GetLongArrayElements", jvm::Leaving::Exception);
  EXPECT_EQ(generatePair(rsa, nullptr, nullptr), nullptr);
  EXPECT_TRACE(mechanismLines("mechanism") + R"(
    sessionOf session
    C_GenerateKeyPair session=0x5E51 mechanism=0x0 public=null:0 private=null:0 -> CKR_OK private=0xB06 handle=0xB07
    NewLongArray 2
    GetLongArrayElements long[]#1 -> null
    report "J_GenerateKeyPair" 5 "hRSAKey is NULL"
  )");
}

TEST_F(KeyGenerationTest, ReportsThePrivateTemplateBeforeTheMechanism) {
  env.failNth("GetFieldID", 4);
  env.declareMissing("velnor/Mechanism");
  EXPECT_EQ(generatePair(rsa, none, labelled("private", "mine")), nullptr);
  EXPECT_TRACE(templateLines("none") + R"(
    FindClass velnor/Attribute
    GetFieldID velnor/Attribute type I
    GetFieldID velnor/Attribute value Ljava/lang/Object; -> null
    report "J_GenerateKeyPair" 5 "Field value not found"
  )");
}

TEST_F(KeyGenerationTest, ReportsThePairsMechanismBeforeTheSession) {
  env.declareMissing("velnor/Mechanism", "parameter");
  env.declareMissing("velnor/nat/NativeSession");
  EXPECT_EQ(generatePair(rsa, none, none), nullptr);
  EXPECT_TRACE(templateLines("none") + templateLines("none") + R"(
    FindClass velnor/Mechanism
    GetFieldID velnor/Mechanism mechanism I
    GetFieldID velnor/Mechanism parameter Ljava/lang/Object; -> null
    report "J_GenerateKeyPair" 5 "Field parameter not found"
  )");
}

}  // namespace
