#include "env_functions.h"

#include <gtest/gtest.h>

namespace jvm {
namespace {

const Class* denoted(RecordingEnv& env, jclass reference, const char* function) {
  const Object* const object = env.require(reference, function);
  if (object != nullptr && object->denotes == nullptr) {
    ADD_FAILURE() << function << " on " << object->name << ", which is not a class";
  }
  return object == nullptr ? nullptr : object->denotes;
}

jclass FindClass(JNIEnv* jni, const char* name) {
  RecordingEnv& env = self(jni);
  if (env.enter("FindClass", name)) {
    return nullptr;
  }
  const Class* const type = env.classes.find(name);
  if (type == nullptr || type->missing) {
    env.refuse("java/lang/NoClassDefFoundError", name);
    return nullptr;
  }
  return static_cast<jclass>(env.newLocal(env.mirror(type)));
}

Member* findMember(JNIEnv* jni, const char* function, jclass reference, const char* name, const char* signature,
                   bool isStatic, const char* exception) {
  RecordingEnv& env = self(jni);
  if (env.enter(function, env.nameOf(reference) + " " + name + " " + signature)) {
    return nullptr;
  }
  const Class* const type = denoted(env, reference, function);
  Member* const member = type == nullptr ? nullptr : env.classes.member(type, name, signature, isStatic);
  if (member == nullptr || member->missing) {
    env.refuse(exception, name);
    return nullptr;
  }
  return member;
}

jfieldID GetFieldID(JNIEnv* jni, jclass type, const char* name, const char* signature) {
  return reinterpret_cast<jfieldID>(
      findMember(jni, "GetFieldID", type, name, signature, false, "java/lang/NoSuchFieldError"));
}

jfieldID GetStaticFieldID(JNIEnv* jni, jclass type, const char* name, const char* signature) {
  return reinterpret_cast<jfieldID>(
      findMember(jni, "GetStaticFieldID", type, name, signature, true, "java/lang/NoSuchFieldError"));
}

jmethodID GetMethodID(JNIEnv* jni, jclass type, const char* name, const char* signature) {
  return reinterpret_cast<jmethodID>(
      findMember(jni, "GetMethodID", type, name, signature, false, "java/lang/NoSuchMethodError"));
}

jclass GetObjectClass(JNIEnv* jni, jobject reference) {
  RecordingEnv& env = self(jni);
  env.record("GetObjectClass", env.nameOf(reference));
  Object* const object = env.require(reference, "GetObjectClass");
  return object == nullptr ? nullptr : static_cast<jclass>(env.newLocal(env.mirror(object->type)));
}

jboolean IsInstanceOf(JNIEnv* jni, jobject reference, jclass type) {
  RecordingEnv& env = self(jni);
  env.record("IsInstanceOf", env.nameOf(reference) + " " + env.nameOf(type));
  const Class* const wanted = denoted(env, type, "IsInstanceOf");
  const Object* const object = env.target(reference);
  return object == nullptr || object->type->isA(wanted) ? JNI_TRUE : JNI_FALSE;
}

jint Throw(JNIEnv* jni, jthrowable reference) {
  RecordingEnv& env = self(jni);
  if (env.enter("Throw", env.nameOf(reference))) {
    return JNI_ERR;
  }
  Object* const exception = env.require(reference, "Throw");
  if (exception == nullptr || !exception->type->isA(env.classes.find("java/lang/Throwable"))) {
    ADD_FAILURE() << "thrown, but not a Throwable: " << env.nameOf(reference);
    return JNI_ERR;
  }
  env.raise(exception);
  return JNI_OK;
}

jboolean ExceptionCheck(JNIEnv* jni) {
  self(jni).record("ExceptionCheck", "");
  return self(jni).pendingObject() == nullptr ? JNI_FALSE : JNI_TRUE;
}

jthrowable ExceptionOccurred(JNIEnv* jni) {
  self(jni).record("ExceptionOccurred", "");
  return static_cast<jthrowable>(self(jni).newLocal(self(jni).pendingObject()));
}

void ExceptionClear(JNIEnv* jni) {
  self(jni).record("ExceptionClear", "");
  self(jni).clearException();
}

void DeleteLocalRef(JNIEnv* jni, jobject reference) {
  self(jni).record("DeleteLocalRef", self(jni).nameOf(reference));
  self(jni).deleteLocal(reference);
}

jobject NewLocalRef(JNIEnv* jni, jobject reference) {
  RecordingEnv& env = self(jni);
  return env.enter("NewLocalRef", env.nameOf(reference)) ? nullptr : env.newLocal(env.target(reference));
}

jboolean IsSameObject(JNIEnv* jni, jobject one, jobject other) {
  RecordingEnv& env = self(jni);
  env.record("IsSameObject", env.nameOf(one) + " " + env.nameOf(other));
  return env.target(one) == env.target(other) ? JNI_TRUE : JNI_FALSE;
}

}  // namespace

void addClassFunctions(JNINativeInterface_& table) {
  table.FindClass = FindClass;
  table.GetFieldID = GetFieldID;
  table.GetStaticFieldID = GetStaticFieldID;
  table.GetMethodID = GetMethodID;
  table.GetObjectClass = GetObjectClass;
  table.IsInstanceOf = IsInstanceOf;
  table.Throw = Throw;
  table.ExceptionCheck = ExceptionCheck;
  table.ExceptionOccurred = ExceptionOccurred;
  table.ExceptionClear = ExceptionClear;
  table.DeleteLocalRef = DeleteLocalRef;
  table.NewLocalRef = NewLocalRef;
  table.IsSameObject = IsSameObject;
}

}  // namespace jvm
