/// Finding objects: as handles, and as objects with their attributes.
#include "conversions.h"
#include "native_test.h"

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class SearchTest : public NativeTest {
protected:
  static constexpr int kBatch = 50;

  jlongArray find(jobjectArray attributes) {
    return Java_velnor_nat_NativeSession_J_1FindObjects___3Lvelnor_Attribute_2(jni, session, attributes);
  }
  jobjectArray find(jobjectArray attributes, jintArray types) {
    return Java_velnor_nat_NativeSession_J_1FindObjects___3Lvelnor_Attribute_2_3I(jni, session, attributes, types);
  }
  jobjectArray findWith(const jvm::Ints& types) { return find(nullptr, env.ints("types", types)); }
  jobjectArray labelled(const char* label) {
    return env.attributes("template", {env.attribute(CKA_LABEL, env.string("", std::string(label)))});
  }
  static std::string range(int last) { return "C_FindObjects list=1.." + std::to_string(last); }

  void expectText(const std::string& message) {
    ASSERT_TRUE(env.pendingReport()) << env.pending();
    EXPECT_EQ(env.pendingReport()->function, "J_FindObjects");
    EXPECT_EQ(env.pendingReport()->code, 5);
    EXPECT_EQ(env.pendingReport()->message, message);
  }
};

// --- Handles ---------------------------------------------------------------------------------------------------------

TEST_F(SearchTest, FindsHandlesInTheModulesOrder) {
  module.answer("C_FindObjects list=7,0x123456789,0xFFFFFFFF80000001,3");
  EXPECT_EQ(env.show(find(env.attributes("none", {}))), "[7, 4886718345, -2147483647, 3]");
  EXPECT_TRACE(templateLines("none") + R"(
    sessionOf session
    C_FindObjectsInit session=0x5E51 template=[] -> CKR_OK
    C_FindObjects session=0x5E51 objects=non-null max=50 -> CKR_OK count=4
    C_FindObjectsFinal session=0x5E51 -> CKR_OK
    NewLongArray 4
    GetLongArrayElements long[]#1
    ReleaseLongArrayElements long[]#1 mode 0
  )");
}

TEST_F(SearchTest, FindsWhatMatchesTheTemplate) {
  EXPECT_EQ(env.show(find(labelled("pair"))), "[2818, 2819, 2821]");
  EXPECT_MODULE_TRACE(R"(
    C_FindObjectsInit session=0x5E51 template=[0x3 4:"pair"] -> CKR_OK
    C_FindObjects session=0x5E51 objects=non-null max=50 -> CKR_OK count=3
    C_FindObjectsFinal session=0x5E51 -> CKR_OK
  )");
}

TEST_F(SearchTest, FindsEverythingForANullTemplate) {
  EXPECT_EQ(env.show(find(nullptr)), "[2817, 2818, 2819, 2820, 2821]");
  EXPECT_MODULE_TRACE(R"(
    C_FindObjectsInit session=0x5E51 template=null:0 -> CKR_OK
    C_FindObjects session=0x5E51 objects=non-null max=50 -> CKR_OK count=5
    C_FindObjectsFinal session=0x5E51 -> CKR_OK
  )");
}

TEST_F(SearchTest, LeavesNoSearchOpen) {
  EXPECT_NE(find(nullptr), nullptr);
  EXPECT_NE(findWith({}), nullptr);
  EXPECT_NE(find(nullptr), nullptr);
  EXPECT_EQ(env.pending(), "");
}

// Callers test for null, not for an empty array.
TEST_F(SearchTest, NoMatchIsNullAndNoFailure) {
  EXPECT_EQ(find(labelled("nobody")), nullptr);
  EXPECT_THAT(env.trace(), Not(HasSubstr("NewLongArray")));
  env.clear();
  EXPECT_EQ(find(labelled("nobody"), env.ints("types", {CKA_LABEL})), nullptr);
  EXPECT_THAT(env.trace(), Not(HasSubstr("NewObjectArray")));
  EXPECT_THAT(env.trace(), Not(HasSubstr("GetIntArrayElements"))) << "the read template is not built";
  EXPECT_EQ(env.pending(), "");
}

// --- Batches ---------------------------------------------------------------------------------------------------------

class BatchTest : public SearchTest, public ::testing::WithParamInterface<int> {
protected:
  /// As many calls as full batches, and one that is not full.
  std::string expectedCalls() const {
    std::string lines = "C_FindObjectsInit session=0x5E51 template=null:0 -> CKR_OK\n";
    for (int left = GetParam(); left >= 0; left -= kBatch) {
      lines += "C_FindObjects session=0x5E51 objects=non-null max=50 -> CKR_OK count=" +
               std::to_string(std::min(left, kBatch)) + "\n";
    }
    return lines + "C_FindObjectsFinal session=0x5E51 -> CKR_OK\n";
  }
};

INSTANTIATE_TEST_SUITE_P(Matches, BatchTest, ::testing::Values(1, 49, 50, 51, 100, 120, 999, 1000, 1001, 2500),
                         ::testing::PrintToStringParamName());

TEST_P(BatchTest, DeliversEveryHandleInOrder) {
  module.answer(range(GetParam()));
  const jlongArray handles = find(nullptr);
  jvm::Longs expected;
  for (int i = 1; i <= GetParam(); ++i) {
    expected.push_back(i);
  }
  ASSERT_NE(handles, nullptr);
  EXPECT_EQ(std::get<jvm::Longs>(env.target(handles)->contents), expected);
  EXPECT_EQ(takeModuleTrace(), expectedCalls());
  EXPECT_EQ(env.pending(), "");
}

TEST_P(BatchTest, DeliversEveryObjectInOrder) {
  module.answer(range(GetParam()));
  const jobjectArray objects = findWith({});
  std::string expected;
  for (int i = 1; i <= GetParam(); ++i) {
    expected += (i == 1 ? "" : ", ") + ("CryptokiObject(" + std::to_string(i)) + ", null)";
  }
  EXPECT_EQ(env.show(objects), "[" + expected + "]");
  EXPECT_EQ(takeModuleTrace(), expectedCalls());
}

/// What a failure of one search call leaves undone.
struct SearchFailure {
  const char* test;
  std::vector<const char*> answers;
  const char* lastCall;
  jint code;
};

std::ostream& operator<<(std::ostream& out, const SearchFailure& failure) {
  return out << failure.test;
}

class SearchFailureTest : public SearchTest, public ::testing::WithParamInterface<SearchFailure> {
protected:
  void expectFailure(jobject result) {
    EXPECT_EQ(result, nullptr);
    ASSERT_TRUE(env.pendingReport());
    EXPECT_EQ(env.pendingReport()->function, "J_FindObjects");
    EXPECT_EQ(env.pendingReport()->code, GetParam().code);
    const std::string journal = module.journal();
    EXPECT_THAT(journal.substr(journal.rfind('\n', journal.size() - 2) + 1), HasSubstr(GetParam().lastCall));
    EXPECT_THAT(env.trace(), Not(HasSubstr("NewLongArray")));
    EXPECT_THAT(env.trace(), Not(HasSubstr("NewObjectArray")));
  }
};

// After a failed batch the search stays open in the session: the module's next answer tells the application so.
INSTANTIATE_TEST_SUITE_P(
    Of, SearchFailureTest,
    ::testing::Values(
        SearchFailure{"Init", {"C_FindObjectsInit CKR_OPERATION_ACTIVE"}, "C_FindObjectsInit ", CKR_OPERATION_ACTIVE},
        SearchFailure{"FirstBatch", {"C_FindObjects CKR_DEVICE_ERROR"}, "C_FindObjects ", CKR_DEVICE_ERROR},
        SearchFailure{
            "FirstBatchWithACount", {"C_FindObjects CKR_DEVICE_ERROR count=3"}, "C_FindObjects ", CKR_DEVICE_ERROR},
        SearchFailure{"LaterBatch",
                      {"C_FindObjects list=1..120", "C_FindObjects", "C_FindObjects CKR_DEVICE_REMOVED"},
                      "C_FindObjects ",
                      CKR_DEVICE_REMOVED},
        SearchFailure{"Final", {"C_FindObjectsFinal CKR_FUNCTION_FAILED"}, "C_FindObjectsFinal ", CKR_FUNCTION_FAILED}),
    [](const auto& instance) { return std::string(instance.param.test); });

TEST_P(SearchFailureTest, OfHandles) {
  for (const char* const answer : GetParam().answers) {
    module.answer(answer);
  }
  expectFailure(find(nullptr));
}

TEST_P(SearchFailureTest, OfObjects) {
  for (const char* const answer : GetParam().answers) {
    module.answer(answer);
  }
  expectFailure(findWith({CKA_LABEL}));
}

TEST_F(SearchTest, AFailedBatchLeavesTheSearchToTheModule) {
  module.answer("C_FindObjects CKR_DEVICE_ERROR");
  find(nullptr);
  env.clear();
  find(nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_FindObjectsInit session=0x5E51 template=null:0 -> CKR_OPERATION_ACTIVE
    report "J_FindObjects" 0x90
  )");
}

class LyingCountTest : public SearchTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Counts, LyingCountTest, ::testing::Values("51", "100", "1001", "0x100000001", "-1"));

// Nothing beyond the fifty handles that the module was offered room for is ever taken for a handle.
TEST_P(LyingCountTest, OfMoreThanABatchIsRefused) {
  module.answer(std::string("C_FindObjects list=1..50 count=") + GetParam());
  EXPECT_EQ(find(nullptr), nullptr);
  EXPECT_EQ(env.pendingReport()->function, "J_FindObjects");
  EXPECT_EQ(env.pendingReport()->code, 5);
  EXPECT_THAT(env.trace(), Not(HasSubstr("NewLongArray")));
}

TEST_P(LyingCountTest, OfMoreThanABatchIsRefusedInALaterBatchToo) {
  module.answer("C_FindObjects list=1..1200");
  for (int full = 1; full < 19; ++full) {
    module.answer("C_FindObjects");
  }
  module.answer(std::string("C_FindObjects count=") + GetParam());
  EXPECT_EQ(findWith({CKA_LABEL}), nullptr);
  EXPECT_EQ(env.pendingReport()->function, "J_FindObjects");
  EXPECT_EQ(env.pendingReport()->code, 5);
  EXPECT_THAT(env.trace(), Not(HasSubstr("NewObjectArray")));
}

// A search that never gets a shorter batch than it asked for would not end: a fresh count is what ends it.
TEST_F(SearchTest, ACountThatAModuleLeavesAloneIsNoOldCount) {
  static int calls;
  calls = 0;
  OwnFunctionList list;
  list->C_FindObjects = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE_PTR phObject, CK_ULONG, CK_ULONG_PTR pulCount) -> CK_RV {
    if (++calls == 1) {
      std::fill_n(phObject, kBatch, CK_OBJECT_HANDLE{7});
      *pulCount = kBatch;
    }
    return calls < 40 ? CKR_OK : CKR_FUNCTION_FAILED;
  };
  const jlongArray handles = find(nullptr);
  EXPECT_EQ(calls, 2);
  ASSERT_NE(handles, nullptr);
  EXPECT_EQ(std::get<jvm::Longs>(env.target(handles)->contents), jvm::Longs(kBatch, 7));
}

// --- Handles: what the JVM refuses -----------------------------------------------------------------------------------

TEST_F(SearchTest, ReportsARefusedHandleArray) {
  env.failNext("NewLongArray", jvm::Leaving::Exception);
  EXPECT_EQ(find(nullptr), nullptr);
  EXPECT_TRACE(R"(
    sessionOf session
    C_FindObjectsInit session=0x5E51 template=null:0 -> CKR_OK
    C_FindObjects session=0x5E51 objects=non-null max=50 -> CKR_OK count=5
    C_FindObjectsFinal session=0x5E51 -> CKR_OK
    NewLongArray 5 -> null
    report "J_FindObjects" 5 "jhObject is NULL"
  )");
}

TEST_F(SearchTest, ReportsRefusedElementsOfTheHandleArray) {
  env.failNext("GetLongArrayElements", jvm::Leaving::Exception);
  EXPECT_EQ(find(nullptr), nullptr);
  EXPECT_THAT(takeTrace(), HasSubstr("GetLongArrayElements long[]#1 -> null\n"
                                     "report \"J_FindObjects\" 5 \"hObject is NULL\"\n"));
}

// --- Objects ---------------------------------------------------------------------------------------------------------

TEST_F(SearchTest, FindsObjectsWithTheirAttributes) {
  module.answer("C_FindObjects list=0xB04,0xB01");
  const jobjectArray objects = find(env.attributes("none", {}), env.ints("types", {CKA_LABEL, CKA_SENSITIVE}));
  EXPECT_EQ(env.show(objects), R"([CryptokiObject(2820, [Attribute(3, "data"), Attribute(259, null)]), )"
                               R"(CryptokiObject(2817, [Attribute(3, "secret"), Attribute(259, Boolean(false))])])");
  EXPECT_TRACE(templateLines("none") + R"(
    FindClass velnor/CryptokiObject
    GetMethodID velnor/CryptokiObject <init> (I[Lvelnor/Attribute;)V
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    sessionOf session
    C_FindObjectsInit session=0x5E51 template=[] -> CKR_OK
    C_FindObjects session=0x5E51 objects=non-null max=50 -> CKR_OK count=2
    C_FindObjectsFinal session=0x5E51 -> CKR_OK
    NewObjectArray 2 velnor/CryptokiObject null
    GetIntArrayElements types
    GetArrayLength types
    ReleaseIntArrayElements types mode 0
    NewObjectArray 2 velnor/Attribute null
    C_GetAttributeValue session=0x5E51 object=0xB04 template=[0x3 2048:non-null] -> CKR_OK length=4
    NewByteArray 4
    SetByteArrayRegion byte[]#1 0 4 "data"
    NewObject velnor/Attribute (3, byte[]#1)
    SetObjectArrayElement Attribute[]#1 0 Attribute#1
    C_GetAttributeValue session=0x5E51 object=0xB04 template=[0x103 1:non-null] -> CKR_ATTRIBUTE_TYPE_INVALID length=0xFFFFFFFFFFFFFFFF
    NewObject velnor/Attribute (259, null)
    SetObjectArrayElement Attribute[]#1 1 Attribute#2
    NewObject velnor/CryptokiObject (2820, Attribute[]#1)
    SetObjectArrayElement CryptokiObject[]#1 0 CryptokiObject#1
    NewObjectArray 2 velnor/Attribute null
    C_GetAttributeValue session=0x5E51 object=0xB01 template=[0x3 2048:non-null] -> CKR_OK length=6
    NewByteArray 6
    SetByteArrayRegion byte[]#2 0 6 "secret"
    NewObject velnor/Attribute (3, byte[]#2)
    SetObjectArrayElement Attribute[]#2 0 Attribute#3
    C_GetAttributeValue session=0x5E51 object=0xB01 template=[0x103 1:non-null] -> CKR_OK length=1
    FindClass java/lang/Boolean
    GetMethodID java/lang/Boolean <init> (Z)V
    NewObject java/lang/Boolean (false)
    DeleteLocalRef java/lang/Boolean
    NewObject velnor/Attribute (259, Boolean(false))
    SetObjectArrayElement Attribute[]#2 1 Attribute#4
    NewObject velnor/CryptokiObject (2817, Attribute[]#2)
    SetObjectArrayElement CryptokiObject[]#1 1 CryptokiObject#2
  )");
}

TEST_F(SearchTest, ObjectsAskedForNoAttributesHaveANullArray) {
  module.answer("C_FindObjects list=0xB04");
  EXPECT_EQ(env.show(findWith({})), "[CryptokiObject(2820, null)]");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(SearchTest, HandlesAndTypesOfObjectsAreCutToInts) {
  module.answer("C_FindObjects list=0x180000002,0xFFFFFFFF");
  module.answer("C_GetAttributeValue CKR_OK always");
  EXPECT_EQ(env.show(findWith({static_cast<jint>(0x80000003)})),
            "[CryptokiObject(-2147483646, [Attribute(-2147483645, null)]), "
            "CryptokiObject(-1, [Attribute(-2147483645, null)])]");
  EXPECT_EQ(env.pending(), "") << "cut without a word";
  EXPECT_THAT(module.journal(), HasSubstr("object=0x180000002 template=[0xFFFFFFFF80000003 2048:non-null]"))
      << "the module is still given all bits";
}

// Unlike the reading of a list, a search tolerates every refusal: one hidden attribute must not hide all objects.
TEST_F(SearchTest, ASearchReadsASensitiveAttributeAsNull) {
  module.answer("C_FindObjects list=0xB03");
  EXPECT_EQ(env.show(findWith({CKA_PRIVATE_EXPONENT, CKA_MODULUS})),
            R"([CryptokiObject(2819, [Attribute(291, null), Attribute(288, "modulus")])])");
  EXPECT_EQ(env.pending(), "");
}

class ToleratedTest : public SearchTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Answers, ToleratedTest,
                         ::testing::Values("CKR_ATTRIBUTE_TYPE_INVALID", "CKR_BUFFER_TOO_SMALL", "CKR_DEVICE_REMOVED",
                                           "CKR_SESSION_HANDLE_INVALID", "CKR_CRYPTOKI_NOT_INITIALIZED", "0x80000001"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST_P(ToleratedTest, ReadsAsNullAndGoesOn) {
  module.answer("C_FindObjects list=0xB04,0xB05");
  module.answer(std::string("C_GetAttributeValue ") + GetParam());
  EXPECT_EQ(env.show(findWith({CKA_LABEL, CKA_VALUE})),
            R"([CryptokiObject(2820, [Attribute(3, null), Attribute(17, "contents")]), )"
            R"(CryptokiObject(2821, [Attribute(3, "pair"), Attribute(17, "certificate")])])");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(SearchTest, TheIssuerReadsAsNullAlthoughTheModuleGaveIt) {
  module.answer("C_FindObjects list=0xB05");
  EXPECT_EQ(env.show(findWith({CKA_ISSUER, CKA_SUBJECT})),
            R"([CryptokiObject(2821, [Attribute(129, null), Attribute(257, "CN=subject")])])");
  EXPECT_THAT(module.journal(), HasSubstr("template=[0x81 2048:non-null] -> CKR_OK length=9"));
}

// An attribute that the module calls readable but gives no length for fails the conversion, and that is reported.
TEST_F(SearchTest, AnUnavailableLengthBesideAnOkFailsTheSearch) {
  module.answer("C_FindObjects list=0xB04");
  module.answer("C_GetAttributeValue CKR_OK length=-1");
  EXPECT_EQ(findWith({CKA_LABEL}), nullptr);
  expectText("CkAttribute2Pkcs11Attribute - byteArrayValue is NULL");
}

TEST_F(SearchTest, ALengthBeyondTheBufferIsNeverRead) {
  module.answer("C_FindObjects list=0xB04");
  module.answer("C_GetAttributeValue CKR_OK length=2049");
  EXPECT_EQ(findWith({CKA_LABEL}), nullptr);
  EXPECT_EQ(env.pendingReport()->function, "J_FindObjects");
  EXPECT_EQ(env.pendingReport()->code, 5);
}

// --- Objects: what the JVM refuses -----------------------------------------------------------------------------------

/// A missing class or constructor; an empty member means the class.
struct Missing {
  const char* test;
  const char* className;
  const char* member;
  const char* message;
};

std::ostream& operator<<(std::ostream& out, const Missing& missing) {
  return out << missing.test;
}

class MissingTest : public SearchTest, public ::testing::WithParamInterface<Missing> {};

// The stray apostrophes are part of the texts.
INSTANTIATE_TEST_SUITE_P(
    Lookups, MissingTest,
    ::testing::Values(
        Missing{"ObjectClass", "velnor/CryptokiObject", "", "Class 'velnor/CryptokiObject' not found"},
        Missing{"ObjectConstructor", "velnor/CryptokiObject", "<init>", "CryptokiObject constructor' not found"},
        Missing{"AttributeClass", "velnor/Attribute", "", "Class 'velnor/Attribute' not found"},
        Missing{"AttributeConstructor", "velnor/Attribute", "<init>", "Attribute constructor' not found"}),
    [](const auto& instance) { return std::string(instance.param.test); });

TEST_P(MissingTest, IsReportedBeforeTheSessionIsRead) {
  if (*GetParam().member == '\0') {
    env.declareMissing(GetParam().className);
  } else {
    env.declareMissing(GetParam().className, GetParam().member);
  }
  env.declareMissing("velnor/nat/NativeSession");
  EXPECT_EQ(findWith({CKA_LABEL}), nullptr);
  expectText(GetParam().message);
  EXPECT_EQ(module.journal(), "");
}

TEST_P(MissingTest, DoesNotMatterToASearchForHandles) {
  if (*GetParam().member == '\0') {
    env.declareMissing(GetParam().className);
  } else {
    env.declareMissing(GetParam().className, GetParam().member);
  }
  EXPECT_NE(find(nullptr), nullptr);
}

/// The creations after a search, the n-th of their kind, with five objects and one attribute each.
struct Refusal {
  const char* test;
  const char* function;
  int n;
  const char* message;
};

std::ostream& operator<<(std::ostream& out, const Refusal& refusal) {
  return out << refusal.test;
}

class RefusalTest : public SearchTest, public ::testing::WithParamInterface<Refusal> {};

INSTANTIATE_TEST_SUITE_P(Of, RefusalTest,
                         ::testing::Values(Refusal{"ObjectArray", "NewObjectArray", 1, "jObject is NULL"},
                                           Refusal{"AttributeArray", "NewObjectArray", 2, "jTemplate is NULL"},
                                           Refusal{"LaterAttributeArray", "NewObjectArray", 4, "jTemplate is NULL"},
                                           Refusal{"Attribute", "NewObject", 1, "Pkcs11Attribute object is NULL"},
                                           Refusal{"LaterAttribute", "NewObject", 3, "Pkcs11Attribute object is NULL"}),
                         [](const auto& instance) { return std::string(instance.param.test); });

TEST_P(RefusalTest, FailsTheSearch) {
  env.failNth(GetParam().function, GetParam().n, jvm::Leaving::Exception);
  EXPECT_EQ(findWith({CKA_ISSUER}), nullptr);
  expectText(GetParam().message);
}

TEST_F(SearchTest, TheObjectArrayIsMadeBeforeTheTypesAreLookedAt) {
  env.failNext("NewObjectArray");
  findWith({CKA_LABEL});
  EXPECT_THAT(env.trace(), Not(HasSubstr("GetIntArrayElements")));
}

// The null test behind a new object looks at the attribute made last. A refused object therefore leaves a hole in the
// array, which callers have learned to skip, and not a failed search.
TEST_F(SearchTest, ARefusedObjectLeavesAHoleInTheArray) {
  env.failNth("NewObject", 2, jvm::Leaving::Exception);
  module.answer("C_FindObjects list=0xB01,0xB04");
  EXPECT_EQ(env.show(findWith({CKA_ISSUER})), "[null, CryptokiObject(2820, [Attribute(129, null)])]");
  EXPECT_FALSE(env.pendingReport());
  EXPECT_EQ(env.pendingClass(), "java/lang/OutOfMemoryError") << "the JVM's own exception is what Java gets";
}

TEST_F(SearchTest, ARefusedObjectWithoutAttributesLeavesAHoleToo) {
  env.failNext("NewObject");
  module.answer("C_FindObjects list=0xB01,0xB04");
  EXPECT_EQ(env.show(findWith({})), "[null, CryptokiObject(2820, null)]");
  EXPECT_EQ(env.pending(), "");
}

// With no attribute made, the same test looks at the array of types: a null one fails every search that finds anything,
// although the object was made.
TEST_F(SearchTest, ANullArrayOfTypesFailsASearchThatFindsSomething) {
  module.answer("C_FindObjects list=0xB04");
  EXPECT_EQ(find(nullptr, nullptr), nullptr);
  EXPECT_TRACE(R"(
    FindClass velnor/CryptokiObject
    GetMethodID velnor/CryptokiObject <init> (I[Lvelnor/Attribute;)V
    FindClass velnor/Attribute
    GetMethodID velnor/Attribute <init> (ILjava/lang/Object;)V
    sessionOf session
    C_FindObjectsInit session=0x5E51 template=null:0 -> CKR_OK
    C_FindObjects session=0x5E51 objects=non-null max=50 -> CKR_OK count=1
    C_FindObjectsFinal session=0x5E51 -> CKR_OK
    NewObjectArray 1 velnor/CryptokiObject null
    NewObject velnor/CryptokiObject (2820, null)
    report "J_FindObjects" 5 "Cryptokiobj object is NULL"
  )");
}

TEST_F(SearchTest, ANullArrayOfTypesIsFineWhenNothingIsFound) {
  EXPECT_EQ(find(labelled("nobody"), nullptr), nullptr);
  EXPECT_EQ(env.pending(), "");
}

TEST_F(SearchTest, AConversionIsReportedBeforeTheClassesAreLookedUp) {
  env.declareMissing("java/lang/Boolean");
  env.declareMissing("velnor/CryptokiObject");
  EXPECT_EQ(find(env.attributes("none", {}), env.ints("types", {CKA_LABEL})), nullptr);
  expectText("Attribute2CKAttribute - Class 'java/lang/Boolean' not found");
}

}  // namespace
