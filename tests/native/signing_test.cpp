/// Signing: what the shared tests of the operation families do not show.
#include "native_test.h"

namespace {

class SigningTest : public NativeTest {
protected:
  void start() {
    given([] {
      CK_MECHANISM started = {CKM_SHA1_RSA_PKCS, nullptr, 0};
      functionList->C_SignInit(hSession, &started, hPrivateKey);
    });
  }

  jobject mechanism = env.mechanism("mechanism", CKM_SHA1_RSA_PKCS);
  jbyteArray data = env.bytes("data", "..hello..");
};

class SignTest : public SigningTest {
protected:
  SignTest() { start(); }

  jbyteArray sign() {
    return Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII(
        jni, session, static_cast<jlong>(hSession), JNI_FALSE, mechanism, static_cast<jlong>(hPrivateKey), data, 2, 5);
  }
};

TEST_F(SignTest, AsksForTheLengthAndThenSigns) {
  EXPECT_EQ(env.show(sign()), R"("SIG:olleh")");
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_Sign session=0x5E51 data="hello" buffer=null length=0 -> CKR_OK length=9
    C_Sign session=0x5E51 data="hello" buffer=non-null length=9 -> CKR_OK length=9
    NewByteArray 9
    SetByteArrayRegion byte[]#1 0 9 "SIG:olleh"
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(SignTest, MayBeShorterThanAnnounced) {
  module.answer("C_Sign CKR_OK length=200");
  EXPECT_EQ(env.show(sign()), R"("SIG:olleh")");
  EXPECT_MODULE_TRACE(R"(
    C_Sign session=0x5E51 data="hello" buffer=null length=0 -> CKR_OK length=200
    C_Sign session=0x5E51 data="hello" buffer=non-null length=200 -> CKR_OK length=9
  )");
}

TEST_F(SignTest, GivesUpWhenTheLengthIsRefused) {
  module.answer("C_Sign CKR_DEVICE_ERROR");
  EXPECT_EQ(sign(), nullptr);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_Sign session=0x5E51 data="hello" buffer=null length=0 -> CKR_DEVICE_ERROR
    report "J_Sign" 0x30
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(SignTest, GivesUpWhenTheSignatureIsRefused) {
  module.answer("C_Sign");
  module.answer("C_Sign CKR_FUNCTION_FAILED");
  EXPECT_EQ(sign(), nullptr);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_Sign session=0x5E51 data="hello" buffer=null length=0 -> CKR_OK length=9
    C_Sign session=0x5E51 data="hello" buffer=non-null length=9 -> CKR_FUNCTION_FAILED
    report "J_Sign" 0x6
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(SignTest, DoesNotGrowWhenTheSignatureTurnsOutLongerThanAnnounced) {
  module.answer("C_Sign CKR_OK length=4");
  EXPECT_EQ(sign(), nullptr);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_Sign session=0x5E51 data="hello" buffer=null length=0 -> CKR_OK length=4
    C_Sign session=0x5E51 data="hello" buffer=non-null length=4 -> CKR_BUFFER_TOO_SMALL length=9
    report "J_Sign" 0x150
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(SignTest, AnAnnouncedLengthOfNothingIsStillABuffer) {
  // A second null buffer would be a second length query, and its answer would pass for a signature.
  module.answer("C_Sign CKR_OK length=0");
  EXPECT_EQ(sign(), nullptr);
  EXPECT_MODULE_TRACE(R"(
    C_Sign session=0x5E51 data="hello" buffer=null length=0 -> CKR_OK length=0
    C_Sign session=0x5E51 data="hello" buffer=non-null length=0 -> CKR_BUFFER_TOO_SMALL length=9
  )");
}

TEST_F(SignTest, AnAnnouncedLengthBeyondTheMemoryIsNotAskedFor) {
  module.answer("C_Sign CKR_OK length=-1");
  EXPECT_EQ(sign(), nullptr);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_Sign session=0x5E51 data="hello" buffer=null length=0 -> CKR_OK length=0xFFFFFFFFFFFFFFFF
    report "J_Sign" 0x2
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(SignTest, NothingBeyondTheBufferReachesJava) {
  module.answer("C_Sign");
  module.answer("C_Sign CKR_OK length=5000");
  EXPECT_EQ(sign(), nullptr);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_Sign\", 5, "
                           "\"the pkcs#11 library reports more than it was given room for\")");
}

TEST_F(SignTest, GoesOnWithTheLowBitsOfALengthBeyondAJavaInt) {
  module.answer("C_Sign");
  module.answer("C_Sign CKR_OK length=0x100000004");
  EXPECT_EQ(env.bytesOf(sign()).size(), 4U);
  EXPECT_EQ(env.pending(), "CryptokiException(\"Check64BitLen\", 5, \"Value out of size for 32 bit (jint)\")");
}

TEST_F(SignTest, ReportsThatTheArrayCouldNotBeMade) {
  env.failNext("NewByteArray", jvm::Leaving::Exception);
  EXPECT_EQ(sign(), nullptr);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_Sign session=0x5E51 data="hello" buffer=null length=0 -> CKR_OK length=9
    C_Sign session=0x5E51 data="hello" buffer=non-null length=9 -> CKR_OK length=9
    NewByteArray 9 -> null
    report "J_Sign" 5 "jSignature is NULL"
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(SignTest, BothCallsTakeTheWholeSessionAndTheWidenedLength) {
  module.answer("C_Sign CKR_OK length=9 unread");
  module.answer("C_Sign CKR_DATA_INVALID unread");
  EXPECT_EQ(Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII(
                jni, session, 0x900000001, JNI_FALSE, mechanism, static_cast<jlong>(hPrivateKey), data, 2, -1),
            nullptr);
  EXPECT_MODULE_TRACE(R"(
    C_Sign session=0x900000001 data=non-null dataLength=0xFFFFFFFFFFFFFFFF buffer=null length=0 -> CKR_OK length=9
    C_Sign session=0x900000001 data=non-null dataLength=0xFFFFFFFFFFFFFFFF buffer=non-null length=9 -> CKR_DATA_INVALID
  )");
}

TEST_F(SigningTest, OneCallStartsAndSigns) {
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII(
                jni, session, static_cast<jlong>(hSession), JNI_TRUE, mechanism, static_cast<jlong>(hPrivateKey), data,
                2, 5)),
            R"("SIG:olleh")");
  EXPECT_TRACE(R"(
    FindClass velnor/Mechanism
    GetFieldID velnor/Mechanism mechanism I
    GetFieldID velnor/Mechanism parameter Ljava/lang/Object;
    GetObjectField mechanism parameter
    GetIntField mechanism mechanism
    C_SignInit session=0x5E51 mechanism=0x6 key=0xB03 -> CKR_OK
    GetByteArrayElements data
    C_Sign session=0x5E51 data="hello" buffer=null length=0 -> CKR_OK length=9
    C_Sign session=0x5E51 data="hello" buffer=non-null length=9 -> CKR_OK length=9
    NewByteArray 9
    SetByteArrayRegion byte[]#1 0 9 "SIG:olleh"
    ReleaseByteArrayElements data mode 2
  )");
}

class SignUpdateTest : public SigningTest {
protected:
  SignUpdateTest() { start(); }
  void update(jint dataOff, jint dataLen) {
    Java_velnor_nat_NativeSession_J_1SignUpdate(jni, session, static_cast<jlong>(hSession), JNI_FALSE, nullptr, 0, data,
                                                dataOff, dataLen);
  }
};

TEST_F(SignUpdateTest, HandsThePartOver) {
  update(2, 5);
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_SignUpdate session=0x5E51 part="hello" -> CKR_OK
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(SignUpdateTest, GivesThePartBackAfterAFailure) {
  module.answer("C_SignUpdate CKR_DEVICE_REMOVED");
  update(2, 5);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_SignUpdate session=0x5E51 part="hello" -> CKR_DEVICE_REMOVED
    report "J_SignUpdate" 0x32
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(SignUpdateTest, PartsAddUpToOneSignature) {
  update(2, 2);
  update(4, 3);
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1SignFinal__(jni, session)), R"("SIG:olleh")");
}

TEST_F(SigningTest, FinishesIntoANewArray) {
  start();
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1SignFinal__(jni, session)), R"("SIG:")");
  EXPECT_TRACE(R"(
    sessionOf session
    C_SignFinal session=0x5E51 buffer=non-null length=512 -> CKR_OK length=4
    NewByteArray 4
    SetByteArrayRegion byte[]#1 0 4 "SIG:"
  )");
}

TEST_F(SigningTest, FinishesIntoTheCallersArray) {
  start();
  const jbyteArray sign = env.bytes("sign", "0123456789");
  EXPECT_EQ(Java_velnor_nat_NativeSession_J_1SignFinal___3BI(jni, session, sign, 3), 4);
  EXPECT_EQ(env.show(sign), R"("012SIG:789")");
  EXPECT_TRACE(R"(
    GetByteArrayElements sign
    GetArrayLength sign
    sessionOf session
    C_SignFinal session=0x5E51 buffer=non-null length=7 -> CKR_OK length=4
    ReleaseByteArrayElements sign mode 0
  )");
}

TEST_F(SigningTest, ASecondStartIsForTheModuleToJudge) {
  start();
  Java_velnor_nat_NativeSession_J_1SignInit(jni, session, static_cast<jlong>(hSession), mechanism,
                                            static_cast<jlong>(hPrivateKey));
  EXPECT_EQ(env.pendingReport().value_or(jvm::Report{}).code, 0x90);
}

TEST_F(SigningTest, RecoverySignsInOneCall) {
  Java_velnor_nat_NativeSession_J_1SignRecoverInit(jni, session, mechanism, static_cast<jlong>(hPrivateKey));
  env.clear();
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1SignRecover___3BII(jni, session, data, 2, 5)), R"("REC:olleh")");
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    sessionOf session
    C_SignRecover session=0x5E51 data="hello" buffer=non-null length=517 -> CKR_OK length=9
    NewByteArray 9
    SetByteArrayRegion byte[]#1 0 9 "REC:olleh"
    ReleaseByteArrayElements data mode 2
  )");
}

}  // namespace
