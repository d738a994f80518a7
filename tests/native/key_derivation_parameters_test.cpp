/// What key derivation and key exchange make of odd parameters, and failures that are told twice. The walk through all
/// kinds is in mechanisms_test.cpp.
#include "marshalling_test.h"
#include "mechanism_kinds.h"
#include "mechanisms.h"

#include <algorithm>

namespace {

using namespace std::string_literals;

class KeyDerivationTest : public UnboundTest {
protected:
  ~KeyDerivationTest() override { FreeMechanism(&mechanism); }

  /// The kind's complete parameter with some fields changed first.
  template <typename Change>
  std::string convert(CK_MECHANISM_TYPE code, Change&& change) {
    FreeMechanism(&mechanism);
    mechanism = {};
    const jobject parameter = kindOf(code).make(env);
    change(parameter);
    return raisedBy([&] {
      Mechanism2CKMechanism(jni, env.mechanism("mechanism", static_cast<jint>(code), parameter), &mechanism);
    });
  }
  /// The kind's layout with the cells at these offsets replaced.
  std::vector<Cell> layoutWith(CK_MECHANISM_TYPE code, const std::vector<Cell>& changed) {
    return replaced(kindOf(code).layout, changed);
  }
  static std::vector<Cell> replaced(std::vector<Cell> cells, const std::vector<Cell>& changed) {
    for (const Cell& cell : changed) {
      *std::find_if(cells.begin(), cells.end(), [&](const Cell& old) { return old.offset == cell.offset; }) = cell;
    }
    return cells;
  }
  std::string structure(const std::vector<Cell>& layout) const {
    return shown(layout, mechanism.pParameter, mechanism.ulParameterLen);
  }
  jobject field(jobject object, const std::string& name) {
    fields.push_back(jvm::Reference{env.target(object)->fields.at(name).object, false, false});
    return reinterpret_cast<jobject>(&fields.back());
  }
  jobject answering(std::int64_t number) {
    const jobject truth = env.boolean(true);
    env.target(truth)->constructedWith = {jvm::Value{'Z', number, nullptr}};
    return truth;
  }

  CK_MECHANISM mechanism = {};
  std::deque<jvm::Reference> fields;
};

TEST_F(KeyDerivationTest, AnEmptyStringHasABlockOfNoBytes) {
  EXPECT_EQ(convert(0x362, [&](jobject p) { env.set(p, "data", env.bytes("")); }), "");
  const std::vector<Cell> layout = {pointer(0, ""), number(8, 0)};
  EXPECT_EQ(structure(layout), shown(layout));
}

// --- SSL 3 -----------------------------------------------------------------------------------------------------------

TEST_F(KeyDerivationTest, AVersionKeepsTheLowBytesOfItsInts) {
  const struct {
    jint major;
    jint minor;
    const char* version;
  } rows[] = {{0x0103, 0x7F00, "\x03\x00"}, {3, 1, "\x03\x01"}, {-1, 0x180, "\xFF\x80"}};
  for (const auto& row : rows) {
    EXPECT_EQ(convert(0x371,
                      [&](jobject p) {
                        env.set(field(p, "m_version"), "m_majorVersion", row.major);
                        env.set(field(p, "m_version"), "m_minorVersion", row.minor);
                      }),
              "");
    const std::vector<Cell> layout = layoutWith(0x371, {block(32, 2, {bytes(0, std::string(row.version, 2))})});
    EXPECT_EQ(structure(layout), shown(layout));
  }
}

// One Java class under two sets of names: each derivation knows its own only, so both must stay on the class.
TEST_F(KeyDerivationTest, EachDerivationReadsTheRandomsUnderItsOwnNames) {
  const std::pair<CK_MECHANISM_TYPE, std::vector<const char*>> strangers[] = {
      {0x371, {"clientRandom", "serverRandom"}}, {0x372, {"m_clientRandom", "m_serverRandom"}}};
  for (const auto& [code, names] : strangers) {
    jvm::RecordingEnv other;
    for (const char* name : names) {
      other.declareMissing("velnor/params/SSL3RANDOMDATA", name);
    }
    const jobject parameter = kindOf(code).make(other);
    const jobject jMechanism = other.mechanism("mechanism", static_cast<jint>(code), parameter);
    EXPECT_EQ(raisedBy([&] { Mechanism2CKMechanism(other.jni(), jMechanism, &mechanism); }), "");
    FreeMechanism(&mechanism);
    mechanism = {};
  }
}

// Modules are told how long the randoms are and nothing else; what they find there is zeroes, not leftovers of memory.
TEST_F(KeyDerivationTest, KeyMaterialRandomsHaveTheirLengthsButNoContents) {
  EXPECT_EQ(convert(0x372,
                    [&](jobject p) {
                      env.set(field(p, "randomInfo"), "clientRandom", env.bytes(std::string(300, 'c')));
                      env.set(field(p, "randomInfo"), "serverRandom", env.bytes(""));
                    }),
            "");
  const std::vector<Cell> layout =
      layoutWith(0x372, {pointer(32, std::string(300, 0)), number(40, 300), pointer(48, ""), number(56, 0)});
  EXPECT_EQ(structure(layout), shown(layout));
  EXPECT_EQ(env.calls("GetByteArrayRegion"), 2) << "only the IVs are copied";
}

TEST_F(KeyDerivationTest, KeyMaterialWithoutIvsHasNullPointers) {
  const struct {
    bool client;
    bool server;
  } rows[] = {{false, false}, {true, false}, {false, true}};
  for (const auto& row : rows) {
    EXPECT_EQ(convert(0x372,
                      [&](jobject p) {
                        const jobject material = field(p, "returnedKeyMaterial");
                        if (!row.client) {
                          env.setNull(material, "ivClient");
                        }
                        if (!row.server) {
                          env.setNull(material, "ivServer");
                        }
                      }),
              "");
    std::vector<Cell> material = kindOf(0x372).layout.back().cells;
    material = replaced(
        material, {row.client ? pointer(32, "clientIV") : null(32), row.server ? pointer(40, "serverIV") : null(40)});
    const std::vector<Cell> layout = layoutWith(0x372, {block(64, 48, material)});
    EXPECT_EQ(structure(layout), shown(layout));
  }
  EXPECT_EQ(env.pending(), "");
}

TEST_F(KeyDerivationTest, AShortIvLeavesItsExceptionPendingAndTheOtherIsStillCopied) {
  EXPECT_EQ(
      convert(0x372, [&](jobject p) { env.set(field(p, "returnedKeyMaterial"), "ivClient", env.bytes("1234567")); }),
      "");
  EXPECT_EQ(env.pendingClass(), "java/lang/ArrayIndexOutOfBoundsException");
  const std::vector<Cell> layout =
      layoutWith(0x372, {block(64, 48, replaced(kindOf(0x372).layout.back().cells, {pointer(32, std::string(8, 0))}))});
  EXPECT_EQ(structure(layout), shown(layout));
}

// --- Flags -----------------------------------------------------------------------------------------------------------

TEST_F(KeyDerivationTest, FlagsAreOneOnlyForExactlyOne) {
  const struct {
    CK_MECHANISM_TYPE code;
    const char* field;
    std::size_t offset;
  } flags[] = {{0x372, "isExport", 24}, {0x1011, "isSender", 0}};
  for (const auto& flag : flags) {
    for (const auto& [answer, byte] :
         {std::pair(0, "\0"s), std::pair(1, "\1"s), std::pair(2, "\0"s), std::pair(255, "\0"s)}) {
      EXPECT_EQ(convert(flag.code, [&, number = answer](jobject p) { env.set(p, flag.field, answering(number)); }), "");
      const std::vector<Cell> layout = layoutWith(flag.code, {bytes(flag.offset, byte)});
      EXPECT_EQ(structure(layout), shown(layout)) << flag.field << " " << answer;
    }
  }
}

// --- Lengths taken from another array --------------------------------------------------------------------------------

TEST_F(KeyDerivationTest, AsMuchOfRandomBIsCopiedAsRandomAHas) {
  EXPECT_EQ(convert(0x1011,
                    [&](jobject p) {
                      env.set(p, "randomA", env.bytes(std::string(128, 'A')));
                      env.set(p, "randomB", env.bytes(std::string(64, 'B')));
                    }),
            "");
  EXPECT_NE(takeTrace().find("GetByteArrayRegion parameter.randomB 0 128 -> null\n"), std::string::npos);
  EXPECT_EQ(env.pendingClass(), "java/lang/ArrayIndexOutOfBoundsException");
  const std::vector<Cell> layout =
      layoutWith(0x1011, {number(8, 128), pointer(16, std::string(128, 'A')), pointer(24, std::string(128, 0))});
  EXPECT_EQ(structure(layout), shown(layout));
}

TEST_F(KeyDerivationTest, AsMuchOfThePrimeIsCopiedAsTheBaseHas) {
  EXPECT_EQ(convert(0x1009,
                    [&](jobject p) {
                      env.set(p, "m_baseG", env.bytes("the base is longer"));
                      env.set(p, "m_primeP", env.bytes("prime"));
                    }),
            "");
  EXPECT_NE(takeTrace().find("GetByteArrayRegion parameter.m_primeP 0 18 -> null\n"), std::string::npos);
  EXPECT_EQ(env.pendingClass(), "java/lang/ArrayIndexOutOfBoundsException");
  const std::vector<Cell> layout =
      layoutWith(0x1009, {number(32, 18), pointer(64, std::string(18, 0)), pointer(72, "the base is longer")});
  EXPECT_EQ(structure(layout), shown(layout));
}

// --- Failures that are told twice ------------------------------------------------------------------------------------

// Callers that watch thrown exceptions see the short text under the conversion's name first; the caller's own report
// then replaces it.
class ToldTwiceTest : public NativeTest, public ::testing::WithParamInterface<const ParameterKind*> {
protected:
  void expectBoth(const std::string& reported, const std::string& raised) {
    const std::vector<std::string> both = {R"(CryptokiException("Mechanism2CKMechanism", 5, ")" + reported + R"("))",
                                           R"(CryptokiException("J_DigestInit", 5, ")" + raised + R"("))"};
    EXPECT_EQ(std::vector<std::string>(env.thrown().begin() + seen, env.thrown().end()), both);
    EXPECT_EQ(env.pending(), both.back());
    EXPECT_MODULE_TRACE("");
    seen = static_cast<std::ptrdiff_t>(env.thrown().size());
  }
  void digestInit(jobject parameter) {
    J_DigestInit(jni, hSession, env.mechanism("mechanism", static_cast<jint>(GetParam()->codes.front()), parameter));
  }

  std::ptrdiff_t seen = 0;
};

TEST_P(ToldTwiceTest, BothExceptionsAreThrownInOrder) {
  const std::vector<Step> steps = stepsOf(*GetParam());
  int told = 0;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (!steps[i].reported.empty()) {
      env.clear();
      env.failCall(kFrameCalls + static_cast<int>(i) + 1);
      digestInit(GetParam()->make(env));
      expectBoth(steps[i].reported, steps[i].raised);
      ++told;
    }
  }
  EXPECT_GT(told, 0);
  if (GetParam()->nullReported != nullptr) {
    digestInit(nullptr);
    expectBoth(GetParam()->nullReported, "Mechanism2CKMechanism - parameter value is NULL");
  }
}

INSTANTIATE_TEST_SUITE_P(Every, ToldTwiceTest, ::testing::Values(&kindOf(0x362), &kindOf(0x365), &kindOf(0x372)),
                         [](const auto& test) { return std::string(test.param->name); });

class DerivationInUseTest : public NativeTest {};

TEST_F(DerivationInUseTest, AModuleDerivesWithTheWholeStructure) {
  const jobject parameter = kindOf(0x1011).make(env);
  Java_velnor_nat_NativeSession_J_1DeriveKey(jni, session, env.mechanism("mechanism", 0x1011, parameter),
                                             static_cast<jlong>(hPrivateKey), nullptr);
  EXPECT_MODULE_TRACE(
      R"(C_DeriveKey session=0x5E51 mechanism=0x1011 parameter=48:{isSender=1 randomA="random A" randomB="random B" )"
      R"(publicData="public"} baseKey=0xB03 template=null:0 -> CKR_OK handle=0xB06)");
}

}  // namespace
