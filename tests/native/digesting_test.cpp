/// Digesting: the fixed buffer, data that may be missing, keys in a digest, and what the shared tests of the operation
/// families do not show.
#include "native_test.h"

namespace {

class DigestingTest : public NativeTest {
protected:
  void start(CK_MECHANISM_TYPE mechanism = CKM_SHA_1) {
    given([mechanism] {
      CK_MECHANISM started = {mechanism, nullptr, 0};
      functionList->C_DigestInit(hSession, &started);
    });
  }
  jbyteArray digest(jbyteArray input, jint dataOff, jint dataLen) {
    return Java_velnor_nat_NativeSession_J_1Digest__JZLvelnor_Mechanism_2_3BII(
        jni, session, static_cast<jlong>(hSession), JNI_FALSE, nullptr, input, dataOff, dataLen);
  }
  jint digest(jbyteArray input, jint dataOff, jint dataLen, jbyteArray output, jint digestOff) {
    return Java_velnor_nat_NativeSession_J_1Digest__JZLvelnor_Mechanism_2_3BII_3BI(
        jni, session, static_cast<jlong>(hSession), JNI_FALSE, nullptr, input, dataOff, dataLen, output, digestOff);
  }
  void update(jint off, jint len) {
    Java_velnor_nat_NativeSession_J_1DigestUpdate(jni, session, static_cast<jlong>(hSession), JNI_FALSE, nullptr, data,
                                                  off, len);
  }
  void digestKey(CK_OBJECT_HANDLE hKey) {
    Java_velnor_nat_NativeSession_J_1DigestKey(jni, session, static_cast<jlong>(hSession), JNI_FALSE, nullptr,
                                               static_cast<jlong>(hKey));
  }

  jbyteArray data = env.bytes("data", "..hello..");
};

TEST_F(DigestingTest, ADigestOfTwentyBytesFillsTheBuffer) {
  start();
  EXPECT_EQ(env.show(digest(data, 2, 5)), R"("hello...............")");
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_Digest session=0x5E51 data="hello" buffer=non-null length=20 -> CKR_OK length=20
    NewByteArray 20
    SetByteArrayRegion byte[]#1 0 20 "hello..............."
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(DigestingTest, AShorterDigestGivesAShorterArray) {
  start(CKM_MD5);
  EXPECT_EQ(env.show(digest(data, 2, 5)), R"("hello...........")");
}

TEST_F(DigestingTest, ALongerDigestIsRefusedAndTheBufferDoesNotGrow) {
  // Callers tell the digests that fit from the others by this code and then digest into an array of their own.
  start(CKM_SHA256);
  EXPECT_EQ(digest(data, 2, 5), nullptr);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_Digest session=0x5E51 data="hello" buffer=non-null length=20 -> CKR_BUFFER_TOO_SMALL length=32
    report "J_Digest" 0x150
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(DigestingTest, TheModuleJudgesMissingData) {
  // Tokens digest no data at all when they are given a null pointer and no length, so null is not refused here. The
  // offset does not count: it would make a wild pointer of a null one.
  start();
  EXPECT_EQ(env.show(digest(nullptr, 3, 0)), R"("....................")");
  EXPECT_TRACE(R"(
    C_Digest session=0x5E51 data=null dataLength=0 buffer=non-null length=20 -> CKR_OK length=20
    NewByteArray 20
    SetByteArrayRegion byte[]#1 0 20 "...................."
  )");
}

TEST_F(DigestingTest, TheModuleJudgesDataThatTheJvmRefused) {
  start();
  env.failNext("GetByteArrayElements");
  module.answer("C_Digest CKR_ARGUMENTS_BAD");
  EXPECT_EQ(digest(data, 2, 5), nullptr);
  EXPECT_TRACE(R"(
    GetByteArrayElements data -> null
    C_Digest session=0x5E51 data=null dataLength=5 buffer=non-null length=20 -> CKR_ARGUMENTS_BAD
    report "J_Digest" 0x7
  )");
}

TEST_F(DigestingTest, TheModuleJudgesMissingDataAlsoForTheCallersArray) {
  start();
  const jbyteArray out = env.bytes("digest", std::string(24, '-'));
  EXPECT_EQ(digest(nullptr, 3, 0, out, 2), 20);
  EXPECT_EQ(env.show(out), R"("--....................--")");
  EXPECT_TRACE(R"(
    GetByteArrayElements digest
    GetArrayLength digest
    C_Digest session=0x5E51 data=null dataLength=0 buffer=non-null length=22 -> CKR_OK length=20
    ReleaseByteArrayElements digest mode 0
  )");
}

TEST_F(DigestingTest, TheModuleJudgesRefusedDataAlsoForTheCallersArray) {
  start();
  env.failNext("GetByteArrayElements");
  module.answer("C_Digest CKR_ARGUMENTS_BAD");
  EXPECT_EQ(digest(data, 2, 5, env.bytes("digest", "0123"), 1), 3);
  EXPECT_TRACE(R"(
    GetByteArrayElements data -> null
    GetByteArrayElements digest
    GetArrayLength digest
    C_Digest session=0x5E51 data=null dataLength=5 buffer=non-null length=3 -> CKR_ARGUMENTS_BAD
    report "J_Digest" 0x7
    ReleaseByteArrayElements digest mode 0
  )");
}

TEST_F(DigestingTest, ALongDigestFitsTheCallersArray) {
  start(CKM_SHA256);
  EXPECT_EQ(digest(data, 2, 5, nullptr, 0), 32);
  const jbyteArray out = env.bytes("digest", std::string(32, '-'));
  EXPECT_EQ(digest(data, 2, 5, out, 0), 32);
  EXPECT_EQ(env.bytesOf(out), "hello" + std::string(27, '.'));
  EXPECT_EQ(env.pending(), "");
}

TEST_F(DigestingTest, ReportsThatTheArrayCouldNotBeMade) {
  start();
  env.failNext("NewByteArray", jvm::Leaving::Exception);
  EXPECT_EQ(digest(data, 2, 5), nullptr);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_Digest session=0x5E51 data="hello" buffer=non-null length=20 -> CKR_OK length=20
    NewByteArray 20 -> null
    report "J_Digest" 5 "jDigest is NULL"
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(DigestingTest, NothingBeyondTheBufferReachesJava) {
  start();
  module.answer("C_Digest CKR_OK length=21");
  EXPECT_EQ(digest(data, 2, 5), nullptr);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_Digest\", 5, "
                           "\"the pkcs#11 library reports more than it was given room for\")");
}

TEST_F(DigestingTest, GoesOnWithTheLowBitsOfALengthBeyondAJavaInt) {
  start();
  module.answer("C_Digest CKR_OK length=0x100000004");
  EXPECT_EQ(env.bytesOf(digest(data, 2, 5)).size(), 4U);
  EXPECT_EQ(env.pending(), "CryptokiException(\"Check64BitLen\", 5, \"Value out of size for 32 bit (jint)\")");
}

TEST_F(DigestingTest, ALengthOfTheDataDoesNotChangeTheBuffer) {
  start();
  module.answer("C_Digest CKR_DATA_LEN_RANGE unread");
  EXPECT_EQ(digest(data, 2, -1), nullptr);
  EXPECT_MODULE_TRACE(R"(
    C_Digest session=0x5E51 data=non-null dataLength=0xFFFFFFFFFFFFFFFF buffer=non-null length=20 -> CKR_DATA_LEN_RANGE
  )");
}

TEST_F(DigestingTest, HandsAPartOver) {
  start();
  update(2, 5);
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_DigestUpdate session=0x5E51 part="hello" -> CKR_OK
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(DigestingTest, GivesThePartBackAfterAFailure) {
  update(2, 5);
  EXPECT_TRACE(R"(
    GetByteArrayElements data
    C_DigestUpdate session=0x5E51 part="hello" -> CKR_OPERATION_NOT_INITIALIZED
    report "J_DigestUpdate" 0x91
    ReleaseByteArrayElements data mode 2
  )");
}

TEST_F(DigestingTest, PartsAndKeysAddUpToOneDigest) {
  start(CKM_SHA256);
  update(2, 2);
  digestKey(hSecretKey);
  update(4, 3);
  EXPECT_EQ(env.pending(), "");
  env.clear();
  EXPECT_EQ(env.bytesOf(Java_velnor_nat_NativeSession_J_1DigestFinal__(jni, session)),
            "he0123456789abcdefllo...........");
  EXPECT_MODULE_TRACE("C_DigestFinal session=0x5E51 buffer=non-null length=512 -> CKR_OK length=32");
}

TEST_F(DigestingTest, AKeyIsHandedOverByItsWholeHandle) {
  start();
  digestKey(0x8000000000000007);
  EXPECT_TRACE(R"(
    C_DigestKey session=0x5E51 key=0x8000000000000007 -> CKR_KEY_HANDLE_INVALID
    report "J_DigestKey" 0x60
  )");
}

}  // namespace
