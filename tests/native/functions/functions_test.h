/// The ground of the tests of `velnor.nat.NativeFunctions`: a module whose strings the test holds, and the meaning of
/// results.
#pragma once

#include "../module_copies.h"
#include "modules.h"
#include "puppet.h"
#include "recording_env.h"
#include "structure_bytes.h"
#include "velnor_nat_NativeFunctions.h"

#include <gtest/gtest.h>

#define NATIVE(name) Java_velnor_nat_NativeFunctions_##name

namespace functions {

/// The module's answer in a failure; `velnor.nat.NativeFunctions` reads it likewise.
inline std::uint32_t answerOf(jlong failure) {
  return static_cast<std::uint32_t>(~failure);
}
/// The length that was told with it.
inline std::uint32_t neededOf(jlong failure) {
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(~failure) >> 32);
}
/// A failure as such a method answers it.
inline jlong failure(std::uint32_t answer, std::uint32_t needed = 0) {
  return ~static_cast<jlong>((std::uint64_t(needed) << 32) | answer);
}

struct Line {
  std::string shape;
  std::string function;
};

/// The lines of functions.txt.
const std::vector<Line>& lines();
/// Which function of its shape this is.
jint indexOf(const std::string& function);
std::string shapeOf(const std::string& function);
/// How many functions a shape has.
jint sizeOf(const std::string& shape);

}  // namespace functions

class FunctionsTest : public ::testing::Test {
public:
  FunctionsTest();
  ~FunctionsTest() override { puppet::reset(); }
  FunctionsTest(const FunctionsTest&) = delete;
  FunctionsTest& operator=(const FunctionsTest&) = delete;

  /// Loads a module; fails the test when it cannot be.
  jlong load(const std::string& path);
  /// A copy of the file in a place of its own, for a module that no other test has loaded.
  std::string copy(const char* file, const std::string& name = "module");

  /// The module that the tests hold the strings of, with every function; the same one for all tests of a process.
  jlong puppetModule();

  /// What was told since the last look.
  static std::vector<std::string> takeTold() {
    std::vector<std::string> result;
    result.swap(puppet::told);
    return result;
  }
  static std::string takeOnlyCall() {
    const std::vector<std::string> calls = takeTold();
    return calls.size() == 1 ? calls.front() : std::to_string(calls.size()) + " calls";
  }

  jvm::RecordingEnv env;
  JNIEnv* const jni = env.jni();

private:
  const ModuleDirectory directory_;
  int copies_ = 0;
};
