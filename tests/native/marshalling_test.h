/// What the tests of the marshalling functions share: these are called directly, without a native method around them.
#pragma once

#include "native_test.h"

#include <sstream>
#include <string>

inline std::string hex(CK_ULONG value) {
  std::ostringstream digits;
  digits << "0x" << std::hex << std::uppercase << value;
  return digits.str();
}

/// The text that a call raised, a raised return value as `CK_RV 0x2`, or "" when it came through.
template <typename Call>
std::string raisedBy(Call&& call) {
  try {
    call();
  } catch (const char* raised) {
    return raised;
  } catch (CK_RV Rv) {
    return "CK_RV " + hex(Rv);
  }
  return "";
}

inline constexpr const char* kHostMemory = "CK_RV 0x2";

/// The bytes at an address, as the journal shows bytes.
inline std::string bytesAt(const void* address, CK_ULONG size) {
  jvm::RecordingEnv shown;
  return shown.show(shown.bytes(std::string(static_cast<const char*>(address), size)));
}
