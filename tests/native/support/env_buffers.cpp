#include "env_functions.h"

#include <gtest/gtest.h>

namespace jvm {
namespace {

constexpr const char* kDirectBuffer = "java/nio/DirectByteBuffer";

/// The bytes of a direct buffer; null for any other object, as a buffer on Java's heap is one.
Bytes* memoryOf(RecordingEnv& env, jobject buffer, const char* function) {
  Object* const object = env.require(buffer, function);
  return object == nullptr || object->type->name != kDirectBuffer ? nullptr : &std::get<Bytes>(object->contents);
}

void* GetDirectBufferAddress(JNIEnv* jni, jobject buffer) {
  RecordingEnv& env = self(jni);
  if (env.enter("GetDirectBufferAddress", env.nameOf(buffer))) {
    return nullptr;
  }
  Bytes* const memory = memoryOf(env, buffer, "GetDirectBufferAddress");
  return memory == nullptr ? nullptr : memory->data();
}

jlong GetDirectBufferCapacity(JNIEnv* jni, jobject buffer) {
  RecordingEnv& env = self(jni);
  if (env.enter("GetDirectBufferCapacity", env.nameOf(buffer))) {
    return -1;
  }
  const Bytes* const memory = memoryOf(env, buffer, "GetDirectBufferCapacity");
  return memory == nullptr ? -1 : static_cast<jlong>(memory->size());
}

}  // namespace

jobject RecordingEnv::directBuffer(const std::string& name, const std::string& contents) {
  Object* const made = create(&classes.define(kDirectBuffer), name);
  Bytes memory(contents.begin(), contents.end());
  // A JVM's buffer of no bytes has an address, too.
  memory.reserve(1);
  made->contents = std::move(memory);
  return give(made);
}

void addBufferFunctions(JNINativeInterface_& table) {
  table.GetDirectBufferAddress = GetDirectBufferAddress;
  table.GetDirectBufferCapacity = GetDirectBufferCapacity;
}

}  // namespace jvm
