/// What the module does not offer is never called. A function without an entry is as if the module answered
/// CKR_FUNCTION_NOT_SUPPORTED, and a module without a function list as if it answered CKR_CRYPTOKI_NOT_INITIALIZED, to
/// whatever it is asked: the same calls, reports, loans and results, but for the module's own line.
#include "world.h"

using namespace registry;

namespace {

/// What came of a call.
struct Seen {
  std::vector<std::string> lines;
  std::vector<std::string> thrown;
  std::vector<std::string> out;
  std::string result;
};

bool operator==(const Seen& one, const Seen& other) {
  return one.lines == other.lines && one.thrown == other.thrown && one.out == other.out && one.result == other.result;
}

std::ostream& operator<<(std::ostream& out, const Seen& seen) {
  return out << jvm::joined(seen.lines) << "still lent:\n" << jvm::joined(seen.out) << "answers " << seen.result;
}

Seen run(World& world) {
  const std::size_t before = world.env.thrown().size();
  world.run();
  const Kind kind = world.subject.method->signature.result;
  const bool isNumber = kind == Kind::Void || kind == Kind::Boolean || kind == Kind::Int || kind == Kind::Long;
  const std::vector<std::string>& thrown = world.env.thrown();
  return {jvm::folded(world.env.journal()),
          {thrown.begin() + static_cast<std::ptrdiff_t>(before), thrown.end()},
          world.env.loans.out(),
          isNumber ? std::to_string(world.result.j) : world.env.show(world.result.l)};
}

/// Answers whether the list has such an entry; vendor's functions stand outside of it.
bool forget(CK_FUNCTION_LIST& list, const std::string& function) {
#define X(name)                                                                                                        \
  if (function == #name) {                                                                                             \
    list.name = nullptr;                                                                                               \
    return true;                                                                                                       \
  }
#include "../module/functions.inc"
#undef X
  return false;
}

bool isEntry(const std::string& function) {
  CK_FUNCTION_LIST list = {};
  return forget(list, function);
}

class MissingEntryTest : public ::testing::TestWithParam<Subject> {
protected:
  /// With what `spoil` takes from the library's view of the module.
  template <typename Spoil>
  static Seen missing(Spoil&& spoil) {
    World world(GetParam());
    spoil();
    return run(world);
  }
  /// The module answering `Rv` to these functions; what it is asked does not count.
  static Seen answering(const std::vector<std::string>& functions, const std::string& Rv) {
    Subject subject = GetParam();
    subject.preparation.answers.clear();
    World world(subject);
    for (const std::string& function : functions) {
      if (!isEntry(function)) {
        continue;
      }
      world.token.answer(function + " " + Rv + " always");
    }
    Seen seen = run(world);
    const auto isAnswered = [&Rv](const std::string& line) {
      return line.rfind("C_", 0) == 0 && line.find(" -> " + Rv) != std::string::npos;
    };
    EXPECT_NE(std::erase_if(seen.lines, isAnswered), 0U);
    return seen;
  }
};

TEST_P(MissingEntryTest, IsNeverCalled) {
  for (const std::string& function : GetParam().method->functions) {
    if (!isEntry(function) || (!GetParam().flag && hasWorker(function))) {
      continue;
    }
    SCOPED_TRACE(function);
    EXPECT_EQ(missing([&function] {
                static CK_FUNCTION_LIST list;
                list = *functionList;
                forget(list, function);
                functionList = &list;
              }),
              answering({function}, "CKR_FUNCTION_NOT_SUPPORTED"));
  }
}

TEST_P(MissingEntryTest, IsEveryEntryOfAModuleWithoutAFunctionList) {
  EXPECT_EQ(missing([] { functionList = nullptr; }),
            answering(GetParam().method->functions, "CKR_CRYPTOKI_NOT_INITIALIZED"));
}

/// What becomes of loading and initialising such a module is told in module_test and lifecycle_test.
std::vector<Subject> subjectsThatCall() {
  std::vector<Subject> chosen;
  for (const Subject& subject : allSubjects()) {
    const bool plain = subject.variant.empty() || subject.variant == "continued";
    if (plain && subject.method->needsInitialisation) {
      chosen.push_back(subject);
    }
  }
  return chosen;
}

INSTANTIATE_TEST_SUITE_P(Every, MissingEntryTest, ::testing::ValuesIn(subjectsThatCall()),
                         [](const auto& tested) { return tested.param.label(); });

}  // namespace
