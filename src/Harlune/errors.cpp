/// The one way in which failures reach Java.
#include "harlune.h"

#undef NDEBUG  // the reporter's assertions hold in every kind of build
#include <cassert>
#include <cstring>
#include <limits>

namespace {

constexpr CK_RV kVendorDefined = 0x80000000;
constexpr CK_RV kEndOfTable = 0xFFFFFFFF;

/// The code that every text travels with.
constexpr jint kTextCode = static_cast<jint>(CKR_GENERAL_ERROR);

}  // namespace

// clang-format off
const ErrorDesc errorDescriptions[84] = {
    {"OK                                ", 0x0},
    {"CANCEL                            ", 0x1},
    {"HOST MEMORY                       ", 0x2},
    {"SLOT ID INVALID                   ", 0x3},
    {"GENERAL ERROR                     ", 0x5},
    {"FUNCTION FAILED                   ", 0x6},
    {"ARGUMENTS BAD                     ", 0x7},
    {"NO EVENT                          ", 0x8},
    {"NEED TO CREATE THREADS            ", 0x9},
    {"CANT LOCK                         ", 0xA},
    {"ATTRIBUTE READ ONLY               ", 0x10},
    {"ATTRIBUTE SENSITIVE               ", 0x11},
    {"ATTRIBUTE TYPE INVALID            ", 0x12},
    {"ATTRIBUTE VALUE INVALID           ", 0x13},
    {"DATA INVALID                      ", 0x20},
    {"DATA LEN RANGE                    ", 0x21},
    {"DEVICE ERROR                      ", 0x30},
    {"DEVICE MEMORY                     ", 0x31},
    {"DEVICE REMOVED                    ", 0x32},
    {"ENCRYPTED DATA INVALID            ", 0x40},
    {"ENCRYPTED DATA LEN RANGE          ", 0x41},
    {"FUNCTION CANCELED                 ", 0x50},
    {"FUNCTION NOT PARALLEL             ", 0x51},
    {"FUNCTION NOT SUPPORTED            ", 0x54},
    {"KEY HANDLE INVALID                ", 0x60},
    {"KEY SIZE RANGE                    ", 0x62},
    {"KEY NOT NEEDED                    ", 0x64},
    {"KEY CHANGED                       ", 0x65},
    {"KEY NEEDED                        ", 0x66},
    {"KEY INDIGESTIBLE                  ", 0x67},
    {"KEY FUNCTION NOT PERMITTED        ", 0x68},
    {"KEY NOT WRAPPABLE                 ", 0x69},
    {"KEY UNEXTRACTABLE                 ", 0x6A},
    {"MECHANISM INVALID                 ", 0x70},
    {"MECHANISM PARAM INVALID           ", 0x71},
    {"OBJECT HANDLE INVALID             ", 0x82},
    {"OPERATION ACTIVE                  ", 0x90},
    {"OPERATION NOT INITIALIZED         ", 0x91},
    {"PIN INCORRECT                     ", 0xA0},
    {"PIN INVALID                       ", 0xA1},
    {"PIN LEN RANGE                     ", 0xA2},
    {"PIN EXPIRED                       ", 0xA3},
    {"PIN LOCKED                        ", 0xA4},
    {"SESSION CLOSED                    ", 0xB0},
    {"SESSION COUNT                     ", 0xB1},
    {"SESSION HANDLE INVALID            ", 0xB3},
    {"SESSION PARALLEL NOT SUPPORTED    ", 0xB4},
    {"SESSION READ ONLY                 ", 0xB5},
    {"SESSION EXISTS                    ", 0xB6},
    {"SESSION READ ONLY EXISTS          ", 0xB7},
    {"SESSION READ WRITE SO EXISTS      ", 0xB8},
    {"SIGNATURE INVALID                 ", 0xC0},
    {"SIGNATURE LEN RANGE               ", 0xC1},
    {"TEMPLATE INCOMPLETE               ", 0xD0},
    {"TEMPLATE INCONSISTENT             ", 0xD1},
    {"TOKEN NOT PRESENT                 ", 0xE0},
    {"TOKEN NOT RECOGNIZED              ", 0xE1},
    {"TOKEN WRITE PROTECTED             ", 0xE2},
    {"UNWRAPPING KEY HANDLE INVALID     ", 0xF0},
    {"UNWRAPPING KEY SIZE RANGE         ", 0xF1},
    {"UNWRAPPING KEY TYPE INCONSISTENT  ", 0xF2},
    {"USER ALREADY LOGGED IN            ", 0x100},
    {"USER NOT LOGGED IN                ", 0x101},
    {"USER PIN NOT INITIALIZED          ", 0x102},
    {"USER TYPE INVALID                 ", 0x103},
    {"USER ANOTHER ALREADY LOGGED IN    ", 0x104},
    {"USER TOO MANY TYPES               ", 0x105},
    {"WRAPPED KEY INVALID               ", 0x110},
    {"WRAPPED KEY LEN RANGE             ", 0x112},
    {"WRAPPING KEY HANDLE INVALID       ", 0x113},
    {"WRAPPING KEY SIZE RANGE           ", 0x114},
    {"WRAPPING KEY TYPE INCONSISTENT    ", 0x115},
    {"RANDOM SEED NOT SUPPORTED         ", 0x120},
    {"RANDOM NO RNG                     ", 0x121},
    {"BUFFER TOO SMALL                  ", 0x150},
    {"SAVED STATE INVALID               ", 0x160},
    {"INFORMATION SENSITIVE             ", 0x170},
    {"STATE UNSAVEABLE                  ", 0x180},
    {"CRYPTOKI NOT INITIALIZED          ", 0x190},
    {"CRYPTOKI ALREADY INITIALIZED      ", 0x191},
    {"MUTEX BAD                         ", 0x1A0},
    {"MUTEX NOT LOCKED                  ", 0x1A1},
    {"VENDOR DEFINED                    ", 0x80000000},
    {"NO ERROR DESC FOUND               ", 0xFFFFFFFF},
};
// clang-format on

const char* getCryptokiErrorDesc(CK_RV Error) {
  const CK_RV Value = Error >= kVendorDefined ? kVendorDefined : Error;
  const ErrorDesc* row = errorDescriptions;
  while (row->Value != kEndOfTable && row->Value != Value) {
    ++row;
  }
  return row->Descr;
}

namespace {

/// Aborts in every kind of build: a failure that cannot be reported must not end as a normal return. The file and
/// function in the message are the names that callers' crash reports are searched for.
#define MUST_HOLD(condition, reporter)                                                                                 \
  (static_cast<bool>(condition) ? static_cast<void>(0) : __assert_fail(#condition, "Harlune", __LINE__, reporter))

/// A Java byte[] of the characters without their terminating zero; null when the JVM refuses.
jbyteArray newCharacterArray(JNIEnv* env, const char* characters) {
  const jint length = Check64BitLen(env, static_cast<CK_ULONG>(std::strlen(characters)));
  const jbyteArray array = env->NewByteArray(length);
  if (array != nullptr) {
    env->SetByteArrayRegion(array, 0, length, reinterpret_cast<const jbyte*>(characters));
  }
  return array;
}

/// The strings are built from bytes, so the JVM decodes them with the platform's default charset: texts of the dynamic
/// loader need not be modified UTF-8.
jthrowable newException(JNIEnv* env, const char* FunctionName, jint code, const char* Message, const char* reporter) {
  const jclass CryptokiExceptionClass = env->FindClass("velnor/CryptokiException");
  MUST_HOLD(CryptokiExceptionClass != nullptr, reporter);
  const jclass StringClass = env->FindClass("java/lang/String");
  MUST_HOLD(StringClass != nullptr, reporter);
  const jmethodID jConstructor =
      env->GetMethodID(CryptokiExceptionClass, "<init>", "(Ljava/lang/String;ILjava/lang/String;)V");
  MUST_HOLD(jConstructor != nullptr, reporter);
  const jmethodID jConstructorString = env->GetMethodID(StringClass, "<init>", "([B)V");
  MUST_HOLD(jConstructorString != nullptr, reporter);
  const jbyteArray FunctionNameArray = newCharacterArray(env, FunctionName);
  MUST_HOLD(FunctionNameArray != nullptr, reporter);
  const jbyteArray MessageArray = newCharacterArray(env, Message);
  MUST_HOLD(MessageArray != nullptr, reporter);
  const jobject FunctionNameString = env->NewObject(StringClass, jConstructorString, FunctionNameArray);
  MUST_HOLD(FunctionNameString != nullptr, reporter);
  const jobject MessageString = env->NewObject(StringClass, jConstructorString, MessageArray);
  MUST_HOLD(MessageString != nullptr, reporter);
  const jobject jPkcs11Exception =
      env->NewObject(CryptokiExceptionClass, jConstructor, FunctionNameString, code, MessageString);
  MUST_HOLD(jPkcs11Exception != nullptr, reporter);
  env->DeleteLocalRef(CryptokiExceptionClass);
  env->DeleteLocalRef(StringClass);
  return static_cast<jthrowable>(jPkcs11Exception);
}

}  // namespace

void throwPkcs11Exception(JNIEnv* env, const char* FunctionName, const char* Message) {
  env->Throw(newException(env, FunctionName, kTextCode, Message,
                          "void throwPkcs11Exception(JNIEnv*, const char*, const char*)"));
}

void throwPkcs11Exception(JNIEnv* env, const char* FunctionName, CK_RV Rv) {
  LogFunction("throwPkcs11Exception - entry", Rv);
  const jthrowable jPkcs11Exception = newException(env, FunctionName, narrow(Rv), getCryptokiErrorDesc(Rv),
                                                   "void throwPkcs11Exception(JNIEnv*, const char*, CK_RV)");
  LogFunction("throwPkcs11Exception : before Throw", Rv);
  env->Throw(jPkcs11Exception);
}

jint Check64BitLen(JNIEnv* env, jlong val) {
  if (val < std::numeric_limits<jint>::min() || val > std::numeric_limits<jint>::max()) {
    throwPkcs11Exception(env, "Check64BitLen", "Value out of size for 32 bit (jint)");
  }
  return narrow(static_cast<CK_ULONG>(val));
}
