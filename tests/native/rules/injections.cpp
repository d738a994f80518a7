#include "injections.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>

namespace faults {
namespace {

// Some are failures although the low half, all that Java sees of them, is another code or even CKR_OK.
constexpr CK_RV kBeyondTheTable[] = {0x63, 0x80000000, 0x80000001, 0x100000030, 0x100000000, ~CK_RV(0)};

/// The rows of the description table, but for CKR_OK and the end mark.
std::vector<CK_RV> allCodes() {
  std::vector<CK_RV> codes(std::begin(kBeyondTheTable), std::end(kBeyondTheTable));
  for (const ErrorDesc& row : errorDescriptions) {
    if (row.Value != CKR_OK) {
      codes.push_back(row.Value);
    }
  }
  return codes;
}

/// For the calls that are the same as one before.
constexpr CK_RV kSomeCodes[] = {CKR_DEVICE_ERROR, CKR_BUFFER_TOO_SMALL, CKR_ATTRIBUTE_TYPE_INVALID, 0x80000001};

/// What a module may say of its output. A size that Java cannot hold is left out where the library would have to
/// allocate it: machines with memory enough would spend minutes on wiping it.
struct Lie {
  const char* key;  ///< of the output, as the module's journal names it
  const char* answer;
  bool alsoToQueries = true;
  const char* next = nullptr;
};

constexpr Lie kLies[] = {
    {"length", "CKR_OK length=0"},
    {"length", "CKR_OK length=-1"},
    {"length", "CKR_OK length=100000"},
    {"length", "CKR_OK length=0x80000000", false},
    {"length", "CKR_OK length=0x100000001", false},
    {"length", "CKR_BUFFER_TOO_SMALL length=0"},
    {"length", "CKR_BUFFER_TOO_SMALL length=2000"},
    {"length", "CKR_BUFFER_TOO_SMALL length=-1"},
    {"length", "CKR_BUFFER_TOO_SMALL length=2000", true, "CKR_BUFFER_TOO_SMALL length=3000"},
    {"length", "CKR_BUFFER_TOO_SMALL length=2000", true, "CKR_OK length=100000"},
    {"length", "CKR_DEVICE_ERROR length=100000"},
    // Output that is there although the call fails, or although it asks for more room.
    {"length", "CKR_DEVICE_ERROR data=\"hidden output 16\" length=16"},
    {"length", "CKR_BUFFER_TOO_SMALL data=\"hidden output 16\" write=8 length=2000"},
    {"count", "CKR_OK count=0"},
    {"count", "CKR_OK count=-1"},
    {"count", "CKR_OK count=100000"},
    {"count", "CKR_OK count=0x80000000", false},
    {"count", "CKR_OK count=0x100000001", false},
    {"count", "CKR_BUFFER_TOO_SMALL count=0"},
    {"count", "CKR_BUFFER_TOO_SMALL count=100000"},
    // What a failing call leaves behind must not reach Java.
    {"handle", "CKR_DEVICE_ERROR handle=0x77"},
    {"slot", "CKR_DEVICE_ERROR slot=0x77"},
    {"size", "CKR_DEVICE_ERROR size=0x77"},
    {"size", "CKR_OK size=0x100000001"},
};

const std::map<std::string, CK_RV>& namesOfCodes() {
  static const std::map<std::string, CK_RV> names = {
#define X(name) {#name, name},
#include "../module/return_values.inc"
#undef X
  };
  return names;
}

CK_RV codeOf(const std::string& shown) {
  const auto found = namesOfCodes().find(shown);
  return found == namesOfCodes().end() ? std::strtoul(shown.c_str(), nullptr, 0) : found->second;
}

/// The number behind the last ` key=`, if any.
std::optional<CK_ULONG> numberIn(const std::string& text, const std::string& key) {
  const std::size_t at = text.rfind(" " + key + "=");
  if (at == std::string::npos || text.compare(at + key.size() + 2, 4, "null") == 0) {
    return std::nullopt;
  }
  return std::strtoul(text.c_str() + at + key.size() + 2, nullptr, 0);
}

/// The room that a call was told of.
std::optional<CK_ULONG> roomIn(const std::string& asked) {
  for (const char* key : {"length", "count", "max"}) {
    if (const auto number = numberIn(asked, key)) {
      return number;
    }
  }
  return std::nullopt;
}

}  // namespace

bool cannotFail(const std::string& jniFunction) {
  constexpr const char* kNames[] = {"DeleteLocalRef", "IsInstanceOf", "SetObjectArrayElement"};
  const std::string region = "Region";
  return std::find(std::begin(kNames), std::end(kNames), jniFunction) != std::end(kNames) ||
         jniFunction.rfind("Release", 0) == 0 ||
         (jniFunction.size() > region.size() &&
          jniFunction.compare(jniFunction.size() - region.size(), region.size(), region) == 0);
}

std::string Injection::label() const {
  std::string text = source == Source::None     ? "nothing fails"
                     : source == Source::Jni    ? "JNI call " + std::to_string(index)
                     : source == Source::Module ? "module call " + std::to_string(index)
                                                : "allocation " + std::to_string(index);
  if (source == Source::Jni && leaving == jvm::Leaving::Exception) {
    text += " with an exception";
  }
  if (source == Source::Module && !lies()) {
    std::ostringstream code;
    code << std::hex << Rv;
    text += " answers 0x" + code.str();
  }
  for (const std::string& answer : answers) {
    text += "; " + answer;
  }
  return text;
}

bool Watch::around(const World& /*world*/, unsigned /*failingAllocation*/, const std::function<void()>& method) {
  method();
  return false;
}

Outcome run(const Subject& subject, const Injection& injection, Watch& watch) {
  World world(subject);
  jvm::RecordingEnv& env = world.env;
  const std::size_t thrownBefore = env.thrown().size();
  const unsigned long callsBefore = world.token.calls();
  if (injection.source == Source::Jni) {
    env.failCall(static_cast<int>(injection.index), injection.leaving);
  }
  for (const std::string& answer : injection.answers) {
    world.token.answer(answer);
  }
  if (injection.source == Source::Module && !injection.lies()) {
    world.token.failCall(injection.index, injection.Rv);
  }
  const unsigned failing = injection.source == Source::Allocation ? injection.index : 0;
  const bool allocationFailed = watch.around(world, failing, [&world] { world.run(); });
  env.loans.checkGuards();

  Outcome outcome = {};
  outcome.lines = jvm::folded(env.journal());
  outcome.thrown.assign(env.thrown().begin() + static_cast<std::ptrdiff_t>(thrownBefore), env.thrown().end());
  outcome.pending = env.pending();
  outcome.result = world.result;
  outcome.out = env.loans.out();
  outcome.secrets = world.secrets();
  for (const std::string& line : env.journal()) {
    if (line.rfind("C_", 0) != 0) {
      outcome.jniCalls.push_back(line);
    }
  }
  outcome.moduleCalls = static_cast<unsigned>(world.token.calls() - callsBefore);
  outcome.happened = injection.source == Source::Jni          ? !env.faultsLeft()
                     : injection.source == Source::Module     ? outcome.moduleCalls >= injection.index
                     : injection.source == Source::Allocation ? allocationFailed
                                                              : true;
  const Kind kind = subject.method->signature.result;
  if (kind != Kind::Void && kind != Kind::Boolean && kind != Kind::Int && kind != Kind::Long) {
    outcome.shown = env.show(world.result.l);
  }
  return outcome;
}

std::optional<ModuleLine> readModuleLine(const std::string& line) {
  const std::string arrow = " -> ";
  const std::size_t at = line.rfind(arrow);
  if (line.rfind("C_", 0) != 0 || at == std::string::npos) {
    return std::nullopt;
  }
  const std::string asked = line.substr(0, at);
  const std::string answered = line.substr(at + arrow.size());
  const std::size_t end = answered.find(' ');
  ModuleLine read = {};
  read.function = line.substr(0, line.find(' '));
  read.Rv = codeOf(answered.substr(0, end));
  read.queries = asked.find(" buffer=null") != std::string::npos || asked.find(" list=null") != std::string::npos;
  read.offered = roomIn(asked);
  if (end != std::string::npos) {
    read.output = answered.substr(end + 1, answered.find('=') - end - 1);
    if (read.output == "length" || read.output == "count") {
      read.claimed = numberIn(answered, read.output);
    }
  }
  return read;
}

bool measuresAgain(const Outcome& good, const std::string& call) {
  const auto measured = [](const std::string& line) {
    const std::size_t blank = line.find(' ');
    const std::string function = line.substr(0, blank);
    const bool measures =
        function == "GetArrayLength" || function == "GetStringLength" || function == "GetStringUTFLength";
    return measures ? line.substr(blank + 1) : "";
  };
  const std::string object = measured(call);
  return !object.empty() && std::count_if(good.jniCalls.begin(), good.jniCalls.end(),
                                          [&](const std::string& line) { return measured(line) == object; }) > 1;
}

std::vector<Injection> jniInjections(const Outcome& good) {
  std::vector<Injection> injections;
  unsigned index = 0;
  for (const std::string& call : good.jniCalls) {
    ++index;
    if (measuresAgain(good, call)) {
      continue;
    }
    for (const jvm::Leaving leaving : {jvm::Leaving::Nothing, jvm::Leaving::Exception}) {
      injections.push_back({.source = Source::Jni, .index = index, .leaving = leaving, .answers = {}});
    }
  }
  return injections;
}

std::vector<Injection> moduleInjections(const Subject& subject, const Outcome& good) {
  static const std::vector<CK_RV> everyCode = allCodes();
  std::vector<Injection> injections;
  std::map<std::string, unsigned> seen;
  unsigned index = 0;
  for (const std::string& line : jvm::moduleLines(good.lines)) {
    ++index;
    const auto read = readModuleLine(line);
    if (!read) {
      ADD_FAILURE() << "not understood: " << line;
      continue;
    }
    const unsigned before = seen[read->function]++;
    const std::vector<CK_RV> codes =
        before == 0 ? everyCode : std::vector<CK_RV>(std::begin(kSomeCodes), std::end(kSomeCodes));
    for (const CK_RV Rv : codes) {
      injections.push_back({.source = Source::Module, .index = index, .Rv = Rv, .answers = {}});
    }
    if (!subject.preparation.answers.empty()) {
      continue;
    }
    for (const Lie& lie : kLies) {
      if (read->output != lie.key || (read->queries && !lie.alsoToQueries)) {
        continue;
      }
      // Place holders for the same function's calls before this one.
      std::vector<std::string> answers(before, read->function);
      answers.push_back(read->function + " " + lie.answer);
      if (lie.next != nullptr) {
        answers.push_back(read->function + " " + lie.next);
      }
      injections.push_back({.source = Source::Module, .index = index, .answers = answers});
    }
  }
  return injections;
}

}  // namespace faults
