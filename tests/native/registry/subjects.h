/// What is put to the test: every native method with arguments that lead to a good run, some of them in more than one
/// way, and one mechanism of every parameter kind.
#pragma once

#include "methods.h"

namespace registry {

struct Subject {
  const Method* method;
  std::string variant;  ///< empty for the plain one
  Preparation preparation;
  jint mechanism;
  bool flag = true;  ///< of the methods that take one

  std::string label() const { return method->label() + (variant.empty() ? "" : "_" + variant); }
};

inline std::ostream& operator<<(std::ostream& out, const Subject& subject) {
  return out << subject.label();
}

/// The good run of each method as its row describes it, without variants.
const std::vector<Subject>& plainSubjects();
const std::vector<Subject>& allSubjects();

/// The classes of mechanism parameters that the library may look up.
std::vector<std::string> parameterClasses();

}  // namespace registry
