/// What holds for every function: the right entry is called, with the right arguments, and what it answers arrives.
#include "calls.h"

#include <regex>
#include <set>
#include <stdexcept>

using namespace functions;

namespace {

// --- The table -------------------------------------------------------------------------------------------------------

std::set<std::string> namesOf(const std::vector<Line>& table) {
  std::set<std::string> names;
  for (const Line& line : table) {
    EXPECT_TRUE(names.insert(line.function).second) << line.function << " is there twice";
  }
  return names;
}

TEST(FunctionsTableTest, HasEveryFunctionOfTheStandardsList) {
  const std::set<std::string> expected = {
#define X(name) #name,
#include "../module/functions.inc"
#include "../module/functions_3_0.inc"
#undef X
  };
  EXPECT_EQ(namesOf(lines()), expected);
}

TEST(FunctionsTableTest, IsCoveredByTheseTests) {
  std::set<std::string> covered;
  for (const Call& call : calls()) {
    covered.insert(call.function);
  }
  EXPECT_EQ(namesOf(lines()), covered);
}

// The rest of the natives do not call a function of the standard.
TEST(FunctionsTableTest, HasAShapeForEveryNative) {
  std::set<std::string> expected = {"version", "description", "load", "path", "isSecondAuthenticationRequired", "has"};
  for (const Call& call : calls()) {
    expected.insert(call.native);
  }
  const std::set<std::string> exported = {
#define X(name) #name,
#include "functions_natives.inc"
#undef X
  };
  EXPECT_EQ(exported, expected);
}

// --- Every call ------------------------------------------------------------------------------------------------------

class FunctionsCallTest : public FunctionsTest, public ::testing::WithParamInterface<Call> {
protected:
  Arguments arguments() { return {env, puppetModule(), GetParam().index()}; }
};

INSTANTIATE_TEST_SUITE_P(Every, FunctionsCallTest, ::testing::ValuesIn(calls()), callName);

TEST_P(FunctionsCallTest, GivesTheModuleWhatJavaGave) {
  Arguments given = arguments();
  EXPECT_EQ(GetParam().make(given), GetParam().result);
  EXPECT_EQ(takeOnlyCall(), GetParam().function + GetParam().told);
  EXPECT_EQ(given.contents(), given.before(GetParam().changed));
}

struct Failure {
  CK_RV Rv;
  std::uint32_t answer;
};

// Whatever the module wrote before it refused stays on this side.
TEST_P(FunctionsCallTest, AnswersWhatTheModuleAnswersAndChangesNothing) {
  for (const Failure& refused :
       {Failure{CKR_DEVICE_ERROR, CKR_DEVICE_ERROR}, Failure{1, 1}, Failure{0x80000001, 0x80000001},
        Failure{0xFFFFFFFF, 0xFFFFFFFF}, Failure{~CK_RV(0), 0xFFFFFFFF}, Failure{0x700000054, 0x54},
        Failure{0x100000000, CKR_GENERAL_ERROR}, Failure{0x8000000000000000, CKR_GENERAL_ERROR}}) {
    SCOPED_TRACE(puppet::hex(refused.Rv));
    puppet::answer.Rv = refused.Rv;
    Arguments given = arguments();
    const jlong result = GetParam().make(given);
    if (GetParam().lengths) {
      EXPECT_EQ(result, failure(refused.answer));
    } else {
      EXPECT_EQ(static_cast<std::uint32_t>(result), refused.answer);
    }
    EXPECT_EQ(takeOnlyCall(), GetParam().function + GetParam().told);
    // A direct buffer is used where it lies: there the module has written already.
    if (GetParam().native.find("Direct") == std::string::npos) {
      EXPECT_EQ(given.contents(), given.before());
    }
  }
}

TEST_P(FunctionsCallTest, CallsNoModuleThatWasNeverLoaded) {
  const jlong real = puppetModule();
  for (const jlong module : {jlong(0), jlong(-1), real + 1000, real | (jlong(1) << 32), jlong(0x7FFFFFFFFFFFFFFF),
                             -real, static_cast<jlong>(0x8000000000000000), reinterpret_cast<jlong>(&real)}) {
    SCOPED_TRACE(module);
    Arguments given(env, module, GetParam().index());
    EXPECT_EQ(GetParam().answer(GetParam().make(given)), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(takeTold().size(), 0U);
    EXPECT_EQ(given.contents(), given.before());
  }
}

TEST_P(FunctionsCallTest, AnswersAnEmptyEntryWithoutCallingIt) {
  static puppet::FunctionList empty = {};
  empty.version = {2, 40};
  puppet::Module module(copy(modules::kPuppet));
  module.list(empty);
  Arguments given(env, load(module.path()), GetParam().index());
  EXPECT_EQ(GetParam().answer(GetParam().make(given)), CKR_FUNCTION_NOT_SUPPORTED);
  EXPECT_EQ(takeTold().size(), 0U);
  EXPECT_EQ(given.contents(), given.before());
}

TEST_P(FunctionsCallTest, KnowsNoFunctionOutsideOfTheShape) {
  Arguments probing = arguments();
  if (probing.index == 0 && sizeOf(shapeOf(GetParam().function)) == 1 && GetParam().native != "init" &&
      GetParam().native.rfind("fill", 0) != 0) {
    return;  // such a native takes no index
  }
  for (const jint index : {-1, sizeOf(shapeOf(GetParam().function)), 100, 0x7FFFFFFF, jint(-0x7FFFFFFF - 1), 65536}) {
    SCOPED_TRACE(index);
    Arguments given(env, puppetModule(), index);
    EXPECT_EQ(GetParam().answer(GetParam().make(given)), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(takeTold().size(), 0U);
    EXPECT_EQ(given.contents(), given.before());
  }
}

struct StandardException : std::exception {
  const char* what() const noexcept override { return "the module's"; }
};

TEST_P(FunctionsCallTest, LetsNoExceptionOfTheModuleOut) {
  const std::function<void()> throwers[] = {
      [] { throw StandardException(); },
      [] { throw std::runtime_error("the module's"); },
      [] { throw 5; },
      [] { throw static_cast<const char*>("a text"); },
      [] { throw CK_RV(CKR_DEVICE_ERROR); },
      [] { throw std::bad_alloc(); },
  };
  for (std::size_t i = 0; i < std::size(throwers); ++i) {
    SCOPED_TRACE(i);
    puppet::answer.then = throwers[i];
    Arguments given = arguments();
    const jlong result = GetParam().make(given);
    EXPECT_EQ(GetParam().answer(result), CKR_GENERAL_ERROR);
    if (GetParam().lengths) {
      EXPECT_EQ(result, failure(CKR_GENERAL_ERROR));
    }
    EXPECT_EQ(takeTold().size(), 1U);
    if (GetParam().native.find("Direct") == std::string::npos) {
      EXPECT_EQ(given.contents(), given.before());
    }
  }
  // The library goes on.
  puppet::reset();
  Arguments given = arguments();
  EXPECT_EQ(GetParam().make(given), GetParam().result);
  EXPECT_EQ(given.contents(), given.before(GetParam().changed));
}

// --- What it costs in the JVM ----------------------------------------------------------------------------------------

// Nothing is looked up, made, thrown or pinned.
TEST_P(FunctionsCallTest, AsksTheJvmForEachArgumentOnce) {
  Arguments given = arguments();
  env.clear();
  GetParam().make(given);
  std::multiset<std::string> expected;
  for (const std::string& name : given.names()) {
    const bool isLongs = GetParam().changed.rfind(name + " [", 0) == 0;
    if (given.isDirect(name)) {
      expected.insert({"GetDirectBufferAddress " + name, "GetDirectBufferCapacity " + name});
    } else if (GetParam().changed.rfind(name + " ", 0) == 0) {
      expected.insert({"GetArrayLength " + name, (isLongs ? "SetLongArrayRegion " : "SetByteArrayRegion ") + name});
    } else {
      expected.insert({"GetArrayLength " + name, "GetByteArrayRegion " + name});
    }
  }
  std::multiset<std::string> asked;
  for (const std::string& line : env.journal()) {
    asked.insert(line.substr(0, line.find(' ', line.find(' ') + 1)));
  }
  EXPECT_EQ(asked, expected);
  EXPECT_EQ(env.loans.made(), 0U);
  EXPECT_EQ(env.localReferencesCreated(), 0);
  EXPECT_TRUE(env.thrown().empty());
}

/// The line as it is when every range is so many times as long.
std::string lengthened(const std::string& told, std::size_t times) {
  static const std::regex kRanges(R"re((\d+):("secret [A-Za-z]+")|in=("secret [A-Za-z]+")|(room|list)=(\d+))re");
  const auto number = [times](const std::string& digits) { return std::to_string(std::stoul(digits) * times); };
  const auto range = [times](const std::string& quoted) {
    std::string bytes;
    for (std::size_t i = 0; i < times; ++i) {
      bytes += quoted.substr(1, quoted.size() - 2);
    }
    return puppet::shown(bytes);
  };
  std::string result;
  auto at = told.begin();
  for (std::sregex_iterator found(told.begin(), told.end(), kRanges), end; found != end; ++found) {
    const std::smatch& match = *found;
    result.append(at, match[0].first);
    result += match[1].matched   ? number(match[1]) + ":" + range(match[2])
              : match[3].matched ? "in=" + range(match[3])
                                 : match[4].str() + "=" + number(match[5]);
    at = match[0].second;
  }
  return result.append(at, told.end());
}

// The last are too large for the stack.
TEST_P(FunctionsCallTest, TakesRangesOfAnySize) {
  for (const std::size_t times : {2U, 26U, 27U, 64U, 85U, 86U, 5000U}) {
    SCOPED_TRACE(times);
    Arguments given(env, puppetModule(), GetParam().index(), times);
    EXPECT_EQ(GetParam().make(given), GetParam().result);
    EXPECT_EQ(takeOnlyCall(), GetParam().function + lengthened(GetParam().told, times));
  }
}

}  // namespace
