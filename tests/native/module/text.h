/// How bytes and numbers read in a journal. Shared by the recording environment and the scripted module, so that one
/// array looks the same on both sides of the library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace text {

inline std::string hex(std::uint64_t value) {
  char digits[24];
  std::snprintf(digits, sizeof digits, "0x%llX", static_cast<unsigned long long>(value));
  return digits;
}

/// A length: decimal as long as it can be one, else the 64-bit value that a negative Java int has become.
inline std::string length(std::uint64_t value) {
  return value < 0x80000000U ? std::to_string(value) : hex(value);
}

inline std::string quoted(const std::string& characters) {
  std::string result = "\"";
  for (const char c : characters) {
    if (c == '"' || c == '\\') {
      result += '\\';
    }
    result += c;
  }
  return result + '"';
}

inline std::string hexDigits(const unsigned char* bytes, std::size_t size) {
  std::string result;
  for (std::size_t i = 0; i < size; ++i) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(bytes[i]));
    result += digits;
  }
  return result;
}

/// "text" when every byte is printable, else hexadecimal digits. Long runs of one byte read `600*00`; other long
/// contents show their first 16 bytes, the size and a checksum over all of them.
inline std::string bytes(const void* data, std::size_t size) {
  constexpr std::size_t kShownWhole = 80;
  const auto* const p = static_cast<const unsigned char*>(data);
  if (size > kShownWhole) {
    if (std::all_of(p, p + size, [p](unsigned char c) { return c == *p; })) {
      return std::to_string(size) + "*" + hexDigits(p, 1);
    }
    std::uint32_t checksum = 2166136261U;  // FNV-1a
    for (std::size_t i = 0; i < size; ++i) {
      checksum = (checksum ^ p[i]) * 16777619U;
    }
    return hexDigits(p, 16) + "..(" + std::to_string(size) + " bytes, checksum " + hex(checksum) + ")";
  }
  if (std::all_of(p, p + size, [](unsigned char c) { return c >= 0x20 && c < 0x7F; })) {
    return quoted(std::string(reinterpret_cast<const char*>(p), size));
  }
  return hexDigits(p, size);
}

}  // namespace text
