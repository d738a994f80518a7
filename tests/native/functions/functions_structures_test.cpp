/// Structures: what is not whole reaches no module, what is reaches it with addresses for offsets, and what the module
/// made of it comes back.
#include "calls.h"

#include <climits>

using namespace functions;

namespace {

using Words = std::vector<std::int32_t>;

std::string numbers(const std::vector<std::uint64_t>& values) {
  return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(std::uint64_t)};
}

/// Why a structure is not one.
struct Malformed {
  std::string why;
  std::string bytes;
  bool isWholeAtItsBeginning = false;
};

void PrintTo(const Malformed& malformed, std::ostream* out) {
  *out << malformed.why;
}

std::vector<Malformed> malformed() {
  const std::string block24 = numbers({0, 0, 0});
  const std::string pointing = numbers({16, 0, 0});
  const auto made = StructureBytes::made;
  std::vector<Malformed> all = {
      {"Empty", ""},
      {"OneByte", "x"},
      {"HalfAHead", made({24, 24}, "", {})},
      {"HeadLessAByte", made({0, 0, 0, 0}, "", {}).substr(0, 15)},
      {"NegativeSize", made({-1, 0, 0, 0}, block24, {})},
      {"NegativeAlignedSize", made({-8, -8, 0, 0}, block24, {})},
      {"SmallestSize", made({INT_MIN, 0, 0, 0}, block24, {})},
      {"SizeBeyond", made({32, 24, 0, 0}, block24, {})},
      {"SizeFarBeyond", made({INT_MAX, 24, 0, 0}, block24, {})},
      {"SizeFarBeyondAligned", made({INT_MAX - 7, 24, 0, 0}, block24, {})},
      {"SizeWithin", made({16, 16, 0, 0}, block24, {}), true},
      {"SizeTakesThePlaces", made({28, 24, 0, 0}, block24 + "xxxx", {0}), true},
      {"NothingOfTheBlock", made({24, 24, 0, 0}, "", {})},
      {"NegativeLength", made({24, -1, 0, 0}, block24, {})},
      {"SmallestLength", made({24, INT_MIN, 0, 0}, block24, {})},
      {"LengthBeyond", made({24, 25, 0, 0}, block24, {})},
      {"LengthFarBeyond", made({24, INT_MAX, 0, 0}, block24, {})},
      {"NegativePointers", made({24, 24, -1, 0}, block24, {})},
      {"SmallestPointers", made({24, 24, INT_MIN, 0}, block24, {})},
      {"PointersThatAreNotThere", made({24, 24, 1, 0}, block24, {})},
      {"ALostPointer", made({24, 24, 0, 0}, pointing, {0}), true},
      {"HalfAPointer", made({24, 24, 1, 0}, pointing, {0}).substr(0, 42)},
      {"PointersThatWrapToNone", made({24, 24, 0x40000000, 0}, block24, {})},
      {"MorePointersThanPlaces", made({24, 24, INT_MAX, 0}, pointing, {0})},
      {"TrailingByte", made({24, 24, 0, 0}, block24, {}) + "x", true},
      {"TrailingWord", made({24, 24, 1, 0}, pointing, {0, 0}), true},
      {"SameTwice", made({24, 24, 2, 0}, pointing, {0, 0})},
      {"PlaceInBetween", made({24, 24, 1, 0}, numbers({0, 0, 0}), {4})},
      {"OverlapByHalf", made({24, 24, 2, 0}, pointing, {0, 4})},
      {"OverlapByAByte", made({24, 24, 2, 0}, numbers({0, 0, 0}), {8, 15})},
      {"OverlapBefore", made({24, 24, 2, 0}, numbers({0, 0, 0}), {12, 8})},
  };
  for (const std::int32_t place : {-1, -4, -8, -16, 17, 20, 23, 24, 25, 32, INT_MAX, INT_MAX - 7, INT_MIN}) {
    all.push_back(
        {"PlaceAt" + std::to_string(static_cast<std::uint32_t>(place)), made({24, 24, 1, 0}, block24, {place})});
    all.push_back({"SecondPlaceAt" + std::to_string(static_cast<std::uint32_t>(place)),
                   made({24, 24, 2, 0}, block24, {0, place})});
  }
  for (const std::uint64_t target :
       {std::uint64_t(25), std::uint64_t(32), std::uint64_t(INT_MAX), std::uint64_t(0xFFFFFFFF),
        std::uint64_t(0x100000000), ~std::uint64_t(0), std::uint64_t(0x8000000000000000), ~std::uint64_t(0) - 15}) {
    std::string name = "TargetAt" + puppet::hex(target);
    all.push_back({name, made({24, 24, 1, 0}, numbers({target, 0, 0}), {0})});
  }
  return all;
}

class FunctionsMalformedTest : public FunctionsTest, public ::testing::WithParamInterface<Malformed> {};

INSTANTIATE_TEST_SUITE_P(Every, FunctionsMalformedTest, ::testing::ValuesIn(malformed()),
                         [](const auto& tested) { return tested.param.why; });

// Everywhere a structure is taken, and beside one that is whole.
TEST_P(FunctionsMalformedTest, ReachesNoModule) {
  const jlong id = puppetModule();
  const auto bad = [this] { return env.bytes("bad", GetParam().bytes); };
  const auto good = [this] { return env.bytes("good", templateBytes({{3, "label"}})); };
  const jlongArray place = env.longs("place", {7, 7});
  std::vector<jint> answers = {
      NATIVE(initialize)(jni, nullptr, id, bad()),
      NATIVE(create)(jni, nullptr, id, kSession, bad(), place),
      NATIVE(copy)(jni, nullptr, id, kSession, kObject, bad(), place),
      NATIVE(attributes)(jni, nullptr, id, 0, kSession, kObject, bad()),
      NATIVE(attributes)(jni, nullptr, id, 1, kSession, kObject, bad()),
      NATIVE(findInit)(jni, nullptr, id, kSession, bad()),
      NATIVE(generateKey)(jni, nullptr, id, kSession, kMechanism, bad(), good(), place),
      NATIVE(generateKey)(jni, nullptr, id, kSession, kMechanism, good(), bad(), place),
      NATIVE(generateKeyPair)(jni, nullptr, id, kSession, kMechanism, bad(), good(), good(), place),
      NATIVE(generateKeyPair)(jni, nullptr, id, kSession, kMechanism, good(), bad(), good(), place),
      NATIVE(generateKeyPair)(jni, nullptr, id, kSession, kMechanism, good(), good(), bad(), place),
      static_cast<jint>(
          answerOf(NATIVE(wrapKey)(jni, nullptr, id, kSession, kMechanism, bad(), kObject, kOther, nullptr))),
      NATIVE(unwrapKey)(jni, nullptr, id, kSession, kMechanism, bad(), kObject, env.bytes("x"), 0, 1, good(), place),
      NATIVE(unwrapKey)(jni, nullptr, id, kSession, kMechanism, good(), kObject, env.bytes("x"), 0, 1, bad(), place),
      NATIVE(deriveKey)(jni, nullptr, id, kSession, kMechanism, bad(), kObject, good(), place),
      NATIVE(deriveKey)(jni, nullptr, id, kSession, kMechanism, good(), kObject, bad(), place),
  };
  // There may be anything behind a structure in a direct buffer.
  if (!GetParam().isWholeAtItsBeginning) {
    const auto held = [this] { return env.directBuffer("bad", GetParam().bytes); };
    answers.push_back(NATIVE(init)(jni, nullptr, id, 0, kSession, kMechanism, held()));
    answers.push_back(NATIVE(keyedInit)(jni, nullptr, id, 0, kSession, kMechanism, held(), kObject));
  }
  for (std::size_t i = 0; i < answers.size(); ++i) {
    EXPECT_EQ(answers[i], jint(CKR_ARGUMENTS_BAD)) << "call " << i;
  }
  EXPECT_EQ(takeTold(), std::vector<std::string>());
  EXPECT_EQ(env.show(place), "[7, 7]");
}

class FunctionsStructuresTest : public FunctionsTest {
protected:
  jint derive(jbyteArray parameter) {
    return NATIVE(deriveKey)(jni, nullptr, puppetModule(), kSession, kMechanism, parameter, kObject, nullptr,
                             env.longs("key", {7}));
  }
  jint keyedInit(jobject held) {
    return NATIVE(keyedInit)(jni, nullptr, puppetModule(), indexOf("C_EncryptInit"), kSession, kMechanism, held,
                             kObject);
  }
  jint attributes(const char* function, jbyteArray attributes) {
    return NATIVE(attributes)(jni, nullptr, puppetModule(), indexOf(function), kSession, kObject, attributes);
  }
  /// Has C_DeriveKey and C_EncryptInit do something with their mechanism.
  static void parameterIs(std::function<CK_RV(const CK_MECHANISM&)> use) {
    puppet::Entry<& puppet::FunctionList::C_DeriveKey>::behaviour =
        [use](CK_SESSION_HANDLE, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR, CK_ULONG,
              CK_OBJECT_HANDLE_PTR) { return use(*pMechanism); };
    puppet::Entry<& puppet::FunctionList::C_EncryptInit>::behaviour =
        [use](CK_SESSION_HANDLE, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE) { return use(*pMechanism); };
  }
  static void templateIs(std::function<CK_RV(CK_ATTRIBUTE_PTR, CK_ULONG)> use) {
    puppet::Entry<& puppet::FunctionList::C_GetAttributeValue>::behaviour =
        [use](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
          return use(pTemplate, ulCount);
        };
  }
};

// --- Templates that a module cannot be given -------------------------------------------------------------------------

TEST_F(FunctionsStructuresTest, ATemplateHasWholeAttributes) {
  for (const std::size_t length : {1U, 8U, 23U, 25U, 40U, 47U}) {
    EXPECT_EQ(attributes("C_SetAttributeValue", env.bytes(StructureBytes(length).bytes())), jint(CKR_ARGUMENTS_BAD))
        << length;
  }
  EXPECT_EQ(takeTold().size(), 0U);
}

TEST_F(FunctionsStructuresTest, AnAttributesValueLiesWithinItsBlock) {
  for (const std::uint64_t length : {std::uint64_t(9), std::uint64_t(10), std::uint64_t(1000), ~std::uint64_t(0),
                                     std::uint64_t(0xFFFFFFFF), std::uint64_t(0x8000000000000000)}) {
    StructureBytes one(24);
    one.point(8, "8 bytes.");
    one.number(16, length);
    EXPECT_EQ(attributes("C_SetAttributeValue", env.bytes(one.bytes())), jint(CKR_ARGUMENTS_BAD)) << length;
    EXPECT_EQ(attributes("C_GetAttributeValue", env.bytes(one.bytes())), jint(CKR_ARGUMENTS_BAD)) << length;
    StructureBytes second(48);
    second.point(32, "8 bytes.");
    second.number(40, length);
    EXPECT_EQ(attributes("C_SetAttributeValue", env.bytes(second.bytes())), jint(CKR_ARGUMENTS_BAD)) << length;
  }
  EXPECT_EQ(takeTold().size(), 0U);
  StructureBytes whole(24);
  whole.point(8, "8 bytes.");
  whole.number(16, 8);
  EXPECT_EQ(attributes("C_SetAttributeValue", env.bytes(whole.bytes())), 0);
  EXPECT_EQ(takeOnlyCall(), "C_SetAttributeValue 0xFEDCBA9876543210 0xEDCBA98765432101 [0x0 8:\"8 bytes.\"]");
}

// A number where a pointer is to be would send the module anywhere.
TEST_F(FunctionsStructuresTest, AnAttributesValueIsAPointerOrNothing) {
  for (const std::uint64_t address :
       {std::uint64_t(1), std::uint64_t(24), std::uint64_t(0x7FFFFFFF0000), ~std::uint64_t(0)}) {
    StructureBytes one(24);
    one.number(8, address);
    EXPECT_EQ(attributes("C_SetAttributeValue", env.bytes(one.bytes())), jint(CKR_ARGUMENTS_BAD)) << address;
  }
  EXPECT_EQ(takeTold().size(), 0U);
}

TEST_F(FunctionsStructuresTest, AnAttributeWithoutAValueMayHaveAnyLength) {
  StructureBytes one(24);
  one.number(0, CKA_LABEL).number(16, ~std::uint64_t(0));
  EXPECT_EQ(attributes("C_GetAttributeValue", env.bytes(one.bytes())), 0);
  EXPECT_EQ(takeOnlyCall(), "C_GetAttributeValue 0xFEDCBA9876543210 0xEDCBA98765432101 [0x3 0xFFFFFFFFFFFFFFFF:null]");
}

TEST_F(FunctionsStructuresTest, EmptyTemplatesAndNull) {
  EXPECT_EQ(attributes("C_SetAttributeValue", env.bytes(StructureBytes(0).bytes())), 0);
  EXPECT_EQ(takeOnlyCall(), "C_SetAttributeValue 0xFEDCBA9876543210 0xEDCBA98765432101 []");
  EXPECT_EQ(NATIVE(findInit)(jni, nullptr, puppetModule(), kSession, nullptr), 0);
  EXPECT_EQ(takeOnlyCall(), "C_FindObjectsInit 0xFEDCBA9876543210 null:0");
  EXPECT_EQ(NATIVE(deriveKey)(jni, nullptr, puppetModule(), kSession, kMechanism, nullptr, kObject, nullptr,
                              env.longs("", {7})),
            0);
  EXPECT_EQ(takeOnlyCall(), "C_DeriveKey 0xFEDCBA9876543210 0xCBA9876543210123 0xEDCBA98765432101 null:0 number");
}

// What a standard's module reads of the arguments is all of them.
TEST_F(FunctionsStructuresTest, ArgumentsOfInitialisationAreAllThere) {
  for (const std::size_t length : {std::size_t(0), std::size_t(8), sizeof(CK_C_INITIALIZE_ARGS) - 8}) {
    EXPECT_EQ(NATIVE(initialize)(jni, nullptr, puppetModule(), env.bytes(StructureBytes(length).bytes())),
              jint(CKR_ARGUMENTS_BAD))
        << length;
  }
  EXPECT_EQ(takeTold().size(), 0U);
}

TEST_F(FunctionsStructuresTest, ArgumentsOfInitialisationArriveWithTheirText) {
  // One field more than the standard's, as NSS has it.
  StructureBytes arguments(sizeof(CK_C_INITIALIZE_ARGS) + 8);
  arguments.number(offsetof(CK_C_INITIALIZE_ARGS, flags), CKF_OS_LOCKING_OK);
  arguments.point(offsetof(CK_C_INITIALIZE_ARGS, pReserved), std::string("configdir=x\0", 12));
  bool called = false;
  puppet::Entry<& puppet::FunctionList::C_Initialize>::behaviour = [&called](CK_VOID_PTR pInitArgs) {
    const auto* const given = static_cast<CK_C_INITIALIZE_ARGS*>(pInitArgs);
    EXPECT_EQ(given->CreateMutex, nullptr);
    EXPECT_EQ(given->DestroyMutex, nullptr);
    EXPECT_EQ(given->LockMutex, nullptr);
    EXPECT_EQ(given->UnlockMutex, nullptr);
    EXPECT_EQ(given->flags, CKF_OS_LOCKING_OK);
    EXPECT_STREQ(static_cast<const char*>(given->pReserved), "configdir=x");
    CK_VOID_PTR behind = pInitArgs;
    std::memcpy(&behind, given + 1, sizeof behind);
    EXPECT_EQ(behind, nullptr);
    called = true;
    return CKR_CANT_LOCK;
  };
  EXPECT_EQ(NATIVE(initialize)(jni, nullptr, puppetModule(), env.bytes(arguments.bytes())), jint(CKR_CANT_LOCK));
  EXPECT_TRUE(called);
  puppet::reset();
  EXPECT_EQ(NATIVE(initialize)(jni, nullptr, puppetModule(), nullptr), 0);
  EXPECT_EQ(takeOnlyCall(), "C_Initialize null");
}

// --- Parameters of mechanisms ----------------------------------------------------------------------------------------

TEST_F(FunctionsStructuresTest, NoParameterIsANullPointer) {
  EXPECT_EQ(keyedInit(nullptr), 0);
  EXPECT_EQ(takeOnlyCall(), "C_EncryptInit 0xFEDCBA9876543210 0xCBA9876543210123 0xEDCBA98765432101");
}

TEST_F(FunctionsStructuresTest, AnEmptyParameterIsNotNull) {
  parameterIs([](const CK_MECHANISM& mechanism) {
    EXPECT_NE(mechanism.pParameter, nullptr);
    EXPECT_EQ(mechanism.ulParameterLen, 0U);
    return CKR_OK;
  });
  EXPECT_EQ(derive(env.bytes(StructureBytes(0).bytes())), 0);
  EXPECT_EQ(keyedInit(env.directBuffer("held", StructureBytes(0).bytes())), 0);
}

struct Inner {
  CK_BYTE_PTR pText;
  CK_ULONG ulTextLen;
  CK_ULONG ulMade;
};

struct Outer {
  CK_ULONG ulNumber;
  Inner* pInner;
  CK_BYTE_PTR pIv;
  CK_BBOOL bLast;
};

struct NestedParameter {
  NestedParameter() : structure(sizeof(Outer)) {
    structure.number(offsetof(Outer, ulNumber), 0xFEDCBA9876543210);
    inner = structure.point(offsetof(Outer, pInner), std::string(sizeof(Inner), '\0'));
    iv = structure.point(offsetof(Outer, pIv), std::string(12, '-'));
    text = structure.point(inner + offsetof(Inner, pText), "nested text");
    structure.number(inner + offsetof(Inner, ulTextLen), 11);
  }

  StructureBytes structure;
  std::size_t inner = 0;
  std::size_t iv = 0;
  std::size_t text = 0;
};

CK_RV walkAndWrite(const CK_MECHANISM& mechanism) {
  EXPECT_EQ(mechanism.mechanism, static_cast<CK_ULONG>(kMechanism));
  EXPECT_EQ(mechanism.ulParameterLen, sizeof(Outer));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(mechanism.pParameter) % alignof(std::max_align_t), 0U);
  auto* const outer = static_cast<Outer*>(mechanism.pParameter);
  EXPECT_EQ(outer->ulNumber, 0xFEDCBA9876543210);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(outer->pInner->pText), outer->pInner->ulTextLen), "nested text");
  std::memcpy(outer->pIv, "generated IV", 12);
  outer->pInner->ulMade = 0xA000000000000007;
  std::memcpy(outer->pInner->pText, "NESTED", 6);
  return CKR_OK;
}

TEST_F(FunctionsStructuresTest, PointersLeadAsDeepAsTheyAreLaid) {
  parameterIs(walkAndWrite);
  NestedParameter nested;
  const jbyteArray parameter = env.bytes("parameter", nested.structure.bytes());
  EXPECT_EQ(derive(parameter), 0);
  EXPECT_EQ(env.bytesOf(parameter), nested.structure.bytes()) << "it was not to come back";
}

TEST_F(FunctionsStructuresTest, WhatAModuleWroteComesBackWithOffsetsForPointers) {
  parameterIs(walkAndWrite);
  NestedParameter nested;
  nested.structure.comesBack();
  std::string expected = nested.structure.bytes();
  expected.replace(StructureBytes::kHead + nested.iv, 12, "generated IV");
  expected.replace(StructureBytes::kHead + nested.text, 6, "NESTED");
  expected.replace(StructureBytes::kHead + nested.inner + offsetof(Inner, ulMade), 8, numbers({0xA000000000000007}));
  const jbyteArray parameter = env.bytes("parameter", nested.structure.bytes());
  EXPECT_EQ(derive(parameter), 0);
  EXPECT_EQ(env.bytesOf(parameter), expected);
}

TEST_F(FunctionsStructuresTest, LargeStructuresComeBackToo) {
  parameterIs([](const CK_MECHANISM& mechanism) {
    auto* const outer = static_cast<Outer*>(mechanism.pParameter);
    std::memset(outer->pIv, 'V', 100000);
    return CKR_OK;
  });
  StructureBytes structure(sizeof(Outer));
  structure.comesBack();
  const std::size_t iv = structure.point(offsetof(Outer, pIv), std::string(100000, '-'));
  const jbyteArray parameter = env.bytes("parameter", structure.bytes());
  EXPECT_EQ(derive(parameter), 0);
  EXPECT_EQ(StructureBytes::block(env.bytesOf(parameter), iv, 100000), std::string(100000, 'V'));
  EXPECT_EQ(StructureBytes::number(env.bytesOf(parameter), offsetof(Outer, pIv)), iv);
}

TEST_F(FunctionsStructuresTest, APointerToTheEndOfTheBlockIsOne) {
  StructureBytes structure(8);
  structure.comesBack();
  structure.pointTo(0, 8);
  parameterIs([](const CK_MECHANISM& mechanism) {
    CK_BYTE_PTR at = nullptr;
    std::memcpy(&at, mechanism.pParameter, sizeof at);
    EXPECT_EQ(at, static_cast<CK_BYTE_PTR>(mechanism.pParameter) + 8);
    return CKR_OK;
  });
  const jbyteArray parameter = env.bytes("parameter", structure.bytes());
  EXPECT_EQ(derive(parameter), 0);
  EXPECT_EQ(env.bytesOf(parameter), structure.bytes());
}

// A module may have told with it what is wrong.
TEST_F(FunctionsStructuresTest, AParameterOfACallThatFailsComesBackToo) {
  parameterIs([](const CK_MECHANISM& mechanism) {
    walkAndWrite(mechanism);
    return CKR_DEVICE_ERROR;
  });
  NestedParameter nested;
  nested.structure.comesBack();
  const jbyteArray parameter = env.bytes("parameter", nested.structure.bytes());
  EXPECT_EQ(derive(parameter), jint(CKR_DEVICE_ERROR));
  EXPECT_EQ(StructureBytes::block(env.bytesOf(parameter), nested.iv, 12), "generated IV");
  EXPECT_EQ(StructureBytes::number(env.bytesOf(parameter), offsetof(Outer, pIv)), nested.iv);
}

// --- Parameters of operations ----------------------------------------------------------------------------------------

TEST_F(FunctionsStructuresTest, AParameterThatIsHeldLiesWhereJavaHasIt) {
  NestedParameter nested;
  const jobject held = env.directBuffer("held", nested.structure.bytes());
  const auto* const address = static_cast<const char*>(jni->GetDirectBufferAddress(held));
  const void* given = nullptr;
  parameterIs([&given](const CK_MECHANISM& mechanism) {
    given = mechanism.pParameter;
    return walkAndWrite(mechanism);
  });
  EXPECT_EQ(keyedInit(held), 0);
  EXPECT_EQ(given, address + StructureBytes::kHead);
}

// Long after the call, too: nothing is moved, wiped or turned back.
TEST_F(FunctionsStructuresTest, AParameterThatIsHeldStaysAsItIs) {
  for (const CK_RV Rv : {CKR_OK, CKR_DEVICE_ERROR}) {
    NestedParameter nested;
    CK_MECHANISM kept = {};
    parameterIs([&kept, Rv](const CK_MECHANISM& mechanism) {
      kept = mechanism;
      return Rv;
    });
    const jobject held = env.directBuffer("held", nested.structure.bytes());
    EXPECT_EQ(keyedInit(held), jint(Rv));
    EXPECT_EQ(walkAndWrite(kept), CKR_OK);
    EXPECT_EQ(StructureBytes::block(env.bytesOf(held), nested.iv, 12), "generated IV");
    EXPECT_EQ(StructureBytes::block(env.bytesOf(held), nested.text, 11), "NESTED text");
  }
}

TEST_F(FunctionsStructuresTest, TheMemoryOfAParameterThatIsHeldMayBeLarger) {
  parameterIs(walkAndWrite);
  const std::string rest(1000, '-');
  const jobject held = env.directBuffer("held", NestedParameter().structure.bytes() + rest);
  EXPECT_EQ(keyedInit(held), 0);
  EXPECT_EQ(env.bytesOf(held).substr(env.bytesOf(held).size() - rest.size()), rest);
}

// Offsets that have become addresses are none any more.
TEST_F(FunctionsStructuresTest, AParameterThatIsHeldIsGoodForOneCall) {
  parameterIs([](const CK_MECHANISM&) { return CKR_OK; });
  const jobject held = env.directBuffer("held", NestedParameter().structure.bytes());
  EXPECT_EQ(keyedInit(held), 0);
  EXPECT_EQ(keyedInit(held), jint(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(takeOnlyCall(), "C_EncryptInit");
}

TEST_F(FunctionsStructuresTest, AParameterThatIsHeldIsAligned) {
  const jlong id = puppetModule();
  const std::string bytes = plainBytes("a parameter of 24 bytes.");
  alignas(std::max_align_t) static char memory[128] = {};
  static char* address = nullptr;
  JNINativeInterface_ table = {};
  table.GetDirectBufferAddress = [](JNIEnv*, jobject) -> void* { return address; };
  table.GetDirectBufferCapacity = [](JNIEnv*, jobject) -> jlong { return 64; };
  JNIEnv_ elsewhere = {&table};
  for (std::size_t off = 0; off < 16; ++off) {
    address = memory + off;
    std::memcpy(address, bytes.data(), bytes.size());
    EXPECT_EQ(NATIVE(init)(&elsewhere, nullptr, id, 0, kSession, kMechanism, env.bytes("any buffer")),
              off == 0 ? 0 : jint(CKR_ARGUMENTS_BAD))
        << off;
  }
}

TEST_F(FunctionsStructuresTest, AParameterThatIsHeldIsInADirectBuffer) {
  EXPECT_EQ(keyedInit(env.bytes("array", plainBytes("parameter"))), jint(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(takeTold().size(), 0U);
}

// --- What comes back of templates ------------------------------------------------------------------------------------

/// Two values to be read, of 5 and 300 bytes.
struct ReadTemplate {
  ReadTemplate() : structure(48) {
    structure.comesBack();
    structure.number(0, CKA_LABEL);
    first = structure.point(8, std::string(5, '-'));
    structure.number(16, 5);
    structure.number(24, CKA_VALUE);
    second = structure.point(32, std::string(300, '-'));
    structure.number(40, 300);
  }

  StructureBytes structure;
  std::size_t first = 0;
  std::size_t second = 0;
};

TEST_F(FunctionsStructuresTest, ValuesAndLengthsAreReadAfterARefusalToo) {
  for (const CK_RV Rv : {CKR_OK, CKR_ATTRIBUTE_SENSITIVE, CKR_ATTRIBUTE_TYPE_INVALID, CKR_BUFFER_TOO_SMALL}) {
    SCOPED_TRACE(puppet::hex(Rv));
    templateIs([Rv](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
      EXPECT_EQ(ulCount, 2U);
      EXPECT_EQ(pTemplate[0].type, CKA_LABEL);
      EXPECT_EQ(pTemplate[1].type, CKA_VALUE);
      EXPECT_EQ(pTemplate[0].ulValueLen, 5U);
      EXPECT_EQ(pTemplate[1].ulValueLen, 300U);
      std::memcpy(pTemplate[0].pValue, "lab", 3);
      pTemplate[0].ulValueLen = 3;
      pTemplate[1].ulValueLen = CK_UNAVAILABLE_INFORMATION;
      return Rv;
    });
    const ReadTemplate read;
    std::string expected = read.structure.bytes();
    expected.replace(StructureBytes::kHead + read.first, 3, "lab");
    expected.replace(StructureBytes::kHead + 16, 8, numbers({3}));
    expected.replace(StructureBytes::kHead + 40, 8, numbers({~std::uint64_t(0)}));
    const jbyteArray array = env.bytes("template", read.structure.bytes());
    EXPECT_EQ(attributes("C_GetAttributeValue", array), jint(Rv));
    EXPECT_EQ(env.bytesOf(array), expected);
  }
}

TEST_F(FunctionsStructuresTest, APointerThatTheModuleMovedTellsWhereToOrMinusOne) {
  static CK_BYTE elsewhere[8] = {};
  const ReadTemplate read;
  constexpr std::uint64_t kGone = ~std::uint64_t(0);
  struct Move {
    const char* to;
    std::function<CK_VOID_PTR(CK_ATTRIBUTE_PTR)> where;
    std::uint64_t comesBackAs;
  };
  const Move moves[] = {
      {"nowhere", [](CK_ATTRIBUTE_PTR) { return nullptr; }, kGone},
      {"elsewhere", [](CK_ATTRIBUTE_PTR) -> CK_VOID_PTR { return elsewhere; }, kGone},
      {"before the block", [](CK_ATTRIBUTE_PTR p) -> CK_VOID_PTR { return reinterpret_cast<CK_BYTE_PTR>(p) - 1; },
       kGone},
      {"behind the block",
       [&read](CK_ATTRIBUTE_PTR p) -> CK_VOID_PTR {
         return reinterpret_cast<CK_BYTE_PTR>(p) + read.structure.size() + 1;
       },
       kGone},
      {"the second value", [](CK_ATTRIBUTE_PTR p) { return p[1].pValue; }, read.second},
      {"the template itself", [](CK_ATTRIBUTE_PTR p) -> CK_VOID_PTR { return p; }, 0},
  };
  for (const Move& move : moves) {
    SCOPED_TRACE(move.to);
    templateIs([&move](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG) {
      pTemplate[0].pValue = move.where(pTemplate);
      return CKR_OK;
    });
    std::string expected = read.structure.bytes();
    expected.replace(StructureBytes::kHead + 8, 8, numbers({move.comesBackAs}));
    const jbyteArray array = env.bytes("template", read.structure.bytes());
    EXPECT_EQ(attributes("C_GetAttributeValue", array), 0);
    EXPECT_EQ(env.bytesOf(array), expected);
  }
}

TEST_F(FunctionsStructuresTest, EveryStructureOfACallComesBack) {
  const auto write = [](CK_ATTRIBUTE_PTR pTemplate, const char* bytes) { std::memcpy(pTemplate->pValue, bytes, 4); };
  const auto comingBack = [](std::size_t at, const std::string& contents) {
    StructureBytes made(24);
    made.comesBack();
    made.point(at, contents);
    return made.bytes();
  };
  puppet::Entry<& puppet::FunctionList::C_GenerateKeyPair>::behaviour =
      [&](CK_SESSION_HANDLE, CK_MECHANISM_PTR pMechanism, CK_ATTRIBUTE_PTR pPublic, CK_ULONG, CK_ATTRIBUTE_PTR pPrivate,
          CK_ULONG, CK_OBJECT_HANDLE_PTR, CK_OBJECT_HANDLE_PTR) {
        std::memcpy(pMechanism->pParameter, "PPPP", 4);
        write(pPublic, "pppp");
        write(pPrivate, "ssss");
        return CKR_OK;
      };
  const jbyteArray parameter = env.bytes("", comingBack(8, "----"));
  const jbyteArray publicTemplate = env.bytes("", comingBack(8, "----"));
  const jbyteArray privateTemplate = env.bytes("", comingBack(8, "----"));
  EXPECT_EQ(NATIVE(generateKeyPair)(jni, nullptr, puppetModule(), kSession, kMechanism, parameter, publicTemplate,
                                    privateTemplate, env.longs("", {7, 7})),
            0);
  EXPECT_EQ(StructureBytes::block(env.bytesOf(parameter), 0, 4), "PPPP");
  EXPECT_EQ(StructureBytes::block(env.bytesOf(publicTemplate), 24, 4), "pppp");
  EXPECT_EQ(StructureBytes::block(env.bytesOf(privateTemplate), 24, 4), "ssss");
}

// The places of the pointers lie behind the block, and are told again to nobody.
TEST_F(FunctionsStructuresTest, AModuleThatWritesBehindTheBlockLeadsNobodyAstray) {
  const ReadTemplate read;
  templateIs([&read](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG) {
    const std::int32_t far[] = {0x7FFFFFF0, -0x7FFFFFF0};
    std::memcpy(reinterpret_cast<CK_BYTE_PTR>(pTemplate) + read.structure.size(), far, sizeof far);
    return CKR_OK;
  });
  const jbyteArray array = env.bytes("template", read.structure.bytes());
  EXPECT_EQ(attributes("C_GetAttributeValue", array), 0);
}

}  // namespace
