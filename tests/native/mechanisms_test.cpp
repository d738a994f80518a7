/// Java mechanisms become PKCS#11 mechanisms: the frame, the choice of a kind by the code, and a walk through all
/// kinds.
#include "marshalling_test.h"
#include "mechanism_kinds.h"

#include <climits>
#include <set>

namespace {

class MechanismsTest : public UnboundTest {
protected:
  ~MechanismsTest() override { FreeMechanism(&mechanism); }

  std::string convert(CK_MECHANISM_TYPE code, jobject parameter) {
    FreeMechanism(&mechanism);
    mechanism = {0xAAAA, nullptr, 0xBBBB};
    const jobject jMechanism = env.mechanism("mechanism", static_cast<jint>(code), parameter);
    return raisedBy([&] { Mechanism2CKMechanism(jni, jMechanism, &mechanism); });
  }
  std::string structure(const std::vector<Cell>& layout) const {
    return shown(layout, mechanism.pParameter, mechanism.ulParameterLen);
  }
  void expectNoParameter(CK_MECHANISM_TYPE code) {
    EXPECT_EQ(mechanism.mechanism, code);
    EXPECT_EQ(mechanism.pParameter, nullptr);
    EXPECT_EQ(mechanism.ulParameterLen, 0U);
  }

  CK_MECHANISM mechanism = {};
};

std::string joinedLines(const std::string& text) {
  return jvm::joined(jvm::expectedLines(text));
}

// --- Every code ------------------------------------------------------------------------------------------------------

class MechanismCodeTest : public MechanismsTest, public ::testing::WithParamInterface<CK_MECHANISM_TYPE> {};

std::vector<CK_MECHANISM_TYPE> everyCode() {
  std::vector<CK_MECHANISM_TYPE> codes;
  for (const ParameterKind* kind : everyKind()) {
    codes.insert(codes.end(), kind->codes.begin(), kind->codes.end());
  }
  return codes;
}

TEST_P(MechanismCodeTest, ConvertsTheParameterOfItsKind) {
  const ParameterKind& kind = kindOf(GetParam());
  EXPECT_EQ(convert(GetParam(), kind.make(env)), "");
  std::string expected = joinedLines(kFrame);
  for (const Step& step : stepsOf(kind)) {
    expected += step.line + "\n";
  }
  EXPECT_EQ(takeTrace(), expected);
  EXPECT_EQ(mechanism.mechanism, GetParam());
  EXPECT_EQ(mechanism.ulParameterLen, kind.size);
  EXPECT_EQ(structure(kind.layout), shown(kind.layout));
  EXPECT_EQ(env.pending(), "");
}

INSTANTIATE_TEST_SUITE_P(All, MechanismCodeTest, ::testing::ValuesIn(everyCode()),
                         [](const auto& test) { return std::string(kindOf(test.param).name) + "_" + hex(test.param); });

// Everything else goes to the module without a parameter, whatever Java holds: nothing of it is looked at.
TEST_F(MechanismsTest, OtherCodesGetNoParameterAndLookNothingUp) {
  const std::vector<CK_MECHANISM_TYPE> codes = everyCode();
  const std::set<CK_MECHANISM_TYPE> known(codes.begin(), codes.end());
  const jobject parameter = env.bytes("parameter", "12345678");
  const std::string frame = joinedLines(kFrame);
  int others = 0;
  for (CK_MECHANISM_TYPE code = 0; code <= CKM_XMSSMT; ++code) {
    if (known.count(code) == 0) {
      EXPECT_EQ(convert(code, parameter), "");
      ASSERT_EQ(takeTrace(), frame) << hex(code);
      expectNoParameter(code);
      ++others;
    }
  }
  EXPECT_EQ(others, static_cast<int>(CKM_XMSSMT) + 1 - static_cast<int>(known.size()));
}

// Deliberate gaps: their siblings take an IV, these two never have.
TEST_F(MechanismsTest, CastAndCast3WithPaddingTakeNoIv) {
  for (const CK_MECHANISM_TYPE code : {CKM_CAST_CBC_PAD, CKM_CAST3_CBC_PAD}) {
    EXPECT_EQ(convert(code, env.bytes("12345678")), "");
    expectNoParameter(code);
  }
  EXPECT_EQ(CKM_CAST_CBC_PAD, 0x305U);
  EXPECT_EQ(CKM_CAST3_CBC_PAD, 0x315U);
}

TEST_F(MechanismsTest, OrdinaryMechanismsWithoutARowTakeNoParameter) {
  for (const CK_MECHANISM_TYPE code :
       {CKM_SHA_1, CKM_SHA256, CKM_AES_CBC, CKM_AES_CBC_PAD, CKM_AES_GCM, CKM_RSA_PKCS_PSS, CKM_RSA_PKCS}) {
    EXPECT_EQ(convert(code, env.object("parameter", "velnor/params/OAEPParams")), "");
    EXPECT_EQ(takeTrace(), joinedLines(kFrame));
    expectNoParameter(code);
  }
}

// Also when its low bits are those of a code with a row.
TEST_F(MechanismsTest, VendorCodesAreSignExtendedAndTakeNoParameter) {
  for (const jint vendor : {INT_MIN, INT_MIN + 0x122, INT_MIN + 0x365, -1}) {
    EXPECT_EQ(convert(static_cast<CK_MECHANISM_TYPE>(vendor), nullptr), "");
    EXPECT_EQ(takeTrace(), joinedLines(kFrame));
    expectNoParameter(0xFFFFFFFF00000000 | static_cast<std::uint32_t>(vendor));
  }
}

// --- Every failure ---------------------------------------------------------------------------------------------------

struct FrameFailure {
  int call;
  const char* text;
};

class MechanismFrameTest : public MechanismsTest, public ::testing::WithParamInterface<FrameFailure> {};

TEST_P(MechanismFrameTest, AFailedLookUpLeavesTheStructureAsItWas) {
  env.failCall(GetParam().call, jvm::Leaving::Exception);
  EXPECT_EQ(convert(CKM_DES_CBC, env.bytes("12345678")), GetParam().text);
  EXPECT_EQ(env.calls(), GetParam().call);
  EXPECT_EQ(mechanism.mechanism, 0xAAAAU);
  EXPECT_EQ(mechanism.pParameter, nullptr);
  EXPECT_EQ(mechanism.ulParameterLen, 0xBBBBU);
}

INSTANTIATE_TEST_SUITE_P(InOrder, MechanismFrameTest,
                         ::testing::Values(FrameFailure{1, "Class 'velnor/Mechanism' not found"},
                                           FrameFailure{2, "Field mechanism not found"},
                                           FrameFailure{3, "Field parameter not found"}),
                         [](const auto& test) { return "Call" + std::to_string(test.param.call); });

TEST_F(MechanismsTest, ANullMechanismRaisesATextInsteadOfKillingTheJvm) {
  EXPECT_EQ(raisedBy([&] { Mechanism2CKMechanism(jni, nullptr, &mechanism); }),
            "Mechanism2CKMechanism - mechanism is NULL");
  EXPECT_EQ(env.calls("GetObjectField"), 0);
  EXPECT_EQ(mechanism.pParameter, nullptr);
}

class MechanismKindTest : public MechanismsTest, public ::testing::WithParamInterface<const ParameterKind*> {
protected:
  const ParameterKind& kind = *GetParam();
  const CK_MECHANISM_TYPE code = kind.codes.front();
};

std::string reportLine(const std::string& reported) {
  return reported.empty() ? "" : "report \"Mechanism2CKMechanism\" 5 \"" + reported + "\"\n";
}

TEST_P(MechanismKindTest, ANullParameterIsTheFirstThingNoticed) {
  for (const CK_MECHANISM_TYPE each : kind.codes) {
    EXPECT_EQ(convert(each, nullptr), "Mechanism2CKMechanism - parameter value is NULL");
    EXPECT_EQ(takeTrace(), joinedLines(kFrame) + reportLine(kind.nullReported == nullptr ? "" : kind.nullReported));
    expectNoParameter(each);
  }
}

TEST_P(MechanismKindTest, EveryFailingStepRaisesItsTextAndAsksNothingMore) {
  const std::vector<Step> steps = stepsOf(kind);
  std::string before = joinedLines(kFrame);
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (!steps[i].raised.empty()) {
      env.clear();
      // A field that reads null is no fault of the JVM's; a failed look-up leaves an exception behind.
      const bool readsNull = steps[i].line.rfind("GetObjectField", 0) == 0;
      env.failCall(kFrameCalls + static_cast<int>(i) + 1, readsNull ? jvm::Leaving::Nothing : jvm::Leaving::Exception);
      EXPECT_EQ(convert(code, kind.make(env)), steps[i].raised);
      EXPECT_EQ(takeTrace(), before + steps[i].line + " -> null\n" + reportLine(steps[i].reported));
      expectNoParameter(code);
    }
    before += steps[i].line + "\n";
  }
}

INSTANTIATE_TEST_SUITE_P(Every, MechanismKindTest, ::testing::ValuesIn(everyKind()),
                         [](const auto& test) { return std::string(test.param->name); });

TEST_F(MechanismsTest, OnlyOaepTestsTheClassOfItsParameter) {
  EXPECT_EQ(convert(CKM_RSA_PKCS_OAEP, env.bytes("parameter", "no parameter object")),
            "Mechanism2CKMechanism - parameter must be instance of 'velnor/params/OAEPParams'");
  EXPECT_EQ(takeTrace(), joinedLines(kFrame) + joinedLines(R"(
    FindClass velnor/params/OAEPParams
    IsInstanceOf parameter velnor/params/OAEPParams
  )"));
  expectNoParameter(CKM_RSA_PKCS_OAEP);
}

// --- What some kinds make of odd values ------------------------------------------------------------------------------

TEST_F(MechanismsTest, OaepWithoutSourceDataHasANullPointer) {
  const jobject parameter = kindOf(CKM_RSA_PKCS_OAEP).make(env);
  EXPECT_EQ(convert(CKM_RSA_PKCS_OAEP, env.setNull(parameter, "m_sourceData")), "");
  const std::vector<Cell> layout = {number(0, 0x220), number(8, 0xFFFFFFFFFFFFFFFF), number(16, 1), null(24),
                                    number(32, 0)};
  EXPECT_EQ(structure(layout), shown(layout));
  EXPECT_EQ(mechanism.ulParameterLen, 40U);
  EXPECT_EQ(env.calls("GetArrayLength"), 0);
}

TEST_F(MechanismsTest, PbeWithoutAnInitVectorHasANullPointer) {
  const jobject parameter = kindOf(0x3A0).make(env);
  EXPECT_EQ(convert(0x3A0, env.setNull(parameter, "m_initVector")), "");
  EXPECT_EQ(structure({null(0)}).substr(0, 10), "0 -> null\n");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(MechanismsTest, AnEmptyArrayHasABlockOfNoBytes) {
  const jobject parameter = kindOf(CKM_RC5_CBC).make(env);
  EXPECT_EQ(convert(CKM_RC5_CBC, env.set(parameter, "m_iv", env.bytes(""))), "");
  const std::vector<Cell> layout = {number(0, 4), number(8, 0xFFFFFFFFFFFFFFF4), pointer(16, ""), number(24, 0)};
  EXPECT_EQ(structure(layout), shown(layout));
}

// Eight bytes are copied whatever the array holds. The module is still asked; what is left pending reaches Java.
struct ShortArray {
  CK_MECHANISM_TYPE code;
  const char* field;  ///< empty: the parameter itself
  const char* failingLine;
  std::vector<Cell> layout;
};

class ShortArrayTest : public MechanismsTest, public ::testing::WithParamInterface<ShortArray> {
protected:
  jobject makeShort(const ShortArray& test) {
    if (*test.field == '\0') {
      return env.bytes("parameter", "1234567");
    }
    const jobject parameter = kindOf(test.code).make(env);
    const jobject value =
        std::string(test.field) == "m_initVector" ? jobject(env.chars("", u"1234567")) : jobject(env.bytes("1234567"));
    return env.set(parameter, test.field, value);
  }
};

TEST_P(ShortArrayTest, LeavesItsExceptionPendingWhileTheConversionGoesOn) {
  EXPECT_EQ(convert(GetParam().code, makeShort(GetParam())), "");
  EXPECT_EQ(env.pendingClass(), "java/lang/ArrayIndexOutOfBoundsException");
  EXPECT_NE(takeTrace().find(std::string(GetParam().failingLine) + " -> null\n"), std::string::npos);
  EXPECT_EQ(structure(GetParam().layout), shown(GetParam().layout));
  EXPECT_EQ(mechanism.ulParameterLen, kindOf(GetParam().code).size);
}

const std::string kEightZeroes(8, '\0');

INSTANTIATE_TEST_SUITE_P(
    Every, ShortArrayTest,
    ::testing::Values(ShortArray{0x133, "", "GetByteArrayRegion parameter 0 8", {bytes(0, kEightZeroes)}},
                      ShortArray{0x102,
                                 "m_iv",
                                 "GetByteArrayRegion parameter.m_iv 0 8",
                                 {number(0, 0xFFFFFFFFFFFFFFFF), bytes(8, kEightZeroes)}},
                      ShortArray{0x3A0,
                                 "m_initVector",
                                 "GetCharArrayRegion parameter.m_initVector 0 8",
                                 {pointer(0, std::string(16, '\0')), pointer(8, std::string("a\0b\0", 4)),
                                  number(16, 2), pointer(24, std::string("s\0\xAC\x20\0\x01", 6)), number(32, 3),
                                  number(40, 0xFFFFFFFFFFFFFC18)}}),
    [](const auto& test) { return std::string(kindOf(test.param.code).name); });

class MechanismsInUseTest : public NativeTest {};

TEST_F(MechanismsInUseTest, TheModuleIsAskedWithAPartlyFilledIv) {
  const jobject mechanism = env.mechanism("mechanism", CKM_DES3_CBC, env.bytes("short"));
  EXPECT_EQ(J_EncryptInit(jni, hSession, mechanism, hSecretKey), CKR_OK);
  EXPECT_MODULE_TRACE("C_EncryptInit session=0x5E51 mechanism=0x133 parameter=8:0000000000000000 key=0xB01 -> CKR_OK");
  EXPECT_EQ(env.pendingClass(), "java/lang/ArrayIndexOutOfBoundsException");
}

// --- Freeing ---------------------------------------------------------------------------------------------------------

TEST_F(MechanismsTest, FreeingNothingIsFine) {
  EXPECT_EQ(FreeMechanism(nullptr), 0);
  mechanism = {CKM_RSA_PKCS_OAEP, nullptr, 40};
  EXPECT_EQ(FreeMechanism(&mechanism), 0);
  mechanism = {CKM_RSA_PKCS_OAEP, nullptr, 0};
  EXPECT_EQ(FreeMechanism(&mechanism), 0);
}

TEST_F(MechanismsTest, FreeingDoesNotResetTheStructure) {
  EXPECT_EQ(convert(CKM_DES_CBC, env.bytes("12345678")), "");
  const CK_MECHANISM before = mechanism;
  EXPECT_EQ(FreeMechanism(&mechanism), 0);
  EXPECT_EQ(mechanism.mechanism, before.mechanism);
  EXPECT_EQ(mechanism.pParameter, before.pParameter);
  EXPECT_EQ(mechanism.ulParameterLen, before.ulParameterLen);
  mechanism = {};
}

}  // namespace
