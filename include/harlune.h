/// What every source of the library needs: the record of the bound module, the two kinds of failure, the frame of a
/// native method, and the widths of numbers. What only some need lies in headers beside the sources.
///
/// A failure inside the library is raised as one of exactly two kinds: a constant text (`const char*`) or a PKCS#11
/// return value (`CK_RV`). The frame catches both and leaves a Java `velnor.CryptokiException` pending.
#pragma once

#include "libharlune.h"
#include "pkcs11.h"

#include <jni.h>

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------------------------------------------------------------
// Failures
// ---------------------------------------------------------------------------------------------------------------------

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
      // cppcheck-suppress throwInNoexceptFunction ; `reporting` catches what the lambda raises
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

/// The low 32 bits of a PKCS#11 value as a Java int, with a report of one that does not fit.
inline jint Check64BitLen(JNIEnv* env, CK_ULONG val) {
  return Check64BitLen(env, static_cast<jlong>(val));
}

/// The handles of keys and objects travel as full 64-bit Java longs.
inline CK_ULONG handle(jlong value) {
  return static_cast<CK_ULONG>(value);
}

/// A new object's handle on its way to Java; 0 after a failure, whatever the module left behind.
inline jlong handleOrNone(bool succeeded, CK_OBJECT_HANDLE hObject) {
  return succeeded ? static_cast<jlong>(hObject) : 0;
}
