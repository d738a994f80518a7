/// Which mechanisms a token supports, and what one of them can do.
#include "method_path.h"

namespace {

std::vector<MethodPath> mechanismQueryPaths() {
  return {
      {"J_GetMechanismList",
       "J_GetMechanismList",
       [](PathTest& t) -> jobject { return Java_velnor_nat_NativeSlot_J_1GetMechanismList(t.jni, t.slot); },
       "[1, 0, 544]",
       {
           {"FindClass velnor/nat/NativeSlot", "Class 'velnor/nat/NativeSlot' not found", ""},
           {"GetFieldID velnor/nat/NativeSlot m_slotID I", "Field m_slotID not found", ""},
           {"GetIntField slot m_slotID", "", ""},
           {"C_GetMechanismList slot=0x11 list=null count=0 -> CKR_OK count=3", "", ""},
           {"C_GetMechanismList slot=0x11 list=non-null count=3 -> CKR_OK count=3", "", ""},
           {"NewIntArray 3", "jMechanismList is NULL", ""},
           {"SetIntArrayRegion int[]#1 0 3 [1, 0, 544]", "", ""},
       }},
      {"J_GetMechanismInfo",
       "J_GetMechanismInfo",
       [](PathTest& t) { return Java_velnor_nat_NativeSlot_J_1GetMechanismInfo(t.jni, t.slot, CKM_SHA_1); },
       "MechanismInfo(501, 502, 10240)",
       {
           {"FindClass velnor/nat/NativeSlot", "Class 'velnor/nat/NativeSlot' not found", ""},
           {"FindClass velnor/MechanismInfo", "Class 'velnor/MechanismInfo' not found", ""},
           {"GetFieldID velnor/nat/NativeSlot m_slotID I", "Field m_slotID not found", ""},
           {"GetMethodID velnor/MechanismInfo <init> (III)V", "Pkcs11MechanismInfo constructor not found", ""},
           {"GetIntField slot m_slotID", "", ""},
           {"C_GetMechanismInfo slot=0x11 type=0x220 info=non-null -> CKR_OK", "", ""},
           {"NewObject velnor/MechanismInfo (501, 502, 10240)", "Pkcs11MechanismInfo object is NULL", ""},
       }},
  };
}

INSTANTIATE_METHOD_PATHS(MechanismQueries, mechanismQueryPaths());

// --- J_GetMechanismList ----------------------------------------------------------------------------------------------

class MechanismListTest : public NativeTest {
protected:
  jintArray getMechanismList() { return Java_velnor_nat_NativeSlot_J_1GetMechanismList(jni, slot); }

  /// What the module says in the first and in the second call.
  void answers(const std::string& first, const std::string& second) {
    module.answer("C_GetMechanismList " + first);
    module.answer("C_GetMechanismList " + second);
  }
  std::string listOf(const std::string& mechanisms) {
    answers("list=" + mechanisms, "list=" + mechanisms);
    return env.show(getMechanismList());
  }
};

// The list is a run of 64-bit codes copied as ints, as many ints as there are codes: every Java caller takes each
// second element and asks for the other half of the codes by name. A list of whole codes would make them read every
// second one.
TEST_F(MechanismListTest, IsTheFirstHalfOfTheCodesAsPairsOfInts) {
  EXPECT_EQ(listOf("0x0,0x1,0x40"), "[0, 0, 1]");
  EXPECT_EQ(listOf("0x11,0x12,0x13,0x14"), "[17, 0, 18, 0]");
  EXPECT_EQ(listOf("0x11"), "[17]");
  EXPECT_EQ(listOf("0x11,0x12,0x13,0x14,0x15"), "[17, 0, 18, 0, 19]");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(MechanismListTest, ShowsTheHighHalfOfAVendorsCode) {
  EXPECT_EQ(listOf("0x80000001,0x5500000012,0xFFFFFFFFFFFFFFFF,0x1"), "[-2147483647, 0, 18, 85]");
  EXPECT_EQ(listOf("0xFFFFFFFF80000007,0x1"), "[-2147483641, -1]");
}

TEST_F(MechanismListTest, IsEmptyWithoutMechanisms) {
  answers("CKR_OK count=0", "CKR_OK count=0");
  EXPECT_EQ(env.show(getMechanismList()), "[]");
  EXPECT_EQ(env.pending(), "");
  EXPECT_MODULE_TRACE(R"(
    C_GetMechanismList slot=0x11 list=null count=0 -> CKR_OK count=0
    C_GetMechanismList slot=0x11 list=non-null count=0 -> CKR_OK count=0
  )");
}

TEST_F(MechanismListTest, IsShorterWhenTheSecondCountIs) {
  answers("list=1,2,3,4", "list=7,8,9");
  EXPECT_EQ(env.show(getMechanismList()), "[7, 0, 8]");
}

// No retry: a mechanism list does not grow but by a change of the token, and then the caller starts anew.
TEST_F(MechanismListTest, FailsWhenTheListGrewInBetween) {
  answers("list=1,2", "list=1,2,3");
  EXPECT_EQ(getMechanismList(), nullptr);
  EXPECT_TRACE(R"(
    FindClass velnor/nat/NativeSlot
    GetFieldID velnor/nat/NativeSlot m_slotID I
    GetIntField slot m_slotID
    C_GetMechanismList slot=0x11 list=null count=0 -> CKR_OK count=2
    C_GetMechanismList slot=0x11 list=non-null count=2 -> CKR_BUFFER_TOO_SMALL count=3
    report "J_GetMechanismList" 0x150
  )");
}

TEST_F(MechanismListTest, RefusesACountBeyondWhatTheModuleWasOffered) {
  answers("CKR_OK count=2", "CKR_OK count=3");
  EXPECT_EQ(getMechanismList(), nullptr);
  EXPECT_TRACE(R"(
    FindClass velnor/nat/NativeSlot
    GetFieldID velnor/nat/NativeSlot m_slotID I
    GetIntField slot m_slotID
    C_GetMechanismList slot=0x11 list=null count=0 -> CKR_OK count=2
    C_GetMechanismList slot=0x11 list=non-null count=2 -> CKR_OK count=3
    NewIntArray 3
    report "J_GetMechanismList" 5 "the pkcs#11 library reports more than it was given room for"
  )");
}

TEST_F(MechanismListTest, RefusesACountThatNoMemoryHolds) {
  for (const char* const count : {"-1", "0x2000000000000000", "0x1000000000000000"}) {
    module.answer(std::string("C_GetMechanismList CKR_OK count=") + count);
    EXPECT_EQ(getMechanismList(), nullptr);
    EXPECT_EQ(env.pending(), "CryptokiException(\"J_GetMechanismList\", 2, \"HOST MEMORY                       \")");
    EXPECT_EQ(module.unused(), "");
  }
}

TEST_F(MechanismListTest, ReportsANegativeCountAsAMissingList) {
  answers("CKR_OK count=2", "CKR_OK count=-1");
  EXPECT_EQ(getMechanismList(), nullptr);
  EXPECT_EQ(env.pending(), R"(CryptokiException("J_GetMechanismList", 5, "jMechanismList is NULL"))");
}

TEST_F(MechanismListTest, ReportsACountBeyondAJavaIntAndGoesOnWithItsLowHalf) {
  answers("list=1,2,3", "list=5,6,7 count=0x100000003");
  EXPECT_EQ(env.show(getMechanismList()), "[5, 0, 6]");
  EXPECT_TRACE(R"-(
    FindClass velnor/nat/NativeSlot
    GetFieldID velnor/nat/NativeSlot m_slotID I
    GetIntField slot m_slotID
    C_GetMechanismList slot=0x11 list=null count=0 -> CKR_OK count=3
    C_GetMechanismList slot=0x11 list=non-null count=3 -> CKR_OK count=0x100000003
    report "Check64BitLen" 5 "Value out of size for 32 bit (jint)"
    NewIntArray 3
    SetIntArrayRegion int[]#1 0 3 [5, 0, 6]
  )-");
}

// --- J_GetMechanismInfo ----------------------------------------------------------------------------------------------

class MechanismInfoTest : public NativeTest {
protected:
  jobject getMechanismInfo(jint type = CKM_SHA_1) {
    return Java_velnor_nat_NativeSlot_J_1GetMechanismInfo(jni, slot, type);
  }
};

TEST_F(MechanismInfoTest, SaysWhatTheModuleSaysOfAMechanismThatTheTokenLacks) {
  EXPECT_EQ(getMechanismInfo(CKM_AES_CBC), nullptr);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_GetMechanismInfo\", 112, \"MECHANISM INVALID                 \")");
}

TEST_F(MechanismInfoTest, WidensTheTypeBySign) {
  for (const auto& [type, seen] : {std::pair{INT32_MIN, "0xFFFFFFFF80000000"}, std::pair{-1, "0xFFFFFFFFFFFFFFFF"},
                                   std::pair{INT32_MAX, "0x7FFFFFFF"}}) {
    module.answer("C_GetMechanismInfo CKR_OK");
    EXPECT_EQ(env.show(getMechanismInfo(type)), "MechanismInfo(0, 0, 0)");
    EXPECT_EQ(takeModuleTrace(),
              std::string("C_GetMechanismInfo slot=0x11 type=") + seen + " info=non-null -> CKR_OK\n");
  }
}

struct InfoNumber {
  const char* field;
  const char* before;
  const char* after;
};

class MechanismNumberTest : public MechanismInfoTest, public ::testing::WithParamInterface<InfoNumber> {
protected:
  void isShownAs(const std::string& number, const std::string& shown) {
    SCOPED_TRACE(number);
    const auto& [field, before, after] = GetParam();
    module.answer(std::string("C_GetMechanismInfo ") + field + "=" + number);
    EXPECT_EQ(env.show(getMechanismInfo()), "MechanismInfo(" + std::string(before) + shown + after + ")");
  }
};

TEST_P(MechanismNumberTest, ArrivesInItsPlace) {
  isShownAs("0x7FFFFFFF", "2147483647");
  isShownAs("-1", "-1");
  isShownAs("-2147483648", "-2147483648");
  EXPECT_EQ(env.pending(), "");
}

TEST_P(MechanismNumberTest, IsReportedWhenNoJavaIntHoldsItBeforeTheObjectIsMadeOfItsLowHalf) {
  isShownAs("0x80000001", "-2147483647");
  EXPECT_EQ(env.pending(), kTooWide);
  const std::string trace = takeTrace();
  EXPECT_LT(trace.find("report \"Check64BitLen\""), trace.find("NewObject velnor/MechanismInfo"));
  isShownAs("0x100000003", "3");
  isShownAs("-2147483649", "2147483647");
  EXPECT_EQ(env.thrown(), std::vector<std::string>(3, kTooWide));
}

INSTANTIATE_TEST_SUITE_P(MechanismQueries, MechanismNumberTest,
                         ::testing::Values(InfoNumber{"ulMinKeySize", "", ", 502, 10240"},
                                           InfoNumber{"ulMaxKeySize", "501, ", ", 10240"},
                                           InfoNumber{"flags", "501, 502, ", ""}),
                         [](const auto& tested) { return std::string(tested.param.field); });

}  // namespace
