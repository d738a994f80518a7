/// Bytes, lists and numbers on their way: ranges, null and empty ones, room that is too small, and modules that lie
/// about what they wrote.
#include "calls.h"

#include <algorithm>
#include <climits>

using namespace functions;

namespace {

const std::string kSession16 = " 0xFEDCBA9876543210";

struct Range {
  jint off;
  jint len;
};

/// Of an array of 17.
constexpr Range kOutside[] = {{-1, 1},
                              {0, -1},
                              {0, 18},
                              {17, 1},
                              {18, 0},
                              {16, 2},
                              {INT_MAX, 1},
                              {1, INT_MAX},
                              {INT_MAX, INT_MAX},
                              {INT_MIN, INT_MIN},
                              {INT_MIN, 17},
                              {-1, 18},
                              {17, INT_MIN},
                              {-17, 17},
                              {0, INT_MIN},
                              {INT_MIN, INT_MAX}};

class FunctionsBytesTest : public FunctionsTest {
protected:
  jint index(const std::string& function) { return indexOf(function); }
  jbyteArray array(const std::string& contents = "seventeen bytes..") { return env.bytes("", contents); }
  jobject buffer(const std::string& contents = "seventeen bytes..") { return env.directBuffer("", contents); }
  jint bytes(jbyteArray in, jint off, jint len) {
    return NATIVE(bytes)(jni, nullptr, puppetModule(), index("C_SignUpdate"), kSession, in, off, len);
  }
  jint bytesDirect(jobject in, jint off, jint len) {
    return NATIVE(bytesDirect)(jni, nullptr, puppetModule(), index("C_SignUpdate"), kSession, in, off, len);
  }
  jint twoBytes(jbyteArray one, jint oneOff, jint oneLen, jbyteArray other, jint otherOff, jint otherLen) {
    return NATIVE(twoBytes)(jni, nullptr, puppetModule(), index("C_Verify"), kSession, one, oneOff, oneLen, other,
                            otherOff, otherLen);
  }
  jlong process(jbyteArray in, jint inOff, jint inLen, jbyteArray out, jint outOff, jint outLen) {
    return NATIVE(process)(jni, nullptr, puppetModule(), index("C_Sign"), kSession, in, inOff, inLen, out, outOff,
                           outLen);
  }
  jlong processDirect(jobject in, jint inOff, jint inLen, jobject out, jint outOff, jint outLen) {
    return NATIVE(processDirect)(jni, nullptr, puppetModule(), index("C_Sign"), kSession, in, inOff, inLen, out, outOff,
                                 outLen);
  }
  jlong output(jbyteArray out, jint outOff, jint outLen) {
    return NATIVE(output)(jni, nullptr, puppetModule(), index("C_SignFinal"), kSession, out, outOff, outLen);
  }
  jlong outputDirect(jobject out, jint outOff, jint outLen) {
    return NATIVE(outputDirect)(jni, nullptr, puppetModule(), index("C_SignFinal"), kSession, out, outOff, outLen);
  }
  jint fill(jbyteArray out, jint off, jint len) {
    return NATIVE(fill)(jni, nullptr, puppetModule(), index("C_GenerateRandom"), kSession, out, off, len);
  }
  jint fillDirect(jobject out, jint off, jint len) {
    return NATIVE(fillDirect)(jni, nullptr, puppetModule(), index("C_GenerateRandom"), kSession, out, off, len);
  }
  jlong wrapKey(jbyteArray out) {
    return NATIVE(wrapKey)(jni, nullptr, puppetModule(), kSession, kMechanism, nullptr, kObject, kOther, out);
  }
  jint unwrapKey(jbyteArray wrapped, jint off, jint len, jlongArray key) {
    return NATIVE(unwrapKey)(jni, nullptr, puppetModule(), kSession, kMechanism, nullptr, kObject, wrapped, off, len,
                             nullptr, key);
  }
  jlong list(const char* function, jlongArray numbers) {
    return NATIVE(list)(jni, nullptr, puppetModule(), index(function), kSlot, numbers);
  }
  jlong find(jlongArray objects) { return NATIVE(find)(jni, nullptr, puppetModule(), kSession, objects); }
};

// --- Input -----------------------------------------------------------------------------------------------------------

TEST_F(FunctionsBytesTest, NullIsANullPointerWhateverTheRange) {
  for (const Range& range : {Range{0, 0}, Range{5, 7}, Range{-1, -1}, Range{INT_MAX, INT_MAX}}) {
    SCOPED_TRACE(std::to_string(range.off) + " " + std::to_string(range.len));
    EXPECT_EQ(bytes(nullptr, range.off, range.len), 0);
    EXPECT_EQ(takeOnlyCall(), "C_SignUpdate" + kSession16 + " in=null:0");
    EXPECT_EQ(bytesDirect(nullptr, range.off, range.len), 0);
    EXPECT_EQ(takeOnlyCall(), "C_SignUpdate" + kSession16 + " in=null:0");
    EXPECT_EQ(twoBytes(nullptr, range.off, range.len, array("other"), 0, 5), 0);
    EXPECT_EQ(takeOnlyCall(), "C_Verify" + kSession16 + " in=null:0 in=\"other\"");
    EXPECT_EQ(twoBytes(array("one"), 0, 3, nullptr, range.off, range.len), 0);
    EXPECT_EQ(takeOnlyCall(), "C_Verify" + kSession16 + " in=\"one\" in=null:0");
    EXPECT_EQ(NATIVE(twoBytesDirect)(jni, nullptr, puppetModule(), index("C_Verify"), kSession, nullptr, range.off,
                                     range.len, nullptr, range.off, range.len),
              0);
    EXPECT_EQ(takeOnlyCall(), "C_Verify" + kSession16 + " in=null:0 in=null:0");
    process(nullptr, range.off, range.len, array(), 0, 8);
    EXPECT_EQ(takeOnlyCall(), "C_Sign" + kSession16 + " in=null:0 room=8");
    processDirect(nullptr, range.off, range.len, buffer(), 0, 8);
    EXPECT_EQ(takeOnlyCall(), "C_Sign" + kSession16 + " in=null:0 room=8");
    EXPECT_EQ(unwrapKey(nullptr, range.off, range.len, env.longs("", {0})), 0);
    EXPECT_EQ(takeOnlyCall(),
              "C_UnwrapKey" + kSession16 + " 0xCBA9876543210123 0xEDCBA98765432101 in=null:0 null:0 number");
  }
}

TEST_F(FunctionsBytesTest, AnEmptyRangeIsNotNull) {
  for (const jint off : {0, 5, 17}) {
    SCOPED_TRACE(off);
    EXPECT_EQ(bytes(array(), off, 0), 0);
    EXPECT_EQ(takeOnlyCall(), "C_SignUpdate" + kSession16 + " in=\"\"");
    EXPECT_EQ(bytesDirect(buffer(), off, 0), 0);
    EXPECT_EQ(takeOnlyCall(), "C_SignUpdate" + kSession16 + " in=\"\"");
    EXPECT_EQ(twoBytes(array(), off, 0, array(), off, 0), 0);
    EXPECT_EQ(takeOnlyCall(), "C_Verify" + kSession16 + " in=\"\" in=\"\"");
  }
  EXPECT_EQ(bytes(array(""), 0, 0), 0);
  EXPECT_EQ(takeOnlyCall(), "C_SignUpdate" + kSession16 + " in=\"\"");
  EXPECT_EQ(bytesDirect(buffer(""), 0, 0), 0);
  EXPECT_EQ(takeOnlyCall(), "C_SignUpdate" + kSession16 + " in=\"\"");
}

TEST_F(FunctionsBytesTest, RangesOutsideOfTheirArrayReachNoModule) {
  for (const Range& range : kOutside) {
    SCOPED_TRACE(std::to_string(range.off) + " " + std::to_string(range.len));
    EXPECT_EQ(bytes(array(), range.off, range.len), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(bytesDirect(buffer(), range.off, range.len), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(twoBytes(array(), range.off, range.len, array(), 0, 0), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(twoBytes(array(), 0, 0, array(), range.off, range.len), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(NATIVE(twoBytesDirect)(jni, nullptr, puppetModule(), 0, kSession, buffer(), range.off, range.len, array(),
                                     0, 0),
              jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(NATIVE(twoBytesDirect)(jni, nullptr, puppetModule(), 0, kSession, buffer(), 0, 0, array(), range.off,
                                     range.len),
              jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(process(array(), range.off, range.len, array(), 0, 17), failure(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(process(array(), 0, 17, array(), range.off, range.len), failure(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(process(array(), range.off, range.len, nullptr, 0, 0), failure(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(processDirect(buffer(), range.off, range.len, buffer(), 0, 17), failure(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(processDirect(buffer(), 0, 17, buffer(), range.off, range.len), failure(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(output(array(), range.off, range.len), failure(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(outputDirect(buffer(), range.off, range.len), failure(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(fill(array(), range.off, range.len), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(fillDirect(buffer(), range.off, range.len), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(unwrapKey(array(), range.off, range.len, env.longs("", {0})), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(takeTold().size(), 0U);
  }
  EXPECT_TRUE(env.thrown().empty()) << "the JVM would have thrown";
}

TEST_F(FunctionsBytesTest, RangesAtTheVeryEdgesAreInside) {
  EXPECT_EQ(bytes(array(), 0, 17), 0);
  EXPECT_EQ(takeOnlyCall(), "C_SignUpdate" + kSession16 + " in=\"seventeen bytes..\"");
  EXPECT_EQ(bytes(array(), 16, 1), 0);
  EXPECT_EQ(takeOnlyCall(), "C_SignUpdate" + kSession16 + " in=\".\"");
  EXPECT_EQ(bytesDirect(buffer(), 16, 1), 0);
  EXPECT_EQ(takeOnlyCall(), "C_SignUpdate" + kSession16 + " in=\".\"");
}

// --- Buffers ---------------------------------------------------------------------------------------------------------

TEST_F(FunctionsBytesTest, ABufferIsUsedWhereItLies) {
  const jobject in = buffer();
  const jobject out = buffer(std::string(40, '-'));
  auto* const inAt = static_cast<CK_BYTE_PTR>(jni->GetDirectBufferAddress(in));
  auto* const outAt = static_cast<CK_BYTE_PTR>(jni->GetDirectBufferAddress(out));
  puppet::Entry<& puppet::FunctionList::C_Sign>::behaviour = [&](CK_SESSION_HANDLE, CK_BYTE_PTR pData,
                                                                 CK_ULONG ulDataLen, CK_BYTE_PTR pSignature,
                                                                 CK_ULONG_PTR pulSignatureLen) {
    EXPECT_EQ(pData, inAt + 3);
    EXPECT_EQ(ulDataLen, 5U);
    EXPECT_EQ(pSignature, outAt + 30);
    EXPECT_EQ(*pulSignatureLen, 10U);
    std::memcpy(pSignature, "made", 4);
    *pulSignatureLen = 4;
    return CKR_OK;
  };
  EXPECT_EQ(processDirect(in, 3, 5, out, 30, 10), 4);
  EXPECT_EQ(env.show(out), "\"" + std::string(30, '-') + "made------\"");
}

TEST_F(FunctionsBytesTest, ABufferOnJavasHeapReachesNoModule) {
  const jobject heap = env.bytes("heap buffer", "seventeen bytes..");
  EXPECT_EQ(bytesDirect(heap, 0, 0), jint(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(processDirect(heap, 0, 1, buffer(), 0, 1), failure(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(processDirect(buffer(), 0, 1, heap, 0, 1), failure(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(outputDirect(heap, 0, 0), failure(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(fillDirect(heap, 0, 0), jint(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(takeTold().size(), 0U);
}

// --- Output ----------------------------------------------------------------------------------------------------------

TEST_F(FunctionsBytesTest, NullAsksForTheLength) {
  for (const CK_ULONG length : {CK_ULONG(0), CK_ULONG(1), CK_ULONG(0x80000005), CK_ULONG(0x7FFFFFFFFFFFFFFF)}) {
    SCOPED_TRACE(length);
    puppet::answer.length = length;
    EXPECT_EQ(process(array(), 0, 17, nullptr, 5, 7), static_cast<jlong>(length));
    EXPECT_EQ(takeOnlyCall(), "C_Sign" + kSession16 + " in=\"seventeen bytes..\" room=null:0");
    EXPECT_EQ(processDirect(buffer(), 0, 17, nullptr, 5, 7), static_cast<jlong>(length));
    EXPECT_EQ(takeOnlyCall(), "C_Sign" + kSession16 + " in=\"seventeen bytes..\" room=null:0");
    EXPECT_EQ(output(nullptr, 5, 7), static_cast<jlong>(length));
    EXPECT_EQ(takeOnlyCall(), "C_SignFinal" + kSession16 + " room=null:0");
    EXPECT_EQ(outputDirect(nullptr, 5, 7), static_cast<jlong>(length));
    EXPECT_EQ(takeOnlyCall(), "C_SignFinal" + kSession16 + " room=null:0");
    EXPECT_EQ(wrapKey(nullptr), static_cast<jlong>(length));
    EXPECT_EQ(takeOnlyCall(),
              "C_WrapKey" + kSession16 + " 0xCBA9876543210123 0xEDCBA98765432101 0xDCBA987654321012 room=null:0");
    EXPECT_EQ(list("C_GetMechanismList", nullptr), static_cast<jlong>(length));
    EXPECT_EQ(takeOnlyCall(), "C_GetMechanismList 0xBA98765432101234 list=null:0");
  }
}

// It would pass for a failure.
TEST_F(FunctionsBytesTest, ALengthBeyondAllLongsIsAnError) {
  for (const CK_ULONG length : {~CK_ULONG(0), CK_ULONG(0x8000000000000000)}) {
    puppet::answer.length = length;
    EXPECT_EQ(process(array(), 0, 17, nullptr, 0, 0), failure(CKR_GENERAL_ERROR));
    EXPECT_EQ(output(nullptr, 0, 0), failure(CKR_GENERAL_ERROR));
    EXPECT_EQ(wrapKey(nullptr), failure(CKR_GENERAL_ERROR));
    EXPECT_EQ(list("C_GetSlotList", nullptr), failure(CKR_GENERAL_ERROR));
  }
}

struct Needed {
  CK_ULONG told;
  std::uint32_t needed;
};

TEST_F(FunctionsBytesTest, TooLittleRoomTellsTheLengthThatIsNeeded) {
  puppet::answer.Rv = CKR_BUFFER_TOO_SMALL;
  for (const Needed& one :
       {Needed{9, 9}, Needed{1000, 1000}, Needed{0x7FFFFFFF, 0x7FFFFFFF}, Needed{0x80000000, 0x7FFFFFFF},
        Needed{0x100000001, 0x7FFFFFFF}, Needed{~CK_ULONG(0), 0x7FFFFFFF}, Needed{8, 0}, Needed{7, 0}, Needed{0, 0}}) {
    SCOPED_TRACE(one.told);
    puppet::answer.length = one.told;
    const jlong expected = failure(CKR_BUFFER_TOO_SMALL, one.needed);
    const jbyteArray out = array();
    EXPECT_EQ(process(array(), 0, 17, out, 2, 8), expected);
    EXPECT_EQ(processDirect(buffer(), 0, 17, buffer(), 2, 8), expected);
    EXPECT_EQ(output(out, 2, 8), expected);
    EXPECT_EQ(outputDirect(buffer(), 2, 8), expected);
    EXPECT_EQ(wrapKey(array("8 bytes.")), expected);
    EXPECT_EQ(list("C_GetSlotList", env.longs("", jvm::Longs(8))), expected);
    EXPECT_EQ(env.bytesOf(out), "seventeen bytes..");
  }
}

TEST_F(FunctionsBytesTest, NoRoomAtAllIsNoQuery) {
  EXPECT_EQ(process(array(), 0, 17, array(), 3, 0), failure(CKR_BUFFER_TOO_SMALL, 8));
  EXPECT_EQ(takeOnlyCall(), "C_Sign" + kSession16 + " in=\"seventeen bytes..\" room=0");
  EXPECT_EQ(processDirect(buffer(), 0, 17, buffer(), 3, 0), failure(CKR_BUFFER_TOO_SMALL, 8));
  EXPECT_EQ(output(array(""), 0, 0), failure(CKR_BUFFER_TOO_SMALL, 13));
  EXPECT_EQ(outputDirect(buffer(""), 0, 0), failure(CKR_BUFFER_TOO_SMALL, 13));
  EXPECT_EQ(wrapKey(array("")), failure(CKR_BUFFER_TOO_SMALL, 11));
  EXPECT_EQ(list("C_GetSlotList", env.longs("", {})), failure(CKR_BUFFER_TOO_SMALL, 3));
  EXPECT_EQ(find(env.longs("", {})), 0);
}

// --- Lies ------------------------------------------------------------------------------------------------------------

TEST_F(FunctionsBytesTest, MoreThanThereIsRoomForIsAnErrorAndCopiesNothing) {
  for (const CK_ULONG claimed : {CK_ULONG(9), CK_ULONG(17), CK_ULONG(0x100000001), ~CK_ULONG(0)}) {
    SCOPED_TRACE(claimed);
    puppet::answer.length = claimed;
    puppet::answer.size = 8;
    const jbyteArray out = array();
    const jlongArray numbers = env.longs("", jvm::Longs(8, 7));
    EXPECT_EQ(process(array(), 0, 17, out, 2, 8), failure(CKR_GENERAL_ERROR));
    EXPECT_EQ(processDirect(buffer(), 0, 17, buffer(), 2, 8), failure(CKR_GENERAL_ERROR));
    EXPECT_EQ(output(out, 2, 8), failure(CKR_GENERAL_ERROR));
    EXPECT_EQ(outputDirect(buffer(), 2, 8), failure(CKR_GENERAL_ERROR));
    EXPECT_EQ(list("C_GetSlotList", numbers), failure(CKR_GENERAL_ERROR));
    EXPECT_EQ(find(numbers), failure(CKR_GENERAL_ERROR));
    const jbyteArray whole = array("8 bytes.");
    EXPECT_EQ(wrapKey(whole), failure(CKR_GENERAL_ERROR));
    EXPECT_EQ(env.bytesOf(out), "seventeen bytes..");
    EXPECT_EQ(env.bytesOf(whole), "8 bytes.");
    EXPECT_EQ(env.show(numbers), "[7, 7, 7, 7, 7, 7, 7, 7]");
  }
}

TEST_F(FunctionsBytesTest, JustAsMuchAsThereIsRoomForIsFine) {
  puppet::answer.size = 8;
  const jbyteArray out = array();
  EXPECT_EQ(process(array(), 0, 17, out, 2, 8), 8);
  EXPECT_EQ(env.bytesOf(out), "se<C_Sign>bytes..");
  EXPECT_EQ(list("C_GetSlotList", env.longs("", jvm::Longs(8))), 8);
  EXPECT_EQ(find(env.longs("", jvm::Longs(8))), 8);
}

TEST_F(FunctionsBytesTest, LessThanWasWrittenIsAllThatIsCopied) {
  puppet::answer.length = 2;
  const jbyteArray out = array();
  EXPECT_EQ(process(array(), 0, 17, out, 2, 12), 2);
  EXPECT_EQ(env.bytesOf(out), "se<Cnteen bytes..");
  const jlongArray numbers = env.longs("", jvm::Longs(4, 7));
  EXPECT_EQ(list("C_GetSlotList", numbers), 2);
  EXPECT_EQ(env.show(numbers), "[-6917529027641081855, -6917529027641081854, 7, 7]");
}

// What a module claims and has not written must not be what somebody else left in the memory.
TEST_F(FunctionsBytesTest, WhatAModuleDidNotWriteIsZero) {
  for (const jint size : {20, 5000}) {
    const auto count = static_cast<CK_ULONG>(size);
    // Leaves something behind where it is looked for.
    process(array(std::string(count, 'x')), 0, size, array(std::string(count, 'x')), 0, size);
    puppet::Entry<& puppet::FunctionList::C_SignFinal>::behaviour = [](CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG_PTR) {
      return CKR_OK;
    };
    puppet::Entry<& puppet::FunctionList::C_FindObjects>::behaviour = [count](CK_SESSION_HANDLE, CK_OBJECT_HANDLE_PTR,
                                                                              CK_ULONG, CK_ULONG_PTR pulObjectCount) {
      *pulObjectCount = count;
      return CKR_OK;
    };
    puppet::Entry<& puppet::FunctionList::C_GenerateRandom>::behaviour = [](CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG) {
      return CKR_OK;
    };
    const jbyteArray out = array(std::string(count, '-'));
    EXPECT_EQ(output(out, 0, size), size);
    EXPECT_EQ(env.bytesOf(out), std::string(count, '\0'));
    const jbyteArray random = array(std::string(count, '-'));
    EXPECT_EQ(fill(random, 0, size), 0);
    EXPECT_EQ(env.bytesOf(random), std::string(count, '\0'));
    const jlongArray numbers = env.longs("", jvm::Longs(count, 7));
    EXPECT_EQ(find(numbers), size);
    EXPECT_EQ(std::get<jvm::Longs>(env.target(numbers)->contents), jvm::Longs(count, 0));
  }
}

TEST_F(FunctionsBytesTest, WhatAModuleDidNotTellIsZero) {
  // Numbers are not wiped, so that they lie where the structure will.
  puppet::answer.size = 100;
  list("C_GetSlotList", env.longs("", jvm::Longs(100)));
  puppet::Entry<& puppet::FunctionList::C_GetTokenInfo>::behaviour = [](CK_SLOT_ID, CK_TOKEN_INFO_PTR) {
    return CKR_OK;
  };
  const jbyteArray structure = array(std::string(sizeof(CK_TOKEN_INFO), '-'));
  EXPECT_EQ(NATIVE(information)(jni, nullptr, puppetModule(), index("C_GetTokenInfo"), kSlot, 0, structure), 0);
  EXPECT_EQ(env.bytesOf(structure), std::string(sizeof(CK_TOKEN_INFO), '\0'));
}

TEST_F(FunctionsBytesTest, OutputMayGoWhereInputCameFrom) {
  const jbyteArray both = array();
  EXPECT_EQ(process(both, 0, 17, both, 1, 16), 8);
  EXPECT_EQ(takeOnlyCall(), "C_Sign" + kSession16 + " in=\"seventeen bytes..\" room=16");
  EXPECT_EQ(env.bytesOf(both), "s<C_Sign> bytes..");
}

TEST_F(FunctionsBytesTest, OutputOfAnySizeArrivesWhole) {
  for (const jint size : {1023, 1024, 1025, 4096, 300000}) {
    SCOPED_TRACE(size);
    const auto count = static_cast<CK_ULONG>(size);
    puppet::answer.size = count;
    const jbyteArray out = array(std::string(count + 5, '-'));
    EXPECT_EQ(output(out, 3, size), size);
    EXPECT_EQ(env.bytesOf(out), "---" + puppet::output("C_SignFinal", count) + "--");
    EXPECT_EQ(fill(out, 2, size), 0);
    EXPECT_EQ(env.bytesOf(out).substr(2, count), puppet::output("C_GenerateRandom", count));
    puppet::answer.size = count / 8;
    const jlongArray numbers = env.longs("", jvm::Longs(count / 8));
    EXPECT_EQ(find(numbers), size / 8);
    const auto& found = std::get<jvm::Longs>(env.target(numbers)->contents);
    EXPECT_EQ(found.back(), static_cast<jlong>(puppet::kNumber + count / 8 - 1));
  }
}

// --- Places for numbers ----------------------------------------------------------------------------------------------

// A handle that cannot be told would be lost.
TEST_F(FunctionsBytesTest, ResultsWithoutAPlaceReachNoModule) {
  for (const jlongArray place : {jlongArray(nullptr), env.longs("", {})}) {
    const jlong id = puppetModule();
    EXPECT_EQ(NATIVE(waitForSlotEvent)(jni, nullptr, id, 0, place), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(NATIVE(objectSize)(jni, nullptr, id, kSession, kObject, place), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(NATIVE(openSession)(jni, nullptr, id, kSlot, kFlags, place), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(NATIVE(create)(jni, nullptr, id, kSession, nullptr, place), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(NATIVE(copy)(jni, nullptr, id, kSession, kObject, nullptr, place), jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(NATIVE(generateKey)(jni, nullptr, id, kSession, kMechanism, nullptr, nullptr, place),
              jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(NATIVE(deriveKey)(jni, nullptr, id, kSession, kMechanism, nullptr, kObject, nullptr, place),
              jint(CKR_ARGUMENTS_BAD));
    EXPECT_EQ(unwrapKey(array(), 0, 17, place), jint(CKR_ARGUMENTS_BAD));
  }
  for (const jlongArray place : {jlongArray(nullptr), env.longs("", {}), env.longs("", {7})}) {
    EXPECT_EQ(
        NATIVE(generateKeyPair)(jni, nullptr, puppetModule(), kSession, kMechanism, nullptr, nullptr, nullptr, place),
        jint(CKR_ARGUMENTS_BAD));
  }
  EXPECT_EQ(find(nullptr), failure(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(takeTold().size(), 0U);
}

TEST_F(FunctionsBytesTest, ACountThatTheModuleDoesNotTellIsNone) {
  puppet::Entry<& puppet::FunctionList::C_FindObjects>::behaviour = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE_PTR,
                                                                       CK_ULONG, CK_ULONG_PTR) { return CKR_OK; };
  const jlongArray objects = env.longs("", {7, 7});
  EXPECT_EQ(find(objects), 0);
  EXPECT_EQ(env.show(objects), "[7, 7]");
}

TEST_F(FunctionsBytesTest, MorePlacesThanNeededKeepWhatTheyHave) {
  const jlongArray place = env.longs("", {7, 8, 9});
  EXPECT_EQ(NATIVE(openSession)(jni, nullptr, puppetModule(), kSlot, kFlags, place), 0);
  EXPECT_EQ(env.show(place), "[-6917529027641081855, 8, 9]");
}

TEST_F(FunctionsBytesTest, AnInformationStructureHasItsSizeAndNoOther) {
  const struct {
    const char* function;
    std::size_t size;
  } kStructures[] = {{"C_GetInfo", sizeof(CK_INFO)},
                     {"C_GetSlotInfo", sizeof(CK_SLOT_INFO)},
                     {"C_GetTokenInfo", sizeof(CK_TOKEN_INFO)},
                     {"C_GetMechanismInfo", sizeof(CK_MECHANISM_INFO)},
                     {"C_GetSessionInfo", sizeof(CK_SESSION_INFO)}};
  for (const auto& row : kStructures) {
    for (const std::size_t size : {row.size - 1, row.size + 1, std::size_t(0), row.size + 8}) {
      const jbyteArray structure = array(std::string(size, '-'));
      EXPECT_EQ(NATIVE(information)(jni, nullptr, puppetModule(), index(row.function), kSlot, 0, structure),
                jint(CKR_ARGUMENTS_BAD))
          << row.function << " " << size;
      EXPECT_EQ(env.bytesOf(structure), std::string(size, '-'));
    }
    EXPECT_EQ(NATIVE(information)(jni, nullptr, puppetModule(), index(row.function), kSlot, 0, nullptr),
              jint(CKR_ARGUMENTS_BAD));
  }
  EXPECT_EQ(takeTold().size(), 0U);
}

// --- PINs, labels, names ---------------------------------------------------------------------------------------------

TEST_F(FunctionsBytesTest, APinMayBeNullForAReaderWithAPinPad) {
  EXPECT_EQ(NATIVE(login)(jni, nullptr, puppetModule(), kSession, 1, nullptr), 0);
  EXPECT_EQ(takeOnlyCall(), "C_Login" + kSession16 + " 0x1 in=null:0");
  EXPECT_EQ(NATIVE(login)(jni, nullptr, puppetModule(), kSession, 1, array("")), 0);
  EXPECT_EQ(takeOnlyCall(), "C_Login" + kSession16 + " 0x1 in=\"\"");
  EXPECT_EQ(NATIVE(loginUser)(jni, nullptr, puppetModule(), kSession, 1, nullptr, array("name")), 0);
  EXPECT_EQ(takeOnlyCall(), "C_LoginUser" + kSession16 + " 0x1 in=null:0 in=\"name\"");
  EXPECT_EQ(NATIVE(initToken)(jni, nullptr, puppetModule(), kSlot, nullptr, array(std::string(32, 'L'))), 0);
  EXPECT_EQ(takeOnlyCall(), "C_InitToken 0xBA98765432101234 in=null:0 label=\"" + std::string(32, 'L') + "\"");
}

TEST_F(FunctionsBytesTest, ALabelHas32BytesAndNoOtherLength) {
  for (const std::size_t length : {0U, 1U, 31U, 33U, 64U}) {
    EXPECT_EQ(NATIVE(initToken)(jni, nullptr, puppetModule(), kSlot, array("pin"), array(std::string(length, 'L'))),
              jint(CKR_ARGUMENTS_BAD))
        << length;
  }
  EXPECT_EQ(NATIVE(initToken)(jni, nullptr, puppetModule(), kSlot, array("pin"), nullptr), jint(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(takeTold().size(), 0U);
}

TEST_F(FunctionsBytesTest, SlotsAreListedWithATokenOrAll) {
  NATIVE(list)(jni, nullptr, puppetModule(), index("C_GetSlotList"), 0, nullptr);
  EXPECT_EQ(takeOnlyCall(), "C_GetSlotList 0x0 list=null:0");
  NATIVE(list)(jni, nullptr, puppetModule(), index("C_GetSlotList"), 1, nullptr);
  EXPECT_EQ(takeOnlyCall(), "C_GetSlotList 0x1 list=null:0");
}

// How much there is may have changed with the answer; the count is the module's to tell.
TEST_F(FunctionsBytesTest, AFailureTellsNoLengthButThatOfTooLittleRoom) {
  puppet::answer.Rv = CKR_DEVICE_ERROR;
  puppet::answer.length = 1000;
  EXPECT_EQ(process(array(), 0, 17, array(), 2, 8), failure(CKR_DEVICE_ERROR));
  EXPECT_EQ(list("C_GetSlotList", env.longs("", {7})), failure(CKR_DEVICE_ERROR));
}

// --- Messages --------------------------------------------------------------------------------------------------------

// Whether a part is the last one shows from a null pointer for the length, or for the signature.
TEST_F(FunctionsBytesTest, APartThatIsNotTheLastHasNoSignature) {
  const jbyteArray in = env.bytes("in", "a part");
  EXPECT_EQ(NATIVE(signPart)(jni, nullptr, puppetModule(), 0, kSession, nullptr, in, 0, 6, nullptr, 0, 0), 0);
  EXPECT_EQ(takeOnlyCall(), "C_SignMessageNext 0xFEDCBA9876543210 parameter=0:null in=\"a part\" room=none");
  EXPECT_EQ(NATIVE(verifyMessage)(jni, nullptr, puppetModule(), indexOf("C_VerifyMessageNext"), kSession, nullptr, in,
                                  0, 6, nullptr),
            0);
  EXPECT_EQ(takeOnlyCall(), "C_VerifyMessageNext 0xFEDCBA9876543210 parameter=0:null in=\"a part\" in=null:0");
}

// For a whole message it asks for the length.
TEST_F(FunctionsBytesTest, AMessageWithoutRoomAsksForTheLength) {
  const jbyteArray in = env.bytes("in", "message");
  EXPECT_EQ(NATIVE(signMessage)(jni, nullptr, puppetModule(), 0, kSession, nullptr, in, 0, 7, nullptr, 0, 0), 15);
  EXPECT_EQ(takeOnlyCall(), "C_SignMessage 0xFEDCBA9876543210 parameter=0:null in=\"message\" room=null:0");
  EXPECT_EQ(NATIVE(message)(jni, nullptr, puppetModule(), 0, kSession, nullptr, nullptr, in, 0, 7, nullptr, 0, 0), 18);
  EXPECT_EQ(takeOnlyCall(),
            "C_EncryptMessage 0xFEDCBA9876543210 parameter=0:null in=null:0 in=\"message\" room=null:0");
}

}  // namespace
