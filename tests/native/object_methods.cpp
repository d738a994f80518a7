#include "object_methods.h"

#include <gmock/gmock.h>

namespace {

std::string shown(jlong number) {
  return std::to_string(number);
}

JNIEnv* jniOf(const JavaArguments& java) {
  return java.env.jni();
}

const char* const kNothing = "";

}  // namespace

#define FORGET(entry) [](CK_FUNCTION_LIST& list) { list.entry = nullptr; }
#define CALL(method, ...)                                                                                              \
  Java_velnor_nat_NativeSession_J_1##method(jniOf(java), java.session __VA_OPT__(, ) __VA_ARGS__)

const std::vector<ObjectMethod> kObjectMethods = {
    {"CreateObject", "J_CreateObject", "C_CreateObject", FORGET(C_CreateObject),
     [](const JavaArguments& java) { return shown(CALL(CreateObject, java.attributes)); }, "0"},
    {"CopyObject", "J_CopyObject", "C_CopyObject", FORGET(C_CopyObject),
     [](const JavaArguments& java) { return shown(CALL(CopyObject, java.object, java.attributes)); }, "0"},
    {"DestroyObject", "J_DestroyObject", "C_DestroyObject", FORGET(C_DestroyObject),
     [](const JavaArguments& java) {
       CALL(DestroyObject, java.object);
       return std::string(kNothing);
     },
     kNothing},
    {"GetObjectSize", "J_GetObjectSize", "C_GetObjectSize", FORGET(C_GetObjectSize),
     [](const JavaArguments& java) { return shown(CALL(GetObjectSize, java.object)); }, "0"},
    {"GetAttributeValue", "J_GetAttributeValue", "C_GetAttributeValue", FORGET(C_GetAttributeValue),
     [](const JavaArguments& java) { return java.env.show(CALL(GetAttributeValue__JI, java.object, jint{CKA_VALUE})); },
     "null"},
    {"GetAttributeValues", "J_GetAttributeValue", "C_GetAttributeValue", FORGET(C_GetAttributeValue),
     [](const JavaArguments& java) { return java.env.show(CALL(GetAttributeValue__J_3I, java.object, java.types)); },
     "null"},
    {"SetAttributeValue", "J_SetAttributeValue", "C_SetAttributeValue", FORGET(C_SetAttributeValue),
     [](const JavaArguments& java) {
       CALL(SetAttributeValue, java.object, java.attributes);
       return std::string(kNothing);
     },
     kNothing},
    {"FindHandles", "J_FindObjects", "C_FindObjectsInit", FORGET(C_FindObjectsInit),
     [](const JavaArguments& java) { return java.env.show(CALL(FindObjects___3Lvelnor_Attribute_2, java.attributes)); },
     "null"},
    {"FindObjects", "J_FindObjects", "C_FindObjectsInit", FORGET(C_FindObjectsInit),
     [](const JavaArguments& java) {
       return java.env.show(CALL(FindObjects___3Lvelnor_Attribute_2_3I, java.attributes, java.types));
     },
     "null", false, true},
    {"GenerateKey", "J_GenerateKey", "C_GenerateKey", FORGET(C_GenerateKey),
     [](const JavaArguments& java) { return shown(CALL(GenerateKey, java.mechanism, java.attributes)); }, "0"},
    {"GenerateKeyPair", "J_GenerateKeyPair", "C_GenerateKeyPair", FORGET(C_GenerateKeyPair),
     [](const JavaArguments& java) {
       return java.env.show(CALL(GenerateKeyPair, java.mechanism, java.attributes, java.attributes));
     },
     "null"},
    {"WrapKey", "J_WrapKey", "C_WrapKey", FORGET(C_WrapKey),
     [](const JavaArguments& java) { return java.env.show(CALL(WrapKey, java.mechanism, java.object, java.object)); },
     "null"},
    {"UnwrapKey", "J_UnwrapKey", "C_UnwrapKey", FORGET(C_UnwrapKey),
     [](const JavaArguments& java) {
       const auto length = static_cast<jint>(java.env.bytesOf(java.blob).size());
       return shown(CALL(UnwrapKey, java.mechanism, java.object, java.blob, 0, length, java.attributes));
     },
     "0", true},
    {"DeriveKey", "J_DeriveKey", "C_DeriveKey", FORGET(C_DeriveKey),
     [](const JavaArguments& java) { return shown(CALL(DeriveKey, java.mechanism, java.object, java.attributes)); },
     nullptr},
};

namespace {

constexpr char kSecretLabel[] = "label of a hidden thing";
constexpr char kSecretValue[] = "value-KEPT-from-everyone";
constexpr char16_t kPassword[] = u"hush!pass";
constexpr char16_t kSalt[] = u"NaCl";

std::string inMemory(const std::u16string& text) {
  return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t));
}

}  // namespace

const std::vector<std::string> kSecrets = {kSecretLabel, kSecretValue, inMemory(kPassword), inMemory(kSalt)};

ObjectMethodTest::ObjectMethodTest()
    : java{env,
           session,
           0,
           env.attributes("template",
                          {env.attribute(CKA_CLASS, env.integer(CKO_SECRET_KEY)),
                           env.attribute(CKA_TOKEN, env.boolean(true)),
                           env.attribute(CKA_LABEL, env.string("", std::string(kSecretLabel))),
                           env.attribute(CKA_VALUE, env.bytes(kSecretValue)), env.attribute(CKA_ID, nullptr)}),
           env.ints("types", {CKA_LABEL, CKA_VALUE, CKA_CLASS, CKA_TOKEN, CKA_ISSUER}),
           env.mechanism("mechanism", CKM_PBE_MD5_DES_CBC, PBEParams()),
           env.bytes("blob", std::string("WRAP:") + kSecretValue)} {
  given([this] { java.object = Java_velnor_nat_NativeSession_J_1CreateObject(jni, session, java.attributes); });
  EXPECT_NE(java.object, 0);
  module.clearJournal();
}

jobject ObjectMethodTest::PBEParams() {
  const jobject parameter = env.object("parameter", "velnor/params/PBEParams");
  env.set(parameter, "m_initVector", env.chars("", u"12345678"));
  env.set(parameter, "m_password", env.chars("", kPassword));
  env.set(parameter, "m_salt", env.chars("", kSalt));
  return env.set(parameter, "m_iteration", 1000);
}

void ObjectMethodTest::TearDown() {
  if (GetParam().keepsBlob) {
    EXPECT_THAT(env.loans.out(), ::testing::Each("blob"));
    expectOut(env.loans.out());
  }
  NativeTest::TearDown();
}

void ObjectMethodTest::startOver() {
  functionList->C_FindObjectsFinal(0x5E51);
  env.clear();
  env.clearException();
  module.clearJournal();
}

int ObjectMethodTest::forEveryRefusal(jvm::Leaving leaving, const std::function<void()>& body) {
  module.answer("C_DestroyObject CKR_OK always");  // the object serves for every run
  int refused = 0;
  for (const char* const function :
       {"FindClass", "GetFieldID", "GetMethodID", "NewObject", "NewObjectArray", "NewByteArray", "NewLongArray",
        "GetByteArrayElements", "GetIntArrayElements", "GetLongArrayElements"}) {
    for (int n = 1;; ++n) {
      startOver();
      env.failNth(function, n, leaving);
      body();
      if (env.faultsLeft()) {
        break;
      }
      ++refused;
    }
  }
  startOver();
  return refused;
}

void ObjectMethodTest::expectFailed(const std::string& result) const {
  if (GetParam().failed != nullptr) {
    EXPECT_EQ(result, GetParam().failed);
  }
}

void ObjectMethodTest::expectReport(jint code) const {
  const std::optional<jvm::Report> report = env.pendingReport();
  ASSERT_TRUE(report) << "pending: " << env.pending();
  EXPECT_EQ(report->function, GetParam().reportName);
  EXPECT_EQ(report->code, code) << report->message;
}

std::string templateLines(const std::string& name) {
  return R"(
    FindClass velnor/Attribute
    GetFieldID velnor/Attribute type I
    GetFieldID velnor/Attribute value Ljava/lang/Object;
    FindClass java/lang/Integer
    FindClass java/lang/Boolean
    FindClass java/lang/String
    GetArrayLength )" +
         name + R"(
    DeleteLocalRef java/lang/Integer
    DeleteLocalRef java/lang/Boolean
    DeleteLocalRef java/lang/String
)";
}

std::string mechanismLines(const std::string& name) {
  return R"(
    FindClass velnor/Mechanism
    GetFieldID velnor/Mechanism mechanism I
    GetFieldID velnor/Mechanism parameter Ljava/lang/Object;
    GetObjectField )" +
         name + R"( parameter
    GetIntField )" +
         name + R"( mechanism
)";
}
