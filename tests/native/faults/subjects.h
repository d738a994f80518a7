/// What is put to the test: every native method with arguments that lead to a good run, some of them in more than one
/// way, and one mechanism of every parameter kind.
#pragma once

#include "methods.h"

#include <ostream>

namespace faults {

class World;

/// Where a method needs more than arguments of the right types to go well.
struct Tweak {
  std::string javaName;                 ///< of the methods it is for, overloads included
  void (*before)(World&) = nullptr;     ///< brings the token into the state that the method needs
  std::vector<std::string> bytes = {};  ///< of the arrays that the method reads, in their order
  std::vector<std::string> strings = {};
  std::vector<jint> ints = {};  ///< of the parameters that are neither an offset nor a length
  std::vector<std::string> answers = {};
  bool fillsLastArray = false;  ///< the last byte[] is for output, although the method answers no length
};

struct Subject {
  const Method* method;
  std::string variant;  ///< empty for the plain one
  Tweak tweak;
  jint mechanism;

  std::string label() const { return method->label() + (variant.empty() ? "" : "_" + variant); }
};

inline std::ostream& operator<<(std::ostream& out, const Subject& subject) {
  return out << subject.label();
}

const std::vector<Subject>& allSubjects();
/// The methods that tweaks are for.
std::vector<std::string> tweakedMethods();

/// The classes of mechanism parameters that the library may look up.
std::vector<std::string> parameterClasses();

}  // namespace faults
