#include "text_utilities.h"

void traceString(JNIEnv* env, const char* FieldName, const char* message) {
  const jclass PrintStreamClass =
      require(env->FindClass("java/io/PrintStream"), "traceString - Class 'java/io/PrintStream' not found");
  const jclass SystemClass =
      require(env->FindClass("java/lang/System"), "traceString - Class 'java/lang/System' not found");
  const jstring Name = require(env->NewStringUTF(FieldName), "traceString - Name is NULL");
  const jstring Sep = require(env->NewStringUTF(" - "), "traceString - Sep is NULL");
  const jstring Message = require(env->NewStringUTF(message), "traceString - Message is NULL");
  const jfieldID out =
      require(env->GetStaticFieldID(SystemClass, "out", "Ljava/io/PrintStream;"), "traceString - out filed not found");
  const jobject PrintStreamObject =
      require(env->GetStaticObjectField(SystemClass, out), "traceString - PrintStreamObject is NULL");
  const jmethodID println = require(env->GetMethodID(PrintStreamClass, "println", "(Ljava/lang/String;)V"),
                                    "traceString - println method not found");
  const jmethodID print = require(env->GetMethodID(PrintStreamClass, "print", "(Ljava/lang/String;)V"),
                                  "traceString - print method not found");
  env->CallVoidMethod(PrintStreamObject, print, Name);
  env->CallVoidMethod(PrintStreamObject, print, Sep);
  env->CallVoidMethod(PrintStreamObject, println, Message);
  env->DeleteLocalRef(SystemClass);
  env->DeleteLocalRef(PrintStreamClass);
}

void rmTrailSpace(CK_BYTE_PTR str, std::uint32_t len) {
  for (std::uint32_t position = len; position > 1 && str[position - 1] == ' '; --position) {
    str[position - 1] = 0;
  }
}

void EspandiDati(const CK_BYTE* in, char* ou, std::int64_t len) {
  constexpr char digits[] = "0123456789ABCDEF";
  for (std::int64_t i = 0; i < len; ++i) {
    *ou++ = digits[in[i] >> 4];
    *ou++ = digits[in[i] & 0x0F];
  }
  *ou = '\0';
}
