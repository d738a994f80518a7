/// A program in C++ that knows the library by the header of its exports alone. It also names every function there, so
/// that one which the library does not export does not link.
#include "libharlune.h"

#include <cstdio>
#include <cstring>

extern void (*const functions[])();
void (*const functions[])() = {
    reinterpret_cast<void (*)()>(getCryptokiErrorDesc),
    reinterpret_cast<void (*)()>(static_cast<void (*)(JNIEnv*, const char*, const char*)>(throwPkcs11Exception)),
    reinterpret_cast<void (*)()>(static_cast<void (*)(JNIEnv*, const char*, unsigned long)>(throwPkcs11Exception)),
    reinterpret_cast<void (*)()>(Check64BitLen),
    reinterpret_cast<void (*)()>(LogFunction),
    reinterpret_cast<void (*)()>(rmTrailSpace),
    reinterpret_cast<void (*)()>(EspandiDati),
    reinterpret_cast<void (*)()>(getmodulepath),
    reinterpret_cast<void (*)()>(GetPIN),
    reinterpret_cast<void (*)()>(resetAttributeLen),
    reinterpret_cast<void (*)()>(FreeMechanism),
    reinterpret_cast<void (*)()>(J_EncryptInit),
    reinterpret_cast<void (*)()>(J_DecryptInit),
    reinterpret_cast<void (*)()>(J_DigestInit),
    reinterpret_cast<void (*)()>(J_SignInit),
    reinterpret_cast<void (*)()>(J_VerifyInit),
    reinterpret_cast<void (*)()>(J_SeedRandom),
};

namespace {

int failed = 0;

void check(bool holds, const char* what) {
  if (!holds) {
    std::printf("It does not hold that %s\n", what);
    failed = 1;
  }
}

}  // namespace

int main() {
  check(std::strcmp(getCryptokiErrorDesc(0xA0), "PIN INCORRECT                     ") == 0, "0xA0 is a wrong PIN");
  check(std::strcmp(getCryptokiErrorDesc(0x80000000), "VENDOR DEFINED                    ") == 0,
        "the first of the vendors' values is described as such");

  std::memcpy(g_SignerPin, "1234", 5);
  unsigned char pin[sizeof g_SignerPin] = {};
  unsigned long length = 0;
  check(GetPIN(pin, &length) == 0, "the callback succeeds");
  check(length == 4 && std::memcmp(pin, "1234", 5) == 0, "the callback hands out the PIN that was written");
  return failed;
}
