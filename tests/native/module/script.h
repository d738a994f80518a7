/// Script lines and the answers they stand for.
#pragma once

#include "pkcs11.h"

#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace scripted {

using Bytes = std::vector<CK_BYTE>;

struct Answer {
  std::string line;
  std::string function;
  std::optional<CK_RV> rv;                    ///< forced: the toy is not asked
  std::map<std::string, CK_ULONG> numbers;    ///< key=number
  std::map<std::string, std::string> texts;   ///< key="text" or key=hexadecimal digits
  std::optional<std::vector<CK_ULONG>> list;  ///< list=1,2,5..9
  std::set<std::string> words;

  bool has(const std::string& key) const { return numbers.count(key) != 0; }
  std::optional<CK_ULONG> number(const std::string& key) const;
  bool says(const std::string& word) const { return words.count(word) != 0; }
  /// The bytes of `data=` or `size=`.
  std::optional<Bytes> output() const;
};

/// Empty when the line is understood, else what is wrong with it.
std::string parse(const std::string& line, Answer& answer);

/// `CKR_OK`, or the code in hexadecimal digits when it has no name.
std::string nameOf(CK_RV Rv);

class Script {
public:
  void queue(const Answer& answer) { answers_[answer.function].push_back(answer); }
  Answer next(const std::string& function);
  std::string unused() const;

private:
  std::map<std::string, std::deque<Answer>> answers_;
};

}  // namespace scripted
