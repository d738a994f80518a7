/// Decryption as callers use it; what its methods share with others is tested with the operation families.
#include "native_test.h"

namespace {

class DecryptionTest : public NativeTest {
protected:
  void init() {
    Java_velnor_nat_NativeSession_J_1DecryptInit(jni, session, static_cast<jlong>(hSession), mechanism,
                                                 static_cast<jlong>(hSecretKey));
  }
  jbyteArray update(const std::string& text, jboolean bInit = JNI_FALSE) {
    return Java_velnor_nat_NativeSession_J_1DecryptUpdate__JZLvelnor_Mechanism_2J_3BII(
        jni, session, static_cast<jlong>(hSession), bInit, mechanism, static_cast<jlong>(hSecretKey),
        env.bytes("enc", text), 0, static_cast<jint>(text.size()));
  }
  jbyteArray decrypt(jbyteArray enc, jint encOff, jint encLen, jboolean bInit) {
    return Java_velnor_nat_NativeSession_J_1Decrypt(jni, session, static_cast<jlong>(hSession), bInit, mechanism,
                                                    static_cast<jlong>(hSecretKey), enc, encOff, encLen);
  }
  jbyteArray final() { return Java_velnor_nat_NativeSession_J_1DecryptFinal__(jni, session); }

  jobject mechanism = env.mechanism("mechanism", CKM_DES3_CBC, env.bytes("iv", "12345678"));
};

TEST_F(DecryptionTest, OneCallStartsAndDecrypts) {
  EXPECT_EQ(env.show(decrypt(env.bytes("enc", "..HELLO.."), 2, 5, JNI_TRUE)), R"("hello")");
  EXPECT_EQ(env.pending(), "");
  EXPECT_MODULE_TRACE(R"(
    C_DecryptInit session=0x5E51 mechanism=0x133 parameter=8:"12345678" key=0xB01 -> CKR_OK
    C_Decrypt session=0x5E51 encryptedData="HELLO" buffer=non-null length=517 -> CKR_OK length=5
  )");
}

TEST_F(DecryptionTest, ACiphertextOfAKeysSizeNeedsOneModuleCall) {
  init();
  env.clear();
  module.answer(R"(C_Decrypt data="plain text")");
  EXPECT_EQ(env.show(decrypt(env.bytes("enc", std::string(256, 'x')), 0, 256, JNI_FALSE)), R"("plain text")");
  EXPECT_MODULE_TRACE(R"(
    C_Decrypt session=0x5E51 encryptedData=256*78 buffer=non-null length=768 -> CKR_OK length=10
  )");
}

TEST_F(DecryptionTest, AnUpdateContinuesWhatInitStarted) {
  init();
  EXPECT_EQ(env.show(update("ABCDEF")), R"("abcd")");
  EXPECT_EQ(env.show(update("GH")), R"("efgh")");
  EXPECT_EQ(env.show(update("IJ")), R"("")");
  EXPECT_EQ(env.show(final()), R"("ij")");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(DecryptionTest, AnUpdateWithTheFlagStartsANewOperationFirst) {
  init();
  env.clear();
  EXPECT_EQ(update("ABCD", JNI_TRUE), nullptr);
  EXPECT_MODULE_TRACE(R"(
    C_DecryptInit session=0x5E51 mechanism=0x133 parameter=8:"12345678" key=0xB01 -> CKR_OPERATION_ACTIVE
  )");
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).function, "J_DecryptInit");
}

TEST_F(DecryptionTest, ReportsADamagedCiphertext) {
  init();
  module.answer("C_DecryptFinal CKR_ENCRYPTED_DATA_LEN_RANGE");
  EXPECT_EQ(final(), nullptr);
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).function, "J_DecryptFinal");
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).code, 0x41);
}

}  // namespace
