/// The path of a native method through the JVM and the module: a table of steps states the whole of it, and from that
/// table come the tests of the good path and of every step that the JVM can refuse, each with its text. What all
/// methods have in common is tested in tests/native/rules.
///
///   INSTANTIATE_METHOD_PATHS(Login, loginPaths());
#pragma once

#include "native_test.h"

#include <functional>
#include <ostream>
#include <string>
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
};

/// The path of a method that takes the session alone and hands its handle to one entry of the module.
inline MethodPath sessionPath(const std::string& name, void(JNICALL* method)(JNIEnv*, jobject),
                              const std::string& moduleCall, std::function<void(PathTest&)> before = nullptr) {
  return {name,
          name,
          [method](PathTest& t) -> jobject {
            method(t.jni, t.session);
            return nullptr;
          },
          "null",
          sessionThen({{moduleCall, "", ""}}),
          std::move(before)};
}

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

// --- Paths that end early ----------------------------------------------------------------------------------------

/// A path and the step that the JVM refuses.
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

inline std::vector<Detour> refusals(const std::vector<MethodPath>& paths) {
  std::vector<Detour> result;
  for (const MethodPath& path : paths) {
    for (std::size_t i = 0; i < path.steps.size(); ++i) {
      if (!path.steps[i].refused.empty()) {
        result.push_back({stepName(path, i), path, i});
      }
    }
  }
  return result;
}

class RefusedStepTest : public PathTest, public ::testing::WithParamInterface<Detour> {
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

template <typename Param>
std::string pathName(const ::testing::TestParamInfo<Param>& tested) {
  return tested.param.name;
}

#define INSTANTIATE_METHOD_PATHS(source, paths)                                                                        \
  INSTANTIATE_TEST_SUITE_P(source, MethodPathTest, ::testing::ValuesIn(paths), pathName<MethodPath>);                  \
  INSTANTIATE_TEST_SUITE_P(source, RefusedStepTest, ::testing::ValuesIn(refusals(paths)), pathName<Detour>)
