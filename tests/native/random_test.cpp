/// Random bytes from the token, with an optional seed.
#include "method_path.h"

#include <cstring>

namespace {

std::vector<MethodPath> randomPaths() {
  return {
      {"J_GenerateRandom",
       "J_GenerateRandom",
       [](PathTest& t) -> jobject {
         Java_velnor_nat_NativeSession_J_1GenerateRandom(t.jni, t.session, 0x5E51, JNI_FALSE, nullptr,
                                                         t.env.bytes("random", "0123456789"), 0, 4);
         return nullptr;
       },
       "null",
       {
           // The handle is an argument: no look-up of a session comes first.
           {"GetByteArrayElements random", "Random is NULL", "ReleaseByteArrayElements random mode 0"},
           {"C_GenerateRandom session=0x5E51 buffer=non-null length=4 -> CKR_OK", "", ""},
       }},
  };
}

INSTANTIATE_METHOD_PATHS(Random, randomPaths());

class RandomTest : public NativeTest {
protected:
  void generate(jint randOff, jint randLen) { generate(JNI_FALSE, nullptr, randOff, randLen); }
  void generate(jboolean bSeed, jbyteArray jSeed, jint randOff = 0, jint randLen = 4) {
    Java_velnor_nat_NativeSession_J_1GenerateRandom(jni, session, hSession, bSeed, jSeed, random, randOff, randLen);
  }

  jbyteArray seed = env.bytes("seed", "seed");
  jbyteArray random = env.bytes("random", "0123456789abcdefghijklmnopqrstuv");
};

// --- The region
// --------------------------------------------------------------------------------------------------------

TEST_F(RandomTest, FillsTheRegionAndNothingElse) {
  generate(8, 16);
  EXPECT_EQ(env.show(random), "\"01234567RANDOMRANDOMRANDopqrstuv\"");
  EXPECT_EQ(env.pending(), "");
  EXPECT_TRACE(R"(
    GetByteArrayElements random
    C_GenerateRandom session=0x5E51 buffer=non-null length=16 -> CKR_OK
    ReleaseByteArrayElements random mode 0
  )");
}

TEST_F(RandomTest, AsksTheModuleForNoBytesToo) {
  generate(0, 0);
  EXPECT_EQ(env.show(random), "\"0123456789abcdefghijklmnopqrstuv\"");
  EXPECT_MODULE_TRACE("C_GenerateRandom session=0x5E51 buffer=non-null length=0 -> CKR_OK");
}

TEST_F(RandomTest, FillsAnArrayToItsLastByte) {
  generate(26, 6);
  EXPECT_EQ(env.show(random), "\"0123456789abcdefghijklmnopRANDOM\"");
}

TEST_F(RandomTest, CopiesBackWhatAFailingModuleWrote) {
  OwnFunctionList list;
  list->C_GenerateRandom = [](CK_SESSION_HANDLE, CK_BYTE_PTR pRandomData, CK_ULONG) -> CK_RV {
    std::memcpy(pRandomData, "half", 4);
    return CKR_DEVICE_ERROR;
  };
  generate(0, 8);
  EXPECT_EQ(env.show(random), "\"half456789abcdefghijklmnopqrstuv\"");
  EXPECT_TRACE(R"(
    GetByteArrayElements random
    report "J_GenerateRandom" 0x30
    ReleaseByteArrayElements random mode 0
  )");
}

TEST_F(RandomTest, ReportsANullArray) {
  random = nullptr;
  generate(0, 4);
  EXPECT_TRACE("report \"J_GenerateRandom\" 5 \"Random is NULL\"");
}

// The Java surface checks the region; the native method hands on what it is given, and the module decides.
TEST_F(RandomTest, WidensTheLengthBySign) {
  for (const auto& [length, seen] : {std::pair{-1, "0xFFFFFFFFFFFFFFFF"}, std::pair{INT32_MIN, "0xFFFFFFFF80000000"},
                                     std::pair{INT32_MAX, "2147483647"}}) {
    module.answer("C_GenerateRandom CKR_ARGUMENTS_BAD");
    generate(0, length);
    EXPECT_EQ(takeModuleTrace(), std::string("C_GenerateRandom session=0x5E51 buffer=non-null length=") + seen +
                                     " -> CKR_ARGUMENTS_BAD\n");
  }
}

TEST_F(RandomTest, AddsANegativeOffsetAsItIs) {
  OwnFunctionList list;
  list->C_GenerateRandom = [](CK_SESSION_HANDLE, CK_BYTE_PTR pRandomData, CK_ULONG) -> CK_RV {
    return std::memcmp(pRandomData + 3, "0123456789", 10) == 0 ? CKR_OK : CKR_DATA_INVALID;
  };
  generate(-3, 4);
  EXPECT_EQ(env.pending(), "");
}

// --- The session
// ---------------------------------------------------------------------------------------------------------

TEST_F(RandomTest, HandsOnAll64BitsOfTheSession) {
  for (const auto& [handle, seen] :
       {std::pair{jlong{0x5500000001}, "0x5500000001"}, std::pair{jlong{-1}, "0xFFFFFFFFFFFFFFFF"},
        std::pair{jlong{0x80000000}, "0x80000000"}}) {
    module.answer("C_SeedRandom CKR_OK");
    module.answer("C_GenerateRandom CKR_OK");
    Java_velnor_nat_NativeSession_J_1GenerateRandom(jni, session, handle, JNI_TRUE, seed, random, 0, 4);
    EXPECT_EQ(takeModuleTrace(), std::string("C_SeedRandom session=") + seen + " seed=\"seed\" -> CKR_OK\n" +
                                     "C_GenerateRandom session=" + seen + " buffer=non-null length=4 -> CKR_OK\n");
  }
}

TEST_F(RandomTest, NeverLooksAtTheJavaObject) {
  Java_velnor_nat_NativeSession_J_1GenerateRandom(jni, nullptr, hSession, JNI_TRUE, seed, random, 0, 4);
  EXPECT_EQ(env.pending(), "");
}

// --- The seed
// ------------------------------------------------------------------------------------------------------------

TEST_F(RandomTest, MixesTheWholeSeedInFirst) {
  generate(JNI_TRUE, seed);
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(env.show(random), "\"RAND456789abcdefghijklmnopqrstuv\"");
  EXPECT_TRACE(R"(
    GetByteArrayElements seed
    GetArrayLength seed
    C_SeedRandom session=0x5E51 seed="seed" -> CKR_OK
    ReleaseByteArrayElements seed mode 2
    GetByteArrayElements random
    C_GenerateRandom session=0x5E51 buffer=non-null length=4 -> CKR_OK
    ReleaseByteArrayElements random mode 0
  )");
}

TEST_F(RandomTest, SeedsWhateverTrueIs) {
  for (const jboolean bSeed : {jboolean{2}, jboolean{255}}) {
    generate(bSeed, seed);
    EXPECT_MODULE_TRACE(R"(
      C_SeedRandom session=0x5E51 seed="seed" -> CKR_OK
      C_GenerateRandom session=0x5E51 buffer=non-null length=4 -> CKR_OK
    )");
  }
}

TEST_F(RandomTest, LooksAtNoSeedUnlessItIsToSeed) {
  generate(JNI_FALSE, seed);
  EXPECT_TRACE(R"(
    GetByteArrayElements random
    C_GenerateRandom session=0x5E51 buffer=non-null length=4 -> CKR_OK
    ReleaseByteArrayElements random mode 0
  )");
}

TEST_F(RandomTest, HandsOnAnEmptySeed) {
  generate(JNI_TRUE, env.bytes("empty", ""));
  EXPECT_EQ(env.pending(), "");
  EXPECT_MODULE_TRACE(R"(
    C_SeedRandom session=0x5E51 seed="" -> CKR_OK
    C_GenerateRandom session=0x5E51 buffer=non-null length=4 -> CKR_OK
  )");
}

// A caller without a seed gets its random bytes, and learns all the same that nothing was mixed in.
TEST_F(RandomTest, ReportsANullSeedButGeneratesNevertheless) {
  generate(JNI_TRUE, nullptr);
  EXPECT_EQ(env.show(random), "\"RAND456789abcdefghijklmnopqrstuv\"");
  EXPECT_EQ(env.pending(), R"(CryptokiException("J_SeedRandom", 5, "Seed is NULL"))");
  EXPECT_TRACE(R"(
    report "J_SeedRandom" 5 "Seed is NULL"
    GetByteArrayElements random
    C_GenerateRandom session=0x5E51 buffer=non-null length=4 -> CKR_OK
    ReleaseByteArrayElements random mode 0
  )");
}

TEST_F(RandomTest, ReportsRefusedElementsOfTheSeedButGeneratesNevertheless) {
  for (const jvm::Leaving leaving : {jvm::Leaving::Nothing, jvm::Leaving::Exception}) {
    env.failNext("GetByteArrayElements", leaving);
    generate(JNI_TRUE, seed);
    EXPECT_EQ(env.pending(), R"(CryptokiException("J_SeedRandom", 5, "Seed is NULL"))");
    EXPECT_TRACE(R"(
      GetByteArrayElements seed -> null
      report "J_SeedRandom" 5 "Seed is NULL"
      GetByteArrayElements random
      C_GenerateRandom session=0x5E51 buffer=non-null length=4 -> CKR_OK
      ReleaseByteArrayElements random mode 0
    )");
  }
}

TEST_F(RandomTest, ReportsTheArrayLastWhenSeedAndArrayAreMissing) {
  random = nullptr;
  generate(JNI_TRUE, nullptr);
  EXPECT_TRACE(R"(
    report "J_SeedRandom" 5 "Seed is NULL"
    report "J_GenerateRandom" 5 "Random is NULL"
  )");
}

TEST_F(RandomTest, GivesTheSeedBackBeforeAMissingArrayIsReported) {
  random = nullptr;
  generate(JNI_TRUE, seed);
  EXPECT_TRACE(R"(
    GetByteArrayElements seed
    GetArrayLength seed
    C_SeedRandom session=0x5E51 seed="seed" -> CKR_OK
    ReleaseByteArrayElements seed mode 2
    report "J_GenerateRandom" 5 "Random is NULL"
  )");
}

TEST_F(RandomTest, ReportsFailuresOfTheGenerationUnderItsOwnNameAfterASeed) {
  module.answer("C_GenerateRandom CKR_RANDOM_NO_RNG");
  generate(JNI_TRUE, seed);
  EXPECT_TRACE(R"(
    GetByteArrayElements seed
    GetArrayLength seed
    C_SeedRandom session=0x5E51 seed="seed" -> CKR_OK
    ReleaseByteArrayElements seed mode 2
    GetByteArrayElements random
    C_GenerateRandom session=0x5E51 buffer=non-null length=4 -> CKR_RANDOM_NO_RNG
    report "J_GenerateRandom" 0x121
    ReleaseByteArrayElements random mode 0
  )");
}

struct SeedAnswer {
  const char* name;
  const char* shown;
  const char* reported;
};

class RefusedSeedTest : public RandomTest, public ::testing::WithParamInterface<SeedAnswer> {};

// Bytes of a generator that refused the seed are not what the caller asked for.
TEST_P(RefusedSeedTest, GeneratesNothing) {
  module.answer(std::string("C_SeedRandom ") + GetParam().shown);
  generate(JNI_TRUE, seed);
  EXPECT_EQ(env.show(random), "\"0123456789abcdefghijklmnopqrstuv\"");
  EXPECT_EQ("GetByteArrayElements seed\nGetArrayLength seed\nC_SeedRandom session=0x5E51 seed=\"seed\" -> " +
                std::string(GetParam().shown) + "\nreport \"J_SeedRandom\" " + GetParam().reported +
                "\nReleaseByteArrayElements seed mode 2\n",
            takeTrace());
}

INSTANTIATE_TEST_SUITE_P(Random, RefusedSeedTest,
                         ::testing::Values(SeedAnswer{"NotSupported", "CKR_RANDOM_SEED_NOT_SUPPORTED", "0x120"},
                                           SeedAnswer{"OfVendor", "0x80000001", "0x80000001"},
                                           SeedAnswer{"AllOnes", "0xFFFFFFFFFFFFFFFF", "0xFFFFFFFF"},
                                           SeedAnswer{"HighHalfOnly", "0x100000000",
                                                      "0 \"VENDOR DEFINED                    \""}),
                         [](const auto& tested) { return std::string(tested.param.name); });

// --- The worker
// ----------------------------------------------------------------------------------------------------------

TEST_F(RandomTest, ReturnsWhatTheModuleSaysOfTheSeed) {
  EXPECT_EQ(J_SeedRandom(jni, hSession, seed), CKR_OK);
  EXPECT_EQ(env.pending(), "");
  module.answer("C_SeedRandom 0x100000000");
  EXPECT_EQ(J_SeedRandom(jni, hSession, seed), 0x100000000U);
}

TEST_F(RandomTest, ReturnsZeroForAFailureOfItsOwn) {
  EXPECT_EQ(J_SeedRandom(jni, hSession, nullptr), CKR_OK);
  EXPECT_EQ(env.pending(), R"(CryptokiException("J_SeedRandom", 5, "Seed is NULL"))");
  env.clear();
  bInitialized = false;
  EXPECT_EQ(J_SeedRandom(jni, hSession, seed), CKR_OK);
  EXPECT_TRACE("report \"J_SeedRandom\" 0x190");
}

}  // namespace
