/* A program in C that knows the library by the header of its exports alone: the state and the descriptions. */
#include "libharlune.h"

#include <stdio.h>
#include <string.h>

#ifdef JNI_VERSION_1_1
#error "the header needs a JDK in C"
#endif

/* What a PKCS#11 header of the program's own would bring. */
struct CK_VERSION {
  unsigned char major;
  unsigned char minor;
};

static int failed = 0;

static void check(int holds, const char* what) {
  if (!holds) {
    printf("It does not hold that %s\n", what);
    failed = 1;
  }
}

static const char* describe(unsigned long Rv) {
  const size_t count = sizeof errorDescriptions / sizeof errorDescriptions[0];
  for (size_t i = 0; i < count; ++i) {
    if (errorDescriptions[i].Value == Rv) {
      return errorDescriptions[i].Descr;
    }
  }
  return errorDescriptions[count - 1].Descr;
}

int main(void) {
  check(strcmp(describe(0xA0), "PIN INCORRECT                     ") == 0, "0xA0 is a wrong PIN");
  check(strcmp(describe(0x12345), describe(0xFFFFFFFF)) == 0, "the last row describes whatever has none");

  check(functionList == NULL && hLibModule == NULL && pC_SetCallBack == NULL, "no module is bound");
  check(sLibName[0] == '\0' && sLibFullPath[0] == '\0', "no module has a name");
  check(freeLibrary == 0 && !bInitialized, "nothing was loaded nor initialised");
  check(g_bIsSecondAuthenticationRequired, "signing needs a second authentication");
  check(g_sLogPath[0] != '\0', "there is a path for a log");
  check(libVersion.major == VERSION_MAJOR && libVersion.minor == VERSION_MINOR, "the version is the project's");

  check(g_SignerPin[0] == 0, "there is no signer PIN");
  memcpy(g_SignerPin, "1234", 5);
  check(strcmp((const char*)g_SignerPin, "1234") == 0, "the signer PIN can be written");
  return failed;
}
