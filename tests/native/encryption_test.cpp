/// Encryption as callers use it; what its methods share with others is tested with the operation families.
#include "native_test.h"

namespace {

class EncryptionTest : public NativeTest {
protected:
  jbyteArray update(const std::string& text, jboolean bInit = JNI_FALSE) {
    return Java_velnor_nat_NativeSession_J_1EncryptUpdate__JZLvelnor_Mechanism_2J_3BII(
        jni, session, static_cast<jlong>(hSession), bInit, mechanism, static_cast<jlong>(hSecretKey),
        env.bytes("part", text), 0, static_cast<jint>(text.size()));
  }
  jbyteArray encrypt(jboolean bInit) {
    return Java_velnor_nat_NativeSession_J_1Encrypt__JZLvelnor_Mechanism_2J_3BII(
        jni, session, static_cast<jlong>(hSession), bInit, mechanism, static_cast<jlong>(hSecretKey), data, 2, 5);
  }
  jint encrypt(jbyteArray enc, jint encOff, jboolean bInit = JNI_FALSE) {
    return Java_velnor_nat_NativeSession_J_1Encrypt__JZLvelnor_Mechanism_2J_3BII_3BI(
        jni, session, static_cast<jlong>(hSession), bInit, mechanism, static_cast<jlong>(hSecretKey), data, 2, 5, enc,
        encOff);
  }
  jbyteArray final() { return Java_velnor_nat_NativeSession_J_1EncryptFinal__(jni, session); }

  jobject mechanism = env.mechanism("mechanism", CKM_DES3_CBC, env.bytes("iv", "12345678"));
  jbyteArray data = env.bytes("data", "..hello..");
};

TEST_F(EncryptionTest, OneCallStartsAndEncrypts) {
  EXPECT_EQ(env.show(encrypt(JNI_TRUE)), R"("HELLO")");
  EXPECT_EQ(env.pending(), "");
  EXPECT_MODULE_TRACE(R"(
    C_EncryptInit session=0x5E51 mechanism=0x133 parameter=8:"12345678" key=0xB01 -> CKR_OK
    C_Encrypt session=0x5E51 data="hello" buffer=non-null length=517 -> CKR_OK length=5
  )");
}

TEST_F(EncryptionTest, PartsComeOutInWholeBlocks) {
  // Less than a block gives an array without elements, not null: a null would read as a failure.
  const jbyteArray none = update("abc", JNI_TRUE);
  ASSERT_NE(none, nullptr);
  EXPECT_EQ(env.bytesOf(none), "");
  EXPECT_EQ(env.show(update("defgh")), R"("ABCDEFGH")");
  EXPECT_EQ(env.show(update("ij")), R"("")");
  EXPECT_EQ(env.show(final()), R"("IJ")");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(EncryptionTest, ALengthQueryLeavesTheOperationActive) {
  const jbyteArray enc = env.bytes("enc", "0123456789");
  EXPECT_EQ(encrypt(nullptr, 7, JNI_TRUE), 5);
  EXPECT_EQ(encrypt(enc, 4), 5);
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(env.show(enc), R"("0123HELLO9")");
}

TEST_F(EncryptionTest, AnArrayThatWasTooShortCanBeReplaced) {
  EXPECT_EQ(encrypt(env.bytes("short", "012"), 0, JNI_TRUE), 5);
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).code, 0x150);
  env.clearException();
  const jbyteArray enc = env.bytes("enc", "01234");
  EXPECT_EQ(encrypt(enc, 0), 5);
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(env.show(enc), R"("HELLO")");
}

TEST_F(EncryptionTest, NothingIsFinishedThatWasNotStarted) {
  EXPECT_EQ(final(), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_EncryptFinal session=0x5E51 buffer=non-null length=512 -> CKR_OPERATION_NOT_INITIALIZED
    report "J_EncryptFinal" 0x91
  )");
}

}  // namespace
