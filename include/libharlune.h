/// What libharlune.so exports beside its native methods, for other code of the process: the record of the one bound
/// module, and functions and tables that cannot fail into their caller.
///
/// It is C and C++ alike and brings no PKCS#11 header along: `CK_` structures stay incomplete until the program
/// includes one of its own, and numbers are spelled with C's own types. In C there are the state and the table of
/// descriptions; the functions have C++ names.
///
/// The state is the library's own, and what refers to it must be compiled with `-fPIC`, as every shared library is: the
/// linker gives a program without it a copy of each variable, which the library never looks at. `-z nocopyreloc` makes
/// the linker refuse.
#pragma once

#include <stdbool.h>
#include <stdint.h>

struct CK_ATTRIBUTE;
struct CK_FUNCTION_LIST;
struct CK_MECHANISM;
struct CK_VERSION;

#ifdef __cplusplus
extern "C" {
#endif

// ---------------------------------------------------------------------------------------------------------------------
// Library state. Unlocked; written by the loading and lifecycle calls only, so nobody may load, initialise or finalise
// while other threads use the module.
// ---------------------------------------------------------------------------------------------------------------------

/// A module's vendor entry that takes the kind of a callback (0: signer PIN) and the callback itself.
typedef unsigned long (*C_SetCallBack_t)(long kind, void* callback);

extern struct CK_FUNCTION_LIST* functionList;   ///< null while no module is bound
extern void* hLibModule;                        ///< the loader's handle of the module, null while none is open
extern char sLibName[1024];                     ///< the file name of the last successful load, as the caller spelled it
extern char sLibFullPath[4096];                 ///< the full path of the last loaded module, empty when none was found
extern int freeLibrary;                         ///< whether the last successful load asked to close its predecessor
extern bool bInitialized;                       ///< C_Initialize has succeeded and C_Finalize has not yet
extern C_SetCallBack_t pC_SetCallBack;          ///< the vendor entry, null when the module has none
extern bool g_bIsSecondAuthenticationRequired;  ///< whether signing needs a second authentication
extern unsigned char g_SignerPin[20];           ///< zero-terminated; filled only by another component of the process
extern struct CK_VERSION libVersion;            ///< the version of this library, not of the module
extern const char* g_sLogPath;                  ///< default path of a log file; nothing here reads or writes it

// ---------------------------------------------------------------------------------------------------------------------
// Descriptions of return values
// ---------------------------------------------------------------------------------------------------------------------

struct ErrorDesc {
  const char* Descr;  ///< padded with blanks to 34 characters
  unsigned long Value;
};

/// Ascending by value; the last row (0xFFFFFFFF) describes every value that has no row.
extern const struct ErrorDesc errorDescriptions[84];

#ifdef __cplusplus
}

#include <jni.h>

/// The description of a return value, padded with blanks to 34 characters; never null. Every value from 0x80000000 on
/// reads "VENDOR DEFINED".
const char* getCryptokiErrorDesc(unsigned long Error);

// ---------------------------------------------------------------------------------------------------------------------
// Reports to Java
// ---------------------------------------------------------------------------------------------------------------------

/// Makes a Java CryptokiException pending: the text travels with code 5. Aborts the process when the JVM cannot build
/// the exception, because a failure that cannot be told must not pass for a success.
void throwPkcs11Exception(JNIEnv* env, const char* FunctionName, const char* Message);

/// Makes a Java CryptokiException pending: the low 32 bits of `Rv` with its description. Aborts like its sibling.
void throwPkcs11Exception(JNIEnv* env, const char* FunctionName, unsigned long Rv);

/// Returns the low 32 bits of `val`. A value that does not fit makes a Java exception pending; the caller goes on.
jint Check64BitLen(JNIEnv* env, jlong val);

// ---------------------------------------------------------------------------------------------------------------------
// Tracing and text utilities
// ---------------------------------------------------------------------------------------------------------------------

/// The hook that native methods call at entry, at exit and at telling steps; `sFuncName` is a format text. Does
/// nothing.
void LogFunction(const char* sFuncName, unsigned long Rv, ...) __attribute__((format(printf, 1, 3)));

/// Replaces the trailing blanks of a field of `len` bytes by zeroes; the first byte is never examined.
void rmTrailSpace(unsigned char* str, uint32_t len);

/// Writes `len` bytes as upper-case hexadecimal digits and a zero into `ou`, which must hold 2 x `len` + 1 characters.
void EspandiDati(const unsigned char* in, char* ou, int64_t len);

// ---------------------------------------------------------------------------------------------------------------------
// The module and the signer PIN
// ---------------------------------------------------------------------------------------------------------------------

/// The full path of a module as a new zero-terminated text that the caller frees, or null when it cannot be found.
char* getmodulepath(void* hModule, const char* sModule);

/// The signer-PIN callback that a module calls on its own thread: stores the length of `g_SignerPin` and, unless `pPin`
/// is null, copies that many bytes without a terminating zero. Always CKR_OK.
unsigned long GetPIN(unsigned char* pPin, unsigned long* ulPinLen);

// ---------------------------------------------------------------------------------------------------------------------
// Attributes and mechanisms
// ---------------------------------------------------------------------------------------------------------------------

/// Sets the length that a read offers to the module: 8 for numbers, 1 for booleans, else the whole buffer.
void resetAttributeLen(CK_ATTRIBUTE* Attribute);

/// Frees the parameter of a mechanism that the library made, and everything it points to, unless it is null or its
/// length is 0. Always returns 0.
long FreeMechanism(CK_MECHANISM* pMechanism);

// ---------------------------------------------------------------------------------------------------------------------
// The start of an operation. Each worker reports its own failure under its own name and returns the module's answer, or
// 0 when it failed before the module was asked: the caller then carries on with the Java exception pending.
// ---------------------------------------------------------------------------------------------------------------------

unsigned long J_EncryptInit(JNIEnv* env, unsigned long hSession, jobject mechanism, jlong jKey);
unsigned long J_DecryptInit(JNIEnv* env, unsigned long hSession, jobject mechanism, jlong jKey);
unsigned long J_DigestInit(JNIEnv* env, unsigned long hSession, jobject jMechanism);
unsigned long J_SignInit(JNIEnv* env, unsigned long hSession, jobject jMechanism, jlong jKey);
unsigned long J_VerifyInit(JNIEnv* env, unsigned long hSession, jobject jMechanism, jlong jKey);

/// Mixes a seed into the token's generator; same contract as the workers above.
unsigned long J_SeedRandom(JNIEnv* env, unsigned long hSession, jbyteArray jSeed);
#endif
