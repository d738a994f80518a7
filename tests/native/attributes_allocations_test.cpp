/// The memory of attribute templates.
#include "freed_blocks.h"
#include "marshalling_test.h"
#include "templates.h"

namespace {

class TemplateMemoryTest : public UnboundTest {
protected:
  // Keys and their labels: nothing of them may stay in what is freed.
  jobjectArray everyKindOfValue() {
    return env.attributes("template", {env.attribute(CKA_TOKEN, nullptr), env.attribute(CKA_CLASS, env.integer(-1)),
                                       env.attribute(CKA_SIGN, env.boolean(true)),
                                       env.attribute(CKA_LABEL, env.string("", u"l\u20ACbel")),
                                       env.attribute(CKA_VALUE, env.bytes("the key itself")),
                                       env.attribute(CKA_ID, env.bytes(""))});
  }
  std::string build(jobjectArray jTemplate) {
    made = {};
    return raisedBy([&] { Attribute2CKAttribute(jni, jTemplate, made); });
  }
  std::string buildForReading(jintArray types) {
    made = {};
    return raisedBy([&] { Attribute2CKAttribute_Get(jni, types, made); });
  }

  Template made = {};
};

TEST_F(TemplateMemoryTest, EveryValueIsWipedAndFreedInOrderThenTheEntries) {
  const jobjectArray jTemplate = everyKindOfValue();
  AllocationScope scope;
  EXPECT_EQ(build(jTemplate), "");
  std::vector<const void*> blocks;
  for (CK_ULONG i = 0; i < made.count; ++i) {
    if (made.entries[i].pValue != nullptr) {
      blocks.push_back(made.entries[i].pValue);
    }
  }
  blocks.push_back(made.entries);
  EXPECT_EQ(blocks.size(), 6U);
  FreedBlocks freed(scope);
  freeTemplate(made);
  EXPECT_EQ(freed.addresses(), blocks);
  EXPECT_EQ(freed.notWiped(), 0U);
}

TEST_F(TemplateMemoryTest, EveryBlockHasRoomForItsValue) {
  const jobjectArray jTemplate = everyKindOfValue();
  AllocationScope scope;
  EXPECT_EQ(build(jTemplate), "");
  FreedBlocks freed(scope);
  freeTemplate(made);
  std::vector<std::size_t> sizes;
  for (const FreedBlock& block : freed.list()) {
    sizes.push_back(block.size);
  }
  // An empty value has a block of its own all the same; a string has room for its zero and its longer form.
  EXPECT_EQ(sizes, (std::vector<std::size_t>{8, 1, 8, 14, 1, 6 * sizeof(CK_ATTRIBUTE)}));
}

TEST_F(TemplateMemoryTest, EveryRefusedAllocationIsHostMemoryAndLeavesNothing) {
  const jobjectArray jTemplate = everyKindOfValue();
  for (unsigned n = 1; n <= 6; ++n) {
    AllocationScope scope;
    FreedBlocks freed(scope);
    scope.failNth(n);
    EXPECT_EQ(build(jTemplate), kHostMemory);
    EXPECT_FALSE(scope.failureLeft());
    EXPECT_EQ(made.entries == nullptr, n == 1);
    freeTemplate(made);
    EXPECT_EQ(scope.live(), 0U);
    EXPECT_EQ(freed.list().size(), n - 1) << "the entries and what is attached to them";
    EXPECT_EQ(freed.notWiped(), 0U);
  }
}

TEST_F(TemplateMemoryTest, ARefusedValueStaysOutOfItsEntry) {
  const jobjectArray jTemplate = env.attributes("template", {env.attribute(CKA_VALUE, env.bytes("key"))});
  AllocationScope scope;
  scope.failNth(2);
  EXPECT_EQ(build(jTemplate), kHostMemory);
  ASSERT_EQ(made.count, 1U);
  EXPECT_EQ(made.entries[0].pValue, nullptr);
  EXPECT_EQ(made.entries[0].ulValueLen, 0U);
  EXPECT_EQ(env.calls("GetByteArrayRegion"), 0) << "nothing may be written through a null pointer";
  freeTemplate(made);
}

// Each lookup, element and method on the way.
TEST_F(TemplateMemoryTest, EveryRaisedTextLeavesNothing) {
  const jobjectArray jTemplate = everyKindOfValue();
  const std::pair<const char*, int> failing[] = {
      {"FindClass", 4}, {"GetFieldID", 2}, {"GetObjectArrayElement", 6}, {"GetMethodID", 2}};
  for (const auto& [function, count] : failing) {
    for (int n = 1; n <= count; ++n) {
      env.clear();
      env.failNth(function, n, jvm::Leaving::Exception);
      AllocationScope scope;
      EXPECT_NE(build(jTemplate), "");
      EXPECT_FALSE(env.faultsLeft());
      freeTemplate(made);
      EXPECT_EQ(scope.live(), 0U) << function << " " << n;
    }
  }
}

TEST_F(TemplateMemoryTest, AnEmptyTemplateAndNoneAtAllAreFreed) {
  const jobjectArray none = env.attributes("template", {});
  AllocationScope scope;
  EXPECT_EQ(build(none), "");
  EXPECT_EQ(scope.live(), 1U);
  freeTemplate(made);
  freeTemplate({});
  freeReadTemplate({});
}

// --- Read templates --------------------------------------------------------------------------------------------------

// The buffer holds what was read last, which may be a key.
TEST_F(TemplateMemoryTest, AReadTemplateIsTwoBlocks) {
  for (const jvm::Ints& types : {jvm::Ints{CKA_VALUE}, jvm::Ints{CKA_CLASS, CKA_LABEL, CKA_VALUE}}) {
    const jintArray jTypes = env.ints("types", types);
    AllocationScope scope;
    EXPECT_EQ(buildForReading(jTypes), "");
    EXPECT_EQ(scope.count(), 2U);
    static_cast<char*>(made.entries[made.count - 1].pValue)[2047] = 'k';
    const std::vector<const void*> blocks = {made.entries[0].pValue, made.entries};
    FreedBlocks freed(scope);
    freeReadTemplate(made);
    EXPECT_EQ(freed.addresses(), blocks);
    EXPECT_EQ(freed.notWiped(), 0U);
    EXPECT_EQ(freed.list().front().size, 2048U);
  }
}

// Until a buffer is had, every entry tries once: those before have none and the rest share it.
TEST_F(TemplateMemoryTest, ARefusedBufferIsTriedAgainForTheNextEntry) {
  const jintArray types = env.ints("types", {CKA_CLASS, -1, CKA_VALUE});
  AllocationScope scope;
  scope.failNth(2);
  EXPECT_EQ(buildForReading(types), "");
  EXPECT_EQ(scope.count(), 3U);
  ASSERT_EQ(made.count, 3U);
  EXPECT_EQ(made.entries[0].type, CKA_CLASS);
  EXPECT_EQ(made.entries[0].pValue, nullptr);
  EXPECT_EQ(made.entries[0].ulValueLen, 2048U);
  EXPECT_EQ(made.entries[1].type, 0xFFFFFFFFFFFFFFFF);
  EXPECT_NE(made.entries[1].pValue, nullptr);
  EXPECT_EQ(made.entries[1].ulValueLen, 2048U);
  EXPECT_EQ(made.entries[2].pValue, made.entries[1].pValue);
  FreedBlocks freed(scope);
  freeReadTemplate(made);
  EXPECT_EQ(freed.list().size(), 2U);
}

TEST_F(TemplateMemoryTest, ARefusedBufferOfTheOnlyEntryIsNotReported) {
  const jintArray types = env.ints("types", {CKA_CLASS});
  AllocationScope scope;
  scope.failNth(2);
  EXPECT_EQ(buildForReading(types), "");
  EXPECT_EQ(made.entries[0].pValue, nullptr);
  EXPECT_EQ(made.entries[0].ulValueLen, 2048U);
  freeReadTemplate(made);
}

TEST_F(TemplateMemoryTest, RefusedEntriesOfAReadTemplateAreHostMemory) {
  const jintArray types = env.ints("types", {CKA_CLASS});
  AllocationScope scope;
  scope.failNth(1);
  EXPECT_EQ(buildForReading(types), kHostMemory);
  EXPECT_EQ(made.entries, nullptr);
  EXPECT_EQ(env.calls("ReleaseIntArrayElements"), 1);
  freeReadTemplate(made);
}

TEST_F(TemplateMemoryTest, ARefusedBufferOfASingleEntryIsNotReported) {
  CK_ATTRIBUTE entry = {0, &entry, 0};
  AllocationScope scope;
  scope.failNth(1);
  EXPECT_EQ(raisedBy([&] { Attribute2CKAttribute_Get(jni, CKA_VALUE, &entry); }), "");
  EXPECT_EQ(entry.type, CKA_VALUE);
  EXPECT_EQ(entry.pValue, nullptr);
  EXPECT_EQ(entry.ulValueLen, 2048U);
}

TEST_F(TemplateMemoryTest, ConvertingAnEntryTakesNoMemory) {
  CK_BYTE value[2048] = {};
  AllocationScope scope;
  for (const CK_ATTRIBUTE_TYPE type : {CKA_CLASS, CKA_TOKEN, CKA_VALUE, CKA_ISSUER}) {
    EXPECT_EQ(raisedBy([&] { CkAttribute2Pkcs11Attribute(jni, {type, value, sizeof value}); }), "");
  }
  EXPECT_EQ(scope.count(), 0U);
}

}  // namespace
