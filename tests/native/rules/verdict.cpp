#include "verdict.h"

#include "templates.h"

#include <algorithm>
#include <cstdlib>

namespace faults {
namespace {

constexpr char kGuard[] = "Check64BitLen";
constexpr char kConversion[] = "Mechanism2CKMechanism";
/// No machine of the tests has as much memory.
constexpr CK_ULONG kAbsurd = CK_ULONG{1} << 47;

bool startsWith(const std::string& line, const std::string& prefix) {
  return line.rfind(prefix, 0) == 0;
}

std::string firstWord(const std::string& line) {
  return line.substr(0, line.find(' '));
}

std::uint32_t low32(CK_ULONG value) {
  return static_cast<std::uint32_t>(value);
}

}  // namespace

/// `report "J_Sign" 0x91`, or `report "J_Sign" 5 "text"`.
std::optional<Judge::Report> Judge::readReport(const std::string& line) {
  const std::string start = "report \"";
  if (!startsWith(line, start)) {
    return std::nullopt;
  }
  const std::size_t end = line.find('"', start.size());
  const std::string rest = line.substr(end + 2);
  const bool hasMessage = rest.find('"') != std::string::npos;
  // 64-bit codes whose low half has a description of its own are shown with the one that they have.
  const std::string message = hasMessage ? rest.substr(rest.find('"') + 1) : "";
  const bool isText = hasMessage && !startsWith(message, jvm::paddedDescription(~CK_RV(0)));
  const auto code = static_cast<std::uint32_t>(hasMessage ? std::strtol(rest.c_str(), nullptr, 10)
                                                          : static_cast<long>(std::strtoul(rest.c_str(), nullptr, 0)));
  return Report{line.substr(start.size(), end - start.size()), code, isText};
}

bool Judge::isRefused(const std::string& line) {
  const std::string mark = " -> null";
  return !startsWith(line, "C_") && line.size() > mark.size() &&
         line.compare(line.size() - mark.size(), mark.size(), mark) == 0;
}

bool Judge::hasLine(const Outcome& outcome, const std::string& line) {
  return std::find(outcome.lines.begin(), outcome.lines.end(), line) != outcome.lines.end();
}

Judge::Judge(const Subject& subject, const Outcome& good) : subject_(subject) {
  SCOPED_TRACE("the good run of " + subject.label() + " (does its row lack something?)");
  for (const std::string& line : good.lines) {
    const auto call = readModuleLine(line);
    if (call && hasWorker(call->function)) {
      worker_ = "J_" + call->function.substr(2);
    }
  }
  EXPECT_TRUE(good.thrown.empty()) << jvm::joined(good.thrown);
  EXPECT_NE(good.shown, "null");
  if (subject.method->signature.result == Kind::Int || subject.method->signature.result == Kind::Long) {
    EXPECT_NE(good.result.j, 0);
  }
  for (const std::string& line : good.lines) {
    const auto call = readModuleLine(line);
    EXPECT_TRUE(!call || call->Rv == CKR_OK) << line;
  }
  judge(Injection{}, good);
}

void Judge::judge(const Injection& injection, const Outcome& outcome) {
  SCOPED_TRACE(subject_.label() + ": " + injection.label() + "\n" + jvm::joined(outcome.lines));
  Run run{injection, outcome, !worker_.empty()};
  for (std::size_t at = 0; at < outcome.lines.size(); ++at) {
    const std::string& line = outcome.lines[at];
    EXPECT_FALSE(startsWith(line, "FindClass velnor/CryptokiException") || startsWith(line, "Throw "))
        << "a report that is not as all reports are";
    if (const auto report = readReport(line)) {
      judgeReport(run, at, *report);
    } else if (const auto call = readModuleLine(line)) {
      judgeModuleCall(run, at, *call);
    } else if (isRefused(line)) {
      judgeRefusal(run, at);
    } else if (startsWith(line, "Release")) {
      judgeRelease(run, line);
    } else {
      EXPECT_FALSE(run.methodFailed) << "only giving back may follow the method's report: " << line;
    }
  }
  judgeEnd(run);
  judgeLoans(run);
  judgeResult(run);
}

// --- Reports ---------------------------------------------------------------------------------------------------------

void Judge::judgeReport(Run& run, std::size_t at, const Report& report) {
  const std::vector<std::string>& lines = run.outcome.lines;
  const std::string previous = at == 0 ? "" : lines[at - 1];
  const std::string next = at + 1 < lines.size() ? lines[at + 1] : "";
  ++run.reports;
  if (report.function == kGuard) {
    EXPECT_TRUE(run.injection.lies()) << lines[at];
    return;
  }
  if (report.function == kConversion) {
    EXPECT_TRUE(report.isText && report.code == CKR_GENERAL_ERROR);
    const auto second = readReport(next);
    EXPECT_TRUE(second && second->function == reportNameOfPhase(run) && second->isText)
        << "the text that replaces the short one is missing";
    return;
  }
  const auto before = readReport(previous);
  if (before && before->function == report.function && reportsTwice(*subject_.method)) {
    EXPECT_EQ(before->code, report.code);
    EXPECT_TRUE(run.workerRefused) << "reported twice, but the module was not asked";
    return;
  }
  EXPECT_EQ(report.function, reportNameOfPhase(run)) << lines[at];
  const auto call = readModuleLine(previous);
  if (call && call->Rv != CKR_OK && !isTolerated(*call)) {
    const bool outgrown = call->Rv == CKR_BUFFER_TOO_SMALL && report.code == CKR_HOST_MEMORY;
    EXPECT_TRUE(!report.isText && (report.code == low32(call->Rv) || outgrown)) << lines[at];
    run.workerRefused = run.inWorker;
    if (run.workerRefused && reportsTwice(*subject_.method)) {
      EXPECT_EQ(next, lines[at]) << "not reported again";
    }
  } else if (isRefused(previous) || (before && before->function == kConversion)) {
    EXPECT_TRUE(report.isText && report.code == CKR_GENERAL_ERROR) << lines[at];
  } else {
    judgeCauseless(run, report, lines[at]);
  }
  // A worker answers 0 for a failed conversion, so its method goes on; that of a method by the same name ends it.
  run.methodFailed = !run.inWorker || run.workerRefused;
  run.inWorker = false;
}

/// A report that no line of the journal explains: of an allocation, or of what the library found in a value.
void Judge::judgeCauseless(Run& run, const Report& report, const std::string& line) {
  ++run.causeless;
  switch (run.injection.source) {
  case Source::Allocation:
    EXPECT_TRUE(!report.isText && report.code == CKR_HOST_MEMORY) << line;
    break;
  case Source::Jni:
    EXPECT_TRUE(run.mayBeReportedLater && report.isText) << line;
    break;
  case Source::Module:
    EXPECT_TRUE(run.injection.lies() && (report.isText || report.code == CKR_HOST_MEMORY)) << line;
    break;
  case Source::None:
    ADD_FAILURE() << line;
    break;
  }
}

// --- Causes ----------------------------------------------------------------------------------------------------------

void Judge::judgeRefusal(Run& run, std::size_t at) {
  const std::vector<std::string>& lines = run.outcome.lines;
  const std::string& line = lines[at];
  const bool reported = at + 1 < lines.size() && readReport(lines[at + 1]).has_value();
  EXPECT_FALSE(run.methodFailed) << line;
  for (const ToleratedCall& row : kToleratedCalls) {
    if (row.of(*subject_.method) && startsWith(line, row.line)) {
      ++met_[&row];
      EXPECT_FALSE(reported) << "tolerated, because " << row.reason;
      run.mustBeReported = row.reportedLater;
      run.mayBeReportedLater = row.reportedLater;
      return;
    }
  }
  if (answersAValue(firstWord(line))) {
    run.mayBeReportedLater = true;
    return;
  }
  EXPECT_TRUE(reported) << "not reported at once: " << line;
  for (const LookupText& row : kLookupTexts) {
    if (reported && startsWith(line, row.line)) {
      EXPECT_EQ(lines[at + 1], "report \"" + reportNameOfPhase(run) + "\" 5 \"" + row.text + "\"");
    }
  }
}

bool Judge::isTolerated(const ModuleLine& call) {
  bool tolerated = false;
  for (const ToleratedCode& row : kToleratedCodes) {
    if (row.of(*subject_.method) && row.function == call.function && (row.Rv == kAnyCode || row.Rv == call.Rv)) {
      ++met_[&row];
      tolerated = true;
    }
  }
  return tolerated;
}

void Judge::judgeModuleCall(Run& run, std::size_t at, const ModuleLine& call) {
  const std::vector<std::string>& lines = run.outcome.lines;
  const std::string next = at + 1 < lines.size() ? lines[at + 1] : "";
  EXPECT_FALSE(run.methodFailed) << "asked after the report: " << lines[at];
  run.lastModuleCall = call;
  if (call.Rv == CKR_OK) {
    run.inWorker = run.inWorker && !hasWorker(call.function);
    return;
  }
  if (isTolerated(call)) {
    EXPECT_FALSE(readReport(next) && run.injection.source == Source::Module && !run.injection.lies()) << next;
    return;
  }
  const auto again = readModuleLine(next);
  const bool wantsMore = call.Rv == CKR_BUFFER_TOO_SMALL && grows(*subject_.method) && call.claimed &&
                         *call.claimed != 0 && call.function != "C_FindObjects" && !hasWorker(call.function);
  if (wantsMore && *call.claimed < kAbsurd) {
    EXPECT_TRUE(again && again->function == call.function && again->offered == call.claimed)
        << "not asked again with the room that it wants: " << lines[at];
    return;
  }
  const auto report = readReport(next);
  EXPECT_TRUE(report.has_value()) << "not reported at once: " << lines[at];
  if (report && wantsMore) {
    EXPECT_EQ(report->code, CKR_HOST_MEMORY) << lines[at];
  } else if (report) {
    EXPECT_EQ(report->code, low32(call.Rv)) << lines[at];
  }
}

void Judge::judgeRelease(Run& run, const std::string& line) {
  if (const std::string& expected = subject_.method->emptyRelease; line == expected) {
    ++met_[&expected];
    return;
  }
  EXPECT_EQ(line.find("=null"), std::string::npos) << line;
  const std::string bytes = "ReleaseByteArrayElements ";
  if (startsWith(line, bytes)) {
    const std::string array = line.substr(bytes.size(), line.find(' ', bytes.size()) - bytes.size());
    const bool detached = std::any_of(kKeptLoans.begin(), kKeptLoans.end(), [this, &run](const KeptLoan& row) {
      return row.of(*subject_.method) && row.afterFailureOnly && run.methodFailed;
    });
    if (array == "null") {
      EXPECT_TRUE(detached) << line;
    }
    const bool copiesBack = array == "output" || array == "null";
    EXPECT_EQ(line, bytes + array + " mode " + (copiesBack ? "0" : "2"));
  } else if (line.find(" mode ") != std::string::npos) {
    EXPECT_EQ(line.substr(line.size() - 7), " mode 0") << line;
  }
}

// --- The end ---------------------------------------------------------------------------------------------------------

void Judge::judgeEnd(Run& run) {
  if (run.mustBeReported) {
    EXPECT_GT(run.reports, 0U) << "never reported";
  }
  EXPECT_LE(run.causeless, 1U);
  const bool jvmThrew = run.injection.source == Source::Jni && run.injection.leaving == jvm::Leaving::Exception;
  if (run.reports == 0 && !jvmThrew && !run.injection.lies()) {
    EXPECT_EQ(run.outcome.pending, "");
  }
  if (run.reports != 0) {
    EXPECT_TRUE(startsWith(run.outcome.pending, "CryptokiException(")) << run.outcome.pending;
  }
  if (run.injection.source == Source::Allocation && run.causeless == 0) {
    bool tolerated = false;
    for (const ToleratedAllocation& row : kToleratedAllocations) {
      if (row.of(*subject_.method)) {
        ++met_[&row];
        tolerated = true;
      }
    }
    EXPECT_TRUE(tolerated) << "a failed allocation that is not reported";
    EXPECT_EQ(run.reports, 0U);
  }
  judgeLie(run);
}

/// More output than there was room for must never pass for a success.
void Judge::judgeLie(const Run& run) const {
  if (run.injection.source != Source::Module || !run.injection.lies()) {
    return;
  }
  unsigned index = 0;
  for (const std::string& line : jvm::moduleLines(run.outcome.lines)) {
    const auto call = readModuleLine(line);
    if (++index != run.injection.index || !call || call->Rv != CKR_OK || !call->claimed) {
      continue;
    }
    const CK_ULONG offered = call->function == "C_GetAttributeValue" ? kReadBufferSize : call->offered.value_or(0);
    const bool isNumber = call->function == "C_GetAttributeValue" && line.find("CKA_VALUE") == std::string::npos &&
                          line.find("CKA_LABEL") == std::string::npos;
    if (*call->claimed > offered && !call->queries && !isNumber && !subject_.method->fillsCallersArray()) {
      EXPECT_GT(run.reports, 0U) << "believed: " << line;
    }
  }
}

void Judge::judgeLoans(const Run& run) {
  std::vector<std::string> expected;
  for (const KeptLoan& row : kKeptLoans) {
    if (row.of(*subject_.method) && (run.methodFailed || !row.afterFailureOnly) &&
        hasLine(run.outcome, "GetByteArrayElements " + row.array)) {
      ++met_[&row];
      expected.push_back(row.array);
    }
  }
  EXPECT_EQ(run.outcome.out, expected) << "elements or characters still lent";
}

/// What a method into the caller's array answers: the length that the module left, else the room that there was.
CK_ULONG Judge::lengthAfterFailure(const Run& run) const {
  const bool borrowed = hasLine(run.outcome, "GetByteArrayElements output");
  if (run.workerRefused) {
    return 0;
  }
  if (run.lastModuleCall && run.lastModuleCall->offered && !hasWorker(run.lastModuleCall->function)) {
    return run.lastModuleCall->claimed.value_or(*run.lastModuleCall->offered);
  }
  return borrowed ? World::kOutputSize - World::kOffset : 0;
}

void Judge::judgeResult(const Run& run) const {
  const Method& method = *subject_.method;
  const jvalue& result = run.outcome.result;
  if (method.fillsCallersArray() && (run.methodFailed || run.injection.lies())) {
    EXPECT_EQ(static_cast<std::uint32_t>(result.i), low32(lengthAfterFailure(run)));
    return;
  }
  if (!run.methodFailed) {
    if (run.injection.source == Source::Module && run.reports == 0 && !run.injection.lies()) {
      EXPECT_NE(run.outcome.shown, "null") << "tolerated, but nothing came of it";
    }
    return;
  }
  if (method.javaName() == "J_DeriveKey") {
    const auto& lines = run.outcome.lines;
    const bool converted = std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
      return startsWith(line, "GetObjectArrayElement template0 0");
    });
    EXPECT_EQ(result.j, converted ? static_cast<jlong>(World::kTemplateSize) : 0);
  } else if (method.signature.result == Kind::Long) {
    EXPECT_EQ(result.j, 0);
  } else if (method.signature.result == Kind::Int) {
    EXPECT_EQ(result.i, 0);
  } else if (method.signature.result != Kind::Void) {
    EXPECT_EQ(run.outcome.shown, "null") << "a result beside a report";
  }
}

void Judge::expectEveryException(Source source) const {
  if (!subject_.variant.empty()) {
    return;
  }
  const auto expect = [this](const auto& rows, const auto& isDue) {
    for (const auto& row : rows) {
      if (row.of(*subject_.method) && isDue(row)) {
        EXPECT_NE(met_.count(&row), 0U) << subject_.label() << ": never met, although " << row.reason;
      }
    }
  };
  switch (source) {
  case Source::Jni:
    expect(kKeptLoans, [](const KeptLoan&) { return true; });
    expect(kToleratedCalls, [](const ToleratedCall&) { return true; });
    if (const std::string& line = subject_.method->emptyRelease; !line.empty()) {
      EXPECT_NE(met_.count(&line), 0U) << subject_.label() << ": never met: " << line;
    }
    break;
  case Source::Module:
    expect(kKeptLoans, [](const KeptLoan&) { return true; });
    expect(kToleratedCodes, [](const ToleratedCode&) { return true; });
    break;
  case Source::Allocation:
    for (const ToleratedAllocation& row : kToleratedAllocations) {
      if (row.of(*subject_.method)) {
        const auto met = met_.find(&row);
        EXPECT_EQ(met == met_.end() ? 0 : met->second, row.perRun) << subject_.label() << ": " << row.reason;
      }
    }
    break;
  case Source::None:
    break;
  }
}

}  // namespace faults
