/// Judges what came of a fault, from the journal alone: every cause has its report right behind it, every report has a
/// cause, and nothing but giving back follows the method's own report.
#pragma once

#include "tables.h"

#include <map>

namespace faults {

class Judge {
public:
  /// Fails the test unless the run went well: the row of such a method lacks something.
  Judge(const Subject& subject, const Outcome& good);

  void judge(const Injection& injection, const Outcome& outcome);
  /// Every row of the tables that is about this method was met, as far as this source can.
  void expectEveryException(Source source) const;

private:
  struct Report {
    std::string function;
    std::uint32_t code;
    bool isText;
  };
  /// What one pass over a journal knows.
  struct Run {
    const Injection& injection;
    const Outcome& outcome;
    bool inWorker;
    bool workerRefused = false;  ///< by the module
    bool methodFailed = false;
    unsigned reports = 0;
    unsigned causeless = 0;
    bool mustBeReported = false;
    bool mayBeReportedLater = false;
    std::optional<ModuleLine> lastModuleCall = std::nullopt;
  };

  static std::optional<Report> readReport(const std::string& line);
  static bool isRefused(const std::string& line);

  void judgeReport(Run& run, std::size_t at, const Report& report);
  void judgeCauseless(Run& run, const Report& report, const std::string& line);
  void judgeRefusal(Run& run, std::size_t at);
  void judgeModuleCall(Run& run, std::size_t at, const ModuleLine& call);
  void judgeRelease(Run& run, const std::string& line);
  void judgeEnd(Run& run);
  void judgeLie(const Run& run) const;
  void judgeLoans(const Run& run);
  void judgeResult(const Run& run) const;
  CK_ULONG lengthAfterFailure(const Run& run) const;
  bool isTolerated(const ModuleLine& call);
  std::string reportNameOfPhase(const Run& run) const { return run.inWorker ? worker_ : subject_.method->reportName; }
  static bool hasLine(const Outcome& outcome, const std::string& line);

  const Subject& subject_;
  std::string worker_;  ///< the report name of the method's worker, empty without one
  std::map<const void*, unsigned> met_;
};

}  // namespace faults
