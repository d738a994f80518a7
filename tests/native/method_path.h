/// The path of a native method through the JVM and the module: a table of steps states the whole of it, and from that
/// table come the tests of the good path, of every step that the JVM can refuse, of every module call that can fail, of
/// a module that is not there, and of the widths in which slots and sessions reach the module.
///
///   INSTANTIATE_METHOD_PATHS(Login, loginPaths());
#pragma once

#include "native_test.h"

#include <functional>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

class PathTest;

/// The report of a value that no Java int holds.
inline const std::string kTooWide = "CryptokiException(\"Check64BitLen\", 5, \"Value out of size for 32 bit (jint)\")";

struct Step {
  std::string line;       ///< as the journal shows it
  std::string refused;    ///< the text that is raised when the JVM refuses this step; empty when it cannot
  std::string givenBack;  ///< the line that is due behind the report, or at the end, once this step went well
};

struct MethodPath {
  std::string name;    ///< of the tests
  std::string report;  ///< the name that failures carry
  std::function<jobject(PathTest&)> call;
  std::string result;  ///< as `RecordingEnv::show` has it; "null" for a method that returns nothing
  std::vector<Step> steps;
  std::function<void(PathTest&)> before = nullptr;
  std::string emptyHanded = "";  ///< the line at the end of a path on which no step had anything to give back
};

/// The look-up of a session's handle, and what comes behind it.
inline std::vector<Step> sessionThen(const std::vector<Step>& rest) {
  std::vector<Step> steps = {
      {"FindClass velnor/nat/NativeSession", "Class 'velnor/nat/NativeSession' not found", ""},
      {"GetFieldID velnor/nat/NativeSession m_sessionHandle J", "Field m_sessionHandle' not found", ""},
      {"GetIntField session m_sessionHandle", "", ""},
  };
  steps.insert(steps.end(), rest.begin(), rest.end());
  return steps;
}

class PathTest : public NativeTest {
public:
  using NativeTest::cryptoki;
  using NativeTest::env;
  using NativeTest::given;
  using NativeTest::jni;
  using NativeTest::module;
  using NativeTest::session;
  using NativeTest::slot;

protected:
  static bool isModuleCall(const Step& step) { return step.line.rfind("C_", 0) == 0; }

  void begin(const MethodPath& path) {
    if (path.before) {
      given([&] { path.before(*this); });
    }
  }

  /// The trace of a path that goes well up to, and without, the step `end`; then come `ending` and what is given back.
  static std::string pathTo(const MethodPath& path, std::size_t end, const std::vector<std::string>& ending) {
    std::vector<std::string> lines;
    std::vector<std::string> tail;
    for (std::size_t i = 0; i < end; ++i) {
      lines.push_back(path.steps[i].line);
      if (!path.steps[i].givenBack.empty()) {
        tail.push_back(path.steps[i].givenBack);
      }
    }
    if (tail.empty() && !path.emptyHanded.empty()) {
      tail.push_back(path.emptyHanded);
    }
    lines = jvm::folded(lines);
    lines.insert(lines.end(), ending.begin(), ending.end());
    lines.insert(lines.end(), tail.begin(), tail.end());
    return jvm::joined(lines);
  }

  static std::size_t firstModuleCall(const MethodPath& path) {
    std::size_t i = 0;
    while (i < path.steps.size() && !isModuleCall(path.steps[i])) {
      ++i;
    }
    return i;
  }
};

// --- Every path --------------------------------------------------------------------------------------------------

class MethodPathTest : public PathTest, public ::testing::WithParamInterface<MethodPath> {};

inline void PrintTo(const MethodPath& path, std::ostream* out) {
  *out << path.name;
}

TEST_P(MethodPathTest, GoesWell) {
  const MethodPath& path = GetParam();
  begin(path);
  EXPECT_EQ(env.show(path.call(*this)), path.result);
  EXPECT_EQ(pathTo(path, path.steps.size(), {}), takeTrace());
  EXPECT_EQ(env.pending(), "");
}

TEST_P(MethodPathTest, LooksAtNothingBeforeTheLibraryIsInitialised) {
  const MethodPath& path = GetParam();
  given([&] { Java_velnor_nat_NativeCryptoki_Finalize(jni, cryptoki, nullptr); });
  EXPECT_EQ(path.call(*this), nullptr);
  EXPECT_EQ(pathTo(path, 0, {"report \"" + path.report + "\" 0x190"}), takeTrace());
}

TEST_P(MethodPathTest, CountsAModuleWithoutAFunctionListAsNotInitialised) {
  const MethodPath& path = GetParam();
  begin(path);
  functionList = nullptr;
  EXPECT_EQ(path.call(*this), nullptr);
  EXPECT_EQ(pathTo(path, firstModuleCall(path), {"report \"" + path.report + "\" 0x190"}), takeTrace());
}

TEST_P(MethodPathTest, AnswersAnEmptyEntryOfTheModuleWithoutCallingIt) {
  const MethodPath& path = GetParam();
  begin(path);
  static CK_FUNCTION_LIST empty = {};
  functionList = &empty;
  EXPECT_EQ(path.call(*this), nullptr);
  EXPECT_EQ(pathTo(path, firstModuleCall(path), {"report \"" + path.report + "\" 0x54"}), takeTrace());
}

// --- Paths that end early ----------------------------------------------------------------------------------------

/// A path and the step that does not go well.
struct Detour {
  std::string name;
  MethodPath path;
  std::size_t step;
};

inline void PrintTo(const Detour& detour, std::ostream* out) {
  *out << detour.name;
}

/// A name of letters and digits for the step: its number, and how its line begins.
inline std::string stepName(const MethodPath& path, std::size_t step) {
  std::string name = path.name + "_" + std::to_string(step + 1) + "_";
  for (const char c : path.steps[step].line.substr(0, 40)) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
      name += c;
    }
  }
  return name;
}

template <typename Wanted>
std::vector<Detour> detours(const std::vector<MethodPath>& paths, Wanted&& wanted) {
  std::vector<Detour> result;
  for (const MethodPath& path : paths) {
    for (std::size_t i = 0; i < path.steps.size(); ++i) {
      if (wanted(path.steps[i])) {
        result.push_back({stepName(path, i), path, i});
      }
    }
  }
  return result;
}

inline std::vector<Detour> refusals(const std::vector<MethodPath>& paths) {
  return detours(paths, [](const Step& step) { return !step.refused.empty(); });
}

inline std::vector<Detour> moduleCalls(const std::vector<MethodPath>& paths) {
  return detours(paths, [](const Step& step) { return step.line.rfind("C_", 0) == 0; });
}

inline std::vector<Detour> handleReads(const std::vector<MethodPath>& paths) {
  return detours(paths, [](const Step& step) { return step.line.rfind("GetIntField ", 0) == 0; });
}

class DetourTest : public PathTest, public ::testing::WithParamInterface<Detour> {};

class RefusedStepTest : public DetourTest {
protected:
  void isReported(jvm::Leaving leaving) {
    const auto& [name, path, refused] = GetParam();
    const std::vector<Step>& steps = path.steps;
    begin(path);
    int call = 0;
    for (std::size_t i = 0; i <= refused; ++i) {
      call += isModuleCall(steps[i]) ? 0 : 1;
    }
    env.failCall(call, leaving);
    EXPECT_EQ(path.call(*this), nullptr);
    EXPECT_EQ(pathTo(path, refused,
                     {steps[refused].line + " -> null",
                      "report \"" + path.report + "\" 5 \"" + steps[refused].refused + "\""}),
              takeTrace());
  }
};

TEST_P(RefusedStepTest, RaisesItsTextAtOnce) {
  isReported(jvm::Leaving::Nothing);
}

TEST_P(RefusedStepTest, RaisesItsTextOverThePendingException) {
  isReported(jvm::Leaving::Exception);
  EXPECT_EQ(env.thrown().size(), 2U) << "the JVM's exception, then the report that takes its place";
  EXPECT_EQ(env.pendingClass(), "velnor/CryptokiException");
}

/// A return value of the module, as the module's journal shows it and as the report does.
struct Answer {
  const char* name;
  CK_RV Rv;
  const char* shown;
  const char* reported;
};

inline void PrintTo(const Answer& answer, std::ostream* out) {
  *out << answer.name;
}

// The last one is a failure although its low 32 bits, all that Java sees of it, are CKR_OK.
inline constexpr Answer kFailures[] = {
    {"Standard", CKR_DEVICE_ERROR, "CKR_DEVICE_ERROR", "0x30"},
    {"WithoutDescription", CKR_KEY_TYPE_INCONSISTENT, "CKR_KEY_TYPE_INCONSISTENT", "0x63"},
    {"OfVendor", 0x80000001, "0x80000001", "0x80000001"},
    {"AllOnes", ~CK_RV(0), "0xFFFFFFFFFFFFFFFF", "0xFFFFFFFF"},
    {"HighHalfOnly", 0x100000000, "0x100000000", "0 \"VENDOR DEFINED                    \""},
};

class FailedModuleCallTest : public PathTest, public ::testing::WithParamInterface<std::tuple<Detour, Answer>> {};

TEST_P(FailedModuleCallTest, CarriesTheCodeUnderTheMethodsName) {
  const auto& [detour, answer] = GetParam();
  const auto& [name, path, failing] = detour;
  const std::string& line = path.steps[failing].line;
  begin(path);
  unsigned long call = 0;
  for (std::size_t i = 0; i <= failing; ++i) {
    call += isModuleCall(path.steps[i]) ? 1 : 0;
  }
  module.failCall(call, answer.Rv);
  EXPECT_EQ(path.call(*this), nullptr);
  const std::string answered = line.substr(0, line.find(" -> ")) + " -> " + answer.shown;
  std::string trace = takeTrace();
  // What the module tells beside its failure is its own affair.
  if (const std::size_t at = trace.find(answered); at != std::string::npos) {
    const std::size_t rest = at + answered.size();
    trace.erase(rest, trace.find('\n', rest) - rest);
  }
  EXPECT_EQ(pathTo(path, failing, {answered, "report \"" + path.report + "\" " + answer.reported}), trace);
}

/// A Java value of a slot's or session's field, and the 64 bits that the module must see.
struct Width {
  jlong java;
  const char* seen;
};

class HandleWidthTest : public DetourTest {
protected:
  /// The first call of the module must name the slot or session as `seen`.
  void reachTheModule(const std::vector<Width>& widths) {
    const auto& [name, path, read] = GetParam();
    const bool isSession = path.steps[read].line == "GetIntField session m_sessionHandle";
    begin(path);
    for (const Width& width : widths) {
      SCOPED_TRACE(width.seen);
      env.set(isSession ? session : slot, isSession ? "m_sessionHandle" : "m_slotID",
              isSession ? width.java : static_cast<jint>(width.java));
      module.failCall(1, CKR_DEVICE_ERROR);
      path.call(*this);
      const std::string asked = path.steps[firstModuleCall(path)].line;
      const std::string expected = asked.substr(0, asked.find(' ')) + (isSession ? " session=" : " slot=") + width.seen;
      const std::string trace = takeModuleTrace();
      EXPECT_EQ(trace.substr(0, expected.size()), expected);
      EXPECT_TRUE(trace[expected.size()] == ' ') << trace;
    }
  }
};

// Handles pass through a Java int, and modules see its sign in all 64 bits: those that hand out such handles get back
// what they gave, and callers of -1 ask for "all ones".
TEST_P(HandleWidthTest, IsSignExtended) {
  reachTheModule(
      {{0, "0x0"}, {0x7FFFFFFF, "0x7FFFFFFF"}, {-1, "0xFFFFFFFFFFFFFFFF"}, {-0x80000000LL, "0xFFFFFFFF80000000"}});
}

class SessionWidthTest : public HandleWidthTest {};

// The field is a Java long, of which only the low 32 bits are read.
TEST_P(SessionWidthTest, LosesItsHighHalf) {
  reachTheModule({{0x80000000LL, "0xFFFFFFFF80000000"},
                  {0x100000001LL, "0x1"},
                  {0x5500000000LL, "0x0"},
                  {-0x100000000LL + 7, "0x7"}});
}

inline std::vector<Detour> sessionReads(const std::vector<MethodPath>& paths) {
  return detours(paths, [](const Step& step) { return step.line == "GetIntField session m_sessionHandle"; });
}

// A chapter may have no method that reads a field.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(SessionWidthTest);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(HandleWidthTest);

template <typename Param>
std::string pathName(const ::testing::TestParamInfo<Param>& tested) {
  return tested.param.name;
}

inline std::string failureName(const ::testing::TestParamInfo<std::tuple<Detour, Answer>>& tested) {
  return std::get<Detour>(tested.param).name + "_" + std::get<Answer>(tested.param).name;
}

#define INSTANTIATE_METHOD_PATHS(chapter, paths)                                                                       \
  INSTANTIATE_TEST_SUITE_P(chapter, MethodPathTest, ::testing::ValuesIn(paths), pathName<MethodPath>);                 \
  INSTANTIATE_TEST_SUITE_P(chapter, RefusedStepTest, ::testing::ValuesIn(refusals(paths)), pathName<Detour>);          \
  INSTANTIATE_TEST_SUITE_P(                                                                                            \
      chapter, FailedModuleCallTest,                                                                                   \
      ::testing::Combine(::testing::ValuesIn(moduleCalls(paths)), ::testing::ValuesIn(kFailures)), failureName);       \
  INSTANTIATE_TEST_SUITE_P(chapter, HandleWidthTest, ::testing::ValuesIn(handleReads(paths)), pathName<Detour>);       \
  INSTANTIATE_TEST_SUITE_P(chapter, SessionWidthTest, ::testing::ValuesIn(sessionReads(paths)), pathName<Detour>)
