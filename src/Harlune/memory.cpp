/// What the library takes from the allocator and from the JVM, and how both get it back.
#include "harlune.h"

#include <cstdlib>
#include <cstring>
#include <malloc.h>

void* tryAllocate(CK_ULONG size) {
  return std::calloc(size == 0 ? 1 : size, 1);
}

void release(void* memory) {
  if (memory != nullptr) {
    explicit_bzero(memory, malloc_usable_size(memory));
    std::free(memory);
  }
}

void resize(Buffer& buffer, CK_ULONG size) {
  release(buffer.bytes);
  buffer = {nullptr, 0};
  buffer = {allocate<CK_BYTE>(size), size};
}

void borrowInput(JNIEnv* env, ByteElements& loan, jbyteArray array, const char* missing) {
  tryBorrow(env, loan, array);
  require(loan.elements, missing);
}

void tryBorrow(JNIEnv* env, ByteElements& loan, jbyteArray array) {
  if (array != nullptr) {
    loan = {array, env->GetByteArrayElements(array, nullptr)};
  }
}

void giveBack(JNIEnv* env, const ByteElements& loan, jint mode) {
  if (loan.elements != nullptr) {
    env->ReleaseByteArrayElements(loan.array, loan.elements, mode);
  }
}

CK_BYTE_PTR at(const ByteElements& loan, jint offset) {
  if (loan.elements == nullptr) {
    return nullptr;
  }
  // By way of an integer: a caller's wild offset must not be undefined behaviour before the module has seen it.
  return reinterpret_cast<CK_BYTE_PTR>(reinterpret_cast<std::uintptr_t>(loan.elements) + widen(offset));
}

Output borrowOutput(JNIEnv* env, ByteElements& loan, jbyteArray array, jint offset) {
  tryBorrow(env, loan, array);
  if (loan.elements == nullptr) {
    return {nullptr, 0};
  }
  const CK_ULONG room = widen(env->GetArrayLength(array)) - widen(offset);
  return {at(loan, offset), widen(narrow(room))};
}

void borrowCharacters(JNIEnv* env, Utf8Characters& loan, jstring string, const char* missing) {
  if (string != nullptr) {
    loan = {string, env->GetStringUTFChars(string, nullptr), 0};
  }
  require(loan.characters, missing);
}

void borrowPin(JNIEnv* env, Utf8Characters& loan, jstring string, const char* missing, const char* empty) {
  borrowCharacters(env, loan, string, missing);
  loan.length = widen(env->GetStringUTFLength(string));
  if (loan.length == 0) {
    raise(empty);
  }
}

void giveBack(JNIEnv* env, const Utf8Characters& loan) {
  if (loan.characters != nullptr) {
    env->ReleaseStringUTFChars(loan.string, loan.characters);
  }
}

CK_UTF8CHAR_PTR text(const Utf8Characters& loan) {
  return reinterpret_cast<CK_UTF8CHAR_PTR>(const_cast<char*>(loan.characters));
}

void requireWithin(CK_ULONG reported, CK_ULONG offered) {
  if (reported > offered) {
    raise("the pkcs#11 library reports more than it was given room for");
  }
}

jbyteArray newByteArray(JNIEnv* env, const Buffer& buffer, CK_ULONG length, const char* refused) {
  const jint jLength = Check64BitLen(env, length);
  const jbyteArray array = require(env->NewByteArray(jLength), refused);
  requireWithin(widen(jLength), buffer.size);
  env->SetByteArrayRegion(array, 0, jLength, reinterpret_cast<const jbyte*>(buffer.bytes));
  return array;
}

jobject newVersion(JNIEnv* env, jclass VersionClass, jmethodID constructor, const CK_VERSION& version,
                   const char* refused) {
  const jint minor = version.minor;
  const jint major = version.major;
  return require(env->NewObject(VersionClass, constructor, minor, major), refused);
}
