/// Methods that write into the caller's array, and the offsets that methods add to pointers.
#include "operations.h"

namespace operations {
namespace {

class CallersArrayTest : public MethodTest {
protected:
  CallersArrayTest() { startEverything(); }

  std::string borrowOutput() const { return "GetByteArrayElements output\nGetArrayLength output\n"; }
  std::string query(const std::string& answer) const { return moduleCall("buffer=null length=0 -> " + answer); }
  std::string offer(const std::string& length, const std::string& answer) const {
    return moduleCall("buffer=non-null length=" + length + " -> " + answer);
  }
  std::string output() const { return env.bytesOf(arguments.second.array); }
};

TEST_P(CallersArrayTest, WritesBehindTheOffset) {
  answer(R"(data="RESULT")");
  EXPECT_EQ(call().length, 6);
  EXPECT_EQ(output(), "012RESULT9abcdefghijklmn");
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(borrowInput() + borrowOutput() + sessionLine() + offer("21", "CKR_OK length=6") + giveBackInput() +
               "ReleaseByteArrayElements output mode 0");
}

TEST_P(CallersArrayTest, AsksForTheLengthWhenThereIsNoArray) {
  arguments.second = {nullptr, 5, 0};
  answer(R"(data="RESULT")");
  EXPECT_EQ(call().length, 6);
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(borrowInput() + sessionLine() + query("CKR_OK length=6") + giveBackInput());
}

TEST_P(CallersArrayTest, AsksForTheLengthWhenTheElementsAreRefused) {
  answer(R"(data="RESULT")");
  env.failNth("GetByteArrayElements", method.input == nullptr ? 1 : 2);
  EXPECT_EQ(call().length, 6);
  EXPECT_EQ(output(), "0123456789abcdefghijklmn");
  EXPECT_TRACE(borrowInput() + "GetByteArrayElements output -> null\n" + sessionLine() + query("CKR_OK length=6") +
               giveBackInput());
}

TEST_P(CallersArrayTest, AnArrayThatIsTooShortIsTheCallersAffair) {
  arguments.second.offset = 20;
  answer(R"(data="RESULT")");
  EXPECT_EQ(call().length, 6);
  EXPECT_TRACE(borrowInput() + borrowOutput() + sessionLine() + offer("4", "CKR_BUFFER_TOO_SMALL length=6") +
               report("0x150") + giveBackInput() + giveBackOutputAfterFailure());
}

TEST_P(CallersArrayTest, GivesBackInOrderAfterAFailureAndReturnsWhatTheModuleLeft) {
  // A detached release is one that JVMs do not survive; the methods that do it are kept from failing by the surface
  // above, which relies on knowing exactly which they are.
  answer("CKR_DEVICE_ERROR length=77");
  EXPECT_EQ(call().length, 77);
  EXPECT_TRACE(borrowInput() + borrowOutput() + sessionLine() + offer("21", "CKR_DEVICE_ERROR length=77") +
               report("0x30") + giveBackInput() + giveBackOutputAfterFailure());
}

TEST_P(CallersArrayTest, WhatAFailingModuleWroteIsCopiedBackUnlessDetached) {
  answer(R"(CKR_DEVICE_ERROR data="RESULT")");
  giveBackOutputAfterFailure();
  call();
  EXPECT_EQ(output(),
            method.afterFailure == AfterFailure::CopiedBack ? "012RESULT9abcdefghijklmn" : "0123456789abcdefghijklmn");
}

TEST_P(CallersArrayTest, ReturnsTheRoomWhenAFailingModuleLeftTheLengthAlone) {
  answer("CKR_DEVICE_ERROR");
  giveBackOutputAfterFailure();
  EXPECT_EQ(call().length, 21);
}

TEST_P(CallersArrayTest, GivesNothingDetachedBackWhenALengthQueryFails) {
  arguments.second.array = nullptr;
  answer("CKR_DEVICE_ERROR");
  EXPECT_EQ(call().length, 0);
  EXPECT_TRACE(borrowInput() + sessionLine() + query("CKR_DEVICE_ERROR") + report("0x30") + giveBackInput());
}

TEST_P(CallersArrayTest, AnOffsetBeyondTheArrayIsAHugeLength) {
  arguments.second.offset = 25;
  answer("CKR_OK length=0");
  EXPECT_EQ(call().length, 0);
  EXPECT_MODULE_TRACE(offer("0xFFFFFFFFFFFFFFFF", "CKR_OK length=0"));
}

TEST_P(CallersArrayTest, TheRoomIsAJavaIntDifference) {
  arguments.second.offset = -0x7FFFFFFF - 1;
  answer("CKR_OK length=0");
  EXPECT_EQ(call().length, 0);
  EXPECT_MODULE_TRACE(offer("0xFFFFFFFF80000018", "CKR_OK length=0"));
}

TEST_P(CallersArrayTest, GoesOnWithTheLowBitsOfALengthBeyondAJavaInt) {
  answer("CKR_OK length=0x100000004");
  EXPECT_EQ(call().length, 4);
  EXPECT_TRACE(borrowInput() + borrowOutput() + sessionLine() + offer("21", "CKR_OK length=0x100000004") +
               giveBackInput() + "ReleaseByteArrayElements output mode 0\n" +
               "report \"Check64BitLen\" 5 \"Value out of size for 32 bit (jint)\"");
}

TEST_P(CallersArrayTest, AllOnesAreMinusOneWithoutAReport) {
  answer("CKR_OK length=-1");
  EXPECT_EQ(call().length, -1);
  EXPECT_EQ(env.pending(), "");
}

INSTANTIATE_TEST_SUITE_P(All, CallersArrayTest, ::testing::ValuesIn(methodsWhere([](const Method& m) {
                           return m.output == Output::CallersArray;
                         })),
                         title);

class CallersArrayOfObjectTest : public CallersArrayTest {};

TEST_P(CallersArrayOfObjectTest, ReadsTheSessionOnlyAfterTheArraysWereBorrowed) {
  env.declareMissing("velnor/nat/NativeSession");
  EXPECT_EQ(call().length, 21);
  EXPECT_TRACE(borrowInput() + borrowOutput() + "FindClass velnor/nat/NativeSession -> null\n" +
               report(R"(5 "Class 'velnor/nat/NativeSession' not found")") + giveBackInput() +
               giveBackOutputAfterFailure());
}

INSTANTIATE_TEST_SUITE_P(All, CallersArrayOfObjectTest, ::testing::ValuesIn(methodsWhere([](const Method& m) {
                           return m.output == Output::CallersArray && m.session == Session::Object;
                         })),
                         title);

// What the module was given, and where the elements lie that it should lead to: a scripted module would have to read
// where a wild offset points.
struct Taken {
  const CK_BYTE* input;
  CK_ULONG inputLength;
  const CK_BYTE* second;
  CK_ULONG secondLength;
};
Taken taken = {};
std::vector<const CK_BYTE*> lent;
const JNINativeInterface_* recorded = nullptr;

CK_RV takeBoth(CK_SESSION_HANDLE, CK_BYTE_PTR input, CK_ULONG inputLength, CK_BYTE_PTR output,
               CK_ULONG_PTR outputLength) {
  taken = {input, inputLength, output, *outputLength};
  return CKR_FUNCTION_CANCELED;
}

CK_RV takeInput(CK_SESSION_HANDLE, CK_BYTE_PTR input, CK_ULONG inputLength) {
  taken = {input, inputLength, nullptr, 0};
  return CKR_FUNCTION_CANCELED;
}

CK_RV takeOutput(CK_SESSION_HANDLE, CK_BYTE_PTR output, CK_ULONG_PTR outputLength) {
  taken = {nullptr, 0, output, *outputLength};
  return CKR_FUNCTION_CANCELED;
}

CK_RV takeTwoInputs(CK_SESSION_HANDLE, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature, CK_ULONG signLen) {
  taken = {data, dataLen, signature, signLen};
  return CKR_FUNCTION_CANCELED;
}

jbyte* lend(JNIEnv* jni, jbyteArray array, jboolean* isCopy) {
  jbyte* const elements = recorded->GetByteArrayElements(jni, array, isCopy);
  lent.push_back(reinterpret_cast<const CK_BYTE*>(elements));
  return elements;
}

class OffsetTest : public MethodTest {
protected:
  OffsetTest() {
    taken = {};
    lent.clear();
    recorded = jni->functions;
    table_ = *recorded;
    table_.GetByteArrayElements = lend;
    jni->functions = &table_;

    CK_FUNCTION_LIST& l = list_;
    l.C_Encrypt = l.C_EncryptUpdate = l.C_Decrypt = l.C_DecryptUpdate = l.C_Digest = l.C_Sign = takeBoth;
    l.C_SignRecover = l.C_VerifyRecover = takeBoth;
    l.C_DecryptDigestUpdate = l.C_DigestEncryptUpdate = l.C_SignEncryptUpdate = l.C_DecryptVerifyUpdate = takeBoth;
    l.C_EncryptFinal = l.C_DecryptFinal = l.C_DigestFinal = l.C_SignFinal = takeOutput;
    l.C_DigestUpdate = l.C_SignUpdate = l.C_VerifyUpdate = l.C_VerifyFinal = takeInput;
    l.C_Verify = takeTwoInputs;
    functionList = &list_;
  }
  ~OffsetTest() override { jni->functions = recorded; }
  OffsetTest(const OffsetTest&) = delete;
  OffsetTest& operator=(const OffsetTest&) = delete;

private:
  JNINativeInterface_ table_;
  CK_FUNCTION_LIST list_ = *functionList;
};

TEST_P(OffsetTest, NegativeOffsetsAndLengthsReachTheModuleSignExtended) {
  const bool callersArray = method.output == Output::CallersArray;
  const bool signature = method.function == std::string("C_Verify");
  arguments.input.offset = -5;
  arguments.input.length = -6;
  arguments.second.offset = -7;
  arguments.second.length = -8;
  if (method.row.keepsInput) {
    expectOut({"input"});
  } else if (callersArray) {
    giveBackOutputAfterFailure();
  }
  call();
  ASSERT_EQ(lent.size(), (method.input == nullptr ? 0U : 1U) + (callersArray || signature ? 1U : 0U));
  if (method.input != nullptr) {
    EXPECT_EQ(taken.input, lent.front() - 5);
    EXPECT_EQ(taken.inputLength, static_cast<CK_ULONG>(-6));
  }
  if (callersArray || signature) {
    EXPECT_EQ(taken.second, lent.back() - 7);
    EXPECT_EQ(taken.secondLength, callersArray ? 24U + 7U : static_cast<CK_ULONG>(-8));
  }
}

INSTANTIATE_TEST_SUITE_P(All, OffsetTest, ::testing::ValuesIn(methodsWhere([](const Method& m) {
                           return m.input != nullptr || m.output == Output::CallersArray;
                         })),
                         title);

}  // namespace
}  // namespace operations
