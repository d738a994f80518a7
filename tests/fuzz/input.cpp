#include "input.h"

#include "../native/module/text.h"
#include "java_model.h"

#include <charconv>

namespace fuzz {
namespace {

constexpr std::size_t kLongest = 4096;

}  // namespace

std::uint64_t number(std::string_view word) {
  const bool negative = !word.empty() && word.front() == '-';
  word.remove_prefix(negative ? 1 : 0);
  const bool hexadecimal = word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
  word.remove_prefix(hexadecimal ? 2 : 0);
  std::uint64_t value = 0;
  std::from_chars(word.data(), word.data() + word.size(), value, hexadecimal ? 16 : 10);
  return negative ? 0 - value : value;
}

std::string hex(std::uint64_t value) {
  return text::hex(value);
}

std::string hexDigits(std::string_view bytes) {
  return text::hexDigits(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

std::string sized(std::string_view word, std::string_view contents) {
  cut(word, ':');
  std::string result(contents);
  if (!word.empty()) {
    result.resize(number(word) % kLongest);
    for (std::size_t i = contents.size(); i < result.size() && !contents.empty(); ++i) {
      result[i] = result[i - contents.size()];
    }
  }
  return result;
}

std::u16string units(std::string_view characters) {
  constexpr std::size_t kEscape = 6;
  std::u16string result;
  while (!characters.empty()) {
    const std::size_t plain = std::min(characters.find("\\u"), characters.size());
    result += jvm::fromUtf8(std::string(characters.substr(0, plain)));
    characters.remove_prefix(plain);
    if (!characters.empty()) {
      result += static_cast<char16_t>(number("0x" + std::string(characters.substr(2, kEscape - 2))));
      characters.remove_prefix(std::min(kEscape, characters.size()));
    }
  }
  return result;
}

}  // namespace fuzz
