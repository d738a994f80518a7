#include "trace.h"

#include "../module/text.h"

#include <cstdint>
#include <cstdlib>
#include <sstream>

namespace jvm {
namespace {

using Lines = std::vector<std::string>;

bool startsWith(const std::string& line, const std::string& prefix) {
  return line.rfind(prefix, 0) == 0;
}

/// Whether the lines from `at` on are `expected`; in an expected line, `*` at the end stands for any rest.
bool matches(const Lines& lines, std::size_t at, const Lines& expected) {
  if (at + expected.size() > lines.size()) {
    return false;
  }
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const std::string& want = expected[i];
    const bool open = !want.empty() && want.back() == '*';
    if (open ? !startsWith(lines[at + i], want.substr(0, want.size() - 1)) : lines[at + i] != want) {
      return false;
    }
  }
  return true;
}

struct Report {
  std::string function;
  long code;
  std::string message;
};

/// Reads `"..."` from `at` and moves `at` behind it; undoes the quoting.
bool readQuoted(const std::string& line, std::size_t& at, std::string& out) {
  if (at >= line.size() || line[at] != '"') {
    return false;
  }
  for (++at; at < line.size() && line[at] != '"'; ++at) {
    if (line[at] == '\\') {
      ++at;
    }
    if (at < line.size()) {
      out += line[at];
    }
  }
  return at++ < line.size();
}

bool readReport(const std::string& throwLine, Report& report) {
  const std::string start = "Throw CryptokiException(";
  std::size_t at = start.size();
  if (!startsWith(throwLine, start) || !readQuoted(throwLine, at, report.function) ||
      throwLine.compare(at, 2, ", ") != 0) {
    return false;
  }
  char* end = nullptr;
  report.code = std::strtol(throwLine.c_str() + at + 2, &end, 10);
  at = static_cast<std::size_t>(end - throwLine.c_str()) + 2;
  return throwLine.compare(at - 2, 2, ", ") == 0 && readQuoted(throwLine, at, report.message) &&
         throwLine.compare(at, std::string::npos, ")") == 0;
}

/// The name that a recorded call gave to the array whose first region write is this line.
std::string arrayOf(const std::string& line) {
  std::istringstream words(line);
  std::string word;
  words >> word >> word;
  return word;
}

constexpr std::size_t kReportSize = 14;

/// The line that stands for a whole report, or nothing when the sequence is not exactly right.
std::string foldedReport(const Lines& lines, std::size_t at) {
  Report report;
  if (at + kReportSize > lines.size() || !readReport(lines[at + kReportSize - 1], report)) {
    return "";
  }
  const auto size = [](const std::string& s) { return std::to_string(s.size()); };
  const auto shown = [](const std::string& s) { return text::bytes(s.data(), s.size()); };
  const std::string name = arrayOf(lines[at + 5]);
  const std::string message = arrayOf(lines[at + 7]);
  const std::string arguments =
      text::quoted(report.function) + ", " + std::to_string(report.code) + ", " + text::quoted(report.message);
  Lines expected = {
      "FindClass velnor/CryptokiException",
      "FindClass java/lang/String",
      "GetMethodID velnor/CryptokiException <init> (Ljava/lang/String;ILjava/lang/String;)V",
      "GetMethodID java/lang/String <init> ([B)V",
      "NewByteArray " + size(report.function),
      "SetByteArrayRegion " + name + " 0 " + size(report.function) + " " + shown(report.function),
      "NewByteArray " + size(report.message),
      "SetByteArrayRegion " + message + " 0 " + size(report.message) + " " + shown(report.message),
      "NewObject java/lang/String (" + name + ")",
      "NewObject java/lang/String (" + message + ")",
      "NewObject velnor/CryptokiException (" + arguments + ")",
      "DeleteLocalRef velnor/CryptokiException",
      "DeleteLocalRef java/lang/String",
      "Throw CryptokiException(" + arguments + ")",
  };
  if (!matches(lines, at, expected)) {
    std::swap(expected[11], expected[12]);  // either class reference may go first
    if (!matches(lines, at, expected)) {
      return "";
    }
  }
  const auto code = static_cast<std::uint32_t>(report.code);
  // A vendor value may have had more than 32 bits; its description is the same.
  if (report.message == paddedDescription(code)) {
    return "report " + text::quoted(report.function) + " " + text::hex(code);
  }
  return "report " + text::quoted(report.function) + " " + std::to_string(report.code) + " " +
         text::quoted(report.message);
}

constexpr std::size_t kSessionSize = 3;

std::string foldedSession(const Lines& lines, std::size_t at) {
  const std::string read = "GetIntField ";
  const std::string field = " m_sessionHandle";
  if (!matches(lines, at,
               {"FindClass velnor/nat/NativeSession", "GetFieldID velnor/nat/NativeSession m_sessionHandle J",
                read + "*"})) {
    return "";
  }
  const std::string& line = lines[at + 2];
  if (line.size() <= read.size() + field.size() || line.compare(line.size() - field.size(), field.size(), field) != 0) {
    return "";
  }
  return "sessionOf " + line.substr(read.size(), line.size() - read.size() - field.size());
}

}  // namespace

std::vector<std::string> folded(const std::vector<std::string>& journal) {
  Lines result;
  for (std::size_t at = 0; at < journal.size();) {
    if (const std::string report = foldedReport(journal, at); !report.empty()) {
      result.push_back(report);
      at += kReportSize;
    } else if (const std::string session = foldedSession(journal, at); !session.empty()) {
      result.push_back(session);
      at += kSessionSize;
    } else {
      result.push_back(journal[at++]);
    }
  }
  return result;
}

std::vector<std::string> expectedLines(const std::string& text) {
  Lines result;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    const std::size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos || line[first] == '#') {
      continue;
    }
    result.push_back(line.substr(first, line.find_last_not_of(" \t") - first + 1));
  }
  return result;
}

std::vector<std::string> moduleLines(const std::vector<std::string>& journal) {
  Lines result;
  for (const std::string& line : journal) {
    if (startsWith(line, "C_")) {
      result.push_back(line);
    }
  }
  return result;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string result;
  for (const std::string& line : lines) {
    result += line + "\n";
  }
  return result;
}

std::string paddedDescription(unsigned long Rv) {
  static const struct {
    unsigned long value;
    const char* text;
  } rows[] = {
#define X(value, text) {value, text},
#include "error_descriptions.inc"
#undef X
  };
  constexpr std::size_t kWidth = 34;
  constexpr unsigned long kVendor = 0x80000000UL;
  std::string found = "NO ERROR DESC FOUND";
  for (const auto& row : rows) {
    if (row.value == (Rv >= kVendor ? kVendor : Rv)) {
      found = row.text;
      break;
    }
  }
  found.resize(kWidth, ' ');
  return found;
}

}  // namespace jvm
