/// What a fuzzer's bytes mean. Inputs are lines of words, so that seeds and findings can be read and written by hand,
/// and every sequence of bytes means something: a word that says nothing else chooses by its hash.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

/// What follows a separator is left in `rest`; without one that is nothing.
inline std::string_view cut(std::string_view& rest, char separator) {
  const std::size_t at = rest.find(separator);
  const std::string_view first = rest.substr(0, at);
  rest = at == std::string_view::npos ? std::string_view() : rest.substr(at + 1);
  return first;
}

inline std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    parts.push_back(cut(text, separator));
  }
  return parts;
}

inline std::size_t hash(std::string_view word) {
  std::uint32_t sum = 2166136261U;
  for (const char c : word) {
    sum = (sum ^ static_cast<unsigned char>(c)) * 16777619U;
  }
  return sum;
}

/// A decimal or hexadecimal number, negative ones included; the digits that do not fit are lost. Anything else is 0.
std::uint64_t number(std::string_view word);

/// The same in the spelling of the scripted module.
std::string hex(std::uint64_t value);
std::string hexDigits(std::string_view bytes);

/// One of several, by the hash of a word.
template <typename Several>
const auto& oneOf(const Several& several, std::string_view word) {
  return several[hash(word) % several.size()];
}

/// `bytes:300 abc` repeats what follows to a length of 300; `bytes abc` is just that.
std::string sized(std::string_view word, std::string_view contents);

/// UTF-16 units from UTF-8; `\uXXXX` gives any unit, a zero and half a surrogate pair included.
std::u16string units(std::string_view text);

}  // namespace fuzz
