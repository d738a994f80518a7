#include "lookups.h"

jclass findSessionClass(JNIEnv* env) {
  return require(env->FindClass("velnor/nat/NativeSession"), "Class 'velnor/nat/NativeSession' not found");
}

CK_SESSION_HANDLE getSessionHandle(JNIEnv* env, jobject jSession) {
  const jfieldID m_sessionHandle =
      require(env->GetFieldID(findSessionClass(env), "m_sessionHandle", "J"), "Field m_sessionHandle' not found");
  // A long field read as an int: handles are 32 bits wide for every caller, and modules see them sign-extended.
  return widen(env->GetIntField(jSession, m_sessionHandle));
}

jclass findSlotClass(JNIEnv* env) {
  return require(env->FindClass("velnor/nat/NativeSlot"), "Class 'velnor/nat/NativeSlot' not found");
}

jfieldID findSlotID(JNIEnv* env, jclass NativeSlotClass, const char* missing) {
  return require(env->GetFieldID(NativeSlotClass, "m_slotID", "I"), missing);
}

CK_SLOT_ID getSlotID(JNIEnv* env, jobject jSlot, jfieldID slotID) {
  return widen(env->GetIntField(jSlot, slotID));
}

CK_SLOT_ID getSlotID(JNIEnv* env, jobject jSlot) {
  return getSlotID(env, jSlot, findSlotID(env, findSlotClass(env), "Field m_slotID not found"));
}

jclass findVersionClass(JNIEnv* env) {
  return require(env->FindClass("velnor/Version"), "Class 'velnor/Version' not found");
}

jmethodID findVersionConstructor(JNIEnv* env, jclass VersionClass) {
  return require(env->GetMethodID(VersionClass, "<init>", "(II)V"), "Version constructor not found");
}

jobject newVersion(JNIEnv* env, jclass VersionClass, jmethodID constructor, const CK_VERSION& version,
                   const char* refused) {
  const jint minor = version.minor;
  const jint major = version.major;
  return require(env->NewObject(VersionClass, constructor, minor, major), refused);
}

jbyteArray newByteArray(JNIEnv* env, const Buffer& buffer, CK_ULONG length, const char* refused) {
  const jint jLength = Check64BitLen(env, length);
  const jbyteArray array = require(env->NewByteArray(jLength), refused);
  requireWithin(widen(jLength), buffer.size);
  env->SetByteArrayRegion(array, 0, jLength, reinterpret_cast<const jbyte*>(buffer.bytes));
  return array;
}

void requireWithin(CK_ULONG reported, CK_ULONG offered) {
  if (reported > offered) {
    raise("the pkcs#11 library reports more than it was given room for");
  }
}
