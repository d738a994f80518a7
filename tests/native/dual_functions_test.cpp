/// The updates that continue two operations at once, together with the methods that start and finish both.
#include "native_test.h"

namespace {

class DualFunctionsTest : public NativeTest {
protected:
  using Update = jint (*)(JNIEnv*, jobject, jbyteArray, jint, jint, jbyteArray, jint);

  std::string update(Update native, const std::string& part) {
    const jbyteArray in = env.bytes("in", part);
    const jbyteArray out = env.bytes("out", std::string(part.size(), '-'));
    const jint length = native(jni, session, in, 0, static_cast<jint>(part.size()), out, 0);
    return env.bytesOf(out).substr(0, static_cast<std::size_t>(length));
  }
  // An update of no data with the init flag, which is how callers start an operation that has no method for it.
  void startEncryption() {
    Java_velnor_nat_NativeSession_J_1EncryptUpdate__JZLvelnor_Mechanism_2J_3BII(
        jni, session, static_cast<jlong>(hSession), JNI_TRUE, mechanism, static_cast<jlong>(hSecretKey), nothing, 0, 0);
  }
  void startDecryption() {
    Java_velnor_nat_NativeSession_J_1DecryptInit(jni, session, static_cast<jlong>(hSession), mechanism,
                                                 static_cast<jlong>(hSecretKey));
  }
  void startDigest() {
    Java_velnor_nat_NativeSession_J_1DigestUpdate(jni, session, static_cast<jlong>(hSession), JNI_TRUE, mechanism,
                                                  nothing, 0, 0);
  }

  jobject mechanism = env.mechanism("mechanism", CKM_SHA_1);
  jbyteArray nothing = env.bytes("nothing", "");
};

TEST_F(DualFunctionsTest, SignsAndEncrypts) {
  Java_velnor_nat_NativeSession_J_1SignInit(jni, session, static_cast<jlong>(hSession), mechanism,
                                            static_cast<jlong>(hPrivateKey));
  startEncryption();
  EXPECT_EQ(update(Java_velnor_nat_NativeSession_J_1SignEncryptUpdate, "abcdef"), "ABCD");
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1SignFinal__(jni, session)), R"("SIG:fedcba")");
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1EncryptFinal__(jni, session)), R"("EF")");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(DualFunctionsTest, DigestsAndEncrypts) {
  startDigest();
  startEncryption();
  EXPECT_EQ(update(Java_velnor_nat_NativeSession_J_1DigestEncryptUpdate, "abcdef"), "ABCD");
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1DigestFinal__(jni, session)), R"("abcdef..............")");
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1EncryptFinal__(jni, session)), R"("EF")");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(DualFunctionsTest, DecryptsAndDigests) {
  startDecryption();
  startDigest();
  EXPECT_EQ(update(Java_velnor_nat_NativeSession_J_1DecryptDigestUpdate, "ABCDEF"), "abcd");
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1DecryptFinal__(jni, session)), R"("ef")");
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1DigestFinal__(jni, session)), R"("abcd................")");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(DualFunctionsTest, DecryptsAndVerifies) {
  startDecryption();
  Java_velnor_nat_NativeSession_J_1VerifyUpdate(jni, session, static_cast<jlong>(hSession), JNI_TRUE, mechanism,
                                                static_cast<jlong>(hPublicKey), nothing, 0, 0);
  EXPECT_EQ(update(Java_velnor_nat_NativeSession_J_1DecryptVerifyUpdate, "ABCD"), "abcd");
  Java_velnor_nat_NativeSession_J_1VerifyFinal(jni, session, env.bytes("signature", "SIG:dcba"), 0, 8);
  EXPECT_EQ(env.pending(), "");
  expectOut({"signature"});
}

TEST_F(DualFunctionsTest, NeedsBothOperations) {
  startDecryption();
  env.clear();
  EXPECT_EQ(update(Java_velnor_nat_NativeSession_J_1DecryptVerifyUpdate, "ABCD"), "----");
  EXPECT_TRACE(R"(
    GetByteArrayElements in
    GetByteArrayElements out
    GetArrayLength out
    sessionOf session
    C_DecryptVerifyUpdate session=0x5E51 part="ABCD" buffer=non-null length=4 -> CKR_OPERATION_NOT_INITIALIZED
    report "J_DecryptVerifyUpdate" 0x91
    ReleaseByteArrayElements in mode 2
    ReleaseByteArrayElements null mode 0
  )");
  expectOut({"out"});
}

}  // namespace
