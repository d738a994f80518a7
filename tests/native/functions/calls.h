/// Every function that the natives reach, with arguments that cannot be taken for one another, and what the
/// module must be given.
#pragma once

#include "functions_test.h"

#include <set>

namespace functions {

// All 64 bits count.
constexpr jlong kSession = static_cast<jlong>(0xFEDCBA9876543210);
constexpr jlong kObject = static_cast<jlong>(0xEDCBA98765432101);
constexpr jlong kOther = static_cast<jlong>(0xDCBA987654321012);
constexpr jlong kMechanism = static_cast<jlong>(0xCBA9876543210123);
constexpr jlong kSlot = static_cast<jlong>(0xBA98765432101234);
constexpr jlong kFlags = static_cast<jlong>(0xA987654321012345);

/// What a call is made with, and what it made of it.
class Arguments {
public:
  /// `times` makes every range so many times as long.
  Arguments(jvm::RecordingEnv& environment, jlong moduleId, jint functionIndex, std::size_t times = 1)
      : env(environment), jni(environment.jni()), module(moduleId), index(functionIndex), times_(times) {}

  /// The text with one range of it repeated.
  std::string sized(const std::string& text, jint off, jint len) const {
    const auto begin = static_cast<std::size_t>(off);
    const auto count = static_cast<std::size_t>(len);
    return text.substr(0, begin) + sized(text.substr(begin, count)) + text.substr(begin + count);
  }
  std::string sized(const std::string& text) const {
    std::string repeated;
    for (std::size_t i = 0; i < times_; ++i) {
      repeated += text;
    }
    return repeated;
  }
  jint length(jint len) const { return len * static_cast<jint>(times_); }
  jvm::Longs sevens(std::size_t count) const { return jvm::Longs(count * times_, 7); }

  jbyteArray bytes(const std::string& name, const std::string& contents) {
    return kept(name, env.bytes(name, contents));
  }
  jlongArray longs(const std::string& name, const jvm::Longs& contents) {
    return kept(name, env.longs(name, contents));
  }
  jobject directBuffer(const std::string& name, const std::string& contents) {
    direct_.insert(name);
    return kept(name, env.directBuffer(name, contents));
  }
  bool isDirect(const std::string& name) const { return direct_.count(name) != 0; }
  /// What the arrays and buffers hold, one a line: `in "xx secret"`.
  std::string contents() const {
    std::string text;
    for (const Kept& one : objects_) {
      text += one.name + " " + env.show(one.object) + "\n";
    }
    return text;
  }
  /// What they held, but for the one that `changed` shows.
  std::string before(const std::string& changed = "") const {
    std::string text;
    for (const Kept& one : objects_) {
      text += (changed.rfind(one.name + " ", 0) == 0 ? changed : one.before) + "\n";
    }
    return text;
  }
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const Kept& one : objects_) {
      result.push_back(one.name);
    }
    return result;
  }

  jvm::RecordingEnv& env;
  JNIEnv* const jni;
  const jlong module;
  const jint index;  ///< of the function

private:
  struct Kept {
    std::string name;
    jobject object;
    std::string before;
  };

  template <typename Object>
  Object kept(const std::string& name, Object object) {
    objects_.push_back({name, object, name + " " + env.show(object)});
    return object;
  }

  const std::size_t times_;
  std::vector<Kept> objects_;
  std::set<std::string> direct_;
};

struct Call {
  std::string name;    ///< the function, and `_Direct` for the form that takes buffers
  std::string native;  ///< the Java method
  std::string function;
  bool lengths;      ///< answers a length, a count or an id, or else the module's answer alone
  std::string told;  ///< the module's line behind the function's name
  jlong result;      ///< when all goes well
  std::string
      changed;  ///< what an array or a buffer holds then, as `Arguments::contents` shows it; else all are as before
  std::function<jlong(Arguments&)> make;

  jint index() const { return indexOf(function); }
  /// The module's answer, whichever way it is told.
  std::uint32_t answer(jlong answered) const {
    return !lengths ? static_cast<std::uint32_t>(answered) : answered < 0 ? answerOf(answered) : 0;
  }
};

const std::vector<Call>& calls();
const Call& callOf(const std::string& name);

inline void PrintTo(const Call& call, std::ostream* out) {
  *out << call.name;
}

inline std::string callName(const ::testing::TestParamInfo<Call>& tested) {
  return tested.param.name;
}

}  // namespace functions
