/// What a module may answer: any return value, length, count and handle, in every native method.
///
///   J_Sign__JZLvelnor_Mechanism_2J_3BII      the method
///   input=20 offset=3 length=9 output=64     the caller's arrays; -1 is none. Offsets and lengths stay inside.
///   C_SignInit CKR_OK                        answers; see scripted_module.h. A word that is no function of the module
///   C_Sign CKR_BUFFER_TOO_SMALL length=2000  stands for one that the method calls; an answer that says nothing else is
///   C_Sign CKR_OK data="abc" length=9        some lie about lengths and counts
///
/// More words of the second line: `noinit` clears the init flag, `refuse=3` lets the third allocation fail, `number=`,
/// `handle=` and `text=` are arguments, `type=` is an attribute to read, and `wild` takes offset and length
/// as they are.
#include "input.h"
#include "world.h"

#include <algorithm>
#include <map>
#include <set>

namespace {

using fuzz::cut;
using fuzz::hash;
using fuzz::number;

const std::set<std::string_view> kFunctions = {
#define X(name) #name,
#include "../native/module/functions.inc"
#undef X
};

const std::set<std::string_view> kReturnValues = {
#define X(name) #name,
#include "../native/module/return_values.inc"
#undef X
};

const std::set<std::string_view> kNumbers = {"length",
                                             "count",
                                             "handle",
                                             "private",
                                             "slot",
                                             "flags",
                                             "ulMaxSessionCount",
                                             "ulSessionCount",
                                             "ulMaxPinLen",
                                             "ulMinPinLen",
                                             "ulTotalPublicMemory",
                                             "slotID",
                                             "state",
                                             "ulDeviceError",
                                             "ulMinKeySize",
                                             "ulMaxKeySize"};

const std::set<std::string_view> kTexts = {"manufacturerID", "libraryDescription", "slotDescription", "label",
                                           "model",          "serialNumber",       "utcTime"};

constexpr std::uint64_t kLongestList = 1200;
constexpr std::uint64_t kLongestOutput = 4096;

struct Case {
  const registry::Method* method = nullptr;
  std::map<std::string_view, std::string_view> words;
  std::vector<jint> types;

  bool says(std::string_view word) const { return words.count(word) != 0; }
  std::uint64_t value(std::string_view word, std::uint64_t otherwise) const {
    const auto found = words.find(word);
    return found == words.end() ? otherwise : number(found->second);
  }
};

Case read(std::string_view line) {
  constexpr std::size_t kMostTypes = 4;
  Case result;
  for (std::string_view word : fuzz::split(line, ' ')) {
    const std::string_view key = cut(word, '=');
    if (key == "type" && result.types.size() < kMostTypes) {
      result.types.push_back(static_cast<jint>(number(word)));
    }
    result.words[key] = word;
  }
  return result;
}

/// An array of up to a few hundred bytes; -1 is none.
jbyteArray makeArray(fuzz::World& world, const char* name, std::uint64_t size) {
  constexpr std::uint64_t kMost = 600;
  return size == static_cast<std::uint64_t>(-1) ? nullptr : world.env.bytes(name, std::string(size % kMost, '.'));
}

jint within(std::uint64_t value, std::size_t limit) {
  return static_cast<jint>(value % (limit + 1));
}

void run(fuzz::World& world, const Case& input) {
  fuzz::Arguments arguments;
  const auto sizeOf = [&world](jbyteArray array) { return array == nullptr ? 0 : world.env.bytesOf(array).size(); };
  arguments.input = makeArray(world, "input0", input.value("input", 16));
  arguments.output = makeArray(world, "output", input.value("output", 64));
  const std::uint64_t offset = input.value("offset", 0);
  const std::uint64_t length = input.value("length", 8);
  const std::size_t inputSize = sizeOf(arguments.input);
  const std::size_t outputSize = sizeOf(arguments.output);
  if (input.says("wild")) {
    arguments.offset = static_cast<jint>(offset);
    arguments.length = static_cast<jint>(length);
  } else {
    arguments.offset = within(offset, inputSize);
    arguments.length = within(length, inputSize - static_cast<std::size_t>(arguments.offset));
  }
  arguments.outputOffset = within(input.value("outputOffset", 0), outputSize);
  arguments.outputLength =
      within(input.value("outputLength", 8), outputSize - static_cast<std::size_t>(arguments.outputOffset));
  arguments.number = static_cast<jint>(input.value("number", CKF_SERIAL_SESSION));
  arguments.handle = static_cast<jlong>(input.value("handle", fuzz::World::hSecretKey));
  const auto text = input.words.find("text");
  arguments.text = text == input.words.end() ? world.env.string("text", std::string("1234"))
                   : text->second == "null"  ? nullptr
                                             : world.env.string("text", fuzz::units(text->second));
  arguments.flag = !input.says("noinit");
  arguments.types = world.env.ints("types", input.types);
  arguments.mechanism = world.env.mechanism("mechanism", CKM_SHA_1);
  arguments.templates = {world.env.attributes("template0", {}), nullptr};
  world.refuseAllocation(input.value("refuse", 0));
  world.call(*input.method, arguments);
}

/// Operations run before the call, unless the call is to start one itself.
void prepare(fuzz::World& world, const Case& input) {
  if (input.says("noinit") || !input.method->takes(registry::Kind::Object)) {
    world.startEverything();
  }
}

/// The module's functions that a method calls when all goes well.
const std::vector<std::string>& functionsOf(const registry::Method& method) {
  static std::map<const registry::Method*, std::vector<std::string>> known;
  std::vector<std::string>& functions = known[&method];
  if (functions.empty()) {
    for (const char* const words : {"type=0", "type=0 noinit"}) {
      fuzz::World world;
      Case input = read(words);
      input.method = &method;
      prepare(world, input);
      run(world, input);
      for (const std::string& line : world.moduleLines()) {
        functions.push_back(line.substr(0, line.find(' ')));
      }
    }
    if (functions.empty()) {
      functions.emplace_back("C_GetInfo");
    }
    std::sort(functions.begin(), functions.end());
    functions.erase(std::unique(functions.begin(), functions.end()), functions.end());
  }
  return functions;
}

std::string listOf(std::string_view value) {
  std::string result;
  std::uint64_t size = 0;
  for (std::string_view item : fuzz::split(value, ',')) {
    const std::size_t dots = item.find("..");
    const std::uint64_t first = number(item.substr(0, dots));
    const std::uint64_t span = dots == std::string_view::npos ? 0 : number(item.substr(dots + 2)) % kLongestList;
    size += span + 1;
    if (size > kLongestList || first > first + span) {
      break;
    }
    result += (result.empty() ? "" : ",") + fuzz::hex(first) + ".." + fuzz::hex(first + span);
  }
  return result.empty() ? "1" : result;
}

/// What a word of an answer says, in the module's own spelling; empty when it says nothing. Left out is what would make
/// the module itself a culprit (writing more than it was offered) or take for ever.
std::string wordOf(std::string_view word, bool second, bool wild) {
  if (second && (kReturnValues.count(word) != 0 || word.substr(0, 2) == "0x")) {
    return word[0] == '0' ? fuzz::hex(number(word)) : std::string(word);
  }
  const std::string_view key = cut(word, '=');
  if (kNumbers.count(key) != 0) {
    return std::string(key) + "=" + fuzz::hex(number(word));
  }
  if (key == "list") {
    return "list=" + listOf(word);
  }
  if (key == "size") {
    return wild ? "" : "size=" + std::to_string(number(word) % kLongestOutput);
  }
  if (kTexts.count(key) != 0 || (key == "data" && !wild)) {
    return std::string(key) + "=" + fuzz::hexDigits(word);
  }
  return "";
}

/// A lie about lengths and counts, by the hash of a line that says nothing.
std::string lieOf(std::string_view line) {
  static const std::vector<std::string> values = {"CKR_OK", "CKR_OK", "CKR_BUFFER_TOO_SMALL", "CKR_DEVICE_ERROR"};
  static const std::vector<std::string> claims = {"0",    "1",    "8",          "50",          "51", "512",
                                                  "2049", "4000", "0x80000000", "0x100000008", "-1", "-8"};
  const std::string claim = claims[hash(line) / values.size() % claims.size()];
  return " " + fuzz::oneOf(values, line) + " length=" + claim + " count=" + claim;
}

std::string answerOf(std::string_view line, const registry::Method& method, bool wild) {
  const std::string_view whole = line;
  const std::string_view function = cut(line, ' ');
  std::string result =
      kFunctions.count(function) != 0 ? std::string(function) : fuzz::oneOf(functionsOf(method), function);
  const std::size_t bare = result.size();
  bool second = true;
  for (const std::string_view word : fuzz::split(line, ' ')) {
    const std::string said = wordOf(word, second, wild);
    result += (said.empty() ? "" : " ") + said;
    second = false;
  }
  result += result.size() == bare ? lieOf(whole) : "";
  return result + (wild ? " unread" : "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kMostAnswers = 40;
  static const auto methods = fuzz::methodsWhere([](const auto&) { return true; });
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const registry::Method& method = fuzz::choose(methods, cut(rest, '\n'));
  Case input = read(cut(rest, '\n'));
  input.method = &method;
  const bool wild = input.says("wild");
  std::vector<std::string> answers;
  for (const std::string_view line : fuzz::split(rest, '\n')) {
    if (answers.size() < kMostAnswers) {
      answers.push_back(answerOf(line, method, wild));
    }
  }
  const std::vector<std::string>& functions = functionsOf(method);
  fuzz::World world;
  prepare(world, input);
  for (const std::string& answer : answers) {
    world.answer(answer);
  }
  if (wild) {
    // A module that looks at an argument beyond its array is the caller's own doing, so this one does not look.
    for (const std::string& function : functions) {
      world.answer(function + " CKR_OK unread always");
    }
  }
  run(world, input);
  return 0;
}
