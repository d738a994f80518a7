/// Saving and restoring the cryptographic state of a session.
#include "method_path.h"

namespace {

void startDigest() {
  CK_MECHANISM mechanism = {CKM_SHA_1, nullptr, 0};
  functionList->C_DigestInit(0x5E51, &mechanism);
}

std::vector<MethodPath> operationStatePaths() {
  return {
      {"J_GetOperationState", "J_GetOperationState",
       [](PathTest& t) -> jobject { return Java_velnor_nat_NativeSession_J_1GetOperationState(t.jni, t.session); },
       "\"OPSTATE!\"",
       sessionThen({
           {"C_GetOperationState session=0x5E51 buffer=null length=0 -> CKR_OK length=8", "", ""},
           {"C_GetOperationState session=0x5E51 buffer=non-null length=8 -> CKR_OK length=8", "", ""},
           {"NewByteArray 8", "jOperationState is NULL", ""},
           {"SetByteArrayRegion byte[]#1 0 8 \"OPSTATE!\"", "", ""},
       }),
       [](PathTest&) { startDigest(); }},
      {"J_SetOperationState",
       "J_SetOperationState",
       [](PathTest& t) -> jobject {
         Java_velnor_nat_NativeSession_J_1SetOperationState(t.jni, t.session, t.env.bytes("state", "OPSTATE!"), 0xB01,
                                                            0xB03);
         return nullptr;
       },
       "null",
       {
           // The array is looked at before the session is.
           {"GetArrayLength state", "", ""},
           {"GetByteArrayElements state", "OperationState is NULL", "ReleaseByteArrayElements state mode 2"},
           {"FindClass velnor/nat/NativeSession", "Class 'velnor/nat/NativeSession' not found", ""},
           {"GetFieldID velnor/nat/NativeSession m_sessionHandle J", "Field m_sessionHandle' not found", ""},
           {"GetIntField session m_sessionHandle", "", ""},
           {"C_SetOperationState session=0x5E51 state=\"OPSTATE!\" encryptionKey=0xB01 authenticationKey=0xB03 -> "
            "CKR_OK",
            "", ""},
       }},
  };
}

INSTANTIATE_METHOD_PATHS(OperationState, operationStatePaths());

class OperationStateTest : public NativeTest {
protected:
  OperationStateTest() { given(startDigest); }

  jbyteArray getOperationState() { return Java_velnor_nat_NativeSession_J_1GetOperationState(jni, session); }
  void setOperationState(jbyteArray state, jlong encryptionKey = 0, jlong authenticationKey = 0) {
    Java_velnor_nat_NativeSession_J_1SetOperationState(jni, session, state, encryptionKey, authenticationKey);
  }
  /// What the module says in the first and in the second call.
  void answers(const std::string& first, const std::string& second) {
    module.answer("C_GetOperationState " + first);
    module.answer("C_GetOperationState " + second);
  }
};

// --- J_GetOperationState
// -----------------------------------------------------------------------------------------------

TEST_F(OperationStateTest, SaysWhatTheModuleSaysWithoutAnOperation) {
  given([] {
    CK_SESSION_HANDLE idle = 0;
    functionList->C_OpenSession(0x11, CKF_SERIAL_SESSION, nullptr, nullptr, &idle);
  });
  env.set(session, "m_sessionHandle", 0x5E52);
  EXPECT_EQ(getOperationState(), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_GetOperationState session=0x5E52 buffer=null length=0 -> CKR_OPERATION_NOT_INITIALIZED
    report "J_GetOperationState" 0x91
  )");
}

TEST_F(OperationStateTest, RefusesAStateOfNoBytes) {
  module.answer("C_GetOperationState size=0");
  EXPECT_EQ(getOperationState(), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_GetOperationState session=0x5E51 buffer=null length=0 -> CKR_OK length=0
    report "J_GetOperationState" 5 "OperationStateLen == 0"
  )");
}

TEST_F(OperationStateTest, TellsTheModuleTheLengthThatItAskedFor) {
  answers("data=\"abc\"", "data=\"abc\"");
  EXPECT_EQ(env.show(getOperationState()), "\"abc\"");
  EXPECT_MODULE_TRACE(R"(
    C_GetOperationState session=0x5E51 buffer=null length=0 -> CKR_OK length=3
    C_GetOperationState session=0x5E51 buffer=non-null length=3 -> CKR_OK length=3
  )");
}

TEST_F(OperationStateTest, TakesStatesOfAnyLength) {
  for (const std::size_t size : {std::size_t{9}, std::size_t{324}, std::size_t{100000}}) {
    const std::string answer = "size=" + std::to_string(size);
    answers(answer, answer);
    const jbyteArray state = getOperationState();
    EXPECT_EQ(env.pending(), "");
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(env.bytesOf(state).size(), size);
  }
}

TEST_F(OperationStateTest, IsShorterWhenTheSecondLengthIs) {
  answers("data=\"0123456789\"", "data=\"abcd\"");
  EXPECT_EQ(env.show(getOperationState()), "\"abcd\"");
}

// The session says itself what it wrote, also when that is nothing at last.
TEST_F(OperationStateTest, IsEmptyWhenTheSecondLengthIs) {
  answers("data=\"0123\"", "size=0");
  EXPECT_EQ(env.show(getOperationState()), "\"\"");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(OperationStateTest, FailsWhenTheStateGrewInBetween) {
  answers("size=20", "size=21");
  EXPECT_EQ(getOperationState(), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_GetOperationState session=0x5E51 buffer=null length=0 -> CKR_OK length=20
    C_GetOperationState session=0x5E51 buffer=non-null length=20 -> CKR_BUFFER_TOO_SMALL length=21
    report "J_GetOperationState" 0x150
  )");
}

TEST_F(OperationStateTest, RefusesALengthBeyondWhatTheModuleWasOffered) {
  answers("CKR_OK length=9", "CKR_OK length=10");
  EXPECT_EQ(getOperationState(), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_GetOperationState session=0x5E51 buffer=null length=0 -> CKR_OK length=9
    C_GetOperationState session=0x5E51 buffer=non-null length=9 -> CKR_OK length=10
    NewByteArray 10
    report "J_GetOperationState" 5 "the pkcs#11 library reports more than it was given room for"
  )");
}

TEST_F(OperationStateTest, RefusesALengthThatNoMemoryHolds) {
  for (const char* const length : {"-1", "0x4000000000000000"}) {
    module.answer(std::string("C_GetOperationState CKR_OK length=") + length);
    EXPECT_EQ(getOperationState(), nullptr);
    EXPECT_EQ(env.pending(), "CryptokiException(\"J_GetOperationState\", 2, \"HOST MEMORY                       \")");
    EXPECT_EQ(module.unused(), "");
  }
}

TEST_F(OperationStateTest, ReportsANegativeLengthAsAMissingArray) {
  answers("size=8", "CKR_OK length=-1");
  EXPECT_EQ(getOperationState(), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_GetOperationState session=0x5E51 buffer=null length=0 -> CKR_OK length=8
    C_GetOperationState session=0x5E51 buffer=non-null length=8 -> CKR_OK length=0xFFFFFFFFFFFFFFFF
    NewByteArray -1 -> null
    report "J_GetOperationState" 5 "jOperationState is NULL"
  )");
}

TEST_F(OperationStateTest, ReportsALengthBeyondAJavaIntAndGoesOnWithItsLowHalf) {
  answers("data=\"abcdefgh\"", "data=\"abcdefgh\" length=0x100000003");
  EXPECT_EQ(env.show(getOperationState()), "\"abc\"");
  EXPECT_TRACE(R"-(
    sessionOf session
    C_GetOperationState session=0x5E51 buffer=null length=0 -> CKR_OK length=8
    C_GetOperationState session=0x5E51 buffer=non-null length=8 -> CKR_OK length=0x100000003
    report "Check64BitLen" 5 "Value out of size for 32 bit (jint)"
    NewByteArray 3
    SetByteArrayRegion byte[]#3 0 3 "abc"
  )-");
}

// --- J_SetOperationState
// -----------------------------------------------------------------------------------------------

TEST_F(OperationStateTest, ReportsANullStateBeforeItsLengthIsAskedFor) {
  setOperationState(nullptr);
  EXPECT_TRACE("report \"J_SetOperationState\" 5 \"OperationState is NULL\"");
}

TEST_F(OperationStateTest, HandsOnAnEmptyState) {
  module.answer("C_SetOperationState CKR_OK");
  setOperationState(env.bytes("state", ""));
  EXPECT_TRACE(R"(
    GetArrayLength state
    GetByteArrayElements state
    sessionOf session
    C_SetOperationState session=0x5E51 state="" encryptionKey=0x0 authenticationKey=0x0 -> CKR_OK
    ReleaseByteArrayElements state mode 2
  )");
}

TEST_F(OperationStateTest, HandsOnKeyHandlesOf64Bits) {
  const jlong encryptionKey = 0x5500000001;
  module.answer("C_SetOperationState CKR_OK");
  setOperationState(env.bytes("state", "OPSTATE!"), encryptionKey, -1);
  EXPECT_MODULE_TRACE(R"(
    C_SetOperationState session=0x5E51 state="OPSTATE!" encryptionKey=0x5500000001 authenticationKey=0xFFFFFFFFFFFFFFFF -> CKR_OK
  )");
}

TEST_F(OperationStateTest, RestoresWhatWasSaved) {
  setOperationState(getOperationState());
  EXPECT_EQ(env.pending(), "");
}

}  // namespace
