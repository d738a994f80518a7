/// Verification: what the shared tests of the operation families do not show.
#include "native_test.h"

namespace {

class VerificationTest : public NativeTest {
protected:
  void start() {
    given([] {
      CK_MECHANISM started = {CKM_SHA1_RSA_PKCS, nullptr, 0};
      functionList->C_VerifyInit(hSession, &started, hPublicKey);
    });
  }
  void verify(jbyteArray signature, jint signOff, jint signLen, jboolean bInit = JNI_FALSE) {
    Java_velnor_nat_NativeSession_J_1Verify(jni, session, static_cast<jlong>(hSession), bInit, mechanism,
                                            static_cast<jlong>(hPublicKey), data, 2, 5, signature, signOff, signLen);
  }
  void update(jbyteArray part, jint partOff, jint partLen) {
    Java_velnor_nat_NativeSession_J_1VerifyUpdate(jni, session, static_cast<jlong>(hSession), JNI_FALSE, nullptr, 0,
                                                  part, partOff, partLen);
  }
  void final(jbyteArray signature, jint signOff, jint signLen) {
    Java_velnor_nat_NativeSession_J_1VerifyFinal(jni, session, signature, signOff, signLen);
  }

  jobject mechanism = env.mechanism("mechanism", CKM_SHA1_RSA_PKCS);
  jbyteArray data = env.bytes("data", "..hello..");
  jbyteArray good = env.bytes("signature", "..SIG:olleh..");
  jbyteArray altered = env.bytes("altered", "SIG:ollEh");
};

class VerifyTest : public VerificationTest {
protected:
  VerifyTest() { start(); }
};

TEST_F(VerifyTest, ReturnsWhenTheSignatureIsValid) {
  verify(good, 2, 9);
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    GetByteArrayElements signature
    C_Verify session=0x5E51 data="hello" signature="SIG:olleh" -> CKR_OK
    ReleaseByteArrayElements data mode 2
    ReleaseByteArrayElements signature mode 2
  )");
}

TEST_F(VerifyTest, ThrowsWhenTheSignatureIsNot) {
  verify(altered, 0, 9);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    GetByteArrayElements altered
    C_Verify session=0x5E51 data="hello" signature="SIG:ollEh" -> CKR_SIGNATURE_INVALID
    report "J_Verify" 0xC0
    ReleaseByteArrayElements data mode 2
    ReleaseByteArrayElements altered mode 2
  )");
}

TEST_F(VerifyTest, ThrowsWhenTheLengthIsWrong) {
  verify(good, 2, 8);
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).function, "J_Verify");
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).code, 0xC1);
}

TEST_F(VerifyTest, NeedsASignature) {
  verify(nullptr, 0, 9);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    report "J_Verify" 5 "Signature is NULL"
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(VerifyTest, NeedsTheElementsOfTheSignature) {
  env.failNth("GetByteArrayElements", 2, jvm::Leaving::Exception);
  verify(good, 2, 9);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    GetByteArrayElements signature -> null
    report "J_Verify" 5 "Signature is NULL"
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(VerificationTest, OneCallStartsAndVerifies) {
  verify(good, 2, 9, JNI_TRUE);
  EXPECT_EQ(env.pending(), "");
  EXPECT_MODULE_TRACE(R"(
    C_VerifyInit session=0x5E51 mechanism=0x6 key=0xB02 -> CKR_OK
    C_Verify session=0x5E51 data="hello" signature="SIG:olleh" -> CKR_OK
  )");
}

class VerifyUpdateTest : public VerificationTest {
protected:
  VerifyUpdateTest() { start(); }
};

TEST_F(VerifyUpdateTest, HandsThePartOver) {
  update(data, 2, 5);
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_VerifyUpdate session=0x5E51 part="hello" -> CKR_OK
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(VerifyUpdateTest, GivesThePartBackAfterAFailure) {
  module.answer("C_VerifyUpdate CKR_DEVICE_ERROR");
  update(data, 2, 5);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_VerifyUpdate session=0x5E51 part="hello" -> CKR_DEVICE_ERROR
    report "J_VerifyUpdate" 0x30
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(VerifyUpdateTest, ReleasesWhatWasNeverBorrowed) {
  // JVMs take null elements of a real array in their stride but not a null array, which is why the surface above never
  // lets one through. It has to know that this method, alone of its kind, comes to the release all the same.
  update(nullptr, 0, 0);
  EXPECT_TRACE(R"(
    report "J_VerifyUpdate" 5 "pPart is NULL"
    ReleaseByteArrayElements null elements=null mode 2
  )");
}

class VerifyFinalTest : public VerificationTest {
protected:
  VerifyFinalTest() {
    start();
    update(data, 2, 5);
    env.clear();
  }
};

TEST_F(VerifyFinalTest, KeepsTheSignatureAfterASuccess) {
  // Callers have always had the array held after this call, and it stays so.
  final(good, 2, 9);
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(R"(
    GetByteArrayElements signature
    sessionOf session
    C_VerifyFinal session=0x5E51 signature="SIG:olleh" -> CKR_OK
  )");
  expectOut({"signature"});
}

TEST_F(VerifyFinalTest, KeepsTheSignatureAfterAFailure) {
  final(altered, 0, 9);
  EXPECT_TRACE(R"(
    GetByteArrayElements altered
    sessionOf session
    C_VerifyFinal session=0x5E51 signature="SIG:ollEh" -> CKR_SIGNATURE_INVALID
    report "J_VerifyFinal" 0xC0
  )");
  expectOut({"altered"});
}

TEST_F(VerifyFinalTest, ThrowsWhenTheLengthIsWrong) {
  final(good, 2, 8);
  expectOut({"signature"});
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).function, "J_VerifyFinal");
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).code, 0xC1);
}

class VerifyRecoverTest : public VerificationTest {
protected:
  VerifyRecoverTest() {
    Java_velnor_nat_NativeSession_J_1VerifyRecoverInit(jni, session, mechanism, static_cast<jlong>(hPublicKey));
    EXPECT_EQ(env.pending(), "");
    env.clear();
  }
  jbyteArray recover(jbyteArray sign, jint signOff, jint signLen) {
    return Java_velnor_nat_NativeSession_J_1VerifyRecover___3BII(jni, session, sign, signOff, signLen);
  }
};

TEST_F(VerifyRecoverTest, RecoversWhatWasSigned) {
  const jbyteArray sign = env.bytes("sign", "..REC:olleh");
  EXPECT_EQ(env.show(recover(sign, 2, 9)), R"("hello")");
  EXPECT_TRACE(R"(
    GetByteArrayElements sign
    sessionOf session
    C_VerifyRecover session=0x5E51 signature="REC:olleh" buffer=non-null length=521 -> CKR_OK length=5
    NewByteArray 5
    SetByteArrayRegion byte[]#1 0 5 "hello"
    ReleaseByteArrayElements sign mode 2
  )");
}

TEST_F(VerifyRecoverTest, ThrowsWhenTheSignatureIsNotValid) {
  EXPECT_EQ(recover(altered, 0, 9), nullptr);
  EXPECT_TRACE(R"(
    GetByteArrayElements altered
    sessionOf session
    C_VerifyRecover session=0x5E51 signature="SIG:ollEh" buffer=non-null length=521 -> CKR_SIGNATURE_INVALID
    report "J_VerifyRecover" 0xC0
    ReleaseByteArrayElements altered mode 2
  )");
}

}  // namespace
