/// In which order the methods on objects and keys give their memory back, and how much of it searches, reads and wraps
/// take.
#include "allocations.h"
#include "native_test.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace {

constexpr jint kHostMemory = CKR_HOST_MEMORY;

/// The freed sizes that a test knows by heart, in the journal.
class OrderOfCleanUpTest : public NativeTest {
protected:
  /// The arguments' values are of these lengths, an attribute and the mechanism's parameter take 24 bytes.
  static constexpr std::size_t kFollowed[] = {11, 13, 15, 24, 48, 1024};

  void noteFrees(AllocationScope& scope) {
    scope.onFree([this](const unsigned char*, std::size_t size) {
      if (std::find(std::begin(kFollowed), std::end(kFollowed), size) != std::end(kFollowed)) {
        env.note("free " + std::to_string(size));
      }
    });
  }
  /// The last lines: the module's call, a report, and what was freed.
  std::string tail() {
    std::string result;
    for (const std::string& line : jvm::expectedLines(takeTrace())) {
      if (line.rfind("free ", 0) == 0 || line.rfind("report ", 0) == 0) {
        result += line + "\n";
      }
    }
    return result;
  }

  jobjectArray one =
      env.attributes("one", {env.attribute(CKA_VALUE, env.bytes("11 bytes...")), env.attribute(CKA_ID, nullptr)});
  jobjectArray other = env.attributes("other", {env.attribute(CKA_VALUE, env.bytes("13 bytes....."))});
  jobject mechanism = env.mechanism(
      "mechanism", CKM_KEY_WRAP_SET_OAEP,
      env.set(env.object("parameter", "velnor/params/KEYWRAPSETOAEPParams"), "m_xData", env.bytes("15 bytes.......")));
};

static_assert(sizeof(CK_ATTRIBUTE) == 24 && sizeof(CK_KEY_WRAP_SET_OAEP_PARAMS) == 24);

TEST_F(OrderOfCleanUpTest, ReportsFirstThenFreesTheTemplateThenTheMechanism) {
  AllocationScope scope;
  noteFrees(scope);
  module.answer("C_GenerateKey CKR_DEVICE_ERROR");
  Java_velnor_nat_NativeSession_J_1GenerateKey(jni, session, mechanism, one);
  EXPECT_EQ(tail(), "report \"J_GenerateKey\" 0x30\nfree 11\nfree 48\nfree 15\nfree 24\n");
}

TEST_F(OrderOfCleanUpTest, FreesThePublicTemplateBeforeThePrivateOne) {
  AllocationScope scope;
  noteFrees(scope);
  Java_velnor_nat_NativeSession_J_1GenerateKeyPair(jni, session, mechanism, one, other);
  EXPECT_EQ(tail(), "free 11\nfree 48\nfree 13\nfree 24\nfree 15\nfree 24\n");
}

TEST_F(OrderOfCleanUpTest, FreesTheWrappingMechanismBeforeTheWrappedKey) {
  AllocationScope scope;
  noteFrees(scope);
  env.failNext("NewByteArray");
  Java_velnor_nat_NativeSession_J_1WrapKey(jni, session, mechanism, hSecretKey, hSecretKey);
  EXPECT_EQ(tail(), "report \"J_WrapKey\" 5 \"jWrappedKey is NULL\"\nfree 15\nfree 24\nfree 1024\n");
}

TEST_F(OrderOfCleanUpTest, FreesTheTemplateOfAnUnwrappedKeyBeforeTheMechanism) {
  AllocationScope scope;
  noteFrees(scope);
  Java_velnor_nat_NativeSession_J_1UnwrapKey(jni, session, mechanism, hSecretKey, nullptr, 0, 0, one);
  EXPECT_EQ(tail(), "report \"J_UnwrapKey\" 5 \"pWrappedKey is NULL\"\nfree 11\nfree 48\nfree 15\nfree 24\n");
}

TEST_F(OrderOfCleanUpTest, FreesTheTemplateOfADerivedKeyBeforeTheMechanism) {
  AllocationScope scope;
  noteFrees(scope);
  env.declareMissing("velnor/nat/NativeObject");
  Java_velnor_nat_NativeSession_J_1DeriveKey(jni, session, mechanism, hSecretKey, one);
  EXPECT_EQ(tail(),
            "report \"J_DeriveKey\" 5 \"Class 'Pkcs11Object' not found\"\nfree 11\nfree 48\nfree 15\nfree 24\n");
}

class KeysMemoryTest : public NativeTest {
protected:
  jobjectArray find(jintArray types) {
    return Java_velnor_nat_NativeSession_J_1FindObjects___3Lvelnor_Attribute_2_3I(jni, session, nullptr, types);
  }
  jlongArray find() {
    return Java_velnor_nat_NativeSession_J_1FindObjects___3Lvelnor_Attribute_2(jni, session, nullptr);
  }
  jobjectArray read(jintArray types) {
    return Java_velnor_nat_NativeSession_J_1GetAttributeValue__J_3I(jni, session, hData, types);
  }
};

// A read template asks again at the next entry for the buffer that it did not get; a module never sees a null one,
// which would make its call a length query.
TEST_F(KeysMemoryTest, ASearchReadsOnWithoutTheFirstAttributeWhenItsBufferWasLate) {
  module.answer("C_FindObjects list=0xB04");
  AllocationScope scope;
  scope.failNth(2);
  EXPECT_EQ(env.show(find(env.ints("types", {CKA_LABEL, CKA_VALUE, CKA_APPLICATION}))),
            R"([CryptokiObject(2820, [Attribute(3, null), Attribute(17, "contents"), Attribute(16, "harlune")])])");
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(scope.count(), 3U);
}

TEST_F(KeysMemoryTest, AReadFailsWhenTheBufferOfItsFirstAttributeWasLate) {
  AllocationScope scope;
  scope.failNth(2);
  EXPECT_EQ(read(env.ints("types", {CKA_LABEL, CKA_VALUE})), nullptr);
  EXPECT_EQ(scope.count() - 3U, 1U) << "template, failed buffer, late buffer, and the exception";
  EXPECT_EQ(env.pendingReport()->code, kHostMemory);
  EXPECT_EQ(module.journal(), "");
}

TEST_F(KeysMemoryTest, AReadTemplateCostsOneBufferWhateverItsLength) {
  AllocationScope scope;
  read(env.ints("types", {CKA_LABEL, CKA_VALUE, CKA_APPLICATION, CKA_CLASS, CKA_TOKEN}));
  EXPECT_EQ(scope.count(), 2U);
}

TEST_F(KeysMemoryTest, ASearchForUpToAThousandHandlesTakesNothingFromTheAllocator) {
  module.answer("C_FindObjects list=1..999");
  AllocationScope scope;
  EXPECT_NE(find(), nullptr);
  EXPECT_EQ(scope.count(), 0U);
}

TEST_F(KeysMemoryTest, ASearchGivesBackEveryBufferItGrewOutOf) {
  module.answer("C_FindObjects list=1..4500");
  AllocationScope scope;
  EXPECT_NE(find(), nullptr);
  EXPECT_EQ(scope.count(), 3U);
}

// The second growth fails too, so that the first one's buffer is to be given back.
TEST_F(KeysMemoryTest, AnEndlessSearchEndsWithTheMemory) {
  for (const unsigned failing : {1U, 2U}) {
    module.answer("C_FindObjects list=1..4500");
    AllocationScope scope;
    scope.failNth(failing);
    EXPECT_EQ(find(), nullptr);
    EXPECT_EQ(env.pendingReport()->function, "J_FindObjects");
    EXPECT_EQ(env.pendingReport()->code, kHostMemory);
    EXPECT_THAT(module.journal(), ::testing::Not(::testing::HasSubstr("C_FindObjectsFinal")));
    functionList->C_FindObjectsFinal(hSession);
    env.clear();
    env.clearException();
    module.clearJournal();
  }
}

TEST_F(KeysMemoryTest, AGrowingWrapWipesTheBufferThatWasTooSmall) {
  module.answer(R"(C_WrapKey CKR_BUFFER_TOO_SMALL data="half of the wrapped key" length=3000)");
  module.answer(R"(C_WrapKey data="the whole of the wrapped key")");
  AllocationScope scope;
  unsigned freed = 0;
  scope.onFree([&freed](const unsigned char* block, std::size_t size) {
    if (size == 1024 || size == 3000) {
      ++freed;
      EXPECT_TRUE(std::all_of(block, block + size, [](unsigned char c) { return c == 0; }));
    }
  });
  EXPECT_EQ(env.show(Java_velnor_nat_NativeSession_J_1WrapKey(jni, session, env.mechanism("m", CKM_AES_CBC), hSecretKey,
                                                              hSecretKey)),
            R"("the whole of the wrapped key")");
  EXPECT_EQ(freed, 2U);
}

TEST_F(KeysMemoryTest, AWrapThatCannotGrowReportsInsteadOfAskingWithoutABuffer) {
  for (const char* const asked : {"3000", "0x7FFFFFFFFFFFFFFF", "-1"}) {
    module.answer(std::string("C_WrapKey CKR_BUFFER_TOO_SMALL length=") + asked);
    AllocationScope scope;
    if (asked[0] == '3') {
      scope.failNth(2);
    }
    EXPECT_EQ(
        Java_velnor_nat_NativeSession_J_1WrapKey(jni, session, env.mechanism("m", CKM_AES_CBC), hSecretKey, hSecretKey),
        nullptr);
    EXPECT_EQ(env.pendingReport()->code, kHostMemory) << asked;
    EXPECT_THAT(module.journal(), ::testing::Not(::testing::HasSubstr("buffer=null"))) << asked;
  }
}

}  // namespace
