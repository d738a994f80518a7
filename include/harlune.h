/// The one header that the sources of the library share: the state of the bound module, the frame of a native method,
/// the way failures reach Java, what a method borrows from the JVM and from the allocator, and the marshalling.
///
/// A failure inside the library is raised as one of exactly two kinds: a constant text (`const char*`) or a PKCS#11
/// return value (`CK_RV`). The frame catches both and leaves a Java `velnor.CryptokiException` pending.
#pragma once

#include "pkcs11.h"

#include <jni.h>

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------------------------------------------------------------
// Library state: the record of the one bound module. Exported by name, unlocked; written by the loading and lifecycle
// calls only, so nobody may load, initialise or finalise while other threads use the module.
// ---------------------------------------------------------------------------------------------------------------------

/// A module's vendor entry that takes the kind of a callback (0: signer PIN) and the callback itself.
using C_SetCallBack_t = CK_RV (*)(CK_LONG kind, CK_VOID_PTR callback);

extern "C" {
extern CK_FUNCTION_LIST_PTR functionList;       ///< null while no module is bound
extern void* hLibModule;                        ///< the loader's handle of the module, null while none is open
extern char sLibName[1024];                     ///< the file name of the last successful load, as the caller spelled it
extern char sLibFullPath[4096];                 ///< the full path of the last loaded module, empty when none was found
extern int freeLibrary;                         ///< whether the last successful load asked to close its predecessor
extern bool bInitialized;                       ///< C_Initialize has succeeded and C_Finalize has not yet
extern C_SetCallBack_t pC_SetCallBack;          ///< the vendor entry, null when the module has none
extern bool g_bIsSecondAuthenticationRequired;  ///< whether signing needs a second authentication
extern CK_BYTE g_SignerPin[20];                 ///< zero-terminated; filled only by another component of the process
extern CK_VERSION libVersion;                   ///< the version of this library, not of the module
extern const char* g_sLogPath;                  ///< default path of a log file; nothing here reads or writes it
}

// ---------------------------------------------------------------------------------------------------------------------
// Tracing and text utilities
// ---------------------------------------------------------------------------------------------------------------------

/// The hook that native methods call at entry, at exit and at telling steps; `sFuncName` is a format text. Does
/// nothing.
void LogFunction(const char* sFuncName, CK_RV Rv, ...) __attribute__((format(printf, 1, 3)));

/// Prints "<FieldName> - <message>" and a line end on Java's `System.out`. Raises a text when the JVM refuses a step.
void traceString(JNIEnv* env, const char* FieldName, const char* message);

/// Replaces the trailing blanks of a field of `len` bytes by zeroes; the first byte is never examined.
void rmTrailSpace(CK_BYTE_PTR str, std::uint32_t len);

/// Writes `len` bytes as upper-case hexadecimal digits and a zero into `ou`, which must hold 2 x `len` + 1 characters.
void EspandiDati(const CK_BYTE* in, char* ou, std::int64_t len);

// ---------------------------------------------------------------------------------------------------------------------
// Errors
// ---------------------------------------------------------------------------------------------------------------------

struct ErrorDesc {
  const char* Descr;  ///< padded with blanks to 34 characters
  CK_RV Value;
};

/// Ascending by value; the last row (0xFFFFFFFF) describes every value that has no row.
extern const ErrorDesc errorDescriptions[84];

/// The description of a return value, padded with blanks to 34 characters; never null. Every value from 0x80000000 on
/// reads "VENDOR DEFINED".
const char* getCryptokiErrorDesc(CK_RV Error);

/// Makes a Java CryptokiException pending: the text travels with code 5. Aborts the process when the JVM cannot build
/// the exception, because a failure that cannot be told must not pass for a success.
void throwPkcs11Exception(JNIEnv* env, const char* FunctionName, const char* Message);

/// Makes a Java CryptokiException pending: the low 32 bits of `Rv` with its description. Aborts like its sibling.
void throwPkcs11Exception(JNIEnv* env, const char* FunctionName, CK_RV Rv);

/// Returns the low 32 bits of `val`. A value that does not fit makes a Java exception pending; the caller goes on.
jint Check64BitLen(JNIEnv* env, jlong val);

inline jint Check64BitLen(JNIEnv* env, CK_ULONG val) {
  return Check64BitLen(env, static_cast<jlong>(val));
}

[[noreturn]] inline void raise(const char* text) {
  throw text;
}
[[noreturn]] inline void raise(CK_RV Rv) {
  throw Rv;
}

/// This lookup or creation must succeed, else the text is raised.
template <typename T>
T require(T result, const char* text) {
  if (result == nullptr) {
    raise(text);
  }
  return result;
}

inline void requireOk(CK_RV Rv) {
  if (Rv != CKR_OK) {
    raise(Rv);
  }
}

// ---------------------------------------------------------------------------------------------------------------------
// The frame of a native method
// ---------------------------------------------------------------------------------------------------------------------

/// Runs `work` and reports what it raises under `reportName`; `onFailure` runs before a report. Tells whether `work`
/// got through. What the method has borrowed is given back behind the frame, so after the report.
template <typename Work, typename OnFailure>
bool reporting(JNIEnv* env, const char* reportName, Work&& work, OnFailure&& onFailure) noexcept {
  try {
    work();
    return true;
  } catch (const char* Message) {
    onFailure();
    throwPkcs11Exception(env, reportName, Message);
  } catch (CK_RV Rv) {
    onFailure();
    throwPkcs11Exception(env, reportName, Rv);
  }
  return false;
}

template <typename Work>
bool reporting(JNIEnv* env, const char* reportName, Work&& work) noexcept {
  return reporting(env, reportName, work, [] {});
}

/// The frame of every method that needs an initialised module.
template <typename Work, typename... OnFailure>
bool frame(JNIEnv* env, const char* reportName, Work&& work, OnFailure&&... onFailure) noexcept {
  return reporting(
      env, reportName,
      [&work] {
        if (!bInitialized) {
          raise(CKR_CRYPTOKI_NOT_INITIALIZED);
        }
        work();
      },
      onFailure...);
}

/// Calls an entry of the module and returns its answer. A module without a function list counts as not initialised and
/// an empty entry as not supported, so that neither is ever called.
template <typename Entry, typename... Arguments>
CK_RV invoke(Entry CK_FUNCTION_LIST::*entry, Arguments... arguments) {
  const CK_FUNCTION_LIST* list = functionList;
  if (list == nullptr) {
    return CKR_CRYPTOKI_NOT_INITIALIZED;
  }
  if (list->*entry == nullptr) {
    return CKR_FUNCTION_NOT_SUPPORTED;
  }
  return (list->*entry)(arguments...);
}

/// Calls an entry of the module, which must answer CKR_OK.
template <typename Entry, typename... Arguments>
void callModule(Entry CK_FUNCTION_LIST::*entry, Arguments... arguments) {
  requireOk(invoke(entry, arguments...));
}

// ---------------------------------------------------------------------------------------------------------------------
// Widths
// ---------------------------------------------------------------------------------------------------------------------

/// Every Java int that becomes a PKCS#11 value is widened by sign extension.
inline CK_ULONG widen(jint value) {
  return static_cast<CK_ULONG>(static_cast<CK_LONG>(value));
}

/// The low 32 bits of a PKCS#11 value as a Java int, for the places that cut without a report.
inline jint narrow(CK_ULONG value) {
  return static_cast<jint>(static_cast<std::uint32_t>(value));
}

/// The handles of keys and objects travel as full 64-bit Java longs.
inline CK_ULONG handle(jlong value) {
  return static_cast<CK_ULONG>(value);
}

/// A new object's handle on its way to Java; 0 after a failure, whatever the module left behind.
inline jlong handleOrNone(bool succeeded, CK_OBJECT_HANDLE hObject) {
  return succeeded ? static_cast<jlong>(hObject) : 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// Memory. Everything the library allocates may hold a PIN, a key or a plaintext, so all of it is zeroed when taken and
// wiped when given back.
// ---------------------------------------------------------------------------------------------------------------------

/// `size` zeroed bytes (at least one), or null when the allocator refuses.
void* tryAllocate(CK_ULONG size);

/// `count` zeroed elements; raises CKR_HOST_MEMORY when the allocator refuses or the size cannot be expressed.
template <typename T>
T* allocate(CK_ULONG count) {
  CK_ULONG size = 0;
  void* const memory = __builtin_mul_overflow(count, sizeof(T), &size) ? nullptr : tryAllocate(size);
  if (memory == nullptr) {
    raise(CKR_HOST_MEMORY);
  }
  return static_cast<T*>(memory);
}

/// Wipes and frees what came from the allocator; null is fine.
void release(void* memory);

/// A heap buffer for a module's output. A zeroed value owns nothing.
struct Buffer {
  CK_BYTE_PTR bytes;
  CK_ULONG size;
};

/// Gives `buffer` room for `size` bytes; the old contents are not kept. Raises CKR_HOST_MEMORY.
void resize(Buffer& buffer, CK_ULONG size);

// ---------------------------------------------------------------------------------------------------------------------
// What a method borrows from the JVM: declared before the frame, given back behind it
// ---------------------------------------------------------------------------------------------------------------------

/// The elements of a Java byte[]; a zeroed value has borrowed nothing.
struct ByteElements {
  jbyteArray array;
  jbyte* elements;
};

/// Borrows the elements of an array that the module reads; a null array or refused elements raise the text.
void borrowInput(JNIEnv* env, ByteElements& loan, jbyteArray array, const char* missing);

/// Borrows the elements if there are any to be had; the caller looks at `loan.elements`.
void tryBorrow(JNIEnv* env, ByteElements& loan, jbyteArray array);

/// Gives the elements back, if any were borrowed: JNI_ABORT for input, 0 to copy output back.
void giveBack(JNIEnv* env, const ByteElements& loan, jint mode);

/// The borrowed element at a Java offset, or null when nothing was borrowed. Offsets are the caller's business and are
/// not compared with the array.
CK_BYTE_PTR at(const ByteElements& loan, jint offset);

/// Where a module writes: the rest of the caller's array behind an offset, or a length query (null, length 0).
struct Output {
  CK_BYTE_PTR bytes;
  CK_ULONG length;
};

/// Borrows the caller's output array; a missing array or refused elements make a length query.
Output borrowOutput(JNIEnv* env, ByteElements& loan, jbyteArray array, jint offset);

/// The modified UTF-8 characters of a Java string; a zeroed value has borrowed nothing.
struct Utf8Characters {
  jstring string;
  const char* characters;
  CK_ULONG length;
};

/// Borrows the characters of a string; a null string (the JVM is not asked) or refused characters raise the text.
void borrowCharacters(JNIEnv* env, Utf8Characters& loan, jstring string, const char* missing);

/// Borrows the characters of a PIN and measures them; an empty PIN raises the second text before a module is asked.
void borrowPin(JNIEnv* env, Utf8Characters& loan, jstring string, const char* missing, const char* empty);

/// Gives the characters back, if any were borrowed.
void giveBack(JNIEnv* env, const Utf8Characters& loan);

/// The characters as a PKCS#11 text.
CK_UTF8CHAR_PTR text(const Utf8Characters& loan);

// ---------------------------------------------------------------------------------------------------------------------
// New Java objects
// ---------------------------------------------------------------------------------------------------------------------

/// A new Java byte[] of `length` bytes out of `buffer`. A refused array raises the text; a module that claims more
/// bytes than it was given room for raises one of its own.
jbyteArray newByteArray(JNIEnv* env, const Buffer& buffer, CK_ULONG length, const char* refused);

/// A new `velnor.Version`; its constructor takes the minor number first.
jobject newVersion(JNIEnv* env, jclass VersionClass, jmethodID constructor, const CK_VERSION& version,
                   const char* refused);

/// Raises a text unless a count or length that the module reported lies within what it was offered.
void requireWithin(CK_ULONG reported, CK_ULONG offered);

// ---------------------------------------------------------------------------------------------------------------------
// Marshalling
// ---------------------------------------------------------------------------------------------------------------------

/// The size of the value buffer of a read template.
inline constexpr CK_ULONG kReadBufferSize = 2048;

/// Builds a template from a Java `velnor.Attribute[]`; null gives a null template of length 0. Raises texts and
/// CKR_HOST_MEMORY; what was allocated by then stays attached to the template. Free it with `freeTemplate`.
void Attribute2CKAttribute(JNIEnv* env, jobjectArray jTemplate, CK_ATTRIBUTE_PTR& Template, CK_ULONG& TemplateLen);

/// Builds a read template from a Java int[] of attribute types (null counts as empty). All entries share one value
/// buffer, so each is to be read and converted before the next. Free it with `freeReadTemplate`.
void Attribute2CKAttribute_Get(JNIEnv* env, jintArray jAttributes, CK_ATTRIBUTE_PTR& Template, CK_ULONG& TemplateLen);

/// Fills one read entry with a value buffer of its own, or a null one when the allocator refuses.
void Attribute2CKAttribute_Get(JNIEnv* env, jint jAttribute, CK_ATTRIBUTE_PTR Template);

/// Sets the length that a read offers to the module: 8 for numbers, 1 for booleans, else the whole buffer.
void resetAttributeLen(CK_ATTRIBUTE_PTR Attribute);

/// Converts a filled entry into a new Integer, Boolean or byte[] by its type alone; null for a type without conversion.
jobject CkAttribute2Pkcs11Attribute(JNIEnv* env, CK_ATTRIBUTE elemTemplate);

/// The Java class that attributes read from a token become. The text of a missing constructor is the method's own.
struct AttributeClass {
  jclass path;
  jmethodID constructor;
};
AttributeClass findAttributeClass(JNIEnv* env, const char* constructorMissing);

/// A new `velnor.Attribute` of an entry's type (its low 32 bits) and a value, which may be null.
jobject newAttribute(JNIEnv* env, const AttributeClass& attributeClass, const CK_ATTRIBUTE& entry, jobject value,
                     const char* refused);

/// Reads one attribute into `entry` and, when the module answers CKR_OK, converts it into `value`; else `value` is
/// null.
CK_RV readAttribute(JNIEnv* env, CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE& entry,
                    jobject& value);

/// Gives back a template of `Attribute2CKAttribute`: every value, then the entries.
void freeTemplate(CK_ATTRIBUTE_PTR Template, CK_ULONG TemplateLen);

/// Gives back a read template: the one shared value buffer, then the entries.
void freeReadTemplate(CK_ATTRIBUTE_PTR Template, CK_ULONG TemplateLen);

/// Fills `Mechanism` from a Java `velnor.Mechanism`. Raises texts and CKR_HOST_MEMORY; the parameter is attached only
/// when complete. Some rows report a short text at once before they raise the long one. Free with `FreeMechanism`.
void Mechanism2CKMechanism(JNIEnv* env, jobject jMechanism, CK_MECHANISM* Mechanism);

/// Frees the parameter and everything it points to, unless it is null or its length is 0. Always returns 0.
long FreeMechanism(CK_MECHANISM_PTR pMechanism);

// ---------------------------------------------------------------------------------------------------------------------
// Module, slots and sessions
// ---------------------------------------------------------------------------------------------------------------------

/// Binds the module `library`; a failed load leaves the library unbound. Raises a text or a return value.
void loadLibrary(const char* library, int freeLib, int bChangeDir);

/// Closes the bound module's handle; `pC_SetCallBack` is forgotten once the module it points into is unmapped.
void closeModule();

/// The full path of a module as a new zero-terminated text that the caller frees, or null when it cannot be found.
char* getmodulepath(void* hModule, const char* sModule);

/// The signer-PIN callback that a module calls on its own thread: stores the length of `g_SignerPin` and, unless `pPin`
/// is null, copies that many bytes without a terminating zero. Always CKR_OK.
CK_RV GetPIN(CK_CHAR_PTR pPin, CK_ULONG_PTR ulPinLen);

/// Empties the signer PIN and hands `GetPIN` to a module that offers the vendor entry.
void installSignerPinCallback(C_SetCallBack_t setCallBack);

/// Whether a module's file name marks the family that asks for the signer PIN through the vendor entry.
bool isOfCallbackFamily(const char* library);

/// The slot of a Java `NativeSlot`, for the methods that look up nothing between its class and its field.
CK_SLOT_ID getSlotID(JNIEnv* env, jobject jSlot);

/// The session of a Java `NativeSession`: the low 32 bits of its long field, sign-extended.
CK_SESSION_HANDLE getSessionHandle(JNIEnv* env, jobject jSession);

// ---------------------------------------------------------------------------------------------------------------------
// The start of an operation. Each worker reports its own failure under its own name and returns the module's answer, or
// 0 when it failed before the module was asked: the caller then carries on with the Java exception pending.
// ---------------------------------------------------------------------------------------------------------------------

CK_RV J_EncryptInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject mechanism, jlong jKey);
CK_RV J_DecryptInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject mechanism, jlong jKey);
CK_RV J_DigestInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject jMechanism);
CK_RV J_SignInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject jMechanism, jlong jKey);
CK_RV J_VerifyInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject jMechanism, jlong jKey);

/// Mixes a seed into the token's generator; same contract as the workers above.
CK_RV J_SeedRandom(JNIEnv* env, CK_SESSION_HANDLE hSession, jbyteArray jSeed);
