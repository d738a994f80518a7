/// Where the methods deliberately do not do what all others do. Every row must be met, or its test fails: a row that no
/// fault reaches any more says that the code and its promise have drifted apart.
#pragma once

#include "injections.h"

namespace faults {

using Of = bool (*)(const Method&);

struct KeptLoan {
  Of of;
  std::string array;
  bool afterFailureOnly;
  const char* reason;
};

/// A refused JNI call that is not reported, or not at once.
struct ToleratedCall {
  Of of;
  std::string line;  ///< how the call begins in the journal
  bool reportedLater;
  const char* reason;
};

constexpr CK_RV kAnyCode = CKR_OK;

/// A failing module call that is not reported.
struct ToleratedCode {
  Of of;
  std::string function;
  CK_RV Rv;
  const char* reason;
};

/// A failed allocation that is not reported.
struct ToleratedAllocation {
  Of of;
  unsigned perRun;  ///< so many, and no more
  const char* reason;
};

/// The words in which a refused look-up is reported, whatever the method.
struct LookupText {
  std::string line;  ///< how the call begins in the journal
  std::string text;
};

extern const std::vector<LookupText> kLookupTexts;
extern const std::vector<KeptLoan> kKeptLoans;
extern const std::vector<ToleratedCall> kToleratedCalls;
extern const std::vector<ToleratedCode> kToleratedCodes;
extern const std::vector<ToleratedAllocation> kToleratedAllocations;

/// The methods that report a refusal of their worker again.
bool reportsTwice(const Method& method);
/// The methods that repeat a call with a larger buffer for as long as the module wants one.
bool grows(const Method& method);
/// A JNI call whose 0 or null is a value like any other.
bool answersAValue(const std::string& jniFunction);

}  // namespace faults
