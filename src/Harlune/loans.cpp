#include "loans.h"

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
