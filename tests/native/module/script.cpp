#include "script.h"

#include "text.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace scripted {
namespace {

struct ReturnValue {
  const char* name;
  CK_RV value;
};

constexpr ReturnValue kReturnValues[] = {
#define X(name) {#name, name},
#include "return_values.inc"
#undef X
};

const std::set<std::string> kFunctions = {
#define X(name) #name,
#include "functions.inc"
#include "functions_3_0.inc"
#undef X
    "C_GetFunctionList", "C_SetCallBack"};

const std::set<std::string> kWords = {"always", "unread", "block", "asks"};

// Keys that take a number, beside the fields of the information structures.
const std::set<std::string> kNumberKeys = {
    "length", "size", "write", "count", "handle", "private", "slot", "delay",
    // fields of the information structures
    "flags", "major", "minor", "ulMaxSessionCount", "ulSessionCount", "ulMaxRwSessionCount", "ulRwSessionCount",
    "ulMaxPinLen", "ulMinPinLen", "ulTotalPublicMemory", "ulFreePublicMemory", "ulTotalPrivateMemory",
    "ulFreePrivateMemory", "slotID", "state", "ulDeviceError", "ulMinKeySize", "ulMaxKeySize"};

const std::set<std::string> kTextKeys = {"data",  "manufacturerID", "libraryDescription", "slotDescription",
                                         "label", "model",          "serialNumber",       "utcTime",
                                         "throws"};

bool toNumber(const std::string& digits, CK_ULONG& value) {
  if (digits.empty() || std::isspace(static_cast<unsigned char>(digits.front())) != 0) {
    return false;
  }
  char* end = nullptr;
  errno = 0;
  value = digits.front() == '-' ? static_cast<CK_ULONG>(std::strtol(digits.c_str(), &end, 0))
                                : std::strtoul(digits.c_str(), &end, 0);
  return errno == 0 && *end == '\0';
}

bool toList(const std::string& digits, std::vector<CK_ULONG>& values) {
  constexpr CK_ULONG kLongest = 1000000;
  std::size_t at = 0;
  while (at < digits.size()) {
    const std::size_t comma = std::min(digits.find(',', at), digits.size());
    const std::string item = digits.substr(at, comma - at);
    const std::size_t dots = item.find("..");
    CK_ULONG first = 0;
    CK_ULONG last = 0;
    if (!toNumber(item.substr(0, dots), first) ||
        !(dots == std::string::npos ? (last = first, true) : toNumber(item.substr(dots + 2), last)) || last < first ||
        last - first > kLongest) {
      return false;
    }
    for (CK_ULONG value = first; value <= last; ++value) {
      values.push_back(value);
      if (value == last) {
        break;
      }
    }
    at = comma + 1;
  }
  return true;
}

bool toText(const std::string& spelled, std::string& result) {
  if (!spelled.empty() && spelled.front() == '"') {
    result = spelled.substr(1, spelled.size() - 2);
    return true;
  }
  if (spelled.size() % 2 != 0) {
    return false;
  }
  for (std::size_t i = 0; i < spelled.size(); i += 2) {
    CK_ULONG byte = 0;
    if (std::isxdigit(static_cast<unsigned char>(spelled[i])) == 0 || !toNumber("0x" + spelled.substr(i, 2), byte)) {
      return false;
    }
    result += static_cast<char>(static_cast<unsigned char>(byte));
  }
  return true;
}

/// Splits at blanks outside quotes; false when a quote stays open.
bool split(const std::string& line, std::vector<std::string>& words) {
  bool quoted = false;
  std::string word;
  for (const char c : line + ' ') {
    if (c == ' ' && !quoted) {
      if (!word.empty()) {
        words.push_back(word);
      }
      word.clear();
    } else {
      quoted ^= c == '"';
      word += c;
    }
  }
  return !quoted;
}

std::string take(const std::string& word, bool second, Answer& answer) {
  if (second && word.rfind("CKR_", 0) == 0) {
    for (const ReturnValue& row : kReturnValues) {
      if (word == row.name) {
        answer.rv = row.value;
        return "";
      }
    }
    return "no return value is named " + word;
  }
  const std::size_t equals = word.find('=');
  CK_ULONG number = 0;
  if (equals == std::string::npos) {
    if (second && word.rfind("0x", 0) == 0 && toNumber(word, number)) {
      answer.rv = number;
      return "";
    }
    return kWords.count(word) != 0 ? (answer.words.insert(word), "") : "what is " + word + "?";
  }
  const std::string key = word.substr(0, equals);
  const std::string value = word.substr(equals + 1);
  if (key == "list") {
    std::vector<CK_ULONG> values;
    if (!toList(value, values)) {
      return "no list: " + value;
    }
    answer.list = values;
    return "";
  }
  if (kTextKeys.count(key) != 0) {
    return toText(value, answer.texts[key]) ? "" : "no bytes: " + value;
  }
  if (kNumberKeys.count(key) == 0) {
    return "what is " + key + "?";
  }
  if (!toNumber(value, number)) {
    return "no number: " + value;
  }
  answer.numbers[key] = number;
  return "";
}

}  // namespace

std::optional<CK_ULONG> Answer::number(const std::string& key) const {
  const auto found = numbers.find(key);
  return found == numbers.end() ? std::nullopt : std::optional<CK_ULONG>(found->second);
}

std::optional<Bytes> Answer::output() const {
  if (const auto found = texts.find("data"); found != texts.end()) {
    return Bytes(found->second.begin(), found->second.end());
  }
  if (const auto size = number("size")) {
    Bytes bytes(*size);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      bytes[i] = static_cast<CK_BYTE>('a' + i % 26);
    }
    return bytes;
  }
  return std::nullopt;
}

std::string parse(const std::string& line, Answer& answer) {
  std::vector<std::string> words;
  if (!split(line, words)) {
    return "an open quote";
  }
  if (words.empty()) {
    return "an empty line";
  }
  answer.line = line;
  answer.function = words.front();
  if (kFunctions.count(answer.function) == 0) {
    return "no function is named " + answer.function;
  }
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (const std::string error = take(words[i], i == 1, answer); !error.empty()) {
      return error;
    }
  }
  return "";
}

std::string nameOf(CK_RV Rv) {
  for (const ReturnValue& row : kReturnValues) {
    if (row.value == Rv) {
      return row.name;
    }
  }
  return text::hex(Rv);
}

Answer Script::next(const std::string& function) {
  std::deque<Answer>& queue = answers_[function];
  if (queue.empty()) {
    return Answer{};
  }
  Answer answer = queue.front();
  if (!answer.says("always")) {
    queue.pop_front();
  }
  return answer;
}

std::string Script::unused() const {
  std::string lines;
  for (const auto& [function, queue] : answers_) {
    for (const Answer& answer : queue) {
      lines += answer.says("always") ? "" : answer.line + "\n";
    }
  }
  return lines;
}

}  // namespace scripted
